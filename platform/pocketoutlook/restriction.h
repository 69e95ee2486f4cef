// Restrictions of item collections:
//
//     restriction = term { "OR" term }         term = factor { "AND" factor }
//     factor = "(" restriction ")" | "[" property "]" operator value
//     operator = "=" | "<>" | "<" | "<=" | ">" | ">="
//     value = "text in double quotes" | number | TRUE | FALSE
//
// Words are read without regard to case. A date is a number (a DATE) or a quoted text, "2026-03-02", "2026-03-02 14:30"
// or "3/2/2026 2:30 PM". Texts compare without regard to ASCII case. An absent text compares as empty, an absent number
// as 0, an absent date as DATE_NONE.
#pragma once

#include <pimstore.h>

#include <functional>
#include <memory>
#include <string_view>

#include "platform/pocketoutlook/property_bag.h"
#include "platform/pocketoutlook/property_catalogue.h"

namespace kez::pocketoutlook {

// The values of the item in question: nothing where a property is absent.
using ValueSource = std::function<std::optional<Value>(const PropertyRow& row)>;

// Orders two values of one property; absent ones as said above.
int CompareValues(const PropertyRow& row, const std::optional<Value>& a, const std::optional<Value>& b);

class Restriction {
 public:
    virtual ~Restriction() = default;
    virtual bool Matches(const ValueSource& values) const = 0;

    // Null where the text is no restriction, names a property that items of the type don't have, gives a value that
    // does not fit it, or is longer than 4096 characters.
    static std::shared_ptr<const Restriction> Parse(std::u16string_view text, OlItemType type);
    // Both have to match; `a` may be null.
    static std::shared_ptr<const Restriction> Both(std::shared_ptr<const Restriction> a,
                                                   std::shared_ptr<const Restriction> b);
};

// The property that "[Name]" (or the bare name) names and that can be compared; null for none.
const PropertyRow* ParsePropertyName(std::u16string_view text, OlItemType type);

}  // namespace kez::pocketoutlook
