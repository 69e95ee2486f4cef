// The device as a store, through the provider that is shipped and Pocket Outlook on the device host.
#include "engine/device_store.h"

#include <gmock/gmock.h>
#include <pimstore.h>

#include <cstdlib>

#include "engine/com_ptr.h"
#include "engine/occurrences.h"
#include "partner/packet_codec.h"
#include "platform/changewriter/change_writer.h"
#include "sync/state.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::engine {
namespace {

using sync::Item;
using sync::ItemType;
using sync::ProblemCode;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

// Keepsakes in memory.
class Keepsakes : public sync::Keepsakes {
 public:
    void Keep(ItemType, const std::string& id, const std::string& what) override { kept[id] = what; }
    std::string Kept(ItemType, const std::string& id) override { return kept.count(id) ? kept[id] : std::string(); }
    std::map<std::string, std::string> kept;
};

class DeviceStoreTest : public testing::Test {
 protected:
    DeviceStoreTest() {
        tests::MutexesStayOpen();
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, application.OutVoid());
        application->Logon(0);
        changewriter::CreateChangeTables();
        changewriter::Attach({});
        Connect();
    }
    ~DeviceStoreTest() override {
        Disconnect();
        changewriter::Detach();
        application = {};
        CoUninitialize();
    }
    void Connect(ConnectionOptions options = {}) {
        provider = std::make_unique<ProviderLibrary>(PROVIDER_FILE);
        connection = std::make_unique<Connection>(*provider, options);
        store = std::make_unique<DeviceStore>(*connection, codec, keepsakes, "the device", "device-1");
    }
    void Disconnect() {
        store.reset();
        connection.reset();
        provider.reset();
    }
    void Reconnect() {
        Disconnect();
        Connect();
    }

    void OwnerWrites(const std::string& id, const WCHAR* jobTitle) {
        ComPtr<IDispatch> item;
        ASSERT_EQ(application->GetItemFromOid(std::atoi(id.c_str()), item.Out()), S_OK);
        const BSTR text = SysAllocString(jobTitle);
        static_cast<IContact*>(item.Get())->put_JobTitle(text);
        SysFreeString(text);
        ASSERT_EQ(static_cast<IContact*>(item.Get())->Save(), S_OK);
    }

    ComPtr<IAppointment> WeeklySeries(LONG* oid) {
        ComPtr<IDispatch> item;
        ComPtr<IAppointment> series;
        ComPtr<IRecurrencePattern> pattern;
        application->CreateItem(olAppointmentItem, item.Out());
        item->QueryInterface(IID_IAppointment, series.OutVoid());
        SYSTEMTIME start{2026, 3, 0, 2, 10, 0, 0, 0};
        DATE date = 0;
        SystemTimeToVariantTime(&start, &date);
        BSTR subject = SysAllocString(TEXT("Weekly"));
        series->put_Subject(subject);
        SysFreeString(subject);
        series->put_Start(date);
        series->put_ReminderSet(VARIANT_FALSE);
        series->GetRecurrencePattern(pattern.Out());
        EXPECT_EQ(pattern->put_RecurrenceType(olRecursWeekly), S_OK);
        pattern->put_NoEndDate(VARIANT_FALSE);
        pattern->put_Occurrences(10);
        EXPECT_EQ(series->Save(), S_OK);
        series->get_Oid(oid);
        ComPtr<IAppointment> second;
        ComPtr<IAppointment> third;
        EXPECT_EQ(pattern->GetOccurrence(date + 7, second.Out()), S_OK);
        EXPECT_EQ(second->Delete(), S_OK);
        EXPECT_EQ(pattern->GetOccurrence(date + 14, third.Out()), S_OK);
        BSTR moved = SysAllocString(TEXT("Verschoben \u0416"));
        third->put_Subject(moved);
        SysFreeString(moved);
        third->put_Start(date + 14 + 2.0 / 24);
        EXPECT_EQ(third->Save(), S_OK);
        return series;
    }

