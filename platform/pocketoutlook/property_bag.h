// The values of one item by property identifier. A property is there or it is absent; an empty text, an empty blob
// and "no date" are absent. Dates are kept as wall clock ticks, the way records hold them, and handed out as DATE.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace kez::pocketoutlook {

// A wall clock time as a FILETIME counts: 100 ns since 1601-01-01.
struct WallTicks {
    std::uint64_t ticks = 0;
    bool operator==(const WallTicks&) const = default;
};

// The alternative follows from the type half of the identifier: CEVT_I2, UI2, I4, UI4 (and the automatic number), R8,
// BOOL, FILETIME, LPWSTR, BLOB (and streams).
using Value = std::variant<std::int16_t, std::uint16_t, std::int32_t, std::uint32_t, double, bool, WallTicks,
                           std::u16string, std::vector<BYTE>>;

// A DATE to the nearest millisecond, and back; DATE_NONE maps to 4501-01-01 like any other day.
WallTicks TicksFromDate(DATE date);
DATE DateFromTicks(WallTicks ticks);
FILETIME FileTimeFromTicks(WallTicks ticks);
WallTicks TicksFromFileTime(const FILETIME& time);
inline constexpr WallTicks kNoDate{0x0CB34557A3DD4000};  // 4501-01-01, as which "none" is written

class PropertyBag {
 public:
    using Entry = std::pair<CEPROPID, Value>;

    bool Has(CEPROPID id) const { return Find(id) != nullptr; }
    const Value* Find(CEPROPID id) const;  // null where absent; valid until the bag changes
    // Keeps `value` under `id`; an empty text or blob and kNoDate remove the property. The alternative must fit the
    // type half of `id`.
    void Set(CEPROPID id, Value value);
    void Remove(CEPROPID id);
    void Clear() { m_entries.clear(); }

    // The value, or what stands for absence: empty text, 0, false, DATE_NONE, no bytes.
    std::u16string_view Text(CEPROPID id) const;
    std::uint32_t Number(CEPROPID id) const;  // of any of the integer types, sign-extended
    bool Flag(CEPROPID id) const;
    DATE Date(CEPROPID id) const;
    double Double(CEPROPID id) const;
    const std::vector<BYTE>& Bytes(CEPROPID id) const;

    void SetText(CEPROPID id, std::u16string_view text) { Set(id, std::u16string(text)); }
    void SetNumber(CEPROPID id, std::uint32_t number);  // as the integer type that `id` names
    void SetFlag(CEPROPID id, bool flag) { Set(id, flag); }
    void SetDate(CEPROPID id, DATE date) { Set(id, date == DATE_NONE ? kNoDate : TicksFromDate(date)); }
    void SetBytes(CEPROPID id, std::vector<BYTE> bytes) { Set(id, std::move(bytes)); }

    // Entries ascending by identifier.
    auto begin() const { return m_entries.begin(); }
    auto end() const { return m_entries.end(); }
    std::size_t Size() const { return m_entries.size(); }
    bool operator==(const PropertyBag&) const = default;

 private:
    std::vector<Entry> m_entries;  // ascending by identifier
};

// What turns one bag into another.
struct PropertyChanges {
    std::vector<PropertyBag::Entry> set;
    std::vector<CEPROPID> removed;
    bool Empty() const { return set.empty() && removed.empty(); }
};
PropertyChanges Difference(const PropertyBag& from, const PropertyBag& to);

}  // namespace kez::pocketoutlook
