// Sort keys: a record's place in a sort order as bytes that compare as the order does, so that an index over them is
// the order and every seek is a range of them.
//
// A key has one part for each property of the order, and the parts of records that differ never begin each other:
//   a byte that tells whether the property is there: 1 missing and first, 2 there, 3 missing and last
//   the value: numbers with the high byte first and the sign turned; text as folded 16-bit units, then 0; bytes with
//   0 written as 0 FF, then 0 0. All bits of the value are turned for a descending property.
// The record's identifier in 4 bytes ends the key, so that equal ones stand in the order of their identifiers. In a
// unique order only keys with a missing property get it: those are equal to nothing.
#pragma once

#include <windbase.h>

#include <span>
#include <string>

#include "platform/propertydb/record_codec.h"

namespace kez::propertydb {

// Appends the part of a present value.
void AppendKeyPart(const PropertyView& value, DWORD flags, std::string& key);

// The key of a record with those properties.
void MakeSortKey(const SORTORDERSPECEX& order, const PropertyViews& properties, CEOID oid, std::string& key);

// What all keys with these leading values begin with. Throws VolumeError 87 where they are not the leading
// properties of the order. With `asPrefix` the last value is text, and keys count whose text begins with it.
std::string KeyPrefix(const SORTORDERSPECEX& order, std::span<const PropertyView> values, bool asPrefix);

// The least key after all that begin with `prefix`.
std::string AfterPrefix(std::string prefix);

// Text as the order's flags compare it.
void AppendFolded(const char16_t* text, std::size_t length, DWORD flags, std::u16string& folded);

}  // namespace kez::propertydb
