// The setters behind the packet's identifiers, type by type.
//
// Only S_OK counts as written; S_FALSE, which says that nothing changed, does not. Dates are taken as the wall clock
// time that the item shows, so nothing here knows a time zone.
#include "poom/property_writers.h"

#include "poom/catalogue.h"
#include "poom/ce_poom.h"
#include "poom/item_type.h"
#include "poom/platform_support.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

// Identifiers that packets bring and that no item is asked for.
constexpr CEPROPID kRecipients = 0xAFFC001F;
constexpr CEPROPID kTaskReminderTime = 0xAFFB0005;

constexpr SHORT kPrivate = 2;
constexpr SHORT kNotAllDay = 2;

template <typename Item>
HRESULT PutText(Item* item, HRESULT (Item::*put)(BSTR), const CEPROPVAL& prop) {
    const AutomationText text(prop.val.lpwstr);
    return text.OutOfMemory() ? E_OUTOFMEMORY : (item->*put)(text.Get());
}

template <typename Item>
HRESULT PutDate(Item* item, HRESULT (Item::*put)(DATE), const CEPROPVAL& prop) {
    return (item->*put)(FileTimeToDate(prop.val.filetime));
}

template <typename Item>
HRESULT PutSensitivity(Item* item, const CEPROPVAL& prop) {
    return item->put_Sensitivity(prop.val.iVal == kPrivate ? olPrivate : olNormal);
}

// The catalogue's identifier of the item for that of the packet; 0 for none.
CEPROPID ItemPropID(const ItemType& type, CEPROPID packetID) {
    const CatalogueRow* row = FindByPacketID(CatalogueOf(type.databaseType), packetID);
    return row != nullptr ? row->poom : 0;
}

// --- Contacts ------------------------------------------------------------------------------------------------

struct ContactText {
    CEPROPID poom;
    HRESULT (IContact::*put)(BSTR);
};
constexpr ContactText kContactTexts[] = {
    {PIMPR_FILEAS, &IContact::put_FileAs},
    {PIMPR_TITLE, &IContact::put_Title},
    {PIMPR_FIRST_NAME, &IContact::put_FirstName},
    {PIMPR_MIDDLE_NAME, &IContact::put_MiddleName},
    {PIMPR_LAST_NAME, &IContact::put_LastName},
    {PIMPR_SUFFIX, &IContact::put_Suffix},
    {PIMPR_ASSISTANT_NAME, &IContact::put_AssistantName},
    {PIMPR_ASSISTANT_TELEPHONE_NUMBER, &IContact::put_AssistantTelephoneNumber},
    {PIMPR_CHILDREN, &IContact::put_Children},
    {PIMPR_WEB_PAGE, &IContact::put_WebPage},
    {PIMPR_SPOUSE, &IContact::put_Spouse},
    {PIMPR_EMAIL1_ADDRESS, &IContact::put_Email1Address},
    {PIMPR_EMAIL2_ADDRESS, &IContact::put_Email2Address},
    {PIMPR_EMAIL3_ADDRESS, &IContact::put_Email3Address},
    {PIMPR_HOME_FAX_NUMBER, &IContact::put_HomeFaxNumber},
    {PIMPR_HOME_TELEPHONE_NUMBER, &IContact::put_HomeTelephoneNumber},
    {PIMPR_HOME2_TELEPHONE_NUMBER, &IContact::put_Home2TelephoneNumber},
    {PIMPR_MOBILE_TELEPHONE_NUMBER, &IContact::put_MobileTelephoneNumber},
    {PIMPR_PAGER_NUMBER, &IContact::put_PagerNumber},
    {PIMPR_RADIO_TELEPHONE_NUMBER, &IContact::put_RadioTelephoneNumber},
    {PIMPR_BUSINESS_FAX_NUMBER, &IContact::put_BusinessFaxNumber},
    {PIMPR_BUSINESS_TELEPHONE_NUMBER, &IContact::put_BusinessTelephoneNumber},
    {PIMPR_BUSINESS2_TELEPHONE_NUMBER, &IContact::put_Business2TelephoneNumber},
    {PIMPR_CAR_TELEPHONE_NUMBER, &IContact::put_CarTelephoneNumber},
    {PIMPR_COMPANY_NAME, &IContact::put_CompanyName},
    {PIMPR_DEPARTMENT, &IContact::put_Department},
    {PIMPR_OFFICE_LOCATION, &IContact::put_OfficeLocation},
    {PIMPR_JOB_TITLE, &IContact::put_JobTitle},
    {PIMPR_HOME_ADDRESS_STREET, &IContact::put_HomeAddressStreet},
    {PIMPR_HOME_ADDRESS_CITY, &IContact::put_HomeAddressCity},
    {PIMPR_HOME_ADDRESS_STATE, &IContact::put_HomeAddressState},
    {PIMPR_HOME_ADDRESS_POSTAL_CODE, &IContact::put_HomeAddressPostalCode},
    {PIMPR_HOME_ADDRESS_COUNTRY, &IContact::put_HomeAddressCountry},
    {PIMPR_BUSINESS_ADDRESS_STREET, &IContact::put_BusinessAddressStreet},
    {PIMPR_BUSINESS_ADDRESS_CITY, &IContact::put_BusinessAddressCity},
    {PIMPR_BUSINESS_ADDRESS_STATE, &IContact::put_BusinessAddressState},
    {PIMPR_BUSINESS_ADDRESS_POSTAL_CODE, &IContact::put_BusinessAddressPostalCode},
    {PIMPR_BUSINESS_ADDRESS_COUNTRY, &IContact::put_BusinessAddressCountry},
    {PIMPR_OTHER_ADDRESS_STREET, &IContact::put_OtherAddressStreet},
    {PIMPR_OTHER_ADDRESS_CITY, &IContact::put_OtherAddressCity},
    {PIMPR_OTHER_ADDRESS_STATE, &IContact::put_OtherAddressState},
    {PIMPR_OTHER_ADDRESS_POSTAL_CODE, &IContact::put_OtherAddressPostalCode},
    {PIMPR_OTHER_ADDRESS_COUNTRY, &IContact::put_OtherAddressCountry},
};

