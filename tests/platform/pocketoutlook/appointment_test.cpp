// Appointments: what a new one holds, how its values pull on one another, what Save makes of them and what it refuses.
#include <climits>

#include "tests/platform/pocketoutlook/calendar_fixture.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Appointment : public Calendar {};

std::string StartOf(const Ref<IAppointment>& item) { return Show(Get(item, &IAppointment::get_Start)); }
std::string EndOf(const Ref<IAppointment>& item) { return Show(Get(item, &IAppointment::get_End)); }
LONG MinutesOf(const Ref<IAppointment>& item) { return Get(item, &IAppointment::get_Duration); }

// --- Defaults and plain values --------------------------------------------------------------------------------

TEST_F(Appointment, NewOnesStartWithTheNextFullHourForAnHourBusyWithAReminder) {
    control::FreezeClock({2026, 3, 0, 2, 10, 37, 0, 0});
    const auto item = NewAppointment();
    EXPECT_EQ(0, Get(item, &IAppointment::get_Oid));
    EXPECT_EQ("2026-03-02 11:00:00", StartOf(item));
    EXPECT_EQ(60, MinutesOf(item));
    EXPECT_EQ("2026-03-02 12:00:00", EndOf(item));
    EXPECT_EQ(VARIANT_FALSE, Get(item, &IAppointment::get_AllDayEvent));
    EXPECT_EQ(olBusy, Get(item, &IAppointment::get_BusyStatus));
    EXPECT_EQ(olNormal, Get(item, &IAppointment::get_Sensitivity));
    EXPECT_EQ(olNonMeeting, Get(item, &IAppointment::get_MeetingStatus));
    EXPECT_EQ(VARIANT_TRUE, Get(item, &IAppointment::get_ReminderSet));
    EXPECT_EQ(15, Get(item, &IAppointment::get_ReminderMinutesBeforeStart));
    EXPECT_EQ(olDialog | olSound, Get(item, &IAppointment::get_ReminderOptions));
    EXPECT_EQ(VARIANT_FALSE, Get(item, &IAppointment::get_IsRecurring));
    for (const auto getter : {&IAppointment::get_Subject, &IAppointment::get_Location, &IAppointment::get_Categories,
                              &IAppointment::get_Body, &IAppointment::get_ReminderSoundFile}) {
        EXPECT_EQ(u"", GetText(item, getter));
    }
    EXPECT_EQ(0, Get(GetObject(item, &IAppointment::get_Recipients), &IRecipients::get_Count));
}

TEST_F(Appointment, TheNextFullHourIsLocalTime) {
    control::FreezeClock({2026, 3, 0, 2, 23, 30, 0, 0});
    control::SetCurrentBias(-60);
    EXPECT_EQ("2026-03-03 01:00:00", StartOf(NewAppointment()));
}

TEST_F(Appointment, RemindersOfNewOnesFollowTheOptions) {
    pocketoutlook::Options options;
    options.appointmentReminderSet = false;
    options.appointmentReminderMinutes = 45;
    options.reminderOptions = olVibrate;
    pocketoutlook::SetOptions(options);
    const auto item = NewAppointment();
    EXPECT_EQ(VARIANT_FALSE, Get(item, &IAppointment::get_ReminderSet));
    EXPECT_EQ(45, Get(item, &IAppointment::get_ReminderMinutesBeforeStart));
    EXPECT_EQ(olVibrate, Get(item, &IAppointment::get_ReminderOptions));
}

