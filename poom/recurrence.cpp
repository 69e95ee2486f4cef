// Reads the recurrence of the current appointment or task.
#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "trace/trace_log.h"

namespace {

// The numbers of a pattern, in the order in which they are read.
struct PatternNumber {
    HRESULT (IRecurrencePattern::*get)(LONG*);
    LONG RecurrenceState::*member;
};
constexpr PatternNumber kNumbers[] = {
    {&IRecurrencePattern::get_Duration, &RecurrenceState::Duration},
    {&IRecurrencePattern::get_Occurrences, &RecurrenceState::Occurences},
    {&IRecurrencePattern::get_RecurrenceType, &RecurrenceState::RecurrenceType},
    {&IRecurrencePattern::get_DayOfMonth, &RecurrenceState::DayOfMonth},
    {&IRecurrencePattern::get_DayOfWeekMask, &RecurrenceState::DayOfWeekMask},
    {&IRecurrencePattern::get_Instance, &RecurrenceState::Instance},
    {&IRecurrencePattern::get_Interval, &RecurrenceState::Interval},
    {&IRecurrencePattern::get_MonthOfYear, &RecurrenceState::MonthOfYear},
};

void TraceRecurrence(const RecurrenceState& state, BSTR exceptions, BSTR modified) {
    dbglog(0, "CEPoom::GetRecurring::bRecurrFound\t\t=%d", state.bRecurrFound);
    dbglog(0, "CEPoom::GetRecurring::Duration\t\t\t\t=%d", state.Duration);
    dbglog(0, "CEPoom::GetRecurring::Occurences\t\t\t=%d", state.Occurences);
    dbglog(0, "CEPoom::GetRecurring::RecurrenceType\t=%d", state.RecurrenceType);
    dbglog(0, "CEPoom::GetRecurring::DayOfMonth\t\t\t=%d", state.DayOfMonth);
    dbglog(0, "CEPoom::GetRecurring::DayOfWeekMask\t=%d", state.DayOfWeekMask);
    dbglog(0, "CEPoom::GetRecurring::Instance\t\t\t\t=%d", state.Instance);
    dbglog(0, "CEPoom::GetRecurring::Interval\t\t\t\t=%d", state.Interval);
    dbglog(0, "CEPoom::GetRecurring::MonthOfYear\t\t=%d", state.MonthOfYear);
    dbglog(0, "CEPoom::GetRecurring::bNoEndDate\t\t\t=%d", state.bNoEndDate);
    dbglog(0, "CEPoom::GetRecurring::RecurrenceStartDate=%f", state.RecurrenceStartDate);
    dbglog(0, "CEPoom::GetRecurring::PatternStartDate\t\t=%f", state.PatternStartDate);
    dbglog(0, "CEPoom::GetRecurring::RecurrenceEndDate\t=%f", state.RecurrenceEndDate);
    dbglog(0, "CEPoom::GetRecurring::PatternEndDate\t\t\t=%f", state.PatternEndDate);
    // The wide texts stand behind a narrow %s on purpose: their first character shows.
    dbglog(0, "CEPoom::GetRecurring::Exception List\t\t\t=%s", exceptions);
    dbglog(0, "CEPoom::GetRecurring::Exception Mod List =%s", modified);
}

}  // namespace

BOOL CCEPoom::GetRecurring() {
    dbglog(50, " CCEPoom::GetRecurring +");
    if (m_pAppt == nullptr && m_pTask == nullptr) {
        dbglog(50, " CCEPoom::GetRecurring -");
        return FALSE;
    }
    if (m_pRec == nullptr && m_pAppt != nullptr) m_pAppt->GetRecurrencePattern(&m_pRec);
    if (m_pRec == nullptr && m_pAppt == nullptr) m_pTask->GetRecurrencePattern(&m_pRec);
    if (m_pRec == nullptr) {
        dbglog(0, " CCEPoom::GetRecurring::m_pRec==NULL");
        m_recurrence.bRecurrFound = FALSE;
        dbglog(50, " CCEPoom::GetRecurring -");
        return TRUE;
    }

    VARIANT_BOOL recurring = VARIANT_FALSE;
    if (m_pAppt != nullptr) {
        m_pAppt->get_IsRecurring(&recurring);
    } else {
        m_pTask->get_IsRecurring(&recurring);
    }
    m_recurrence.bRecurrFound = recurring == VARIANT_TRUE;

    for (const PatternNumber& number : kNumbers) (m_pRec->*number.get)(&(m_recurrence.*number.member));
    VARIANT_BOOL noEndDate = VARIANT_FALSE;
    m_pRec->get_NoEndDate(&noEndDate);
    m_recurrence.bNoEndDate = noEndDate == VARIANT_TRUE;
    m_pRec->get_StartTime(&m_recurrence.RecurrenceStartDate);
    m_pRec->get_PatternStartDate(&m_recurrence.PatternStartDate);
    m_pRec->get_EndTime(&m_recurrence.RecurrenceEndDate);
    m_pRec->get_PatternEndDate(&m_recurrence.PatternEndDate);

    SysFreeString(m_bstrExcList);
    SysFreeString(m_bstrExcModList);
    m_bstrExcList = nullptr;
    m_bstrExcModList = nullptr;
    GetRecExceptionLst(&m_bstrExcList, &m_bstrExcModList);

    TraceRecurrence(m_recurrence, m_bstrExcList, m_bstrExcModList);
    dbglog(50, " CCEPoom::GetRecurring -");
    return TRUE;
}
