// What is wrong with a volume file, looked for without believing its counters and keys; and putting right what the
// records themselves tell. No record is ever removed or changed.
#pragma once

#include <windbase.h>

#include <filesystem>
#include <string>
#include <vector>

namespace kez::propertydb {

enum class VolumeDefect {
    NotAVolume,  // missing, of another kind, or too damaged to be opened
    Damaged,     // pages or rows that do not go together
    Index,       // an index that does not hold what its table does, or is missing
    Record,      // the bytes of a record are none
    Key,         // a record's key is not the one that its properties make
    Counters,    // of records or bytes
    LastOid,     // an identifier above the last that was given: it would be given again
    Attachment,  // attached to a record that is not there
    Journal,     // changes of the database would not be noted
};

struct VolumeFinding {
    VolumeDefect defect;
    std::u16string database;  // its name; empty where the volume as a whole is meant
    CEOID record = 0;         // where one is meant
    std::string text;         // one sentence, without the names of volume, database and record
    bool repairable = false;
};

// Of the file of a volume that nobody is changing. Throws nothing: what cannot be looked at is a finding.
std::vector<VolumeFinding> CheckVolume(const std::filesystem::path& file);

// Puts right what CheckVolume calls repairable, in one transaction. Throws VolumeError; then nothing was changed.
void RepairVolume(const std::filesystem::path& file);

}  // namespace kez::propertydb
