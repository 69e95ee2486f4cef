// What the tests of the bridge on doubles share: a session on a recording application, recorded traces, and the check
// that everything is given back.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>

#include "poom/ce_poom.h"
#include "tests/doubles/recorded_trace.h"
#include "tests/doubles/recording_pocket_outlook.h"
#include "tests/poom/trace_levels.h"
#include "tests/support/live_counts_check.h"

namespace kez::tests {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using Lines = std::vector<TraceLine>;
using Texts = std::vector<std::string>;

// Expects at its end that no double of the test is left.
struct NoDoubleIsLeft {
    ~NoDoubleIsLeft() { EXPECT_EQ(g_livingDoubles, 0) << "doubles whose reference was not given back"; }
};

class Bridge : public ::testing::Test {
 protected:
    Bridge() {
        CheckEachTrace(ExpectItsLevel);
        CCEPoom::m_polApp = app.Get();
        session.emplace();
        Forget();
    }
    ~Bridge() override {
        session.reset();
        CCEPoom::m_polApp = nullptr;
        TakeTraces();
        CheckEachTrace(nullptr);
    }

    // Drops what was traced and called so far.
    void Forget() {
        TakeTraces();
        calls.Take();
    }
    // What a caller does with a text that it was handed.
    static std::u16string Taken(WCHAR* text) {
        const std::u16string result = text != nullptr ? text : u"";
        delete[] text;
        return result;
    }

    LiveCountsCheck liveCounts;
    NoDoubleIsLeft noDoubleIsLeft;
    RecordedCalls calls;
    Owned<RecordingApplication> app{calls};
    Owned<RecordingAppointment> appointment{calls};
    Owned<RecordingTask> task{calls};
    Owned<RecordingContact> contact{calls};
    Owned<RecordingPattern> pattern{calls};
    Owned<RecordingItem> item{calls};
    std::optional<CCEPoom> session;
};

inline CEPROPVAL Property(CEPROPID id) {
    CEPROPVAL property = {};
    property.propid = id;
    return property;
}
inline CEPROPVAL TextProperty(CEPROPID id, const WCHAR* text) {
    CEPROPVAL property = Property(id);
    property.val.lpwstr = const_cast<LPWSTR>(text);
    return property;
}
inline CEPROPVAL ShortProperty(CEPROPID id, SHORT value) {
    CEPROPVAL property = Property(id);
    property.val.iVal = value;
    return property;
}
inline CEPROPVAL LongProperty(CEPROPID id, LONG value) {
    CEPROPVAL property = Property(id);
    property.val.lVal = value;
    return property;
}
inline FILETIME FileTimeOf(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0) {
    const SYSTEMTIME parts = {year, month, 0, day, hour, minute, 0, 0};
    FILETIME time = {};
    EXPECT_TRUE(SystemTimeToFileTime(&parts, &time));
    return time;
}
inline DATE DateOf(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0) {
    SYSTEMTIME parts = {year, month, 0, day, hour, minute, 0, 0};
    DATE date = 0.0;
    EXPECT_EQ(SystemTimeToVariantTime(&parts, &date), 1);
    return date;
}
inline CEPROPVAL DateProperty(CEPROPID id, const FILETIME& time) {
    CEPROPVAL property = Property(id);
    property.val.filetime = time;
    return property;
}

}  // namespace kez::tests
