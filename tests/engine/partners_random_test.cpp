// Random lives of a device with two folders, through Pocket Outlook and the provider: edits, additions and deletions
// on all three, synchronisations with either partner in between. In the end all three agree, and no synchronisation
// has lost an edit without a word.
#include <gtest/gtest.h>

#include <chrono>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "tests/engine/session_world.h"
#include "tests/support/child_process.h"

namespace kez::engine {
namespace {

using sync::ConflictPolicy;
using sync::Item;
using sync::ItemType;
using tests::MemoryStore;
using tests::SessionWorld;

constexpr unsigned kRandomStart = 20260302;

class Life {
 public:
    explicit Life(unsigned start) : m_random(start) {}

    void Step() {
        switch (Below(10)) {
            case 0:
            case 1:
                Synchronise(Below(2));
                return;
            case 2:
            case 3:
                OwnersStep();
                return;
            default:
                if (Below(2)) {
                    OwnersStep();
                } else {
                    FoldersStep(m_folders[Below(2)]);
                }
        }
    }

    // Until neither partner has anything more to tell.
    void Settle() {
        for (int round = 0; round < 12; ++round) {
            const std::size_t first = Synchronise(0, ConflictPolicy::Device);
            const std::size_t second = Synchronise(1, ConflictPolicy::Device);
            if (first + second == 0) return;
        }
        ADD_FAILURE() << "the partners find something to do for ever\n" << m_diary;
    }

    void ExpectAgreement() {
        EXPECT_EQ(m_folders[0].Contents(), m_folders[1].Contents()) << m_diary;
        EXPECT_EQ(m_world.Contacts().size(), m_folders[0].Size()) << m_diary;
        MemoryStore witness(MemoryStore::Kind::Revisions, "witness");
        // A third folder in the place of the second partner's: it is told everything.
        m_world.Sync(witness, 2);
        EXPECT_EQ(witness.Contents(), m_folders[0].Contents()) << m_diary;
    }

    // Each name occurs once in a life, so it is known what became of everybody: only who was deleted may be gone.
    void ExpectEverybodyIsAccountedFor() {
        std::set<std::string> found = m_gone;
        for (const sync::Fields& fields : m_folders[0].Contents()) {
            for (const auto& [name, value] : fields) found.insert(value);
        }
        for (const std::string& value : m_written) {
            EXPECT_TRUE(found.count(value)) << value << " was lost without a word\n" << m_diary;
        }
    }

 private:
    unsigned Below(unsigned limit) { return static_cast<unsigned>(m_random() % limit); }
    std::string NewValue() { return "v" + std::to_string(++m_values); }

    // What the device and a folder say of people now: each value (a name, a town, a job) and whose it is.
    std::map<std::string, std::string> SaidOf(const MemoryStore& folder) {
        std::map<std::string, std::string> said;
        for (const LONG oid : m_world.Contacts()) {
            const std::string name = m_world.ContactText(oid, &IContact::get_FirstName);
            for (const auto get : {&IContact::get_FirstName, &IContact::get_HomeAddressCity, &IContact::get_JobTitle}) {
                said[m_world.ContactText(oid, get)] = name;
            }
        }
        for (const sync::Fields& fields : folder.Contents()) {
            for (const char* field : {"FirstName", "HomeAddressCity", "JobTitle"}) {
                if (fields.count(field)) said[fields.at(field)] = fields.at("FirstName");
            }
        }
        said.erase("");
        return said;
    }

    static bool Tells(const sync::Report& report, const std::string& name) {
        for (const sync::Entry& entry : report.entries) {
            const bool deleted =
                entry.outcome == sync::Outcome::DeletedInFolder || entry.outcome == sync::Outcome::DeletedOnDevice;
            if (entry.title.rfind(name + " ", 0) == 0 && (deleted || !entry.notes.empty())) return true;
        }
        return false;
    }

    std::size_t Synchronise(unsigned which, ConflictPolicy conflicts = ConflictPolicy::Both) {
        const auto before = SaidOf(m_folders[which]);
        const sync::Report report = m_world.Sync(m_folders[which], which + 1, conflicts);
        const auto after = SaidOf(m_folders[which]);
        m_diary += "sync " + std::to_string(which + 1) + ":";
        for (const sync::Entry& entry : report.entries) {
            m_diary += " [" + std::string(ToString(entry.outcome)) + " " + entry.title + " " + entry.problem.text;
            for (const std::string& note : entry.notes) m_diary += " (" + note + ")";
            m_diary += "]";
        }
        m_diary += "\n";
        for (const auto& [value, name] : before) {
            EXPECT_TRUE(after.count(value) || m_replaced.count(value) || Tells(report, name))
                << value << " of " << name << " was lost without a word\n"
                << m_diary;
        }
        return report.entries.size();
    }

