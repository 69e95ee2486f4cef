// Random lists of properties, from a fixed random start value, on either width.
#include <gtest/gtest.h>
#include <random>

#include "tests/packet/any_list.h"
#include "tests/support/live_counts_check.h"

namespace {

using namespace kez::tests;

constexpr WORD kTypes[] = {CEVT_I2,     CEVT_UI2,      CEVT_I4,   CEVT_UI4,    CEVT_BOOL, CEVT_R8,
                           CEVT_LPWSTR, CEVT_FILETIME, CEVT_BLOB, CEVT_STREAM, 0,         0xFFFF};

AnyList Make(std::mt19937& random) {
    const auto below = [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
    AnyList list;
    list.oid = random();
    const std::size_t count = below(30);
    for (std::size_t i = 0; i < count; ++i) {
        AnyProperty any;
        // Few numbers, so that identifiers repeat; never the identifier 0.
        any.propid = static_cast<CEPROPID>((1 + below(12)) * 0x1234 << 16 | kTypes[below(std::size(kTypes))]);
        any.flags = below(5) == 0 ? static_cast<WORD>(1 + below(0xFFFF)) : 0;
        // Doubles whose text does not depend on how exact ties are rounded: whole numbers.
        any.number = random();
        if (TypeFromPropID(any.propid) == CEVT_R8) {
            const double real = static_cast<std::int32_t>(random());
            std::memcpy(&any.number, &real, sizeof real);
        }
        any.textIsMissing = below(10) == 0;
        any.text.resize(below(40));
        for (char16_t& c : any.text) c = static_cast<char16_t>(1 + below(0xFFFF));
        any.blob.resize(below(8) == 0 ? below(1000) : below(10));
        for (BYTE& byte : any.blob) byte = static_cast<BYTE>(random());
        list.properties.push_back(any);
    }
    for (std::size_t i = count ? below(6) : 0; i > 0; --i) list.deletions.push_back(below(count));
    for (std::size_t i = 1 + below(4); i > 0; --i) list.chunks.push_back(1 + below(below(2) ? 9 : 400));
    return list;
}

TEST(AnyList, ComesBackEqualWithTheReferenceFingerprint) {
    LiveCountsCheck counts;
    std::mt19937 random(20260302);
    for (int round = 0; round < 1500; ++round) {
        ASSERT_EQ(WhatIsWrongWith(Make(random)), "") << "in round " << round;
    }
}

}  // namespace
