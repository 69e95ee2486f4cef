// The device folder: making, opening, closing, and what is wrong with a folder that is none.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace {

using kez::control::DeviceError;
using kez::tests::TemporaryFolder;
using kez::tests::TestDevice;
using testing::HasSubstr;

template <class Call>
std::string ErrorOf(Call call) {
    try {
        call();
    } catch (const DeviceError& error) {
        return error.what();
    }
    return "";
}

TEST(DeviceFolder, IsADeviceOnceMade) {
    const TemporaryFolder folder;
    EXPECT_FALSE(kez::control::IsDevice(folder.Path()));
    const auto settings = kez::control::CreateDevice(folder.Path() / "device", "Europe/Berlin");
    EXPECT_TRUE(kez::control::IsDevice(folder.Path() / "device"));
    EXPECT_EQ(settings.id.size(), 32u);
    EXPECT_EQ(settings.timeZone, "Europe/Berlin");
}

TEST(DeviceFolder, EachDeviceHasItsOwnId) {
    const TemporaryFolder folder;
    const auto first = kez::control::CreateDevice(folder.Path() / "first", "");
    const auto second = kez::control::CreateDevice(folder.Path() / "second", "");
    EXPECT_NE(first.id, second.id);
}

TEST(DeviceFolder, OpeningGivesTheSettingsThatWereMade) {
    const TemporaryFolder folder;
    const auto made = kez::control::CreateDevice(folder.Path(), "Asia/Kolkata");
    const auto opened = kez::control::OpenDevice(folder.Path());
    EXPECT_EQ(opened.id, made.id);
    EXPECT_EQ(opened.timeZone, "Asia/Kolkata");
    EXPECT_EQ(kez::control::DeviceFolder(), folder.Path());
    EXPECT_EQ(kez::control::CurrentDevice().id, made.id);
    kez::control::CloseDevice();
    EXPECT_TRUE(kez::control::DeviceFolder().empty());
}

TEST(DeviceFolder, AFolderWithContentIsNotMadeADevice) {
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "note.txt") << "mine";
    EXPECT_THAT(ErrorOf([&] { kez::control::CreateDevice(folder.Path(), ""); }),
                HasSubstr(folder.Path().string() + "\" a device folder, because it is not empty"));
    EXPECT_FALSE(kez::control::IsDevice(folder.Path()));
}

TEST(DeviceFolder, AnUnknownZoneIsRefusedBeforeAnythingIsMade) {
    const TemporaryFolder folder;
    EXPECT_THAT(ErrorOf([&] { kez::control::CreateDevice(folder.Path() / "device", "Mars/Olympus"); }),
                HasSubstr("no time zone is named \"Mars/Olympus\""));
    EXPECT_FALSE(std::filesystem::exists(folder.Path() / "device"));
}

TEST(DeviceFolder, AnOrdinaryFolderIsNotOpened) {
    const TemporaryFolder folder;
    EXPECT_THAT(ErrorOf([&] { kez::control::OpenDevice(folder.Path()); }), HasSubstr("is not a device folder"));
    EXPECT_TRUE(kez::control::DeviceFolder().empty());
}

TEST(DeviceFolder, SettingsWithoutAnIdAreNamed) {
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / ".kezdevice") << "timezone=UTC\n";
    EXPECT_THAT(ErrorOf([&] { kez::control::OpenDevice(folder.Path()); }), HasSubstr("without an \"id=\" line"));
}

TEST(DeviceFolder, UnknownSettingsAreLeftAlone) {
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / ".kezdevice") << "colour=blue\n\nid=abc\nno equals sign\n";
    EXPECT_EQ(kez::control::OpenDevice(folder.Path()).id, "abc");
    kez::control::CloseDevice();
}

TEST(DeviceFolder, OnlyOneDeviceIsOpenAtATime) {
    const TestDevice device;
    const TemporaryFolder other;
    kez::control::CreateDevice(other.Path(), "");
    EXPECT_THAT(ErrorOf([&] { kez::control::OpenDevice(other.Path()); }), HasSubstr("close that one first"));
    EXPECT_EQ(kez::control::DeviceFolder(), device.Folder());
    kez::control::OpenDevice(device.Folder());  // the same one is no other
}

TEST(DeviceFolder, OpeningAndClosingRunTheIdleWork) {
    const TemporaryFolder folder;
    kez::control::CreateDevice(folder.Path(), "");
    std::vector<std::filesystem::path> seen;
    const int number = kez::control::AddIdleWork([&] { seen.push_back(kez::control::DeviceFolder()); });
    kez::control::OpenDevice(folder.Path());
    EXPECT_THAT(seen, testing::ElementsAre(folder.Path()));
    kez::control::CloseDevice();
    EXPECT_THAT(seen, testing::ElementsAre(folder.Path(), folder.Path())) << "the device is still open in the work";
    kez::control::CloseDevice();
    EXPECT_EQ(seen.size(), 2u) << "closing without a device does nothing";
    kez::control::RemoveIdleWork(number);
}

TEST(TestDevice, StandsStillOnAMondayMorning) {
    const TestDevice device;
    SYSTEMTIME now = {};
    GetSystemTime(&now);
    EXPECT_EQ(now.wYear, 2026);
    EXPECT_EQ(now.wMonth, 3);
    EXPECT_EQ(now.wDay, 2);
    EXPECT_EQ(now.wDayOfWeek, 1);
    EXPECT_EQ(now.wHour, 10);
}

TEST(TestDevice, RemovesItsFolder) {
    std::filesystem::path folder;
    {
        const TestDevice device;
        folder = device.Folder();
        device.WriteText("a/b.txt", "text");
        EXPECT_EQ(device.ReadText("a/b.txt"), "text");
        EXPECT_TRUE(device.Exists("a/b.txt"));
    }
    EXPECT_FALSE(std::filesystem::exists(folder));
}

}  // namespace
