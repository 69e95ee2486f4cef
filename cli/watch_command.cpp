// watch: stays, and synchronises whenever something changed on either side.
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <tuple>
#include <vector>

#include "cli/commands.h"
#include "cli/end_signals.h"
#include "cli/pairing.h"
#include "partner/file_layer.h"
#include "partner/item_files.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

constexpr int kQuietMilliseconds = 200;  // a program that writes one file writes more
constexpr int kRetryMilliseconds = 2000;
constexpr int kMostRounds = 5;

constexpr const char* kVolumes[] = {"pim.vol", "KezDBNotify.vol"};

// Whether a file of this name in the device folder holds what a synchronisation looks at.
bool ConcernsTheDevice(const std::string& name) {
    return std::any_of(std::begin(kVolumes), std::end(kVolumes),
                       [&](const std::string volume) { return name == volume || name == volume + "-wal"; });
}

// What tells a change on either side from none.
using Moment = std::pair<std::int64_t, std::vector<std::tuple<std::string, std::int64_t, std::uint64_t>>>;

Moment Now(const fs::path& device, const fs::path& folder) {
    Moment moment;
    // The change tables too: another process may carry a change into them after a synchronisation has looked.
    for (const char* name : kVolumes) {
        if (!fs::exists(device / name)) continue;
        const sync::Sqlite volume((device / name).string());
        sync::Statement sum(volume, "SELECT sum(changes) FROM state");
        if (sum.Step()) moment.first += sum.Integer(0);
    }
    partner::RealFileLayer files;
    if (!fs::exists(folder)) return moment;
    for (const partner::FileEntry& file : files.List(folder.string())) {
        if (file.name[0] == '.' || !partner::IsItemFile(file.name)) continue;
        moment.second.emplace_back(file.name, file.stamp.changed, file.stamp.inode);
    }
    return moment;
}

bool Wrote(const sync::Counts& counts) {
    return counts.sent + counts.received + counts.merged + counts.matched + counts.deletedOnDevice +
               counts.deletedInFolder !=
           0;
}

// Wakes up when something may have changed, or somebody wants an end.
class Watcher {
 public:
    Watcher(const fs::path& device, const fs::path& folder, const EndSignals& signals) : m_signals(signals.File()) {
        m_changes = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        if (m_changes < 0) throw std::runtime_error("this system cannot watch files");
        // Whoever only looks at a volume makes and removes its log, but writes nothing into it.
        m_device = inotify_add_watch(m_changes, device.c_str(), IN_MODIFY);
        if (inotify_add_watch(m_changes, folder.c_str(), IN_CLOSE_WRITE | IN_MOVE | IN_DELETE | IN_DELETE_SELF) < 0 ||
            m_device < 0) {
            close(m_changes);
            throw std::runtime_error("cannot watch " + device.string() + " and " + folder.string());
        }
    }
    ~Watcher() { close(m_changes); }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    enum class Woken { Change, End, Idle };
    // At most so many milliseconds, -1 for ever.
    Woken Wait(int milliseconds) {
        pollfd files[] = {{m_signals, POLLIN, 0}, {m_changes, POLLIN, 0}};
        for (;;) {
            if (poll(files, 2, milliseconds) == 0) return Woken::Idle;
            if (files[0].revents) return Woken::End;
            if (!Drain()) continue;
            while (poll(files, 2, kQuietMilliseconds) > 0 && !files[0].revents) Drain();
            return files[0].revents ? Woken::End : Woken::Change;
        }
    }

 private:
    // Whether any of what happened concerns items.
    bool Drain() {
        alignas(inotify_event) char events[8192];
        bool concerns = false;
        for (ssize_t size = 0; (size = read(m_changes, events, sizeof events)) > 0;) {
            for (ssize_t at = 0; at < size;) {
                const auto* event = reinterpret_cast<const inotify_event*>(events + at);
                const std::string name = event->len ? event->name : "";
                concerns |= event->wd == m_device ? ConcernsTheDevice(name) : name.empty() || name[0] != '.';
                at += static_cast<ssize_t>(sizeof *event + event->len);
            }
        }
        return concerns;
    }

    int m_signals;
    int m_changes = -1;
    int m_device = -1;
};

// Until both sides stand still: what somebody changes while a synchronisation runs needs another one.
Moment Settle(const Common& common, const SyncOptions& options, const EndSignals& signals) {
    Moment before;
    for (int round = 0; round < kMostRounds && !signals.Came(); ++round) {
        before = Now(common.device, options.folder);
        const sync::Report report = Synchronise(common, options, [&signals] { return signals.Came(); });
        const bool wrote = Wrote(report.counts);
        if (wrote || (round == 0 && !report.Complete())) PrintReport(report, common.output);
        std::fflush(stdout);
        if (!wrote) break;
    }
    return before;
}

}  // namespace

ExitCode Watch(const Common& common, const SyncOptions& options, unsigned idleSeconds) {
    const EndSignals signals;
    Moment last = Settle(common, options, signals);
    if (signals.Came()) return kDone;
    SyncOptions later = options;
    later.force = false;
    Watcher watcher(common.device, options.folder, signals);
    bool retry = Now(common.device, options.folder) != last;
    for (;;) {
        if (!retry) {
            const auto woken = watcher.Wait(idleSeconds == 0 ? -1 : static_cast<int>(idleSeconds * 1000));
            if (woken != Watcher::Woken::Change) return kDone;
            if (Now(common.device, options.folder) == last) continue;
        }
        retry = false;
        try {
            last = Settle(common, later, signals);
            if (signals.Came()) return kDone;
        } catch (const sync::RefusedForSafety&) {
            throw;
        } catch (const PairingRefused&) {
            throw;
        } catch (const std::exception& error) {
            PrintError(error.what());
            if (watcher.Wait(kRetryMilliseconds) == Watcher::Woken::End) return kDone;
            retry = true;
        }
    }
}

}  // namespace kez::cli
