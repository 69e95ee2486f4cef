// Calendar files as items: what is read from events and tasks as they are found, what is refused and what is lost.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "partner/calendar_format.h"
#include "partner/calendar_item.h"
#include "partner/item_files.h"
#include "partner/packet_codec.h"
#include "partner/record_fields.h"
#include "partner/time_zones.h"
#include "support/real_files.h"

namespace kez::partner {
namespace {

using sync::Fields;
using sync::Item;
using sync::ItemType;
using sync::ProblemCode;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::string File(const std::string& kind, const std::string& lines, const std::string& version = "2.0") {
    return "BEGIN:VCALENDAR\r\nVERSION:" + version + "\r\nBEGIN:" + kind + "\r\nUID:u\r\n" + lines + "END:" + kind +
           "\r\nEND:VCALENDAR\r\n";
}

FileReading Read(const std::string& bytes, const std::string& zone = "Europe/Berlin") {
    return CalendarFormat(zone).Read(bytes, "a.ics");
}

struct ReadingCase {
    const char* what;
    std::string lines;
    Fields fields;
};
const std::string kTen = "DTSTART;TZID=Europe/Berlin:20260302T100000\r\n";

const ReadingCase kEvents[] = {
    {"texts",
     kTen + "SUMMARY:A\\, b\r\nLOCATION:Room 12\r\nDESCRIPTION:One\\nTwo\r\nCATEGORIES:X,Y\r\nCATEGORIES:Z\r\n",
     {{"Subject", "A, b"}, {"Location", "Room 12"}, {"Body", "One\nTwo"}, {"Categories", "X, Y, Z"}}},
    {"an end", kTen + "DTEND;TZID=Europe/Berlin:20260302T113000\r\n", {{"Duration", "90"}}},
    {"a duration", kTen + "DURATION:PT1H30M\r\n", {{"Duration", "90"}}},
    {"neither", kTen, {{"Duration", "0"}, {"AllDayEvent", "0"}}},
    {"UTC",
     "DTSTART:20260302T090000Z\r\nDTEND:20260302T100000Z\r\n",
     {{"Start", "2026-03-02 10:00:00"}, {"Duration", "60"}}},
    {"another zone", "DTSTART;TZID=America/New_York:20260302T040000\r\n", {{"Start", "2026-03-02 10:00:00"}}},
    {"a zone by another name",
     "DTSTART;TZID=Eastern Standard Time:20260302T040000\r\n",
     {{"Start", "2026-03-02 10:00:00"}}},
    {"a zone with a prefix",
     "DTSTART;TZID=/x.org/2005/America/New_York:20260302T040000\r\n",
     {{"Start", "2026-03-02 10:00:00"}}},
    {"floating", "DTSTART:20260302T100000\r\n", {{"Start", "2026-03-02 10:00:00"}}},
    {"days",
     "DTSTART;VALUE=DATE:20260302\r\nDTEND;VALUE=DATE:20260304\r\n",
     {{"Start", "2026-03-02 00:00:00"}, {"Duration", "2880"}, {"AllDayEvent", "1"}}},
    {"one day", "DTSTART;VALUE=DATE:20260302\r\n", {{"Duration", "1440"}, {"AllDayEvent", "1"}}},
    {"days by duration", "DTSTART;VALUE=DATE:20260302\r\nDURATION:P3D\r\n", {{"Duration", "4320"}}},
    {"midnight to midnight that says so",
     "DTSTART:20260302T000000\r\nDTEND:20260303T000000\r\nX-MICROSOFT-CDO-ALLDAYEVENT:TRUE\r\n",
     {{"AllDayEvent", "1"}, {"Duration", "1440"}}},
    {"midnight to midnight",
     "DTSTART:20260302T000000\r\nDTEND:20260303T000000\r\n",
     {{"AllDayEvent", "0"}, {"Duration", "1440"}}},
    {"free", kTen + "TRANSP:TRANSPARENT\r\n", {{"BusyStatus", "0"}}},
    {"busy", kTen + "TRANSP:OPAQUE\r\n", {{"BusyStatus", "2"}}},
    {"busy without a word", kTen, {{"BusyStatus", "2"}}},
    {"the own word of free", kTen + "TRANSP:OPAQUE\r\nX-MICROSOFT-CDO-BUSYSTATUS:FREE\r\n", {{"BusyStatus", "0"}}},
    {"tentative", kTen + "X-MICROSOFT-CDO-BUSYSTATUS:TENTATIVE\r\n", {{"BusyStatus", "1"}}},
    {"the own word of busy", kTen + "X-MICROSOFT-CDO-BUSYSTATUS:BUSY\r\n", {{"BusyStatus", "2"}}},
    {"out of office", kTen + "X-MICROSOFT-CDO-BUSYSTATUS:OOF\r\n", {{"BusyStatus", "3"}}},
    {"public", kTen + "CLASS:PUBLIC\r\n", {{"Sensitivity", "0"}}},
    {"personal", kTen + "CLASS:X-PERSONAL\r\n", {{"Sensitivity", "1"}}},
    {"private", kTen + "CLASS:PRIVATE\r\n", {{"Sensitivity", "2"}}},
    {"confidential", kTen + "CLASS:CONFIDENTIAL\r\n", {{"Sensitivity", "3"}}},
    {"an unknown class", kTen + "CLASS:X-SECRET\r\n", {{"Sensitivity", "2"}}},
    {"an alarm",
     kTen + "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "15"}}},
    {"an alarm before the end",
     kTen + "DURATION:PT1H\r\nBEGIN:VALARM\r\nACTION:AUDIO\r\nTRIGGER;RELATED=END:-PT75M\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "15"}}},
    {"an alarm at a moment",
     kTen + "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;VALUE=DATE-TIME:20260302T083000Z\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "30"}}},
    {"an alarm after the start",
     kTen + "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:PT5M\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderMinutesBeforeStart", "0"}}},
    {"an alarm by mail",
     kTen + "BEGIN:VALARM\r\nACTION:EMAIL\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\n",
     {{"ReminderSet", "0"}}},
    {"attendees",
     kTen + "ATTENDEE;CN=\"Ada; B\";ROLE=REQ-PARTICIPANT:mailto:ada@x.org\r\nATTENDEE:MAILTO:b@x.org\r\n",
     {{"Recipients", "Ada, B;ada@x.org;b@x.org;b@x.org"}}},
    {"a deleted occurrence",
     kTen + "RRULE:FREQ=DAILY\r\nEXDATE;TZID=Europe/Berlin:20260303T100000\r\n",
     {{"IsRecurring", "1"}, {"RecurrenceType", "0"}, {"NoEndDate", "1"}, {"ExceptionDates", "2026-03-03 10:00:00"}}},
    {"deleted days in one line",
     "DTSTART;VALUE=DATE:20260302\r\nRRULE:FREQ=WEEKLY;UNTIL=20260401\r\nEXDATE;VALUE=DATE:20260309,20260316\r\n",
     {{"RecurrenceType", "1"},
      {"DayOfWeekMask", "2"},
      {"NoEndDate", "0"},
      {"PatternEndDate", "2026-04-01 00:00:00"},
      {"ExceptionDates", "2026-03-09 00:00:00\t2026-03-16 00:00:00"}}},
    {"dates that the pattern has and the rule has not",
     "DTSTART;VALUE=DATE:20260331\r\nRRULE:FREQ=MONTHLY;COUNT=2\r\n",
     {{"ExceptionDates", "2026-04-30 00:00:00"}, {"PatternEndDate", "2026-05-31 00:00:00"}}},
};

class Event : public ::testing::TestWithParam<ReadingCase> {};

TEST_P(Event, IsReadAsFields) {
    FileReading reading = Read(File("VEVENT", GetParam().lines));
    ASSERT_FALSE(reading.problem) << reading.problem.text;
    EXPECT_EQ(reading.item.type, ItemType::Appointment);
    EXPECT_EQ(reading.uid, "u");
    for (const auto& [name, value] : GetParam().fields) EXPECT_EQ(reading.item.fields[name], value) << name;
}
INSTANTIATE_TEST_SUITE_P(Rows, Event, ::testing::ValuesIn(kEvents));

const ReadingCase kTasks[] = {
    {"days",
     "DTSTART;VALUE=DATE:20260302\r\nDUE;VALUE=DATE:20260305\r\nSUMMARY:S\r\n",
     {{"StartDate", "2026-03-02 00:00:00"}, {"DueDate", "2026-03-05 00:00:00"}, {"Subject", "S"}}},
    {"moments", "DUE:20260304T230000Z\r\n", {{"DueDate", "2026-03-05 00:00:00"}, {"StartDate", ""}}},
    {"a duration", "DTSTART;VALUE=DATE:20260302\r\nDURATION:P2D\r\n", {{"DueDate", "2026-03-04 00:00:00"}}},
    {"no priority", "", {{"Importance", "1"}, {"Complete", "0"}}},
    {"priority 0", "PRIORITY:0\r\n", {{"Importance", "1"}}},
    {"priority 1", "PRIORITY:1\r\n", {{"Importance", "2"}}},
    {"priority 4", "PRIORITY:4\r\n", {{"Importance", "2"}}},
    {"priority 5", "PRIORITY:5\r\n", {{"Importance", "1"}}},
    {"priority 6", "PRIORITY:6\r\n", {{"Importance", "0"}}},
    {"priority 9", "PRIORITY:9\r\n", {{"Importance", "0"}}},
    {"completed",
     "STATUS:COMPLETED\r\nCOMPLETED:20260302T230000Z\r\n",
     {{"Complete", "1"}, {"DateCompleted", "2026-03-03 00:00:00"}}},
    {"all of it", "PERCENT-COMPLETE:100\r\n", {{"Complete", "1"}}},
    {"only a date of completion", "COMPLETED:20260302T110000Z\r\n", {{"Complete", "1"}}},
    {"half of it", "PERCENT-COMPLETE:50\r\nSTATUS:IN-PROCESS\r\n", {{"Complete", "0"}}},
    {"cancelled", "STATUS:CANCELLED\r\n", {{"Complete", "0"}}},
    {"an alarm before it is due",
     "DUE;VALUE=DATE:20260305\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;RELATED=END:-PT16H\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderTime", "2026-03-04 08:00:00"}}},
    {"an alarm at a moment",
     "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER;VALUE=DATE-TIME:20260304T070000Z\r\nEND:VALARM\r\n",
     {{"ReminderSet", "1"}, {"ReminderTime", "2026-03-04 08:00:00"}}},
    {"a rule from its start",
     "DTSTART;VALUE=DATE:20260302\r\nRRULE:FREQ=WEEKLY\r\n",
     {{"IsRecurring", "1"}, {"DayOfWeekMask", "2"}}},
    {"a rule from when it is due", "DUE;VALUE=DATE:20260303\r\nRRULE:FREQ=WEEKLY\r\n", {{"DayOfWeekMask", "4"}}},
};

class TaskFile : public ::testing::TestWithParam<ReadingCase> {};

TEST_P(TaskFile, IsReadAsFields) {
    FileReading reading = Read(File("VTODO", GetParam().lines));
    ASSERT_FALSE(reading.problem) << reading.problem.text;
    EXPECT_EQ(reading.item.type, ItemType::Task);
    for (const auto& [name, value] : GetParam().fields) EXPECT_EQ(reading.item.fields[name], value) << name;
}
// Dates that no rule of a device has, as the pattern that has them and the dates of it that are deleted.
struct ListedCase {
    const char* what;
    std::string lines;
    Fields fields;
    std::vector<std::string> deleted;
};
const ListedCase kListed[] = {
    {"dates a week apart",
     kTen + "RDATE;TZID=Europe/Berlin:20260309T100000,20260316T100000\r\n",
     {{"RecurrenceType", "1"}, {"Interval", "1"}, {"DayOfWeekMask", "2"}, {"PatternEndDate", "2026-03-16 00:00:00"}},
     {}},
    {"dates of a month, on one day of it",
     kTen + "RDATE;TZID=Europe/Berlin:20260502T100000,20261102T100000\r\n",
     {{"RecurrenceType", "2"}, {"Interval", "2"}, {"DayOfMonth", "2"}},
     {"2026-07-02 10:00:00", "2026-09-02 10:00:00"}},
    {"first Mondays",
     kTen + "RDATE;TZID=Europe/Berlin:20260601T100000\r\n",
     {{"RecurrenceType", "3"}, {"Interval", "3"}, {"DayOfWeekMask", "2"}, {"Instance", "1"}},
     {}},
    {"dates without an order",
     kTen + "RDATE:20260311T090000Z\r\nRDATE;TZID=Europe/Berlin:20260305T100000\r\nRDATE:\r\n",
     {{"RecurrenceType", "0"}, {"Interval", "3"}, {"PatternEndDate", "2026-03-11 00:00:00"}},
     {"2026-03-08 10:00:00"}},
    {"a date beside a rule with an end",
     kTen + "RRULE:FREQ=WEEKLY;COUNT=3\r\nRDATE;TZID=Europe/Berlin:20260310T100000\r\n",
     {{"RecurrenceType", "1"}, {"DayOfWeekMask", "6"}},
     {"2026-03-03 10:00:00"}},
    {"a date that the rule has",
     kTen + "RRULE:FREQ=WEEKLY\r\nRDATE;TZID=Europe/Berlin:20260309T100000\r\n",
     {{"RecurrenceType", "1"}, {"NoEndDate", "1"}},
     {}},
    {"periods as long as the item",
     kTen + "DURATION:PT1H\r\nRDATE;VALUE=PERIOD:20260309T090000Z/PT1H,20260316T090000Z/20260316T100000Z\r\n",
     {{"RecurrenceType", "1"}, {"DayOfWeekMask", "2"}, {"PatternEndDate", "2026-03-16 00:00:00"}},
     {}},
    {"two rules with an end",
     kTen + "RRULE:FREQ=DAILY;COUNT=3\r\nRRULE:FREQ=WEEKLY;UNTIL=20260310\r\n",
     {{"RecurrenceType", "1"}, {"DayOfWeekMask", "14"}, {"PatternEndDate", "2026-03-09 00:00:00"}},
     {}},
    {"a rule of exceptions",
     kTen + "RRULE:FREQ=DAILY;COUNT=10\r\nEXRULE:FREQ=DAILY;BYDAY=TH;COUNT=1\r\n",
     {{"RecurrenceType", "1"}, {"DayOfWeekMask", "111"}, {"PatternEndDate", "2026-03-11 00:00:00"}},
     {}},
    {"several days of a month",
     kTen + "RRULE:FREQ=MONTHLY;BYMONTHDAY=2,9;COUNT=3\r\n",
     {{"RecurrenceType", "1"}, {"DayOfWeekMask", "18"}},
     {"2026-03-05 10:00:00", "2026-03-12 10:00:00", "2026-03-16 10:00:00", "2026-03-19 10:00:00", "2026-03-23 10:00:00",
      "2026-03-26 10:00:00", "2026-03-30 10:00:00"}},
    {"one date",
     kTen + "RDATE;TZID=Europe/Berlin:20260302T100000\r\n",
     {{"RecurrenceType", "0"}, {"PatternEndDate", "2026-03-02 00:00:00"}},
     {}},
    {"a rule as some escape it",
     kTen + "RRULE:FREQ=DAILY\\;COUNT=10\r\n",
     {{"RecurrenceType", "0"}, {"PatternEndDate", "2026-03-11 00:00:00"}},
     {}},
};

TEST(CalendarFile, ListedDatesAreAPatternWithDeletedOnes) {
    for (const auto& row : kListed) {
        FileReading reading = Read(File("VEVENT", row.lines));
        ASSERT_FALSE(reading.problem) << row.what << ": " << reading.problem.text;
        for (const auto& [name, value] : row.fields) EXPECT_EQ(reading.item.fields[name], value) << row.what << name;
        EXPECT_EQ(TabbedDates(reading.item.fields["ExceptionDates"]), row.deleted) << row.what;
    }
}

INSTANTIATE_TEST_SUITE_P(Rows, TaskFile, ::testing::ValuesIn(kTasks));

struct RefusedCase {
    const char* what;
    std::string bytes;
    ProblemCode code;
    const char* text;
};
const RefusedCase kRefused[] = {
    {"no calendar", "junk", ProblemCode::Unreadable, "it is no calendar file"},
    {"nothing", "", ProblemCode::Unreadable, "it is no calendar file"},
    {"a journal", File("VJOURNAL", ""), ProblemCode::NotRepresentable, "no event and no task"},
    {"no start", File("VEVENT", "SUMMARY:x\r\n"), ProblemCode::NotRepresentable, "it has no start"},
    {"a broken start", File("VEVENT", "DTSTART:soon\r\n"), ProblemCode::NotRepresentable, "its start is no date"},
    {"further dates of a series without an end",
     File("VEVENT", kTen + "RRULE:FREQ=WEEKLY\r\nRDATE:20260310T090000Z\r\n"), ProblemCode::NotRepresentable,
     "it has no end and further dates (RDATE)"},
    {"a further date at another time", File("VEVENT", kTen + "RDATE:20260310T100000Z\r\n"),
     ProblemCode::NotRepresentable, "its occurrence on 2026-03-10 is at another time than the others"},
    {"a further date on the same day", File("VEVENT", "DTSTART:20260302T090000Z\r\nRDATE:20260302T100000Z\r\n"),
     ProblemCode::NotRepresentable, "it has two occurrences on 2026-03-02"},
    {"a further date with an end of its own", File("VEVENT", kTen + "RDATE;VALUE=PERIOD:20260310T090000Z/PT3H\r\n"),
     ProblemCode::NotRepresentable, "RDATE"},
    {"a further date that is none", File("VEVENT", kTen + "RDATE:soon\r\n"), ProblemCode::NotRepresentable, "RDATE"},
    {"dates too far apart to be listed", File("VEVENT", kTen + "RDATE:20300310T090000Z,20300311T090000Z\r\n"),
     ProblemCode::NotRepresentable, "a device has no pattern for its dates"},
    {"too many dates", File("VEVENT", kTen + "RRULE:FREQ=DAILY;COUNT=2000\r\nEXRULE:FREQ=WEEKLY;COUNT=2\r\n"),
     ProblemCode::NotRepresentable, "it has too many dates for a device to hold them one by one"},
    {"a start that is no date of its rules",
     File("VEVENT", kTen + "RRULE:FREQ=WEEKLY;BYDAY=TU;COUNT=2\r\nRDATE:20260304T090000Z\r\n"),
     ProblemCode::NotRepresentable, "its start is no date of it"},
    {"a series after all dates", File("VEVENT", "DTSTART:40060202T070000\r\nRRULE:FREQ=DAILY;COUNT=10\r\n"),
     ProblemCode::NotRepresentable, "it has no occurrence"},
    {"more than a month", File("VEVENT", "DTSTART;VALUE=DATE:20260302\r\nDTEND;VALUE=DATE:20260403\r\n"),
     ProblemCode::NotRepresentable, "it lasts 32 days, a device holds at most 31 days"},
    {"occurrences that overlap",
     File("VEVENT", "DTSTART:20260302T090000Z\r\nDURATION:P2D\r\nRRULE:FREQ=WEEKLY;BYDAY=MO,TU\r\n"),
     ProblemCode::NotRepresentable, "its occurrences last 2 days and come every 1 day"},
    {"a task with dates that a pattern has only with exceptions",
     File("VTODO", "DTSTART;VALUE=DATE:20260302\r\nRDATE;VALUE=DATE:20260303,20260313\r\n"),
     ProblemCode::NotRepresentable,
     "a task has no deleted occurrences on a device, and the closest pattern also falls"},
    {"a rule of exceptions", File("VEVENT", kTen + "RRULE:FREQ=DAILY\r\nEXRULE:FREQ=WEEKLY\r\n"),
     ProblemCode::NotRepresentable, "EXRULE"},
    {"two rules", File("VEVENT", kTen + "RRULE:FREQ=DAILY\r\nRRULE:FREQ=WEEKLY\r\n"), ProblemCode::NotRepresentable,
     "it has several rules without an end"},
    {"a rule without a date", File("VTODO", "RRULE:FREQ=DAILY\r\n"), ProblemCode::NotRepresentable,
     "no date to start from"},
    {"all that follows changed",
     File("VEVENT", kTen +
                        "RRULE:FREQ=DAILY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                        "RECURRENCE-ID;RANGE=THISANDFUTURE;TZID=Europe/Berlin:20260304T100000\r\n" +
                        kTen),
     ProblemCode::NotRepresentable, "from 2026-03-04 on"},
    {"two items", File("VEVENT", kTen + "END:VEVENT\r\nBEGIN:VEVENT\r\nUID:v\r\n" + kTen), ProblemCode::Unreadable,
     "kezsync import"},
    {"two items without a name",
     "BEGIN:VCALENDAR\r\nBEGIN:VTODO\r\nEND:VTODO\r\nBEGIN:VTODO\r\nEND:VTODO\r\nEND:VCALENDAR\r\n",
     ProblemCode::Unreadable, "kezsync import"},
    {"one item twice", File("VEVENT", kTen + "END:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n" + kTen), ProblemCode::Unreadable,
     "two items with the UID u"},
    {"half a file", "BEGIN:VCALENDAR\r\nBEGIN:VEVENT\r\nUID:u\r\n" + kTen, ProblemCode::Unreadable, "in the middle"},
};

TEST(CalendarFile, ThatCannotBeHeldSaysWhy) {
    for (const auto& row : kRefused) {
        FileReading reading = Read(row.bytes);
        EXPECT_EQ(reading.problem.code, row.code) << row.what;
        EXPECT_THAT(reading.problem.text, HasSubstr(row.text)) << row.what;
        EXPECT_EQ(reading.problem.where, "a.ics") << row.what;
    }
}

struct LossCase {
    const char* what;
    std::string bytes;
    const char* loss;
};
const LossCase kLosses[] = {
    {"properties", File("VEVENT", kTen + "URL:http://x\r\nGEO:1;2\r\nATTACH:x\r\nORGANIZER:mailto:a\r\n"),
     "a device has no field for ATTACH, GEO, ORGANIZER, URL"},
    {"a second alarm",
     File("VEVENT", kTen + "BEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-PT5M\r\nEND:VALARM\r\n"
                           "BEGIN:VALARM\r\nACTION:EMAIL\r\nTRIGGER:-PT9M\r\nEND:VALARM\r\n"),
     "1 more alarm: a device has one reminder, on its screen"},
    {"an unknown zone", File("VEVENT", "DTSTART;TZID=Mars/Base:20260302T100000\r\n"),
     "its time zone Mars/Base is not known; its times are taken as the device's"},
    {"a deleted date off the series", File("VEVENT", kTen + "RRULE:FREQ=WEEKLY\r\nEXDATE:20260303T090000Z\r\n"),
     "the deleted date 2026-03-03, which is none of the series"},
    {"a changed date off the series",
     File("VEVENT", kTen +
                        "RRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                        "RECURRENCE-ID:20260303T090000Z\r\n" +
                        kTen),
     "the changed occurrence of 2026-03-03, which is no date of the series"},
    {"a changed occurrence",
     File("VEVENT", kTen +
                        "RRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                        "RECURRENCE-ID:20260309T090000Z\r\n" +
                        kTen),
     "the changed occurrence of 2026-03-09 is shown as deleted on the device"},
    {"a series that drifts", File("VEVENT", "DTSTART:20260302T090000Z\r\nRRULE:FREQ=WEEKLY\r\n"),
     "it keeps the time of UTC; on the device it stays at the time of its first date all year"},
    {"a daily series that drifts only after half a year",
     File("VEVENT", "DTSTART:20260406T090000Z\r\nRRULE:FREQ=DAILY\r\n"),
     "it keeps the time of UTC; on the device it stays at the time of its first date all year"},
    {"seconds", File("VEVENT", "DTSTART:20260302T090000Z\r\nDTEND:20260302T095959Z\r\n"),
     "the seconds of its duration"},
    {"an alarm before the last occurrence",
     File("VEVENT", kTen + "RRULE:FREQ=DAILY\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\nTRIGGER:-P2D\r\nEND:VALARM\r\n"),
     "its alarm, which comes before the last occurrence: a device has no reminder for it"},
    {"an end before the start", File("VEVENT", kTen + "DTEND:20260302T080000Z\r\n"),
     "its end, which is before its start"},
    {"a comma in a name", File("VEVENT", kTen + "CATEGORIES:a\\,b\r\n"),
     "category \"a;b\": a device takes a comma for the end of a name"},
    {"a time of day", File("VTODO", "DUE:20260302T090000Z\r\n"),
     "the time of day of its due date: a device holds the day"},
    {"progress", File("VTODO", "PERCENT-COMPLETE:50\r\n"), "how far it is done: a device knows done and not done"},
    {"occurrences of a task",
     File("VTODO", "DUE;VALUE=DATE:20260302\r\nRRULE:FREQ=DAILY\r\nEXDATE;VALUE=DATE:20260303\r\n"),
     "deleted and changed occurrences: those of a task are all alike on a device"},
    {"a long text", File("VEVENT", kTen + "LOCATION:" + std::string(1030, 'x') + "\r\n"),
     "Location has 1030 characters, a device holds the first 1023"},
};

TEST(CalendarFile, SaysWhatADeviceDoesNotHold) {
    for (const auto& row : kLosses) {
        FileReading reading = Read(row.bytes);
        EXPECT_FALSE(reading.problem) << row.what << ": " << reading.problem.text;
        EXPECT_THAT(reading.losses, ElementsAre(row.loss)) << row.what;
    }
}

TEST(CalendarFile, WithAZoneOfItsOwnMeansThatZone) {
    std::string zone =
        "BEGIN:VTIMEZONE\r\nTZID:Mine\r\nBEGIN:STANDARD\r\nDTSTART:19700101T000000\r\nTZOFFSETFROM:+0500\r\n"
        "TZOFFSETTO:+0500\r\nEND:STANDARD\r\nEND:VTIMEZONE\r\n";
    FileReading reading = Read("BEGIN:VCALENDAR\r\n" + zone + "BEGIN:VEVENT\r\nDTSTART;TZID=Mine:20260302T140000\r\n" +
                               "END:VEVENT\r\nEND:VCALENDAR\r\n");
    EXPECT_EQ(reading.item.fields["Start"], "2026-03-02 10:00:00");
    EXPECT_THAT(reading.losses, IsEmpty());
}

TEST(CalendarFile, WithAChangedOccurrenceGivesItsTwelveFields) {
    FileReading reading = Read(
        File("VEVENT", kTen + "SUMMARY:S\r\nRRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                              "RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\nSUMMARY:Moved\r\n"
                              "DTSTART;TZID=Europe/Berlin:20260310T110000\r\nDURATION:PT30M\r\nCLASS:PRIVATE\r\n"));
    EXPECT_EQ(reading.item.fields["ExceptionDates"], "2026-03-09 10:00:00");
    EXPECT_EQ(reading.item.fields["ModifiedOccurrenceDates"], "2026-03-09 10:00:00");
    EXPECT_EQ(reading.item.fields["ModifiedOccurrences"],
              "Moved~^!^~~^!^~2026-03-10 11:00:00~^!^~30~^!^~0~^!^~2~^!^~0~^!^~0~^!^~~^!^~~^!^~~^!^~2~^!^~");
}

TEST(CalendarFile, WithACancelledOccurrenceHasItDeleted) {
    FileReading reading = Read(File("VEVENT", kTen +
                                                  "RRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VEVENT\r\nUID:u\r\n"
                                                  "RECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\n"
                                                  "STATUS:CANCELLED\r\n" +
                                                  kTen));
    EXPECT_EQ(reading.item.fields["ExceptionDates"], "2026-03-09 10:00:00");
    EXPECT_EQ(reading.item.fields.count("ModifiedOccurrences"), 0U);
}

TEST(CalendarFile, OfTheOlderVersionIsRead) {
    FileReading reading = Read(File("VEVENT",
                                    "DTSTART:20260302T090000Z\r\nDTEND:20260302T100000Z\r\nRRULE:W1 MO #3\r\n"
                                    "SUMMARY;ENCODING=QUOTED-PRINTABLE;CHARSET=UTF-8:Caf=C3=A9\r\nCATEGORIES:A;B\r\n"
                                    "DALARM:20260302T084500Z;;1;x\r\nTRANSP:1\r\nEXDATE:20260309T090000Z\r\n",
                                    "1.0"));
    ASSERT_FALSE(reading.problem) << reading.problem.text;
    Fields& fields = reading.item.fields;
    EXPECT_EQ(fields["Subject"], "Caf\u00e9");
    EXPECT_EQ(fields["Start"], "2026-03-02 10:00:00");
    EXPECT_EQ(fields["RecurrenceType"], "1");
    EXPECT_EQ(fields["PatternEndDate"], "2026-03-16 00:00:00");
    EXPECT_EQ(fields["Categories"], "A, B");
    EXPECT_EQ(fields["ReminderMinutesBeforeStart"], "15");
    EXPECT_EQ(fields["BusyStatus"], "0");
    EXPECT_EQ(fields["ExceptionDates"], "2026-03-09 10:00:00");
}

TEST(CalendarTimes, AreReadInTheirForms) {
    EXPECT_EQ(ParseDuration("-P1DT2H3M4S"), -(86400 + 7384));
    EXPECT_EQ(ParseDuration("P2W"), 14 * 86400);
    for (const char* text :
         {"P9999999999D", "PT99999999999999999999S", "", "P", "-", "PT", "P1", "1D", "PX", "P1X", "PT1HX"})
        EXPECT_FALSE(ParseDuration(text).value_or(0)) << text;
    for (std::int64_t seconds : {0, 60, -900, 86400, 90061})
        EXPECT_EQ(ParseDuration(DurationText(seconds)), seconds) << DurationText(seconds);
    EXPECT_EQ(CalendarTimeText(*ParseCalendarTime("2026-03-02T10:00:00Z")), "20260302T100000Z");
    for (const char* text : {"", "2026", "20261302", "20260230", "20260302T", "20260302T2500", "T100000"})
        EXPECT_FALSE(ParseCalendarTime(text)) << text;
}

TEST(CalendarZones, GiveAMomentBackInEveryForm) {
    TimeZones zones(nullptr, "Europe/Berlin");
    for (const char* text :
         {"1975-06-01 12:00:00", "2026-03-02 10:00:00", "2026-07-02 10:00:00", "2071-07-02 10:00:00"}) {
        std::int64_t wall;
        ASSERT_TRUE(ParseMoment(text, &wall));
        for (const TimeForm& form : {TimeForm{TimeKind::Utc, ""}, TimeForm{TimeKind::Zoned, "America/New_York"},
                                     TimeForm{TimeKind::Zoned, "Europe/Berlin"}, TimeForm{TimeKind::Floating, ""}})
            EXPECT_EQ(zones.ToDevice(zones.FromDevice(wall, form)), wall) << text;
    }
    std::int64_t summer;
    ASSERT_TRUE(ParseMoment("2071-07-02 10:00:00", &summer));
    EXPECT_EQ(CalendarTimeText(zones.FromDevice(summer, {TimeKind::Utc, ""})), "20710702T080000Z");
}

TEST(ItemFiles, OfACalendarGiveEachUidOnce) {
    EXPECT_TRUE(IsItemFile("A.ICS"));
    std::string bytes =
        "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nBEGIN:VEVENT\r\nUID:a\r\nSUMMARY:A\r\n" + kTen +
        "RRULE:FREQ=WEEKLY\r\nEND:VEVENT\r\nBEGIN:VTODO\r\nUID:b\r\nSUMMARY:B\r\nEND:VTODO\r\nBEGIN:VJOURNAL\r\n"
        "UID:c\r\nEND:VJOURNAL\r\nBEGIN:VEVENT\r\nUID:a\r\nRECURRENCE-ID;TZID=Europe/Berlin:20260309T100000\r\n" +
        kTen + "END:VEVENT\r\nBEGIN:VEVENT\r\nSUMMARY:C\r\n" + kTen +
        "END:VEVENT\r\nBEGIN:VEVENT\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n";
    std::vector<FileItem> items = ReadItems(bytes, "all.ics", "Europe/Berlin");
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[0].item.fields["Subject"], "A");
    EXPECT_EQ(items[0].item.fields["ModifiedOccurrenceDates"], "2026-03-09 10:00:00");
    EXPECT_EQ(items[0].uid, "a");
    EXPECT_EQ(items[1].item.type, ItemType::Task);
    EXPECT_EQ(items[2].item.fields["Subject"], "C");
    EXPECT_EQ(items[3].problem.text, "it has no start");
    EXPECT_EQ(ReadItems("x", "a.ics", "UTC").at(0).problem.text, "it is no calendar file");
}