// Writes a text that has no setter of its own.
HRESULT PutThroughItem(IItem* item, CEPROPID poom, const CEPROPVAL& prop) {
    CEPROPVAL value = {};
    value.propid = poom;
    value.val.lpwstr = prop.val.lpwstr;
    return item->SetProps(0, 1, &value);
}

// Failures of the picture are traced and change nothing else.
void WritePicture(IItem* item, const CEBLOB& blob) {
    dbglog(25, "Writing picture field");
    if (blob.dwCount == 0) {
        dbglog(25, "No data to write (blob.lpb = 0x%08x)", TracedPointer(blob.lpb));
        return;
    }
    dbglog(25, "Opening property");
    ULONG written = 0;
    {
        Reference<IStream> stream;
        if (item != nullptr && SUCCEEDED(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, stream.Out())) && stream) {
            dbglog(25, "Writing stream");
            if (FAILED(stream->Write(blob.lpb, blob.dwCount, &written))) dbglog(25, "Write failed");
            if (FAILED(stream->Commit(STGC_DEFAULT))) dbglog(25, "Commit failed");
        }
    }
    dbglog(25, "Done writing property (dwCount = %i, ulWritten = %i)", blob.dwCount, written);
}

// Sets the property through the contact's own setter. `hr` stays as it is where the contact has none for it.
bool PutThroughContact(IContact* contact, CEPROPID poom, const CEPROPVAL& prop, HRESULT& hr) {
    for (const ContactText& text : kContactTexts) {
        if (text.poom != poom) continue;
        if (contact != nullptr) hr = PutText(contact, text.put, prop);
        return true;
    }
    if (poom == PIMPR_BIRTHDAY) {
        dbglog(25, "PropToPoom BirthDate - (%x %x)", prop.val.filetime.dwHighDateTime, prop.val.filetime.dwLowDateTime);
        if (contact != nullptr) hr = PutDate(contact, &IContact::put_Birthday, prop);
        return true;
    }
    if (poom == PIMPR_ANNIVERSARY) {
        if (contact != nullptr) hr = PutDate(contact, &IContact::put_Anniversary, prop);
        return true;
    }
    return false;
}

// --- Appointments --------------------------------------------------------------------------------------------

// The writes of the busy status are one chain without exits, on purpose: each entry runs every later write, so that
// an appointment ends as busy whatever was received.
enum class BusyChain { Free, Tentative, OutOfOffice, Busy };

HRESULT PutBusyStatus(IAppointment* appointment, BusyChain entry) {
    HRESULT hr = S_OK;
    switch (entry) {
        case BusyChain::Free:
            hr = appointment->put_BusyStatus(olFree);
            [[fallthrough]];
        case BusyChain::Tentative:
            hr = appointment->put_BusyStatus(olTentative);
            [[fallthrough]];
        case BusyChain::OutOfOffice:
            hr = appointment->put_BusyStatus(olOutOfOffice);
            [[fallthrough]];
        case BusyChain::Busy:
            hr = appointment->put_BusyStatus(olBusy);
    }
    return hr;
}

