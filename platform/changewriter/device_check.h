// What is wrong with a device's volumes: with each file (propertydb/volume_check.h), and with the change tables, held
// against the items that they tell of; and putting it right, so that the next synchronisation looks at everything that
// it might have missed.
#pragma once

#include <windbase.h>

#include <string>
#include <vector>

#include "platform/changewriter/change_tables.h"
#include "platform/propertydb/volume_check.h"

namespace kez::changewriter {

enum class TableDefect {
    NoVolume,      // there are no change tables
    NoTable,       // one of them is missing
    NotCarried,    // changes of items that are in the journal and not yet in the tables
    NoRecord,      // an item without a change record
    NoItem,        // a change record that says changed of an item that is not there
    WrongDeleted,  // a change record that says deleted of an item that is there
    UnknownState,  // a state that is none
};

struct TableFinding {
    TableDefect defect;
    std::u16string table;  // its name, or the volume's
    CEOID item = 0;        // where one is meant
    std::string text;      // one sentence, without the names of table and item
};

// Of the open device, of which nobody changes items meanwhile. Throws propertydb::VolumeError where a volume cannot
// be read.
std::vector<TableFinding> CheckChangeTables();

// The identifiers of the items of a type on the open device; none where it has no such database.
std::vector<CEOID> ItemsOf(const ChangeTable& table);

// Puts right what CheckChangeTables finds: tables are made, the journal is carried over, items that are not told of
// rightly are marked as changed, those that are not there as deleted. Throws propertydb::VolumeError.
void RepairChangeTables();

}  // namespace kez::changewriter
