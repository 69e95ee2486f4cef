#include "cli/newest.h"

#include <algorithm>
#include <charconv>

#include "cli/peek_device.h"
#include "platform/changewriter/change_writer.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace {

constexpr std::int64_t kSecond = 1'000'000'000;
constexpr std::int64_t kTicksFrom1601To1970 = 11'644'473'600 * 10'000'000;

// As the device's clock shows it.
std::string WallClock(std::int64_t nanoseconds) {
    const control::Ticks utc = static_cast<control::Ticks>(nanoseconds / 100 + kTicksFrom1601To1970);
    const std::int64_t ticks =
        static_cast<std::int64_t>(utc) - static_cast<std::int64_t>(control::BiasAt(utc)) * 60 * 10'000'000;
    const FILETIME local{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    SYSTEMTIME t{};
    FileTimeToSystemTime(&local, &t);
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute,
                  t.wSecond);
    return text;
}

std::uint64_t TimeIn(const std::map<CEOID, std::uint64_t>& times, CEOID oid) {
    const auto found = times.find(oid);
    return found == times.end() ? 0 : found->second;
}

}  // namespace

NewestWins::NewestWins(partner::FolderStore& folder) : m_folder(folder), m_before(TimesNow()) {}

NewestWins::Times NewestWins::TimesNow() {
    changewriter::Drain();
    Times times;
    for (const sync::ItemType type : sync::kAllItemTypes) times[type] = changewriter::ChangeTimes(TableOf(type));
    return times;
}

std::int64_t NewestWins::OnDevice(const sync::Conflict& conflict) {
    CEOID oid = 0;
    std::from_chars(conflict.deviceId.data(), conflict.deviceId.data() + conflict.deviceId.size(), oid);
    if (!m_listed) m_listed = TimesNow();  // somebody may have changed it while it was listed
    const std::uint64_t ticks = std::max(TimeIn(m_before[conflict.type], oid), TimeIn((*m_listed)[conflict.type], oid));
    return ticks == 0 ? 0 : (static_cast<std::int64_t>(ticks) - kTicksFrom1601To1970) * 100;
}

sync::Decision NewestWins::Decide(const sync::Conflict& conflict) {
    std::int64_t device = OnDevice(conflict);
    const std::int64_t folder = conflict.goneInFolder ? 0 : m_folder.ChangedAt(conflict.folderId).value_or(0);
    if (folder == 0) return {sync::Choice::Both, "it is not known when the file was deleted"};
    if (device == 0) return {sync::Choice::Both, "it is not known when the device changed it"};
    // A file that says itself when it was changed says it to the second.
    if (folder % kSecond == 0) device -= device % kSecond;
    if (device == folder) return {sync::Choice::Both, "both were changed at the same time"};
    const std::string times = WallClock(std::max(device, folder)) + " and not " + WallClock(std::min(device, folder));
    return device > folder ? sync::Decision(sync::Choice::Device, "the device's is newer, of " + times)
                           : sync::Decision(sync::Choice::Folder, "the folder's is newer, of " + times);
}

}  // namespace kez::cli
