// Splits a categories text.
#include "platform/pocketoutlook/categories.h"

namespace kez::pocketoutlook {

std::vector<std::u16string> SplitCategories(std::u16string_view text) {
    std::vector<std::u16string> names;
    while (!text.empty()) {
        const std::size_t comma = text.find(u',');
        std::u16string_view name = text.substr(0, comma);
        text = comma == text.npos ? std::u16string_view() : text.substr(comma + 1);
        const std::size_t first = name.find_first_not_of(u' ');
        if (first == name.npos) continue;
        names.emplace_back(name.substr(first, name.find_last_not_of(u' ') - first + 1));
    }
    return names;
}

}  // namespace kez::pocketoutlook
