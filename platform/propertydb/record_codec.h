// How the properties of a record stand in the volume: one entry after another, ascending by identifier, all numbers
// with the low byte first.
//
//   4 bytes   identifier
//   2 bytes   value of CEVT_I2, CEVT_UI2
//   4 bytes   value of CEVT_I4, CEVT_UI4, CEVT_BOOL, CEVT_RECID, CEVT_AUTO_I4
//   8 bytes   value of CEVT_R8, CEVT_FILETIME, CEVT_AUTO_I8
//   4 bytes n, then n bytes   CEVT_LPWSTR (16-bit units without terminator), CEVT_BLOB
#pragma once

#include <windbase.h>

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/propertydb/property_set.h"

namespace kez::propertydb {

// One property, its value either inside or somewhere that outlives it.
struct PropertyView {
    CEPROPID id = 0;
    bool removed = false;
    std::uint32_t size = 0;       // bytes of the value
    BYTE number[8] = {};          // the value of a type of fixed size
    const BYTE* bytes = nullptr;  // of text or blob

    WORD Type() const { return TypeFromPropID(id); }
    const BYTE* Data() const { return bytes ? bytes : number; }
    bool SameValue(const PropertyView& other) const;
};
using PropertyViews = std::vector<PropertyView>;

// Bytes of a value of that type; 0 for text and blob, which bring their length; -1 for a type no record can hold.
inline int FixedSize(WORD type) {
    switch (type) {
        case CEVT_I2:
        case CEVT_UI2:
            return 2;
        case CEVT_I4:
        case CEVT_UI4:
        case CEVT_BOOL:
        case CEVT_RECID:
        case CEVT_AUTO_I4:
            return 4;
        case CEVT_R8:
        case CEVT_FILETIME:
        case CEVT_AUTO_I8:
            return 8;
        case CEVT_LPWSTR:
        case CEVT_BLOB:
            return 0;
        default:
            return -1;
    }
}

// Elements as a caller of CeWriteRecordProps gives them, sorted by identifier; of two with one identifier the last
// counts. Throws VolumeError 87 for a type or pointer that cannot be, 24 for a value that is too long.
void ViewsOf(std::span<const CEPROPVAL> values, PropertyViews& views);
// The same of a set. Throws VolumeError 87 where value and identifier do not go together.
void ViewsOf(const PropertySet& properties, PropertyViews& views);
// One value, for a search key.
PropertyView ViewOf(const CEPROPVAL& value);
PropertyView ViewOf(const PropertySet::Entry& entry);

// The entries of a record's bytes; they point into it. Throws VolumeError 1358 for bytes that are no record.
void Decode(std::string_view record, PropertyViews& views);
PropertySet DecodeSet(std::string_view record);
// Leaves out removed ones. Throws VolumeError 24 for a record beyond `limit` bytes.
void Encode(const PropertyViews& views, std::string& record, std::size_t limit = CEDB_MAXRECORDSIZE);
// `changes` over `old`, both sorted.
void Merge(const PropertyViews& old, const PropertyViews& changes, PropertyViews& merged);
// The same as bytes: `old` are the entries of `before`, which holds them in order and nothing else. What does not
// change is copied as it stands. Throws as Encode.
void EncodeMerged(std::string_view before, const PropertyViews& old, const PropertyViews& changes, std::string& record);
// The view of `id` in a sorted list; null where it is missing or removed.
inline const PropertyView* FindView(const PropertyViews& views, CEPROPID id) {
    for (const PropertyView& view : views) {
        if (view.id == id) return view.removed ? nullptr : &view;
    }
    return nullptr;
}

}  // namespace kez::propertydb
