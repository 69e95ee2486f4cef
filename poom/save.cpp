// Saves the current item: its recurrence, repaired task dates, up to three attempts, exceptions, the reminder.
#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

constexpr LONG kMinutesPerDay = 1440;

// One number of the pattern, taken from the recurrence state; without a member it is set to 1.
struct PatternField {
    HRESULT (IRecurrencePattern::*put)(LONG);
    LONG RecurrenceState::*member;
};

constexpr PatternField kInterval = {&IRecurrencePattern::put_Interval, &RecurrenceState::Interval};
constexpr PatternField kDayOfWeekMask = {&IRecurrencePattern::put_DayOfWeekMask, &RecurrenceState::DayOfWeekMask};
constexpr PatternField kDayOfMonth = {&IRecurrencePattern::put_DayOfMonth, &RecurrenceState::DayOfMonth};
constexpr PatternField kFirstOfMonth = {&IRecurrencePattern::put_DayOfMonth, nullptr};
constexpr PatternField kInstance = {&IRecurrencePattern::put_Instance, &RecurrenceState::Instance};
constexpr PatternField kMonthOfYear = {&IRecurrencePattern::put_MonthOfYear, &RecurrenceState::MonthOfYear};
constexpr PatternField kNone = {nullptr, nullptr};

// What is set for each type of recurrence, in this order.
struct PatternType {
    LONG type;
    const char* trace;
    PatternField fields[3];
};
constexpr PatternType kPatternTypes[] = {
    {olRecursDaily, "CCEPoom::Save::Recurring::olRecursDaily", {kInterval, kDayOfWeekMask, kNone}},
    {olRecursWeekly, "CCEPoom::Save::Recurring::olRecursWeekly", {kInterval, kDayOfWeekMask, kNone}},
    {olRecursMonthly, "CCEPoom::Save::Recurring::olRecursMonthly", {kInterval, kDayOfMonth, kNone}},
    {olRecursMonthNth, "CCEPoom::Save::Recurring::olRecursMonthNth", {kInterval, kInstance, kDayOfWeekMask}},
    // The first of the month comes before the month, so that the day is never one that the month lacks.
    {olRecursYearly, "CCEPoom::Save::Recurring::olRecursYearly", {kFirstOfMonth, kMonthOfYear, kDayOfMonth}},
    {olRecursYearNth, "CCEPoom::Save::Recurring::olRecursYearNth", {kInstance, kDayOfWeekMask, kMonthOfYear}},
};

// The pattern where there is one; without, nothing is set.
class PatternWriter {
 public:
    explicit PatternWriter(IRecurrencePattern* pattern) : m_pattern(pattern) {}

    template <typename Value>
    void Put(HRESULT (IRecurrencePattern::*put)(Value), Value value) const {
        if (m_pattern != nullptr) (m_pattern->*put)(value);
    }
    void Start(DATE start) const {
        dbglog(0, "CCEPoom::Save::Set Rec->StartTime(%s)", dbglogVariantTimeText(nullptr, start));
        Put(&IRecurrencePattern::put_StartTime, start);
        Put(&IRecurrencePattern::put_PatternStartDate, start);
    }
    void Type(const RecurrenceState& state) const {
        Put(&IRecurrencePattern::put_RecurrenceType, state.RecurrenceType);
        for (const PatternType& type : kPatternTypes) {
            if (type.type != state.RecurrenceType) continue;
            dbglog(0, type.trace);
            for (const PatternField& field : type.fields) {
                if (field.put != nullptr) Put(field.put, field.member != nullptr ? state.*field.member : LONG{1});
            }
            return;
        }
        dbglog(0, "CCEPoom::Save::Recurrring::Unknown RecurranceType:%d", state.RecurrenceType);
    }
    void End(const RecurrenceState& state) const {
        if (state.bNoEndDate) {
            dbglog(0, "CCEPoom::Save::Recurring::NoEndDate==TRUE");
            Put(&IRecurrencePattern::put_NoEndDate, VARIANT_TRUE);
            return;
        }
        dbglog(0, "CCEPoom::Save::Recurring::NoEndDate==FALSE");
        Put(&IRecurrencePattern::put_NoEndDate, VARIANT_FALSE);
        Put(&IRecurrencePattern::put_PatternEndDate, state.RecurrenceEndDate);
    }

 private:
    IRecurrencePattern* m_pattern;
};

// The reminder of an appointment, which is switched off while its pattern changes.
struct AppointmentReminder {
    VARIANT_BOOL set = VARIANT_FALSE;
    LONG options = 0;
    LONG minutes = 0;

    void Read(IAppointment* appointment) {
        appointment->get_ReminderSet(&set);
        appointment->get_ReminderOptions(&options);
        appointment->get_ReminderMinutesBeforeStart(&minutes);
    }
    void Write(IAppointment* appointment) const {
        appointment->put_ReminderSet(set);
        appointment->put_ReminderOptions(options);
        appointment->put_ReminderMinutesBeforeStart(minutes);
    }
};

// The length of an all-day appointment as patterns have it: one minute for one day, a day and a minute for two.
LONG AllDayPatternDuration(LONG duration) {
    const LONG days = duration / kMinutesPerDay;
    return (days >= 1 ? days - 1 : days) * kMinutesPerDay + 1;
}

