// A device, its owner at Pocket Outlook, and sessions with folders: what tests of whole synchronisations share.
#pragma once

#include <gtest/gtest.h>
#include <pimstore.h>

#include <string>
#include <vector>

#include "engine/com_ptr.h"
#include "engine/device_store.h"
#include "partner/packet_codec.h"
#include "platform/changewriter/change_writer.h"
#include "platform/control/control.h"
#include "sync/agreement.h"
#include "sync/state.h"
#include "tests/doubles/memory_store.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {

// A text of Pocket Outlook's for the length of a call.
class OutlookText {
 public:
    explicit OutlookText(const std::string& ascii)
        : m_text(SysAllocString(std::u16string(ascii.begin(), ascii.end()).c_str())) {}
    ~OutlookText() { SysFreeString(m_text); }
    OutlookText(const OutlookText&) = delete;
    OutlookText& operator=(const OutlookText&) = delete;
    operator BSTR() const { return m_text; }

 private:
    BSTR m_text;
};

class SessionWorld {
 public:
    SessionWorld() {
        MutexesStayOpen();
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2, m_application.OutVoid());
        m_application->Logon(0);
        changewriter::CreateChangeTables();
        changewriter::Attach({});
    }
    ~SessionWorld() {
        control::ClearFaults();
        changewriter::Detach();
        m_application = {};
        CoUninitialize();
    }
    SessionWorld(const SessionWorld&) = delete;
    SessionWorld& operator=(const SessionWorld&) = delete;

    // One synchronisation of the device with `folder`; the provider is loaded for it and unloaded after it.
    sync::Report Sync(sync::Store& folder, unsigned partner = 1,
                      sync::ConflictPolicy conflicts = sync::ConflictPolicy::Both) {
        control::RunIdleWork();  // what happened before the session stands in the change tables
        sync::State state(m_device.Folder() / ("state-" + folder.Name() + ".db"), "device", folder.Name(), false);
        partner::RecordCodec codec([] { return 0; });
        engine::ProviderLibrary provider(PROVIDER_FILE);
        engine::ConnectionOptions options;
        options.partnerBit = partner;
        engine::Connection connection(provider, options);
        engine::DeviceStore store(connection, codec, state, "the device", "device");
        sync::Options agreement;
        agreement.conflicts = conflicts;
        agreement.force = true;
        agreement.asHeldByDevice = [&codec](const sync::Item& item) { return codec.AsHeldByDevice(item); };
        return sync::Agreement(store, folder, state, agreement).Run();
    }

    LONG AddContact(const std::string& first, const std::string& last) {
        engine::ComPtr<IDispatch> item;
        m_application->CreateItem(olContactItem, item.Out());
        auto* contact = static_cast<IContact*>(item.Get());
        contact->put_FirstName(OutlookText(first));
        contact->put_LastName(OutlookText(last));
        EXPECT_EQ(contact->Save(), S_OK);
        LONG oid = 0;
        contact->get_Oid(&oid);
        return oid;
    }

    LONG AddTask(const std::string& subject) {
        engine::ComPtr<IDispatch> item;
        m_application->CreateItem(olTaskItem, item.Out());
        auto* task = static_cast<ITask*>(item.Get());
        task->put_Subject(OutlookText(subject));
        EXPECT_EQ(task->Save(), S_OK);
        LONG oid = 0;
        task->get_Oid(&oid);
        return oid;
    }

    // Every Monday at 10 from 2 March 2026, ten times.
    LONG AddSeries(const std::string& subject) {
        engine::ComPtr<IDispatch> item;
        engine::ComPtr<IRecurrencePattern> pattern;
        m_application->CreateItem(olAppointmentItem, item.Out());
        auto* series = static_cast<IAppointment*>(item.Get());
        series->put_Subject(OutlookText(subject));
        series->put_Start(FirstStart());
        series->put_ReminderSet(VARIANT_FALSE);
        EXPECT_EQ(series->GetRecurrencePattern(pattern.Out()), S_OK);
        EXPECT_EQ(pattern->put_RecurrenceType(olRecursWeekly), S_OK);
        pattern->put_NoEndDate(VARIANT_FALSE);
        pattern->put_Occurrences(10);
        EXPECT_EQ(series->Save(), S_OK);
        LONG oid = 0;
        series->get_Oid(&oid);
        return oid;
    }

    // Changes the occurrence of a series that week (0 is the first); without a subject it is deleted.
    void ChangeOccurrence(LONG oid, int week, const std::string& subject) {
        engine::ComPtr<IDispatch> item;
        engine::ComPtr<IRecurrencePattern> pattern;
        engine::ComPtr<IAppointment> occurrence;
        ASSERT_EQ(m_application->GetItemFromOid(oid, item.Out()), S_OK);
        auto* series = static_cast<IAppointment*>(item.Get());
        ASSERT_EQ(series->GetRecurrencePattern(pattern.Out()), S_OK);
        ASSERT_EQ(pattern->GetOccurrence(FirstStart() + 7 * week, occurrence.Out()), S_OK);
        if (subject.empty()) {
            ASSERT_EQ(occurrence->Delete(), S_OK);
            return;
        }
        occurrence->put_Subject(OutlookText(subject));
        ASSERT_EQ(occurrence->Save(), S_OK);
    }

    // Whether the owner found the contact to edit.
    bool EditContact(LONG oid, HRESULT (IContact::*put)(BSTR), const std::string& value) {
        engine::ComPtr<IDispatch> item;
        if (m_application->GetItemFromOid(oid, item.Out()) != S_OK) return false;
        auto* contact = static_cast<IContact*>(item.Get());
        (contact->*put)(OutlookText(value));
        return contact->Save() == S_OK;
    }

    bool EditTask(LONG oid, HRESULT (ITask::*put)(BSTR), const std::string& value) {
        engine::ComPtr<IDispatch> item;
        if (m_application->GetItemFromOid(oid, item.Out()) != S_OK) return false;
        auto* task = static_cast<ITask*>(item.Get());
        (task->*put)(OutlookText(value));
        return task->Save() == S_OK;
    }

    std::string ContactText(LONG oid, HRESULT (IContact::*get)(BSTR*)) {
        engine::ComPtr<IDispatch> item;
        engine::AutomationString value;
        if (m_application->GetItemFromOid(oid, item.Out()) != S_OK) return {};
        (static_cast<IContact*>(item.Get())->*get)(value.Out());
        const std::u16string text(value.Get(), SysStringLen(value.Get()));
        return {text.begin(), text.end()};
    }

    bool Delete(LONG oid) {
        engine::ComPtr<IDispatch> dispatch;
        engine::ComPtr<IItem> item;
        if (m_application->GetItemFromOid(oid, dispatch.Out()) != S_OK) return false;
        return dispatch->QueryInterface(IID_IItem, item.OutVoid()) == S_OK && item->Delete() == S_OK;
    }

    std::vector<LONG> Contacts() {
        engine::ComPtr<IFolder> folder;
        engine::ComPtr<IPOutlookItemCollection> items;
        m_application->GetDefaultFolder(olFolderContacts, folder.Out());
        folder->get_Items(items.Out());
        INT count = 0;
        items->get_Count(&count);
        std::vector<LONG> oids;
        for (INT i = 1; i <= count; ++i) {
            engine::ComPtr<IDispatch> item;
            items->Item(i, item.Out());
            oids.push_back(0);
            static_cast<IContact*>(item.Get())->get_Oid(&oids.back());
        }
        return oids;
    }

    TestDevice& Device() { return m_device; }

 private:
    static DATE FirstStart() {
        SYSTEMTIME start{2026, 3, 0, 2, 10, 0, 0, 0};
        DATE date = 0;
        SystemTimeToVariantTime(&start, &date);
        return date;
    }

    TestDevice m_device;
    engine::ComPtr<IPOutlookApp2> m_application;
};

}  // namespace kez::tests