TEST_F(Appointment, EveryValueComesBackAfterSave) {
    auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Subject(Bstr(u"Stand-up \u00e9")));
    EXPECT_HR(S_OK, item->put_Location(Bstr(u"Room 4")));
    EXPECT_HR(S_OK, item->put_Categories(Bstr(u"Work, Daily")));
    EXPECT_HR(S_OK, item->put_Body(Bstr(u"one\r\ntwo")));
    EXPECT_HR(S_OK, item->put_Start(At(2026, 4, 1, 9, 15, 7)));
    EXPECT_HR(S_OK, item->put_Duration(25));
    EXPECT_HR(S_OK, item->put_BusyStatus(olTentative));
    EXPECT_HR(S_OK, item->put_Sensitivity(olPrivate));
    EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_FALSE));
    EXPECT_HR(S_OK, item->put_ReminderMinutesBeforeStart(60000));
    EXPECT_HR(S_OK, item->put_ReminderOptions(31));
    EXPECT_HR(S_OK, item->put_ReminderSoundFile(Bstr(u"\\Windows\\ping.wav")));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_NE(0, Get(item, &IAppointment::get_Oid));

    const auto again = Again(item);
    EXPECT_EQ(u"Stand-up \u00e9", GetText(again, &IAppointment::get_Subject));
    EXPECT_EQ(u"Room 4", GetText(again, &IAppointment::get_Location));
    EXPECT_EQ(u"Work, Daily", GetText(again, &IAppointment::get_Categories));
    EXPECT_EQ(u"one\r\ntwo", GetText(again, &IAppointment::get_Body));
    EXPECT_EQ("2026-04-01 09:15:07", StartOf(again));
    EXPECT_EQ("2026-04-01 09:40:07", EndOf(again));
    EXPECT_EQ(25, MinutesOf(again));
    EXPECT_EQ(olTentative, Get(again, &IAppointment::get_BusyStatus));
    EXPECT_EQ(olPrivate, Get(again, &IAppointment::get_Sensitivity));
    EXPECT_EQ(VARIANT_FALSE, Get(again, &IAppointment::get_ReminderSet));
    // The lead time is kept while the reminder is off: it is written before the flag.
    EXPECT_EQ(60000, Get(again, &IAppointment::get_ReminderMinutesBeforeStart));
    EXPECT_EQ(31, Get(again, &IAppointment::get_ReminderOptions));
    EXPECT_EQ(u"\\Windows\\ping.wav", GetText(again, &IAppointment::get_ReminderSoundFile));
}

TEST_F(Appointment, EverySecondOfADayComesBackAsTheVeryDateThatWentIn) {
    const auto item = NewAppointment();
    for (int second = 0; second < 86400; second += 61) {
        const DATE date = At(2026, 4, 1, second / 3600, second / 60 % 60, second % 60);
        ASSERT_HR(S_OK, item->put_Start(date));
        ASSERT_EQ(date, Get(item, &IAppointment::get_Start)) << second;
    }
}

// --- Start, duration, end -------------------------------------------------------------------------------------

TEST_F(Appointment, PuttingTheStartKeepsTheDurationAndMovesTheEnd) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Duration(30));
    EXPECT_HR(S_OK, item->put_Start(At(2026, 5, 1, 8)));
    EXPECT_EQ("2026-05-01 08:30:00", EndOf(item));
    EXPECT_EQ(30, MinutesOf(item));
}

TEST_F(Appointment, AnEndBehindTheStartChangesTheDuration) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Start(At(2026, 5, 1, 8)));
    EXPECT_HR(S_OK, item->put_End(At(2026, 5, 1, 10, 5)));
    EXPECT_EQ(125, MinutesOf(item));
    EXPECT_EQ("2026-05-01 08:00:00", StartOf(item));
}

TEST_F(Appointment, AnEndBeforeTheStartMovesTheStartBack) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Start(At(2026, 5, 1, 8)));
    EXPECT_HR(S_OK, item->put_Duration(90));
    EXPECT_HR(S_OK, item->put_End(At(2026, 4, 30, 12)));
    EXPECT_EQ("2026-04-30 10:30:00", StartOf(item));
    EXPECT_EQ(90, MinutesOf(item));
}

TEST_F(Appointment, DurationsAreNoughtTo31Days) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Duration(0));
    EXPECT_EQ(0, MinutesOf(item));
    EXPECT_HR(S_OK, item->put_Duration(44640));
    EXPECT_HR(E_INVALIDARG, item->put_Duration(44641));
    EXPECT_HR(E_INVALIDARG, item->put_Duration(-1));
    EXPECT_EQ(44640, MinutesOf(item));
    EXPECT_HR(S_OK, item->put_Start(At(2026, 5, 1)));
    EXPECT_HR(S_OK, item->put_End(At(2026, 6, 1)));
    EXPECT_HR(E_INVALIDARG, item->put_End(At(2026, 6, 1, 0, 1)));
    EXPECT_EQ(44640, MinutesOf(item));
}

