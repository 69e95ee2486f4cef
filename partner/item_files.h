// Files of items, whatever they hold: what is in them, by their name's ending.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sync/item.h"
#include "sync/store.h"

namespace kez::partner {

// Whether a file of this name is one of items: ".vcf", ".ics", in any case of letters.
bool IsItemFile(std::string_view fileName);

struct FileItem {
    sync::Problem problem;  // where it is set, `item` says nothing
    sync::Item item;
    std::string uid;
    std::vector<std::string> losses;
};

// Every item of a file, the broken ones with their problem; `zone` is the tz name in which the device shows times.
std::vector<FileItem> ReadItems(std::string_view bytes, const std::string& fileName, const std::string& zone);

}  // namespace kez::partner
