// The table of cases, row by row.
#include "sync/cases.h"

#include <gtest/gtest.h>

namespace kez::sync {
namespace {

struct Row {
    bool remembered;
    Seen device;
    Seen folder;
    Action action;
};

constexpr Row kTable[] = {
    {false, Seen::Never, Seen::Never, Action::Nothing},
    {false, Seen::Never, Seen::New, Action::CreateOnDevice},
    {false, Seen::Never, Seen::Same, Action::CreateOnDevice},
    {false, Seen::Never, Seen::Changed, Action::CreateOnDevice},
    {false, Seen::Never, Seen::Gone, Action::Nothing},
    {false, Seen::New, Seen::Never, Action::CreateInFolder},
    {false, Seen::New, Seen::New, Action::Merge},
    {false, Seen::New, Seen::Same, Action::Merge},
    {false, Seen::New, Seen::Changed, Action::Merge},
    {false, Seen::New, Seen::Gone, Action::CreateInFolder},
    {false, Seen::Same, Seen::Never, Action::CreateInFolder},
    {false, Seen::Same, Seen::New, Action::Merge},
    {false, Seen::Same, Seen::Same, Action::Merge},
    {false, Seen::Same, Seen::Changed, Action::Merge},
    {false, Seen::Same, Seen::Gone, Action::CreateInFolder},
    {false, Seen::Changed, Seen::Never, Action::CreateInFolder},
    {false, Seen::Changed, Seen::New, Action::Merge},
    {false, Seen::Changed, Seen::Same, Action::Merge},
    {false, Seen::Changed, Seen::Changed, Action::Merge},
    {false, Seen::Changed, Seen::Gone, Action::CreateInFolder},
    {false, Seen::Gone, Seen::Never, Action::Nothing},
    {false, Seen::Gone, Seen::New, Action::CreateOnDevice},
    {false, Seen::Gone, Seen::Same, Action::CreateOnDevice},
    {false, Seen::Gone, Seen::Changed, Action::CreateOnDevice},
    {false, Seen::Gone, Seen::Gone, Action::Nothing},
    {true, Seen::Never, Seen::Never, Action::Forget},
    {true, Seen::Never, Seen::New, Action::DeviceDeletedFolderChanged},
    {true, Seen::Never, Seen::Same, Action::DeleteInFolder},
    {true, Seen::Never, Seen::Changed, Action::DeviceDeletedFolderChanged},
    {true, Seen::Never, Seen::Gone, Action::Forget},
    {true, Seen::New, Seen::Never, Action::FolderDeletedDeviceChanged},
    {true, Seen::New, Seen::New, Action::Merge},
    {true, Seen::New, Seen::Same, Action::UpdateFolder},
    {true, Seen::New, Seen::Changed, Action::Merge},
    {true, Seen::New, Seen::Gone, Action::FolderDeletedDeviceChanged},
    {true, Seen::Same, Seen::Never, Action::DeleteOnDevice},
    {true, Seen::Same, Seen::New, Action::UpdateDevice},
    {true, Seen::Same, Seen::Same, Action::Nothing},
    {true, Seen::Same, Seen::Changed, Action::UpdateDevice},
    {true, Seen::Same, Seen::Gone, Action::DeleteOnDevice},
    {true, Seen::Changed, Seen::Never, Action::FolderDeletedDeviceChanged},
    {true, Seen::Changed, Seen::New, Action::Merge},
    {true, Seen::Changed, Seen::Same, Action::UpdateFolder},
    {true, Seen::Changed, Seen::Changed, Action::Merge},
    {true, Seen::Changed, Seen::Gone, Action::FolderDeletedDeviceChanged},
    {true, Seen::Gone, Seen::Never, Action::Forget},
    {true, Seen::Gone, Seen::New, Action::DeviceDeletedFolderChanged},
    {true, Seen::Gone, Seen::Same, Action::DeleteInFolder},
    {true, Seen::Gone, Seen::Changed, Action::DeviceDeletedFolderChanged},
    {true, Seen::Gone, Seen::Gone, Action::Forget},
};

TEST(TableOfCases, EveryCombinationHasItsAction) {
    ASSERT_EQ(std::size(kTable), 50u);
    for (const Row& row : kTable) {
        EXPECT_EQ(Decide(row.remembered, row.device, row.folder), row.action)
            << (row.remembered ? "remembered, device " : "not remembered, device ") << ToString(row.device)
            << ", folder " << ToString(row.folder) << ": " << ToString(Decide(row.remembered, row.device, row.folder));
    }
}

TEST(TableOfCases, NothingIsDeletedThatWasNotAgreedOn) {
    for (const Row& row : kTable) {
        if (row.remembered) continue;
        EXPECT_NE(row.action, Action::DeleteInFolder);
        EXPECT_NE(row.action, Action::DeleteOnDevice);
        EXPECT_NE(row.action, Action::Forget);
    }
}

}  // namespace
}  // namespace kez::sync
