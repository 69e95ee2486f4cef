// Every method of appointments, tasks, patterns, exceptions and recipients fails when it is told to, hands out nothing
// then, and works again with the next call; every result needs a place to go to.
#include <functional>

#include "tests/platform/pocketoutlook/calendar_fixture.h"

namespace kez::tests {
namespace {

constexpr HRESULT kPlanned = static_cast<HRESULT>(0x80041234);

struct Call {
    const char* method;
    std::function<HRESULT()> run;
};

// A getter called with a place for its result, which must stay null where it is a pointer.
template <class Base, class Out>
std::function<HRESULT()> Getter(Base* object, HRESULT (Base::*getter)(Out*)) {
    return [object, getter] {
        Out out{};
        if constexpr (std::is_pointer_v<Out>) out = reinterpret_cast<Out>(1);
        const HRESULT hr = (object->*getter)(&out);
        if constexpr (std::is_pointer_v<Out>) {
            EXPECT_EQ(nullptr, out);
        }
        return hr;
    };
}

template <class Base, class In>
std::function<HRESULT()> Setter(Base* object, HRESULT (Base::*setter)(In), In in) {
    return [object, setter, in] { return (object->*setter)(in); };
}

template <class Base>
std::function<HRESULT()> Action(Base* object, HRESULT (Base::*action)()) {
    return [object, action] { return (object->*action)(); };
}

class Faults : public Calendar {
 protected:
    void CheckFaults(const std::vector<Call>& calls) {
        for (const Call& call : calls) {
            control::PlanFault({call.method, 1, 1, static_cast<DWORD>(kPlanned)});
            EXPECT_HR(kPlanned, call.run()) << call.method;
            control::ClearFaults();
        }
    }
};

#define GETTER(object, Interface, name) \
    { #Interface "::get_" #name, Getter < Interface>((object), &Interface::get_##name) }
#define SETTER(object, Interface, name, value) \
    { #Interface "::put_" #name, Setter < Interface>((object), &Interface::put_##name, value) }
#define METHOD(object, Interface, name) \
    { #Interface "::" #name, Action < Interface>((object), &Interface::name) }

TEST_F(Faults, EveryMethodOfAnAppointment) {
    const auto item = SavedAppointment(At(2026, 3, 4, 10));
    IAppointment* a = item.Get();
    const Bstr text(u"x");
    const BSTR bstr = text;
    CheckFaults({
        METHOD(a, IAppointment, ClearRecurrencePattern),
        {"IAppointment::GetRecurrencePattern", Getter<IAppointment>(a, &IAppointment::GetRecurrencePattern)},
        GETTER(a, IAppointment, IsRecurring),
        GETTER(a, IAppointment, Subject),
        GETTER(a, IAppointment, Location),
        GETTER(a, IAppointment, Categories),
        GETTER(a, IAppointment, Start),
        GETTER(a, IAppointment, Duration),
        GETTER(a, IAppointment, End),
        GETTER(a, IAppointment, AllDayEvent),
        GETTER(a, IAppointment, BusyStatus),
        GETTER(a, IAppointment, Sensitivity),
        GETTER(a, IAppointment, Body),
        GETTER(a, IAppointment, Recipients),
        GETTER(a, IAppointment, MeetingStatus),
        GETTER(a, IAppointment, ReminderSet),
        GETTER(a, IAppointment, ReminderSoundFile),
        GETTER(a, IAppointment, ReminderMinutesBeforeStart),
        GETTER(a, IAppointment, ReminderOptions),
        SETTER(a, IAppointment, Subject, bstr),
        SETTER(a, IAppointment, Location, bstr),
        SETTER(a, IAppointment, Categories, bstr),
        SETTER(a, IAppointment, Start, At(2026, 3, 5)),
        SETTER(a, IAppointment, Duration, LONG{5}),
        SETTER(a, IAppointment, End, At(2026, 3, 5)),
        SETTER(a, IAppointment, AllDayEvent, VARIANT_TRUE),
        SETTER(a, IAppointment, BusyStatus, LONG{0}),
        SETTER(a, IAppointment, Sensitivity, LONG{2}),
        SETTER(a, IAppointment, Body, bstr),
        SETTER(a, IAppointment, ReminderSet, VARIANT_TRUE),
        SETTER(a, IAppointment, ReminderSoundFile, bstr),
        SETTER(a, IAppointment, ReminderMinutesBeforeStart, LONG{5}),
        SETTER(a, IAppointment, ReminderOptions, LONG{5}),
        METHOD(a, IAppointment, Save),
        METHOD(a, IAppointment, Send),
        METHOD(a, IAppointment, Delete),
        METHOD(a, IAppointment, Cancel),
        {"IAppointment::Copy", Getter<IAppointment>(a, &IAppointment::Copy)},
        METHOD(a, IAppointment, Display),
        GETTER(a, IAppointment, Oid),
        GETTER(a, IAppointment, BodyInk),
        GETTER(a, IAppointment, Application),
    });
    // None of the failed calls did anything.
    EXPECT_EQ("2026-03-04 10:00:00", Show(Get(item, &IAppointment::get_Start)));
    EXPECT_EQ(60, Get(item, &IAppointment::get_Duration));
    EXPECT_EQ(u"", GetText(item, &IAppointment::get_Subject));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, item->Delete());
}

TEST_F(Faults, EveryMethodOfATask) {
    const auto item = NewTask();
    EXPECT_HR(S_OK, item->Save());
    ITask* t = item.Get();
    const Bstr text(u"x");
    const BSTR bstr = text;
    CheckFaults({
        METHOD(t, ITask, ClearRecurrencePattern),
        {"ITask::GetRecurrencePattern", Getter<ITask>(t, &ITask::GetRecurrencePattern)},
        GETTER(t, ITask, IsRecurring),
        GETTER(t, ITask, Subject),
        GETTER(t, ITask, Categories),
        GETTER(t, ITask, StartDate),
        GETTER(t, ITask, DueDate),
        GETTER(t, ITask, DateCompleted),
        GETTER(t, ITask, Importance),
        GETTER(t, ITask, Complete),
        GETTER(t, ITask, Sensitivity),
        GETTER(t, ITask, TeamTask),
        GETTER(t, ITask, Body),
        GETTER(t, ITask, ReminderSet),
        GETTER(t, ITask, ReminderSoundFile),
        GETTER(t, ITask, ReminderTime),
        GETTER(t, ITask, ReminderOptions),
        SETTER(t, ITask, Subject, bstr),
        SETTER(t, ITask, Categories, bstr),
        SETTER(t, ITask, StartDate, At(2026, 3, 5)),
        SETTER(t, ITask, DueDate, At(2026, 3, 5)),
        SETTER(t, ITask, Importance, LONG{2}),
        SETTER(t, ITask, Complete, VARIANT_TRUE),
        SETTER(t, ITask, Sensitivity, LONG{2}),
        SETTER(t, ITask, TeamTask, VARIANT_TRUE),
        SETTER(t, ITask, Body, bstr),
        SETTER(t, ITask, ReminderSet, VARIANT_TRUE),
        SETTER(t, ITask, ReminderSoundFile, bstr),
        SETTER(t, ITask, ReminderTime, At(2026, 3, 5)),
        SETTER(t, ITask, ReminderOptions, LONG{5}),
        METHOD(t, ITask, Save),
        METHOD(t, ITask, Delete),
        METHOD(t, ITask, SkipRecurrence),
        {"ITask::Copy", Getter<ITask>(t, &ITask::Copy)},
        METHOD(t, ITask, Display),
        GETTER(t, ITask, Oid),
        GETTER(t, ITask, BodyInk),
        GETTER(t, ITask, Application),
    });
    EXPECT_EQ(VARIANT_FALSE, Get(item, &ITask::get_Complete));
    EXPECT_EQ(DATE_NONE, Get(item, &ITask::get_StartDate));
    EXPECT_HR(S_OK, item->Save());
}

TEST_F(Faults, EveryMethodOfAPatternAndOfItsExceptions) {
    const auto series = DailySeries(At(2026, 3, 2, 10), 5);
    EXPECT_HR(S_OK, Occurrence(series, At(2026, 3, 3))->Delete());
    const auto pattern = PatternOf(series);
    const auto list = ExceptionsOf(series);
    const auto entry = ExceptionAt(series, 1);
    IRecurrencePattern* p = pattern.Get();
    CheckFaults({
        GETTER(p, IRecurrencePattern, RecurrenceType),
        GETTER(p, IRecurrencePattern, PatternStartDate),
        GETTER(p, IRecurrencePattern, StartTime),
        GETTER(p, IRecurrencePattern, EndTime),
        GETTER(p, IRecurrencePattern, PatternEndDate),
        GETTER(p, IRecurrencePattern, NoEndDate),
        GETTER(p, IRecurrencePattern, Occurrences),
        GETTER(p, IRecurrencePattern, Interval),
        GETTER(p, IRecurrencePattern, DayOfWeekMask),
        GETTER(p, IRecurrencePattern, DayOfMonth),
        GETTER(p, IRecurrencePattern, Instance),
        GETTER(p, IRecurrencePattern, Duration),
        GETTER(p, IRecurrencePattern, MonthOfYear),
        SETTER(p, IRecurrencePattern, RecurrenceType, LONG{1}),
        SETTER(p, IRecurrencePattern, PatternStartDate, At(2026, 4, 1)),
        SETTER(p, IRecurrencePattern, StartTime, 0.5),
        SETTER(p, IRecurrencePattern, EndTime, 0.5),
        SETTER(p, IRecurrencePattern, PatternEndDate, At(2027, 4, 1)),
        SETTER(p, IRecurrencePattern, NoEndDate, VARIANT_TRUE),
        SETTER(p, IRecurrencePattern, Occurrences, LONG{7}),
        SETTER(p, IRecurrencePattern, Interval, LONG{7}),
        SETTER(p, IRecurrencePattern, DayOfWeekMask, LONG{7}),
        SETTER(p, IRecurrencePattern, DayOfMonth, LONG{7}),
        SETTER(p, IRecurrencePattern, Instance, LONG{2}),
        SETTER(p, IRecurrencePattern, Duration, LONG{7}),
        SETTER(p, IRecurrencePattern, MonthOfYear, LONG{7}),
        GETTER(p, IRecurrencePattern, Exceptions),
        GETTER(p, IRecurrencePattern, Application),
        {"IRecurrencePattern::GetOccurrence",
         [&] {
             IAppointment* out = reinterpret_cast<IAppointment*>(1);
             const HRESULT hr = p->GetOccurrence(At(2026, 3, 4), &out);
             EXPECT_EQ(nullptr, out);
             return hr;
         }},
        {"IExceptions::Item",
         [&] {
             IException* out = reinterpret_cast<IException*>(1);
             const HRESULT hr = list->Item(1, &out);
             EXPECT_EQ(nullptr, out);
             return hr;
         }},
        GETTER(list.Get(), IExceptions, Count),
        GETTER(list.Get(), IExceptions, _NewEnum),
        GETTER(list.Get(), IExceptions, Application),
        GETTER(entry.Get(), IException, AppointmentItem),
        GETTER(entry.Get(), IException, OriginalDate),
        GETTER(entry.Get(), IException, Deleted),
        GETTER(entry.Get(), IException, Application),
    });
    EXPECT_HR(S_OK, series->Save());
    EXPECT_EQ(1u, ExceptionList(series).size());
    EXPECT_EQ(5, Get(pattern, &IRecurrencePattern::get_Occurrences));
}

TEST_F(Faults, EveryMethodOfRecipients) {
    const auto item = NewAppointment();
    const auto list = GetObject(item, &IAppointment::get_Recipients);
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, list->Add(Bstr(u"Ann"), recipient.Out()));
    Ref<IRecipient2> newer;
    ASSERT_HR(S_OK, recipient->QueryInterface(IID_IRecipient2, reinterpret_cast<void**>(newer.Out())));
    IRecipient2* r = newer.Get();
    const Bstr text(u"x");
    const BSTR bstr = text;
    CheckFaults({
        {"IRecipients::Add",
         [&] {
             IRecipient* out = reinterpret_cast<IRecipient*>(1);
             const HRESULT hr = list->Add(bstr, &out);
             EXPECT_EQ(nullptr, out);
             return hr;
         }},
        {"IRecipients::Item",
         [&] {
             IRecipient* out = reinterpret_cast<IRecipient*>(1);
             const HRESULT hr = list->Item(1, &out);
             EXPECT_EQ(nullptr, out);
             return hr;
         }},
        {"IRecipients::Remove", [&] { return list->Remove(1); }},
        GETTER(list.Get(), IRecipients, Count),
        GETTER(list.Get(), IRecipients, _NewEnum),
        GETTER(list.Get(), IRecipients, Application),
        SETTER(r, IRecipient, Address, bstr),
        GETTER(r, IRecipient, Address),
        GETTER(r, IRecipient, Name),
        GETTER(r, IRecipient, Application),
        {"IPOlRecipient::Resolve",
         [&] {
             VARIANT_BOOL resolved = 0;
             return r->Resolve(VARIANT_FALSE, &resolved);
         }},
        SETTER(r, IRecipient2, Type, olRecipientTypeOptional),
        SETTER(r, IRecipient2, Status, olRecipientStatusAccepted),
        GETTER(r, IRecipient2, Type),
        GETTER(r, IRecipient2, Status),
    });
    EXPECT_EQ(1, Get(list, &IRecipients::get_Count));
    EXPECT_EQ(u"", GetText(recipient, &IRecipient::get_Address));
}

TEST_F(Faults, AResultNeedsAPlaceToGoTo) {
    const auto series = DailySeries(At(2026, 3, 2, 10), 5);
    EXPECT_HR(S_OK, Occurrence(series, At(2026, 3, 3))->Delete());
    const auto pattern = PatternOf(series);
    const auto list = ExceptionsOf(series);
    const auto recipients = GetObject(series, &IAppointment::get_Recipients);
    EXPECT_HR(E_POINTER, series->get_Start(nullptr));
    EXPECT_HR(E_POINTER, series->get_Subject(nullptr));
    EXPECT_HR(E_POINTER, series->GetRecurrencePattern(nullptr));
    EXPECT_HR(E_POINTER, series->Copy(nullptr));
    EXPECT_HR(E_POINTER, NewTask()->get_DueDate(nullptr));
    EXPECT_HR(E_POINTER, pattern->get_Interval(nullptr));
    EXPECT_HR(E_POINTER, pattern->GetOccurrence(At(2026, 3, 4), nullptr));
    EXPECT_HR(E_POINTER, list->Item(1, nullptr));
    EXPECT_HR(E_POINTER, ExceptionAt(series, 1)->get_Deleted(nullptr));
    EXPECT_HR(E_POINTER, recipients->Add(Bstr(u"Ann"), nullptr));
    EXPECT_EQ(0, Get(recipients, &IRecipients::get_Count));
}

TEST_F(Faults, CallsAfterLogoffFailWhereThatIsAskedFor) {
    const auto series = DailySeries(At(2026, 3, 2, 10), 5);
    const auto pattern = PatternOf(series);
    const auto recipients = GetObject(series, &IAppointment::get_Recipients);
    EXPECT_HR(S_OK, m_application->Logoff());
    EXPECT_HR(S_OK, OccurrenceResult(series, At(2026, 3, 3))) << "by default the session's objects go on working";
    pocketoutlook::Options options;
    options.failAfterLogoff = true;
    pocketoutlook::SetOptions(options);
    LONG number = 0;
    INT count = 0;
    EXPECT_HR(E_FAIL, series->get_Duration(&number));
    EXPECT_HR(E_FAIL, pattern->get_Interval(&number));
    EXPECT_HR(E_FAIL, recipients->get_Count(&count));
    EXPECT_HR(E_FAIL, series->Save());
    pocketoutlook::SetOptions({});
}

TEST_F(Faults, AStringThatCannotBeMadeIsOutOfMemory) {
    const auto item = NewAppointment();
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
    BSTR text = nullptr;
    control::PlanFault({"SysAllocStringLen", 1, 2, 0});
    EXPECT_HR(E_OUTOFMEMORY, item->get_Subject(&text));
    EXPECT_EQ(nullptr, text);
    EXPECT_HR(E_OUTOFMEMORY, recipient->get_Name(&text));
    EXPECT_EQ(nullptr, text);
}

}  // namespace
}  // namespace kez::tests
