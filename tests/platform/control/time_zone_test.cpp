// Time zones: what the compiled files say, the rules behind their end, and the bias of the device.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ctime>
#include <fstream>

#include "platform/control/calendar.h"
#include "platform/control/time_zone.h"
#include "tests/support/test_device.h"

namespace {

using kez::control::BiasAt;
using kez::control::CurrentBias;
using kez::control::DayNumber;
using kez::control::TimeZone;
using kez::control::TimeZoneError;
using kez::tests::TestDevice;
using testing::HasSubstr;

std::int64_t Utc(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    return DayNumber(year, month, day) * 86'400 + hour * 3600 + minute * 60 + second;
}

kez::control::Ticks TicksOf(std::int64_t unixSeconds) {
    return static_cast<kez::control::Ticks>(unixSeconds + 11'644'473'600) * 10'000'000;
}

TEST(TimeZone, KnowsTheOffsetOfEachMoment) {
    struct Row {
        const char* zone;
        std::int64_t utc;
        std::int64_t minutes;
        bool daylight;
    };
    const Row rows[] = {
        {"", Utc(2026, 7, 1), 0, false},
        {"UTC", Utc(2026, 7, 1), 0, false},
        {"Europe/Berlin", Utc(2026, 3, 29, 0, 59, 59), 60, false},
        {"Europe/Berlin", Utc(2026, 3, 29, 1), 120, true},
        {"Europe/Berlin", Utc(2026, 10, 25, 0, 59, 59), 120, true},
        {"Europe/Berlin", Utc(2026, 10, 25, 1), 60, false},
        {"America/New_York", Utc(2006, 4, 2, 6, 59, 59), -300, false},  // the older rules: first Sunday of April
        {"America/New_York", Utc(2006, 4, 2, 7), -240, true},
        {"America/New_York", Utc(2007, 3, 11, 7), -240, true},
        {"Asia/Kolkata", Utc(2026, 1, 1), 330, false},
        {"Australia/Sydney", Utc(2026, 1, 1), 660, true},  // daylight saving time over the turn of the year
        {"Australia/Sydney", Utc(2026, 7, 1), 600, false},
        {"Australia/Lord_Howe", Utc(2026, 1, 1), 660, true},  // half an hour
        {"Australia/Lord_Howe", Utc(2026, 7, 1), 630, false},
        // Behind the end of the file's table.
        {"Europe/Berlin", Utc(2077, 3, 28, 0, 59, 59), 60, false},
        {"Europe/Berlin", Utc(2077, 3, 28, 1), 120, true},
        {"Europe/Berlin", Utc(2077, 10, 31, 1), 60, false},
        {"Australia/Sydney", Utc(2080, 1, 1), 660, true},
        {"Australia/Sydney", Utc(2080, 7, 1), 600, false},
        {"Asia/Kolkata", Utc(2400, 1, 1), 330, false},
    };
    for (const Row& row : rows) {
        const TimeZone zone = TimeZone::Load(row.zone);
        EXPECT_EQ(zone.OffsetAt(row.utc), row.minutes * 60) << row.zone << " at " << row.utc;
        EXPECT_EQ(zone.IsDaylightAt(row.utc), row.daylight) << row.zone << " at " << row.utc;
    }
}

TEST(TimeZone, AgreesWithTheCLibraryOverTwoCenturies) {
    for (const char* name : {"Europe/Berlin", "America/New_York", "Australia/Sydney", "America/Sao_Paulo",
                             "Asia/Tehran", "Europe/Dublin", "Pacific/Apia", "Asia/Kathmandu"}) {
        const TimeZone zone = TimeZone::Load(name);
        setenv("TZ", name, 1);
        tzset();
        const std::int64_t last = sizeof(time_t) == 8 ? Utc(2120, 1, 1) : Utc(2037, 12, 1);
        for (std::int64_t moment = Utc(1950, 1, 1) + 1; moment < last; moment += 13 * 86'400 + 7'919) {
            const auto seconds = static_cast<time_t>(moment);
            struct tm local = {};
            localtime_r(&seconds, &local);
            ASSERT_EQ(zone.OffsetAt(moment), local.tm_gmtoff) << name << " at " << moment;
            ASSERT_EQ(zone.IsDaylightAt(moment), local.tm_isdst > 0) << name << " at " << moment;
        }
    }
    unsetenv("TZ");
    tzset();
}

TEST(TimeZone, RulesAreReadFromTheirText) {
    const auto berlin = TimeZone::ParseRules("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(berlin.standardName, "CET");
    EXPECT_EQ(berlin.standardOffset, 3600);
    EXPECT_TRUE(berlin.hasDaylight);
    EXPECT_EQ(berlin.daylightName, "CEST");
    EXPECT_EQ(berlin.daylightOffset, 7200);
    EXPECT_EQ(berlin.daylightStart.month, 3);
    EXPECT_EQ(berlin.daylightStart.week, 5);
    EXPECT_EQ(berlin.daylightStart.weekDay, 0);
    EXPECT_EQ(berlin.daylightStart.seconds, 2 * 3600);
    EXPECT_EQ(berlin.daylightEnd.month, 10);
    EXPECT_EQ(berlin.daylightEnd.seconds, 3 * 3600);

    const auto lordHowe = TimeZone::ParseRules("<+1030>-10:30<+11>-11,M10.1.0,M4.1.0");
    EXPECT_EQ(lordHowe.standardName, "+1030");
    EXPECT_EQ(lordHowe.standardOffset, 37'800);
    EXPECT_EQ(lordHowe.daylightOffset, 39'600);

    const auto days = TimeZone::ParseRules("AAA5BBB,J60/1:30:15,300/-2");
    EXPECT_EQ(days.standardOffset, -18'000);
    EXPECT_EQ(days.daylightOffset, -14'400);
    EXPECT_EQ(days.daylightStart.month, 0);
    EXPECT_EQ(days.daylightStart.dayOfYear, 59);
    EXPECT_FALSE(days.daylightStart.countsLeapDay);
    EXPECT_EQ(days.daylightStart.seconds, 5'415);
    EXPECT_EQ(days.daylightEnd.dayOfYear, 300);
    EXPECT_TRUE(days.daylightEnd.countsLeapDay);
    EXPECT_EQ(days.daylightEnd.seconds, -7'200);
}

TEST(TimeZone, RulesThatCannotBeReadAreRefused) {
    for (const char* text : {"", "5", "CET", "CET-1CEST", "CET-1CEST,M3.5.0", "CET-1CEST,M13.5.0,M10.5.0",
                             "CET-1CEST,M3.6.0,M10.5.0", "CET-1CEST,M3.5.7,M10.5.0", "CET-1CEST,M3.5.0,M10.5.0 ",
                             "CET-1CEST,J0,J10", "CET-1CEST,366,10", "<CET-1", "CET-168", "CET-1:60"}) {
        EXPECT_THROW(TimeZone::ParseRules(text), TimeZoneError) << "\"" << text << "\"";
    }
}

TEST(TimeZone, NamesThatAreNoneAreRefused) {
    for (const char* name :
         {"Nowhere/City", "../passwd", "/etc/localtime", "Europe", "Europe/Berlin\n", "zone.tab", "a b"}) {
        EXPECT_THROW(TimeZone::Load(name), TimeZoneError) << "\"" << name << "\"";
    }
}

class TimeZoneFile : public testing::Test {
 protected:
    TimeZoneFile() {
        std::ifstream file("/usr/share/zoneinfo/Europe/Berlin", std::ios::binary);
        m_whole.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        setenv("TZDIR", m_folder.Path().c_str(), 1);
    }
    ~TimeZoneFile() override { unsetenv("TZDIR"); }

    std::string ErrorOf(const std::string& bytes) {
        std::ofstream(m_folder.Path() / "Zone", std::ios::binary) << bytes;
        try {
            TimeZone::Load("Zone");
        } catch (const TimeZoneError& error) {
            return error.what();
        }
        return "";
    }

    kez::tests::TemporaryFolder m_folder;
    std::string m_whole;
};

TEST_F(TimeZoneFile, CutAnywhereIsRefused) {
    EXPECT_EQ(ErrorOf(m_whole), "");
    for (std::size_t length = 0; length + 30 < m_whole.size(); length += 7) {
        EXPECT_THAT(ErrorOf(m_whole.substr(0, length)), HasSubstr("\"Zone\"")) << length << " bytes";
    }
}

TEST_F(TimeZoneFile, WithAbsurdCountsIsRefused) {
    for (const std::size_t place : {20u, 24u, 28u, 32u, 36u, 40u}) {
        std::string bytes = m_whole;
        bytes[place] = '\x7F';
        EXPECT_THAT(ErrorOf(bytes), HasSubstr("damaged")) << "count at " << place;
        bytes[place] = '\xFF';
        EXPECT_THAT(ErrorOf(bytes), HasSubstr("damaged")) << "count at " << place;
    }
}

TEST_F(TimeZoneFile, OfTheFirstVersionIsRefused) {
    std::string bytes = m_whole;
    bytes[4] = '\0';
    EXPECT_THAT(ErrorOf(bytes), HasSubstr("version 2"));
}

TEST(DeviceBias, IsThatOfTheDevicesZone) {
    const TestDevice device("America/New_York");
    EXPECT_EQ(BiasAt(TicksOf(Utc(2026, 1, 15))), 300);
    EXPECT_EQ(BiasAt(TicksOf(Utc(2026, 7, 15))), 240);
    EXPECT_EQ(CurrentBias(), 300) << "2 March is standard time";
    kez::control::FreezeClock({2026, 7, 3, 1, 0, 0, 0, 0});
    EXPECT_EQ(CurrentBias(), 240);
}

TEST(DeviceBias, CanBeSetForNowOnly) {
    const TestDevice device("America/New_York");
    kez::control::SetCurrentBias(-90);
    EXPECT_EQ(CurrentBias(), -90);
    EXPECT_EQ(BiasAt(TicksOf(Utc(2026, 7, 15))), 240);
    kez::control::SetCurrentBias(std::nullopt);
    EXPECT_EQ(CurrentBias(), 300);
}

TEST(DeviceBias, FollowsAChangeOfZone) {
    TestDevice device;
    EXPECT_EQ(CurrentBias(), 0);
    kez::control::SetTimeZone("Asia/Kolkata");
    EXPECT_EQ(CurrentBias(), -330);
    EXPECT_EQ(kez::control::CurrentDevice().timeZone, "Asia/Kolkata");
    EXPECT_THROW(kez::control::SetTimeZone("Mars/Olympus"), kez::control::DeviceError);
    EXPECT_EQ(CurrentBias(), -330);
    device.Reopen();
    EXPECT_EQ(CurrentBias(), 0) << "the folder keeps its zone";
}

}  // namespace
