// What to do with one item: a pure function of how each side sees it and whether the agreement remembers it.
#pragma once

#include <string_view>

namespace kez::sync {

// How one side sees an item in this pass.
enum class Seen {
    Never,    // the side has never had it
    New,      // there, and not remembered from before
    Same,     // there, as it was when both last agreed
    Changed,  // there, and changed (or perhaps changed) since
    Gone,     // was there when both last agreed, and is not now
};

enum class Action {
    Nothing,
    CreateInFolder,
    CreateOnDevice,
    UpdateFolder,  // the device's changes go into the folder's item
    UpdateDevice,  // the folder's changes go into the device's item
    Merge,         // both may have changed: field by field
    DeleteInFolder,
    DeleteOnDevice,
    DeviceDeletedFolderChanged,  // cannot be decided without the user
    FolderDeletedDeviceChanged,  // cannot be decided without the user
    Forget,                      // gone on both sides
};

std::string_view ToString(Seen seen);
std::string_view ToString(Action action);

// The table of cases. `remembered` says whether both sides have agreed on the item before; a pair of new items that
// say the same thing comes as (New, New).
//
//    remembered  device   folder   action
//    no          Never    Never    Nothing
//    no          New      Never    CreateInFolder
//    no          Never    New      CreateOnDevice
//    no          New      New      Merge
//    no          other combinations: what is there and not remembered counts as New, what is not as Never
//    yes         Same     Same     Nothing
//    yes         Changed  Same     UpdateFolder
//    yes         Same     Changed  UpdateDevice
//    yes         Changed  Changed  Merge
//    yes         Gone     Same     DeleteInFolder
//    yes         Same     Gone     DeleteOnDevice
//    yes         Gone     Changed  DeviceDeletedFolderChanged
//    yes         Changed  Gone     FolderDeletedDeviceChanged
//    yes         Gone     Gone     Forget
//    yes         New counts as Changed (it is there and what it says must be looked at), Never as Gone
Action Decide(bool remembered, Seen device, Seen folder);

}  // namespace kez::sync
