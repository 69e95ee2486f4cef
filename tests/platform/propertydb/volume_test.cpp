// The volume as host code uses it.
#include "platform/propertydb/volume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <filesystem>
#include <map>

#include "property_world.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using namespace kez::propertydb;
using ::testing::ElementsAre;

class VolumeTest : public ::testing::Test {
 protected:
    TestDevice m_device;
    std::shared_ptr<Volume> m_volume = Volume::OpenOrCreate(TEXT("\\test.vol"));
};

TEST_F(VolumeTest, RecordsComeBackChangedAndInTheOrderOfTheDatabase) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID z = m_volume->Insert(database, {{kText, u"Zoe"}, {kNumber, std::int64_t{5}}});
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    EXPECT_THAT(*m_volume->OrderedOids(database), ElementsAre(a, z));
    PropertySet change;
    change.SetText(kText, u"Aaron");
    change.SetRemoved(kNumber);
    EXPECT_TRUE(m_volume->Update(database, z, change));
    EXPECT_THAT(*m_volume->OrderedOids(database), ElementsAre(z, a));
    EXPECT_EQ(*m_volume->Read(database, z), (PropertySet{{kText, u"Aaron"}}));
    EXPECT_TRUE(m_volume->Delete(database, a));
    EXPECT_FALSE(m_volume->Delete(database, a));
    EXPECT_EQ(m_volume->State(database).records, 1u);
}

TEST_F(VolumeTest, ATransactionWithoutCommitLeavesNothing) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    {
        Transaction transaction(m_volume);
        m_volume->Insert(database, {{kText, u"Ann"}});
        EXPECT_EQ(m_volume->OrderedOids(database)->size(), 1u);
    }
    EXPECT_EQ(m_volume->OrderedOids(database)->size(), 0u);
    EXPECT_EQ(m_volume->State(database).records, 0u);
}

TEST_F(VolumeTest, TheJournalNotesWhatHappensToRecordsAndWhatIsAttachedToThem) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    m_volume->EnableJournal(database);
    m_volume->EnableJournal(database);
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 1, {5, {}, Bytes(100000, 7)}));
    EXPECT_EQ(m_volume->ReadAttachment(database, a, 1, 5)->data, Bytes(100000, 7));
    EXPECT_TRUE(m_volume->Delete(database, a));
    std::vector<JournalAction> actions;
    for (const JournalEntry& entry : m_volume->ReadJournal(0, 100)) {
        EXPECT_EQ(entry.record, a);
        actions.push_back(entry.action);
    }
    EXPECT_THAT(actions, ElementsAre(JournalAction::Added, JournalAction::Changed, JournalAction::Deleted));
    EXPECT_FALSE(m_volume->ReadAttachment(database, a, 1, 5));
    m_volume->TrimJournal(2);
    EXPECT_EQ(m_volume->ReadJournal(0, 100).size(), 1u);
}

TEST_F(VolumeTest, NumbersOfTheJournalAreNeverGivenTwice) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    EXPECT_EQ(m_volume->LastJournalSequence(), 0);
    m_volume->EnableJournal(database);
    m_volume->Insert(database, {{kText, u"Ann"}});
    m_volume->Insert(database, {{kText, u"Bob"}});
    EXPECT_EQ(m_volume->LastJournalSequence(), 2);
    m_volume->TrimJournal(2);
    EXPECT_EQ(m_volume->LastJournalSequence(), 2);
    {
        Transaction outer(m_volume);
        const CEOID carla = m_volume->Insert(database, {{kText, u"Carla"}});
        EXPECT_EQ(m_volume->LastJournalSequence(), 3);
        {
            Transaction inner(m_volume);
            m_volume->Delete(database, carla);
            EXPECT_EQ(m_volume->LastJournalSequence(), 4);
        }
        EXPECT_EQ(m_volume->LastJournalSequence(), 3);
        outer.Commit();
    }
    m_volume.reset();
    m_volume = Volume::Open(TEXT("\\test.vol"));
    EXPECT_EQ(m_volume->LastJournalSequence(), 3);
    const auto entries = m_volume->ReadJournal(0, 100);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].sequence, 3);
}

