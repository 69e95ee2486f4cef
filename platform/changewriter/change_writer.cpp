// From the journal into the tables.
#include "platform/changewriter/change_writer.h"

#include <algorithm>
#include <atomic>
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

// Settings of the PIM volume: the number of the last run that set out to carry something over, and of the one before,
// which holds where that run did not come to its end.
constexpr const char* kRun = "carry";
constexpr const char* kRunBefore = "carry-before";

// Settings of the change volume, for one PIM volume each: the number of the last run that carried something over, how
// far it came in the journal, and the highest identifier that the PIM volume had given then.
struct ChangeSettings {
    explicit ChangeSettings(Volume& pim) {
        char identity[20];
        std::snprintf(identity, sizeof identity, "-%016llx", static_cast<unsigned long long>(pim.Identity()));
        run = std::string("carry") + identity;
        carried = std::string("carried") + identity;
        identifiers = std::string("identifiers") + identity;
    }
    std::string run;
    std::string carried;
    std::string identifiers;
};

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

// What became of an item, and when last.
struct Outcome {
    bool deleted = false;
    std::uint64_t time = 0;
};

void Mark(Volume& changes, CEOID table, CEOID item, const Outcome& outcome) {
    const std::int64_t state = outcome.deleted ? kStateDeleted : kStateChanged;
    const PropertySet states{{kStateOfPartner0, state}, {kStateOfOthers, state}};
    CEOID record = changes.FindEqual(table, 0, {{kItemOid, std::int64_t{item}}});
    if (record) {
        changes.Update(table, record, states);
    } else {
        PropertySet made = states;
        made.SetNumber(kItemOid, item);
        record = changes.Insert(table, made);
    }
    changes.PutAttachment(table, record, kTimeOfChange,
                          {0, {{kChangedAt, static_cast<std::int64_t>(outcome.time)}}, {}});
}

// What the last entries say of each item: of several only the outcome counts.
using Outcomes = std::map<std::pair<CEOID, CEOID>, Outcome>;  // by PIM database and item

void Note(const JournalEntry& entry, Outcomes& outcomes) {
    Outcome& outcome = outcomes[{entry.database, entry.record}];
    outcome.deleted = outcome.deleted || entry.action == JournalAction::Deleted;
    outcome.time = entry.time;
}

// Which of the two volumes was put back to an older copy of itself.
enum class Older { Neither, Pim, Changes };

struct Carried {
    std::size_t entries = 0;
    std::int64_t upTo = 0;
    std::int64_t run = 0;
    bool markedAll = false;
};

// A run that did not come to its end has a number that the change volume never had: the one before decides.
Older Compare(std::int64_t run, std::int64_t runBefore, std::int64_t carriedRun) {
    if (carriedRun == run || carriedRun == runBefore) return Older::Neither;
    return carriedRun > runBefore ? Older::Pim : Older::Changes;
}

// The PIM volume, by identity and run, that this process last found to go with its change volume: without news there
// is no need to look again.
std::atomic<std::uint64_t> g_known{0};

std::uint64_t KnownAs(Volume& pim) {
    return pim.Identity() + static_cast<std::uint64_t>(pim.Setting(kRun).value_or(0));
}

// Of a PIM volume without entries in its journal.
bool NeedsNoLook(Volume& pim) {
    return KnownAs(pim) == g_known || (!pim.Setting(kRun) && !Volume::Exists(kChangeVolume));
}

// Seen through the connection that this process shares, where nobody else is using it: one of the writer's own costs
// more than the look, and there is rarely any news.
bool SeesNoNews() {
    const auto pim = Volume::IfOpen(kPimVolume);
    if (!pim) return false;
    const auto lock = pim->TryLock();
    if (!lock) return false;
    for (const ChangeTable& table : kChangeTables) {
        const CEOID database = pim->FindDatabase(table.pimDatabase);
        if (database && !pim->HasJournal(database)) return false;
    }
    return pim->ReadJournal(0, 1).empty() && NeedsNoLook(*pim);
}

// Holding the change volume's write lock from its first statement on, so that of several writers each begins where
// the one before has ended.
Carried CarryOver(const std::shared_ptr<Volume>& pim, const std::shared_ptr<Volume>& changes, Delay delay) {
    const std::map<CEOID, CEOID> tables = TablesByDatabase(*pim, *changes);
    const ChangeSettings settings(*pim);
    const std::uint64_t now = control::Now();
    Transaction transaction(changes);
    const std::int64_t carriedRun = changes->Setting(settings.run).value_or(0);
    const std::int64_t run = pim->Setting(kRun).value_or(0);
    const std::int64_t runBefore = pim->Setting(kRunBefore).value_or(0);
    const Older older = Compare(run, runBefore, carriedRun);
    Carried carried;
    carried.run = carriedRun;
    if (older == Older::Neither) carried.upTo = changes->Setting(settings.carried).value_or(0);
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
    if (!carried.entries && older == Older::Neither) return carried;
    if (older == Older::Pim) {
        pim->SkipIdentifiers(static_cast<CEOID>(changes->Setting(settings.identifiers).value_or(0)));
    }
    carried.markedAll = older == Older::Changes;
    if (carried.markedAll) {
        for (const auto& [database, table] : tables) {
            for (const CEOID item : *pim->OrderedOids(database, -1)) outcomes.try_emplace({database, item}, Outcome{});
        }
    }
    for (const auto& [item, outcome] : outcomes) {
        const auto table = tables.find(item.first);
        if (table != tables.end() && table->second) Mark(*changes, table->second, item.second, outcome);
    }
    carried.run = std::max(run, carriedRun) + 1;
    {
        Transaction begun(pim);
        pim->SetSetting(kRun, carried.run);
        pim->SetSetting(kRunBefore, older == Older::Neither ? carriedRun : runBefore);
        begun.Commit();
    }
    changes->SetSetting(settings.run, carried.run);
    changes->SetSetting(settings.carried, carried.upTo);
    changes->SetSetting(settings.identifiers, pim->LastIdentifier());
    transaction.Commit();
    return carried;
}

void Trim(const std::shared_ptr<Volume>& pim, const Carried& carried) {
    Transaction transaction(pim);
    pim->TrimJournal(carried.upTo);
    if (pim->Setting(kRun) == carried.run) pim->SetSetting(kRunBefore, carried.run);
    transaction.Commit();
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
    if (control::DeviceFolder().empty() || !Volume::Exists(kPimVolume) || SeesNoNews()) return 0;
    Carried carried;
    bool dropped = false;
    {
        const auto pim = Volume::OpenApart(kPimVolume);
        EnableJournals(*pim);
        if (pim->ReadJournal(0, 1).empty() && NeedsNoLook(*pim)) return 0;
        if (!Volume::Exists(kChangeVolume)) CreateChangeTables();
        const auto changes = Volume::OpenApart(kChangeVolume);
        carried = CarryOver(pim, changes, delay);
        // Entries that a writer carried over before it was killed want the trigger file as well.
        const bool tell = carried.markedAll || HasEntriesUpTo(*pim, carried.upTo);
        if (tell) dropped = DropTriggerFile();
        if (dropped) Trim(pim, carried);
        if (dropped || !tell) g_known = KnownAs(*pim);
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
