// check: what of a folder's files a device could not hold, and why, without a device.
#include <cstdio>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "partner/folder_store.h"
#include "partner/item_format.h"
#include "partner/packet_codec.h"
#include "platform/control/control.h"

namespace kez::cli {

ExitCode Check(const Common& common, const std::filesystem::path& folder, const std::string& timeZone) {
    const std::string zone = !timeZone.empty()       ? timeZone
                             : common.device.empty() ? LocalTimeZone()
                                                     : control::ReadDevice(common.device).timeZone;
    control::SetTimeZone(zone);
    const partner::RecordCodec codec([] { return control::CurrentBias(); });
    const auto formats = partner::AllFormats(zone);
    std::vector<const partner::ItemFormat*> all;
    for (const auto& format : formats) all.push_back(format.get());
    partner::RealFileLayer files;
    partner::MemoryFolderCache cache;
    partner::FolderStore store(folder.string(), all, files, cache);

    std::size_t whole = 0;
    std::size_t inPart = 0;
    std::size_t refused = 0;
    Json items = Json::array();
    for (const sync::ItemType type : sync::kAllItemTypes) {
        if (!store.Holds(type)) continue;
        for (const sync::Listed& listed : store.List(type).items) {
            std::string title = listed.id;
            sync::Problem problem = listed.problem ? *listed.problem : sync::Problem{};
            std::vector<std::string> losses;
            if (!problem) {
                sync::ReadResult read = store.Read(type, listed.id);
                problem = std::move(read.problem);
                if (!problem) title = sync::Title(read.item);
                losses = std::move(read.losses);
                if (std::string why = problem ? std::string() : codec.WhyNotHeld(read.item); !why.empty()) {
                    problem = {sync::ProblemCode::NotRepresentable, std::move(why), listed.id};
                }
            }
            ++(problem ? refused : losses.empty() ? whole : inPart);
            if (!problem && losses.empty()) continue;
            if (common.output.json) {
                Json item{{"file", listed.id}, {"type", std::string(ToString(type))}, {"title", title}};
                if (problem) item["problem"] = ProblemAsJson(problem);
                item["losses"] = losses;
                items.push_back(std::move(item));
                continue;
            }
            if (problem)
                std::printf("cannot be held  %s: %s (%s)\n", title.c_str(), problem.text.c_str(), listed.id.c_str());
            if (common.output.quiet) continue;
            for (const std::string& loss : losses) {
                std::printf("stays behind    %s: %s (%s)\n", title.c_str(), loss.c_str(), listed.id.c_str());
            }
        }
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"summary", {{"whole", whole}, {"inPart", inPart}, {"refused", refused}}},
                                          {"items", items}})
                                .c_str());
    } else if (!common.output.quiet || refused != 0) {
        std::printf("a device holds %zu items whole, %zu in part (the rest stays in their files), %zu not at all\n",
                    whole, inPart, refused);
    }
    return refused == 0 ? kDone : kPartly;
}

}  // namespace kez::cli