void SetAppointmentPattern(IAppointment* appointment, const PatternWriter& pattern) {
    DATE start = 0.0;
    appointment->get_Start(&start);
    pattern.Start(start);
    LONG duration = 0;
    appointment->get_Duration(&duration);
    if (duration < 0) return;
    VARIANT_BOOL allDay = VARIANT_FALSE;
    appointment->get_AllDayEvent(&allDay);
    if (allDay != VARIANT_FALSE) duration = AllDayPatternDuration(duration);
    dbglog(50, "Appt->Duration=%d", duration);
    pattern.Put(&IRecurrencePattern::put_Duration, duration);
}

void ClearPattern(const CCEPoom& session) {
    if (session.m_pAppt != nullptr) session.m_pAppt->ClearRecurrencePattern();
    if (session.m_pTask != nullptr) session.m_pTask->ClearRecurrencePattern();
}

// Makes the due date and the reminder agree with the start date.
void RepairTaskDates(ITask* task) {
    DATE start = 0.0;
    DATE due = 0.0;
    VARIANT_BOOL reminderSet = VARIANT_FALSE;
    task->get_StartDate(&start);
    task->get_DueDate(&due);
    task->get_ReminderSet(&reminderSet);
    if (due < start) {
        dbglog(0, "CCEPoom::Save::Validation::m_pTask: Fix DueDate=StartDate");
        task->put_DueDate(start);
    }
    if (reminderSet != VARIANT_TRUE) return;
    DATE reminder = 0.0;
    task->get_ReminderTime(&reminder);
    // Against the due date as it was before the repair, on purpose.
    if (reminder > due) {
        dbglog(0, "CCEPoom::Save::Validation::m_pTask: Fix ReminderTime=DueDate");
        task->put_ReminderTime(due);
    }
}

HRESULT SaveItem(const CCEPoom& session) {
    if (session.m_pAppt != nullptr) return session.m_pAppt->Save();
    if (session.m_pTask != nullptr) return session.m_pTask->Save();
    if (session.m_pContact != nullptr) return session.m_pContact->Save();
    return S_OK;
}

// Saves the item; where it is refused, without an end of its recurrence, and then without recurrence.
HRESULT SaveWithFallbacks(const CCEPoom& session, const PatternWriter& pattern) {
    HRESULT hr = SaveItem(session);
    if (hr == S_OK) return hr;
    dbglog(0, "CCEPoom::Save::IItem->Save() hr=0x%08x ", hr);
    if (session.m_recurrence.bRecurrFound && session.m_pRec != nullptr) {
        dbglog(0, "CCEPoom::Save::Trying save without end date...");
        pattern.Put(&IRecurrencePattern::put_NoEndDate, VARIANT_TRUE);
        hr = SaveItem(session);
    }
    if (hr == S_OK) return hr;
    dbglog(0, "CCEPoom::Save::IItem->Save() hr=0x%08x ", hr);
    if (!session.m_recurrence.bRecurrFound) return hr;
    ClearPattern(session);
    hr = SaveItem(session);
    if (hr != S_OK) dbglog(0, "CCEPoom::Save::IItem->Save()::(NO RECUR) hr=0x%08x ", hr);
    return hr;
}

void ReadOid(const CCEPoom& session, CEOID* out) {
    LONG oid = 0;
    if (session.m_pAppt != nullptr) {
        session.m_pAppt->get_Oid(&oid);
    } else if (session.m_pTask != nullptr) {
        session.m_pTask->get_Oid(&oid);
    } else if (session.m_pContact != nullptr) {
        session.m_pContact->get_Oid(&oid);
    } else {
        return;
    }
    *out = static_cast<CEOID>(oid);
}

}  // namespace

HRESULT CCEPoom::Save(CEOID* pNewOid) {
    dbglog(0, "CCEPoom::Save() +");
    const PatternWriter pattern(m_pRec);
    AppointmentReminder reminder;
    if (m_recurrence.bRecurrFound) {
        dbglog(0, "CCEPoom::Save::Recurring +");
        if (m_pAppt != nullptr) {
            reminder.Read(m_pAppt);
            if (reminder.set != VARIANT_FALSE) AppointmentReminder().Write(m_pAppt);
            SetAppointmentPattern(m_pAppt, pattern);
        }
        if (m_pTask != nullptr) {
            DATE start = 0.0;
            m_pTask->get_StartDate(&start);
            pattern.Start(start);
        }
        pattern.Type(m_recurrence);
        pattern.End(m_recurrence);
        dbglog(0, "CCEPoom::Save::Recurring -");
    } else {
        dbglog(0, "CCEPoom::Save::Recurring Clear");
        ClearPattern(*this);
    }

    dbglog(0, "CCEPoom::Save::Validation...");
    if (m_pTask != nullptr) RepairTaskDates(m_pTask);

    dbglog(0, "CCEPoom::Save::IItem->Save...");
    const HRESULT hr = SaveWithFallbacks(*this, pattern);
    ReadOid(*this, pNewOid);

    if (m_pExcList != nullptr) {
        SetRecExceptionLst(m_pExcList->val.lpwstr, m_pExcList);
        SaveItem(*this);
        m_pExcList = nullptr;
    }

    if (m_pAppt != nullptr && m_recurrence.bRecurrFound && reminder.set != VARIANT_FALSE) {
        reminder.Write(m_pAppt);
        m_pAppt->Save();
    }
    ReleaseItems();
    dbglog(0, "CCEPoom::Save - newoid=0x%08x, hr=0x%08x  -", *pNewOid, hr);
    return hr;
}