TEST_F(Appointment, DatesOutside1900To2999AreRefused) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Start(2.0));
    EXPECT_EQ("1900-01-01 00:00:00", StartOf(item));
    EXPECT_HR(S_OK, item->put_Start(At(2999, 12, 31, 23, 59, 59)));
    for (const DATE date : {0.0, 1.99, -5.0, 401769.0, 949998.0, 1e300}) {
        EXPECT_HR(E_INVALIDARG, item->put_Start(date)) << date;
        EXPECT_HR(E_INVALIDARG, item->put_End(date)) << date;
    }
    EXPECT_EQ("2999-12-31 23:59:59", StartOf(item));
    EXPECT_HR(S_OK, item->put_Start(At(1900, 1, 1, 5)));
    EXPECT_HR(S_OK, item->put_Duration(600));
    // The start would move back before the first day.
    EXPECT_HR(E_INVALIDARG, item->put_End(At(1900, 1, 1, 1)));
    EXPECT_EQ("1900-01-01 05:00:00", StartOf(item));
}

struct NumberRow {
    const char* name;
    HRESULT (IAppointment::*put)(LONG);
    HRESULT (IAppointment::*get)(LONG*);
    LONG least, most;
};

TEST_F(Appointment, NumbersKeepToTheirBounds) {
    const NumberRow rows[] = {
        {"BusyStatus", &IAppointment::put_BusyStatus, &IAppointment::get_BusyStatus, olFree, olOutOfOffice},
        {"Sensitivity", &IAppointment::put_Sensitivity, &IAppointment::get_Sensitivity, olNormal, olConfidential},
        {"ReminderOptions", &IAppointment::put_ReminderOptions, &IAppointment::get_ReminderOptions, 0, 31},
        {"ReminderMinutes", &IAppointment::put_ReminderMinutesBeforeStart,
         &IAppointment::get_ReminderMinutesBeforeStart, 0, INT_MAX},
    };
    const auto item = NewAppointment();
    for (const NumberRow& row : rows) {
        SCOPED_TRACE(row.name);
        for (const LONG value : {row.least, row.most}) {
            EXPECT_HR(S_OK, (item.Get()->*row.put)(value));
            EXPECT_EQ(value, Get(item, row.get));
        }
        EXPECT_HR(E_INVALIDARG, (item.Get()->*row.put)(row.least - 1));
        if (row.most < INT_MAX) {
            EXPECT_HR(E_INVALIDARG, (item.Get()->*row.put)(row.most + 1));
        }
        EXPECT_EQ(row.most, Get(item, row.get));
    }
}

TEST_F(Appointment, TextsKeepToTheirLengths) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_Subject(Bstr(std::u16string(4095, u'x'))));
    EXPECT_HR(E_FIELDTOOLARGE, item->put_Subject(Bstr(std::u16string(4096, u'x'))));
    EXPECT_HR(S_OK, item->put_Location(Bstr(std::u16string(1023, u'x'))));
    EXPECT_HR(E_FIELDTOOLARGE, item->put_Location(Bstr(std::u16string(1024, u'x'))));
    EXPECT_EQ(4095u, GetText(item, &IAppointment::get_Subject).size());
}

// --- All day --------------------------------------------------------------------------------------------------

TEST_F(Appointment, AllDayDurationsBecomeWholeDaysAtSave) {
    struct Row {
        LONG put, saved;
    };
    for (const Row row :
         {Row{0, 1440}, {1, 1440}, {60, 1440}, {1440, 1440}, {1441, 2880}, {2880, 2880}, {44640, 44640}}) {
        SCOPED_TRACE(row.put);
        const auto item = NewAppointment();
        EXPECT_HR(S_OK, item->put_Start(At(2026, 7, 14, 9, 30)));
        EXPECT_HR(S_OK, item->put_Duration(row.put));
        EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_TRUE));
        EXPECT_EQ(row.put, MinutesOf(item)) << "the setter must leave start and duration as they are";
        EXPECT_HR(S_OK, item->Save());
        EXPECT_EQ(row.saved, MinutesOf(item));
        EXPECT_EQ("2026-07-14 00:00:00", StartOf(Again(item)));
        EXPECT_EQ(row.saved, MinutesOf(Again(item)));
    }
}

