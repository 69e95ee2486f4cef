// A device with the main databases and the change tables, and one-line helpers to fill and read them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "platform/propertydb/volume.h"
#include "tests/database/session_double.h"
#include "tests/support/device_log.h"
#include "tests/support/test_device.h"

namespace kez::tests {

constexpr CEPROPID kOidProperty = 0x00010013;
constexpr CEPROPID kState0 = 0xFFFD0013;
constexpr CEPROPID kState1 = 0xFFFE0013;

// The change tables of a device, looked at and filled as the change writer would.
class ChangeTables {
 public:
    explicit ChangeTables(bool withTables = true)
        : m_volume(propertydb::Volume::OpenOrCreate(TEXT("\\KezDBNotify.vol"))) {
        if (!withTables) return;
        for (const char16_t* name : {TEXT("\\KEZDeltaA"), TEXT("\\KEZDeltaD"), TEXT("\\KEZDeltaT")}) {
            propertydb::DatabaseDefinition table;
            table.name = name;
            table.sortOrders = {{{{kOidProperty}}, CEDB_SORT_PRIMARYKEY}};
            table.properties = {kOidProperty, kState0, kState1};
            m_volume->EnsureDatabase(table);
        }
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

// The main databases, each with one sort order and nothing in it.
inline std::shared_ptr<propertydb::Volume> MakeMainDatabases() {
    auto volume = propertydb::Volume::OpenOrCreate(TEXT("\\pim.vol"));
    const struct {
        const char16_t* name;
        DWORD type;
    } databases[] = {{TEXT("Contacts Database"), 24},
                     {TEXT("Appointments Database"), 25},
                     {TEXT("Tasks Database"), 26},
                     {TEXT("\\Categories Database"), 0}};
    for (const auto& row : databases) {
        propertydb::DatabaseDefinition database;
        database.name = row.name;
        database.type = row.type;
        database.sortOrders = {{{{0x0080001F}}, 0}};
        volume->EnsureDatabase(database);
    }
    return volume;
}

class DatabaseTest : public ::testing::Test {
 protected:
    DatabaseTest() { StartLog(0); }
    ~DatabaseTest() override {
        control::ClearFaults();
        StopLog();
    }

    // Makes what a device has that was used before: databases and change tables.
    void MakeVolumes() {
        pim = MakeMainDatabases();
        tables.emplace();
    }
    void Trace(LONG level) { StartLog(level); }
    std::vector<std::string> Log() const { return TrimmedLog(device); }
    bool Logged(const std::string& line) const {
        for (const std::string& each : Log()) {
            if (each == line) return true;
        }
        return false;
    }
    void AddPimRecord(const char16_t* database, const char16_t* text) {
        propertydb::PropertySet record;
        record.SetText(0x0080001F, text);
        pim->Insert(pim->FindDatabase(database), record);
    }

    TestDevice device;
    std::shared_ptr<propertydb::Volume> pim;
    std::optional<ChangeTables> tables;
};

inline void FailOnce(const char* call, DWORD error, std::uint32_t nth = 1) {
    control::Fault fault;
    fault.call = call;
    fault.nth = nth;
    fault.code = error;
    control::PlanFault(fault);
}

}  // namespace kez::tests
