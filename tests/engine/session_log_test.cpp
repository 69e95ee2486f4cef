// The log of one whole small session at the most detailed level, line by line.
#include <gmock/gmock.h>
#include <pimstore.h>

#include "engine/com_ptr.h"
#include "engine/device_store.h"
#include "partner/packet_codec.h"
#include "platform/changewriter/change_writer.h"
#include "platform/control/control.h"
#include "sync/agreement.h"
#include "tests/doubles/memory_store.h"
#include "tests/support/device_log.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::engine {
namespace {

using sync::Item;
using sync::ItemType;

class SessionLogTest : public testing::Test {
 protected:
    SessionLogTest() {
        tests::MutexesStayOpen();
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, application.OutVoid());
        application->Logon(0);
        changewriter::CreateChangeTables();
        changewriter::Attach({});
        device.WriteText("KezLog.ini", "");
    }
    ~SessionLogTest() override {
        changewriter::Detach();
        application = {};
        CoUninitialize();
    }

    // One synchronisation of the device with `folder`; the provider is loaded for it and unloaded after it.
    sync::Report Session(std::vector<ItemType> types) {
        control::RunIdleWork();  // what happened before the session stands in the change tables
        sync::State state(device.Folder() / "state.db", "device", "folder", false);
        partner::RecordCodec codec([] { return 0; });
        ProviderLibrary provider(PROVIDER_FILE);
        ConnectionOptions options;
        options.types = types;
        Connection connection(provider, options);
        DeviceStore store(connection, codec, state, "the device", "device");
        sync::Options agreement;
        agreement.types = types;
        agreement.asHeldByDevice = [&codec](const Item& item) { return codec.AsHeldByDevice(item); };
        return sync::Agreement(store, folder, state, agreement).Run();
    }

    // The log of the last session against the expected text of that name.
    std::string LogDifference(const std::string& name) {
        return tests::DifferenceFrom(std::string(TEST_DATA_FOLDER) + "/" + name,
                                     tests::LogLinesOf(device.ReadText("DevLog.txt")));
    }

    LONG AddContact(const WCHAR* first, const WCHAR* last) {
        ComPtr<IDispatch> item;
        application->CreateItem(olContactItem, item.Out());
        auto* contact = static_cast<IContact*>(item.Get());
        const BSTR firstName = SysAllocString(first);
        const BSTR lastName = SysAllocString(last);
        contact->put_FirstName(firstName);
        contact->put_LastName(lastName);
        SysFreeString(firstName);
        SysFreeString(lastName);
        EXPECT_EQ(contact->Save(), S_OK);
        LONG oid = 0;
        contact->get_Oid(&oid);
        return oid;
    }

    // Every Monday at 10 from 2 March 2026, ten times; 9 March deleted, 16 and 23 March changed; two recipients.
    void AddWeeklyMeeting() {
        ComPtr<IDispatch> item;
        ComPtr<IRecurrencePattern> pattern;
        ComPtr<IRecipients> recipients;
        application->CreateItem(olAppointmentItem, item.Out());
        auto* meeting = static_cast<IAppointment*>(item.Get());
        const BSTR subject = SysAllocString(TEXT("Weekly"));
        meeting->put_Subject(subject);
        SysFreeString(subject);
        SYSTEMTIME start{2026, 3, 0, 2, 10, 0, 0, 0};
        DATE date = 0;
        SystemTimeToVariantTime(&start, &date);
        meeting->put_Start(date);
        meeting->put_ReminderSet(VARIANT_FALSE);
        ASSERT_EQ(meeting->get_Recipients(recipients.Out()), S_OK);
        for (const WCHAR* name : {TEXT("Ann"), TEXT("Bob")}) {
            ComPtr<IRecipient> recipient;
            const BSTR text = SysAllocString(name);
            ASSERT_EQ(recipients->Add(text, recipient.Out()), S_OK);
            recipient->put_Address(text);
            SysFreeString(text);
        }
        ASSERT_EQ(meeting->GetRecurrencePattern(pattern.Out()), S_OK);
        ASSERT_EQ(pattern->put_RecurrenceType(olRecursWeekly), S_OK);
        pattern->put_NoEndDate(VARIANT_FALSE);
        pattern->put_Occurrences(10);
        ASSERT_EQ(meeting->Save(), S_OK);
        for (int week = 1; week <= 3; ++week) {
            ComPtr<IAppointment> occurrence;
            ASSERT_EQ(pattern->GetOccurrence(date + 7 * week, occurrence.Out()), S_OK);
            if (week == 1) {
                ASSERT_EQ(occurrence->Delete(), S_OK);
                continue;
            }
            const BSTR changed = SysAllocString(week == 2 ? TEXT("Moved") : TEXT("Renamed"));
            occurrence->put_Subject(changed);
            SysFreeString(changed);
            ASSERT_EQ(occurrence->Save(), S_OK);
        }
    }

