// Values by identifier, and the arithmetic between DATE, FILETIME and the ticks that records hold.
#include "platform/pocketoutlook/property_bag.h"

#include <cmath>

namespace kez::pocketoutlook {
namespace {

constexpr std::int64_t kTicksPerMillisecond = 10'000;
constexpr std::int64_t kMillisecondsPerDay = 86'400'000;
constexpr std::int64_t kDaysTo1899 = 109'205;  // from 1601-01-01 to 1899-12-30

// Whether a value stands for none: an empty text, no bytes, "no date".
bool MeansAbsent(CEPROPID id, const Value& value) {
    if (const auto* text = std::get_if<std::u16string>(&value)) return text->empty();
    if (const auto* bytes = std::get_if<propertydb::Bytes>(&value)) return bytes->empty();
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        return TypeFromPropID(id) == CEVT_FILETIME && *number == kNoDate;
    }
    return std::holds_alternative<std::monostate>(value);
}

}  // namespace

WallTicks TicksFromDate(DATE date) {
    const double day = std::trunc(date);
    const auto milliseconds = std::llround(std::fabs(date - day) * static_cast<double>(kMillisecondsPerDay));
    return ((static_cast<std::int64_t>(day) + kDaysTo1899) * kMillisecondsPerDay + milliseconds) * kTicksPerMillisecond;
}

DATE DateFromTicks(WallTicks ticks) {
    const std::int64_t milliseconds = ticks / kTicksPerMillisecond;
    const std::int64_t day = milliseconds / kMillisecondsPerDay;
    const std::int64_t time = milliseconds % kMillisecondsPerDay;
    // Added part by part, as SystemTimeToVariantTime does: in one step the sum would differ in the last bit.
    DATE date = static_cast<DATE>(day - kDaysTo1899);
    date += static_cast<double>(time / 3'600'000) / 24.0;
    date += static_cast<double>(time / 60'000 % 60) / 1'440.0;
    date += static_cast<double>(time / 1'000 % 60) / 86'400.0;
    return date + static_cast<double>(time % 1'000) / static_cast<double>(kMillisecondsPerDay);
}

FILETIME FileTimeFromTicks(WallTicks ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(static_cast<std::uint64_t>(ticks) >> 32)};
}

WallTicks TicksFromFileTime(const FILETIME& time) {
    return static_cast<WallTicks>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) | time.dwLowDateTime);
}

const propertydb::PropertySet& PropertyBag::Set() const {
    static const propertydb::PropertySet none;
    return m_set ? *m_set : none;
}

propertydb::PropertySet& PropertyBag::Own(CEPROPID id) {
    if (m_watch) m_watch->Note(id);
    if (!m_set || m_set.use_count() > 1) m_set = std::make_shared<propertydb::PropertySet>(Set());
    return *m_set;
}

const Value* PropertyBag::Find(CEPROPID id) const { return Set().Find(id); }

void PropertyBag::Remove(CEPROPID id) {
    if (Has(id)) Own(id).Erase(id);
}

void PropertyBag::Set(CEPROPID id, Value value) {
    if (MeansAbsent(id, value)) {
        Remove(id);
    } else {
        Own(id).Set(id, std::move(value));
    }
}

std::u16string_view PropertyBag::Text(CEPROPID id) const {
    const Value* value = Set().Find(id);
    const auto* text = value ? std::get_if<std::u16string>(value) : nullptr;
    return text ? std::u16string_view(*text) : std::u16string_view();
}

DATE PropertyBag::Date(CEPROPID id) const {
    const WallTicks ticks = Ticks(id);
    return ticks == kNoDate ? DATE_NONE : DateFromTicks(ticks);
}

void PropertyBag::SetNumber(CEPROPID id, LONG number) {
    switch (TypeFromPropID(id)) {
        case CEVT_I2:
            return Own(id).SetNumber(id, static_cast<SHORT>(number));
        case CEVT_UI2:
            return Own(id).SetNumber(id, static_cast<USHORT>(number));
        case CEVT_UI4:
            return Own(id).SetNumber(id, static_cast<ULONG>(number));
        default:
            return Own(id).SetNumber(id, number);
    }
}

PropertyBag::Watch::Watch(PropertyBag& bag) : m_bag(bag) { m_bag.m_watch = this; }

PropertyBag::Watch::~Watch() { m_bag.m_watch = nullptr; }

void PropertyBag::Watch::Note(CEPROPID id) {
    for (const Old& old : m_old) {
        if (old.id == id) return;
    }
    const Value* value = m_bag.Find(id);
    m_old.push_back({id, value ? *value : Value()});
}

bool PropertyBag::Watch::Changed() const {
    for (const Old& old : m_old) {
        const Value* now = m_bag.Find(old.id);
        if (now ? *now != old.value : !std::holds_alternative<std::monostate>(old.value)) return true;
    }
    return false;
}

propertydb::PropertySet Difference(const PropertyBag& from, const PropertyBag& to) {
    propertydb::PropertySet changes;
    if (&from.Set() == &to.Set()) return changes;
    auto old = from.begin();
    auto now = to.begin();
    while (old != from.end() || now != to.end()) {
        if (now == to.end() || (old != from.end() && old->id < now->id)) {
            changes.SetRemoved(old->id);
            ++old;
        } else if (old == from.end() || now->id < old->id) {
            changes.Set(now->id, now->value);
            ++now;
        } else {
            if (old->value != now->value) changes.Set(now->id, now->value);
            ++old;
            ++now;
        }
    }
    return changes;
}

}  // namespace kez::pocketoutlook
