// Making the change tables.
#include "platform/changewriter/change_tables.h"

#include "platform/propertydb/volume.h"

namespace kez::changewriter {

void CreateChangeTables() {
    const auto volume = propertydb::Volume::OpenOrCreate(kChangeVolume);
    for (const ChangeTable& table : kChangeTables) {
        volume->EnsureDatabase(
            {table.table, 0, {{{{kItemOid}}, CEDB_SORT_PRIMARYKEY}}, {kItemOid, kStateOfPartner0, kStateOfOthers}});
    }
}

}  // namespace kez::changewriter