    tests::TestDevice device;
    ComPtr<IPOutlookApp2> application;
    Keepsakes keepsakes;
    struct Codec : partner::RecordCodec {
        Codec() : RecordCodec([] { return 0; }) {}
        std::string Encode(const Item& wanted, const Item* held) const override {
            if (duringEncode) duringEncode();
            return RecordCodec::Encode(wanted, held);
        }
        std::function<void()> duringEncode;
    };
    Codec codec;
    std::unique_ptr<ProviderLibrary> provider;
    std::unique_ptr<Connection> connection;
    std::unique_ptr<DeviceStore> store;
};

TEST_F(DeviceStoreTest, AnEmptyDeviceListsNothingAndIsBelieved) {
    for (const ItemType type : sync::kAllItemTypes) {
        const sync::Listing listing = store->List(type);
        EXPECT_TRUE(listing.trusted);
        EXPECT_THAT(listing.items, IsEmpty());
        EXPECT_THAT(listing.findings, IsEmpty());
    }
}

TEST_F(DeviceStoreTest, AContactIsWrittenReadListedChangedAndDeleted) {
    const Item ada{ItemType::Contact,
                   {{"FirstName", "Ada"},
                    {"LastName", "Lovelace"},
                    {"MobileTelephoneNumber", "1"},
                    {"Birthday", "1915-12-10"},
                    {"IM1Address", "ada@im"},
                    {"Body", "two\nlines"},
                    {"Categories", "a, b"},
                    {"Picture", std::string(70000, 'p')}}};
    sync::WriteResult made = store->Create(ada, {});
    ASSERT_FALSE(made.problem) << made.problem.text;
    for (const auto& [name, value] : ada.fields) EXPECT_EQ(made.held.fields[name], value) << name;

    const sync::Listing listing = store->List(ItemType::Contact);
    ASSERT_THAT(listing.items, SizeIs(1));
    EXPECT_EQ(listing.items[0].id, made.id);

    Item wanted = made.held;
    wanted.fields["MobileTelephoneNumber"] = "2";
    wanted.fields.erase("Body");
    const sync::WriteResult changed = store->Update(made.id, wanted, {});
    ASSERT_FALSE(changed.problem) << changed.problem.text;
    EXPECT_EQ(changed.id, made.id);
    EXPECT_EQ(changed.held.fields.at("MobileTelephoneNumber"), "2");
    EXPECT_EQ(changed.held.fields.count("Body"), 0u);
    EXPECT_EQ(changed.held.fields.at("Picture").size(), 70000u);

    EXPECT_FALSE(store->Delete(ItemType::Contact, made.id, {}));
    EXPECT_EQ(store->Read(ItemType::Contact, made.id).problem.code, ProblemCode::Gone);
    EXPECT_EQ(store->Update(made.id, wanted, {}).problem.code, ProblemCode::Gone);
    EXPECT_FALSE(store->Delete(ItemType::Contact, made.id, {})) << "deleting what is gone succeeds";
}

TEST_F(DeviceStoreTest, AnOwnersChangeIsListedOnceAndOurOwnWriteNever) {
    sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    Reconnect();
    sync::Listing listing = store->List(ItemType::Contact);
    ASSERT_THAT(listing.items, SizeIs(1));
    EXPECT_EQ(listing.items[0].changed, false) << "the provider's own write came back as a change";

    ComPtr<IDispatch> item;
    ASSERT_EQ(application->GetItemFromOid(std::atoi(made.id.c_str()), item.Out()), S_OK);
    BSTR name = SysAllocString(TEXT("Augusta"));
    static_cast<IContact*>(item.Get())->put_FirstName(name);
    SysFreeString(name);
    ASSERT_EQ(static_cast<IContact*>(item.Get())->Save(), S_OK);
    Reconnect();
    EXPECT_EQ(store->List(ItemType::Contact).items.at(0).changed, true);
    EXPECT_EQ(store->List(ItemType::Contact).items.at(0).changed, false);
}

