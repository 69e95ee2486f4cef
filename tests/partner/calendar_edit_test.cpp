// Calendar files written: new ones, changes of single lines, and what is read back from both.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libical/ical.h>
#include <rapidcheck.h>

#include "partner/calendar_format.h"
#include "partner/packet_codec.h"
#include "partner/record_fields.h"
#include "support/real_files.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::ProblemCode;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kZone = "Europe/Berlin";

CalendarFormat Format(const std::string& zone = kZone) {
    return CalendarFormat(zone, [] { return std::int64_t{1772445600}; });  // 2026-03-02 10:00:00
}

Item Appointment(Fields fields) {
    fields.try_emplace("Start", "2026-03-02 10:00:00");
    fields.try_emplace("Duration", "60");
    Item item{ItemType::Appointment, std::move(fields)};
    AddDefaults(item);
    return item;
}

Item Task(Fields fields) {
    Item item{ItemType::Task, std::move(fields)};
    AddDefaults(item);
    return item;
}

// What the library that others read calendars with finds wrong in it; "" for nothing.
std::string WrongIn(const std::string& bytes) {
    icalerror_set_errors_are_fatal(0);
    icalcomponent* calendar = icalparser_parse_string(bytes.c_str());
    if (!calendar) return "it is not read";
    std::string wrong;
    if (icalcomponent_count_errors(calendar) != 0) wrong = icalcomponent_as_ical_string(calendar);
    icalcomponent_free(calendar);
    return wrong;
}

std::string Made(const Item& item, const std::string& zone = kZone) {
    ItemFormat::Writing writing = Format(zone).Make(item, "u", "2026-03-02T10:00:00Z");
    EXPECT_FALSE(writing.problem) << writing.problem.text;
    EXPECT_EQ(WrongIn(writing.bytes), "") << writing.bytes;
    return writing.bytes;
}

Fields ReadBack(const std::string& bytes, const std::string& zone = kZone) {
    FileReading reading = Format(zone).Read(bytes, "a.ics");
    EXPECT_FALSE(reading.problem) << reading.problem.text << "\n" << bytes;
    return reading.item.fields;
}

// The file changed in these fields; an empty value takes a field away.
std::string Edited(const std::string& bytes, const Fields& changes) {
    FileReading reading = Format().Read(bytes, "a.ics");
    EXPECT_FALSE(reading.problem) << reading.problem.text;
    for (const auto& [name, value] : changes) {
        if (value.empty())
            reading.item.fields.erase(name);
        else
            reading.item.fields[name] = value;
    }
    ItemFormat::Writing writing = Format().Edit(bytes, reading.item);
    EXPECT_FALSE(writing.problem) << writing.problem.text;
    EXPECT_EQ(WrongIn(writing.bytes), "") << writing.bytes;
    Fields back = ReadBack(writing.bytes);
    for (const auto& [name, value] : changes)
        EXPECT_EQ(back.count(name) ? back[name] : "", value) << name << "\n" << writing.bytes;
    return writing.bytes;
}

std::string File(const std::string& kind, const std::string& lines) {
    return "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nX-KEPT:1\r\nBEGIN:" + kind + "\r\nUID:u\r\n" + lines + "END:" + kind +
           "\r\nEND:VCALENDAR\r\n";
}
const std::string kTen = "DTSTART;TZID=Europe/Berlin:20260302T100000\r\nDTEND;TZID=Europe/Berlin:20260302T110000\r\n";

TEST(NewCalendarFile, OfAnAppointmentIsWholeAndReadBack) {
    Item item = Appointment({{"Subject", "Tea, with \u00dcber; x\\y"},
                             {"Location", "Room 12"},
                             {"Body", "One\nTwo"},
                             {"Categories", "A, B c"},
                             {"Sensitivity", "2"},
                             {"BusyStatus", "0"},
                             {"ReminderSet", "1"},
                             {"ReminderMinutesBeforeStart", "15"},
                             {"Recipients", "Ada;ada@x.org;Bob;bob@x.org"}});
    std::string bytes = Made(item);
    EXPECT_THAT(bytes, HasSubstr("PRODID:-//kezsync//"));
    EXPECT_THAT(bytes,
                HasSubstr("DTSTART;TZID=Europe/Berlin:20260302T100000\r\nDTEND;TZID=Europe/Berlin:20260302T110000"));
    EXPECT_THAT(bytes, HasSubstr("BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"));
    EXPECT_THAT(bytes, HasSubstr("TRIGGER:-PT15M\r\n"));
    EXPECT_THAT(bytes, HasSubstr("ATTENDEE;CN=\"Ada\":mailto:ada@x.org\r\n"));
    EXPECT_EQ(ReadBack(bytes), item.fields);
}

TEST(NewCalendarFile, OfADeviceInUtcNeedsNoZone) {
    Item item = Appointment({{"Subject", "S"}});
    std::string bytes = Made(item, "UTC");
    EXPECT_THAT(bytes, HasSubstr("DTSTART:20260302T100000Z\r\nDTEND:20260302T110000Z\r\n"));
    EXPECT_THAT(bytes, Not(HasSubstr("VTIMEZONE")));
    EXPECT_EQ(ReadBack(bytes, "UTC"), item.fields);
}

