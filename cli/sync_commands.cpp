// sync, conflicts, resolve: bringing a device and a folder into agreement.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <iostream>
#include <optional>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/end_signals.h"
#include "cli/pairing.h"

namespace kez::cli {
namespace {

// A bar on a terminal for whatever takes longer than a second.
class ProgressBar {
 public:
    explicit ProgressBar(bool wanted)
        : m_wanted(wanted && isatty(STDERR_FILENO)), m_start(Clock::now()), m_last(m_start) {}
    ~ProgressBar() {
        if (m_shown) std::fprintf(stderr, "\r\x1b[K");
    }
    void Show(const sync::Progress& progress) {
        const auto now = Clock::now();
        if (!m_wanted || now - m_start < std::chrono::seconds(1) || now - m_last < std::chrono::milliseconds(100))
            return;
        m_last = now;
        m_shown = true;
        const double seconds = std::chrono::duration<double>(now - m_start).count();
        const double left = progress.done == 0 ? 0
                                               : seconds * static_cast<double>(progress.total - progress.done) /
                                                     static_cast<double>(progress.done);
        const int filled = static_cast<int>(progress.done * 30 / std::max<std::size_t>(progress.total, 1));
        std::fprintf(stderr, "\r\x1b[K%ss [%.*s%*s] %zu/%zu, %.0f s left", std::string(ToString(progress.type)).c_str(),
                     filled, "##############################", 30 - filled, "", progress.done, progress.total, left);
    }

 private:
    using Clock = std::chrono::steady_clock;
    bool m_wanted;
    bool m_shown = false;
    Clock::time_point m_start;
    Clock::time_point m_last;
};

sync::Decision AskUser(const sync::Conflict& conflict) {
    std::fprintf(stderr, "\n%s \"%s\" changed on both sides:\n", std::string(ToString(conflict.type)).c_str(),
                 conflict.title.c_str());
    auto value = [](const sync::Item& item, const std::string& name) {
        const auto field = item.fields.find(name);
        return field == item.fields.end() ? std::string("(none)") : field->second;
    };
    if (conflict.goneOnDevice) std::fprintf(stderr, "  deleted on the device, changed in the folder\n");
    if (conflict.goneInFolder) std::fprintf(stderr, "  deleted in the folder, changed on the device\n");
    for (const std::string& name : conflict.fields) {
        std::fprintf(stderr, "  %s\n    device  %s\n    folder  %s\n", name.c_str(),
                     value(conflict.device, name).c_str(), value(conflict.folder, name).c_str());
    }
    for (;;) {
        std::fprintf(stderr, "take [d]evice, [f]older, [b]oth, or [s]kip for now? ");
        std::string answer;
        if (!std::getline(std::cin, answer)) return sync::Choice::Skip;
        if (answer == "d") return sync::Choice::Device;
        if (answer == "f") return sync::Choice::Folder;
        if (answer == "b") return sync::Choice::Both;
        if (answer == "s") return sync::Choice::Skip;
    }
}

ExitCode CodeOf(const sync::Report& report) { return report.Complete() ? kDone : kPartly; }

bool Names(const sync::WaitingConflict& conflict, const std::string& item) {
    return item == conflict.title || item == conflict.folderId || item == conflict.deviceId;
}

// Carried out whole, on copies: what it did to them is what a synchronisation would do.
ExitCode DryRun(const Common& common, const SyncOptions& options) {
    Rehearsal rehearsal(common.device, options.folder, common.partner);
    const DeviceSession session(rehearsal.Device(), common.device);
    Pairing pairing(session, common, options, &rehearsal);
    sync::Report report =
        sync::Agreement(pairing.Device(), pairing.Folder(), pairing.State(), pairing.AgreementOptions()).Run();
    pairing.TellOlderCopy(report);
    PrintPlan(report, common.output);
    return CodeOf(report);
}

}  // namespace

sync::Report Synchronise(const Common& common, const SyncOptions& options, std::function<bool()> stop) {
    const auto start = std::chrono::steady_clock::now();
    UndoRecord undo(common.device, common.partner, options.durability != "none");
    sync::Report report;
    OpenVolume volume;
    {
        const DeviceSession session(common.device);
        volume.Open();
        if (options.logLevel >= 0) session.SetLogLevel(options.logLevel);
        Pairing pairing(session, common, options);
        sync::Options agreed = pairing.AgreementOptions();
        ProgressBar bar(!common.output.quiet && !common.output.json);
        agreed.progress = [&bar](const sync::Progress& progress) { bar.Show(progress); };
        if (!agreed.ask) agreed.ask = AskUser;
        agreed.stop = std::move(stop);
        sync::Agreement agreement(pairing.Device(), pairing.Folder(), pairing.State(), agreed);
        undo.TellOthers();
        const sync::Plan plan = agreement.MakePlan();
        if (!plan.steps.empty()) {
            pairing.BeginChanges();
            pairing.KeepForUndo(undo);
        }
        report = agreement.CarryOut(plan);
        pairing.EndKeeping();
        pairing.TellOlderCopy(report);
    }
    undo.End();
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

ExitCode Sync(const Common& common, const SyncOptions& options) {
    if (options.dryRun) return DryRun(common, options);
    // Who is being asked wants an end at once.
    std::optional<EndSignals> signals;
    if (options.conflicts != "ask") signals.emplace();
    const sync::Report report = Synchronise(common, options, [&signals] { return signals && signals->Came(); });
    PrintReport(report, common.output);
    return CodeOf(report);
}

ExitCode Conflicts(const Common& common, const std::filesystem::path& folder) {
    const DeviceSession session(common.device);
    const auto conflicts = OpenState(session, folder, common.partner)->Conflicts();
    if (common.output.json) {
        Json json = Json::array();
        for (const sync::WaitingConflict& conflict : conflicts) json.push_back(ConflictAsJson(conflict));
        std::printf("%s\n", JsonText(json).c_str());
        return kDone;
    }
    for (const sync::WaitingConflict& conflict : conflicts) {
        std::printf("%-11s  %s: %s%s%s\n", std::string(ToString(conflict.type)).c_str(), conflict.title.c_str(),
                    conflict.text.c_str(), conflict.choice.empty() ? "" : "; decided: ", conflict.choice.c_str());
    }
    if (conflicts.empty() && !common.output.quiet) std::printf("no conflict waits\n");
    return kDone;
}

ExitCode Resolve(const Common& common, const std::filesystem::path& folder, const std::string& item,
                 const std::string& choice) {
    const DeviceSession session(common.device);
    const auto state = OpenState(session, folder, common.partner);
    std::vector<sync::WaitingConflict> named;
    for (const sync::WaitingConflict& conflict : state->Conflicts()) {
        if (Names(conflict, item)) named.push_back(conflict);
    }
    if (named.empty()) throw std::runtime_error("no conflict waits for \"" + item + "\"; kezsync conflicts lists them");
    if (named.size() > 1) {
        throw std::runtime_error("\"" + item + "\" names " + std::to_string(named.size()) +
                                 " conflicts; name the one by its file or oid");
    }
    state->Choose(named[0], choice);
    if (common.output.json) {
        named[0].choice = choice;
        std::printf("%s\n", JsonText(ConflictAsJson(named[0])).c_str());
    } else if (!common.output.quiet) {
        const std::string what = choice == "both" ? "both are kept" : choice + " wins";
        std::printf("%s: %s in the next sync\n", named[0].title.c_str(), what.c_str());
    }
    return kDone;
}

}  // namespace kez::cli
