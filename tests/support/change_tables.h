// The change tables of a test's device, filled and looked at as the change writer would.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/changewriter/change_tables.h"
#include "platform/propertydb/volume.h"

namespace kez::tests {

constexpr CEPROPID kOidProperty = changewriter::kItemOid;
constexpr CEPROPID kState0 = changewriter::kStateOfPartner0;
constexpr CEPROPID kState1 = changewriter::kStateOfOthers;

class ChangeTables {
 public:
    explicit ChangeTables(bool withTables = true)
        : m_volume(propertydb::Volume::OpenOrCreate(changewriter::kChangeVolume)) {
        if (withTables) changewriter::CreateChangeTables();
    }

    // Puts both partners' states of `oid`; a state that is not given is left out of the record.
    void Put(CEOID oid, std::optional<ULONG> state0, std::optional<ULONG> state1, char type = 'A') {
        propertydb::PropertySet record;
        record.SetNumber(kOidProperty, oid);
        if (state0) record.SetNumber(kState0, *state0);
        if (state1) record.SetNumber(kState1, *state1);
        const CEOID table = Table(type);
        const CEOID old = m_volume->FindEqual(table, 0, {{kOidProperty, std::int64_t{oid}}});
        if (old != 0) {
            m_volume->Update(table, old, record);
        } else {
            m_volume->Insert(table, record);
        }
    }
    // The states of `oid` as {partner 0, partner 1}; nothing where it has no change record. -1: not in the record.
    std::optional<std::pair<std::int64_t, std::int64_t>> States(CEOID oid, char type = 'A') {
        const CEOID table = Table(type);
        const CEOID record = m_volume->FindEqual(table, 0, {{kOidProperty, std::int64_t{oid}}});
        if (record == 0) return std::nullopt;
        const propertydb::PropertySet set = *m_volume->Read(table, record);
        return std::pair{set.Number(kState0, -1), set.Number(kState1, -1)};
    }
    std::uint32_t Count(char type = 'A') { return m_volume->State(Table(type)).records; }

 private:
    CEOID Table(char type) {
        return m_volume->FindDatabase(std::u16string(u"\\KEZDelta") + static_cast<char16_t>(type));
    }

    std::shared_ptr<propertydb::Volume> m_volume;
};

}  // namespace kez::tests
