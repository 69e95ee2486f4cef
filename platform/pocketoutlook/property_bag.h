// The values of one item by property identifier, on top of a record's property set: a property is there or it is
// absent; an empty text, an empty blob and "no date" are absent. Dates are kept as wall clock ticks, the way records
// hold them, and handed out as DATE. Copies share their values until one of them changes.
#pragma once

#include <pimstore.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/propertydb/property_set.h"

namespace kez::pocketoutlook {

// A number (BOOL and FILETIME too), a double, a text or bytes, as the type half of the identifier says.
using Value = propertydb::Value;

// A wall clock time as a FILETIME counts: 100 ns since 1601-01-01.
using WallTicks = std::int64_t;
inline constexpr WallTicks kNoDate = 0x0CB34557A3DD4000;  // 4501-01-01, as which "none" is written

// A DATE to the nearest millisecond, and back to the very DATE that SystemTimeToVariantTime makes of that time.
WallTicks TicksFromDate(DATE date);
DATE DateFromTicks(WallTicks ticks);
FILETIME FileTimeFromTicks(WallTicks ticks);
WallTicks TicksFromFileTime(const FILETIME& time);

class PropertyBag {
 public:
    // What happens to a bag from here on: tells whether one of its values is another than before. Only what changes is
    // copied. One at a time on a bag.
    class Watch {
     public:
        explicit Watch(PropertyBag& bag);
        ~Watch();
        Watch(const Watch&) = delete;
        Watch& operator=(const Watch&) = delete;
        bool Changed() const;

     private:
        friend class PropertyBag;
        struct Old {
            CEPROPID id;
            Value value;  // none where the property was absent
        };
        void Note(CEPROPID id);

        PropertyBag& m_bag;
        std::vector<Old> m_old;
    };

    PropertyBag() = default;
    PropertyBag(const PropertyBag& other) : m_set(other.m_set) {}
    PropertyBag(PropertyBag&& other) noexcept : m_set(std::move(other.m_set)) {}
    PropertyBag& operator=(PropertyBag other) noexcept {
        m_set.swap(other.m_set);
        return *this;
    }
    explicit PropertyBag(propertydb::PropertySet set)
        : m_set(std::make_shared<propertydb::PropertySet>(std::move(set))) {}
    const propertydb::PropertySet& Set() const;

    bool Has(CEPROPID id) const { return Find(id) != nullptr; }
    const Value* Find(CEPROPID id) const;  // null where absent; valid until the bag changes
    // Keeps `value` under `id`; an empty text or blob and kNoDate remove the property. The alternative must fit the
    // type half of `id`.
    void Set(CEPROPID id, Value value);
    void Remove(CEPROPID id);

    // The value, or what stands for absence: empty text, 0, false, DATE_NONE, no bytes.
    std::u16string_view Text(CEPROPID id) const;
    LONG Number(CEPROPID id) const { return static_cast<LONG>(Set().Number(id)); }
    bool Flag(CEPROPID id) const { return Set().Number(id) != 0; }
    DATE Date(CEPROPID id) const;
    WallTicks Ticks(CEPROPID id) const { return Set().Number(id, kNoDate); }
    propertydb::Bytes Bytes(CEPROPID id) const { return Set().Blob(id); }

    void SetText(CEPROPID id, std::u16string_view text) { Set(id, std::u16string(text)); }
    void SetNumber(CEPROPID id, LONG number);  // as the integer type that `id` names
    void SetFlag(CEPROPID id, bool flag) { Set(id, Value(std::int64_t{flag})); }
    void SetDate(CEPROPID id, DATE date) { SetTicks(id, date == DATE_NONE ? kNoDate : TicksFromDate(date)); }
    void SetTicks(CEPROPID id, WallTicks ticks) { Set(id, Value(ticks)); }
    void SetBytes(CEPROPID id, propertydb::Bytes bytes) { Set(id, Value(std::move(bytes))); }

    // Entries ascending by identifier.
    auto begin() const { return Set().begin(); }
    auto end() const { return Set().end(); }
    bool operator==(const PropertyBag& other) const { return m_set == other.m_set || Set() == other.Set(); }

 private:
    // The values, for a change of the one of `id`.
    propertydb::PropertySet& Own(CEPROPID id);

    std::shared_ptr<propertydb::PropertySet> m_set;  // null: no values
    Watch* m_watch = nullptr;                        // stays with this bag when values are assigned
};

// What turns `from` into `to`, as a record update takes it: entries without a value remove the property.
propertydb::PropertySet Difference(const PropertyBag& from, const PropertyBag& to);

}  // namespace kez::pocketoutlook
