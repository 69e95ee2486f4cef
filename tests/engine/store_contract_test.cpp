// What every store promises, asked of each there is: the device through the provider that is shipped, a folder on a
// disk that forgets what was not synced, and the store in memory that other tests take for either.
#include <gmock/gmock.h>
#include <pimstore.h>

#include "engine/com_ptr.h"
#include "engine/device_store.h"
#include "partner/folder_store.h"
#include "partner/packet_codec.h"
#include "platform/changewriter/change_writer.h"
#include "tests/doubles/memory_store.h"
#include "tests/partner/support/test_files.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::engine {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::Listed;
using sync::ProblemCode;
using tests::MemoryStore;

// An item of each type; its last field is the one that is edited.
Item Sample(ItemType type) {
    switch (type) {
        case ItemType::Contact:
            return {type, {{"FirstName", "Ada"}, {"LastName", "Lovelace"}, {"JobTitle", "Programmer"}}};
        case ItemType::Task:
            return {type, {{"Subject", "Letter"}, {"StartDate", "2026-03-02 00:00:00"}, {"Body", "Programmer"}}};
        case ItemType::Appointment:
            break;
    }
    return {type,
            {{"Subject", "Lunch"}, {"Start", "2026-03-05 12:00:00"}, {"Duration", "60"}, {"Location", "Programmer"}}};
}
std::string EditedField(ItemType type) {
    return type == ItemType::Contact ? "JobTitle" : type == ItemType::Task ? "Body" : "Location";
}

// A store and what lies behind it.
class World {
 public:
    virtual ~World() = default;
    virtual sync::Store& Store() = 0;
    // The store as the next run finds it.
    virtual void Reopen() {}
    // As Reopen; where the disk is one that forgets, the power was cut in between. (A device's volumes are asked that
    // by tests of their own.)
    virtual void LosePower() { Reopen(); }
    // Somebody else writes "Countess" for "Programmer" into an item.
    virtual void SomebodyEdits(ItemType type, const std::string& id) = 0;
};

class MemoryWorld : public World {
 public:
    explicit MemoryWorld(MemoryStore::Kind kind) : m_store(kind, "memory") {}
    sync::Store& Store() override { return m_store; }
    void SomebodyEdits(ItemType type, const std::string& id) override {
        m_store.Edit(id, EditedField(type), "Countess");
    }

 private:
    MemoryStore m_store;
};

class FolderWorld : public World {
 public:
    FolderWorld() {
        for (const auto& format : m_formats) m_pointers.push_back(format.get());
        FolderWorld::Reopen();
        m_store->Mark();
    }
    sync::Store& Store() override { return *m_store; }
    void Reopen() override {
        m_store = std::make_unique<partner::FolderStore>("/folder", m_pointers, m_files, m_cache);
    }
    void LosePower() override {
        m_files.PowerCut();
        Reopen();
    }
    void SomebodyEdits(ItemType, const std::string& id) override {
        std::string text = m_files.Visible().at(id);
        text.replace(text.find("Programmer"), 10, "Countess");
        m_files.Put(id, text);
    }

 private:
    tests::DiskFiles m_files{"/folder"};
    partner::MemoryFolderCache m_cache;
    std::vector<std::unique_ptr<partner::ItemFormat>> m_formats = partner::AllFormats("UTC");
    std::vector<const partner::ItemFormat*> m_pointers;
    std::unique_ptr<partner::FolderStore> m_store;
};