TEST_F(DeviceStoreTest, AnOwnersChangeDuringOurWriteStays) {
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}, {"JobTitle", "Poet"}}}, {});
    Item wanted = made.held;
    wanted.fields["CompanyName"] = "Engines";
    codec.duringEncode = [&] { OwnerWrites(made.id, TEXT("Programmer")); };
    sync::WriteResult changed = store->Update(made.id, wanted, {});
    EXPECT_EQ(changed.held.fields["JobTitle"], "Programmer");
    EXPECT_EQ(changed.held.fields["CompanyName"], "Engines");
}

TEST_F(DeviceStoreTest, AnOwnersChangeSinceItWasReadIsNotOverwritten) {
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}, {"JobTitle", "Poet"}}}, {});
    const sync::ReadResult read = store->Read(ItemType::Contact, made.id);
    EXPECT_EQ(read.revision, made.revision);
    OwnerWrites(made.id, TEXT("Programmer"));
    Item wanted = read.item;
    wanted.fields["CompanyName"] = "Engines";
    EXPECT_EQ(store->Update(made.id, wanted, read.revision).problem.code, ProblemCode::ChangedMeanwhile);
    EXPECT_EQ(store->Read(ItemType::Contact, made.id).item.fields.at("JobTitle"), "Programmer");
}

TEST_F(DeviceStoreTest, PacketsOfAnySizeCarryTheSameItem) {
    const Item item{ItemType::Contact, {{"FirstName", "Ada"}, {"LastName", "L"}, {"Picture", std::string(5000, 'x')}}};
    for (const DWORD size : {4u, 10u, 100u, 4096u, 260000u}) {
        Disconnect();
        ConnectionOptions options;
        options.recommendedSize = size;
        Connect(options);
        const sync::WriteResult made = store->Create(item, {});
        ASSERT_FALSE(made.problem) << size << ": " << made.problem.text;
        EXPECT_EQ(made.held.fields.at("Picture"), item.fields.at("Picture")) << size;
    }
}

