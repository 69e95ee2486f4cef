// Any list of properties, as generated and shrunk by rapidcheck.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "tests/packet/any_list.h"
#include "tests/support/live_counts_check.h"

namespace rc {

template <>
struct Arbitrary<kez::tests::AnyProperty> {
    static Gen<kez::tests::AnyProperty> arbitrary() {
        using kez::tests::AnyProperty;
        const auto propid =
            gen::map(gen::pair(gen::inRange<CEPROPID>(1, 0x10000),
                               gen::element<CEPROPID>(CEVT_I2, CEVT_UI2, CEVT_I4, CEVT_UI4, CEVT_BOOL, CEVT_R8,
                                                      CEVT_LPWSTR, CEVT_FILETIME, CEVT_BLOB, CEVT_STREAM, CEVT_RECID)),
                     [](const std::pair<CEPROPID, CEPROPID>& parts) { return parts.first << 16 | parts.second; });
        // The reference prints doubles with the host's library: keep to whole numbers, which have no ties.
        const auto number = gen::map(gen::arbitrary<std::int32_t>(), [](std::int32_t whole) {
            const double real = whole;
            std::uint64_t bits = 0;
            std::memcpy(&bits, &real, sizeof bits);
            return bits;
        });
        const auto text = gen::container<std::u16string>(gen::map(
            gen::inRange<std::uint32_t>(1, 0x10000), [](std::uint32_t unit) { return static_cast<char16_t>(unit); }));
        return gen::build<AnyProperty>(
            gen::set(&AnyProperty::propid, propid),
            gen::set(&AnyProperty::flags, gen::weightedElement<WORD>({{4, 0}, {1, 0x100}, {1, 0x200}, {1, 0xFFFF}})),
            gen::set(&AnyProperty::number, number), gen::set(&AnyProperty::text, text),
            gen::set(&AnyProperty::blob, gen::arbitrary<kez::tests::Bytes>()),
            gen::set(&AnyProperty::textIsMissing, gen::weightedElement<bool>({{9, false}, {1, true}})));
    }
};

template <>
struct Arbitrary<kez::tests::AnyList> {
    static Gen<kez::tests::AnyList> arbitrary() {
        using kez::tests::AnyList;
        const auto sizes = gen::nonEmpty(gen::container<std::vector<std::size_t>>(gen::inRange<std::size_t>(1, 500)));
        return gen::suchThat(gen::build<AnyList>(gen::set(&AnyList::oid), gen::set(&AnyList::properties),
                                                 gen::set(&AnyList::deletions), gen::set(&AnyList::chunks, sizes)),
                             [](const AnyList& list) { return list.deletions.empty() || !list.properties.empty(); });
    }
};

}  // namespace rc

namespace kez::tests {

void showValue(const AnyList& list, std::ostream& out) {
    out << "oid " << list.oid << ", " << list.properties.size() << " properties:";
    for (const AnyProperty& any : list.properties) {
        out << ' ' << std::hex << any.propid << '/' << any.flags << std::dec << '(' << any.text.size() << ','
            << any.blob.size() << ')';
    }
    out << "; deleted " << list.deletions.size() << "; chunks:";
    for (std::size_t size : list.chunks) out << ' ' << size;
}

TEST(PacketProperty, AnyListComesBackEqualWithTheReferenceFingerprint) {
    LiveCountsCheck counts;
    const bool held = rc::check("any list comes back equal", [](const AnyList& list) {
        const std::string wrong = WhatIsWrongWith(list);
        if (!wrong.empty()) RC_FAIL(wrong);
    });
    EXPECT_TRUE(held);
}

}  // namespace kez::tests
