// Automation dates in both directions.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "platform/control/control.h"

namespace {

std::string Describe(const SYSTEMTIME& time) {
    char text[80];
    std::snprintf(text, sizeof text, "%u-%02u-%02u %02u:%02u:%02u.%03u day %u", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond, time.wMilliseconds, time.wDayOfWeek);
    return text;
}

constexpr double kUntouched = 4711.5;

TEST(VariantTime, DatesBecomeNumbersToTheLastBit) {
    struct Row {
        SYSTEMTIME date;
        double number;
    };
    const Row rows[] = {
        {{100, 1, 0, 1, 0, 0, 0, 0}, -657434},
        {{1601, 1, 0, 1, 0, 0, 0, 0}, -109205},
        {{1899, 12, 0, 29, 0, 0, 0, 0}, -1},
        {{1899, 12, 0, 29, 12, 0, 0, 0}, -1.5},
        {{1899, 12, 0, 29, 18, 0, 0, 0}, -1.75},
        {{1899, 12, 0, 30, 0, 0, 0, 0}, 0},
        {{1899, 12, 0, 30, 6, 0, 0, 0}, 0.25},
        {{1900, 1, 0, 1, 0, 0, 0, 0}, 2},
        {{1900, 12, 0, 31, 23, 59, 59, 0}, 366.99998842592589},
        {{1901, 1, 0, 1, 0, 0, 0, 0}, 367},
        {{2006, 5, 0, 17, 14, 30, 15, 0}, 38854.60434027778},
        {{2006, 5, 0, 17, 14, 30, 15, 999}, 38854.60434027778},  // milliseconds are ignored, never rounded
        {{2006, 5, 77, 17, 14, 30, 15, 0}, 38854.60434027778},   // as is the day of the week
        {{4501, 1, 0, 1, 0, 0, 0, 0}, 949998},
        {{9999, 12, 0, 31, 23, 59, 59, 0}, 2958465.999988426},
        // Years of two digits.
        {{0, 1, 0, 1, 0, 0, 0, 0}, 36526},
        {{49, 1, 0, 1, 0, 0, 0, 0}, 54424},
        {{50, 1, 0, 1, 0, 0, 0, 0}, 18264},
        {{99, 1, 0, 1, 0, 0, 0, 0}, 36161},
        // Fields beyond their day, month or year roll over.
        {{2006, 5, 0, 0, 0, 0, 0, 0}, 38837},
        {{2006, 0, 0, 1, 0, 0, 0, 0}, 38687},
        {{2006, 2, 0, 29, 0, 0, 0, 0}, 38777},
        {{2006, 2, 0, 30, 0, 0, 0, 0}, 38778},
        {{2006, 4, 0, 31, 0, 0, 0, 0}, 38838},
        {{2006, 5, 0, 17, 24, 0, 0, 0}, 38855},
        {{2006, 5, 0, 17, 10, 60, 0, 0}, 38854 + 11 / 24.0},
        {{2006, 5, 0, 17, 10, 0, 60, 0}, 38854 + 10 / 24.0 + 1 / 1440.0},
        {{1899, 12, 0, 29, 24, 0, 0, 0}, 0},
    };
    for (const Row& row : rows) {
        SYSTEMTIME from = row.date;
        double to = kUntouched;
        EXPECT_EQ(SystemTimeToVariantTime(&from, &to), 1) << Describe(row.date);
        EXPECT_EQ(to, row.number) << Describe(row.date);
    }
}

TEST(VariantTime, DatesBeyondTheRangeAreRefused) {
    const SYSTEMTIME rows[] = {
        {10000, 1, 0, 1, 0, 0, 0, 0},   {2006, 1, 0, 32, 0, 0, 0, 0}, {2006, 13, 0, 1, 0, 0, 0, 0},
        {9999, 12, 0, 31, 24, 0, 0, 0}, {100, 1, 0, 0, 0, 0, 0, 0},   {100, 0, 0, 1, 0, 0, 0, 0},
    };
    for (const SYSTEMTIME& date : rows) {
        SYSTEMTIME from = date;
        double to = kUntouched;
        EXPECT_EQ(SystemTimeToVariantTime(&from, &to), 0) << Describe(date);
        EXPECT_EQ(to, kUntouched) << Describe(date);
    }
    double to = kUntouched;
    EXPECT_EQ(SystemTimeToVariantTime(nullptr, &to), 0);
    SYSTEMTIME from = {2006, 1, 0, 1, 0, 0, 0, 0};
    EXPECT_EQ(SystemTimeToVariantTime(&from, nullptr), 0);
}

TEST(VariantTime, NumbersBecomeDates) {
    struct Row {
        double number;
        const char* date;
    };
    const Row rows[] = {
        {-657434.99998, "100-01-01 23:59:58.000 day 5"},
        {-657434, "100-01-01 00:00:00.000 day 5"},
        {2958465.9999999, "10000-01-01 00:00:00.000 day 5"},
        {0, "1899-12-30 00:00:00.000 day 6"},
        {0.25, "1899-12-30 06:00:00.000 day 6"},
        {-0.25, "1899-12-30 06:00:00.000 day 6"},
        {-1.25, "1899-12-29 06:00:00.000 day 5"},
        {-1.75, "1899-12-29 18:00:00.000 day 5"},
        {1.999999, "1900-01-01 00:00:00.000 day 0"},  // the day of the week of the day before
        {366, "1900-12-31 00:00:00.000 day 1"},
        {367, "1901-01-01 00:00:00.000 day 2"},
        {366.999995, "1901-01-01 00:00:00.000 day 1"},
        {38854.604345, "2006-05-17 14:30:15.000 day 3"},  // to the nearest second
        {38854.604351, "2006-05-17 14:30:16.000 day 3"},
        {38854.999993, "2006-05-17 23:59:59.000 day 3"},
        {38854.9999942, "2006-05-18 00:00:00.000 day 3"},
        {949998, "4501-01-01 00:00:00.000 day 6"},
        {-0.9999999, "1899-12-31 00:00:00.000 day 6"},
        {std::numeric_limits<double>::quiet_NaN(), "1899-12-30 00:00:00.000 day 6"},
    };
    for (const Row& row : rows) {
        SYSTEMTIME to = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(VariantTimeToSystemTime(row.number, &to), 1) << row.number;
        EXPECT_EQ(Describe(to), row.date) << row.number;
    }
}

TEST(VariantTime, NumbersBeyondTheRangeAreRefused) {
    const double infinity = std::numeric_limits<double>::infinity();
    for (const double number : {-657435.0, -657435.5, 2958466.0, 2958466.5, 1e10, -1e10, infinity, -infinity}) {
        SYSTEMTIME to = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(VariantTimeToSystemTime(number, &to), 0) << number;
        EXPECT_EQ(Describe(to), "1-02-04 05:06:07.008 day 3") << "untouched by " << number;
    }
    EXPECT_EQ(VariantTimeToSystemTime(1, nullptr), 0);
}

TEST(VariantTime, EverySecondOfADaySurvivesTheRoundTrip) {
    for (const SYSTEMTIME& day : {SYSTEMTIME{2006, 5, 0, 17, 0, 0, 0, 0}, SYSTEMTIME{1601, 1, 0, 1, 0, 0, 0, 0},
                                  SYSTEMTIME{9999, 12, 0, 31, 0, 0, 0, 0}}) {
        for (int second = 0; second < 86'400; ++second) {
            SYSTEMTIME from = day;
            from.wHour = static_cast<WORD>(second / 3600);
            from.wMinute = static_cast<WORD>(second / 60 % 60);
            from.wSecond = static_cast<WORD>(second % 60);
            double number = 0;
            SYSTEMTIME back = {};
            ASSERT_EQ(SystemTimeToVariantTime(&from, &number), 1);
            ASSERT_EQ(VariantTimeToSystemTime(number, &back), 1);
            back.wDayOfWeek = from.wDayOfWeek;
            ASSERT_EQ(Describe(back), Describe(from));
        }
    }
}

TEST(VariantTime, EveryDaySurvivesTheRoundTripAndFollowsTheWeek) {
    std::optional<WORD> weekDay;
    for (int day = -657434; day <= 2958465; ++day) {
        SYSTEMTIME date = {};
        double back = kUntouched;
        ASSERT_EQ(VariantTimeToSystemTime(day, &date), 1) << day;
        ASSERT_EQ(SystemTimeToVariantTime(&date, &back), 1) << day;
        ASSERT_EQ(back, day) << Describe(date);
        ASSERT_EQ(date.wDayOfWeek, weekDay.value_or(5)) << Describe(date);
        weekDay = static_cast<WORD>((date.wDayOfWeek + 1) % 7);
    }
}

TEST(VariantTime, ConversionsCanBeMadeToFail) {
    SYSTEMTIME date = {2006, 5, 0, 17, 0, 0, 0, 0};
    double number = 1;
    kez::control::PlanFault({"SystemTimeToVariantTime", 1, 1, 0});
    kez::control::PlanFault({"VariantTimeToSystemTime", 1, 1, 0});
    EXPECT_EQ(SystemTimeToVariantTime(&date, &number), 0);
    EXPECT_EQ(VariantTimeToSystemTime(number, &date), 0);
    kez::control::ClearFaults();
}

}  // namespace
