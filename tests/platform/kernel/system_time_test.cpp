// System time, file time and the device's time zone.
#include <gtest/gtest.h>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"
#include "tests/support/test_device.h"

namespace {

using kez::kernel::ToUtf8;
using kez::tests::TestDevice;

constexpr DWORD kUnchanged = 4711;

FILETIME Ticks(std::uint64_t ticks) { return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)}; }
std::uint64_t Ticks(const FILETIME& time) { return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime; }

std::string Describe(const SYSTEMTIME& time) {
    char text[80];
    std::snprintf(text, sizeof text, "%u-%02u-%02u %02u:%02u:%02u.%03u day %u", time.wYear, time.wMonth, time.wDay,
                  time.wHour, time.wMinute, time.wSecond, time.wMilliseconds, time.wDayOfWeek);
    return text;
}

TEST(SystemTime, FileTimesBecomeDates) {
    struct Row {
        std::uint64_t ticks;
        const char* date;
    };
    for (const Row& row :
         {Row{0, "1601-01-01 00:00:00.000 day 1"}, Row{9'999, "1601-01-01 00:00:00.000 day 1"},
          Row{19'999, "1601-01-01 00:00:00.001 day 1"}, Row{0x01C679BE69BABA30, "2006-05-17 14:30:15.123 day 3"},
          Row{0x0CB34557A3DD4000, "4501-01-01 00:00:00.000 day 6"},
          Row{0x7FFFFFFFFFFFFFFF, "30828-09-14 02:48:05.477 day 4"}}) {
        const FILETIME from = Ticks(row.ticks);
        SYSTEMTIME to = {};
        SetLastError(kUnchanged);
        EXPECT_EQ(FileTimeToSystemTime(&from, &to), TRUE) << row.ticks;
        EXPECT_EQ(Describe(to), row.date);
        EXPECT_EQ(GetLastError(), kUnchanged);
    }
}

TEST(SystemTime, AFileTimeWithTheHighestBitIsRefused) {
    for (const std::uint64_t ticks : {0x8000000000000000u, 0xFFFFFFFFFFFFFFFFu}) {
        const FILETIME from = Ticks(ticks);
        SYSTEMTIME to = {1, 2, 3, 4, 5, 6, 7, 8};
        EXPECT_EQ(FileTimeToSystemTime(&from, &to), FALSE);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
        EXPECT_EQ(Describe(to), "1-02-04 05:06:07.008 day 3") << "untouched";
    }
}

TEST(SystemTime, DatesBecomeFileTimes) {
    struct Row {
        SYSTEMTIME date;
        std::uint64_t ticks;
    };
    for (const Row& row :
         {Row{{1601, 1, 0, 1, 0, 0, 0, 0}, 0}, Row{{2006, 5, 0, 17, 14, 30, 15, 123}, 0x01C679BE69BABA30},
          Row{{2006, 5, 99, 17, 14, 30, 15, 123}, 0x01C679BE69BABA30},  // any day of the week
          Row{{4501, 1, 0, 1, 0, 0, 0, 0}, 0x0CB34557A3DD4000}, Row{{2004, 2, 0, 29, 0, 0, 0, 0}, 127224864000000000},
          Row{{30828, 9, 0, 14, 2, 48, 5, 477}, 0x7FFFFFFFFFFFFFFF / 10'000 * 10'000}}) {
        FILETIME to = {};
        EXPECT_EQ(SystemTimeToFileTime(&row.date, &to), TRUE) << Describe(row.date);
        EXPECT_EQ(Ticks(to), row.ticks) << Describe(row.date);
    }
}

TEST(SystemTime, DatesThatAreNoneAreRefused) {
    const SYSTEMTIME rows[] = {
        {1600, 12, 0, 31, 0, 0, 0, 0}, {30829, 1, 0, 1, 0, 0, 0, 0},   {30828, 9, 0, 14, 2, 48, 5, 478},
        {2006, 0, 0, 1, 0, 0, 0, 0},   {2006, 13, 0, 1, 0, 0, 0, 0},   {2006, 1, 0, 0, 0, 0, 0, 0},
        {2006, 1, 0, 32, 0, 0, 0, 0},  {2006, 2, 0, 29, 0, 0, 0, 0},   {1900, 2, 0, 29, 0, 0, 0, 0},
        {2006, 4, 0, 31, 0, 0, 0, 0},  {2006, 1, 0, 1, 24, 0, 0, 0},   {2006, 1, 0, 1, 0, 60, 0, 0},
        {2006, 1, 0, 1, 0, 0, 60, 0},  {2006, 1, 0, 1, 0, 0, 0, 1000}, {},
    };
    for (const SYSTEMTIME& date : rows) {
        FILETIME to = {11, 22};
        SetLastError(kUnchanged);
        EXPECT_EQ(SystemTimeToFileTime(&date, &to), FALSE) << Describe(date);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER) << Describe(date);
        EXPECT_TRUE(to.dwLowDateTime == 11 && to.dwHighDateTime == 22) << "untouched: " << Describe(date);
    }
}

TEST(SystemTime, EveryDayOfFiveCenturiesSurvivesTheRoundTrip) {
    constexpr std::uint64_t kDay = 864'000'000'000;
    WORD weekDay = 1;
    for (std::uint64_t day = 0; day < 500 * 366; ++day, weekDay = static_cast<WORD>((weekDay + 1) % 7)) {
        const FILETIME from = Ticks(day * kDay + 1'234'567 * 10'000ull);
        SYSTEMTIME date = {};
        FILETIME back = {};
        ASSERT_EQ(FileTimeToSystemTime(&from, &date), TRUE);
        ASSERT_EQ(date.wDayOfWeek, weekDay) << Describe(date);
        ASSERT_EQ(SystemTimeToFileTime(&date, &back), TRUE);
        ASSERT_EQ(Ticks(back), Ticks(from)) << Describe(date);
    }
}

TEST(SystemTime, FileTimesCompareByBothHalves) {
    struct Row {
        std::uint64_t a, b;
        LONG result;
    };
    for (const Row& row : {Row{5, 5, 0}, Row{5, 6, -1}, Row{0x1'0000'0000, 0xFFFF'FFFF, 1}, Row{0, ~0ull, -1}}) {
        const FILETIME a = Ticks(row.a);
        const FILETIME b = Ticks(row.b);
        EXPECT_EQ(CompareFileTime(&a, &b), row.result) << row.a << " and " << row.b;
    }
}

TEST(SystemTime, IsTheDeviceClocks) {
    const TestDevice device("America/New_York");
    SYSTEMTIME utc = {};
    SYSTEMTIME local = {};
    GetSystemTime(&utc);
    GetLocalTime(&local);
    EXPECT_EQ(Describe(utc), "2026-03-02 10:00:00.000 day 1");
    EXPECT_EQ(Describe(local), "2026-03-02 05:00:00.000 day 1");
    const DWORD before = GetTickCount();
    Sleep(1'500);
    EXPECT_EQ(GetTickCount() - before, 1'500u);
    GetSystemTime(&utc);
    EXPECT_EQ(Describe(utc), "2026-03-02 10:00:01.500 day 1");
}

TEST(LocalFileTime, UsesTheBiasOfNowForEveryDate) {
    const TestDevice device("America/New_York");
    kez::control::FreezeClock({2006, 11, 0, 15, 0, 0, 0, 0});
    for (const WORD month : {1, 7}) {  // July was on daylight saving time, which makes no difference
        const SYSTEMTIME noon = {2006, month, 0, 15, 12, 0, 0, 0};
        FILETIME local = {};
        FILETIME utc = {};
        SYSTEMTIME result = {};
        SystemTimeToFileTime(&noon, &local);
        EXPECT_EQ(LocalFileTimeToFileTime(&local, &utc), TRUE);
        FileTimeToSystemTime(&utc, &result);
        EXPECT_EQ(result.wHour, 17) << "month " << month;
        FILETIME back = {};
        EXPECT_EQ(FileTimeToLocalFileTime(&utc, &back), TRUE);
        EXPECT_EQ(Ticks(back), Ticks(local));
    }
}

TEST(LocalFileTime, WrapsAtBothEnds) {
    kez::control::SetCurrentBias(-60);
    constexpr std::uint64_t kHour = 36'000'000'000;
    FILETIME time = Ticks(0);
    EXPECT_EQ(LocalFileTimeToFileTime(&time, &time), TRUE);
    EXPECT_EQ(Ticks(time), 0 - kHour);
    EXPECT_EQ(FileTimeToLocalFileTime(&time, &time), TRUE);
    EXPECT_EQ(Ticks(time), 0u);
    kez::control::SetCurrentBias(60);
    time = Ticks(~0ull);
    EXPECT_EQ(LocalFileTimeToFileTime(&time, &time), TRUE);
    EXPECT_EQ(Ticks(time), kHour - 1);
    kez::control::SetCurrentBias(std::nullopt);
}

TEST(TimeZoneInformation, TellsTheRulesOfTheDevicesZone) {
    const TestDevice device("Europe/Berlin");
    TIME_ZONE_INFORMATION zone;
    EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_STANDARD);
    EXPECT_EQ(zone.Bias, -60);
    EXPECT_EQ(zone.StandardBias, 0);
    EXPECT_EQ(zone.DaylightBias, -60);
    EXPECT_EQ(ToUtf8(zone.StandardName), "CET");
    EXPECT_EQ(ToUtf8(zone.DaylightName), "CEST");
    EXPECT_EQ(Describe(zone.DaylightDate), "0-03-05 02:00:00.000 day 0") << "last Sunday of March";
    EXPECT_EQ(Describe(zone.StandardDate), "0-10-05 03:00:00.000 day 0");
    kez::control::FreezeClock({2026, 7, 0, 1, 0, 0, 0, 0});
    EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_DAYLIGHT);
    EXPECT_EQ(zone.Bias, -60);
}

TEST(TimeZoneInformation, KnowsZonesWithoutDaylightSavingTime) {
    const TestDevice device("Asia/Kolkata");
    TIME_ZONE_INFORMATION zone;
    EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(zone.Bias, -330);
    EXPECT_EQ(ToUtf8(zone.StandardName), "IST");
    EXPECT_EQ(zone.DaylightBias, 0);
    EXPECT_EQ(zone.StandardDate.wMonth, 0);
    EXPECT_EQ(zone.DaylightDate.wMonth, 0);
}

TEST(TimeZoneInformation, MovesTheDayWithATimeBeyondIt) {
    const TestDevice device("America/Nuuk");  // Saturday at 23 or 24 o'clock, stated as Sunday at -1 or 0
    TIME_ZONE_INFORMATION zone;
    GetTimeZoneInformation(&zone);
    EXPECT_EQ(zone.Bias, 120);
    EXPECT_EQ(zone.DaylightDate.wMonth, 3);
    EXPECT_EQ(zone.DaylightDate.wDayOfWeek, 6);
    EXPECT_LT(zone.DaylightDate.wHour, 24);
}

TEST(TimeZoneInformation, FollowsABiasThatWasSet) {
    const TestDevice device("Europe/Berlin");
    kez::control::SetCurrentBias(-75);
    TIME_ZONE_INFORMATION zone;
    EXPECT_EQ(GetTimeZoneInformation(&zone), TIME_ZONE_ID_UNKNOWN);
    EXPECT_EQ(zone.Bias, -75);
}

TEST(SystemTime, CallsCanBeMadeToFail) {
    FILETIME file = Ticks(1);
    SYSTEMTIME date = {2006, 1, 0, 1, 0, 0, 0, 0};
    TIME_ZONE_INFORMATION zone;
    struct Row {
        const char* call;
        std::function<bool()> fails;
    };
    const Row rows[] = {
        {"SystemTimeToFileTime", [&] { return !SystemTimeToFileTime(&date, &file); }},
        {"FileTimeToSystemTime", [&] { return !FileTimeToSystemTime(&file, &date); }},
        {"LocalFileTimeToFileTime", [&] { return !LocalFileTimeToFileTime(&file, &file); }},
        {"FileTimeToLocalFileTime", [&] { return !FileTimeToLocalFileTime(&file, &file); }},
        {"GetTimeZoneInformation", [&] { return GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID; }},
    };
    for (const Row& row : rows) {
        kez::control::PlanFault({row.call, 1, 1, 77});
        EXPECT_TRUE(row.fails()) << row.call;
        EXPECT_EQ(GetLastError(), 77u) << row.call;
    }
    kez::control::ClearFaults();
    EXPECT_EQ(LocalFileTimeToFileTime(nullptr, &file), FALSE);
    EXPECT_EQ(FileTimeToLocalFileTime(&file, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

}  // namespace
