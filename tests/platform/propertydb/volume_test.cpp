// The volume as host code uses it.
#include "platform/propertydb/volume.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

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

TEST_F(VolumeTest, AViewShowsPropertiesInReadableForm) {
    const CEOID database = m_volume->CreateDatabase({u"people", 24, {{{{kText}}}}, {}});
    PropertySet record{{kNumber, std::int64_t{4000000000}}, {kText, u"Zo\u00EB"}, {kBlob, Bytes{1, 255}}};
    record.SetNumber(kSigned, -5);
    record.SetNumber(Id(5, CEVT_FILETIME), 0x01C679BE69BABA30);
    record.SetNumber(Id(6, CEVT_I2), -2);
    m_volume->Insert(database, record);
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
                                  "00050040 2006-05-17 14:30:15", "00060002 -2"));
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
