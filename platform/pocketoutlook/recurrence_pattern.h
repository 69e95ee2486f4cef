// The recurrence pattern of an appointment or a task, as callers see it. The object is a view of its item: any number
// of them show and change the same state, and it stays usable when the item's pattern is cleared.
#pragma once

#include <pimstore.h>

#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/recurring_item.h"

namespace kez::pocketoutlook {

class RecurrencePattern final : public ComObject<IRecurrencePattern, IID_IDispatch, IID_IRecurrencePattern> {
 public:
    explicit RecurrencePattern(Ref<RecurringItem> item) : m_item(std::move(item)) {}

    HRESULT STDMETHODCALLTYPE get_RecurrenceType(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_PatternStartDate(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_StartTime(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_EndTime(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_PatternEndDate(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_NoEndDate(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_Occurrences(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Interval(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_DayOfWeekMask(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_DayOfMonth(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Instance(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Duration(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_MonthOfYear(LONG* out) override;
    HRESULT STDMETHODCALLTYPE put_RecurrenceType(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_PatternStartDate(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_StartTime(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_EndTime(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_PatternEndDate(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_NoEndDate(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_Occurrences(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_Interval(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_DayOfWeekMask(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_DayOfMonth(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_Instance(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_Duration(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_MonthOfYear(LONG in) override;
    HRESULT STDMETHODCALLTYPE get_Exceptions(IExceptions** out) override;
    HRESULT STDMETHODCALLTYPE get_Application(IPOutlookApp** out) override;
    HRESULT STDMETHODCALLTYPE GetOccurrence(DATE date, IAppointment** out) override;

 private:
    // A getter whose result is one value of the current pattern.
    template <class Out, class Take>
    HRESULT Read(const char* method, Out* out, Take&& take);
    // A setter of one pattern field.
    HRESULT Change(const char* method, HRESULT (Pattern::*setter)(LONG), LONG in);
    // A time of day that may be any number a caller puts together; the date part is not looked at.
    HRESULT ChangeTime(const char* method, std::optional<WallTicks> PatternTimes::*time, DATE in);

    Ref<RecurringItem> m_item;
};

}  // namespace kez::pocketoutlook
