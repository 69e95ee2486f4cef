// init, list, show, set, delete: the device as its owner sees it.
#include <cstdio>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/owner.h"

namespace kez::cli {

ExitCode Init(const Common& common, const std::filesystem::path& device, const std::string& timeZone) {
    const std::string zone = timeZone.empty() ? LocalTimeZone() : timeZone;
    MakeDevice(device, zone);
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"device", device.string()}, {"timeZone", zone}}).c_str());
    } else if (!common.output.quiet) {
        std::printf("made a device in %s\n", device.c_str());
    }
    return kDone;
}

ExitCode List(const Common& common, const std::vector<sync::ItemType>& types) {
    const DeviceSession session(common.device);
    Owner owner;
    Json json = Json::array();
    std::size_t count = 0;
    for (const sync::ItemType type : types) {
        for (const OwnedItem& item : owner.List(type, common.output.json)) {
            ++count;
            if (common.output.json) {
                json.push_back(ItemAsJson(item));
            } else {
                std::printf("%10u  %-11s  %s\n", item.oid, std::string(ToString(type)).c_str(),
                            sync::Title(item.item).c_str());
            }
        }
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(json).c_str());
    } else if (count == 0 && !common.output.quiet) {
        std::printf("nothing is on the device\n");
    }
    return kDone;
}

ExitCode Show(const Common& common, unsigned oid) {
    const DeviceSession session(common.device);
    const std::optional<OwnedItem> item = Owner().Find(oid);
    if (!item) throw OwnerError("the device has no item with oid " + std::to_string(oid));
    if (common.output.json) {
        std::printf("%s\n", JsonText(ItemAsJson(*item)).c_str());
    } else {
        PrintItem(*item);
    }
    return kDone;
}

ExitCode Set(const Common& common, unsigned oid, const std::vector<std::string>& assignments) {
    sync::Fields fields;
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        if (equals == 0 || equals == std::string::npos) {
            throw UsageError("\"" + assignment + "\" is no FIELD=VALUE");
        }
        fields[assignment.substr(0, equals)] = assignment.substr(equals + 1);
    }
    const DeviceSession session(common.device);
    Owner owner;
    owner.Change(oid, fields);
    const std::optional<OwnedItem> now = owner.Find(oid);
    if (now && common.output.json) {
        std::printf("%s\n", JsonText(ItemAsJson(*now)).c_str());
    } else if (now && !common.output.quiet) {
        PrintItem(*now);
    }
    return kDone;
}

ExitCode Delete(const Common& common, const std::vector<unsigned>& oids) {
    const DeviceSession session(common.device);
    Owner owner;
    Json deleted = Json::array();
    Json missing = Json::array();
    for (const unsigned oid : oids) {
        const bool wasThere = owner.Delete(oid);
        (wasThere ? deleted : missing).push_back(oid);
        if (!wasThere) {
            PrintError("the device has no item with oid " + std::to_string(oid));
        } else if (!common.output.quiet && !common.output.json) {
            std::printf("deleted %u\n", oid);
        }
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"deleted", deleted}, {"missing", missing}}).c_str());
    }
    if (missing.empty()) return kDone;
    return deleted.empty() ? kFailed : kPartly;
}

}  // namespace kez::cli