// Makes a volume what it was in format 1: a journal that counts by itself, triggers that leave the number to it.
void MakeFormat1(const std::filesystem::path& file, CEOID database) {
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &opened), SQLITE_OK);
    const std::string number = std::to_string(database);
    std::string sql = "BEGIN;";
    for (const char* name : {"added", "changed", "deleted", "attached", "reattached", "detached"}) {
        sql += "DROP TRIGGER journal_" + std::string(name) + "_" + number + ";";
    }
    sql +=
        "ALTER TABLE journal RENAME TO newer;"
        "CREATE TABLE journal (sequence INTEGER PRIMARY KEY AUTOINCREMENT, database INTEGER NOT NULL,"
        " record INTEGER NOT NULL, action INTEGER NOT NULL, time INTEGER NOT NULL);"
        "INSERT INTO journal SELECT * FROM newer; DROP TABLE newer;"
        "UPDATE sqlite_sequence SET seq = 7 WHERE name = 'journal';"
        "ALTER TABLE state DROP COLUMN last_change;";
    const auto trigger = [&](const std::string& name, const std::string& when, const std::string& record, int action) {
        sql += "CREATE TRIGGER journal_" + name + "_" + number + " AFTER " + when +
               " BEGIN INSERT INTO journal (database, record, action, time) VALUES (" + number + ", " + record + ", " +
               std::to_string(action) + ", device_time()); END;";
    };
    trigger("added", "INSERT ON records_" + number, "NEW.oid", 1);
    trigger("changed", "UPDATE ON records_" + number, "NEW.oid", 2);
    trigger("deleted", "DELETE ON records_" + number, "OLD.oid", 3);
    trigger("attached", "INSERT ON attachments_" + number, "NEW.record", 2);
    trigger("reattached", "UPDATE ON attachments_" + number, "NEW.record", 2);
    trigger("detached", "DELETE ON attachments_" + number, "OLD.record", 2);
    sql += "PRAGMA user_version = 1; COMMIT;";
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, &message), SQLITE_OK) << message;
    sqlite3_free(message);
    sqlite3_close(opened);
}

TEST_F(VolumeTest, AVolumeOfTheFirstFormatIsBroughtUpToDateWithItsRecordsAndJournalNumbers) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID other = m_volume->CreateDatabase({u"others", 25, {}, {}});
    m_volume->EnableJournal(database);
    const CEOID ann = m_volume->Insert(database, {{kText, u"Ann"}});
    m_volume->Insert(other, {{kText, u"Bob"}});
    const auto before = m_volume->ReadJournal(0, 100);
    m_volume.reset();
    MakeFormat1(m_device.Folder() / "test.vol", database);

    m_volume = Volume::Open(TEXT("\\test.vol"));
    EXPECT_EQ(m_volume->Read(database, ann)->Text(kText), u"Ann");
    EXPECT_EQ(m_volume->State(other).records, 1u);
    EXPECT_EQ(m_volume->LastJournalSequence(), 7) << "entries up to there were trimmed before";
    ASSERT_EQ(m_volume->ReadJournal(0, 100).size(), 1u);
    EXPECT_EQ(m_volume->ReadJournal(0, 100)[0].sequence, before[0].sequence);
    EXPECT_TRUE(m_volume->Update(database, ann, {{kText, u"Anna"}}));
    EXPECT_TRUE(m_volume->PutAttachment(database, ann, 1, {5, {}, Bytes(10, 7)}));
    EXPECT_TRUE(m_volume->Delete(database, ann));
    const auto after = m_volume->ReadJournal(before[0].sequence, 100);
    ASSERT_EQ(after.size(), 3u);
    EXPECT_EQ(after[0].sequence, 8);
    EXPECT_EQ(after[2].action, JournalAction::Deleted);
    EXPECT_EQ(Volume::OpenApart(TEXT("\\test.vol"))->LastJournalSequence(), 10) << "opened again it stays as it is";
}

