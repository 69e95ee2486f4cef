// Doubles of the Pocket Outlook interfaces that note every call, hold values, and fail where they are told to. What
// the bridge has no business with is refused.
//
// A double is made with new and given back with Release. It holds a reference on every double that it hands out.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/doubles/recorded_calls.h"
#include "tests/doubles/refusing_pocket_outlook.h"

namespace kez::tests {

// Puts the noting of calls and the reading and writing of values on top of a refusing double.
template <typename Refusing>
class Recording : public Refusing {
 public:
    explicit Recording(RecordedCalls& calls) : m_calls(calls) {}

 protected:
    HRESULT Call(const std::string& name, const std::string& argument = "") { return m_calls.Made(name, argument); }
    template <typename Value>
    HRESULT Get(const char* name, const Value& value, Value* out) {
        const HRESULT hr = m_calls.Made(name);
        if (SUCCEEDED(hr)) *out = value;
        return hr;
    }
    HRESULT Get(const char* name, const std::u16string& value, BSTR* out) {
        const HRESULT hr = m_calls.Made(name);
        *out = SUCCEEDED(hr) ? SysAllocStringLen(value.data(), static_cast<UINT>(value.size())) : nullptr;
        return hr;
    }
    template <typename Value>
    HRESULT Put(const char* name, Value in, Value& value) {
        const HRESULT hr = m_calls.Made(name, Shown(in));
        if (SUCCEEDED(hr)) value = in;
        return hr;
    }
    HRESULT Put(const char* name, BSTR in, std::u16string& value) {
        const HRESULT hr = m_calls.Made(name, Shown(in));
        if (SUCCEEDED(hr)) value.assign(in != nullptr ? in : u"", SysStringLen(in));
        return hr;
    }
    // Hands a double out with a reference; `what` may be null, which hands out nothing.
    template <typename Double, typename Interface>
    HRESULT Hand(const char* name, Double* what, Interface** out, const std::string& argument = "") {
        const HRESULT hr = m_calls.Made(name, argument);
        *out = nullptr;
        if (FAILED(hr) || what == nullptr) return FAILED(hr) ? hr : E_FAIL;
        what->AddRef();
        *out = what;
        return hr;
    }
    RecordedCalls& Calls() { return m_calls; }

 private:
    RecordedCalls& m_calls;
};

// Holds the one reference of a test on a double.
template <typename Double>
class Owned {
 public:
    explicit Owned(RecordedCalls& calls) : m_double(new Double(calls)) {}
    ~Owned() { m_double->Release(); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    Double* operator->() const { return m_double; }
    Double* Get() const { return m_double; }
    // The double with a reference of the receiver's.
    Double* Give() const {
        m_double->AddRef();
        return m_double;
    }

 private:
    Double* m_double;
};

class RecordingStream : public Recording<RefusingStream> {
 public:
    using Recording::Recording;
    HRESULT Read(void* buffer, ULONG bytes, ULONG* read) override;
    HRESULT Write(const void* buffer, ULONG bytes, ULONG* written) override;
    HRESULT Commit(DWORD flags) override { return Call("IStream::Commit", Shown(static_cast<LONG>(flags))); }
    HRESULT Stat(STATSTG* out, DWORD flag) override;

    std::vector<BYTE> content;
    std::size_t position = 0;
};

// IItem of the other doubles.
class RecordingItem : public Recording<RefusingItem> {
 public:
    using Recording::Recording;
    HRESULT GetProps(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, ULONG* bytes,
                     HANDLE heap) override;
    HRESULT SetProps(ULONG flags, WORD count, CEPROPVAL* values) override;
    HRESULT Delete() override;
    HRESULT OpenProperty(CEPROPID id, DWORD mode, IStream** out) override;

    std::map<CEPROPID, CEVALUNION> values;         // what GetProps knows
    RecordingStream* stream = nullptr;             // the picture; the test's
    std::vector<RecordingItem*>* shelf = nullptr;  // where the item lies until it is deleted

