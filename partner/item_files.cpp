#include "partner/item_files.h"

#include "partner/content_lines.h"
#include "partner/vcard.h"

namespace kez::partner {
namespace {

bool EndsWith(std::string_view name, std::string_view ending) {
    return name.size() >= ending.size() && UpperCase(name.substr(name.size() - ending.size())) == ending;
}

}  // namespace

bool IsItemFile(std::string_view fileName) { return EndsWith(fileName, ".VCF"); }

std::vector<FileItem> ReadItems(std::string_view bytes, const std::string& fileName, const std::string&) {
    std::vector<FileItem> items;
    if (!IsItemFile(fileName)) {
        items.push_back({{sync::ProblemCode::Unreadable, "is no .vcf file", fileName}, {}, {}, {}});
        return items;
    }
    const std::vector<std::string> cards = SplitCards(bytes);
    if (cards.empty()) {
        items.push_back({{sync::ProblemCode::Unreadable, "holds no card", fileName}, {}, {}, {}});
    }
    for (const std::string& card : cards) {
        CardReading reading = ReadCard(card, fileName);
        items.push_back(
            {std::move(reading.problem), std::move(reading.item), std::move(reading.uid), std::move(reading.losses)});
    }
    return items;
}

}  // namespace kez::partner
