// Random items go through the bridge: read into properties and texts, written into a new item, saved. What comes out is
// the same item, but for the losses that docs/conversion-losses.md lists; each of those is stated here as well.
#include <rapidcheck.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <random>

#include "poom/catalogue.h"
#include "tests/poom/host_fixture.h"

namespace kez::tests {
namespace {

constexpr int kItemsARun = 20;  // and a hundred runs

// What can be seen of an item, value by value, in a form that a failure shows.
using Picture = std::map<std::string, std::string>;

std::string Shown(const std::u16string& text) {
    std::string shown = "\"";
    for (const char16_t character : text) {
        if (character >= 0x20 && character < 0x7F) {
            shown += static_cast<char>(character);
        } else {
            char code[8] = {};
            _snprintf(code, sizeof(code) - 1, "\\%04x", static_cast<UINT>(character));
            shown += code;
        }
    }
    return shown + "\"";
}
std::string Shown(LONG value) { return std::to_string(value); }
std::string Shown(VARIANT_BOOL value) { return value == VARIANT_FALSE ? "no" : "yes"; }
std::string Shown(DATE value) {
    if (value == DATE_NONE) return "no date";
    char text[40] = {};
    SYSTEMTIME parts = {};
    VariantTimeToSystemTime(value, &parts);
    _snprintf(text, sizeof(text) - 1, "%04d-%02d-%02d %02d:%02d:%02d", parts.wYear, parts.wMonth, parts.wDay,
              parts.wHour, parts.wMinute, parts.wSecond);
    return text;
}

template <class Item, class Value>
std::string Value_(Item* item, HRESULT (Item::*getter)(Value*)) {
    Value value = {};
    RC_ASSERT((item->*getter)(&value) == S_OK);
    return Shown(value);
}
template <class Item>
std::string Value_(Item* item, HRESULT (Item::*getter)(BSTR*)) {
    return Shown(GetText(item, getter));
}

// --- Random values -----------------------------------------------------------------------------------------------

// Each item is drawn from a number of its own, which a failing run names; drawing every character by itself would
// make thousands of items slow.
std::mt19937_64 g_random;

void BeginItem() { g_random = std::mt19937_64(*rc::gen::noShrink(rc::gen::arbitrary<std::uint64_t>())); }

LONG AnyNumber(LONG least, LONG most) { return std::uniform_int_distribution<LONG>(least, most)(g_random); }
bool AnyFlag() { return AnyNumber(0, 1) == 1; }

char16_t AnyCharacter() {
    static constexpr char16_t kMarks[] = u";\t,~^!\r\n\"\\";
    static constexpr char16_t kOdd[] = {0x0100, 0xD83D, 0xDE00, 0xD800, 0xDFFF, 0xFFFE, 0x2028};
    const LONG kind = AnyNumber(0, 17);
    if (kind < 12) return static_cast<char16_t>(AnyNumber(0x20, 0x7E));
    if (kind < 14) return static_cast<char16_t>(AnyNumber(0xA0, 0xFF));
    if (kind < 16) return kMarks[AnyNumber(0, std::size(kMarks) - 2)];
    if (kind < 17) return static_cast<char16_t>(AnyNumber(0x100, 0xD7FF));
    return kOdd[AnyNumber(0, std::size(kOdd) - 1)];
}
std::u16string AnyText() {
    const LONG kind = AnyNumber(0, 12);
    if (kind < 3) return u"";
    if (kind == 3) return u"~^!^~";
    if (kind == 4) return u"\U0001F600\U00010437";
    std::u16string text;
    for (LONG length = kind == 5 ? AnyNumber(100, 1000) : AnyNumber(1, 40); length > 0; --length) {
        text += AnyCharacter();
    }
    return text;
}
// A text that a list of recipients can carry.
std::u16string AnyName() {
    std::u16string text = AnyText();
    text.erase(std::remove(text.begin(), text.end(), u';'), text.end());
    return text.empty() ? u"x" : text;
}
DATE AnyDay() { return AnyNumber(2, 401768); }
// A day of the years in which tests can look for occurrences, so that patterns end in sight.
DATE AnyNearDay() { return AnyNumber(45000, 47000); }
std::vector<BYTE> AnyPicture() {
    static constexpr DWORD kSizes[] = {0, 0, 0, 0, 1, 100, 32767, 32768, 40000, 65536};
    const DWORD size = kSizes[AnyNumber(0, std::size(kSizes) - 1)];
    std::vector<BYTE> bytes(size);
    const auto step = static_cast<DWORD>(AnyNumber(1, 254));
    for (DWORD i = 0; i < size; ++i) bytes[i] = static_cast<BYTE>(i * step + i / 257);
    return bytes;
}

// --- The journey -------------------------------------------------------------------------------------------------

class RoundTrip : public HostBridge {
 protected:
    // Reads item `oid` with one session and writes it into a new item with the other, as a packet would carry it.
    CEOID Travel(DWORD type, CEOID oid) {
        RC_ASSERT(session->InitializeItem(oid, type, static_cast<LONG>(oid)));
        PropertyList list;
        RC_ASSERT(list.Read(*session, type));
        std::vector<CEPROPVAL> properties(list.begin(), list.end());
        std::sort(properties.begin(), properties.end(),
                  [](const CEPROPVAL& a, const CEPROPVAL& b) { return a.propid < b.propid; });

        RC_ASSERT(other->InitializeItem(0, type, 0));
        for (CEPROPVAL property : properties) {
            if (property.wFlags != 0) continue;
            // A desktop says 2 for an appointment that is not all day, and the item says 0.
            if (property.propid == 0x42150003 && property.val.boolVal == FALSE) property.val.lVal = 2;
            Put(type, property);
        }
        WCHAR* text = nullptr;
        if (session->GetCategories(&text)) other->SetCategories(text);
        delete[] text;
        if (session->GetNote(&text)) other->SetNote(text);
        delete[] text;
        if (session->GetRecipients(&text)) other->SetRecipients(text);
        delete[] text;

        std::u16string exceptionList;
        CEPROPVAL exceptions = Property(0xAFFF001F);
        if (session->GetRecurring() && session->m_recurrence.bRecurrFound) {
            const RecurrenceState& from = session->m_recurrence;
            RecurrenceState& to = other->m_recurrence;
            to.bRecurrFound = TRUE;
            to.RecurrenceType = from.RecurrenceType;
            to.DayOfWeekMask = from.DayOfWeekMask;
            to.DayOfMonth = from.DayOfMonth;
            to.MonthOfYear = from.MonthOfYear;
            to.Interval = from.Interval;
            to.Instance = from.Instance;
            to.RecurrenceEndDate = from.PatternEndDate;
            to.bNoEndDate = from.bNoEndDate;
            if (session->m_bstrExcList != nullptr) {
                exceptionList = session->m_bstrExcList;
                exceptions.val.lpwstr = exceptionList.data();
                other->m_pExcList = &exceptions;
            }
        }
        CEOID copy = 0;
        RC_ASSERT(other->Save(&copy) == S_OK);
        RC_ASSERT(copy != 0u);
        session->ReleaseItems();
        return copy;
    }
    void Put(DWORD type, const CEPROPVAL& property) {
        BOOL written = FALSE;
        if (type == kContacts) written = ContactPropToPoom(&property, &*other);
        if (type == kAppointments) written = AppointmentPropToPoom(&property, &*other);
        if (type == kTasks) written = TaskPropToPoom(&property, &*other);
        RC_ASSERT(written);
    }
    void Open(DWORD type, CEOID oid) { RC_ASSERT(session->InitializeItem(oid, type, static_cast<LONG>(oid))); }
    void Remove(DWORD type, CEOID oid) {
        Open(type, oid);
        IUnknown* item = session->m_pContact;
        if (type == kAppointments) item = session->m_pAppt;
        if (type == kTasks) item = session->m_pTask;
        Reference<IItem> deleted;
        QueryItem(item, deleted.Out());
        RC_ASSERT(deleted->Delete() == S_OK);
        session->ReleaseItems();
    }
};

// --- Contacts ----------------------------------------------------------------------------------------------------

class ContactTrip : public RoundTrip {
 protected:
    CEOID MakeRandom() {
        BeginItem();
        RC_ASSERT(session->InitializeItem(0, kContacts, 0));
        Reference<IItem> item;
        QueryItem(session->m_pContact, item.Out());
        for (const CatalogueRow& row : kContactCatalogue) {
            CEPROPVAL value = {};
            value.propid = row.poom;
            std::u16string text;
            if (TypeFromPropID(row.poom) == CEVT_LPWSTR) {
                text = AnyText();
                if (text.empty()) continue;
                value.val.lpwstr = text.data();
                RC_ASSERT(item->SetProps(0, 1, &value) == S_OK);
            } else if (TypeFromPropID(row.poom) == CEVT_FILETIME && AnyFlag()) {
                value.val.filetime = DateToFileTime(AnyDay());
                RC_ASSERT(item->SetProps(0, 1, &value) == S_OK);
            }
        }
        const std::vector<BYTE> bytes = AnyPicture();
        if (!bytes.empty()) {
            Reference<IStream> stream;
            ULONG written = 0;
            RC_ASSERT(item->OpenProperty(PIMPR_PICTURE, GENERIC_WRITE, stream.Out()) == S_OK);
            RC_ASSERT(stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written) == S_OK);
            RC_ASSERT(stream->Commit(0) == S_OK);
        }
        session->m_pContact->put_Categories(AutomationText(AnyText().c_str()).Get());
        session->m_pContact->put_Body(AutomationText(AnyText().c_str()).Get());
        CEOID oid = 0;
        RC_ASSERT(session->Save(&oid) == S_OK);
        return oid;
    }
    Picture Look(CEOID oid) {
        Open(kContacts, oid);
        PropertyList list;
        RC_ASSERT(list.Read(*session, kContacts));
        Picture seen;
        for (const CatalogueRow& row : kContactCatalogue) {
            const CEPROPVAL* value = list.Find(row.packet);
            RC_ASSERT(value != nullptr);
            std::string shown = "nothing";
            if (value->wFlags == 0 && TypeFromPropID(row.packet) == CEVT_LPWSTR) {
                shown = Shown(std::u16string(value->val.lpwstr));
            } else if (value->wFlags == 0 && TypeFromPropID(row.packet) == CEVT_FILETIME) {
                shown = Shown(FileTimeToDate(value->val.filetime));
            } else if (value->wFlags == 0) {
                const CEBLOB& blob = value->val.blob;
                shown = std::to_string(blob.dwCount) + " bytes, " +
                        std::to_string(std::hash<std::string_view>()(
                            std::string_view(reinterpret_cast<const char*>(blob.lpb), blob.dwCount)));
            }
            seen[row.name] = shown;
        }
        seen["categories"] = Value_(session->m_pContact, &IContact::get_Categories);
        seen["body"] = Value_(session->m_pContact, &IContact::get_Body);
        session->ReleaseItems();
        return seen;
    }
};

TEST_F(ContactTrip, ACopyIsTheSameContact) {
    EXPECT_TRUE(rc::check("a contact", [this] {
        for (int i = 0; i < kItemsARun; ++i) {
            const CEOID oid = MakeRandom();
            const CEOID copy = Travel(kContacts, oid);
            const Picture expected = Look(oid);
            RC_ASSERT(Look(copy) == expected);
            Remove(kContacts, oid);
            Remove(kContacts, copy);
        }
    }));
}

// --- Appointments ------------------------------------------------------------------------------------------------

class AppointmentTrip : public RoundTrip {
 protected:
    CEOID MakeRandom() {
        BeginItem();
        RC_ASSERT(session->InitializeItem(0, kAppointments, 0));
        IAppointment* appointment = session->m_pAppt;
        const bool recurs = AnyFlag();
        const bool allDay = AnyNumber(0, 3) == 0;
        const DATE day = recurs ? AnyNearDay() : AnyDay() - 31;
        const LONG minute = AnyNumber(0, 1439);
        SYSTEMTIME parts = {};
        VariantTimeToSystemTime(std::max(day, 2.0), &parts);
        parts.wHour = static_cast<WORD>(minute / 60);
        parts.wMinute = static_cast<WORD>(minute % 60);
        DATE start = 0.0;
        SystemTimeToVariantTime(&parts, &start);

        appointment->put_Subject(AutomationText(AnyText().c_str()).Get());
        appointment->put_Location(AutomationText(AnyText().c_str()).Get());
        appointment->put_Body(AutomationText(AnyText().c_str()).Get());
        appointment->put_Categories(AutomationText(AnyText().c_str()).Get());
        RC_ASSERT(appointment->put_Start(start) == S_OK);
        RC_ASSERT(appointment->put_Duration(recurs ? AnyNumber(0, 1440) : AnyNumber(0, 40000)) == S_OK);
        RC_ASSERT(appointment->put_AllDayEvent(allDay ? VARIANT_TRUE : VARIANT_FALSE) == S_OK);
        RC_ASSERT(appointment->put_Sensitivity(AnyNumber(0, 3)) == S_OK);
        RC_ASSERT(appointment->put_BusyStatus(AnyNumber(0, 3)) == S_OK);
        RC_ASSERT(appointment->put_ReminderMinutesBeforeStart(AnyNumber(0, 1440)) == S_OK);
        RC_ASSERT(appointment->put_ReminderSet(AnyFlag() ? VARIANT_TRUE : VARIANT_FALSE) == S_OK);
        RC_ASSERT(appointment->put_ReminderOptions(AnyNumber(0, 31)) == S_OK);
        if (!allDay) AddRecipients(appointment);
        if (recurs) SetPattern(session->m_pRec, day);
        // The session's own way to save would set the pattern anew.
        const HRESULT saved = appointment->Save();
        if (FAILED(saved)) {
            session->ReleaseItems();
            return 0;
        }
        const auto oid = static_cast<CEOID>(Get(appointment, &IAppointment::get_Oid));
        if (recurs && AnyFlag()) MakeExceptions();
        session->ReleaseItems();
        return oid;
    }
    void AddRecipients(IAppointment* appointment) {
        Reference<IRecipients> recipients;
        RC_ASSERT(appointment->get_Recipients(recipients.Out()) == S_OK);
        for (LONG count = AnyNumber(0, 3); count > 0; --count) {
            Reference<IRecipient> recipient;
            RC_ASSERT(recipients->Add(AutomationText(AnyName().c_str()).Get(), recipient.Out()) == S_OK);
            RC_ASSERT(recipient->put_Address(AutomationText(AnyName().c_str()).Get()) == S_OK);
        }
    }
    void SetPattern(IRecurrencePattern* pattern, DATE day) {
        static constexpr LONG kTypes[] = {0, 1, 2, 3, 5, 6};
        const LONG type = kTypes[AnyNumber(0, 5)];
        RC_ASSERT(pattern->put_RecurrenceType(type) == S_OK);
        RC_ASSERT(pattern->put_PatternStartDate(day) == S_OK);
        pattern->put_Interval(AnyNumber(1, 4));
        if (type == olRecursWeekly || type == olRecursMonthNth || type == olRecursYearNth) {
            RC_ASSERT(pattern->put_DayOfWeekMask(AnyNumber(1, 127)) == S_OK);
        }
        if (type == olRecursYearly) {
            pattern->put_DayOfMonth(1);
            RC_ASSERT(pattern->put_MonthOfYear(AnyNumber(1, 12)) == S_OK);
            RC_ASSERT(pattern->put_DayOfMonth(AnyNumber(1, 28)) == S_OK);
        }
        if (type == olRecursMonthly) RC_ASSERT(pattern->put_DayOfMonth(AnyNumber(1, 31)) == S_OK);
        if (type == olRecursMonthNth || type == olRecursYearNth) {
            RC_ASSERT(pattern->put_Instance(AnyNumber(1, 5)) == S_OK);
        }
        if (type == olRecursYearNth) RC_ASSERT(pattern->put_MonthOfYear(AnyNumber(1, 12)) == S_OK);
        const LONG end = AnyNumber(0, 2);
        if (end > 0) pattern->put_NoEndDate(VARIANT_FALSE);
        if (end == 1) RC_ASSERT(pattern->put_PatternEndDate(day + AnyNumber(400, 900)) == S_OK);
        if (end == 2) RC_ASSERT(pattern->put_Occurrences(AnyNumber(1, 30)) == S_OK);
    }
    // Deletes some of the first occurrences and changes others.
    void MakeExceptions() {
        const DATE start = Get(session->m_pAppt, &IAppointment::get_Start);
        for (int day = 0; day < 40; ++day) {
            const LONG choice = AnyNumber(0, 5);
            if (choice > 1) continue;
            Reference<IAppointment> occurrence;
            session->m_pRec->GetOccurrence(start + day, occurrence.Out());
            if (!occurrence) continue;
            if (choice == 0) {
                occurrence->Delete();
            } else {
                occurrence->put_Subject(AutomationText(AnyText().c_str()).Get());
                occurrence->Save();
            }
        }
    }
    Picture Look(CEOID oid) {
        Open(kAppointments, oid);
        IAppointment* appointment = session->m_pAppt;
        Picture seen;
        seen["subject"] = Value_(appointment, &IAppointment::get_Subject);
        seen["location"] = Value_(appointment, &IAppointment::get_Location);
        seen["body"] = Value_(appointment, &IAppointment::get_Body);
        seen["categories"] = Value_(appointment, &IAppointment::get_Categories);
        seen["start"] = Value_(appointment, &IAppointment::get_Start);
        seen["duration"] = Value_(appointment, &IAppointment::get_Duration);
        seen["end"] = Value_(appointment, &IAppointment::get_End);
        seen["all day"] = Value_(appointment, &IAppointment::get_AllDayEvent);
        seen["sensitivity"] = Value_(appointment, &IAppointment::get_Sensitivity);
        seen["busy status"] = Value_(appointment, &IAppointment::get_BusyStatus);
        seen["reminder"] = Value_(appointment, &IAppointment::get_ReminderSet);
        seen["reminder minutes"] = Value_(appointment, &IAppointment::get_ReminderMinutesBeforeStart);
        seen["reminder options"] = Value_(appointment, &IAppointment::get_ReminderOptions);
        seen["meeting"] = Value_(appointment, &IAppointment::get_MeetingStatus);
        seen["recurring"] = Value_(appointment, &IAppointment::get_IsRecurring);
        WCHAR* recipients = nullptr;
        session->GetRecipients(&recipients);
        seen["recipients"] = recipients != nullptr ? Shown(std::u16string(recipients)) : "none";
        delete[] recipients;
        if (seen["recurring"] == "yes") LookAtPattern(seen);
        session->ReleaseItems();
        return seen;
    }
    void LookAtPattern(Picture& seen) {
        IRecurrencePattern* pattern = session->m_pRec;
        seen["type"] = Value_(pattern, &IRecurrencePattern::get_RecurrenceType);
        seen["no end"] = Value_(pattern, &IRecurrencePattern::get_NoEndDate);
        seen["pattern start"] = Value_(pattern, &IRecurrencePattern::get_PatternStartDate);
        seen["pattern end"] = Value_(pattern, &IRecurrencePattern::get_PatternEndDate);
        seen["pattern duration"] = Value_(pattern, &IRecurrencePattern::get_Duration);
        std::string days;
        const DATE start = Get(session->m_pAppt, &IAppointment::get_Start);
        for (int day = -1; day < 40; ++day) {
            Reference<IAppointment> occurrence;
            pattern->GetOccurrence(start + day, occurrence.Out());
            days += occurrence ? "x" : ".";
        }
        seen["occurrences"] = days;
    }
    // What the journey makes of an appointment.
    static Picture WithLosses(Picture picture) {
        picture["busy status"] = Shown(LONG{olBusy});
        if (picture["sensitivity"] != "2") picture["sensitivity"] = "0";
        picture["reminder options"] = Shown(LONG{olDialog | olSound});
        return picture;
    }
};

TEST_F(AppointmentTrip, ACopyIsTheSameAppointmentButForItsLosses) {
    int made = 0;
    int refused = 0;
    EXPECT_TRUE(rc::check("an appointment", [&, this] {
        for (int i = 0; i < kItemsARun; ++i) {
            const CEOID oid = MakeRandom();
            ++made;
            if (oid == 0) {
                ++refused;
                continue;
            }
            const CEOID copy = Travel(kAppointments, oid);
            const Picture expected = WithLosses(Look(oid));
            RC_ASSERT(Look(copy) == expected);
            Remove(kAppointments, oid);
            Remove(kAppointments, copy);
        }
    }));
    EXPECT_LT(refused * 4, made) << "most random appointments are ones that the device takes";
}

// --- Tasks -------------------------------------------------------------------------------------------------------

class TaskTrip : public RoundTrip {
 protected:
    CEOID MakeRandom() {
        BeginItem();
        RC_ASSERT(session->InitializeItem(0, kTasks, 0));
        ITask* task = session->m_pTask;
        task->put_Subject(AutomationText(AnyText().c_str()).Get());
        task->put_Body(AutomationText(AnyText().c_str()).Get());
        task->put_Categories(AutomationText(AnyText().c_str()).Get());
        RC_ASSERT(task->put_Importance(AnyNumber(0, 2)) == S_OK);
        RC_ASSERT(task->put_Sensitivity(AnyNumber(0, 3)) == S_OK);
        RC_ASSERT(task->put_TeamTask(AnyFlag() ? VARIANT_TRUE : VARIANT_FALSE) == S_OK);
        const DATE start = AnyNearDay();
        const bool hasStart = AnyFlag();
        if (hasStart) RC_ASSERT(task->put_StartDate(start) == S_OK);
        if (AnyFlag()) RC_ASSERT(task->put_DueDate(start + AnyNumber(0, 60)) == S_OK);
        const bool recurs = hasStart && AnyNumber(0, 2) == 0;
        if (!recurs) RC_ASSERT(task->put_Complete(AnyFlag() ? VARIANT_TRUE : VARIANT_FALSE) == S_OK);
        if (recurs) {
            IRecurrencePattern* pattern = session->m_pRec;
            RC_ASSERT(pattern->put_RecurrenceType(olRecursWeekly) == S_OK);
            RC_ASSERT(pattern->put_Interval(AnyNumber(1, 4)) == S_OK);
            RC_ASSERT(pattern->put_DayOfWeekMask(AnyNumber(1, 127)) == S_OK);
            if (AnyFlag()) {
                pattern->put_NoEndDate(VARIANT_FALSE);
                pattern->put_PatternEndDate(start + AnyNumber(100, 500));
            }
        }
        RC_ASSERT(task->put_ReminderSet(AnyFlag() ? VARIANT_TRUE : VARIANT_FALSE) == S_OK);
        if (task->Save() != S_OK) {
            session->ReleaseItems();
            return 0;
        }
        const auto oid = static_cast<CEOID>(Get(task, &ITask::get_Oid));
        session->ReleaseItems();
        return oid;
    }
    Picture Look(CEOID oid) {
        Open(kTasks, oid);
        ITask* task = session->m_pTask;
        Picture seen;
        seen["subject"] = Value_(task, &ITask::get_Subject);
        seen["body"] = Value_(task, &ITask::get_Body);
        seen["categories"] = Value_(task, &ITask::get_Categories);
        seen["importance"] = Value_(task, &ITask::get_Importance);
        seen["sensitivity"] = Value_(task, &ITask::get_Sensitivity);
        seen["start"] = Value_(task, &ITask::get_StartDate);
        seen["due"] = Value_(task, &ITask::get_DueDate);
        seen["complete"] = Value_(task, &ITask::get_Complete);
        seen["completed on"] = Value_(task, &ITask::get_DateCompleted);
        seen["team task"] = Value_(task, &ITask::get_TeamTask);
        seen["reminder"] = Value_(task, &ITask::get_ReminderSet);
        seen["recurring"] = Value_(task, &ITask::get_IsRecurring);
        if (seen["recurring"] == "yes") {
            IRecurrencePattern* pattern = session->m_pRec;
            seen["type"] = Value_(pattern, &IRecurrencePattern::get_RecurrenceType);
            seen["interval"] = Value_(pattern, &IRecurrencePattern::get_Interval);
            seen["days"] = Value_(pattern, &IRecurrencePattern::get_DayOfWeekMask);
            seen["no end"] = Value_(pattern, &IRecurrencePattern::get_NoEndDate);
            seen["pattern start"] = Value_(pattern, &IRecurrencePattern::get_PatternStartDate);
            seen["pattern end"] = Value_(pattern, &IRecurrencePattern::get_PatternEndDate);
        }
        session->ReleaseItems();
        return seen;
    }
    static Picture WithLosses(Picture picture) {
        if (picture["sensitivity"] != "2") picture["sensitivity"] = "0";
        picture["team task"] = "no";
        if (picture["start"] == "no date") picture["due"] = "no date";
        return picture;
    }
};

TEST_F(TaskTrip, ACopyIsTheSameTaskButForItsLosses) {
    EXPECT_TRUE(rc::check("a task", [this] {
        for (int i = 0; i < kItemsARun; ++i) {
            const CEOID oid = MakeRandom();
            if (oid == 0) continue;
            const CEOID copy = Travel(kTasks, oid);
            const Picture expected = WithLosses(Look(oid));
            RC_ASSERT(Look(copy) == expected);
            Remove(kTasks, oid);
            Remove(kTasks, copy);
        }
    }));
}

}  // namespace
}  // namespace kez::tests