TEST(NewCalendarFile, OfWholeDaysHasDates) {
    Item item = Appointment({{"AllDayEvent", "1"}, {"Start", "2026-03-02 00:00:00"}, {"Duration", "2880"}});
    std::string bytes = Made(item);
    EXPECT_THAT(bytes, HasSubstr("DTSTART;VALUE=DATE:20260302\r\nDTEND;VALUE=DATE:20260304\r\n"));
    EXPECT_THAT(bytes, HasSubstr("X-MICROSOFT-CDO-ALLDAYEVENT:TRUE\r\n"));
    EXPECT_EQ(ReadBack(bytes), item.fields);
}

TEST(NewCalendarFile, OfASeriesHasItsRuleItsDeletedAndItsChangedOccurrences) {
    Item item = Appointment({{"Subject", "Weekly"},
                             {"IsRecurring", "1"},
                             {"RecurrenceType", "1"},
                             {"Interval", "1"},
                             {"DayOfWeekMask", "2"},
                             {"NoEndDate", "0"},
                             {"PatternEndDate", "2026-04-30 00:00:00"},
                             {"ExceptionDates", "2026-03-09 10:00:00\t2026-03-30 10:00:00"},
                             {"ModifiedOccurrences",
                              "Moved~^!^~There~^!^~2026-03-31 11:00:00~^!^~30~^!^~0~^!^~0~^!^~0~^!^~0~^!^~~^!^~~^!^~"
                              "~^!^~2~^!^~"},
                             {"ModifiedOccurrenceDates", "2026-03-30 10:00:00"}});
    std::string bytes = Made(item);
    EXPECT_THAT(bytes, HasSubstr("RRULE:FREQ=WEEKLY;BYDAY=MO;UNTIL=20260430T080000Z\r\n"));
    EXPECT_THAT(bytes, HasSubstr("EXDATE;TZID=Europe/Berlin:20260309T100000\r\n"));
    EXPECT_THAT(bytes, HasSubstr("RECURRENCE-ID;TZID=Europe/Berlin:20260330T100000\r\n"));
    EXPECT_THAT(bytes, HasSubstr("SUMMARY:Moved\r\n"));
    EXPECT_EQ(ReadBack(bytes), item.fields);
}

TEST(NewCalendarFile, OfASeriesThatStartsOffItsPatternStartsAtItsFirstOccurrence) {
    Item item =
        Appointment({{"IsRecurring", "1"}, {"RecurrenceType", "1"}, {"DayOfWeekMask", "8"}, {"NoEndDate", "1"}});
    EXPECT_EQ(ReadBack(Made(item))["Start"], "2026-03-04 10:00:00");
}

TEST(NewCalendarFile, OfATaskIsWholeAndReadBack) {
    Item item = Task({{"Subject", "Letter"},
                      {"StartDate", "2026-03-01 00:00:00"},
                      {"DueDate", "2026-03-05 00:00:00"},
                      {"Importance", "2"},
                      {"Complete", "1"},
                      {"DateCompleted", "2026-03-04 00:00:00"},
                      {"ReminderSet", "1"},
                      {"ReminderTime", "2026-03-05 08:00:00"},
                      {"Sensitivity", "2"},
                      {"Categories", "A"},
                      {"Body", "B"}});
    std::string bytes = Made(item);
    EXPECT_THAT(bytes, HasSubstr("DUE;VALUE=DATE:20260305\r\n"));
    EXPECT_THAT(bytes, HasSubstr("STATUS:COMPLETED\r\nPERCENT-COMPLETE:100\r\nCOMPLETED:20260304T110000Z\r\n"));
    EXPECT_THAT(bytes, HasSubstr("TRIGGER;VALUE=DATE-TIME:20260305T070000Z\r\n"));
    EXPECT_EQ(ReadBack(bytes), item.fields);
}

TEST(NewCalendarFile, OfWhatIsNoItemIsRefused) {
    EXPECT_EQ(Format().Make(Item{ItemType::Appointment, {}}, "u", "").problem.text, "it has no start");
    EXPECT_EQ(Format().Make(Appointment({{"IsRecurring", "1"}, {"RecurrenceType", "4"}}), "u", "").problem.code,
              ProblemCode::NotRepresentable);
    EXPECT_EQ(Format().Make(Task({{"IsRecurring", "1"}, {"RecurrenceType", "0"}}), "u", "").problem.code,
              ProblemCode::NotRepresentable);
}

const std::string kListed =
    "RDATE;TZID=Europe/Berlin:20260303T100000\r\nRDATE;TZID=Europe/Berlin:20260306T100000,20260316T100000\r\n";

struct EditCase {
    const char* what;
    std::string before;  // lines of the event or task
    Fields changes;
    std::string after;
};
const std::string kBox = "X-OWN;P=\"a:b\":kept\r\n";
const std::string kAlarm = "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;RELATED=START:-PT15M\r\nX-A:1\r\nEND:VALARM\r\n";

