// Automation strings: their layout, their lengths, and who counts them.
#include <gtest/gtest.h>

#include <string>

#include "platform/control/control.h"
#include "tests/support/live_counts_check.h"

namespace {

using kez::tests::LiveCountsCheck;

DWORD PrefixOf(BSTR text) {
    DWORD bytes = 0;
    std::memcpy(&bytes, reinterpret_cast<const BYTE*>(text) - 4, 4);
    return bytes;
}

class AutomationString : public testing::Test {
 protected:
    ~AutomationString() override { kez::control::ClearFaults(); }
    LiveCountsCheck m_live;
};

TEST_F(AutomationString, HasItsLengthInBytesBeforeTheTextAndAZeroBehind) {
    BSTR text = SysAllocString(TEXT("abc"));
    EXPECT_EQ(PrefixOf(text), 6u);
    EXPECT_EQ(std::u16string(text, 4), std::u16string(u"abc\0", 4));
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(SysStringByteLen(text), 6u);
    SysFreeString(text);
}

TEST_F(AutomationString, OfNothingIsNothing) {
    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    EXPECT_EQ(SysStringByteLen(nullptr), 0u);
    SysFreeString(nullptr);
}

TEST_F(AutomationString, CanBeEmpty) {
    for (BSTR text : {SysAllocString(TEXT("")), SysAllocStringLen(TEXT("abc"), 0), SysAllocStringLen(nullptr, 0)}) {
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(SysStringLen(text), 0u);
        EXPECT_EQ(text[0], 0);
        SysFreeString(text);
    }
}

TEST_F(AutomationString, KeepsZerosInside) {
    BSTR text = SysAllocStringLen(TEXT("a\0b\0c"), 5);
    EXPECT_EQ(SysStringLen(text), 5u) << "the stored length, not a search for a zero";
    EXPECT_EQ(std::u16string(text, 6), std::u16string(u"a\0b\0c\0", 6));
    SysFreeString(text);
}

TEST_F(AutomationString, WithoutATextIsRoomWithATerminator) {
    BSTR text = SysAllocStringLen(nullptr, 4);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(SysStringLen(text), 4u);
    EXPECT_EQ(text[4], 0);
    SysFreeString(text);
}

TEST_F(AutomationString, TooLongIsRefused) {
    for (const UINT length : {0x80000000u, 0xFFFFFFFFu, 0x40000000u}) {
        EXPECT_EQ(SysAllocStringLen(nullptr, length), nullptr) << length;
    }
}

TEST_F(AutomationString, IsCountedWhileItLives) {
    const auto before = kez::control::Live().automationStrings;
    BSTR first = SysAllocString(TEXT("a"));
    BSTR second = SysAllocStringLen(nullptr, 2);
    EXPECT_EQ(kez::control::Live().automationStrings, before + 2);
    SysFreeString(first);
    SysFreeString(second);
    EXPECT_EQ(kez::control::Live().automationStrings, before);
}

TEST_F(AutomationString, CanBeMadeToFail) {
    kez::control::PlanFault({"SysAllocString", 1, 1, 0});
    kez::control::PlanFault({"SysAllocStringLen", 1, 1, 0});
    EXPECT_EQ(SysAllocString(TEXT("a")), nullptr);
    EXPECT_EQ(SysAllocStringLen(TEXT("a"), 1), nullptr);
    BSTR text = SysAllocString(TEXT("a"));
    EXPECT_NE(text, nullptr) << "once only";
    SysFreeString(text);
}

}  // namespace