TEST_F(Appointment, TakingTheAllDayFlagAwayLeavesStartAndDuration) {
    const auto item = NewAppointment();
    EXPECT_HR(S_OK, item->put_AllDayEvent(1));  // any number but 0 is true
    EXPECT_EQ(VARIANT_TRUE, Get(item, &IAppointment::get_AllDayEvent));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_FALSE));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ("2026-03-02 00:00:00", StartOf(item));
    EXPECT_EQ(1440, MinutesOf(item));
}

TEST_F(Appointment, AllDayOnesTakeRecipientsAloneAndAsASeries) {
    for (const bool recurs : {false, true}) {
        SCOPED_TRACE(recurs);
        const auto item = NewAppointment();
        EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_FALSE));
        EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_TRUE));
        if (recurs) {
            EXPECT_HR(S_OK, PatternOf(item)->put_RecurrenceType(olRecursDaily));
        }
        Ref<IRecipient> recipient;
        EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
        EXPECT_HR(S_OK, item->Save());
        EXPECT_EQ(1, Get(GetObject(Again(item), &IAppointment::get_Recipients), &IRecipients::get_Count));
        EXPECT_EQ(recurs, Recurs(Again(item)));
    }
}

// --- Properties of IItem --------------------------------------------------------------------------------------

TEST_F(Appointment, ThePropertiesShowTheSavedValues) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9, 30), 45);
    EXPECT_EQ("2026-07-14 09:30:00", TimeProperty(item, PIMPR_START));
    EXPECT_EQ("2026-07-14 10:15:00", TimeProperty(item, PIMPR_END));
    EXPECT_EQ(45u, Property(item, PIMPR_DURATION).val.ulVal);
    EXPECT_EQ(0, Property(item, PIMPR_ALL_DAY_EVENT).val.boolVal);
    EXPECT_EQ(0u, Property(item, PIMPR_SENSITIVITY).val.ulVal);
    EXPECT_EQ(2u, Property(item, PIMPR_BUSY_STATUS).val.ulVal);
    EXPECT_EQ(15u, Property(item, PIMPR_REMINDER_MINUTES_BEFORE_START).val.ulVal);
    EXPECT_TRUE(HasProperty(item, PIMPR_REMINDER_SET));
    EXPECT_EQ(0, Property(item, PIMPR_REMINDER_SET).val.boolVal);
    EXPECT_EQ(0, Property(item, PIMPR_IS_RECURRING).val.boolVal);
    EXPECT_EQ(0xFFFFFFFFu, Property(item, PIMPR_RECURRING_TYPE).val.ulVal);
    EXPECT_EQ(0u, Property(item, PIMPR_MEETING_STATUS).val.ulVal);
    for (const CEPROPID id :
         {PIMPR_SUBJECT, PIMPR_LOCATION, PIMPR_RECURRING_PATTERNSTARTDATE, PIMPR_RECURRING_PATTERNENDDATE,
          PIMPR_RECURRING_STARTTIME, PIMPR_RECURRING_ENDTIME, PIMPR_RECURRING_NOEND, PIMPR_RECURRING_OCCURRENCES,
          PIMPR_RECURRING_INTERVAL, PIMPR_RECURRING_DURATION, PIMPR_START_DATE}) {
        EXPECT_FALSE(HasProperty(item, id)) << std::hex << id;
    }
    EXPECT_HR(S_OK, item->put_Duration(60));
    EXPECT_EQ(45u, Property(item, PIMPR_DURATION).val.ulVal) << "an unsaved change must not be seen";
}

