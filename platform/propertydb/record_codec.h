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
int FixedSize(WORD type);

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
// The view of `id` in a sorted list; null where it is missing or removed.
const PropertyView* FindView(const PropertyViews& views, CEPROPID id);

}  // namespace kez::propertydb
