// Changes of an item field by field, and bringing two sides' changes together.
//
// Each side is compared with what it itself held when both last agreed, never with the other side: what a device
// normalises (a busy status, a trimmed text) is the same before and after and so is no change.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sync/item.h"

namespace kez::sync {

// A field's new value; nothing where the field was removed.
using Changes = std::map<std::string, std::optional<std::string>>;

// What remembered fields look like: a value of more than 512 bytes is replaced by its digest, which is equal where
// the values are.
Fields Remembered(const Fields& fields);
bool IsDigest(const std::string& value);

// SHA-256 in hexadecimal.
std::string Digest(const std::string& bytes);

// What happened between `before` (as Remembered gives it) and `now` (whole values).
Changes Difference(const Fields& before, const Fields& now);

Fields Applied(Fields fields, const Changes& changes);

struct Merged {
    Changes forDevice;                  // what the folder changed and the device has to take over
    Changes forFolder;                  // what the device changed and the folder has to take over
    std::vector<std::string> disputed;  // fields that both changed, to different values; in neither of the above
};

Merged Merge(const Changes& device, const Changes& folder);

// Two items that were never agreed on: what only one side says goes to the other, what both say differently is
// disputed.
Merged MergeUnremembered(const Fields& device, const Fields& folder);

}  // namespace kez::sync