TEST_F(Appointment, TheNinePropertiesThatTravelComeInOrderWithEmptyTextsAbsent) {
    const std::vector<CEPROPID> ids = {
        PIMPR_SUBJECT,       PIMPR_LOCATION,    PIMPR_START,       PIMPR_DURATION,
        PIMPR_ALL_DAY_EVENT, PIMPR_SENSITIVITY, PIMPR_BUSY_STATUS, PIMPR_REMINDER_MINUTES_BEFORE_START,
        PIMPR_REMINDER_SET};
    const auto item = SavedAppointment(At(2026, 7, 14, 9, 30));
    EXPECT_EQ(std::vector<CEPROPID>(ids.begin() + 2, ids.end()), Present(item, ids));
    EXPECT_HR(S_OK, item->put_Subject(Bstr(u"x")));
    EXPECT_HR(S_OK, item->put_Location(Bstr(u"y")));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ(ids, Present(item, ids));
}

TEST_F(Appointment, APropertyThatIsSetPullsOnTheOthersLikeItsSetter) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9, 30), 45);
    CEPROPVAL value{PIMPR_DURATION, 0, 0, {}};
    value.val.ulVal = 44641;
    EXPECT_HR(S_FALSE, SetProperty(item, value));
    value.val.ulVal = 30;
    EXPECT_HR(S_OK, SetProperty(item, value));
    EXPECT_HR(S_FALSE, SetProperty(item, value)) << "the same value again";
    EXPECT_EQ("2026-07-14 10:00:00", EndOf(item));

    SYSTEMTIME end{2026, 7, 0, 14, 11, 0, 0, 0};
    CEPROPVAL time{PIMPR_END, 0, 0, {}};
    ASSERT_TRUE(SystemTimeToFileTime(&end, &time.val.filetime));
    EXPECT_HR(S_OK, SetProperty(item, time));
    EXPECT_EQ(90, MinutesOf(item));
    time.propid = PIMPR_START;
    EXPECT_HR(S_OK, SetProperty(item, time));
    EXPECT_EQ("2026-07-14 11:00:00", StartOf(item));

    time.wFlags = CEDB_PROPDELETE;
    EXPECT_HR(S_FALSE, SetProperty(item, time)) << "an appointment without a start there is not";
    CEPROPVAL type{PIMPR_RECURRING_TYPE, 0, 0, {}};
    EXPECT_HR(S_FALSE, SetProperty(item, type)) << "a pattern is set through its object";
    CEPROPVAL status{PIMPR_MEETING_STATUS, 0, 0, {}};
    status.val.ulVal = 1;
    EXPECT_HR(S_FALSE, SetProperty(item, status));
}

// --- Recipients -----------------------------------------------------------------------------------------------

class Recipients : public Calendar {
 protected:
    std::vector<std::u16string> List(const Ref<IAppointment>& item) {
        std::vector<std::u16string> list;
        const auto recipients = GetObject(item, &IAppointment::get_Recipients);
        const INT count = Get(recipients, &IRecipients::get_Count);
        for (INT i = 1; i <= count; ++i) {
            Ref<IRecipient> recipient;
            EXPECT_HR(S_OK, recipients->Item(i, recipient.Out()));
            list.push_back(GetText(recipient, &IRecipient::get_Name) + u" <" +
                           GetText(recipient, &IRecipient::get_Address) + u">");
        }
        return list;
    }
    void Add(const Ref<IAppointment>& item, const char16_t* name, const char16_t* address) {
        Ref<IRecipient> recipient;
        EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Add(Bstr(name), recipient.Out()));
        if (address) {
            EXPECT_HR(S_OK, recipient->put_Address(Bstr(address)));
        }
    }
};

TEST_F(Recipients, AreKeptInOrderAndCountWithSave) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    Add(item, u"Zoe", u"zoe@example.org");
    Add(item, u"Ann", u"ann@example.org");
    Add(item, u"Bob", nullptr);
    EXPECT_THAT(List(Again(item)), IsEmpty());
    EXPECT_EQ(olMeeting, Get(item, &IAppointment::get_MeetingStatus));
    EXPECT_EQ(olNonMeeting, Get(Again(item), &IAppointment::get_MeetingStatus));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(List(Again(item)), ElementsAre(u"Zoe <zoe@example.org>", u"Ann <ann@example.org>", u"Bob <>"));
    EXPECT_EQ(olMeeting, Get(Again(item), &IAppointment::get_MeetingStatus));
    EXPECT_EQ(1u, Property(item, PIMPR_MEETING_STATUS).val.ulVal);
}