 protected:
    ~RecordingItem() override = default;
};

// What appointments, tasks and contacts have in common: IItem is another object of the same test.
template <typename Refusing>
class RecordingFace : public Recording<Refusing> {
 public:
    using Recording<Refusing>::Recording;
    RecordingItem* item = nullptr;  // the test's; null refuses IItem

 protected:
    void* OtherInterface(REFIID riid) override {
        if (riid != IID_IItem || FAILED(this->Call("QueryInterface(IItem)")) || item == nullptr) return nullptr;
        item->AddRef();
        return item;
    }
};

class RecordingRecipient : public Recording<RefusingRecipient> {
 public:
    using Recording::Recording;
    HRESULT get_Name(BSTR* out) override { return Get("IRecipient::get_Name", name, out); }
    HRESULT get_Address(BSTR* out) override { return Get("IRecipient::get_Address", address, out); }
    HRESULT put_Address(BSTR in) override { return Put("IRecipient::put_Address", in, address); }

    std::u16string name;
    std::u16string address;
};

class RecordingRecipients : public Recording<RefusingRecipients> {
 public:
    using Recording::Recording;
    HRESULT Add(BSTR name, IRecipient** out) override;
    HRESULT Item(INT index, IRecipient** out) override;
    HRESULT Remove(INT index) override;
    HRESULT get_Count(INT* count) override {
        return Get("IRecipients::get_Count", static_cast<INT>(list.size()), count);
    }

    void Fill(const std::vector<std::pair<std::u16string, std::u16string>>& recipients);

    std::vector<RecordingRecipient*> list;

 protected:
    ~RecordingRecipients() override;
};

class RecordingPattern;

class RecordingAppointment : public RecordingFace<RefusingAppointment> {
 public:
    using RecordingFace::RecordingFace;
    HRESULT ClearRecurrencePattern() override { return Call("IAppointment::ClearRecurrencePattern"); }
    HRESULT GetRecurrencePattern(IRecurrencePattern** out) override;
    HRESULT get_IsRecurring(VARIANT_BOOL* out) override { return Get("IAppointment::get_IsRecurring", recurring, out); }
    HRESULT get_Recipients(IRecipients** out) override { return Hand("IAppointment::get_Recipients", recipients, out); }
    HRESULT Save() override { return Call("IAppointment::Save"); }
    HRESULT Delete() override { return Call("IAppointment::Delete", deleteNote); }
    HRESULT get_Oid(LONG* out) override { return Get("IAppointment::get_Oid", oid, out); }
    HRESULT get_Subject(BSTR* out) override { return Get("IAppointment::get_Subject", subject, out); }
    HRESULT put_Subject(BSTR in) override { return Put("IAppointment::put_Subject", in, subject); }
    HRESULT get_Location(BSTR* out) override { return Get("IAppointment::get_Location", location, out); }
    HRESULT put_Location(BSTR in) override { return Put("IAppointment::put_Location", in, location); }
    HRESULT get_Categories(BSTR* out) override { return Get("IAppointment::get_Categories", categories, out); }
    HRESULT put_Categories(BSTR in) override { return Put("IAppointment::put_Categories", in, categories); }
    HRESULT get_Start(DATE* out) override { return Get("IAppointment::get_Start", start, out); }
    HRESULT put_Start(DATE in) override { return Put("IAppointment::put_Start", in, start); }
    HRESULT get_Duration(LONG* out) override { return Get("IAppointment::get_Duration", duration, out); }
    HRESULT put_Duration(LONG in) override { return Put("IAppointment::put_Duration", in, duration); }
    HRESULT get_AllDayEvent(VARIANT_BOOL* out) override {
        return Get("IAppointment::get_AllDayEvent", allDayEvent, out);
    }
    HRESULT put_AllDayEvent(VARIANT_BOOL in) override { return Put("IAppointment::put_AllDayEvent", in, allDayEvent); }
    HRESULT get_BusyStatus(LONG* out) override { return Get("IAppointment::get_BusyStatus", busyStatus, out); }
    HRESULT put_BusyStatus(LONG in) override { return Put("IAppointment::put_BusyStatus", in, busyStatus); }
    HRESULT get_Sensitivity(LONG* out) override { return Get("IAppointment::get_Sensitivity", sensitivity, out); }
    HRESULT put_Sensitivity(LONG in) override { return Put("IAppointment::put_Sensitivity", in, sensitivity); }
    HRESULT get_Body(BSTR* out) override { return Get("IAppointment::get_Body", body, out); }
    HRESULT put_Body(BSTR in) override { return Put("IAppointment::put_Body", in, body); }
    HRESULT get_ReminderSet(VARIANT_BOOL* out) override {
        return Get("IAppointment::get_ReminderSet", reminderSet, out);
    }
    HRESULT put_ReminderSet(VARIANT_BOOL in) override { return Put("IAppointment::put_ReminderSet", in, reminderSet); }
    HRESULT get_ReminderMinutesBeforeStart(LONG* out) override {
        return Get("IAppointment::get_ReminderMinutesBeforeStart", reminderMinutesBeforeStart, out);
    }
    HRESULT put_ReminderMinutesBeforeStart(LONG in) override {
        return Put("IAppointment::put_ReminderMinutesBeforeStart", in, reminderMinutesBeforeStart);
    }
    HRESULT get_ReminderOptions(LONG* out) override {
        return Get("IAppointment::get_ReminderOptions", reminderOptions, out);
    }
    HRESULT put_ReminderOptions(LONG in) override {
        return Put("IAppointment::put_ReminderOptions", in, reminderOptions);
    }

