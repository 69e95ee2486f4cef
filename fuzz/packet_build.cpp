// Any list of properties, added, thinned out, laid out, sent in chunks, received and fingerprinted.
//
// The input is read as a list: what is missing at its end reads as zeroes.
#include <cstdio>
#include <cstdlib>

#include "tests/packet/any_list.h"

namespace {

using namespace kez::tests;

constexpr WORD kTypes[] = {CEVT_I2,     CEVT_UI2,      CEVT_I4,   CEVT_UI4,    CEVT_BOOL, CEVT_R8,
                           CEVT_LPWSTR, CEVT_FILETIME, CEVT_BLOB, CEVT_STREAM, 0,         0xFFFF};

class Reader {
 public:
    Reader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    std::uint8_t Byte() { return m_at < m_size ? m_data[m_at++] : 0; }
    std::uint16_t Word() { return static_cast<std::uint16_t>(Byte() | Byte() << 8); }
    std::uint32_t Dword() { return Word() | static_cast<std::uint32_t>(Word()) << 16; }
    bool AtEnd() const { return m_at >= m_size; }

 private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_at = 0;
};

AnyProperty ReadProperty(Reader& in) {
    AnyProperty any;
    const std::uint8_t kind = in.Byte();
    any.propid = static_cast<CEPROPID>(in.Word()) << 16 | kTypes[(kind & 15) % std::size(kTypes)];
    if (any.propid == 0) any.propid = 0x00010000;
    any.flags = (kind & 0x10) != 0 ? in.Word() : 0;
    any.textIsMissing = (kind & 0x20) != 0;
    if (TypeFromPropID(any.propid) == CEVT_LPWSTR) {
        any.text.resize(in.Byte());
        for (char16_t& c : any.text) c = static_cast<char16_t>(in.Word() | 1);
    } else if (TypeFromPropID(any.propid) == CEVT_BLOB) {
        any.blob.resize((kind & 0x40) != 0 ? in.Word() : in.Byte());
        for (BYTE& byte : any.blob) byte = in.Byte();
    } else if (TypeFromPropID(any.propid) == CEVT_R8) {
        const double whole = static_cast<std::int32_t>(in.Dword());  // the reference's digits have no ties then
        std::memcpy(&any.number, &whole, sizeof whole);
    } else {
        any.number = in.Dword() | static_cast<std::uint64_t>(in.Dword()) << 32;
    }
    return any;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Reader in(data, size);
    AnyList list;
    list.oid = in.Dword();
    for (std::size_t i = 1 + (in.Byte() & 3); i > 0; --i) list.chunks.push_back(1 + in.Word() % 600);
    const std::size_t deletions = in.Byte() & 7;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < deletions; ++i) places.push_back(in.Byte());
    while (!in.AtEnd() && list.properties.size() < 200) list.properties.push_back(ReadProperty(in));
    if (!list.properties.empty()) list.deletions = places;
    const std::string wrong = WhatIsWrongWith(list);
    if (!wrong.empty()) {
        std::fprintf(stderr, "%s\n", wrong.c_str());
        std::abort();
    }
    return 0;
}
