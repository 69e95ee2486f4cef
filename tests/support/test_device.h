// A device in a temporary folder, for the length of a test.
#pragma once

#include <windows.h>

#include <filesystem>
#include <string>

#include "platform/control/control.h"

namespace kez::tests {

// A fresh empty folder below the system's place for temporary files; removed with the object.
class TemporaryFolder {
 public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

 private:
    std::filesystem::path m_path;
};

// Makes a device folder and opens it: zone UTC, the clock standing still at 2026-03-02 10:00:00 UTC (a Monday),
// sleeps recorded, no planned faults. At its end it closes the device, puts clock, sleep policy, bias, faults and
// call counts back to what they are at the start of a process, and removes the folder. Then as many blocks, strings,
// objects and handles live as before it was made (see live_counts_check.h), so it is made before whatever holds any.
// One at a time.
class TestDevice {
 public:
    explicit TestDevice(const std::string& timeZone = "UTC");
    ~TestDevice();
    TestDevice(const TestDevice&) = delete;
    TestDevice& operator=(const TestDevice&) = delete;

    const std::filesystem::path& Folder() const { return m_folder.Path(); }

    // A file below the folder, by its name on the host ("KezAspLog.txt", "sub/file"). Reading a missing one gives an
    // empty text.
    std::string ReadText(const std::string& name) const;
    void WriteText(const std::string& name, const std::string& text) const;
    bool Exists(const std::string& name) const;

    // Closes the device and opens it again, as a new process would find it.
    void Reopen();

 private:
    TemporaryFolder m_folder;
};

}  // namespace kez::tests