    std::u16string subject;
    std::u16string location;
    std::u16string categories;
    DATE start = 0.0;
    LONG duration = 0;
    VARIANT_BOOL allDayEvent = VARIANT_FALSE;
    LONG busyStatus = 0;
    LONG sensitivity = 0;
    std::u16string body;
    VARIANT_BOOL reminderSet = VARIANT_FALSE;
    LONG reminderMinutesBeforeStart = 0;
    LONG reminderOptions = 0;
    VARIANT_BOOL recurring = VARIANT_FALSE;
    LONG oid = 0;
    RecordingPattern* pattern = nullptr;        // the test's
    RecordingRecipients* recipients = nullptr;  // the test's
    std::string deleteNote;
};

class RecordingTask : public RecordingFace<RefusingTask> {
 public:
    using RecordingFace::RecordingFace;
    HRESULT ClearRecurrencePattern() override { return Call("ITask::ClearRecurrencePattern"); }
    HRESULT GetRecurrencePattern(IRecurrencePattern** out) override;
    HRESULT get_IsRecurring(VARIANT_BOOL* out) override { return Get("ITask::get_IsRecurring", recurring, out); }
    HRESULT Save() override { return Call("ITask::Save"); }
    HRESULT get_Oid(LONG* out) override { return Get("ITask::get_Oid", oid, out); }
    HRESULT get_Subject(BSTR* out) override { return Get("ITask::get_Subject", subject, out); }
    HRESULT put_Subject(BSTR in) override { return Put("ITask::put_Subject", in, subject); }
    HRESULT get_Categories(BSTR* out) override { return Get("ITask::get_Categories", categories, out); }
    HRESULT put_Categories(BSTR in) override { return Put("ITask::put_Categories", in, categories); }
    HRESULT get_StartDate(DATE* out) override { return Get("ITask::get_StartDate", startDate, out); }
    HRESULT put_StartDate(DATE in) override { return Put("ITask::put_StartDate", in, startDate); }
    HRESULT get_DueDate(DATE* out) override { return Get("ITask::get_DueDate", dueDate, out); }
    HRESULT put_DueDate(DATE in) override { return Put("ITask::put_DueDate", in, dueDate); }
    HRESULT get_Importance(LONG* out) override { return Get("ITask::get_Importance", importance, out); }
    HRESULT put_Importance(LONG in) override { return Put("ITask::put_Importance", in, importance); }
    HRESULT get_Complete(VARIANT_BOOL* out) override { return Get("ITask::get_Complete", complete, out); }
    HRESULT put_Complete(VARIANT_BOOL in) override { return Put("ITask::put_Complete", in, complete); }
    HRESULT get_Sensitivity(LONG* out) override { return Get("ITask::get_Sensitivity", sensitivity, out); }
    HRESULT put_Sensitivity(LONG in) override { return Put("ITask::put_Sensitivity", in, sensitivity); }
    HRESULT get_Body(BSTR* out) override { return Get("ITask::get_Body", body, out); }
    HRESULT put_Body(BSTR in) override { return Put("ITask::put_Body", in, body); }
    HRESULT get_ReminderSet(VARIANT_BOOL* out) override { return Get("ITask::get_ReminderSet", reminderSet, out); }
    HRESULT put_ReminderSet(VARIANT_BOOL in) override { return Put("ITask::put_ReminderSet", in, reminderSet); }
    HRESULT get_ReminderTime(DATE* out) override { return Get("ITask::get_ReminderTime", reminderTime, out); }
    HRESULT put_ReminderTime(DATE in) override { return Put("ITask::put_ReminderTime", in, reminderTime); }
    HRESULT get_ReminderOptions(LONG* out) override { return Get("ITask::get_ReminderOptions", reminderOptions, out); }
    HRESULT put_ReminderOptions(LONG in) override { return Put("ITask::put_ReminderOptions", in, reminderOptions); }