TEST_F(VolumeTest, AVolumeOfALaterFormatIsRefusedAndLeftAsItIs) {
    m_volume.reset();
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open((m_device.Folder() / "test.vol").c_str(), &opened), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(opened, "PRAGMA user_version = 3", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(opened);
    try {
        Volume::Open(TEXT("\\test.vol"));
        ADD_FAILURE() << "it was opened";
    } catch (const VolumeError& error) {
        EXPECT_EQ(error.Code(), DWORD{ERROR_BAD_FORMAT});
    }
}

TEST_F(VolumeTest, AnUpdateThatCannotBeLeavesTheRecordAndSaysWhy) {
    const CEPROPID more = Id(5, CEVT_BLOB);
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {kText, kNumber, kBlob, more}});
    const PropertySet full{{kText, std::u16string(32000, u'a')}, {kBlob, Bytes(65000, 1)}};
    const CEOID ann = m_volume->Insert(database, full);
    EXPECT_FALSE(m_volume->Update(database, ann + 1, {{kNumber, std::int64_t{2}}}));
    try {
        m_volume->Update(database, ann, {{more, Bytes(65000, 2)}});
        ADD_FAILURE() << "it was written";
    } catch (const VolumeError& error) {
        EXPECT_EQ(error.Code(), DWORD{ERROR_BAD_LENGTH});
    }
    EXPECT_EQ(*m_volume->Read(database, ann), full);
    EXPECT_TRUE(m_volume->Update(database, ann, {{kNumber, std::int64_t{2}}}));
    EXPECT_EQ(m_volume->Read(database, ann)->Number(kNumber), 2);
}

// Every property of the record is kept, replaced, removed or new, beside every choice for the others.
TEST_F(VolumeTest, AnUpdateChangesWhatItNamesAndLeavesTheRest) {
    struct Case {
        CEPROPID id;
        propertydb::Value before;
        propertydb::Value after;
    };
    const Case cases[] = {{kNumber, std::int64_t{1}, std::int64_t{0xFFFFFFFF}},
                          {kText, u"before", u""},
                          {Id(3, CEVT_I2), std::int64_t{-2}, std::int64_t{3}},
                          {kBlob, Bytes{}, Bytes(300, 7)},
                          {Id(5, CEVT_FILETIME), std::int64_t{1} << 40, std::int64_t{5}}};
    enum Choice { Missing, Added, GoneAnyway, Kept, Replaced, Removed, kChoices };
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {}, {}});
    Transaction transaction(m_volume);
    for (int number = 0; number < 6 * 6 * 6 * 6 * 6; ++number) {
        PropertySet before;
        PropertySet change;
        PropertySet after;
        int rest = number;
        for (const Case& one : cases) {
            const int choice = rest % kChoices;
            rest /= kChoices;
            if (choice >= Kept) before.Set(one.id, one.before);
            if (choice == Kept) after.Set(one.id, one.before);
            if (choice == Added || choice == Replaced) change.Set(one.id, one.after);
            if (choice == Added || choice == Replaced) after.Set(one.id, one.after);
            if (choice == GoneAnyway || choice == Removed) change.SetRemoved(one.id);
        }
        const CEOID record = m_volume->Insert(database, before);
        ASSERT_TRUE(m_volume->Update(database, record, change));
        ASSERT_EQ(*m_volume->Read(database, record), after) << "choices " << number;
        ASSERT_TRUE(m_volume->Delete(database, record));
    }
    EXPECT_EQ(m_volume->State(database).bytes, 0u);
}