    void OwnersStep() {
        const std::vector<LONG> oids = m_world.Contacts();
        const std::string value = NewValue();
        if (oids.empty() || Below(3) == 0) {
            m_world.AddContact(value, "Owner");
            m_written.insert(value);
            m_diary += "owner adds " + value + "\n";
            return;
        }
        const LONG oid = oids[Below(static_cast<unsigned>(oids.size()))];
        if (Below(5) == 0) {
            m_gone.insert(m_world.ContactText(oid, &IContact::get_FirstName));
            for (const auto get : {&IContact::get_FirstName, &IContact::get_HomeAddressCity, &IContact::get_JobTitle}) {
                m_replaced.insert(m_world.ContactText(oid, get));
            }
            m_world.Delete(oid);
            m_diary += "owner deletes " + std::to_string(oid) + "\n";
            return;
        }
        const bool city = Below(2) == 0;
        m_replaced.insert(m_world.ContactText(oid, city ? &IContact::get_HomeAddressCity : &IContact::get_JobTitle));
        EXPECT_TRUE(m_world.EditContact(oid, city ? &IContact::put_HomeAddressCity : &IContact::put_JobTitle, value));
        m_diary += "owner edits " + std::to_string(oid) + (city ? " HomeAddressCity=" : " JobTitle=") + value + "\n";
    }

    void FoldersStep(MemoryStore& folder) {
        const std::vector<std::string> ids = folder.Ids();
        const std::string value = NewValue();
        if (ids.empty() || Below(3) == 0) {
            folder.Add({ItemType::Contact, {{"FirstName", value}, {"LastName", "Folder"}}});
            m_written.insert(value);
            m_diary += folder.Name() + " adds " + value + "\n";
            return;
        }
        const std::string& id = ids[Below(static_cast<unsigned>(ids.size()))];
        if (Below(5) == 0) {
            m_gone.insert(folder.At(id).at("FirstName"));
            for (const auto& [name, text] : folder.At(id)) m_replaced.insert(text);
            folder.Remove(id);
            m_diary += folder.Name() + " deletes " + id + "\n";
            return;
        }
        const std::string field = Below(2) == 0 ? "HomeAddressCity" : "JobTitle";
        if (folder.At(id).count(field)) m_replaced.insert(folder.At(id).at(field));
        folder.Edit(id, field, value);
        m_diary += folder.Name() + " edits " + id + " " + field + "=" + value + "\n";
    }

