// The file of a volume's write-ahead log, written in few calls. SQLite writes a log frame by frame, two calls for each;
// for the small transactions of a device these calls are most of what a commit costs. Here the frames of a transaction
// wait in memory and go into the file together: with the frame that commits, when many have gathered, or when one of
// them is read.
//
// What waits belongs to a transaction that is not committed yet, so nothing is promised for it: a process that dies
// leaves the log as it was. The commit frame is in the file before its write returns, and so is its error.
#pragma once

#include <sqlite3.h>

namespace kez::propertydb {

// The name of the file system layer that opens logs so; for sqlite3_open_v2. Other files are opened as always.
const char* GatheringFiles();

// Forgets the frames that wait. Called when a write transaction begins and after one was taken back: from then on the
// place of those frames in the log may be another process's. `log` may be null.
void DropGathered(sqlite3_file* log);

}  // namespace kez::propertydb
