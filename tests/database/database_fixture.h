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
#include "tests/support/change_tables.h"
#include "tests/support/device_log.h"
#include "tests/support/test_device.h"

namespace kez::tests {

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
