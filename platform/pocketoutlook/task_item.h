// A task. Start and due date are dates without a time of day; a task is complete where it has a date of completion.
// A recurring task is one item that moves from date to date; it has no occurrences of its own and no exceptions.
#pragma once

#include <pimstore.h>

#include "platform/pocketoutlook/item_face.h"
#include "platform/pocketoutlook/recurring_item.h"

namespace kez::pocketoutlook {

class TaskItem final : public ItemFace<ITask>, public RecurringItem {
 public:
    explicit TaskItem(std::shared_ptr<Session> session) : RecurringItem(std::move(session), olTaskItem) {}

    // --- ITask -----------------------------------------------------------------------------------------------
    HRESULT STDMETHODCALLTYPE ClearRecurrencePattern() override;
    HRESULT STDMETHODCALLTYPE GetRecurrencePattern(IRecurrencePattern** out) override;
    HRESULT STDMETHODCALLTYPE get_IsRecurring(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_Subject(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_StartDate(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_DueDate(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_DateCompleted(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_Importance(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_Complete(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_Sensitivity(LONG* out) override;
    HRESULT STDMETHODCALLTYPE get_TeamTask(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderSet(VARIANT_BOOL* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderSoundFile(BSTR* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderTime(DATE* out) override;
    HRESULT STDMETHODCALLTYPE get_ReminderOptions(LONG* out) override;
    HRESULT STDMETHODCALLTYPE put_Subject(BSTR in) override;
    HRESULT STDMETHODCALLTYPE put_StartDate(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_DueDate(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_Importance(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_Complete(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_Sensitivity(LONG in) override;
    HRESULT STDMETHODCALLTYPE put_TeamTask(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderSet(VARIANT_BOOL in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderSoundFile(BSTR in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderTime(DATE in) override;
    HRESULT STDMETHODCALLTYPE put_ReminderOptions(LONG in) override;
    // Moves a recurring task to its next date, in memory like every change: Save stores it. E_FAIL on a task that does
    // not recur or has no next date.
    HRESULT STDMETHODCALLTYPE SkipRecurrence() override;

    // --- What the item base asks -----------------------------------------------------------------------------
    IDispatch* Typed() override { return static_cast<ITask*>(this); }
    REFIID TypedId() const override { return IID_ITask; }
    void SetDefaults(PropertyBag& values) override;
    HRESULT Prepare() override;
    std::optional<Value> Calculated(CEPROPID id, const PropertyBag& values) const override;
    HRESULT PutValue(const PropertyRow& row, const Value* value) override;

 protected:
    ItemBase& Item() override { return *this; }
    Day FirstDay() const override;
    std::optional<Span> SpanOf(const PropertyBag&) const override { return std::nullopt; }
    void PutSpan(const Span&) override {}

 private:
    HRESULT PrepareRecurrence();
    HRESULT CheckReminder() const;
    // Moves the task's dates to its next one; false where there is none.
    bool Advance();
    // Moves every date that the task has.
    void MoveDates(LONG days);
    // The day that the pattern's days are compared with: that of the start, else of the due date.
    std::optional<Day> CurrentDay() const;
};

}  // namespace kez::pocketoutlook