    std::u16string subject;
    std::u16string categories;
    DATE startDate = 0.0;
    DATE dueDate = 0.0;
    LONG importance = 0;
    VARIANT_BOOL complete = VARIANT_FALSE;
    LONG sensitivity = 0;
    std::u16string body;
    VARIANT_BOOL reminderSet = VARIANT_FALSE;
    DATE reminderTime = 0.0;
    LONG reminderOptions = 0;
    VARIANT_BOOL recurring = VARIANT_FALSE;
    LONG oid = 0;
    RecordingPattern* pattern = nullptr;  // the test's
};

// Every setter is noted; of the values only the note and the categories are kept.
class RecordingContact : public RecordingFace<RefusingContact> {
 public:
    using RecordingFace::RecordingFace;
    HRESULT Save() override { return Call("IContact::Save"); }
    HRESULT get_Oid(LONG* out) override { return Get("IContact::get_Oid", oid, out); }
    HRESULT get_Categories(BSTR* out) override { return Get("IContact::get_Categories", categories, out); }
    HRESULT get_Body(BSTR* out) override { return Get("IContact::get_Body", body, out); }
    HRESULT put_Birthday(DATE in) override { return Call("IContact::put_Birthday", Shown(in)); }
    HRESULT put_Anniversary(DATE in) override { return Call("IContact::put_Anniversary", Shown(in)); }
    HRESULT put_Categories(BSTR in) override { return Put("IContact::put_Categories", in, categories); }
    HRESULT put_Body(BSTR in) override { return Put("IContact::put_Body", in, body); }
    HRESULT put_BusinessFaxNumber(BSTR in) override { return Call("IContact::put_BusinessFaxNumber", Shown(in)); }
    HRESULT put_CompanyName(BSTR in) override { return Call("IContact::put_CompanyName", Shown(in)); }
    HRESULT put_Department(BSTR in) override { return Call("IContact::put_Department", Shown(in)); }
    HRESULT put_Email1Address(BSTR in) override { return Call("IContact::put_Email1Address", Shown(in)); }
    HRESULT put_MobileTelephoneNumber(BSTR in) override {
        return Call("IContact::put_MobileTelephoneNumber", Shown(in));
    }
    HRESULT put_OfficeLocation(BSTR in) override { return Call("IContact::put_OfficeLocation", Shown(in)); }
    HRESULT put_PagerNumber(BSTR in) override { return Call("IContact::put_PagerNumber", Shown(in)); }
    HRESULT put_BusinessTelephoneNumber(BSTR in) override {
        return Call("IContact::put_BusinessTelephoneNumber", Shown(in));
    }
    HRESULT put_JobTitle(BSTR in) override { return Call("IContact::put_JobTitle", Shown(in)); }
    HRESULT put_HomeTelephoneNumber(BSTR in) override { return Call("IContact::put_HomeTelephoneNumber", Shown(in)); }
    HRESULT put_Email2Address(BSTR in) override { return Call("IContact::put_Email2Address", Shown(in)); }
    HRESULT put_Spouse(BSTR in) override { return Call("IContact::put_Spouse", Shown(in)); }
    HRESULT put_Email3Address(BSTR in) override { return Call("IContact::put_Email3Address", Shown(in)); }
    HRESULT put_Home2TelephoneNumber(BSTR in) override { return Call("IContact::put_Home2TelephoneNumber", Shown(in)); }
    HRESULT put_HomeFaxNumber(BSTR in) override { return Call("IContact::put_HomeFaxNumber", Shown(in)); }
    HRESULT put_CarTelephoneNumber(BSTR in) override { return Call("IContact::put_CarTelephoneNumber", Shown(in)); }
    HRESULT put_AssistantName(BSTR in) override { return Call("IContact::put_AssistantName", Shown(in)); }
    HRESULT put_AssistantTelephoneNumber(BSTR in) override {
        return Call("IContact::put_AssistantTelephoneNumber", Shown(in));
    }
    HRESULT put_Children(BSTR in) override { return Call("IContact::put_Children", Shown(in)); }
    HRESULT put_WebPage(BSTR in) override { return Call("IContact::put_WebPage", Shown(in)); }
    HRESULT put_Business2TelephoneNumber(BSTR in) override {
        return Call("IContact::put_Business2TelephoneNumber", Shown(in));
    }
    HRESULT put_Title(BSTR in) override { return Call("IContact::put_Title", Shown(in)); }
    HRESULT put_FirstName(BSTR in) override { return Call("IContact::put_FirstName", Shown(in)); }
    HRESULT put_MiddleName(BSTR in) override { return Call("IContact::put_MiddleName", Shown(in)); }
    HRESULT put_LastName(BSTR in) override { return Call("IContact::put_LastName", Shown(in)); }
    HRESULT put_Suffix(BSTR in) override { return Call("IContact::put_Suffix", Shown(in)); }
    HRESULT put_HomeAddressStreet(BSTR in) override { return Call("IContact::put_HomeAddressStreet", Shown(in)); }
    HRESULT put_HomeAddressCity(BSTR in) override { return Call("IContact::put_HomeAddressCity", Shown(in)); }
    HRESULT put_HomeAddressState(BSTR in) override { return Call("IContact::put_HomeAddressState", Shown(in)); }
    HRESULT put_HomeAddressPostalCode(BSTR in) override {
        return Call("IContact::put_HomeAddressPostalCode", Shown(in));
    }
    HRESULT put_HomeAddressCountry(BSTR in) override { return Call("IContact::put_HomeAddressCountry", Shown(in)); }
    HRESULT put_OtherAddressStreet(BSTR in) override { return Call("IContact::put_OtherAddressStreet", Shown(in)); }
    HRESULT put_OtherAddressCity(BSTR in) override { return Call("IContact::put_OtherAddressCity", Shown(in)); }
    HRESULT put_OtherAddressState(BSTR in) override { return Call("IContact::put_OtherAddressState", Shown(in)); }
    HRESULT put_OtherAddressPostalCode(BSTR in) override {
        return Call("IContact::put_OtherAddressPostalCode", Shown(in));
    }
    HRESULT put_OtherAddressCountry(BSTR in) override { return Call("IContact::put_OtherAddressCountry", Shown(in)); }
    HRESULT put_BusinessAddressStreet(BSTR in) override {
        return Call("IContact::put_BusinessAddressStreet", Shown(in));
    }
    HRESULT put_BusinessAddressCity(BSTR in) override { return Call("IContact::put_BusinessAddressCity", Shown(in)); }
    HRESULT put_BusinessAddressState(BSTR in) override { return Call("IContact::put_BusinessAddressState", Shown(in)); }
    HRESULT put_BusinessAddressPostalCode(BSTR in) override {
        return Call("IContact::put_BusinessAddressPostalCode", Shown(in));
    }
    HRESULT put_BusinessAddressCountry(BSTR in) override {
        return Call("IContact::put_BusinessAddressCountry", Shown(in));
    }
    HRESULT put_RadioTelephoneNumber(BSTR in) override { return Call("IContact::put_RadioTelephoneNumber", Shown(in)); }
    HRESULT put_FileAs(BSTR in) override { return Call("IContact::put_FileAs", Shown(in)); }