const EditCase kEventEdits[] = {
    {"a text",
     kTen + "SUMMARY;LANGUAGE=de:Alt\r\n" + kBox,
     {{"Subject", "Neu"}},
     kTen + "SUMMARY;LANGUAGE=de:Neu\r\n" + kBox},
    {"a new text", kTen + kBox, {{"Location", "Here"}}, kTen + kBox + "LOCATION:Here\r\n"},
    {"no text", kTen + "LOCATION:Here\r\n" + kBox, {{"Location", ""}}, kTen + kBox},
    {"one category more",
     kTen + "CATEGORIES:B\\,x,A\r\n",
     {{"Categories", "B;x, A, C"}},
     kTen + "CATEGORIES:B\\,x,A,C\r\n"},
    {"the time in its own zone",
     "DTSTART;TZID=America/New_York:20260302T040000\r\nDURATION:PT1H\r\n",
     {{"Start", "2026-03-02 11:00:00"}},
     "DTSTART;TZID=America/New_York:20260302T050000\r\nDURATION:PT1H\r\n"},
    {"the time in UTC",
     "DTSTART:20260302T090000Z\r\nDTEND:20260302T100000Z\r\n",
     {{"Start", "2026-03-02 11:00:00"}},
     "DTSTART:20260302T100000Z\r\nDTEND:20260302T110000Z\r\n"},
    {"the length by its end",
     "DTSTART:20260302T090000Z\r\nDTEND;TZID=Europe/Berlin:20260302T110000\r\n",
     {{"Duration", "90"}},
     "DTSTART:20260302T090000Z\r\nDTEND;TZID=Europe/Berlin:20260302T113000\r\n"},
    {"the length by its duration",
     "DTSTART:20260302T090000Z\r\nDURATION:PT1H\r\n",
     {{"Duration", "90"}},
     "DTSTART:20260302T090000Z\r\nDURATION:PT1H30M\r\n"},
    {"from days to a time",
     "DTSTART;VALUE=DATE:20260302\r\nDTEND;VALUE=DATE:20260303\r\nTRANSP:OPAQUE\r\n",
     {{"AllDayEvent", "0"}, {"Start", "2026-03-02 09:00:00"}, {"Duration", "30"}},
     ""},
    {"from a time to days",
     "DTSTART:20260302T090000Z\r\nDTEND:20260302T100000Z\r\n",
     {{"AllDayEvent", "1"}, {"Start", "2026-03-03 00:00:00"}, {"Duration", "1440"}},
     "DTSTART;VALUE=DATE:20260303\r\nDTEND;VALUE=DATE:20260304\r\nX-MICROSOFT-CDO-ALLDAYEVENT:TRUE\r\n"},
    {"a day of days",
     "DTSTART;VALUE=DATE:20260302\r\n" + kBox,
     {{"Start", "2026-03-05 00:00:00"}},
     "DTSTART;VALUE=DATE:20260305\r\n" + kBox},
    {"the class", kTen + "CLASS:PUBLIC\r\n", {{"Sensitivity", "2"}}, kTen + "CLASS:PRIVATE\r\n"},
    {"free",
     kTen + "TRANSP:OPAQUE\r\n",
     {{"BusyStatus", "0"}},
     kTen + "TRANSP:TRANSPARENT\r\nX-MICROSOFT-CDO-BUSYSTATUS:FREE\r\n"},
    {"tentative",
     kTen,
     {{"BusyStatus", "1"}},
     kTen + "TRANSP:OPAQUE\r\nX-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE\r\nSTATUS:TENTATIVE\r\n"},
    {"busy again",
     kTen + "TRANSP:TRANSPARENT\r\nSTATUS:TENTATIVE\r\n",
     {{"BusyStatus", "2"}},
     kTen + "TRANSP:OPAQUE\r\nSTATUS:CONFIRMED\r\nX-MICROSOFT-CDO-BUSYSTATUS:BUSY\r\n"},
    {"out of office", kTen, {{"BusyStatus", "3"}}, kTen + "TRANSP:OPAQUE\r\nX-MICROSOFT-CDO-BUSYSTATUS:OOF\r\n"},
    {"the reminder's time",
     kTen + kAlarm,
     {{"ReminderMinutesBeforeStart", "30"}},
     kTen + "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT30M\r\nX-A:1\r\nEND:VALARM\r\n"},
    {"no reminder",
     kTen + kAlarm + "BEGIN:VALARM\r\nACTION:EMAIL\r\nTRIGGER:-P1D\r\nEND:VALARM\r\n",
     {{"ReminderSet", "0"}, {"ReminderMinutesBeforeStart", ""}},
     kTen + "BEGIN:VALARM\r\nACTION:EMAIL\r\nTRIGGER:-P1D\r\nEND:VALARM\r\n"},
    {"a reminder",
     kTen + "SUMMARY:S\r\n",
     {{"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "0"}},
     kTen + "SUMMARY:S\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:PT0M\r\nDESCRIPTION:S\r\nEND:VALARM\r\n"},
    {"one attendee for another",
     kTen + "ATTENDEE;CN=A;PARTSTAT=ACCEPTED:mailto:a@x\r\nATTENDEE:mailto:b@x\r\n",
     {{"Recipients", "A;a@x;C;c@x"}},
     kTen + "ATTENDEE;CN=A;PARTSTAT=ACCEPTED:mailto:a@x\r\nATTENDEE;CN=\"C\":mailto:c@x\r\n"},
    {"a deleted occurrence",
     kTen + "RRULE:FREQ=WEEKLY\r\n" + kBox,
     {{"ExceptionDates", "2026-03-09 10:00:00"}},
     kTen + "RRULE:FREQ=WEEKLY\r\nEXDATE;TZID=Europe/Berlin:20260309T100000\r\n" + kBox},
    {"a deleted occurrence back",
     kTen + "RRULE:FREQ=WEEKLY\r\nEXDATE:20260309T090000Z,20260316T090000Z\r\n",
     {{"ExceptionDates", "2026-03-16 10:00:00"}},
     kTen + "RRULE:FREQ=WEEKLY\r\nEXDATE:20260316T090000Z\r\n"},
    {"the end of a series",
     kTen + "RRULE:FREQ=WEEKLY;COUNT=5;WKST=MO\r\n",
     {{"PatternEndDate", "2026-03-16 00:00:00"}},
     kTen + "RRULE:FREQ=WEEKLY;WKST=MO;UNTIL=20260316T090000Z\r\n"},
    {"no end of a series",
     kTen + "RRULE:FREQ=WEEKLY;COUNT=5\r\n",
     {{"NoEndDate", "1"}, {"PatternEndDate", ""}},
     kTen + "RRULE:FREQ=WEEKLY\r\n"},
    {"a text of listed dates", kTen + kListed, {{"Location", "Here"}}, kTen + kListed + "LOCATION:Here\r\n"},
    {"one of listed dates deleted",
     kTen + kListed,
     {{"ExceptionDates", "2026-03-06 10:00:00\t2026-03-09 10:00:00\t2026-03-10 10:00:00\t2026-03-13 10:00:00"}},
     kTen + "EXDATE;TZID=Europe/Berlin:20260306T100000\r\n" + kListed},
    {"a rule for listed dates",
     kTen + kListed,
     {{"NoEndDate", "1"}, {"PatternEndDate", ""}},
     kTen + "RRULE:FREQ=WEEKLY;BYDAY=MO,TU,FR\r\nEXDATE;TZID=Europe/Berlin:20260309T100000\r\n"
            "EXDATE;TZID=Europe/Berlin:20260310T100000\r\nEXDATE;TZID=Europe/Berlin:20260313T100000\r\n"},
    {"no listed dates any more",
     kTen + kListed,
     {{"IsRecurring", "0"},
      {"RecurrenceType", ""},
      {"Interval", ""},
      {"NoEndDate", ""},
      {"PatternEndDate", ""},
      {"ExceptionDates", ""}},
     kTen},
    {"another rule",
     kTen + "RRULE:FREQ=WEEKLY\r\n",
     {{"RecurrenceType", "2"}, {"DayOfMonth", "2"}, {"DayOfWeekMask", ""}},
     kTen + "RRULE:FREQ=MONTHLY;BYMONTHDAY=2\r\n"},
    {"a series of one",
     kTen + kBox,
     {{"IsRecurring", "1"}, {"RecurrenceType", "0"}, {"Interval", "1"}, {"NoEndDate", "1"}},
     kTen + "RRULE:FREQ=DAILY\r\n" + kBox},
    {"one of a series",
     kTen + "RRULE:FREQ=WEEKLY\r\nEXDATE:20260309T090000Z\r\n" + kBox,
     {{"IsRecurring", "0"},
      {"RecurrenceType", ""},
      {"Interval", ""},
      {"DayOfWeekMask", ""},
      {"NoEndDate", ""},
      {"ExceptionDates", ""}},
     kTen + kBox},
    {"a series at another time",
     kTen + "RRULE:FREQ=DAILY;UNTIL=20260310T090000Z\r\nEXDATE:20260303T090000Z\r\n",
     {{"Start", "2026-03-02 12:00:00"}, {"ExceptionDates", "2026-03-03 12:00:00"}},
     "DTSTART;TZID=Europe/Berlin:20260302T120000\r\nDTEND;TZID=Europe/Berlin:20260302T130000\r\n"
     "RRULE:FREQ=DAILY;UNTIL=20260310T110000Z\r\nEXDATE;TZID=Europe/Berlin:20260303T120000\r\n"},
    {"its times and stamps",
     kTen + "SEQUENCE:3\r\nLAST-MODIFIED:20200101T000000Z\r\nDTSTAMP:20200101T000000Z\r\n",
     {{"Duration", "30"}},
     "DTSTART;TZID=Europe/Berlin:20260302T100000\r\nDTEND;TZID=Europe/Berlin:20260302T103000\r\n"
     "SEQUENCE:4\r\nLAST-MODIFIED:20260302T100000Z\r\nDTSTAMP:20260302T100000Z\r\n"},
};

const EditCase kTaskEdits[] = {
    {"done",
     "STATUS:IN-PROCESS\r\nPERCENT-COMPLETE:50\r\n" + kBox,
     {{"Complete", "1"}, {"DateCompleted", "2026-03-02 00:00:00"}},
     "STATUS:COMPLETED\r\nPERCENT-COMPLETE:100\r\n" + kBox + "COMPLETED:20260302T110000Z\r\n"},
    {"not done",
     "STATUS:COMPLETED\r\nPERCENT-COMPLETE:100\r\nCOMPLETED:20260302T110000Z\r\n",
     {{"Complete", "0"}, {"DateCompleted", ""}},
     "STATUS:NEEDS-ACTION\r\nPERCENT-COMPLETE:0\r\n"},
    {"the importance", "PRIORITY:9\r\n", {{"Importance", "2"}}, "PRIORITY:1\r\n"},
    {"the due date",
     "DUE;VALUE=DATE:20260305\r\n",
     {{"DueDate", "2026-03-06 00:00:00"}},
     "DUE;VALUE=DATE:20260306\r\n"},
    {"the due date of a time of day",
     "DUE;TZID=Europe/Berlin:20260305T170000\r\n",
     {{"DueDate", "2026-03-06 00:00:00"}},
     "DUE;TZID=Europe/Berlin:20260306T170000\r\n"},
    {"no due date", "DUE;VALUE=DATE:20260305\r\n" + kBox, {{"DueDate", ""}}, kBox},
    {"a due date for a duration",
     "DTSTART;VALUE=DATE:20260301\r\nDURATION:P2D\r\n",
     {{"DueDate", "2026-03-06 00:00:00"}},
     "DTSTART;VALUE=DATE:20260301\r\nDUE;VALUE=DATE:20260306\r\n"},
    {"a reminder of which the time is not told",
     "DUE;VALUE=DATE:20260305\r\nSUMMARY:S\r\n",
     {{"ReminderSet", "1"}},
     "DUE;VALUE=DATE:20260305\r\nSUMMARY:S\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\n"
     "TRIGGER;VALUE=DATE-TIME:20260305T070000Z\r\nDESCRIPTION:S\r\nEND:VALARM\r\n"},
    {"no reminder",
     "DTSTART;VALUE=DATE:20260305\r\n" + kAlarm,
     {{"ReminderSet", "0"}, {"ReminderTime", ""}},
     "DTSTART;VALUE=DATE:20260305\r\n"},
    {"a rule",
     "DUE;VALUE=DATE:20260305\r\n",
     {{"IsRecurring", "1"},
      {"RecurrenceType", "0"},
      {"Interval", "2"},
      {"NoEndDate", "0"},
      {"PatternEndDate", "2026-03-31 00:00:00"}},
     "DUE;VALUE=DATE:20260305\r\nRRULE:FREQ=DAILY;INTERVAL=2;UNTIL=20260331\r\n"},
};

TEST(CalendarEdit, OfAnEventChangesTheLinesOfItsFields) {
    for (const auto& row : kEventEdits) {
        SCOPED_TRACE(row.what);
        std::string bytes = Edited(File("VEVENT", row.before), row.changes);
        if (!row.after.empty()) {
            EXPECT_EQ(bytes, File("VEVENT", row.after));
        }
    }
}

TEST(CalendarEdit, OfATaskChangesTheLinesOfItsFields) {
    for (const auto& row : kTaskEdits) {
        SCOPED_TRACE(row.what);
        EXPECT_EQ(Edited(File("VTODO", row.before), row.changes), File("VTODO", row.after));
    }
}

const std::string kSeries = kTen + "SUMMARY:S\r\nRRULE:FREQ=WEEKLY\r\n";
const std::string kOverride =
    "BEGIN:VEVENT\r\nUID:u\r\nRECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\n"
    "SUMMARY:Moved\r\nX-OWN:1\r\nDTSTART;TZID=Europe/Berlin:20260309T120000\r\nEND:VEVENT\r\n";

TEST(CalendarEdit, KeepsAnOverrideWhoseDateTheDeviceListsAsDeleted) {
    std::string bytes = File("VEVENT", kSeries + "END:VEVENT\r\n" + kOverride + "BEGIN:VALARM\r\nEND:VALARM\r\n");
    bytes = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:u\r\n" + kSeries + "END:VEVENT\r\n" + kOverride +
            "END:VCALENDAR\r\n";
    Item wanted = Format().Read(bytes, "a.ics").item;
    wanted.fields.erase("ModifiedOccurrences");
    wanted.fields.erase("ModifiedOccurrenceDates");
    EXPECT_EQ(Format().Edit(bytes, wanted).bytes, bytes);
    wanted.fields["ExceptionDates"] += "\t2026-03-16 10:00:00";
    std::string changed = Format().Edit(bytes, wanted).bytes;
    EXPECT_THAT(changed, HasSubstr(kOverride));
    EXPECT_THAT(changed, HasSubstr("EXDATE;TZID=Europe/Berlin:20260316T100000\r\n"));
    wanted.fields.erase("ExceptionDates");
    EXPECT_THAT(Format().Edit(bytes, wanted).bytes, Not(HasSubstr("RECURRENCE-ID")));
}

TEST(CalendarEdit, PutsInAndChangesTheOccurrencesThatADeviceChanged) {
    std::string bytes = File("VEVENT", kSeries);
    auto serialised = [](const std::string& subject) {
        return subject + "~^!^~~^!^~2026-03-10 11:00:00~^!^~30~^!^~0~^!^~0~^!^~0~^!^~0~^!^~~^!^~~^!^~~^!^~2~^!^~";
    };
    bytes = Edited(bytes, {{"ExceptionDates", "2026-03-09 10:00:00"},
                           {"ModifiedOccurrences", serialised("Moved")},
                           {"ModifiedOccurrenceDates", "2026-03-09 10:00:00"}});
    EXPECT_THAT(bytes, HasSubstr("RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\n"));
    EXPECT_THAT(bytes, Not(HasSubstr("EXDATE")));
    bytes = Edited(bytes, {{"ModifiedOccurrences", serialised("Again")}});
    EXPECT_THAT(bytes, HasSubstr("SUMMARY:Again\r\n"));
    EXPECT_THAT(bytes, Not(HasSubstr("Moved")));
}

TEST(CalendarEdit, FindsTheDatesOfChangedOccurrencesThatComeWithoutThem) {
    auto serialised = [](const std::string& subject, const std::string& start) {
        return subject + "~^!^~~^!^~" + start + "~^!^~30~^!^~0~^!^~0~^!^~0~^!^~0~^!^~~^!^~~^!^~~^!^~2~^!^~";
    };
    Item wanted = Format().Read(File("VEVENT", kSeries), "a.ics").item;
    wanted.fields["ExceptionDates"] = "2026-03-09 10:00:00\t2026-03-16 10:00:00";
    wanted.fields["ModifiedOccurrences"] =
        serialised("Elsewhere", "2026-03-11 10:00:00") + serialised("Later", "2026-03-16 14:00:00");
    Fields back = ReadBack(Format().Edit(File("VEVENT", kSeries), wanted).bytes);
    EXPECT_EQ(back["ModifiedOccurrenceDates"], "2026-03-09 10:00:00\t2026-03-16 10:00:00");
    EXPECT_EQ(back["ModifiedOccurrences"], wanted.fields["ModifiedOccurrences"]);
}

TEST(CalendarEdit, OfASeriesInUtcGivesItTheZoneOfTheDeviceWithItsRule) {
    std::string bytes = Edited(
        File("VEVENT", "DTSTART:20260302T090000Z\r\nDTEND:20260302T100000Z\r\n"),
        {{"IsRecurring", "1"}, {"RecurrenceType", "1"}, {"Interval", "1"}, {"DayOfWeekMask", "2"}, {"NoEndDate", "1"}});
    EXPECT_THAT(bytes, HasSubstr("DTSTART;TZID=Europe/Berlin:20260302T100000\r\n"));
    EXPECT_THAT(bytes, HasSubstr("BEGIN:VTIMEZONE\r\nTZID:Europe/Berlin\r\n"));
}

TEST(CalendarEdit, OfWhatCannotBeReadIsRefused) {
    Item item = Appointment({});
    EXPECT_TRUE(Format().Edit("junk", item).problem);
    EXPECT_TRUE(Format().Edit(File("VEVENT", kTen + "RRULE:FREQ=HOURLY\r\n"), item).problem);
}

TEST(CalendarEdit, AChangedOccurrenceWithoutAStartStaysAsItIs) {
    const std::string bytes = File("VEVENT", kTen +
                                                 "RRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                                                 "RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\nSUMMARY:S\r\n");
    FileReading reading = Format().Read(bytes, "a.ics");
    ASSERT_FALSE(reading.problem) << reading.problem.text;
    EXPECT_EQ(Format().Edit(bytes, reading.item).bytes, bytes);
}

// --- The older version ---

struct OldRuleCase {
    const char* what;
    Fields changes;
    std::string rule;  // "" where it cannot say so
};
const OldRuleCase kOldRules[] = {
    {"every other week", {{"Interval", "2"}}, "W2 MO WE 20260401T100000"},
    {"without an end", {{"NoEndDate", "1"}, {"PatternEndDate", ""}}, "W1 MO WE #0"},
    {"another end", {{"PatternEndDate", "2026-03-18 00:00:00"}}, "W1 MO WE 20260318T100000"},
    {"each day", {{"RecurrenceType", "0"}, {"DayOfWeekMask", ""}}, "D1 20260401T100000"},
    {"each working day", {{"RecurrenceType", "0"}, {"DayOfWeekMask", "62"}}, "W1 MO TU WE TH FR 20260401T100000"},
    {"a day of the month",
     {{"RecurrenceType", "2"}, {"DayOfMonth", "2"}, {"DayOfWeekMask", ""}},
     "MD1 2 20260401T100000"},
    {"the first Monday",
     {{"RecurrenceType", "3"}, {"Instance", "1"}, {"DayOfWeekMask", "2"}},
     "MP1 1+ MO 20260401T100000"},
    {"a day of the year",
     {{"RecurrenceType", "5"}, {"DayOfMonth", "2"}, {"MonthOfYear", "3"}, {"DayOfWeekMask", ""}},
     "YM1 3 20260401T100000"},
    {"the first Monday of March",
     {{"RecurrenceType", "6"}, {"Instance", "1"}, {"MonthOfYear", "3"}, {"DayOfWeekMask", "2"}},
     ""},
    {"the first working day", {{"RecurrenceType", "3"}, {"Instance", "1"}, {"DayOfWeekMask", "62"}}, ""},
    {"the 30th", {{"RecurrenceType", "2"}, {"DayOfMonth", "30"}, {"DayOfWeekMask", ""}}, ""},
};

TEST(CalendarEdit, OfTheOlderVersionChangesTheRuleInItsWords) {
    const std::string file =
        "BEGIN:VCALENDAR\r\nVERSION:1.0\r\nBEGIN:VEVENT\r\nUID:u\r\nDTSTART:20260302T100000\r\n"
        "DTEND:20260302T110000\r\nRRULE:W1 MO WE 20260401T100000\r\nSUMMARY:S\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
    for (const auto& row : kOldRules) {
        FileReading reading = Format().Read(file, "a.ics");
        ASSERT_FALSE(reading.problem) << reading.problem.text;
        for (const auto& [name, value] : row.changes) reading.item.fields[name] = value;
        std::erase_if(reading.item.fields, [](const auto& field) { return field.second.empty(); });
        ItemFormat::Writing writing = Format().Edit(file, reading.item);
        if (row.rule.empty()) {
            EXPECT_EQ(writing.problem.code, ProblemCode::NotRepresentable) << row.what;
            continue;
        }
        std::string wanted = file;
        wanted.replace(wanted.find("W1 MO WE 20260401T100000"), 24, row.rule);
        EXPECT_EQ(writing.bytes, wanted) << row.what;
        Fields back = ReadBack(writing.bytes);
        for (const auto& [name, value] : row.changes) {
            const bool isSaidOtherwise = name == "RecurrenceType" || name == "PatternEndDate" || value.empty();
            EXPECT_TRUE(isSaidOtherwise || back[name] == value) << row.what << name << back[name];
        }
    }
}

TEST(CalendarEdit, OfTheOlderVersionDeletesOccurrencesInItsWords) {
    const std::string file =
        "BEGIN:VCALENDAR\r\nVERSION:1.0\r\nBEGIN:VEVENT\r\nUID:u\r\nDTSTART:20260302T100000\r\n"
        "DTEND:20260302T110000\r\nRRULE:W1 MO #9\r\nEXDATE:20260309T100000;20260316T100000\r\nEND:VEVENT\r\n"
        "END:VCALENDAR\r\n";
    FileReading reading = Format().Read(file, "a.ics");
    ASSERT_FALSE(reading.problem) << reading.problem.text;
    reading.item.fields["ExceptionDates"] += "\t2026-03-23 10:00:00";
    const std::string edited = Format().Edit(file, reading.item).bytes;
    EXPECT_EQ(ReadBack(edited)["ExceptionDates"], reading.item.fields["ExceptionDates"]);
    reading.item.fields["ExceptionDates"] = "2026-03-16 10:00:00";
    EXPECT_THAT(Format().Edit(file, reading.item).bytes, HasSubstr("EXDATE:20260316T100000\r\n"));
}

// --- Random items ---

std::string RandomText() {
    std::string text =
        *rc::gen::container<std::string>(rc::gen::element('a', 'B', ' ', ',', '\\', '"', ':', '\n', 'x', '=', '^'));
    return text.find_first_not_of(' ') == std::string::npos ? "" : text;
}

Item RandomAppointment() {
    Fields fields;
    for (const char* name : {"Subject", "Location", "Body"}) fields[name] = RandomText();
    fields["Categories"] = *rc::gen::element<std::string>("", "A", "A, B", "Long name, C");
    fields["Recipients"] = *rc::gen::element<std::string>("", "Ada;ada@x.org", "A b;c@d;E;f@g");
    fields["Sensitivity"] = *rc::gen::element<std::string>("0", "1", "2", "3");
    fields["BusyStatus"] = *rc::gen::element<std::string>("0", "1", "2", "3");
    const bool isAllDay = *rc::gen::arbitrary<bool>();
    const bool recurs = *rc::gen::arbitrary<bool>();  // maybe daily: neither it nor its reminder may be longer
    const std::int64_t day = *rc::gen::inRange(3653, 24000);
    std::int64_t start = day * 86400;
    fields["AllDayEvent"] = isAllDay ? "1" : "0";
    fields["Duration"] =
        std::to_string(isAllDay ? 1440 * *rc::gen::inRange(1, recurs ? 2 : 4) : *rc::gen::inRange(0, 300));
    if (!isAllDay) start += *rc::gen::inRange(4 * 60, 20 * 60) * 60;  // no hour that a clock skips
    if (*rc::gen::arbitrary<bool>()) {
        fields["ReminderSet"] = "1";
        fields["ReminderMinutesBeforeStart"] = std::to_string(*rc::gen::inRange(0, recurs ? 1440 : 3000));
    }
    if (recurs) {
        fields["IsRecurring"] = "1";
        fields["RecurrenceType"] = "0";
        fields["Interval"] = std::to_string(*rc::gen::inRange(1, 5));
        if (*rc::gen::arbitrary<bool>()) {
            fields["RecurrenceType"] = "1";
            fields["DayOfWeekMask"] = std::to_string(*rc::gen::inRange(0, 128) | 1 << ((day + 4) % 7));
        }
        fields["NoEndDate"] = "1";
        if (*rc::gen::arbitrary<bool>()) {
            fields["NoEndDate"] = "0";
            fields["PatternEndDate"] = DayText(start + *rc::gen::inRange(8, 900) * 86400) + " 00:00:00";
        }
        if (*rc::gen::arbitrary<bool>()) fields["ExceptionDates"] = MomentText(start);
    }
    fields["Start"] = MomentText(start);
    Item item{ItemType::Appointment, fields};
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
    AddDefaults(item);
    DropUnusedRecurrence(item);
    return item;
}

Item RandomTask() {
    Fields fields;
    for (const char* name : {"Subject", "Body"}) fields[name] = RandomText();
    fields["Importance"] = *rc::gen::element<std::string>("0", "1", "2");
    fields["Sensitivity"] = *rc::gen::element<std::string>("0", "2");
    const std::int64_t day = *rc::gen::inRange(3653, 24000);
    if (*rc::gen::arbitrary<bool>()) fields["StartDate"] = MomentText(day * 86400);
    if (*rc::gen::arbitrary<bool>()) fields["DueDate"] = MomentText((day + 2) * 86400);
    if (*rc::gen::arbitrary<bool>()) {
        fields["Complete"] = "1";
        fields["DateCompleted"] = MomentText((day + 1) * 86400);
    }
    if (*rc::gen::arbitrary<bool>()) {
        fields["ReminderSet"] = "1";
        fields["ReminderTime"] = MomentText(day * 86400 + 8 * 3600);
    }
    Item item{ItemType::Task, fields};
    std::erase_if(item.fields, [](const auto& field) { return field.second.empty(); });
    AddDefaults(item);
    return item;
}

TEST(RandomCalendarItems, AreReadAsTheyWereWritten) {
    EXPECT_TRUE(rc::check("a new file says its item, and an edit makes one of another", [] {
        const bool isTask = *rc::gen::element(true, false, false);
        Item item = isTask ? RandomTask() : RandomAppointment();
        Item other = isTask ? RandomTask() : RandomAppointment();
        const CalendarFormat format = Format();
        ItemFormat::Writing made = format.Make(item, "u", "2026-03-02T10:00:00Z");
        RC_ASSERT(!made.problem);
        RC_ASSERT(WrongIn(made.bytes) == "");
        FileReading reading = format.Read(made.bytes, "a.ics");
        RC_ASSERT(reading.problem.text == "");
        RC_ASSERT(reading.item.fields == item.fields);
        RC_ASSERT(format.Edit(made.bytes, item).bytes == made.bytes);
        ItemFormat::Writing edited = format.Edit(made.bytes, other);
        RC_ASSERT(!edited.problem);
        RC_ASSERT(WrongIn(edited.bytes) == "");
        FileReading again = format.Read(edited.bytes, "a.ics");
        RC_ASSERT(again.problem.text == "");
        RC_LOG(edited.bytes);
        RC_ASSERT(again.item.fields == other.fields);
    }));
}

TEST(RealCalendarItems, StayByteForByteWhereNothingDiffersAndElseBesideOneLine) {
    std::size_t edited = 0;
    for (const auto& path : kez::tests::RealFiles(".ics")) {
        std::string whole = kez::tests::ReadFile(path);
        if (whole.size() > 400000) continue;
        for (const std::string& bytes : SplitCalendar(whole)) {
            FileReading reading = Format().Read(bytes, "a.ics");
            if (reading.problem) continue;
            EXPECT_EQ(Format().Edit(bytes, reading.item).bytes, bytes) << path;
            Item wanted = reading.item;
            wanted.fields["Subject"] = "Changed for a test";
            Item back = Format().Read(Format().Edit(bytes, wanted).bytes, "a.ics").item;
            EXPECT_EQ(back.fields, wanted.fields) << path;
            edited++;
        }
    }
    EXPECT_GE(edited, 8U);
}

}  // namespace
}  // namespace kez::partner
