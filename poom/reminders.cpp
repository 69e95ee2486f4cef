// The reminder of the current task or appointment. A task's is a point in time. An appointment's is a number, which
// is taken as the whole days before the start times 60000, both ways and on purpose: a reminder less than a day ahead
// becomes 0.
#include "poom/ce_poom.h"
#include "poom/platform_support.h"

namespace {

constexpr LONG kUnitsPerDay = 60000;

}  // namespace

BOOL CCEPoom::GetReminder(BOOL* set, LONG* options, FILETIME* when) {
    *set = FALSE;
    VARIANT_BOOL flag = VARIANT_FALSE;
    DATE time = 0.0;
    if (m_pTask != nullptr) {
        m_pTask->get_ReminderOptions(options);
        m_pTask->get_ReminderSet(&flag);
        m_pTask->get_ReminderTime(&time);
    } else if (m_pAppt != nullptr) {
        LONG number = 0;
        DATE start = 0.0;
        m_pAppt->get_ReminderOptions(options);
        m_pAppt->get_ReminderSet(&flag);
        m_pAppt->get_ReminderMinutesBeforeStart(&number);
        m_pAppt->get_Start(&start);
        time = start - number / kUnitsPerDay;
    } else {
        return FALSE;
    }
    *when = DateToFileTime(time);
    *set = static_cast<WORD>(flag) == 0xFFFF;
    return *set;
}

BOOL CCEPoom::SetReminder(BOOL set, LONG options, const FILETIME* when) {
    const VARIANT_BOOL flag = set ? VARIANT_TRUE : VARIANT_FALSE;
    if (m_pTask != nullptr) {
        const DATE time = FileTimeToDate(*when);
        m_pTask->put_ReminderSet(flag);
        m_pTask->put_ReminderOptions(options);
        m_pTask->put_ReminderTime(time);
        return TRUE;
    }
    if (m_pAppt == nullptr) return FALSE;
    DATE start = 0.0;
    m_pAppt->get_Start(&start);
    const LONGLONG days = static_cast<LONGLONG>(start - FileTimeToDate(*when));
    m_pAppt->put_ReminderSet(flag);
    m_pAppt->put_ReminderOptions(options);
    m_pAppt->put_ReminderMinutesBeforeStart(static_cast<LONG>(days * kUnitsPerDay));
    return TRUE;
}