TEST_F(Recipients, AreReplacedAtSaveAndShiftDownWhenOneGoes) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    for (const char16_t* name : {u"A", u"B", u"C"}) Add(item, name, u"x@example.org");
    EXPECT_HR(S_OK, item->Save());

    const auto again = Again(item);
    const auto recipients = GetObject(again, &IAppointment::get_Recipients);
    EXPECT_HR(S_OK, recipients->Remove(1));
    Ref<IRecipient> first;
    EXPECT_HR(S_OK, recipients->Item(1, first.Out()));
    EXPECT_EQ(u"B", GetText(first, &IRecipient::get_Name));
    Add(again, u"D", u"d@example.org");
    EXPECT_HR(S_OK, again->Save());
    EXPECT_THAT(List(Again(item)), ElementsAre(u"B <x@example.org>", u"C <x@example.org>", u"D <d@example.org>"));

    // From the end to the front, as a caller that replaces the list does.
    for (INT i = Get(recipients, &IRecipients::get_Count); i >= 1; --i) EXPECT_HR(S_OK, recipients->Remove(i));
    EXPECT_HR(S_OK, again->Save());
    EXPECT_THAT(List(Again(item)), IsEmpty());
    EXPECT_EQ(olNonMeeting, Get(Again(item), &IAppointment::get_MeetingStatus));
}

TEST_F(Recipients, AnAddressThatChangesIsSaved) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    Add(item, u"Ann", u"old@example.org");
    EXPECT_HR(S_OK, item->Save());
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Item(1, recipient.Out()));
    EXPECT_HR(S_OK, recipient->put_Address(Bstr(u"new@example.org")));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_THAT(List(Again(item)), ElementsAre(u"Ann <new@example.org>"));
}

TEST_F(Recipients, AnAddressIsNeverPutEmptyAndANameIsNeeded) {
    const auto item = NewAppointment();
    const auto recipients = GetObject(item, &IAppointment::get_Recipients);
    IRecipient* none = reinterpret_cast<IRecipient*>(1);
    EXPECT_HR(E_INVALIDARG, recipients->Add(Bstr(u""), &none));
    EXPECT_EQ(nullptr, none);
    EXPECT_HR(E_INVALIDARG, recipients->Add(nullptr, &none));
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, recipients->Add(Bstr(u"Ann"), recipient.Out()));
    EXPECT_EQ(u"", GetText(recipient, &IRecipient::get_Address));
    EXPECT_HR(E_INVALIDARG, recipient->put_Address(Bstr(u"")));
    EXPECT_HR(E_INVALIDARG, recipient->put_Address(nullptr));
}

TEST_F(Recipients, PositionsOutOfRangeGiveNothing) {
    const auto item = NewAppointment();
    Add(item, u"Ann", nullptr);
    const auto recipients = GetObject(item, &IAppointment::get_Recipients);
    for (const INT index : {INT_MIN, -1, 0, 2, INT_MAX}) {
        IRecipient* none = reinterpret_cast<IRecipient*>(1);
        EXPECT_HR(E_INVALIDARG, recipients->Item(index, &none)) << index;
        EXPECT_EQ(nullptr, none);
        EXPECT_HR(E_INVALIDARG, recipients->Remove(index)) << index;
    }
    EXPECT_EQ(1, Get(recipients, &IRecipients::get_Count));
}

