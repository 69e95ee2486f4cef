// Making the change tables, and reading when something changed.
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

std::map<CEOID, std::uint64_t> ChangeTimes(const ChangeTable& table) {
    std::map<CEOID, std::uint64_t> times;
    if (!propertydb::Volume::Exists(kChangeVolume)) return times;
    const auto volume = propertydb::Volume::OpenApart(kChangeVolume);
    const CEOID database = volume->FindDatabase(table.table);
    if (!database) return times;
    std::map<CEOID, CEOID> items;
    volume->Walk(database, -1, [&items](CEOID record, const propertydb::PropertySet& properties) {
        items[record] = static_cast<CEOID>(properties.Number(kItemOid));
        return true;
    });
    for (const auto& [record, item] : items) {
        for (const propertydb::Attachment& time : volume->Attachments(database, record, kTimeOfChange)) {
            times[item] = static_cast<std::uint64_t>(time.properties.Number(kChangedAt));
        }
    }
    return times;
}

}  // namespace kez::changewriter