TEST_F(VolumeTest, IdentifiersOfABatchFollowOneAnotherAndNoneIsGivenTwice) {
    const CEOID people = m_volume->CreateDatabase({u"people", 24, {{{{kNumber}}}}, {}});
    const CEOID places = m_volume->CreateDatabase({u"places", 25, {{{{kNumber}}}}, {}});
    std::map<CEOID, std::int64_t> expected;
    std::int64_t number = 0;
    CEOID last = m_volume->LastIdentifier();
    const auto insert = [&](CEOID database) {
        const CEOID oid = m_volume->Insert(database, {{kNumber, ++number}});
        EXPECT_EQ(oid, ++last);
        if (database == people) expected[oid] = number;
    };
    Transaction transaction(m_volume);
    for (int i = 0; i < 4; ++i) insert(people);
    EXPECT_TRUE(m_volume->Delete(people, last));  // the one that was added last
    expected.erase(last);
    for (int i = 0; i < 3; ++i) insert(people);
    insert(places);
    for (int i = 0; i < 3; ++i) insert(people);
    {
        Transaction takenBack(m_volume);
        for (int i = 0; i < 3; ++i) m_volume->Insert(people, {{kNumber, std::int64_t{99}}});
    }
    for (int i = 0; i < 3; ++i) insert(people);
    m_volume->SkipIdentifiers(last += 5);
    for (int i = 0; i < 3; ++i) insert(people);
    transaction.Commit();
    EXPECT_EQ(m_volume->LastIdentifier(), last);
    EXPECT_EQ(m_volume->OrderedOids(people, -1)->size(), expected.size());
    for (const auto& [oid, value] : expected) EXPECT_EQ(m_volume->Read(people, oid)->Number(kNumber), value);
}

TEST_F(VolumeTest, ABatchBesideAHigherIdentifierOfAForeignHandKeepsItsIdentifiers) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID ann = m_volume->Insert(database, {{kText, u"Ann"}});
    m_volume.reset();
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open((m_device.Folder() / "test.vol").c_str(), &opened), SQLITE_OK);
    const std::string sql = "UPDATE records_" + std::to_string(database) + " SET oid = oid + 1000";
    EXPECT_EQ(sqlite3_exec(opened, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(opened);
    m_volume = Volume::Open(TEXT("\\test.vol"));
    Transaction transaction(m_volume);
    for (CEOID i = 1; i <= 3; ++i) EXPECT_EQ(m_volume->Insert(database, {{kText, u"Bob"}}), ann + i);
    EXPECT_THAT(*m_volume->OrderedOids(database, -1), ElementsAre(ann + 1, ann + 2, ann + 3, ann + 1000));
}

TEST_F(VolumeTest, AViewShowsPropertiesInReadableForm) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    PropertySet record{{kNumber, std::int64_t{4000000000}}, {kText, u"Zo\u00EB"}, {kBlob, Bytes{1, 255}}};
    record.SetNumber(kSigned, -5);
    record.SetNumber(Id(5, CEVT_FILETIME), 0x01C679BE69BABA30);
    record.SetNumber(Id(6, CEVT_I2), -2);
    record.Set(Id(7, CEVT_R8), 1.0);
    record.SetNumber(Id(8, CEVT_UI2), 65535);  // the last one: nothing stands behind its two bytes
    m_volume->Insert(database, record);
    m_volume->Insert(database, {});
    sqlite3* shell = nullptr;
    sqlite3_open_v2((m_device.Folder() / "test.vol").c_str(), &shell, SQLITE_OPEN_READONLY, nullptr);
    std::vector<std::string> rows;
    const std::string sql = "SELECT property || ' ' || value FROM properties_" + std::to_string(database);
    sqlite3_exec(
        shell, sql.c_str(),
        [](void* out, int, char** values, char**) {
            static_cast<std::vector<std::string>*>(out)->push_back(values[0]);
            return 0;
        },
        &rows, nullptr);
    sqlite3_close(shell);
    EXPECT_THAT(rows, ElementsAre("00010013 4000000000", "0002001F Zo\xC3\xAB", "00030003 -5", "00040041 01FF",
                                  "00050040 2006-05-17 14:30:15", "00060002 -2", "00070005 double 000000000000F03F",
                                  "00080012 65535"));
}

