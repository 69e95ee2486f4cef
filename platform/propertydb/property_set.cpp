// A sorted list of entries: records have few properties.
#include "platform/propertydb/property_set.h"

#include <algorithm>

namespace kez::propertydb {

namespace {

bool Before(const PropertySet::Entry& entry, CEPROPID id) { return entry.id < id; }

template <class Entries>
auto Place(Entries& entries, CEPROPID id) {
    return std::lower_bound(entries.begin(), entries.end(), id, Before);
}

}  // namespace

PropertySet::PropertySet(std::initializer_list<Entry> entries) {
    for (const Entry& entry : entries) Set(entry.id, entry.value);
}

void PropertySet::Set(CEPROPID id, Value value) {
    const auto place = Place(m_entries, id);
    if (place != m_entries.end() && place->id == id) {
        place->value = std::move(value);
    } else {
        m_entries.insert(place, Entry{id, std::move(value)});
    }
}

void PropertySet::Erase(CEPROPID id) {
    const auto place = Place(m_entries, id);
    if (place != m_entries.end() && place->id == id) m_entries.erase(place);
}

const Value* PropertySet::Find(CEPROPID id) const {
    const auto place = Place(m_entries, id);
    return place != m_entries.end() && place->id == id ? &place->value : nullptr;
}

std::int64_t PropertySet::Number(CEPROPID id, std::int64_t otherwise) const {
    const Value* value = Find(id);
    const auto* number = value ? std::get_if<std::int64_t>(value) : nullptr;
    return number ? *number : otherwise;
}

double PropertySet::Real(CEPROPID id, double otherwise) const {
    const Value* value = Find(id);
    const auto* number = value ? std::get_if<double>(value) : nullptr;
    return number ? *number : otherwise;
}

std::u16string PropertySet::Text(CEPROPID id, const std::u16string& otherwise) const {
    const Value* value = Find(id);
    const auto* text = value ? std::get_if<std::u16string>(value) : nullptr;
    return text ? *text : otherwise;
}

Bytes PropertySet::Blob(CEPROPID id) const {
    const Value* value = Find(id);
    const auto* bytes = value ? std::get_if<Bytes>(value) : nullptr;
    return bytes ? *bytes : Bytes();
}

}  // namespace kez::propertydb
