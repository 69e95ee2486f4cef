#include "partner/item_files.h"

#include "partner/calendar_format.h"
#include "partner/content_lines.h"
#include "partner/vcard.h"

namespace kez::partner {
namespace {

bool EndsWith(std::string_view name, std::string_view ending) {
    return name.size() >= ending.size() && UpperCase(name.substr(name.size() - ending.size())) == ending;
}

FileItem ItemOf(FileReading reading) {
    return {std::move(reading.problem), std::move(reading.item), std::move(reading.uid), std::move(reading.losses)};
}

std::vector<FileItem> ReadCalendarItems(std::string_view bytes, const std::string& fileName, const std::string& zone) {
    const CalendarFormat format(zone);
    const std::vector<std::string> texts = SplitCalendar(bytes);
    std::vector<FileItem> items;
    if (texts.empty()) items.push_back(ItemOf(format.Read(bytes, fileName)));  // says what is wrong
    for (const std::string& text : texts) items.push_back(ItemOf(format.Read(text, fileName)));
    return items;
}

bool IsCalendarFile(std::string_view fileName) { return EndsWith(fileName, ".ICS"); }

}  // namespace

bool IsItemFile(std::string_view fileName) { return EndsWith(fileName, ".VCF") || IsCalendarFile(fileName); }

std::vector<FileItem> ReadItems(std::string_view bytes, const std::string& fileName, const std::string& zone) {
    if (IsCalendarFile(fileName)) return ReadCalendarItems(bytes, fileName, zone);
    std::vector<FileItem> items;
    if (!IsItemFile(fileName)) {
        items.push_back({{sync::ProblemCode::Unreadable, "is no .vcf and no .ics file", fileName}, {}, {}, {}});
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