class DeviceWorld : public World {
 public:
    DeviceWorld() {
        tests::MutexesStayOpen();
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, m_application.OutVoid());
        m_application->Logon(0);
        changewriter::CreateChangeTables();
        changewriter::Attach({});
        Connect();
    }
    ~DeviceWorld() override {
        Disconnect();
        changewriter::Detach();
        m_application = {};
        CoUninitialize();
    }
    sync::Store& Store() override { return *m_store; }
    void Reopen() override {
        Disconnect();
        control::RunIdleWork();
        Connect();
    }
    void SomebodyEdits(ItemType type, const std::string& id) override {
        ComPtr<IDispatch> item;
        ASSERT_EQ(m_application->GetItemFromOid(std::stoi(id), item.Out()), S_OK);
        const BSTR text = SysAllocString(TEXT("Countess"));
        switch (type) {
            case ItemType::Contact:
                static_cast<IContact*>(item.Get())->put_JobTitle(text);
                EXPECT_EQ(static_cast<IContact*>(item.Get())->Save(), S_OK);
                break;
            case ItemType::Task:
                static_cast<ITask*>(item.Get())->put_Body(text);
                EXPECT_EQ(static_cast<ITask*>(item.Get())->Save(), S_OK);
                break;
            case ItemType::Appointment:
                static_cast<IAppointment*>(item.Get())->put_Location(text);
                EXPECT_EQ(static_cast<IAppointment*>(item.Get())->Save(), S_OK);
                break;
        }
        SysFreeString(text);
    }

 private:
    // No sample is taken apart by reading it.
    class NothingKept : public sync::Keepsakes {
        void Keep(ItemType, const std::string& id, const std::string&) override { ADD_FAILURE() << id; }
        std::string Kept(ItemType, const std::string&) override { return {}; }
    };

    void Connect() {
        m_provider = std::make_unique<ProviderLibrary>(PROVIDER_FILE);
        m_connection = std::make_unique<Connection>(*m_provider, ConnectionOptions{});
        m_store = std::make_unique<DeviceStore>(*m_connection, m_codec, m_keepsakes, "the device", "device-1");
    }
    void Disconnect() {
        m_store.reset();
        m_connection.reset();
        m_provider.reset();
    }

    tests::TestDevice m_device;
    ComPtr<IPOutlookApp2> m_application;
    NothingKept m_keepsakes;
    partner::RecordCodec m_codec{[] { return 0; }};
    std::unique_ptr<ProviderLibrary> m_provider;
    std::unique_ptr<Connection> m_connection;
    std::unique_ptr<DeviceStore> m_store;
};

struct Kind {
    const char* name;
    std::unique_ptr<World> (*make)();
};

class StoreContract : public testing::TestWithParam<std::tuple<Kind, ItemType>> {
 protected:
    sync::Store& Store() { return m_world->Store(); }
    Item TheSample() const { return Sample(m_type); }
    Item Edited() const {
        Item item = TheSample();
        item.fields[EditedField(m_type)] = "Countess";
        return item;
    }
    // What a test relies on before it asks its question.
    std::string Made() {
        const sync::WriteResult made = Store().Create(TheSample(), {});
        EXPECT_FALSE(made.problem) << made.problem.text;
        return made.id;
    }
    // The listing of the next run.
    std::vector<Listed> ListAnew() {
        m_world->Reopen();
        const sync::Listing listing = Store().List(m_type);
        EXPECT_TRUE(listing.trusted);
        EXPECT_TRUE(listing.findings.empty());
        return listing.items;
    }
    // A store may say more of an item than it was told, never less or otherwise.
    static void ExpectSays(const Item& item, const Item& wanted) {
        EXPECT_EQ(item.type, wanted.type);
        for (const auto& [name, value] : wanted.fields) {
            ASSERT_TRUE(item.fields.count(name)) << name;
            EXPECT_EQ(item.fields.at(name), value) << name;
        }
    }
    static bool Changed(const Listed& now, const Listed& before) {
        return now.revision.empty() ? now.changed.value() : now.revision != before.revision;
    }

    ItemType m_type = std::get<1>(GetParam());
    std::unique_ptr<World> m_world = std::get<0>(GetParam()).make();
};

TEST_P(StoreContract, ItHasANameAndStaysTheSameStore) {
    EXPECT_FALSE(Store().Name().empty());
    const std::string identity = Store().Identity();
    EXPECT_FALSE(identity.empty());
    EXPECT_TRUE(Store().Holds(m_type));
    m_world->Reopen();
    EXPECT_EQ(Store().Identity(), identity);
}

TEST_P(StoreContract, AnEmptyStoreListsNothingAndIsBelieved) { EXPECT_TRUE(ListAnew().empty()); }

