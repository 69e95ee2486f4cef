// The change writer: carries what happened to PIM records from the journal of "\pim.vol" into the change tables, for
// both partners, and drops the trigger file that tells the replication engine to look.
//
// Every entry of the journal takes effect once, whatever is killed when and however many writers run: the number of
// the last entry that was carried over is kept in the change tables' volume and moves in the same transaction as the
// tables. An entry leaves the journal only after the trigger file was dropped for it.
//
// Either volume may be put back to an older copy of itself without the other. Both keep the number of the last run
// that carried something over, so the next run sees which one is older: where it is the volume of items, its whole
// journal is carried over, whatever its numbers, and identifiers that were given since the copy was made are not given
// again; where it is the change tables (or they are gone), what they were told since is unknown, and every item is
// marked as changed.
#pragma once

#include <windbase.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "platform/changewriter/change_tables.h"

namespace kez::changewriter {

using Delay = std::chrono::milliseconds;

// Called with the device path of a file that was dropped ("\KezChgFile.kez"), in the thread that dropped it, when the
// writer holds nothing any more: it may use the device as it likes.
using FileNotification = std::function<void(const std::u16string& devicePath)>;

struct Options {
    Delay delay{0};  // entries younger than this, by the device clock, stay in the journal for now
    FileNotification fileNotification;
};

// From now on the writer runs in this process whenever the device would have time for it: in Sleep, when a device is
// opened and before one is closed. A second Attach replaces the options of the first.
void Attach(Options options);
// Ends that; a run in another thread has ended when this returns.
void Detach();
// What went wrong in the last run of an attached writer; it tries again in the next. Nothing after a good run.
std::optional<std::string> LastFailure();

// Carries over now what is as old as `delay` or older. Uses the file notification of an attached writer. Returns the
// number of journal entries carried over; a device without "\pim.vol" has none. Throws propertydb::VolumeError, and
// then the entries that were not carried over are still in the journal.
std::size_t Drain(Delay delay = Delay(0));

}  // namespace kez::changewriter
