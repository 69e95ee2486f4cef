// The fields of an item, for each type: which packet property carries a field, and how its value is written as text.
//
// The one table that codec, vCard and iCalendar share. A field's name is the published property name. Texts are UTF-8
// with "\n" for a line break. A property that both sides only ever see as part of another field has no row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "sync/item.h"

namespace kez::partner {

enum class ValueKind {
    Text,      // string property
    Day,       // FILETIME, wall clock: "YYYY-MM-DD"
    WallTime,  // FILETIME, wall clock: "YYYY-MM-DD hh:mm:ss"
    Start,     // leaves the device as an automation date in UTC under the FILETIME code, arrives as a FILETIME of the
               // wall clock: "YYYY-MM-DD hh:mm:ss", wall clock
    Date,      // automation date (a double), wall clock: "YYYY-MM-DD hh:mm:ss"
    Number,    // decimal; of the property's own width
    Flag,      // "1" or "0"
    Bytes,     // blob
};

struct RecordField {
    std::uint32_t propertyId;
    std::string_view name;
    ValueKind kind;
    std::size_t limit;      // characters (UTF-16 units) of a text that the device takes; bytes of a blob; else 0
    std::string_view zero;  // the value that a device means where it has none; "" where absence means something
};

// In ascending order of property identifier.
std::span<const RecordField> FieldsOf(sync::ItemType type);

// The row of that name, or null.
const RecordField* FindField(sync::ItemType type, std::string_view name);

// Adds what absence stands for (AllDayEvent "0", Importance "1", ...), so that two items compare as their meaning
// does. Every reader of items ends with it.
void AddDefaults(sync::Item& item);

// The text of recurrence patterns is only what its type uses: removes the fields that it does not, and all of them
// from an item that does not recur.
void DropUnusedRecurrence(sync::Item& item);

// The length of a text as the device counts it, with CR LF for a line break.
std::size_t DeviceLength(std::string_view text);
// As much of the text as the device takes, whole characters.
std::string CutToDevice(std::string_view text, std::size_t limit);

// The filing text that a device makes up for a contact that has none of its own.
std::string DefaultFileAs(const sync::Fields& contact);

// "a,b ,c" as "a, b, c".
std::string CategoriesText(std::string_view text);

// --- Moments of the wall clock, as seconds since 1970-01-01 00:00:00 without any zone -------------------------------

// "YYYY-MM-DD hh:mm:ss" or "YYYY-MM-DD"; false where the text is no moment of the years 1601 to 9999.
bool ParseMoment(std::string_view text, std::int64_t* seconds);
std::string MomentText(std::int64_t seconds);  // "YYYY-MM-DD hh:mm:ss"
std::string DayText(std::int64_t seconds);     // "YYYY-MM-DD"

// 100 ns since 1601, and automation dates (days since 1899-12-30), of such moments.
std::uint64_t FileTimeOf(std::int64_t seconds);
std::int64_t SecondsOfFileTime(std::uint64_t fileTime);
double DateOf(std::int64_t seconds);
std::int64_t SecondsOfDate(double date);  // rounded to the second

// What devices write for no date: 4501-01-01. A year of 1900 or earlier means the same.
inline constexpr std::int64_t kNoMoment = 79870665600;
bool IsNoMoment(std::int64_t seconds);

}  // namespace kez::partner
