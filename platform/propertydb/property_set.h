// The properties of one record as host code holds them: identifier and value, each identifier at most once, in the
// order of their identifiers.
//
// The low half of an identifier tells what the value is:
//   CEVT_I2, CEVT_I4, CEVT_UI2, CEVT_UI4, CEVT_BOOL  a number (a BOOL is 0 or 1)
//   CEVT_FILETIME                                    a number: 100 ns since 1601-01-01, 64 bits
//   CEVT_R8                                          a double
//   CEVT_LPWSTR                                      text, without its terminator
//   CEVT_BLOB                                        bytes
// std::monostate is no value: in a set that is written it removes the property, a set that is read never holds it.
#pragma once

#include <windbase.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kez::propertydb {

using Bytes = std::vector<BYTE>;
using Value = std::variant<std::monostate, std::int64_t, double, std::u16string, Bytes>;

class PropertySet {
 public:
    struct Entry {
        CEPROPID id;
        Value value;
        bool operator==(const Entry& other) const = default;
    };

    PropertySet() = default;
    PropertySet(std::initializer_list<Entry> entries);

    // Puts `value` in the place of what `id` had. The value's kind has to fit the identifier's type.
    void Set(CEPROPID id, Value value);
    void SetNumber(CEPROPID id, std::int64_t number) { Set(id, Value(number)); }
    void SetText(CEPROPID id, std::u16string text) { Set(id, Value(std::move(text))); }
    // The same for an identifier behind all that are there; `Reserve` makes room for so many.
    void Append(CEPROPID id, Value value) { m_entries.push_back({id, std::move(value)}); }
    void Reserve(std::size_t entries) { m_entries.reserve(entries); }
    // An entry that removes the property from the record it is written to.
    void SetRemoved(CEPROPID id) { Set(id, Value()); }
    // Takes the entry itself out of this set.
    void Erase(CEPROPID id);

    const Value* Find(CEPROPID id) const;  // null where there is none; valid until the set changes
    bool Has(CEPROPID id) const { return Find(id) != nullptr; }
    // The value of `id`, or `otherwise` where it is missing.
    std::int64_t Number(CEPROPID id, std::int64_t otherwise = 0) const;
    double Real(CEPROPID id, double otherwise = 0) const;
    std::u16string Text(CEPROPID id, const std::u16string& otherwise = {}) const;
    Bytes Blob(CEPROPID id) const;

    bool Empty() const { return m_entries.empty(); }
    std::size_t Size() const { return m_entries.size(); }
    std::vector<Entry>::const_iterator begin() const { return m_entries.begin(); }
    std::vector<Entry>::const_iterator end() const { return m_entries.end(); }
    bool operator==(const PropertySet& other) const = default;

 private:
    std::vector<Entry> m_entries;  // ascending by id
};

}  // namespace kez::propertydb
