#include "platform/changewriter/item_notes.h"

#include "platform/changewriter/change_tables.h"
#include "platform/propertydb/volume.h"

namespace kez::changewriter {

std::optional<std::int64_t> ItemNote(const std::string& name) {
    return propertydb::Volume::Open(kPimVolume)->Setting(name);
}

void SetItemNote(const std::string& name, std::int64_t number) {
    const auto volume = propertydb::Volume::Open(kPimVolume);
    volume->SetSetting(name, number);
    volume->Flush();
}

}  // namespace kez::changewriter
