// What a pass did, or would do: one entry for each item that was not simply left alone, and the counts.
#pragma once

#include <string>
#include <vector>

#include "sync/item.h"
#include "sync/store.h"

namespace kez::sync {

enum class Outcome {
    Sent,      // written to the device
    Received,  // written to the folder
    Merged,    // changes of both sides brought together
    DeletedOnDevice,
    DeletedInFolder,
    Matched,     // found on both sides and paired, nothing written
    Unresolved,  // waits for the user, both sides as they were
    Failed,      // see the problem; tried again in the next pass
};
std::string_view ToString(Outcome outcome);  // "sent", "received", "merged", "deleted on device", ...

struct Entry {
    ItemType type = ItemType::Contact;
    Outcome outcome = Outcome::Failed;
    std::string title;
    std::string deviceId;
    std::string folderId;
    bool isNew = false;               // the item was created on the side that was written
    std::vector<std::string> fields;  // which were written, or are disputed
    Problem problem;                  // of an item that is Failed or Unresolved
    std::vector<std::string> notes;   // what the other side does not see of it, what was kept twice
};

struct Counts {
    std::size_t sent = 0;
    std::size_t received = 0;
    std::size_t merged = 0;
    std::size_t deletedOnDevice = 0;
    std::size_t deletedInFolder = 0;
    std::size_t matched = 0;
    std::size_t unchanged = 0;
    std::size_t unresolved = 0;
    std::size_t failed = 0;
};

struct Report {
    std::vector<Entry> entries;
    std::vector<Problem> findings;  // about a listing as a whole, or about what a side answered
    Counts counts;
    double seconds = 0;

    bool Complete() const { return counts.failed == 0 && counts.unresolved == 0 && findings.empty(); }
    void Add(Entry entry);  // and counts it
};

}  // namespace kez::sync