TEST_F(Recipients, KeepTypeAndStatusThroughTheNewerInterface) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
    Ref<IRecipient2> newer;
    ASSERT_HR(S_OK, recipient->QueryInterface(IID_IRecipient2, reinterpret_cast<void**>(newer.Out())));
    EXPECT_EQ(olRecipientTypeRequired, Get(newer, &IRecipient2::get_Type));
    EXPECT_EQ(olRecipientStatusUnknown, Get(newer, &IRecipient2::get_Status));
    EXPECT_HR(S_OK, newer->put_Type(olRecipientTypeResource));
    EXPECT_HR(S_OK, newer->put_Status(olRecipientStatusNoResponse));
    EXPECT_HR(E_INVALIDARG, newer->put_Type(static_cast<OlRecipientType>(4)));
    EXPECT_HR(E_INVALIDARG, newer->put_Status(static_cast<OlRecipientStatus>(-1)));
    EXPECT_HR(S_OK, item->Save());

    Ref<IRecipient> again;
    EXPECT_HR(S_OK, GetObject(Again(item), &IAppointment::get_Recipients)->Item(1, again.Out()));
    ASSERT_HR(S_OK, again->QueryInterface(IID_IRecipient2, reinterpret_cast<void**>(newer.Out())));
    EXPECT_EQ(olRecipientTypeResource, Get(newer, &IRecipient2::get_Type));
    EXPECT_EQ(olRecipientStatusNoResponse, Get(newer, &IRecipient2::get_Status));
    Ref<IUnknown> other;
    for (const IID* id : {&IID_IUnknown, &IID_IDispatch, &IID_IRecipient, &IID_IPOlRecipient}) {
        EXPECT_HR(S_OK, again->QueryInterface(*id, reinterpret_cast<void**>(other.Out())));
    }
    EXPECT_HR(E_NOINTERFACE, again->QueryInterface(IID_IContact, reinterpret_cast<void**>(other.Out())));
}

TEST_F(Recipients, OutliveTheObjectsTheyCameFrom) {
    Ref<IRecipient> recipient;
    {
        const auto recipients = GetObject(NewAppointment(), &IAppointment::get_Recipients);
        EXPECT_HR(S_OK, recipients->Add(Bstr(u"Ann"), recipient.Out()));
        EXPECT_HR(S_OK, recipients->Remove(1));
    }
    EXPECT_HR(S_OK, recipient->put_Address(Bstr(u"a@example.org")));
    EXPECT_EQ(u"Ann", GetText(recipient, &IRecipient::get_Name));
}

TEST_F(Recipients, GoWithTheirAppointment) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    Add(item, u"Ann", u"a@example.org");
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, item->Delete());
    EXPECT_HR(E_FAIL, item->Save());
}

// --- Save, copy, what a host does not do -----------------------------------------------------------------------

TEST_F(Appointment, SaveTwiceKeepsTheIdentifier) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    const LONG oid = Get(item, &IAppointment::get_Oid);
    EXPECT_HR(S_OK, item->Save());
    EXPECT_HR(S_OK, item->put_Subject(Bstr(u"changed")));
    EXPECT_HR(S_OK, item->Save());
    EXPECT_EQ(oid, Get(item, &IAppointment::get_Oid));
}

TEST_F(Appointment, TwoObjectsOnOneRecordOnlyWriteWhatEachChanged) {
    const auto one = SavedAppointment(At(2026, 7, 14, 9));
    const auto other = Again(one);
    EXPECT_HR(S_OK, one->put_Subject(Bstr(u"subject")));
    EXPECT_HR(S_OK, other->put_Location(Bstr(u"place")));
    EXPECT_HR(S_OK, one->Save());
    EXPECT_HR(S_OK, other->Save());
    EXPECT_EQ(u"subject", GetText(Again(one), &IAppointment::get_Subject));
    EXPECT_EQ(u"place", GetText(Again(one), &IAppointment::get_Location));
}

TEST_F(Appointment, ACopyIsANewAppointmentWithTheSameValuesAndRecipients) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9));
    EXPECT_HR(S_OK, item->put_Subject(Bstr(u"original")));
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, GetObject(item, &IAppointment::get_Recipients)->Add(Bstr(u"Ann"), recipient.Out()));
    const auto copy = GetObject(item, &IAppointment::Copy);
    EXPECT_EQ(0, Get(copy, &IAppointment::get_Oid));
    EXPECT_HR(S_OK, copy->Save());
    EXPECT_NE(Get(item, &IAppointment::get_Oid), Get(copy, &IAppointment::get_Oid));
    EXPECT_EQ(u"original", GetText(Again(copy), &IAppointment::get_Subject));
    EXPECT_EQ(1, Get(GetObject(Again(copy), &IAppointment::get_Recipients), &IRecipients::get_Count));
}

