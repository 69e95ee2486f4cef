// packet, fingerprint, purge: looking inside, and starting over.
#include <cstdio>
#include <fstream>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "engine/connection.h"
#include "partner/packet_view.h"
#include "sync/codec.h"

namespace kez::cli {
namespace {

std::string ReadWhole(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error(file.string() + " cannot be read");
    return {std::istreambuf_iterator<char>(stream), {}};
}

partner::PacketView ViewFile(const std::filesystem::path& file, sync::ItemType type) {
    try {
        return partner::ViewPacket(ReadWhole(file), type);
    } catch (const sync::PacketError& error) {
        throw std::runtime_error(file.string() + " " + error.what());
    }
}

std::string Hex8(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", value);
    return text;
}

}  // namespace

ExitCode Fingerprint(const Common& common, unsigned oid) {
    const DeviceSession session(common.device);
    const std::optional<OwnedItem> item = Owner().Find(oid);
    if (!item) throw OwnerError("the device has no item with oid " + std::to_string(oid));
    if (item->item.type == sync::ItemType::Appointment && item->item.fields.count("ExceptionDates")) {
        throw std::runtime_error(sync::Title(item->item) +
                                 " is a series with exceptions: reading it for a fingerprint would take its modified "
                                 "occurrences off the device");
    }
    engine::ProviderLibrary provider(ProviderFile());
    engine::ConnectionOptions options;
    options.partnerBit = common.partner;
    engine::Connection connection(provider, options);
    std::string packet;
    connection.Upload(item->item.type, oid, packet);
    const partner::PacketView view = partner::ViewPacket(packet, item->item.type);
    if (common.output.json) {
        std::printf(
            "%s\n",
            JsonText(Json{{"oid", oid}, {"title", sync::Title(item->item)}, {"fingerprint", Hex8(view.fingerprint)}})
                .c_str());
    } else {
        std::printf("%s  %s\n", Hex8(view.fingerprint).c_str(), sync::Title(item->item).c_str());
    }
    return kDone;
}

ExitCode PacketDump(const Common& common, const std::filesystem::path& file, sync::ItemType type) {
    const partner::PacketView view = ViewFile(file, type);
    if (common.output.json) {
        Json properties = Json::array();
        for (const partner::PacketProperty& property : view.properties) {
            properties.push_back({{"id", Hex8(property.id)},
                                  {"name", property.name},
                                  {"type", property.type},
                                  {"flags", property.flags},
                                  {"value", property.value}});
        }
        std::printf("%s\n", JsonText(Json{{"oid", view.oid},
                                          {"bytes", view.bytes},
                                          {"fingerprint", Hex8(view.fingerprint)},
                                          {"properties", properties}})
                                .c_str());
        return kDone;
    }
    std::printf("oid %u, %u bytes, %zu properties, fingerprint %s\n", view.oid, view.bytes, view.properties.size(),
                Hex8(view.fingerprint).c_str());
    for (const partner::PacketProperty& property : view.properties) {
        std::printf("  %s  %-8s  %-26s  %s\n", Hex8(property.id).c_str(), property.type.c_str(), property.name.c_str(),
                    property.value.c_str());
    }
    return kDone;
}

ExitCode PacketDiff(const Common& common, const std::filesystem::path& a, const std::filesystem::path& b,
                    sync::ItemType type) {
    const partner::PacketView first = ViewFile(a, type);
    const partner::PacketView second = ViewFile(b, type);
    auto valueIn = [](const partner::PacketView& view, std::uint32_t id) {
        for (const partner::PacketProperty& property : view.properties) {
            if (property.id == id) return std::optional<std::string>(property.value);
        }
        return std::optional<std::string>();
    };
    Json differences = Json::array();
    auto compare = [&](const partner::PacketProperty& property) {
        const auto before = valueIn(first, property.id);
        const auto after = valueIn(second, property.id);
        if (before == after) return;
        Json difference{{"id", Hex8(property.id)}, {"name", property.name}};
        difference["a"] = before ? Json(*before) : Json();
        difference["b"] = after ? Json(*after) : Json();
        differences.push_back(difference);
        if (common.output.json) return;
        std::printf("%s  %s\n  - %s\n  + %s\n", Hex8(property.id).c_str(), property.name.c_str(),
                    before ? before->c_str() : "(absent)", after ? after->c_str() : "(absent)");
    };
    for (const partner::PacketProperty& property : first.properties) compare(property);
    for (const partner::PacketProperty& property : second.properties) {
        if (!valueIn(first, property.id)) compare(property);
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(differences).c_str());
    } else if (differences.empty() && !common.output.quiet) {
        std::printf("the packets say the same\n");
    }
    return kDone;
}

ExitCode Purge(const Common& common, const std::string& what, bool force) {
    if (!force) {
        PrintError("this deletes " + (what == "all" ? std::string("everything") : "all " + what) + " on " +
                   common.device.string() + "; nothing was deleted. If that is meant, add --force");
        return kRefused;
    }
    const DeviceSession session(common.device);
    engine::ProviderLibrary provider(ProviderFile());
    engine::ConnectionOptions options;
    options.partnerBit = common.partner;
    engine::Connection connection(provider, options);
    const std::map<std::string, std::pair<sync::ItemType, UINT>> requests{
        {"contacts", {sync::ItemType::Contact, 2}},
        {"tasks", {sync::ItemType::Task, 2}},
        {"appointments", {sync::ItemType::Appointment, 2}},
        {"categories", {sync::ItemType::Contact, 8}},
        {"all", {sync::ItemType::Contact, 1}}};
    const auto& [type, code] = requests.at(what);
    const HRESULT result = connection.Request(type, code);
    if (FAILED(result)) throw std::runtime_error("the device could not be purged of " + what);
    // The provider says nothing of an item that it could not delete.
    for (const sync::ItemType asked : sync::kAllItemTypes) {
        if (what != "all" && (what == "categories" || asked != type)) continue;
        UINT left = 0;
        if (!connection.CountItems(asked, left)) throw std::runtime_error("whether " + what + " are gone is not known");
        if (left != 0) throw std::runtime_error(std::to_string(left) + " of " + what + " are still on the device");
    }
    if (common.output.json) {
        std::printf("%s\n", JsonText(Json{{"purged", what}}).c_str());
    } else if (!common.output.quiet) {
        std::printf("purged %s\n", what.c_str());
    }
    return kDone;
}

}  // namespace kez::cli