    LONG oid = 0;
    std::u16string categories;
    std::u16string body;
};

class RecordingException : public Recording<RefusingException> {
 public:
    using Recording::Recording;
    HRESULT get_AppointmentItem(IAppointment** out) override {
        return Hand("IException::get_AppointmentItem", occurrence, out);
    }
    HRESULT get_OriginalDate(DATE* out) override { return Get("IException::get_OriginalDate", originalDate, out); }
    HRESULT get_Deleted(VARIANT_BOOL* out) override { return Get("IException::get_Deleted", deleted, out); }

    DATE originalDate = 0.0;
    VARIANT_BOOL deleted = VARIANT_FALSE;
    RecordingAppointment* occurrence = nullptr;  // the test's
};

class RecordingExceptions : public Recording<RefusingExceptions> {
 public:
    using Recording::Recording;
    HRESULT Item(INT index, IException** out) override;
    HRESULT get_Count(INT* count) override {
        return Get("IExceptions::get_Count", static_cast<INT>(list.size()), count);
    }

    std::vector<RecordingException*> list;  // the test's
};

class RecordingPattern : public Recording<RefusingPattern> {
 public:
    using Recording::Recording;
    HRESULT get_Exceptions(IExceptions** out) override {
        return Hand("IRecurrencePattern::get_Exceptions", exceptions, out);
    }
    HRESULT GetOccurrence(DATE date, IAppointment** out) override;
    HRESULT get_RecurrenceType(LONG* out) override {
        return Get("IRecurrencePattern::get_RecurrenceType", recurrenceType, out);
    }
    HRESULT put_RecurrenceType(LONG in) override {
        return Put("IRecurrencePattern::put_RecurrenceType", in, recurrenceType);
    }
    HRESULT get_PatternStartDate(DATE* out) override {
        return Get("IRecurrencePattern::get_PatternStartDate", patternStartDate, out);
    }
    HRESULT put_PatternStartDate(DATE in) override {
        return Put("IRecurrencePattern::put_PatternStartDate", in, patternStartDate);
    }
    HRESULT get_StartTime(DATE* out) override { return Get("IRecurrencePattern::get_StartTime", startTime, out); }
    HRESULT put_StartTime(DATE in) override { return Put("IRecurrencePattern::put_StartTime", in, startTime); }
    HRESULT get_EndTime(DATE* out) override { return Get("IRecurrencePattern::get_EndTime", endTime, out); }
    HRESULT put_EndTime(DATE in) override { return Put("IRecurrencePattern::put_EndTime", in, endTime); }
    HRESULT get_PatternEndDate(DATE* out) override {
        return Get("IRecurrencePattern::get_PatternEndDate", patternEndDate, out);
    }
    HRESULT put_PatternEndDate(DATE in) override {
        return Put("IRecurrencePattern::put_PatternEndDate", in, patternEndDate);
    }
    HRESULT get_NoEndDate(VARIANT_BOOL* out) override {
        return Get("IRecurrencePattern::get_NoEndDate", noEndDate, out);
    }
    HRESULT put_NoEndDate(VARIANT_BOOL in) override { return Put("IRecurrencePattern::put_NoEndDate", in, noEndDate); }
    HRESULT get_Occurrences(LONG* out) override { return Get("IRecurrencePattern::get_Occurrences", occurrences, out); }
    HRESULT put_Occurrences(LONG in) override { return Put("IRecurrencePattern::put_Occurrences", in, occurrences); }
    HRESULT get_Interval(LONG* out) override { return Get("IRecurrencePattern::get_Interval", interval, out); }
    HRESULT put_Interval(LONG in) override { return Put("IRecurrencePattern::put_Interval", in, interval); }
    HRESULT get_DayOfWeekMask(LONG* out) override {
        return Get("IRecurrencePattern::get_DayOfWeekMask", dayOfWeekMask, out);
    }
    HRESULT put_DayOfWeekMask(LONG in) override {
        return Put("IRecurrencePattern::put_DayOfWeekMask", in, dayOfWeekMask);
    }
    HRESULT get_DayOfMonth(LONG* out) override { return Get("IRecurrencePattern::get_DayOfMonth", dayOfMonth, out); }
    HRESULT put_DayOfMonth(LONG in) override { return Put("IRecurrencePattern::put_DayOfMonth", in, dayOfMonth); }
    HRESULT get_Instance(LONG* out) override { return Get("IRecurrencePattern::get_Instance", instance, out); }
    HRESULT put_Instance(LONG in) override { return Put("IRecurrencePattern::put_Instance", in, instance); }
    HRESULT get_Duration(LONG* out) override { return Get("IRecurrencePattern::get_Duration", duration, out); }
    HRESULT put_Duration(LONG in) override { return Put("IRecurrencePattern::put_Duration", in, duration); }
    HRESULT get_MonthOfYear(LONG* out) override { return Get("IRecurrencePattern::get_MonthOfYear", monthOfYear, out); }
    HRESULT put_MonthOfYear(LONG in) override { return Put("IRecurrencePattern::put_MonthOfYear", in, monthOfYear); }