TEST_F(DeviceStoreTest, WhatTheDeviceDoesNotTakeOverIsAFailedItem) {
    control::PlanFault({"IContact::Save", 1, 3, static_cast<std::uint32_t>(E_FAIL)});
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    EXPECT_TRUE(made.problem);
    EXPECT_THAT(made.id, IsEmpty());
    control::ClearFaults();

    sync::WriteResult good = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    ASSERT_FALSE(good.problem);
    control::PlanFault({"IContact::put_FirstName", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    Item wanted = good.held;
    wanted.fields["FirstName"] = "Augusta";
    const sync::WriteResult refused = store->Update(good.id, wanted, {});
    EXPECT_THAT(refused.problem.text, HasSubstr("did not take over FirstName"));
}

TEST_F(DeviceStoreTest, APictureThatTheDeviceKeepsIsSaidAndIsNoFailure) {
    const sync::WriteResult made =
        store->Create({ItemType::Contact, {{"FirstName", "Ada"}, {"Picture", std::string(500, 'p')}}}, {});
    ASSERT_FALSE(made.problem);
    Item wanted = made.held;
    wanted.fields.erase("Picture");
    const sync::WriteResult kept = store->Update(made.id, wanted, {});
    EXPECT_FALSE(kept.problem) << kept.problem.text;
    EXPECT_EQ(kept.held.fields.count("Picture"), 1u);
    EXPECT_THAT(kept.losses, testing::ElementsAre(HasSubstr("keeps its picture")));
}

TEST_F(DeviceStoreTest, ADeletionThatFailsIsFoundOut) {
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    control::PlanFault({"IContact::Delete", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_EQ(store->Delete(ItemType::Contact, made.id, {}).code, ProblemCode::Failed);
    EXPECT_FALSE(store->Delete(ItemType::Contact, made.id, {}));
}

TEST_F(DeviceStoreTest, AListingThatFailsInSilenceIsNotBelieved) {
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    ASSERT_FALSE(made.problem);
    control::PlanFault({"IPOutlookItemCollection::get_Count", 1, 1000, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_FALSE(store->List(ItemType::Contact).trusted);
    control::ClearFaults();
    Reconnect();
    EXPECT_TRUE(store->List(ItemType::Contact).trusted);
}

TEST_F(DeviceStoreTest, AListingThatLeavesSomebodyOutIsSaidAndNotBelieved) {
    ASSERT_FALSE(store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {}).problem);
    ASSERT_FALSE(store->Create({ItemType::Contact, {{"FirstName", "Bob"}}}, {}).problem);
    Reconnect();
    control::PlanFault({"IPOutlookItemCollection::Item", 2, 1, static_cast<std::uint32_t>(E_FAIL)});
    const sync::Listing listing = store->List(ItemType::Contact);
    control::ClearFaults();
    EXPECT_FALSE(listing.trusted);
    ASSERT_FALSE(listing.findings.empty());
    EXPECT_EQ(listing.findings[0].text, "counted 2 items and listed only 1");
    Reconnect();
    EXPECT_TRUE(store->List(ItemType::Contact).trusted);
}

TEST_F(DeviceStoreTest, AnItemThatCannotBeLookedForIsNotTakenForGone) {
    const sync::WriteResult made = store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {});
    control::PlanFault({"CeOidGetInfoEx2", 1, 1000, ERROR_NOT_ENOUGH_MEMORY});
    control::PlanFault({"IPOutlookApp::GetItemFromOid", 1, 1000, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_EQ(store->Read(ItemType::Contact, made.id).problem.code, ProblemCode::Failed);
    EXPECT_EQ(store->Delete(ItemType::Contact, made.id, {}).code, ProblemCode::Failed);
    control::ClearFaults();
    EXPECT_FALSE(store->Read(ItemType::Contact, made.id).problem);
}

TEST_F(DeviceStoreTest, APurgeThatLeavesSomebodyAnswersSuccessAndIsSeenByCounting) {
    ASSERT_FALSE(store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {}).problem);
    ASSERT_FALSE(store->Create({ItemType::Contact, {{"FirstName", "Bob"}}}, {}).problem);
    control::PlanFault({"IItem::Delete", 1, 1, static_cast<std::uint32_t>(E_FAIL)});
    EXPECT_EQ(connection->Request(ItemType::Contact, 2), S_OK);
    UINT left = 0;
    ASSERT_TRUE(connection->CountItems(ItemType::Contact, left));
    EXPECT_EQ(left, 1u);
    EXPECT_EQ(connection->Request(ItemType::Contact, 2), S_OK);
    ASSERT_TRUE(connection->CountItems(ItemType::Contact, left));
    EXPECT_EQ(left, 0u);
}

TEST_F(DeviceStoreTest, WhatWasWrittenIsFlushed) {
    ASSERT_FALSE(store->Create({ItemType::Contact, {{"FirstName", "Ada"}}}, {}).problem);
    control::CountCalls(true);
    store->Flush();
    EXPECT_EQ(control::CallCount("CeFlushDBVol"), 1u);
    control::PlanFault({"CeFlushDBVol", 1, 1, ERROR_DISK_FULL});
    EXPECT_THROW(store->Flush(), sync::StoreError);
}

TEST_F(DeviceStoreTest, ATaskIsWrittenAndReadBack) {
    const Item task{ItemType::Task,
                    {{"Subject", "Letter"},
                     {"StartDate", "2026-03-02 00:00:00"},
                     {"DueDate", "2026-03-20 00:00:00"},
                     {"Importance", "2"},
                     {"Sensitivity", "2"},
                     {"Body", "about the mill"}}};
    const sync::WriteResult made = store->Create(task, {});
    ASSERT_FALSE(made.problem) << made.problem.text;
    for (const auto& [name, value] : task.fields) EXPECT_EQ(made.held.fields.at(name), value) << name;
}

TEST_F(DeviceStoreTest, ModifiedOccurrencesAreKeptBeforeTheyLeaveTheDevice) {
    LONG oid = 0;
    WeeklySeries(&oid);
    const std::string id = std::to_string(oid);
    const std::map<std::string, std::string> before = ModifiedOccurrences(static_cast<CEOID>(oid)).value();
    ASSERT_THAT(before, SizeIs(1));
    EXPECT_EQ(before.begin()->first, "2026-03-16 10:00:00");

    const sync::ReadResult read = store->Read(ItemType::Appointment, id);
    ASSERT_FALSE(read.problem) << read.problem.text;
    EXPECT_THAT(ModifiedOccurrences(static_cast<CEOID>(oid)).value(), IsEmpty())
        << "the provider leaves it on the device";
    EXPECT_EQ(read.item.fields.at("ModifiedOccurrenceDates"), "2026-03-16 10:00:00");
    EXPECT_THAT(read.item.fields.at("ModifiedOccurrences"), HasSubstr("Verschoben \u0416~^!^~")) << "beyond 8 bits";
    EXPECT_EQ(read.item.fields.at("ExceptionDates"), "2026-03-09 10:00:00\t2026-03-16 10:00:00");
    ASSERT_TRUE(read.remaining);
    EXPECT_EQ(read.remaining->fields.count("ModifiedOccurrences"), 0u);
    EXPECT_THAT(keepsakes.kept, SizeIs(1));

    // The process ends before anybody has the occurrence: the next reading gives it again.
    Reconnect();
    const sync::ReadResult again = store->Read(ItemType::Appointment, id);
    EXPECT_EQ(again.item.fields, read.item.fields);
}

TEST_F(DeviceStoreTest, AnOccurrenceWhoseTextCannotBeConvertedStaysOnTheDevice) {
    LONG oid = 0;
    WeeklySeries(&oid);
    for (const std::uint32_t nth : {1u, 2u}) {  // its size, and the text
        control::PlanFault({"WideCharToMultiByte", nth, 1, ERROR_NOT_ENOUGH_MEMORY});
        EXPECT_TRUE(store->Read(ItemType::Appointment, std::to_string(oid)).problem) << nth;
        control::ClearFaults();
        EXPECT_THAT(ModifiedOccurrences(static_cast<CEOID>(oid)).value(), SizeIs(1)) << nth;
    }
    EXPECT_THAT(keepsakes.kept, IsEmpty());
}

TEST_F(DeviceStoreTest, WhatWasKeptAndWhatWasChangedSinceAreGivenTogether) {
    LONG oid = 0;
    const ComPtr<IAppointment> series = WeeklySeries(&oid);
    const std::string id = std::to_string(oid);
    ASSERT_FALSE(store->Read(ItemType::Appointment, id).problem);
    Reconnect();
    {
        ComPtr<IRecurrencePattern> pattern;
        ComPtr<IAppointment> fourth;
        SYSTEMTIME start{2026, 3, 0, 23, 10, 0, 0, 0};
        DATE date = 0;
        SystemTimeToVariantTime(&start, &date);
        ASSERT_EQ(series->GetRecurrencePattern(pattern.Out()), S_OK);
        ASSERT_EQ(pattern->GetOccurrence(date, fourth.Out()), S_OK);
        const BSTR renamed = SysAllocString(TEXT("Renamed"));
        fourth->put_Subject(renamed);
        SysFreeString(renamed);
        ASSERT_EQ(fourth->Save(), S_OK);
    }
    const sync::ReadResult read = store->Read(ItemType::Appointment, id);
    ASSERT_FALSE(read.problem) << read.problem.text;
    EXPECT_EQ(read.item.fields.at("ModifiedOccurrenceDates"), "2026-03-16 10:00:00\t2026-03-23 10:00:00");
    EXPECT_THAT(read.item.fields.at("ModifiedOccurrences"), HasSubstr("Verschoben \u0416~^!^~"));
    EXPECT_THAT(read.item.fields.at("ModifiedOccurrences"), HasSubstr("Renamed~^!^~"));
    const sync::ReadResult again = store->Read(ItemType::Appointment, id);
    EXPECT_EQ(again.item.fields, read.item.fields);
    EXPECT_EQ(again.revision, read.revision) << "the device holds the same";
}

}  // namespace
}  // namespace kez::engine
