// The temporary device.
#include "tests/support/test_device.h"

#include <stdlib.h>

#include <fstream>
#include <iterator>
#include <optional>

#include "tests/support/live_counts_check.h"

namespace kez::tests {

namespace fs = std::filesystem;

namespace {

// What lived before the device was made; there is one device at a time.
std::optional<DeviceLiveCountsCheck> g_liveBefore;

}  // namespace

TemporaryFolder::TemporaryFolder() {
    std::string name = (fs::temp_directory_path() / "kezsync-test-XXXXXX").string();
    if (!mkdtemp(name.data())) throw std::runtime_error("cannot make a temporary folder " + name);
    m_path = fs::canonical(name);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code error;
    fs::remove_all(m_path, error);
}

TestDevice::TestDevice(const std::string& timeZone) {
    g_liveBefore.emplace();
    control::CreateDevice(Folder(), timeZone);
    control::SetSleepPolicy(control::SleepPolicy::Recorded);
    control::FreezeClock({2026, 3, 1, 2, 10, 0, 0, 0});
    control::OpenDevice(Folder());
}

TestDevice::~TestDevice() {
    control::ClearFaults();
    control::CloseDevice();
    control::CountCalls(false);
    control::ClearCallCounts();
    control::UseRealClock();
    control::SetCurrentBias(std::nullopt);
    control::SetSleepPolicy(control::SleepPolicy::Idle);
    control::SetFlushPolicy(control::FlushPolicy::AtOnce);
    control::TakeRecordedSleeps();
    g_liveBefore.reset();
}

std::string TestDevice::ReadText(const std::string& name) const {
    std::ifstream file(Folder() / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

void TestDevice::WriteText(const std::string& name, const std::string& text) const {
    fs::create_directories((Folder() / name).parent_path());
    std::ofstream file(Folder() / name, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw std::runtime_error("cannot write " + name + " in the test's device folder");
}

bool TestDevice::Exists(const std::string& name) const { return fs::exists(Folder() / name); }

void TestDevice::Reopen() {
    control::CloseDevice();
    control::OpenDevice(Folder());
}

}  // namespace kez::tests
