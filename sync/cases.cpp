// The table of cases as a switch, in the order of the table in the header.
#include "sync/cases.h"

namespace kez::sync {

std::string_view ToString(Seen seen) {
    switch (seen) {
        case Seen::Never:
            return "never";
        case Seen::New:
            return "new";
        case Seen::Same:
            return "same";
        case Seen::Changed:
            return "changed";
        case Seen::Gone:
            return "gone";
    }
    return "";
}

std::string_view ToString(Action action) {
    switch (action) {
        case Action::Nothing:
            return "nothing";
        case Action::CreateInFolder:
            return "create in folder";
        case Action::CreateOnDevice:
            return "create on device";
        case Action::UpdateFolder:
            return "update folder";
        case Action::UpdateDevice:
            return "update device";
        case Action::Merge:
            return "merge";
        case Action::DeleteInFolder:
            return "delete in folder";
        case Action::DeleteOnDevice:
            return "delete on device";
        case Action::DeviceDeletedFolderChanged:
            return "deleted on device, changed in folder";
        case Action::FolderDeletedDeviceChanged:
            return "deleted in folder, changed on device";
        case Action::Forget:
            return "forget";
    }
    return "";
}

namespace {

constexpr int Row(Seen device, Seen folder) { return static_cast<int>(device) * 8 + static_cast<int>(folder); }

Seen Unremembered(Seen seen) { return seen == Seen::Never || seen == Seen::Gone ? Seen::Never : Seen::New; }

Seen Remembered(Seen seen) {
    if (seen == Seen::New) return Seen::Changed;
    if (seen == Seen::Never) return Seen::Gone;
    return seen;
}

}  // namespace

Action Decide(bool remembered, Seen device, Seen folder) {
    if (!remembered) {
        switch (Row(Unremembered(device), Unremembered(folder))) {
            case Row(Seen::Never, Seen::Never):
                return Action::Nothing;
            case Row(Seen::New, Seen::Never):
                return Action::CreateInFolder;
            case Row(Seen::Never, Seen::New):
                return Action::CreateOnDevice;
            default:
                return Action::Merge;  // New, New
        }
    }
    switch (Row(Remembered(device), Remembered(folder))) {
        case Row(Seen::Same, Seen::Same):
            return Action::Nothing;
        case Row(Seen::Changed, Seen::Same):
            return Action::UpdateFolder;
        case Row(Seen::Same, Seen::Changed):
            return Action::UpdateDevice;
        case Row(Seen::Changed, Seen::Changed):
            return Action::Merge;
        case Row(Seen::Gone, Seen::Same):
            return Action::DeleteInFolder;
        case Row(Seen::Same, Seen::Gone):
            return Action::DeleteOnDevice;
        case Row(Seen::Gone, Seen::Changed):
            return Action::DeviceDeletedFolderChanged;
        case Row(Seen::Changed, Seen::Gone):
            return Action::FolderDeletedDeviceChanged;
        default:
            return Action::Forget;  // Gone, Gone
    }
}

}  // namespace kez::sync
