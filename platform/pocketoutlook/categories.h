// The categories text of an item: names separated by commas. The text itself is kept as it was given.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kez::pocketoutlook {

// The names without the blanks around them; empty ones left out.
std::vector<std::u16string> SplitCategories(std::u16string_view text);

}  // namespace kez::pocketoutlook
