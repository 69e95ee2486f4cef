// Rules and patterns: each row of what is exact, what is refused and why, and both expanded beside each other.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libical/ical.h>
#include <rapidcheck.h>

#include "partner/record_fields.h"
#include "partner/recurrence_rule.h"

namespace kez::partner {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

constexpr std::int64_t kDay = 86400;

CalendarTime At(const std::string& text, const std::string& zone = "") {
    CalendarTime time = *ParseCalendarTime(text);
    if (!zone.empty()) time.form = {TimeKind::Zoned, zone};
    return time;
}

RuleReading Read(const std::string& rule, const CalendarTime& start, const std::string& device = "UTC") {
    TimeZones zones(nullptr, device);
    return ReadRule(rule, start, zones);
}

// "type interval mask day month instance end"
std::string Said(const RuleReading& reading) {
    if (!reading.whyNot.empty()) return reading.whyNot;
    const Pattern& p = reading.pattern;
    std::string text = std::to_string(p.type) + " i" + std::to_string(p.interval);
    if (p.mask) text += " w" + std::to_string(p.mask);
    if (p.dayOfMonth) text += " d" + std::to_string(p.dayOfMonth);
    if (p.monthOfYear) text += " m" + std::to_string(p.monthOfYear);
    if (p.instance) text += " n" + std::to_string(p.instance);
    if (p.ends) text += " until " + DayText(p.lastDay * kDay);
    for (std::int64_t day : reading.surplus) text += " without " + DayText(day * kDay);
    return text;
}

struct RuleCase {
    const char* start;
    const char* rule;
    const char* said;
};

const RuleCase kRules[] = {
    {"20260302T100000", "FREQ=DAILY;INTERVAL=3", "0 i3"},
    {"20260302T100000", "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR", "1 i1 w62"},
    {"20260302T100000", "FREQ=DAILY;INTERVAL=2;BYDAY=MO,WE", "0 i2 w10"},
    {"20260302T100000", "FREQ=DAILY;BYDAY=SU,MO,TU,WE,TH,FR,SA", "0 i1"},
    {"20260302T100000", "FREQ=WEEKLY", "1 i1 w2"},
    {"20260302T100000", "FREQ=WEEKLY;BYDAY=MO,WE", "1 i1 w10"},
    {"20260302T100000", "FREQ=WEEKLY;INTERVAL=2;BYDAY=MO", "1 i2 w2"},
    {"20260302T100000", "FREQ=WEEKLY;INTERVAL=2;WKST=SU;BYDAY=SU,MO", "1 i2 w3"},
    {"20260315", "FREQ=MONTHLY", "2 i1 d15"},
    {"20260315", "FREQ=MONTHLY;BYMONTHDAY=15", "2 i1 d15"},
    {"20260331", "FREQ=MONTHLY;BYMONTHDAY=-1", "2 i1 d31"},
    {"20260330", "FREQ=MONTHLY;BYMONTHDAY=28,29,30;BYSETPOS=-1", "2 i1 d30"},
    {"20260331", "FREQ=MONTHLY;BYMONTHDAY=31;COUNT=3",
     "2 i1 d31 until 2026-07-31 without 2026-04-30 without 2026-06-30"},
    {"20260309", "FREQ=MONTHLY;BYDAY=2MO", "3 i1 w2 n2"},
    {"20260330", "FREQ=MONTHLY;BYDAY=-1MO", "3 i1 w2 n5"},
    {"20260302", "FREQ=MONTHLY;BYDAY=MO", "1 i1 w2"},
    {"20260331", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1", "3 i1 w62 n5"},
    {"20260303", "FREQ=MONTHLY;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=2", "3 i1 w62 n2"},
    {"20260309", "FREQ=MONTHLY;BYDAY=MO;BYMONTHDAY=8,9,10,11,12,13,14", "3 i1 w2 n2"},
    {"20260323", "FREQ=YEARLY", "5 i1 d23 m3"},
    {"20260323", "FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=23", "5 i1 d23 m3"},
    {"20240229", "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=-1", "5 i1 d29 m2"},
    {"20260329", "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU", "6 i1 w1 m3 n5"},
    {"20260309", "FREQ=YEARLY;BYMONTH=3;BYDAY=2MO", "6 i1 w2 m3 n2"},
    {"20260323", "FREQ=YEARLY;INTERVAL=4", "2 i48 d23"},
    {"20260309", "FREQ=YEARLY;INTERVAL=2;BYMONTH=3;BYDAY=2MO", "3 i24 w2 n2"},
    {"20260323", "FREQ=YEARLY;BYMONTH=3,9;BYMONTHDAY=23", "2 i6 d23"},
    {"20260302T100000", "FREQ=DAILY;COUNT=5", "0 i1 until 2026-03-06"},
    {"20260302T100000", "FREQ=DAILY;UNTIL=20260306T100000", "0 i1 until 2026-03-06"},
    {"20260302T100000", "FREQ=DAILY;UNTIL=20260306T095959", "0 i1 until 2026-03-05"},
    {"20260302T100000", "FREQ=DAILY;UNTIL=20260306", "0 i1 until 2026-03-06"},
    {"20260302", "FREQ=DAILY;UNTIL=20260306T000000Z", "0 i1 until 2026-03-06"},
    {"20260302T100000", "FREQ=DAILY;BYHOUR=10;BYMINUTE=0", "0 i1"},
    {"20260302", "FREQ=WEEKLY;COUNT=20000", "1 i1 w2 until 2409-06-15"},
};

class Rule : public ::testing::TestWithParam<RuleCase> {};

TEST_P(Rule, BecomesItsPattern) {
    EXPECT_EQ(Said(Read(GetParam().rule, At(GetParam().start))), GetParam().said) << GetParam().rule;
}
INSTANTIATE_TEST_SUITE_P(Exact, Rule, ::testing::ValuesIn(kRules));

const RuleCase kRefused[] = {
    {"20260331", "FREQ=MONTHLY;BYMONTHDAY=31", "also falls on 2026-04-30"},
    {"20240229", "FREQ=YEARLY", "also falls on 2025-02-28"},
    {"20260330", "FREQ=MONTHLY;BYDAY=5MO", "also falls on 2026-04-27"},
    {"20260330", "FREQ=MONTHLY;BYMONTHDAY=-2", "it has no pattern"},
    {"20260301", "FREQ=MONTHLY;BYMONTHDAY=1,15", "it has no pattern"},
    {"20260323", "FREQ=MONTHLY;BYDAY=-2MO", "it has no pattern"},
    {"20260302", "FREQ=MONTHLY;BYDAY=1MO,3MO", "it has no pattern"},
    {"20260301", "FREQ=YEARLY;BYMONTH=3,4;BYMONTHDAY=1", "it has no pattern"},
    {"20260302", "FREQ=YEARLY;BYWEEKNO=10", "it has no pattern"},
    {"20260302", "FREQ=YEARLY;BYYEARDAY=61", "it has no pattern"},
    {"20260302", "FREQ=YEARLY;BYDAY=10MO", "it has no pattern"},
    {"20260323", "FREQ=YEARLY;BYMONTHDAY=23", "it has no pattern"},
    {"20260302T100000", "FREQ=DAILY;BYHOUR=10,14", "it has no pattern"},
    {"20260302T100000", "FREQ=HOURLY", "more than once a day"},
    {"20260302T100000", "FREQ=MINUTELY;INTERVAL=5", "more than once a day"},
    {"20260302", "FREQ=DAILY;INTERVAL=1000", "too seldom"},
    {"20260302", "FREQ=DAILY;INTERVAL=66000", "too seldom"},
    {"20260302", "FREQ=YEARLY;INTERVAL=100", "too seldom"},
    {"20260302T100000", "FREQ=WEEKLY;INTERVAL=2;WKST=MO;BYDAY=SU,MO", "has no occurrence on 2026-03-08"},
    {"20260303", "FREQ=WEEKLY;BYDAY=MO", "its start is no date of it"},
    {"20260302", "FREQ=DAILY;UNTIL=20260301", "it has no occurrence"},
    {"20260302", "FREQ=SOMETIMES", "it is broken"},
    {"20260302", "", "it is broken"},
};

class RefusedRule : public ::testing::TestWithParam<RuleCase> {};

TEST_P(RefusedRule, SaysItsRuleAndWhy) {
    RuleReading reading = Read(GetParam().rule, At(GetParam().start));
    EXPECT_THAT(reading.whyNot, HasSubstr(GetParam().said));
    EXPECT_THAT(reading.whyNot, HasSubstr("a device cannot hold its rule " + std::string(GetParam().rule)));
}
INSTANTIATE_TEST_SUITE_P(Inexact, RefusedRule, ::testing::ValuesIn(kRefused));

TEST(RuleInAZone, FallsOnTheDaysOfTheDevice) {
    RuleReading reading = Read("FREQ=WEEKLY;BYDAY=MO", At("20260601T233000", "Europe/London"), "Europe/Berlin");
    EXPECT_EQ(Said(reading), "1 i1 w4") << "Monday 23:30 in London is Tuesday in Berlin";
    EXPECT_FALSE(reading.drifts);
}

TEST(RuleInAZone, ThatChangesItsClockElsewhereSaysThatTheTimeDiffers) {
    EXPECT_TRUE(Read("FREQ=WEEKLY", At("20260302T100000Z"), "Europe/Berlin").drifts);
    EXPECT_TRUE(Read("FREQ=WEEKLY", At("20260302T100000", "America/New_York"), "Europe/Berlin").drifts);
    EXPECT_FALSE(Read("FREQ=WEEKLY", At("20260302T100000", "Europe/Paris"), "Europe/Berlin").drifts);
}

TEST(RuleInAZone, EndsOnTheDevicesDay) {
    EXPECT_EQ(Said(Read("FREQ=DAILY;UNTIL=20260306T090000Z", At("20260302T100000", "Europe/Berlin"), "Europe/Berlin")),
              "0 i1 until 2026-03-06");
    EXPECT_EQ(Said(Read("FREQ=DAILY;UNTIL=20260306T085959Z", At("20260302T100000", "Europe/Berlin"), "Europe/Berlin")),
              "0 i1 until 2026-03-05");
}

struct TextCase {
    Pattern pattern;
    const char* text;
};
const TextCase kTexts[] = {
    {{0, 2, 0, 0, 0, 0}, "FREQ=DAILY;INTERVAL=2"},
    {{0, 1, 62, 0, 0, 0}, "FREQ=DAILY;BYDAY=MO,TU,WE,TH,FR"},
    {{1, 1, 10, 0, 0, 0}, "FREQ=WEEKLY;BYDAY=MO,WE"},
    {{1, 2, 10, 0, 0, 0}, "FREQ=WEEKLY;INTERVAL=2;WKST=SU;BYDAY=MO,WE"},
    {{2, 1, 0, 28, 0, 0}, "FREQ=MONTHLY;BYMONTHDAY=28"},
    {{2, 1, 0, 29, 0, 0}, "FREQ=MONTHLY;BYMONTHDAY=28,29;BYSETPOS=-1"},
    {{2, 3, 0, 30, 0, 0}, "FREQ=MONTHLY;INTERVAL=3;BYMONTHDAY=28,29,30;BYSETPOS=-1"},
    {{2, 1, 0, 31, 0, 0}, "FREQ=MONTHLY;BYMONTHDAY=-1"},
    {{3, 1, 2, 0, 0, 3}, "FREQ=MONTHLY;BYDAY=3MO"},
    {{3, 1, 2, 0, 0, 5}, "FREQ=MONTHLY;BYDAY=-1MO"},
    {{3, 1, 65, 0, 0, 2}, "FREQ=MONTHLY;BYDAY=SU,SA;BYSETPOS=2"},
    {{3, 1, 127, 0, 0, 5}, "FREQ=MONTHLY;BYDAY=SU,MO,TU,WE,TH,FR,SA;BYSETPOS=-1"},
    {{5, 1, 0, 23, 3, 0}, "FREQ=YEARLY;BYMONTH=3;BYMONTHDAY=23"},
    {{5, 1, 0, 29, 2, 0}, "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=-1"},
    {{6, 1, 2, 0, 3, 2}, "FREQ=YEARLY;BYMONTH=3;BYDAY=2MO"},
    {{6, 1, 1, 0, 3, 5}, "FREQ=YEARLY;BYMONTH=3;BYDAY=-1SU"},
    {{6, 1, 62, 0, 3, 5}, "FREQ=YEARLY;BYMONTH=3;BYDAY=MO,TU,WE,TH,FR;BYSETPOS=-1"},
};

TEST(PatternText, IsTheRuleWithTheSameOccurrences) {
    for (const auto& row : kTexts) EXPECT_EQ(RuleText(row.pattern), row.text);
}

TEST(Pattern, HasNoDayBeforeItsStartNorAfterItsEnd) {
    Pattern pattern{0, 1, 0, 0, 0, 0, 100, true, 103};
    EXPECT_FALSE(pattern.Has(99));
    EXPECT_TRUE(pattern.Has(100));
    EXPECT_TRUE(pattern.Has(103));
    EXPECT_FALSE(pattern.Has(104));
    EXPECT_EQ(pattern.Next(0), 100);
    EXPECT_EQ(pattern.Next(104), std::nullopt);
}

TEST(Pattern, ThatNeverMeetsItsFilterHasNoOccurrence) {
    Pattern pattern{0, 7, 1, 0, 0, 0, 4};  // 1970-01-05, a Monday, every seven days, on Sundays
    EXPECT_EQ(pattern.Next(4), std::nullopt);
}

struct OldCase {
    const char* old;
    const char* rule;
};
TEST(OldRule, IsReadAsOneOfToday) {
    const OldCase rows[] = {
        {"D2 #10", "FREQ=DAILY;INTERVAL=2;COUNT=10"},
        {"D1", "FREQ=DAILY;INTERVAL=1;COUNT=2"},
        {"W1 MO WE #0", "FREQ=WEEKLY;INTERVAL=1;BYDAY=MO,WE"},
        {"W2 TU 20261231T000000", "FREQ=WEEKLY;INTERVAL=2;BYDAY=TU;UNTIL=20261231T000000"},
        {"MD1 15 #0", "FREQ=MONTHLY;INTERVAL=1;BYMONTHDAY=15"},
        {"MD1 LD #0", "FREQ=MONTHLY;INTERVAL=1;BYMONTHDAY=-1"},
        {"MP1 2+ MO #0", "FREQ=MONTHLY;INTERVAL=1;BYDAY=2MO"},
        {"MP1 1- FR #0", "FREQ=MONTHLY;INTERVAL=1;BYDAY=-1FR"},
        {"YM1 3 #0", "FREQ=YEARLY;INTERVAL=1;BYMONTH=3"},
        {"YD1 100 #0", "FREQ=YEARLY;INTERVAL=1;BYYEARDAY=100"},
        {"junk", ""},
        {"", ""},
    };
    for (const auto& row : rows) EXPECT_EQ(RuleOfOldText(row.old), row.rule) << row.old;
}

// Random patterns: the rule that is written has the same occurrences for a reader of rules, and is read as the same
// occurrences.
TEST(PatternText, AgreesWithTheRuleReaderOnRandomPatterns) {
    EXPECT_TRUE(rc::check("a pattern's rule has its occurrences", [] {
        Pattern pattern;
        pattern.type = *rc::gen::element(0, 1, 2, 3, 5, 6);
        pattern.interval = pattern.type >= 5 ? 1 : *rc::gen::inRange(1, 7);
        pattern.start = *rc::gen::inRange(10957, 25000);
        if (pattern.type == 0) pattern.mask = *rc::gen::element(0, 0, 62, 65, 2);
        if (pattern.type == 1) pattern.mask = *rc::gen::inRange(1, 128);
        if (pattern.type == 3 || pattern.type == 6) {
            pattern.mask = *rc::gen::element(1, 2, 4, 8, 16, 32, 64, 62, 65, 127);
            pattern.instance = *rc::gen::inRange(1, 6);
        }
        if (pattern.type >= 5) pattern.monthOfYear = *rc::gen::inRange(1, 13);
        if (pattern.type == 2) pattern.dayOfMonth = *rc::gen::inRange(1, 32);
        if (pattern.type == 5) {
            constexpr int kLengths[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
            pattern.dayOfMonth = *rc::gen::inRange(1, kLengths[pattern.monthOfYear - 1] + 1);
        }
        auto first = pattern.Next(pattern.start);
        RC_PRE(first.has_value());
        pattern.start = *first;
        const std::string day = CalendarTimeText({pattern.start * kDay, {TimeKind::Date, ""}});
        icalrecur_iterator* iterator = icalrecur_iterator_new(icalrecurrencetype_from_string(RuleText(pattern).c_str()),
                                                              icaltime_from_string(day.c_str()));
        const bool isRule = iterator != nullptr;
        RC_ASSERT(isRule);
        std::int64_t at = pattern.start;
        for (int i = 0; i < 40; i++) {
            icaltimetype next = icalrecur_iterator_next(iterator);
            char text[16];
            std::snprintf(text, sizeof text, "%04d-%02d-%02d", next.year, next.month, next.day);
            auto ours = pattern.Next(at);
            RC_ASSERT(ours.has_value());
            RC_ASSERT(pattern.Has(*ours));
            RC_ASSERT(DayText(*ours * kDay) == text);
            at = *ours + 1;
        }
        icalrecur_iterator_free(iterator);
        RuleReading reading = Read(RuleText(pattern), At(day));
        RC_ASSERT(reading.whyNot == "");
        RC_ASSERT(reading.surplus.empty());
        for (std::int64_t d = pattern.start; d < pattern.start + 1000; d++)
            RC_ASSERT(reading.pattern.Has(d) == pattern.Has(d));
    }));
}

// A rule of the device's own clock is believed where its form says enough, one in UTC is compared date by date.
TEST(RuleInAZone, SaysTheSameWhetherItsDatesAreComparedOrNot) {
    EXPECT_TRUE(rc::check("by its form or by its dates", [] {
        const TimeZones zones(nullptr, "UTC");
        const std::int64_t wall = *rc::gen::inRange<std::int64_t>(0, 24000) * 86400 + 36000;
        std::string rule = "FREQ=" + *rc::gen::element<std::string>("DAILY", "WEEKLY", "MONTHLY", "YEARLY");
        rule += *rc::gen::element<std::string>("", "", ";INTERVAL=2", ";INTERVAL=3");
        rule +=
            *rc::gen::element<std::string>("", "", ";BYDAY=MO", ";BYDAY=MO,TH,SU", ";BYDAY=2TU", ";BYDAY=-1FR",
                                           ";BYMONTHDAY=13", ";BYMONTHDAY=31", ";BYMONTH=5", ";BYMONTH=3;BYDAY=1SA");
        rule += *rc::gen::element<std::string>("", "", ";WKST=SU", ";BYSETPOS=2");
        rule += *rc::gen::element<std::string>("", ";COUNT=1", ";COUNT=7", ";UNTIL=20300515T100000");
        const RuleReading form = ReadRule(rule, {wall, {TimeKind::Floating, ""}}, zones);
        const RuleReading dates = ReadRule(rule, {wall, {TimeKind::Utc, ""}}, zones);
        RC_TAG(form.whyNot.empty());
        RC_ASSERT(form.whyNot.empty() == dates.whyNot.empty());
        if (!form.whyNot.empty()) return;
        RC_ASSERT(RuleText(form.pattern) == RuleText(dates.pattern));
        RC_ASSERT(form.pattern.start == dates.pattern.start);
        RC_ASSERT(form.pattern.ends == dates.pattern.ends);
        RC_ASSERT(form.pattern.lastDay == dates.pattern.lastDay);
        RC_ASSERT(form.surplus == dates.surplus);
    }));
}

}  // namespace
}  // namespace kez::partner
