// What a test may set of the property database.
#pragma once

namespace kez::propertydb {

// Where a handle stands after its current record was deleted, as CEDB_SEEK_CURRENT counts from there.
enum class AfterDeletion {
    Gap,        // between its neighbours: +1 is the record that followed, -1 the one before, 0 the one that followed
    Following,  // on the record that followed: +1 skips that one
};
// The books leave it open. Gap is the default: a loop that deletes and steps on sees every record once.
void SetAfterDeletion(AfterDeletion where);
AfterDeletion CurrentAfterDeletion();

}  // namespace kez::propertydb