TEST_F(VolumeTest, ANumberOfChangesMovesWithEveryCommitAndNeverBack) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    const auto before = m_volume->State(database).changes;
    {
        Transaction transaction(m_volume);
        m_volume->Update(database, a, {{kText, u"Bob"}});
        EXPECT_NE(m_volume->State(database).changes, before);
    }
    EXPECT_EQ(m_volume->State(database).changes, before);
    const auto apart = Volume::OpenApart(TEXT("\\test.vol"));
    apart->Update(database, a, {{kText, u"Cid"}});
    EXPECT_NE(m_volume->State(database).changes, before);
    EXPECT_EQ(m_volume->Read(database, a)->Text(kText), u"Cid");
}

TEST_F(VolumeTest, AWalkSeesWhatChangesInFrontOfIt) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    std::vector<CEOID> oids;
    for (int i = 0; i < 100; ++i)
        oids.push_back(m_volume->Insert(database, {{kText, u"Ann"}, {kNumber, std::int64_t{i}}}));
    const auto apart = Volume::OpenApart(TEXT("\\test.vol"));
    const auto number = [&](std::size_t i) { return m_volume->Read(database, oids[i])->Number(kNumber, -1); };
    for (std::size_t i = 0; i < 97; ++i) {
        // What the walk comes to next is changed by another connection, by this one, and in a transaction taken back.
        if (i == 30) apart->Update(database, oids[i], {{kNumber, std::int64_t{1000}}});
        if (i == 60) m_volume->Update(database, oids[i], {{kNumber, std::int64_t{2000}}});
        if (i == 90) {
            const Transaction takenBack(m_volume);
            m_volume->Update(database, oids[i], {{kNumber, std::int64_t{3000}}});
            m_volume->ExpectReads(database, std::span(oids).subspan(i));
            EXPECT_EQ(number(i), 3000);
        }
        m_volume->ExpectReads(database, std::span(oids).subspan(i));
        const std::int64_t expected = i == 30 ? 1000 : i == 60 ? 2000 : static_cast<std::int64_t>(i);
        ASSERT_EQ(number(i), expected);
    }
    apart->Delete(database, oids[97]);
    m_volume->ExpectReads(database, std::span(oids).subspan(97));
    EXPECT_FALSE(m_volume->Read(database, oids[97]));
    EXPECT_EQ(number(99), 99);
    EXPECT_EQ(number(98), 98);
    m_volume->ExpectReads(database, {});
}

TEST_F(VolumeTest, ARecordThatChangesAfterItWasReadAheadIsReadAgain) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    std::vector<CEOID> oids;
    for (std::int64_t i = 0; i < 100; ++i) oids.push_back(m_volume->Insert(database, {{kText, u"Ann"}, {kNumber, i}}));
    const auto apart = Volume::OpenApart(TEXT("\\test.vol"));
    for (const auto& changer : {apart, m_volume}) {
        for (std::size_t i = 0; i < 40; ++i) {
            m_volume->ExpectReads(database, std::span(oids).subspan(i));
            ASSERT_TRUE(m_volume->Read(database, oids[i]));
        }
        changer->Update(database, oids[40], {{kNumber, std::int64_t{1000}}});
        EXPECT_EQ(m_volume->Read(database, oids[40])->Number(kNumber, -1), 1000);
        changer->Update(database, oids[40], {{kNumber, std::int64_t{40}}});
        m_volume->ExpectReads(database, std::span(oids).subspan(40));
        changer->Delete(database, oids[40]);
        EXPECT_FALSE(m_volume->Read(database, oids[40]));
        oids.erase(oids.begin() + 40);
    }
}

