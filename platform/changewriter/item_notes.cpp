#include "platform/changewriter/item_notes.h"

#include "platform/changewriter/change_tables.h"
#include "platform/propertydb/volume.h"

namespace kez::changewriter {

std::optional<std::int64_t> ItemNote(const std::string& name) {
    return propertydb::Volume::Open(kPimVolume)->Setting(name);
}

void SetItemNote(const std::string& name, std::int64_t number) {
    propertydb::Volume::Open(kPimVolume)->SetSetting(name, number);
}

}  // namespace kez::changewriter
