// How items stand in files of one extension. A folder store knows files, a format knows what is in them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "sync/item.h"
#include "sync/store.h"

namespace kez::partner {

struct FileReading {
    sync::Problem problem;
    sync::Item item;  // its type is set even where there is a problem
    std::string uid;
    std::vector<std::string> losses;
};

class ItemFormat {
 public:
    virtual ~ItemFormat() = default;
    virtual std::string_view Extension() const = 0;  // ".vcf", in small letters
    virtual bool Holds(sync::ItemType type) const = 0;
    virtual FileReading Read(std::string_view bytes, const std::string& fileName) const = 0;

    struct Writing {
        sync::Problem problem;  // NotRepresentable, ...: nothing is to be written
        std::string bytes;
    };
    // The file changed so that it says `wanted`; as it is where it says so already.
    virtual Writing Edit(std::string_view bytes, const sync::Item& wanted) const = 0;
    // A new file. `revision` is the time of writing ("2026-03-02T10:00:00Z").
    virtual Writing Make(const sync::Item& item, const std::string& uid, const std::string& revision) const = 0;
};

// Contacts in vCards.
class CardFormat : public ItemFormat {
 public:
    std::string_view Extension() const override { return ".vcf"; }
    bool Holds(sync::ItemType type) const override { return type == sync::ItemType::Contact; }
    FileReading Read(std::string_view bytes, const std::string& fileName) const override;
    Writing Edit(std::string_view bytes, const sync::Item& wanted) const override;
    Writing Make(const sync::Item& item, const std::string& uid, const std::string& revision) const override;
};

// Every format there is. `zone` is the tz name in which the device shows times.
std::vector<std::unique_ptr<ItemFormat>> AllFormats(const std::string& zone);

}  // namespace kez::partner
