// The device that a command works on: its folder opened, the change writer at work in this process.
#pragma once

#include <windbase.h>

#include <filesystem>
#include <string>

#include "platform/control/control.h"

namespace kez::cli {

// The volume of items stays open until this goes: each time the last one lets go of a volume its log is folded into it.
class OpenVolume {
 public:
    OpenVolume() = default;
    OpenVolume(const OpenVolume&) = delete;
    OpenVolume& operator=(const OpenVolume&) = delete;
    ~OpenVolume();
    void Open();  // the open device's; one that cannot be opened is left to who needs it

 private:
    CEGUID m_volume{};
    bool m_isOpen = false;
};

class DeviceSession {
 public:
    // Throws control::DeviceError naming the folder. `shownAs` is what messages call the device: its folder, or what
    // that is a copy of.
    explicit DeviceSession(const std::filesystem::path& folder, const std::filesystem::path& shownAs = {});
    ~DeviceSession();
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    const control::DeviceSettings& Settings() const { return m_settings; }
    const std::filesystem::path& Folder() const { return m_folder; }
    const std::filesystem::path& ShownAs() const { return m_shownAs; }

    // How much the provider writes into the device's log: 0 is nothing, 100 everything.
    void SetLogLevel(int level) const;

 private:
    std::filesystem::path m_folder;
    std::filesystem::path m_shownAs;
    control::DeviceSettings m_settings;
};

// A fresh device: volumes, databases, change tables and level files.
void MakeDevice(const std::filesystem::path& folder, const std::string& timeZone);

// The tz name that this machine's clock goes by; "UTC" where it does not say.
std::string LocalTimeZone();

// The provider library installed with this program or built beside it, or what KEZSYNC_PROVIDER names.
std::filesystem::path ProviderFile();

}  // namespace kez::cli
