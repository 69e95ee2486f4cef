#include "partner/item_format.h"

#include "partner/calendar_format.h"
#include "partner/vcard.h"

namespace kez::partner {

FileReading CardFormat::Read(std::string_view bytes, const std::string& fileName) const {
    CardReading card = ReadCard(bytes, fileName);
    card.item.type = sync::ItemType::Contact;
    return {card.problem, std::move(card.item), std::move(card.uid), std::move(card.losses)};
}

ItemFormat::Writing CardFormat::Edit(std::string_view bytes, const sync::Item& wanted) const {
    return {{}, EditCard(bytes, wanted)};
}

ItemFormat::Writing CardFormat::Make(const sync::Item& item, const std::string& uid,
                                     const std::string& revision) const {
    return {{}, NewCard(item, uid, revision)};
}

std::vector<std::unique_ptr<ItemFormat>> AllFormats(const std::string& zone) {
    std::vector<std::unique_ptr<ItemFormat>> formats;
    formats.push_back(std::make_unique<CardFormat>());
    formats.push_back(std::make_unique<CalendarFormat>(zone));
    return formats;
}

}  // namespace kez::partner