TEST_F(Appointment, ASaveThatTheVolumeRefusesLeavesItemAndRecordAsTheyWere) {
    const auto item = SavedAppointment(At(2026, 7, 14, 9, 30), 45);
    EXPECT_HR(S_OK, item->put_AllDayEvent(VARIANT_TRUE));
    EXPECT_HR(S_OK, Again(item)->Delete());
    EXPECT_HR(E_INVALIDARG, item->Save());  // the record is gone
    EXPECT_EQ("2026-07-14 09:30:00", StartOf(item));
    EXPECT_EQ(45, MinutesOf(item));
}

TEST_F(Appointment, MailInkAndUserInterfaceAreNotThere) {
    const auto item = NewAppointment();
    CEBLOB ink{};
    EXPECT_HR(E_NOTIMPL, item->Send());
    EXPECT_HR(E_NOTIMPL, item->Cancel());
    EXPECT_HR(E_NOTIMPL, item->Display());
    EXPECT_HR(E_NOTIMPL, item->put_BodyInk(&ink));
    EXPECT_HR(E_NOTIMPL, item->get_BodyInk(&ink));
    Ref<IRecipient> recipient;
    const auto recipients = GetObject(item, &IAppointment::get_Recipients);
    EXPECT_HR(S_OK, recipients->Add(Bstr(u"Ann"), recipient.Out()));
    Ref<IUnknown> enumerator;
    EXPECT_HR(E_NOTIMPL, recipients->get__NewEnum(enumerator.Out()));
    Ref<IPOlRecipient> newer;
    ASSERT_HR(S_OK, recipient->QueryInterface(IID_IPOlRecipient, reinterpret_cast<void**>(newer.Out())));
    VARIANT_BOOL resolved = VARIANT_TRUE;
    EXPECT_HR(E_NOTIMPL, newer->Resolve(VARIANT_FALSE, &resolved));
}

TEST_F(Appointment, EveryChildKnowsTheApplication) {
    const auto item = DailySeries(At(2026, 3, 2, 10), 3);
    EXPECT_HR(S_OK, Occurrence(item, At(2026, 3, 3))->Delete());
    const auto recipients = GetObject(item, &IAppointment::get_Recipients);
    Ref<IRecipient> recipient;
    EXPECT_HR(S_OK, recipients->Add(Bstr(u"Ann"), recipient.Out()));
    EXPECT_TRUE(GetObject(item, &IAppointment::get_Application));
    EXPECT_TRUE(GetObject(recipients, &IRecipients::get_Application));
    EXPECT_TRUE(GetObject(recipient, &IRecipient::get_Application));
    EXPECT_TRUE(GetObject(PatternOf(item), &IRecurrencePattern::get_Application));
    EXPECT_TRUE(GetObject(ExceptionsOf(item), &IExceptions::get_Application));
    EXPECT_TRUE(GetObject(ExceptionAt(item, 1), &IException::get_Application));
}

TEST_F(Appointment, BothFacesAreOneObject) {
    const auto item = NewAppointment();
    Ref<IItem> face;
    ASSERT_HR(S_OK, item->QueryInterface(IID_IItem, reinterpret_cast<void**>(face.Out())));
    Ref<IUnknown> one;
    Ref<IUnknown> other;
    EXPECT_HR(S_OK, item->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(one.Out())));
    EXPECT_HR(S_OK, face->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(other.Out())));
    EXPECT_EQ(one.Get(), other.Get());
    EXPECT_HR(S_OK, face->Save());
    EXPECT_NE(0, Get(item, &IAppointment::get_Oid));
    Ref<ITask> task;
    EXPECT_HR(E_NOINTERFACE, item->QueryInterface(IID_ITask, reinterpret_cast<void**>(task.Out())));
    EXPECT_FALSE(task);
}

}  // namespace
}  // namespace kez::tests