TEST_P(StoreContract, AMadeItemIsReadAsItWasMade) {
    const sync::WriteResult made = Store().Create(TheSample(), {});
    ASSERT_FALSE(made.problem) << made.problem.text;
    ExpectSays(made.held, TheSample());
    m_world->Reopen();
    const sync::ReadResult read = Store().Read(m_type, made.id);
    ASSERT_FALSE(read.problem) << read.problem.text;
    EXPECT_EQ(read.item, made.held);
    EXPECT_EQ(read.revision, made.revision);
}

TEST_P(StoreContract, ItemsThatAreMadeTogetherAreMadeAsOneByOne) {
    EXPECT_TRUE(Store().CreateAll({}).empty());
    const std::vector<sync::WriteResult> made = Store().CreateAll({TheSample(), Edited()});
    ASSERT_EQ(made.size(), 2u);
    EXPECT_NE(made[0].id, made[1].id);
    ExpectSays(made[0].held, TheSample());
    ExpectSays(made[1].held, Edited());
    Store().Flush();
    m_world->LosePower();
    for (const sync::WriteResult& one : made) {
        ASSERT_FALSE(one.problem) << one.problem.text;
        const sync::ReadResult read = Store().Read(m_type, one.id);
        EXPECT_EQ(read.item, one.held);
        EXPECT_EQ(read.revision, one.revision);
    }
}

TEST_P(StoreContract, AnItemIsListedOnceUnderItsOwnTypeOnly) {
    const std::string id = Made();
    const std::vector<Listed> items = ListAnew();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].id, id);
    EXPECT_FALSE(items[0].problem);
    for (const ItemType other : sync::kAllItemTypes) {
        if (other == m_type) continue;
        EXPECT_TRUE(Store().List(other).items.empty());
        EXPECT_TRUE(Store().Read(other, id).problem);
    }
}

TEST_P(StoreContract, AnIdentifierStaysThroughChangesAndIsNotGivenAgain) {
    const std::string id = Made();
    EXPECT_EQ(Store().Update(id, Edited(), {}).id, id);
    m_world->SomebodyEdits(m_type, Made());
    EXPECT_FALSE(Store().Read(m_type, id).problem);
    ASSERT_FALSE(Store().Delete(m_type, id, {}));
    m_world->Reopen();
    EXPECT_NE(Made(), id);
}

TEST_P(StoreContract, AStoreWithoutRevisionsSaysWhatChanged) {
    Made();
    for (const Listed& item : ListAnew()) EXPECT_TRUE(!item.revision.empty() || item.changed.has_value());
}

TEST_P(StoreContract, AnItemThatNobodyTouchedIsNotChanged) {
    Made();
    const std::vector<Listed> before = ListAnew();
    const std::vector<Listed> now = ListAnew();
    ASSERT_EQ(now.size(), 1u);
    EXPECT_FALSE(Changed(now[0], before.at(0)));
}

TEST_P(StoreContract, ItsOwnWritesAreNoChanges) {
    const sync::WriteResult made = Store().Create(TheSample(), {});
    const Listed afterMaking = ListAnew().at(0);
    EXPECT_TRUE(afterMaking.revision.empty() || afterMaking.revision == made.revision);
    EXPECT_NE(afterMaking.changed, true);
    const sync::WriteResult changed = Store().Update(made.id, Edited(), made.revision);
    ASSERT_FALSE(changed.problem) << changed.problem.text;
    const Listed afterChanging = ListAnew().at(0);
    EXPECT_TRUE(afterChanging.revision.empty() || afterChanging.revision == changed.revision);
    EXPECT_NE(afterChanging.changed, true);
}

TEST_P(StoreContract, AnEditOfSomebodyElseIsAChangeAndOnlyOnce) {
    const std::string id = Made();
    const Listed before = ListAnew().at(0);
    m_world->SomebodyEdits(m_type, id);
    const Listed edited = ListAnew().at(0);
    EXPECT_TRUE(Changed(edited, before));
    EXPECT_FALSE(Changed(ListAnew().at(0), edited));
    ExpectSays(Store().Read(m_type, id).item, Edited());
}