    std::mt19937 m_random;
    SessionWorld m_world;
    MemoryStore m_folders[2]{MemoryStore{MemoryStore::Kind::Revisions, "first"},
                             MemoryStore{MemoryStore::Kind::Revisions, "second"}};
    int m_values = 0;
    std::set<std::string> m_written;
    std::set<std::string> m_gone;
    std::set<std::string> m_replaced;  // by somebody who saw them
    std::string m_diary;
};

TEST(PartnersAtRandom, DeviceAndBothFoldersAgreeInTheEnd) {
    for (unsigned life = 0; life < 10; ++life) {
        SCOPED_TRACE("random start value " + std::to_string(kRandomStart + life));
        Life here(kRandomStart + life);
        for (int step = 0; step < 40; ++step) here.Step();
        here.Settle();
        here.ExpectAgreement();
        here.ExpectEverybodyIsAccountedFor();
        if (testing::Test::HasFailure()) return;
    }
}

// Each field of each contact is edited on at most one of the three, between two rounds: every edit reaches all.
TEST(PartnersAtRandom, EditsOfDifferentFieldsAllArriveEverywhere) {
    for (unsigned life = 0; life < 3; ++life) {
        SCOPED_TRACE("random start value " + std::to_string(kRandomStart + life));
        std::mt19937 random(kRandomStart + life);
        SessionWorld world;
        MemoryStore folders[2]{MemoryStore{MemoryStore::Kind::Revisions, "first"},
                               MemoryStore{MemoryStore::Kind::Revisions, "second"}};
        for (int i = 0; i < 5; ++i) world.AddContact("Person" + std::to_string(i), "Known");
        world.Sync(folders[0], 1);
        world.Sync(folders[1], 2);
        int values = 0;
        for (int round = 0; round < 6; ++round) {
            std::set<std::string> written;
            auto maybe = [&] { return random() % 2 == 0; };
            auto value = [&] { return *written.insert("w" + std::to_string(++values)).first; };
            for (const LONG oid : world.Contacts()) {
                if (!maybe()) continue;
                EXPECT_TRUE(world.EditContact(oid, &IContact::put_JobTitle, value()));
            }
            for (const std::string& id : folders[0].Ids()) {
                if (maybe()) folders[0].Edit(id, "HomeAddressCity", value());
            }
            for (const std::string& id : folders[1].Ids()) {
                if (maybe()) folders[1].Edit(id, "CompanyName", value());
            }
            const bool firstBegins = maybe();
            for (const unsigned which : {0u, 1u, 0u}) {
                const unsigned partner = firstBegins ? which : 1 - which;
                EXPECT_TRUE(world.Sync(folders[partner], partner + 1).Complete());
            }
            for (const MemoryStore& folder : folders) {
                std::set<std::string> found;
                for (const sync::Fields& fields : folder.Contents()) {
                    for (const auto& [name, text] : fields) found.insert(text);
                }
                for (const std::string& text : written) EXPECT_TRUE(found.count(text)) << folder.Name() << " " << text;
            }
        }
    }
}

// The provider takes the mark of its own writes away at the end of a session, when the change writer had time to make
// it.
TEST(PartnersAtRandom, AnOwnersEditBetweenOurWriteAndTheEndOfItsSessionReachesTheFolderInTheNext) {
    SessionWorld world;
    MemoryStore folder(MemoryStore::Kind::Revisions, "folder");
    const LONG oid = world.AddContact("Ada", "Lovelace");
    world.Sync(folder);
    const std::string id = folder.Ids()[0];
    folder.Edit(id, "CompanyName", "Engines");
    folder.atFlush = [&] {
        EXPECT_TRUE(world.EditContact(oid, &IContact::put_JobTitle, "Programmer"));
        folder.atFlush = nullptr;
    };
    EXPECT_EQ(world.Sync(folder).counts.sent, 1u);
    EXPECT_EQ(folder.At(id).count("JobTitle"), 0u);
    EXPECT_EQ(world.Sync(folder).counts.received, 1u);
    EXPECT_EQ(folder.At(id).at("JobTitle"), "Programmer");
    EXPECT_TRUE(world.Sync(folder).entries.empty());
}

// Another process edits while synchronisations run.
TEST(PartnersAtRandom, AnOwnerWhoEditsDuringSynchronisationsLosesNothingAndNothingOfTheFolderIsLost) {
    constexpr int kPeople = 12;
    constexpr int kEdits = 60;
    SessionWorld world;
    MemoryStore folder(MemoryStore::Kind::Revisions, "folder");
    std::vector<LONG> oids;
    for (int i = 0; i < kPeople; ++i) oids.push_back(world.AddContact("Person" + std::to_string(i), "Known"));
    ASSERT_TRUE(world.Sync(folder).Complete());

    tests::ChildProcess owner([&](const tests::ChildProcess::Line& parent) {
        engine::ComPtr<IPOutlookApp2> application;
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, application.OutVoid());
        application->Logon(0);
        parent.Hear();
        for (int edit = 0; edit < kEdits; ++edit) {
            engine::ComPtr<IDispatch> item;
            if (application->GetItemFromOid(oids[static_cast<std::size_t>(edit % kPeople)], item.Out()) != S_OK)
                return 1;
            auto* contact = static_cast<IContact*>(item.Get());
            contact->put_JobTitle(tests::OutlookText("edit" + std::to_string(edit)));
            if (contact->Save() != S_OK) return 2;
            std::this_thread::sleep_for(std::chrono::milliseconds(3));
        }
        parent.Tell('d');
        return 0;
    });
    owner.Talk().Tell('g');
    for (int round = 0; round < 8; ++round) {
        for (const std::string& id : folder.Ids()) folder.Edit(id, "CompanyName", "round" + std::to_string(round));
        world.Sync(folder);
    }
    EXPECT_EQ(owner.Wait(), 0);
    world.Sync(folder);
    EXPECT_TRUE(world.Sync(folder).entries.empty());
    std::multiset<std::string> titles;
    for (const sync::Fields& fields : folder.Contents()) {
        EXPECT_EQ(fields.at("CompanyName"), "round7");
        titles.insert(fields.at("JobTitle"));
    }
    std::multiset<std::string> expected;
    for (int edit = kEdits - kPeople; edit < kEdits; ++edit) expected.insert("edit" + std::to_string(edit));
    EXPECT_EQ(titles, expected);
}

}  // namespace
}  // namespace kez::engine
