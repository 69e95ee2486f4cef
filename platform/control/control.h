// What a test or a tool may set on the device host: the device folder, the clock, how Sleep waits, the time zone,
// and faults that are to happen; and what it may count: live blocks, strings, objects and handles.
//
// All of it is state of this process, guarded inside; every function may be called from any thread.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kez::control {

// --- Device folder ----------------------------------------------------------------------------------------

// What a device folder says of itself; kept in the file ".kezdevice" in it, as lines "name=value".
struct DeviceSettings {
    std::string id;        // made once, when the folder is made; another id is another device
    std::string timeZone;  // a name of the tz database; empty is UTC
};

// The folder cannot be used as a device: the text names it and says why and what to do.
class DeviceError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

bool IsDevice(const std::filesystem::path& folder);

// What `folder` says of itself, without opening it. Throws DeviceError where it is no device folder.
DeviceSettings ReadDevice(const std::filesystem::path& folder);

// Makes `folder` (which must be missing or empty) a device folder with a new id. Throws DeviceError.
DeviceSettings CreateDevice(const std::filesystem::path& folder, const std::string& timeZone);

// Makes `folder` the device of this process: the root "\" of every path that a platform call takes. Runs the idle
// work once at its end. Throws DeviceError where it is no device folder or another device is open.
DeviceSettings OpenDevice(const std::filesystem::path& folder);

// Runs the idle work, then lets go of the device; without one it does nothing.
void CloseDevice();

// The open device's folder; empty without one (platform calls then find nothing: last error 3).
std::filesystem::path DeviceFolder();
DeviceSettings CurrentDevice();

// --- Clock ------------------------------------------------------------------------------------------------

using Ticks = std::uint64_t;  // 100 ns since 1601-01-01 UTC, as a FILETIME counts

Ticks Now();
void UseRealClock();
void SetClock(std::function<Ticks()> clock);
void FreezeClock(const SYSTEMTIME& utc);  // stands still, but for the lengths of recorded sleeps
void AdvanceClock(std::uint32_t milliseconds);

// --- Sleep ------------------------------------------------------------------------------------------------

enum class SleepPolicy {
    Real,      // waits as long as asked, then does the idle work
    Idle,      // does the idle work and returns
    Recorded,  // does the idle work, remembers the length, moves a frozen clock on, and returns
};
void SetSleepPolicy(SleepPolicy policy);
SleepPolicy CurrentSleepPolicy();
std::vector<std::uint32_t> TakeRecordedSleeps();  // milliseconds, oldest first; empties the record

// Work that gets done when the device would have time for it: in Sleep, when a device is opened or closed. The
// change writer registers itself here. Returns a number for RemoveIdleWork.
int AddIdleWork(std::function<void()> work);
void RemoveIdleWork(int number);
void RunIdleWork();
void SleepByPolicy(std::uint32_t milliseconds);  // what Sleep() does

// --- Flushing ---------------------------------------------------------------------------------------------

// What CeFlushDBVol of one volume does. That of all volumes (null) makes durable what was written whatever the policy,
// and so does the last unmount of a volume.
enum class FlushPolicy {
    AtOnce,  // makes durable what was written
    PutOff,  // succeeds and leaves it to the next flush of all volumes: for who flushes after several items
};
void SetFlushPolicy(FlushPolicy policy);
FlushPolicy CurrentFlushPolicy();

// --- Time zone --------------------------------------------------------------------------------------------

// Minutes that local time lacks to UTC at `utc` in the device's zone (UTC = local + bias).
std::int32_t BiasAt(Ticks utc);
// The bias in force now: what the platform's local conversions use for every date. A fixed value can be set.
std::int32_t CurrentBias();
void SetCurrentBias(std::optional<std::int32_t> minutes);
void SetTimeZone(const std::string& name);  // of the open device, for this process only; throws DeviceError

// --- Planned faults ---------------------------------------------------------------------------------------

// A platform call or interface method that is to fail. Calls are named as they are declared ("CeReadRecordProps",
// "CreateFileW", "SysAllocString"), methods with their interface ("IAppointment::Save", "IItem::GetProps").
struct Fault {
    std::string call;
    std::uint32_t nth = 1;    // the first call that fails, counted from now, from 1
    std::uint32_t times = 1;  // how many calls fail from there on
    std::uint32_t code = 0;   // last error, or HRESULT for a method
};
void PlanFault(const Fault& fault);
void ClearFaults();

// While counting is on, every call is counted by its name (to sweep "the nth call, for every n").
void CountCalls(bool on);
std::uint64_t CallCount(const std::string& call);
std::vector<std::pair<std::string, std::uint64_t>> CallCounts();  // by name
void ClearCallCounts();

namespace detail {
extern std::atomic<bool> g_watchCalls;
std::optional<std::uint32_t> Watched(const char* call);
}  // namespace detail

// Asked by every platform call at its start: the code with which it has to fail, or nothing.
inline std::optional<std::uint32_t> PlannedFault(const char* call) {
    if (!detail::g_watchCalls.load(std::memory_order_relaxed)) return std::nullopt;
    return detail::Watched(call);
}

// --- Live counts ------------------------------------------------------------------------------------------

struct LiveCounts {
    std::int64_t localBlocks = 0;
    std::int64_t heapBlocks = 0;
    std::int64_t automationStrings = 0;
    std::int64_t comObjects = 0;
    std::int64_t handles = 0;
    bool operator==(const LiveCounts& other) const {
        return localBlocks == other.localBlocks && heapBlocks == other.heapBlocks &&
               automationStrings == other.automationStrings && comObjects == other.comObjects &&
               handles == other.handles;
    }
};
LiveCounts Live();
std::string Describe(const LiveCounts& counts);

enum class LiveKind { LocalBlock, HeapBlock, AutomationString, ComObject, Handle };
void CountLive(LiveKind kind, int change);

}  // namespace kez::control
