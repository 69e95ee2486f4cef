// ITask: accessors, completion, and the dates of a recurring task.
#include "platform/pocketoutlook/task_item.h"

#include "platform/pocketoutlook/item_classes.h"
#include "platform/pocketoutlook/options.h"

namespace kez::pocketoutlook {
namespace {

constexpr WallTicks kReminderTimeOfDay = 8 * 60 * kTicksPerMinute;  // of the due date, where none was put
constexpr LONG kEarliestReminderDays = 45;                          // before the start

const bool g_registered = RegisterItemClass(
    {olTaskItem, [](std::shared_ptr<Session> session) -> ItemBase* { return new TaskItem(std::move(session)); }});

// When a task reminds: the time that was put, else in the morning of its due date.
WallTicks ReminderTimeOf(const PropertyBag& values) {
    if (values.Has(PIMPR_REMINDER_TIME)) return values.Ticks(PIMPR_REMINDER_TIME);
    return values.Has(PIMPR_DUE_DATE) ? values.Ticks(PIMPR_DUE_DATE) + kReminderTimeOfDay : kNoDate;
}

}  // namespace

// --- Accessors ------------------------------------------------------------------------------------------------

HRESULT TaskItem::ClearRecurrencePattern() {
    return Run("ITask::ClearRecurrencePattern", [&] { return ClearPattern(); });
}

HRESULT TaskItem::GetRecurrencePattern(IRecurrencePattern** out) {
    return Read("ITask::GetRecurrencePattern", out, [&] { return GetPattern(out); });
}

HRESULT TaskItem::get_IsRecurring(VARIANT_BOOL* out) {
    return Read("ITask::get_IsRecurring", out, [&] { return GetFlag(PIMPR_IS_RECURRING, out); });
}

HRESULT TaskItem::get_Subject(BSTR* out) {
    return Read("ITask::get_Subject", out, [&] { return GetText(PIMPR_SUBJECT, out); });
}

HRESULT TaskItem::get_StartDate(DATE* out) {
    return Read("ITask::get_StartDate", out, [&] { return GetDate(PIMPR_START_DATE, out); });
}

HRESULT TaskItem::get_DueDate(DATE* out) {
    return Read("ITask::get_DueDate", out, [&] { return GetDate(PIMPR_DUE_DATE, out); });
}

HRESULT TaskItem::get_DateCompleted(DATE* out) {
    return Read("ITask::get_DateCompleted", out, [&] { return GetDate(PIMPR_DATE_COMPLETED, out); });
}

HRESULT TaskItem::get_Importance(LONG* out) {
    return Read("ITask::get_Importance", out, [&] { return GetNumber(PIMPR_IMPORTANCE, out); });
}

HRESULT TaskItem::get_Complete(VARIANT_BOOL* out) {
    return Read("ITask::get_Complete", out, [&] {
        *out = Values().Has(PIMPR_DATE_COMPLETED) ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    });
}

HRESULT TaskItem::get_Sensitivity(LONG* out) {
    return Read("ITask::get_Sensitivity", out, [&] { return GetNumber(PIMPR_SENSITIVITY, out); });
}

HRESULT TaskItem::get_TeamTask(VARIANT_BOOL* out) {
    return Read("ITask::get_TeamTask", out, [&] { return GetFlag(PIMPR_TEAM_TASK, out); });
}

HRESULT TaskItem::get_ReminderSet(VARIANT_BOOL* out) {
    return Read("ITask::get_ReminderSet", out, [&] { return GetFlag(PIMPR_REMINDER_SET, out); });
}

HRESULT TaskItem::get_ReminderSoundFile(BSTR* out) {
    return Read("ITask::get_ReminderSoundFile", out, [&] { return GetText(PIMPR_REMINDER_SOUND_FILE, out); });
}

HRESULT TaskItem::get_ReminderTime(DATE* out) {
    return Read("ITask::get_ReminderTime", out, [&] {
        *out = DateFromTicks(ReminderTimeOf(Values()));
        return S_OK;
    });
}

HRESULT TaskItem::get_ReminderOptions(LONG* out) {
    return Read("ITask::get_ReminderOptions", out, [&] { return GetNumber(PIMPR_REMINDER_OPTIONS, out); });
}

HRESULT TaskItem::put_Subject(BSTR in) {
    return Run("ITask::put_Subject", [&] { return PutText(PIMPR_SUBJECT, in); });
}

HRESULT TaskItem::put_StartDate(DATE in) {
    return Run("ITask::put_StartDate", [&] { return PutDate(PIMPR_START_DATE, in); });
}

HRESULT TaskItem::put_DueDate(DATE in) {
    return Run("ITask::put_DueDate", [&] { return PutDate(PIMPR_DUE_DATE, in); });
}

HRESULT TaskItem::put_Importance(LONG in) {
    return Run("ITask::put_Importance", [&] { return PutNumber(PIMPR_IMPORTANCE, in); });
}

HRESULT TaskItem::put_Complete(VARIANT_BOOL in) {
    return Run("ITask::put_Complete", [&] { return PutFlag(PIMPR_COMPLETE, in); });
}

HRESULT TaskItem::put_Sensitivity(LONG in) {
    return Run("ITask::put_Sensitivity", [&] { return PutNumber(PIMPR_SENSITIVITY, in); });
}

HRESULT TaskItem::put_TeamTask(VARIANT_BOOL in) {
    return Run("ITask::put_TeamTask", [&] { return PutFlag(PIMPR_TEAM_TASK, in); });
}

HRESULT TaskItem::put_ReminderSet(VARIANT_BOOL in) {
    return Run("ITask::put_ReminderSet", [&] { return PutFlag(PIMPR_REMINDER_SET, in); });
}

HRESULT TaskItem::put_ReminderSoundFile(BSTR in) {
    return Run("ITask::put_ReminderSoundFile", [&] { return PutText(PIMPR_REMINDER_SOUND_FILE, in); });
}

HRESULT TaskItem::put_ReminderTime(DATE in) {
    return Run("ITask::put_ReminderTime", [&] { return PutDate(PIMPR_REMINDER_TIME, in); });
}

HRESULT TaskItem::put_ReminderOptions(LONG in) {
    return Run("ITask::put_ReminderOptions", [&] { return PutNumber(PIMPR_REMINDER_OPTIONS, in); });
}

HRESULT TaskItem::SkipRecurrence() {
    return Run("ITask::SkipRecurrence", [&] { return IsRecurring() && Advance() ? S_OK : E_FAIL; });
}

// --- Rules ----------------------------------------------------------------------------------------------------

void TaskItem::SetDefaults(PropertyBag& values) {
    const Options options = CurrentOptions();
    values.SetNumber(PIMPR_IMPORTANCE, olImportanceNormal);
    values.SetNumber(PIMPR_SENSITIVITY, olNormal);
    values.SetFlag(PIMPR_TEAM_TASK, false);
    values.SetFlag(PIMPR_REMINDER_SET, options.taskReminderSet);
    values.SetNumber(PIMPR_REMINDER_OPTIONS, options.reminderOptions);
    values.SetFlag(PIMPR_IS_RECURRING, false);
}

std::optional<Value> TaskItem::Calculated(CEPROPID id, const PropertyBag& values) const {
    if (id == PIMPR_COMPLETE) return Value(std::int64_t{values.Has(PIMPR_DATE_COMPLETED)});
    return RecurringItem::Calculated(id, values);
}

HRESULT TaskItem::PutValue(const PropertyRow& row, const Value* value) {
    const std::int64_t* number = value ? std::get_if<std::int64_t>(value) : nullptr;
    const bool isDate = number && *number != kNoDate;
    switch (row.id) {
        case PIMPR_COMPLETE:
            // A task that is complete keeps the day on which it became so.
            if (!number || *number == 0) {
                Values().Remove(PIMPR_DATE_COMPLETED);
            } else if (!Values().Has(PIMPR_DATE_COMPLETED)) {
                Values().SetTicks(PIMPR_DATE_COMPLETED, MidnightOf(DayOfTicks(LocalNow())));
            }
            return S_OK;
        case PIMPR_START_DATE:
        case PIMPR_DUE_DATE:
        case PIMPR_DATE_COMPLETED: {
            if (!isDate) break;
            const Day day = DayOfTicks(*number);
            if (row.id == PIMPR_START_DATE) MovePatternStart(day);
            Values().SetTicks(row.id, MidnightOf(day));
            return S_OK;
        }
        case PIMPR_REMINDER_TIME: {
            if (!isDate) break;
            const auto seconds = WholeSeconds(*number);
            if (!seconds) return E_INVALIDARG;
            Values().SetTicks(row.id, *seconds);
            return S_OK;
        }
        default:
            break;
    }
    return RecurringItem::PutValue(row, value);
}

HRESULT TaskItem::Prepare() {
    if (IsRecurring()) {
        if (HRESULT hr = PrepareRecurrence(); FAILED(hr)) return hr;
    }
    if (Values().Has(PIMPR_START_DATE) && Values().Has(PIMPR_DUE_DATE) &&
        Values().Ticks(PIMPR_START_DATE) > Values().Ticks(PIMPR_DUE_DATE)) {
        return E_INVALIDDATES;
    }
    return CurrentOptions().checkTaskReminderWindow ? CheckReminder() : S_OK;
}

// A recurring task stands on one of its pattern's days: a start between two of them moves on to the next.
HRESULT TaskItem::PrepareRecurrence() {
    Pattern pattern = CurrentPattern();
    if (HRESULT hr = CheckPattern(pattern); FAILED(hr)) return hr;
    const RecurrenceDays days(pattern.recurrence);
    if (Values().Has(PIMPR_START_DATE)) {
        const Day start = DayOfTicks(Values().Ticks(PIMPR_START_DATE));
        if (const auto day = days.AtOrAfter(start)) MoveDates(*day - start);
    }
    pattern.recurrence.start = *days.First();
    WritePattern(Values(), pattern);

    const bool justCompleted = Values().Has(PIMPR_DATE_COMPLETED) && !Stored().Has(PIMPR_DATE_COMPLETED);
    if (justCompleted && CurrentOptions().advanceCompletedTasks && Advance()) Values().Remove(PIMPR_DATE_COMPLETED);
    return S_OK;
}

HRESULT TaskItem::CheckReminder() const {
    const WallTicks reminder = ReminderTimeOf(Values());
    if (!Values().Flag(PIMPR_REMINDER_SET) || reminder == kNoDate) return S_OK;
    const Day day = DayOfTicks(reminder);
    if (Values().Has(PIMPR_DUE_DATE) && day > DayOfTicks(Values().Ticks(PIMPR_DUE_DATE))) return E_INVALIDREMINDERTIME;
    if (Values().Has(PIMPR_START_DATE) && day < DayOfTicks(Values().Ticks(PIMPR_START_DATE)) - kEarliestReminderDays) {
        return E_INVALIDREMINDERTIME;
    }
    return S_OK;
}

// --- Dates of a recurring task --------------------------------------------------------------------------------

Day TaskItem::FirstDay() const {
    return Values().Has(PIMPR_START_DATE) ? DayOfTicks(Values().Ticks(PIMPR_START_DATE)) : DayOfTicks(LocalNow());
}

std::optional<Day> TaskItem::CurrentDay() const {
    for (const CEPROPID id : {PIMPR_START_DATE, PIMPR_DUE_DATE}) {
        if (Values().Has(id)) return DayOfTicks(Values().Ticks(id));
    }
    return std::nullopt;
}

void TaskItem::MoveDates(LONG days) {
    for (const CEPROPID id : {PIMPR_START_DATE, PIMPR_DUE_DATE, PIMPR_REMINDER_TIME}) {
        if (Values().Has(id)) Values().SetTicks(id, Values().Ticks(id) + days * kTicksPerDay);
    }
}

bool TaskItem::Advance() {
    const RecurrenceDays days(CurrentPattern().recurrence);
    const auto current = CurrentDay();
    const auto next = current ? days.Next(*current) : days.First();
    if (!next) return false;
    if (current) {
        MoveDates(*next - *current);
    } else {
        Values().SetTicks(PIMPR_START_DATE, MidnightOf(*next));
    }
    return true;
}

}  // namespace kez::pocketoutlook
