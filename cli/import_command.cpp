// import: cards and calendar items onto the device, as its owner would enter them.
#include <algorithm>
#include <cstdio>
#include <fstream>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/owner.h"
#include "partner/item_files.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

// The files that a source stands for: itself, or what lies in the folder, by name.
std::vector<fs::path> FilesOf(const fs::path& source) {
    if (!fs::is_directory(source)) return {source};
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(source)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && name[0] != '.' && partner::IsItemFile(name)) files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

ExitCode Import(const Common& common, const std::vector<fs::path>& sources) {
    const DeviceSession session(common.device);
    Owner owner;
    Json json = Json::array();
    std::size_t added = 0;
    std::size_t refused = 0;
    auto refuse = [&](const std::string& file, const std::string& title, const std::string& why) {
        ++refused;
        if (common.output.json) {
            json.push_back({{"file", file}, {"title", title}, {"problem", why}});
        } else {
            PrintError(file + (title.empty() ? "" : ": " + title) + ": " + why);
        }
    };
    for (const fs::path& source : sources) {
        if (!fs::exists(source)) {
            refuse(source.string(), {}, "is not there");
            continue;
        }
        for (const fs::path& file : FilesOf(source)) {
            std::ifstream stream(file, std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
            if (!stream.is_open() || stream.bad()) {
                refuse(file.string(), {}, "cannot be read");
                continue;
            }
            for (const partner::FileItem& item :
                 partner::ReadItems(bytes, file.filename().string(), session.Settings().timeZone)) {
                const std::string title = item.problem ? std::string() : sync::Title(item.item);
                if (item.problem) {
                    refuse(file.string(), title, item.problem.text);
                    continue;
                }
                try {
                    const CEOID oid = owner.Add(item.item);
                    ++added;
                    if (common.output.json) {
                        json.push_back(
                            {{"file", file.string()}, {"title", title}, {"oid", oid}, {"notes", item.losses}});
                        continue;
                    }
                    if (common.output.verbose) std::printf("%10u  %s\n", oid, title.c_str());
                    for (const std::string& loss : item.losses) {
                        if (!common.output.quiet) std::printf("%12s%s: %s\n", "", title.c_str(), loss.c_str());
                    }
                } catch (const OwnerError& error) {
                    refuse(file.string(), title, error.what());
                }
            }
        }
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(json).c_str());
    } else if (!common.output.quiet) {
        std::printf("imported %zu, refused %zu\n", added, refused);
    }
    if (refused == 0) return kDone;
    return added == 0 ? kFailed : kPartly;
}

}  // namespace kez::cli