    LONG recurrenceType = 0;
    DATE patternStartDate = 0.0;
    DATE startTime = 0.0;
    DATE endTime = 0.0;
    DATE patternEndDate = 0.0;
    VARIANT_BOOL noEndDate = VARIANT_FALSE;
    LONG occurrences = 0;
    LONG interval = 0;
    LONG dayOfWeekMask = 0;
    LONG dayOfMonth = 0;
    LONG instance = 0;
    LONG duration = 0;
    LONG monthOfYear = 0;
    RecordingExceptions* exceptions = nullptr;   // the test's
    std::map<DATE, RecordingAppointment*> days;  // the test's
};

class RecordingCollection : public Recording<RefusingCollection> {
 public:
    using Recording::Recording;
    HRESULT get_Count(INT* count) override {
        return Get("IPOutlookItemCollection::get_Count", static_cast<INT>(shelf.size()), count);
    }
    HRESULT Item(INT index, IDispatch** out) override;

    std::vector<RecordingItem*> shelf;  // the test's
};

class RecordingFolder : public Recording<RefusingFolder> {
 public:
    using Recording::Recording;
    HRESULT get_Items(IPOutlookItemCollection** out) override { return Hand("IFolder::get_Items", collection, out); }

    RecordingCollection* collection = nullptr;  // the test's
};

class RecordingApplication : public Recording<RefusingApplication> {
 public:
    using Recording::Recording;
    HRESULT Logon(LONG window) override { return Call("IPOutlookApp::Logon", Shown(window)); }
    HRESULT Logoff() override { return Call("IPOutlookApp::Logoff"); }
    HRESULT GetDefaultFolder(INT number, IFolder** out) override {
        return Hand("IPOutlookApp::GetDefaultFolder", folder, out, Shown(number));
    }
    HRESULT CreateItem(INT type, IDispatch** out) override {
        return Hand("IPOutlookApp::CreateItem", next, out, Shown(type));
    }
    HRESULT GetItemFromOid(LONG oid, IDispatch** out) override {
        return Hand("IPOutlookApp::GetItemFromOid", next, out, Shown(oid));
    }
    HRESULT SysFreeString(BSTR text) override;

    RecordingFolder* folder = nullptr;  // the test's
    IDispatch* next = nullptr;          // what CreateItem and GetItemFromOid give; the test's
};

}  // namespace kez::tests
