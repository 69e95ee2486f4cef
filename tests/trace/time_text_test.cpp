// Times as text.
#include <gtest/gtest.h>

#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace {

const SYSTEMTIME kMoment = {2006, 5, 3, 17, 14, 30, 15, 123};

TEST(TimeText, DefaultFormatShowsDateAndTimeToTheMillisecond) {
    EXPECT_STREQ(dbglogSystemTimeText(nullptr, &kMoment), "2006/05/17 14:30:15.123");
}

TEST(TimeText, FormatOfTheCallerGetsTheSameSevenNumbers) {
    EXPECT_STREQ(dbglogSystemTimeText("%d-%d-%d", &kMoment), "2006-5-17");
}

TEST(TimeText, YearOfFiveDigitsFits) {
    SYSTEMTIME far = kMoment;
    far.wYear = 30828;
    EXPECT_STREQ(dbglogSystemTimeText(nullptr, &far), "30828/05/17 14:30:15.123");
}

TEST(TimeText, LongerTextIsCutTo24Characters) {
    EXPECT_STREQ(dbglogSystemTimeText("%030d", &kMoment), "000000000000000000000000");
}

TEST(TimeText, EachCallClearsTheSharedBuffer) {
    const char* first = dbglogSystemTimeText(nullptr, &kMoment);
    EXPECT_STREQ(dbglogSystemTimeText("%d", &kMoment), "2006");
    EXPECT_STREQ(first, "2006");
    EXPECT_EQ(std::string(g_trace.timeText + 4, 21), std::string(21, '\0'));
}

TEST(TimeText, NullTimesAreEmpty) {
    EXPECT_STREQ(dbglogSystemTimeText(nullptr, nullptr), "");
    EXPECT_STREQ(dbglogFileTimeText(nullptr, nullptr), "");
}

TEST(TimeText, FileTimeIsConverted) {
    const FILETIME time = {0x69BABA30, 0x01C679BE};
    EXPECT_STREQ(dbglogFileTimeText(nullptr, &time), "2006/05/17 14:30:15.123");
    EXPECT_STREQ(dbglogFileTimeText("%d", &time), "2006");
}

TEST(TimeText, FileTimeWithAHalfThatIsZeroOrNegativeIsEmpty) {
    for (const FILETIME time : {FILETIME{0, 0x01C679BE}, FILETIME{0x69BABA30, 0}, FILETIME{0x80000000, 0x01C679BE},
                                FILETIME{0x69BABA30, 0x80000000}, FILETIME{0, 0}}) {
        EXPECT_STREQ(dbglogFileTimeText(nullptr, &time), "")
            << std::hex << time.dwHighDateTime << ' ' << time.dwLowDateTime;
    }
}

TEST(TimeText, VariantTimeIsConverted) {
    EXPECT_STREQ(dbglogVariantTimeText(nullptr, 38854.60434027778), "2006/05/17 14:30:15.000");
    EXPECT_STREQ(dbglogVariantTimeText("%02d:%02d", 0.25), "1899:12");
}

TEST(TimeText, TimeOutOfRangeIsEmpty) {
    dbglogSystemTimeText(nullptr, &kMoment);
    EXPECT_STREQ(dbglogVariantTimeText(nullptr, 1e10), "");
}

}  // namespace