TEST_P(StoreContract, AnUpdateSetsAndRemovesFieldsAndLeavesTheOthers) {
    const std::string id = Made();
    Item wanted = Store().Read(m_type, id).item;
    wanted.fields[EditedField(m_type)] = "Countess";
    const sync::WriteResult changed = Store().Update(id, wanted, {});
    ASSERT_FALSE(changed.problem) << changed.problem.text;
    EXPECT_EQ(changed.held, wanted);
    EXPECT_EQ(Store().Read(m_type, id).item, wanted);
    wanted.fields.erase(EditedField(m_type));
    const sync::WriteResult removed = Store().Update(id, wanted, {});
    ASSERT_FALSE(removed.problem) << removed.problem.text;
    EXPECT_EQ(removed.held, wanted);
    m_world->Reopen();
    EXPECT_EQ(Store().Read(m_type, id).item, wanted);
}

TEST_P(StoreContract, WithAnotherRevisionNothingIsWrittenOrDeleted) {
    const sync::WriteResult made = Store().Create(TheSample(), {});
    if (made.revision.empty()) return;  // who keeps none cannot compare any
    m_world->SomebodyEdits(m_type, made.id);
    Item wanted = TheSample();
    wanted.fields[EditedField(m_type)] = "Analyst";
    EXPECT_EQ(Store().Update(made.id, wanted, made.revision).problem.code, ProblemCode::ChangedMeanwhile);
    EXPECT_EQ(Store().Delete(m_type, made.id, made.revision).code, ProblemCode::ChangedMeanwhile);
    ExpectSays(Store().Read(m_type, made.id).item, Edited());
}

TEST_P(StoreContract, WhatIsGoneIsSaidToBeAndIsDeletedAgainWithSuccess) {
    const std::string id = Made();
    EXPECT_FALSE(Store().Delete(m_type, id, {}));
    EXPECT_TRUE(ListAnew().empty());
    EXPECT_EQ(Store().Read(m_type, id).problem.code, ProblemCode::Gone);
    EXPECT_EQ(Store().Update(id, TheSample(), {}).problem.code, ProblemCode::Gone);
    EXPECT_FALSE(Store().Delete(m_type, id, {}));
    EXPECT_TRUE(ListAnew().empty()) << "an update of what is gone made something";
}

TEST_P(StoreContract, WhatWasFlushedOutlivesThePower) {
    const std::string kept = Made();
    const std::string gone = Made();
    const std::string changed = Made();
    Store().Flush();
    EXPECT_FALSE(Store().Update(changed, Edited(), {}).problem);
    EXPECT_FALSE(Store().Delete(m_type, gone, {}));
    Store().Flush();
    Store().Flush();
    m_world->LosePower();
    ExpectSays(Store().Read(m_type, kept).item, TheSample());
    ExpectSays(Store().Read(m_type, changed).item, Edited());
    EXPECT_EQ(Store().Read(m_type, gone).problem.code, ProblemCode::Gone);
}

const Kind kKinds[] = {
    {"Device", [] { return std::unique_ptr<World>(new DeviceWorld); }},
    {"Folder", [] { return std::unique_ptr<World>(new FolderWorld); }},
    {"MemoryWithRevisions", [] { return std::unique_ptr<World>(new MemoryWorld(MemoryStore::Kind::Revisions)); }},
    {"MemoryWithChangeFlags", [] { return std::unique_ptr<World>(new MemoryWorld(MemoryStore::Kind::ChangeFlags)); }},
};

INSTANTIATE_TEST_SUITE_P(EveryStore, StoreContract,
                         testing::Combine(testing::ValuesIn(kKinds), testing::ValuesIn(sync::kAllItemTypes)),
                         [](const auto& test) {
                             std::string name = std::get<0>(test.param).name;
                             switch (std::get<1>(test.param)) {
                                 case ItemType::Contact:
                                     return name + "OfContacts";
                                 case ItemType::Task:
                                     return name + "OfTasks";
                                 case ItemType::Appointment:
                                     break;
                             }
                             return name + "OfAppointments";
                         });

}  // namespace
}  // namespace kez::engine