TEST_F(VolumeTest, AWalkInAnyOrderReadsWhatIsThere) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    std::vector<CEOID> created;
    std::map<CEOID, std::int64_t> numbers;
    for (std::int64_t i = 0; i < 200; ++i) {
        created.push_back(m_volume->Insert(database, {{kText, u"Ann"}, {kNumber, i}}));
        numbers[created.back()] = i;
    }
    const auto walk = [&](const std::vector<CEOID>& oids) {
        for (std::size_t i = 0; i < oids.size(); ++i) {
            m_volume->ExpectReads(database, std::span(oids).subspan(i));
            const auto read = m_volume->Read(database, oids[i]);
            ASSERT_EQ(read ? read->Number(kNumber, -1) : -1, numbers.count(oids[i]) ? numbers[oids[i]] : -1)
                << i << " of " << oids.size();
        }
    };
    walk(created);
    walk({created.rbegin(), created.rend()});
    std::vector<CEOID> some;  // runs, holes, steps back, one twice
    for (std::size_t i = 0; i < 200; ++i) {
        if (i % 7 != 0) some.push_back(created[i]);
        if (i % 31 == 0) some.push_back(created[i / 2]);
        if (i % 50 == 0) some.push_back(some.back());
    }
    walk(some);
    for (const std::size_t i : {3U, 4U, 90U, 199U}) {
        m_volume->Delete(database, created[i]);
        numbers.erase(created[i]);
    }
    walk(created);
    walk(some);
}

TEST_F(VolumeTest, ADefinitionTakenBackIsForgotten) {
    {
        const Transaction takenBack(m_volume);
        const CEOID gone = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
        m_volume->Insert(gone, {{kText, u"Ann"}});
    }
    // As many changes of definitions as were taken back, made by somebody else.
    const auto apart = Volume::OpenApart(TEXT("\\test.vol"));
    const CEOID made = apart->CreateDatabase({u"places", 25, {{{{kText}}}}, {}});
    EXPECT_EQ(m_volume->FindDatabase(u"people"), 0u);
    EXPECT_EQ(m_volume->FindDatabase(u"places"), made);
}

TEST_F(VolumeTest, AnInnerTransactionTakenBackLeavesTheOuterOnesWrites) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    Transaction outer(m_volume);
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    {
        Transaction inner(m_volume);
        m_volume->Insert(database, {{kText, u"Bob"}});
    }
    outer.Commit();
    EXPECT_THAT(*m_volume->OrderedOids(database), ElementsAre(a));
    EXPECT_EQ(m_volume->State(database).records, 1u);
}

TEST_F(VolumeTest, AttachmentsComeByTheirKeysAndAreReplacedAndRemoved) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    const CEOID a = m_volume->Insert(database, {{kText, u"Ann"}});
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 1, {9, {{kText, u"nine"}}, {}}));
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 1, {-3, {{kText, u"minus three"}}, {}}));
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 2, {9, {}, Bytes{1, 2}}));
    EXPECT_TRUE(m_volume->PutAttachment(database, a, 1, {9, {{kText, u"new"}}, {}}));
    EXPECT_FALSE(m_volume->PutAttachment(database, a + 1, 1, {9, {}, {}}));
    const auto all = m_volume->Attachments(database, a, 1);
    ASSERT_EQ(all.size(), 2u);
    EXPECT_EQ(all[0].key, -3);
    EXPECT_EQ(all[1].properties.Text(kText), u"new");
    EXPECT_EQ(m_volume->AttachmentSize(database, a, 2, 9), 2u);
    EXPECT_EQ(m_volume->AttachmentSize(database, a, 2, 8), std::nullopt);
    EXPECT_TRUE(m_volume->RemoveAttachment(database, a, 1, 9));
    EXPECT_FALSE(m_volume->RemoveAttachment(database, a, 1, 9));
    EXPECT_EQ(m_volume->RemoveAttachments(database, a, 1), 1u);
    EXPECT_EQ(m_volume->RemoveAttachments(database, a, 1), 0u);
}

}  // namespace
}  // namespace kez::tests
