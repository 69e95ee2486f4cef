// undo: takes the last synchronisation back on both sides.
#include <cstdio>

#include "cli/commands.h"
#include "cli/pairing.h"
#include "cli/partnership.h"
#include "cli/undo.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace fs = std::filesystem;

ExitCode Undo(const Common& common, const fs::path& folderGiven, bool force) {
    const fs::path folder = fs::absolute(folderGiven).lexically_normal();
    const control::DeviceSettings settings = control::ReadDevice(common.device);
    const FolderLock deviceLock(common.device, "the device");
    const FolderLock folderLock(folder, "the folder");
    UndoRecord record(common.device, common.partner);
    const std::vector<std::string> changed = record.ChangedSince(folder);
    if (!changed.empty() && !force) {
        std::string text;
        for (const std::string& each : changed) text += (text.empty() ? "" : "; ") + each;
        throw PairingRefused("since the last synchronisation " + text +
                             ". Nothing was changed. To take it back and lose that, use --force");
    }
    const UndoRecord::Done done = record.Restore(folder, StateFile(folder, settings.id, common.partner));
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"restoredFiles", done.restored}, {"removedFiles", done.removed}}).c_str());
    } else if (!common.output.quiet) {
        std::printf(
            "took the last synchronisation back: the device is as it was, %zu files were put back, %zu removed. "
            "The next synchronisation would do the same again\n",
            done.restored, done.removed);
    }
    return kDone;
}

}  // namespace kez::cli
