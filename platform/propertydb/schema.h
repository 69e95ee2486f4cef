// The tables of a volume file; docs/volume-schema.md explains them.
#pragma once

#include <filesystem>
#include <string>

#include "platform/propertydb/definitions.h"
#include "platform/propertydb/sqlite.h"

namespace kez::propertydb {

inline constexpr std::int64_t kApplicationId = 0x4B5A564C;  // "KZVL"
inline constexpr std::int64_t kFormat = 2;
inline constexpr std::int64_t kFormatOfOldJournal = 1;  // brought up to date when it is opened
inline constexpr CEOID kFirstOid = 0x01000000;          // the first identifier given is the next one

// The format of a file; 0 where it is no volume. Throws VolumeError.
std::int64_t VolumeFormat(sqlite3* database);

void Execute(sqlite3* database, const std::string& sql);

// Makes a volume file of that name in one step: it is there whole or not at all. Throws VolumeError, 80 where the
// name is taken.
void CreateVolumeFile(const std::filesystem::path& file);

// Brings a volume of the format 1 to the present one, in one transaction; does nothing where another process was
// quicker. Throws VolumeError.
void UpgradeVolume(sqlite3* database);

// The table, the view and the triggers of a database's records.
void CreateRecordTable(sqlite3* database, CEOID oid);
void DropRecordTable(sqlite3* database, CEOID oid);
// The key column and index of a sort order; the keys are still to be filled in before the index is made.
void AddKeyColumn(sqlite3* database, CEOID oid, int slot);
void CreateKeyIndex(sqlite3* database, CEOID oid, int slot);
void DropKeyColumn(sqlite3* database, CEOID oid, int slot);
void CreateJournalTriggers(sqlite3* database, CEOID oid);

std::string RecordTable(CEOID oid);
std::string AttachmentTable(CEOID oid);
std::string KeyColumn(int slot);

}  // namespace kez::propertydb