HRESULT PutToAppointment(CCEPoom& session, const CEPROPVAL& prop) {
    IAppointment* appointment = session.m_pAppt;
    if (prop.propid == kRecipients) {
        session.SetRecipients(prop.val.lpwstr);
        return S_OK;
    }
    if (appointment == nullptr) return E_POINTER;
    switch (ItemPropID(kAppointmentType, prop.propid)) {
        case PIMPR_SUBJECT:
            dbglog(75, "Subject: %S", prop.val.lpwstr);
            return PutText(appointment, &IAppointment::put_Subject, prop);
        case PIMPR_LOCATION:
            return PutText(appointment, &IAppointment::put_Location, prop);
        case PIMPR_START:
            return PutDate(appointment, &IAppointment::put_Start, prop);
        case PIMPR_DURATION:
            dbglog(75, "Duration: %i", prop.val.lVal);
            return appointment->put_Duration(prop.val.lVal);
        case PIMPR_ALL_DAY_EVENT:
            // 2 stands for not all day, and every other value, 0 too, for all day: that is the format.
            dbglog(75, "AllDay: %i", prop.val.iVal);
            return appointment->put_AllDayEvent(prop.val.iVal == kNotAllDay ? VARIANT_FALSE : VARIANT_TRUE);
        case PIMPR_SENSITIVITY:
            return PutSensitivity(appointment, prop);
        case PIMPR_REMINDER_MINUTES_BEFORE_START:
            return appointment->put_ReminderMinutesBeforeStart(prop.val.lVal);
        case PIMPR_REMINDER_SET:
            return appointment->put_ReminderSet(prop.val.iVal);
        case PIMPR_BUSY_STATUS:
            return PutBusyStatus(appointment, prop.val.iVal == olFree ? BusyChain::Free : BusyChain::Tentative);
    }
    switch (prop.propid) {
        case 1:
            return PutBusyStatus(appointment, BusyChain::Tentative);
        case 3:
            return PutBusyStatus(appointment, BusyChain::OutOfOffice);
    }
    return PutBusyStatus(appointment, BusyChain::Busy);
}

// --- Tasks ---------------------------------------------------------------------------------------------------

// An importance that the item refuses is offered once more, and then replaced by the normal one.
HRESULT PutImportance(ITask* task, LONG importance) {
    if (task->put_Importance(importance) == S_OK) return S_OK;
    if (task->put_Importance(importance) == S_OK) return S_OK;
    return task->put_Importance(olImportanceNormal);
}

enum class TaskWrite { Written, NotForTasks };

TaskWrite PutToTask(ITask* task, const CEPROPVAL& prop, HRESULT& hr) {
    if (prop.propid == kTaskReminderTime) {
        task->put_ReminderSet(VARIANT_TRUE);
        hr = task->put_ReminderTime(prop.val.dblVal);
        return TaskWrite::Written;
    }
    switch (ItemPropID(kTaskType, prop.propid)) {
        case PIMPR_SUBJECT:
            hr = PutText(task, &ITask::put_Subject, prop);
            return TaskWrite::Written;
        case PIMPR_SENSITIVITY:
            hr = PutSensitivity(task, prop);
            return TaskWrite::Written;
        case PIMPR_IMPORTANCE:
            hr = PutImportance(task, prop.val.lVal);
            return TaskWrite::Written;
        case PIMPR_START_DATE:
            hr = PutDate(task, &ITask::put_StartDate, prop);
            return TaskWrite::Written;
        case PIMPR_DUE_DATE:
            hr = PutDate(task, &ITask::put_DueDate, prop);
            return TaskWrite::Written;
        case PIMPR_COMPLETE:
            hr = task->put_Complete(prop.val.iVal);
            return TaskWrite::Written;
        case PIMPR_REMINDER_SET:
            hr = task->put_ReminderSet(prop.val.iVal != 0 ? VARIANT_TRUE : VARIANT_FALSE);
            return TaskWrite::Written;
    }
    return TaskWrite::NotForTasks;
}

}  // namespace

BOOL ContactPropToPoom(const CEPROPVAL* prop, CCEPoom* session) {
    IContact* contact = session->m_pContact;
    Reference<IItem> item;
    HRESULT hr = QueryItem(contact, item.Out());
    if (FAILED(hr)) {
        dbglog(0, "CKezAspDBContact::PropToPoom::0x%08x - hr=0x%08x - failed to retrieve pItem", prop->propid, hr);
    }

    const CEPROPID poom = ItemPropID(kContactType, prop->propid);
    if (poom == PIMPR_PICTURE) {
        WritePicture(item.Get(), prop->val.blob);
    } else if (poom == 0) {
        dbglog(25, "Unhandled prop 0x%08x", prop->propid);
    } else if (!PutThroughContact(contact, poom, *prop, hr)) {
        if (poom == PIMPR_IM1_ADDRESS) dbglog(0, "CKezAspDBContact::PropToPoom Setting IM1");
        if (item) hr = PutThroughItem(item.Get(), poom, *prop);
    }
    if (hr == S_OK) return TRUE;
    dbglog(0, "CKezAspDBContact::PropToPoom::0x%08x - hr=0x%08x", prop->propid, hr);
    return FALSE;
}

BOOL TaskPropToPoom(const CEPROPVAL* prop, CCEPoom* session) {
    HRESULT hr = E_POINTER;
    if (session->m_pTask != nullptr && PutToTask(session->m_pTask, *prop, hr) == TaskWrite::NotForTasks) return TRUE;
    if (hr == S_OK) return TRUE;
    dbglog(0, "CKezAspDBTask::PropToPoom::0x%08x - hr=0x%08x", prop->propid, hr);
    return FALSE;
}

BOOL AppointmentPropToPoom(const CEPROPVAL* prop, CCEPoom* session) {
    const HRESULT hr = PutToAppointment(*session, *prop);
    dbglog(75, "CKezAspDBAppt::PropToPoom::propid=0x%08x, hr=0x%08x", prop->propid, hr);
    if (hr == S_OK) return TRUE;
    dbglogCEPROPVAL(25, "\t\tPropVal", prop);
    return FALSE;
}