    tests::TestDevice device;
    ComPtr<IPOutlookApp2> application;
    tests::MemoryStore folder{tests::MemoryStore::Kind::Revisions, "folder"};
};

TEST_F(SessionLogTest, OfContactsInBothDirectionsIsTheExpectedText) {
    AddContact(TEXT("Ada"), TEXT("Lovelace"));
    const LONG gone = AddContact(TEXT("Bob"), TEXT("Babbage"));
    folder.Add({ItemType::Contact, {{"FirstName", "Grace"}, {"LastName", "Hopper"}, {"Email1Address", "grace@x"}}});
    sync::Report first = Session({ItemType::Contact});
    EXPECT_TRUE(first.Complete());
    EXPECT_EQ(first.counts.received, 2u);
    EXPECT_EQ(first.counts.sent, 1u);
    EXPECT_EQ(LogDifference("first_session_of_contacts.txt"), "");

    ComPtr<IDispatch> bob;
    ComPtr<IItem> item;
    ASSERT_EQ(application->GetItemFromOid(gone, bob.Out()), S_OK);
    ASSERT_EQ(bob->QueryInterface(IID_IItem, item.OutVoid()), S_OK);
    ASSERT_EQ(item->Delete(), S_OK);
    for (const std::string& id : folder.Ids()) {
        if (folder.At(id).at("FirstName") == "Ada") folder.Edit(id, "JobTitle", "Programmer");
        if (folder.At(id).at("FirstName") == "Grace") folder.Remove(id);
    }
    sync::Report second = Session({ItemType::Contact});
    EXPECT_TRUE(second.Complete());
    EXPECT_EQ(second.counts.deletedInFolder, 1u);
    EXPECT_EQ(second.counts.deletedOnDevice, 1u);
    EXPECT_EQ(second.counts.sent, 1u);
    EXPECT_EQ(LogDifference("second_session_of_contacts.txt"), "");
}

TEST_F(SessionLogTest, OfEverythingADeviceHoldsIsTheExpectedText) {
    AddContact(TEXT("Ada"), TEXT("Lovelace"));
    folder.Add(
        {ItemType::Contact, {{"FirstName", "Grace"}, {"LastName", "Hopper"}, {"Picture", std::string(40000, 'p')}}});
    folder.Add({ItemType::Task,
                {{"Subject", "Letter"}, {"StartDate", "2026-03-02 00:00:00"}, {"DueDate", "2026-03-20 00:00:00"}}});
    AddWeeklyMeeting();
    sync::Report report = Session({ItemType::Contact, ItemType::Task, ItemType::Appointment});
    EXPECT_TRUE(report.Complete());
    EXPECT_EQ(report.counts.received, 2u);
    EXPECT_EQ(report.counts.sent, 2u);
    EXPECT_EQ(LogDifference("session_of_everything.txt"), "");
    for (const std::string& id : folder.Ids()) {
        if (!folder.At(id).count("ModifiedOccurrenceDates")) continue;
        EXPECT_EQ(folder.At(id).at("ModifiedOccurrenceDates"), "2026-03-16 10:00:00\t2026-03-23 10:00:00");
    }
}

}  // namespace
}  // namespace kez::engine
