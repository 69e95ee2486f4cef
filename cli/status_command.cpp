// status: what changed on each side since both last agreed, without a synchronisation and without clearing anything.
#include <cstdio>
#include <cstdlib>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/pairing.h"
#include "cli/peek_device.h"
#include "cli/scratch_folder.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

enum class Change { None, New, Changed, Deleted };
constexpr const char* kChangeNames[] = {"", "new", "changed", "deleted"};

struct Sides {
    Change device;
    Change folder;
};

Sides SidesOf(const sync::Step& step) {
    switch (step.action) {
        case sync::Action::CreateInFolder:
            return {Change::New, Change::None};
        case sync::Action::CreateOnDevice:
            return {Change::None, Change::New};
        case sync::Action::UpdateFolder:
            return {Change::Changed, Change::None};
        case sync::Action::UpdateDevice:
            return {Change::None, Change::Changed};
        case sync::Action::Merge:
            return step.pair->number ? Sides{Change::Changed, Change::Changed} : Sides{Change::New, Change::New};
        case sync::Action::DeleteInFolder:
            return {Change::Deleted, Change::None};
        case sync::Action::DeleteOnDevice:
            return {Change::None, Change::Deleted};
        case sync::Action::DeviceDeletedFolderChanged:
            return {Change::Deleted, Change::Changed};
        case sync::Action::FolderDeletedDeviceChanged:
            return {Change::Changed, Change::Deleted};
        case sync::Action::Forget:
            return {Change::Deleted, Change::Deleted};
        case sync::Action::Nothing:
            break;
    }
    return {Change::None, Change::None};
}

std::string TitleOf(const sync::Step& step, sync::Store& device, sync::Store& folder) {
    if (!step.pair->title.empty()) return step.pair->title;
    const sync::ReadResult read =
        step.deviceId.empty() ? folder.Read(step.type, step.folderId) : device.Read(step.type, step.deviceId);
    if (!read.problem) return sync::Title(read.item);
    return step.folderId.empty() ? "oid " + step.deviceId : step.folderId;
}

// A copy of the state that goes with this object; one that remembers nothing where there is none yet.
class StateCopy {
 public:
    StateCopy(const fs::path& file, const std::string& device, const std::string& folder) {
        const fs::path copy = m_place.Path() / "state.db";
        if (fs::exists(file)) sync::CopyDatabase(file.string(), copy.string());
        m_state = std::make_unique<sync::State>(copy, device, folder, false);
        m_state->ForgetLooksAgain();
    }
    StateCopy(const StateCopy&) = delete;
    StateCopy& operator=(const StateCopy&) = delete;
    sync::State& State() { return *m_state; }

 private:
    ScratchFolder m_place;
    std::unique_ptr<sync::State> m_state;
};

struct Tally {
    std::size_t of[4] = {};
    Json AsJson() const { return {{"new", of[1]}, {"changed", of[2]}, {"deleted", of[3]}}; }
};

}  // namespace

ExitCode Status(const Common& common, const fs::path& folder) {
    const DeviceSession session(common.device);
    partner::RealFileLayer files;
    const auto formats = partner::AllFormats(session.Settings().timeZone);
    std::vector<const partner::ItemFormat*> all;
    for (const auto& format : formats) all.push_back(format.get());
    partner::MemoryFolderCache none;
    const std::string identity = partner::FolderStore(folder.string(), all, files, none).Identity();
    StateCopy copy(StateFile(folder, session.Settings().id, common.partner), session.Settings().id, identity);
    StateCache cache(copy.State());
    partner::FolderStore folderStore(folder.string(), all, files, cache);
    PeekDevice device(common.device.string(), session.Settings().id, common.partner);

    sync::Options options;
    options.force = true;  // nothing is going to be deleted
    const sync::Plan plan = sync::Agreement(device, folderStore, copy.State(), options).MakePlan();
    const std::vector<sync::WaitingConflict> conflicts = copy.State().Conflicts();

    Tally onDevice;
    Tally inFolder;
    Json items = Json::array();
    for (const sync::Step& step : plan.steps) {
        const Sides sides = SidesOf(step);
        const std::string title = TitleOf(step, device, folderStore);
        const std::pair<const char*, Change> changes[] = {{"device", sides.device}, {"folder", sides.folder}};
        ++onDevice.of[static_cast<int>(sides.device)];
        ++inFolder.of[static_cast<int>(sides.folder)];
        for (const auto& [side, change] : changes) {
            if (change == Change::None) continue;
            const char* name = kChangeNames[static_cast<int>(change)];
            Json item{{"side", side}, {"change", name}, {"type", std::string(ToString(step.type))}, {"title", title}};
            if (!step.deviceId.empty()) item["oid"] = std::strtoull(step.deviceId.c_str(), nullptr, 10);
            if (!step.folderId.empty()) item["file"] = step.folderId;
            items.push_back(std::move(item));
            if (!common.output.json && !common.output.quiet) std::printf("%-6s  %-7s  %s\n", side, name, title.c_str());
        }
    }
    Json problems = Json::array();
    for (const sync::Entry& entry : plan.entries) {
        problems.push_back({{"file", entry.folderId}, {"title", entry.title}, {"text", entry.problem.text}});
        if (!common.output.json)
            std::printf("folder  problem  %s: %s\n", entry.title.c_str(), entry.problem.text.c_str());
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"device", onDevice.AsJson()},
                                          {"folder", inFolder.AsJson()},
                                          {"unchanged", plan.unchanged},
                                          {"conflicts", conflicts.size()},
                                          {"items", items},
                                          {"problems", problems}})
                                .c_str());
    } else {
        std::printf(
            "on the device %zu new, %zu changed, %zu deleted; in the folder %zu new, %zu changed, %zu deleted; ",
            onDevice.of[1], onDevice.of[2], onDevice.of[3], inFolder.of[1], inFolder.of[2], inFolder.of[3]);
        std::printf("%zu unchanged, %zu conflicts wait\n", plan.unchanged, conflicts.size());
    }
    return plan.entries.empty() ? kDone : kPartly;
}

}  // namespace kez::cli
