// export: a copy of the device as a folder of files, made without the provider and without a trace on the device.
#include <cstdio>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/owner.h"
#include "partner/folder_store.h"
#include "partner/item_format.h"

namespace kez::cli {

ExitCode Export(const Common& common, const std::filesystem::path& folder) {
    if (std::filesystem::exists(folder) && !std::filesystem::is_empty(folder)) {
        throw std::runtime_error(folder.string() + " is not empty; export writes into a new folder");
    }
    const DeviceSession session(common.device);
    std::filesystem::create_directories(folder);
    partner::RealFileLayer files;
    partner::MemoryFolderCache cache;
    const auto formats = partner::AllFormats(session.Settings().timeZone);
    std::vector<const partner::ItemFormat*> all;
    for (const auto& format : formats) all.push_back(format.get());
    partner::FolderStore store(folder.string(), all, files, cache);
    Owner owner;
    std::size_t written = 0;
    Json problems = Json::array();
    for (const sync::ItemType type : sync::kAllItemTypes) {
        if (!store.Holds(type)) continue;
        for (const OwnedItem& item : owner.List(type, true)) {
            const sync::WriteResult result = store.Create(item.item, {});
            if (result.problem) {
                problems.push_back({{"title", sync::Title(item.item)}, {"text", result.problem.text}});
                PrintError(sync::Title(item.item) + ": " + result.problem.text);
            } else {
                ++written;
            }
        }
    }
    store.Flush();
    if (common.output.json) {
        const Json json{{"folder", folder.string()}, {"exported", written}, {"problems", problems}};
        std::printf("%s\n", JsonText(json).c_str());
    } else if (!common.output.quiet) {
        std::printf("exported %zu items to %s\n", written, folder.c_str());
    }
    return problems.empty() ? kDone : kPartly;
}

}  // namespace kez::cli
