// The device folder of this process, its settings file and its time zone.
#include <algorithm>
#include <fstream>
#include <mutex>
#include <random>

#include "platform/control/control.h"
#include "platform/control/time_zone.h"

namespace kez::control {

namespace {

constexpr const char* kSettingsFile = ".kezdevice";
constexpr Ticks kTicksPerSecond = 10'000'000;
constexpr std::int64_t kSecondsFrom1601To1970 = 11'644'473'600;

struct State {
    std::mutex mutex;
    std::filesystem::path folder;
    DeviceSettings settings;
    TimeZone zone;
    std::optional<std::int32_t> fixedBias;
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

TimeZone LoadZone(const std::string& name) {
    try {
        return TimeZone::Load(name);
    } catch (const TimeZoneError& error) {
        throw DeviceError(error.what());
    }
}

std::string NewId() {
    std::random_device random;
    std::string id;
    for (int i = 0; i < 4; ++i) {
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08x", static_cast<unsigned>(random()));
        id += digits;
    }
    return id;
}

DeviceSettings ReadSettings(const std::filesystem::path& folder) {
    const std::filesystem::path path = folder / kSettingsFile;
    std::ifstream file(path);
    DeviceSettings settings;
    for (std::string line; std::getline(file, line);) {
        const std::size_t equals = line.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = line.substr(0, equals);
        const std::string value = line.substr(equals + 1);
        if (name == "id") settings.id = value;
        if (name == "timezone") settings.timeZone = value;
    }
    if (settings.id.empty()) {
        throw DeviceError("the device folder \"" + folder.string() + "\" has a " + kSettingsFile +
                          " without an \"id=\" line; restore that file from a copy, or make a new device");
    }
    return settings;
}

std::int64_t UnixSeconds(Ticks utc) {
    return static_cast<std::int64_t>(utc / kTicksPerSecond) - kSecondsFrom1601To1970;
}

}  // namespace

bool IsDevice(const std::filesystem::path& folder) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / kSettingsFile, error);
}

DeviceSettings CreateDevice(const std::filesystem::path& folder, const std::string& timeZone) {
    LoadZone(timeZone);
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) throw DeviceError("cannot make the device folder \"" + folder.string() + "\": " + error.message());
    if (!std::filesystem::is_empty(folder, error) || error) {
        throw DeviceError("cannot make \"" + folder.string() +
                          "\" a device folder, because it is not empty; give a new folder");
    }
    DeviceSettings settings{NewId(), timeZone};
    std::ofstream file(folder / kSettingsFile);
    file << "id=" << settings.id << "\ntimezone=" << settings.timeZone << "\n";
    file.close();
    if (!file) throw DeviceError("cannot write \"" + (folder / kSettingsFile).string() + "\"");
    return settings;
}

DeviceSettings ReadDevice(const std::filesystem::path& folder) {
    if (!IsDevice(folder)) {
        throw DeviceError("\"" + folder.string() + "\" is not a device folder, because it has no file " +
                          kSettingsFile + "; make one first");
    }
    return ReadSettings(std::filesystem::canonical(folder));
}

DeviceSettings OpenDevice(const std::filesystem::path& folder) {
    DeviceSettings settings = ReadDevice(folder);
    const std::filesystem::path canonical = std::filesystem::canonical(folder);
    TimeZone zone = LoadZone(settings.timeZone);
    State& state = TheState();
    {
        std::lock_guard lock(state.mutex);
        if (!state.folder.empty() && state.folder != canonical) {
            throw DeviceError("cannot open the device folder \"" + folder.string() + "\" while \"" +
                              state.folder.string() + "\" is open; close that one first");
        }
        state.folder = canonical;
        state.settings = settings;
        state.zone = std::move(zone);
    }
    RunIdleWork();
    return settings;
}

void CloseDevice() {
    if (DeviceFolder().empty()) return;
    RunIdleWork();
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.folder.clear();
    state.settings = {};
    state.zone = {};
}

std::filesystem::path DeviceFolder() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return state.folder;
}

DeviceSettings CurrentDevice() {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return state.settings;
}

std::int32_t BiasAt(Ticks utc) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    return static_cast<std::int32_t>(-state.zone.OffsetAt(UnixSeconds(utc)) / 60);
}

std::int32_t CurrentBias() {
    State& state = TheState();
    {
        std::lock_guard lock(state.mutex);
        if (state.fixedBias) return *state.fixedBias;
    }
    return BiasAt(Now());
}

void SetCurrentBias(std::optional<std::int32_t> minutes) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.fixedBias = minutes;
}

void SetTimeZone(const std::string& name) {
    TimeZone zone = LoadZone(name);
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    state.settings.timeZone = name;
    state.zone = std::move(zone);
}

CurrentZone DescribeCurrentZone() {
    const std::int64_t now = UnixSeconds(Now());
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    CurrentZone current;
    current.rules = state.zone.CurrentRules();
    current.daylightNow = state.zone.IsDaylightAt(now);
    if (state.fixedBias) {
        current.rules = {};
        current.rules.standardOffset = std::int64_t{*state.fixedBias} * -60;
        current.daylightNow = false;
    }
    return current;
}

}  // namespace kez::control