TEST(CalendarFile, ItemsWithoutACalendarAndWithOneUidAreImportedOneByOne) {
    const std::string event = "BEGIN:VEVENT\r\nUID:a\r\nSUMMARY:S\r\n" + kTen + "END:VEVENT";
    const std::string task = "BEGIN:VTODO\r\nUID:b\r\nSUMMARY:T\r\nEND:VTODO\r\n";
    std::vector<FileItem> items = ReadItems(task + event, "a.ics", "Europe/Berlin");
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].item.fields["Subject"], "T");
    EXPECT_EQ(items[1].item.fields["Subject"], "S");

    const std::string changed = "BEGIN:VEVENT\r\nUID:a\r\nRECURRENCE-ID:20260302T090000Z\r\n" + kTen + "END:VEVENT\r\n";
    items = ReadItems("BEGIN:VCALENDAR\r\n" + changed + event + "\r\n" + event + "\r\nEND:VCALENDAR\r\n", "a.ics",
                      "Europe/Berlin");
    ASSERT_EQ(items.size(), 2U);
    for (auto& item : items) {
        EXPECT_FALSE(item.problem) << item.problem.text;
        EXPECT_EQ(item.item.fields["Subject"], "S");
    }
}

// Every real file: each item is one that a device holds as it is read, or is refused with a sentence.
TEST(RealCalendars, AreReadOrRefusedWithAReason) {
    RecordCodec codec([] { return 0; });
    std::size_t read = 0;
    for (const auto& path : kez::tests::RealFiles(".ics")) {
        for (const auto& item : ReadItems(kez::tests::ReadFile(path), "x.ics", "Europe/Berlin")) {
            if (item.problem) {
                EXPECT_GT(item.problem.text.size(), 10U) << path;
                continue;
            }
            read++;
            std::string why = codec.WhyNotHeld(item.item);
            EXPECT_TRUE(why.empty() || why.find("years 1900") != std::string::npos) << path << ": " << why;
        }
    }
    EXPECT_GE(read, 8U);
}

}  // namespace
}  // namespace kez::partner
