// From the journal into the tables.
#include "platform/changewriter/change_writer.h"

#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <vector>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"
#include "platform/propertydb/volume.h"

namespace kez::changewriter {

namespace {

using propertydb::JournalAction;
using propertydb::JournalEntry;
using propertydb::PropertySet;
using propertydb::Transaction;
using propertydb::Volume;
using propertydb::VolumeError;

constexpr std::size_t kEntriesAtOnce = 1000;
constexpr std::uint64_t kTicksPerMillisecond = 10000;

struct Attached {
    std::mutex mutex;
    std::optional<Options> options;
    int idleWork = 0;
    std::optional<std::string> failure;
};

Attached& TheAttached() {
    static Attached attached;
    return attached;
}

// A run in the middle of somebody's Sleep must not change what GetLastError says there.
struct KeepLastError {
    const DWORD error = GetLastError();
    ~KeepLastError() { SetLastError(error); }
};

// The setting under which the change volume keeps how far the journal of a PIM volume was carried over.
std::string CarriedSetting(Volume& pim) {
    char name[40];
    std::snprintf(name, sizeof name, "carried-%016llx", static_cast<unsigned long long>(pim.Identity()));
    return name;
}

bool IsOldEnough(const JournalEntry& entry, Delay delay, std::uint64_t now) {
    if (entry.time > now) return true;  // the clock was set back: no reason to wait until it catches up
    return now - entry.time >= static_cast<std::uint64_t>(delay.count()) * kTicksPerMillisecond;
}

void EnableJournals(Volume& pim) {
    for (const ChangeTable& table : kChangeTables) {
        if (const CEOID database = pim.FindDatabase(table.pimDatabase)) pim.EnableJournal(database);
    }
}

// By PIM database the change table of its items.
std::map<CEOID, CEOID> TablesByDatabase(Volume& pim, Volume& changes) {
    std::map<CEOID, CEOID> tables;
    for (const ChangeTable& table : kChangeTables) {
        if (const CEOID database = pim.FindDatabase(table.pimDatabase)) {
            tables[database] = changes.FindDatabase(table.table);
        }
    }
    return tables;
}

void Mark(Volume& changes, CEOID table, CEOID item, bool deleted) {
    const std::int64_t state = deleted ? kStateDeleted : kStateChanged;
    const PropertySet states{{kStateOfPartner0, state}, {kStateOfOthers, state}};
    if (const CEOID record = changes.FindEqual(table, 0, {{kItemOid, std::int64_t{item}}})) {
        changes.Update(table, record, states);
        return;
    }
    PropertySet record = states;
    record.SetNumber(kItemOid, item);
    changes.Insert(table, record);
}

// What the last entries say of each item: of several only the outcome counts.
using Outcomes = std::map<std::pair<CEOID, CEOID>, bool>;  // (PIM database, item) -> deleted

void Note(const JournalEntry& entry, Outcomes& outcomes) {
    bool& deleted = outcomes[{entry.database, entry.record}];
    deleted = deleted || entry.action == JournalAction::Deleted;
}

struct Carried {
    std::size_t entries = 0;
    std::int64_t upTo = 0;
};

// Holding the change volume's write lock from its first statement on, so that of several writers each begins where
// the one before has ended.
Carried CarryOver(const std::shared_ptr<Volume>& pim, const std::shared_ptr<Volume>& changes, Delay delay) {
    const std::map<CEOID, CEOID> tables = TablesByDatabase(*pim, *changes);
    const std::string setting = CarriedSetting(*pim);
    const std::uint64_t now = control::Now();
    Transaction transaction(changes);
    Carried carried;
    carried.upTo = changes->Setting(setting).value_or(0);
    // A PIM volume that was put back from an older copy gives its numbers again.
    if (pim->LastJournalSequence() < carried.upTo) carried.upTo = 0;
    Outcomes outcomes;
    for (bool more = true; more;) {
        const std::vector<JournalEntry> entries = pim->ReadJournal(carried.upTo, kEntriesAtOnce);
        more = entries.size() == kEntriesAtOnce;
        for (const JournalEntry& entry : entries) {
            if (!IsOldEnough(entry, delay, now)) {
                more = false;
                break;
            }
            Note(entry, outcomes);
            carried.upTo = entry.sequence;
            ++carried.entries;
        }
    }
    for (const auto& [item, deleted] : outcomes) {
        const auto table = tables.find(item.first);
        if (table != tables.end() && table->second) Mark(*changes, table->second, item.second, deleted);
    }
    if (carried.entries) changes->SetSetting(setting, carried.upTo);
    transaction.Commit();
    return carried;
}

// The host's own file calls: a fault that is planned for the provider's CreateFileW is not the writer's.
bool DropTriggerFile() {
    const auto file = kernel::HostPath(kTriggerFile);
    return file && std::ofstream(*file, std::ios::trunc).is_open();
}

bool HasEntriesUpTo(Volume& pim, std::int64_t upTo) {
    const auto first = pim.ReadJournal(0, 1);
    return !first.empty() && first.front().sequence <= upTo;
}

}  // namespace

std::size_t Drain(Delay delay) {
    const KeepLastError keep;
    if (control::DeviceFolder().empty() || !Volume::Exists(kPimVolume)) return 0;
    Carried carried;
    bool dropped = false;
    {
        const auto pim = Volume::OpenApart(kPimVolume);
        EnableJournals(*pim);
        if (pim->ReadJournal(0, 1).empty()) return 0;
        if (!Volume::Exists(kChangeVolume)) CreateChangeTables();
        const auto changes = Volume::OpenApart(kChangeVolume);
        carried = CarryOver(pim, changes, delay);
        // Entries that a writer carried over before it was killed want the trigger file as well.
        if (HasEntriesUpTo(*pim, carried.upTo)) {
            dropped = DropTriggerFile();
            if (dropped) pim->TrimJournal(carried.upTo);
        }
    }
    FileNotification notify;
    {
        Attached& attached = TheAttached();
        std::lock_guard lock(attached.mutex);
        if (attached.options) notify = attached.options->fileNotification;
    }
    if (dropped && notify) notify(kTriggerFile);
    return carried.entries;
}

// --- In this process ----------------------------------------------------------------------------------------

namespace {

void RunAttached() {
    Attached& attached = TheAttached();
    Delay delay;
    {
        std::lock_guard lock(attached.mutex);
        if (!attached.options) return;
        delay = attached.options->delay;
    }
    std::optional<std::string> failure;
    try {
        Drain(delay);
    } catch (const VolumeError& error) {
        failure = error.what();
    }
    std::lock_guard lock(attached.mutex);
    attached.failure = std::move(failure);
}

}  // namespace

void Attach(Options options) {
    Attached& attached = TheAttached();
    std::lock_guard lock(attached.mutex);
    attached.options = std::move(options);
    attached.failure.reset();
    if (!attached.idleWork) attached.idleWork = control::AddIdleWork(RunAttached);
}

void Detach() {
    Attached& attached = TheAttached();
    int idleWork = 0;
    {
        std::lock_guard lock(attached.mutex);
        attached.options.reset();
        attached.failure.reset();
        idleWork = std::exchange(attached.idleWork, 0);
    }
    if (idleWork) control::RemoveIdleWork(idleWork);  // may wait for a run, which takes the lock
}

std::optional<std::string> LastFailure() {
    Attached& attached = TheAttached();
    std::lock_guard lock(attached.mutex);
    return attached.failure;
}

}  // namespace kez::changewriter
