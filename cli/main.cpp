// kezsync: the command line. Options and commands are declared here; what they do stands in the command files.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/pairing.h"
#include "engine/provider_library.h"
#include "sync/state.h"
#include "sync/store.h"

namespace kez::cli {
namespace {

constexpr char kVersion[] = "kezsync " KEZSYNC_VERSION;

const std::map<std::string, sync::ItemType> kTypes{{"contacts", sync::ItemType::Contact},
                                                   {"tasks", sync::ItemType::Task},
                                                   {"appointments", sync::ItemType::Appointment}};
const std::map<std::string, sync::ConflictPolicy> kPolicies{{"both", sync::ConflictPolicy::Both},
                                                            {"device", sync::ConflictPolicy::Device},
                                                            {"folder", sync::ConflictPolicy::Folder},
                                                            {"ask", sync::ConflictPolicy::Ask},
                                                            {"skip", sync::ConflictPolicy::Skip}};
const std::map<std::string, Color> kColors{{"auto", Color::Auto}, {"always", Color::Always}, {"never", Color::Never}};

std::string DefaultConfigFile() {
    if (const char* home = std::getenv("XDG_CONFIG_HOME"); home && *home) return std::string(home) + "/kezsync/config";
    if (const char* home = std::getenv("HOME"); home && *home) return std::string(home) + "/.config/kezsync/config";
    return {};
}

// What the command line asks for; filled by CLI11, carried out by Main.
struct Request {
    Common common;
    std::function<ExitCode()> run;
    bool needsDevice = true;

    std::filesystem::path folder;
    std::string timeZone;
    std::vector<std::string> typeNames;
    std::string typeName = "contacts";
    unsigned oid = 0;
    std::vector<unsigned> oids;
    std::vector<std::string> words;
    std::vector<std::filesystem::path> files;
    std::string word;
    std::string item;
    bool force = false;
    SyncOptions sync;
    unsigned idleSeconds = 0;
    LogOptions log;

    std::vector<sync::ItemType> Types() const {
        if (typeNames.empty()) return {std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)};
        std::vector<sync::ItemType> types;
        for (const std::string& name : typeNames) types.push_back(kTypes.at(name));
        return types;
    }
};

void AddCommands(CLI::App& app, Request& request) {
    const auto types = CLI::IsMember({"contacts", "tasks", "appointments"});
    auto command = [&](const char* name, const char* does, const char* example, std::function<ExitCode()> run) {
        CLI::App* sub = app.add_subcommand(name, does);
        sub->footer(std::string("\nExample:\n  ") + example);
        sub->fallthrough();
        sub->callback([&request, run] { request.run = run; });
        return sub;
    };

    auto* init = command("init", "Make a device folder: volumes, databases, change tables and level files",
                         "kezsync init my-device --time-zone Europe/Berlin",
                         [&request] { return Init(request.common, request.folder, request.timeZone); });
    init->add_option("DEVICE", request.folder, "the folder to make; missing or empty")->required();
    init->add_option("--time-zone", request.timeZone, "the device's time zone, a tz name (default: this machine's)");

    auto* import = command("import", "Put vCards and iCalendar items onto the device, as its owner would enter them",
                           "kezsync import --device my-device people.vcf calendar/",
                           [&request] { return Import(request.common, request.files); });
    import->add_option("FILE|FOLDER", request.files, "files, or folders of files")->required()->type_name("");

    auto* exportTo = command("export", "Copy everything on the device into a new folder; changes nothing on the device",
                             "kezsync export --device my-device backup/",
                             [&request] { return Export(request.common, request.folder); });
    exportTo->add_option("FOLDER", request.folder, "a folder that is missing or empty")->required();

    auto* list = command("list", "List what is on the device", "kezsync list --device my-device contacts",
                         [&request] { return List(request.common, request.Types()); });
    list->add_option("TYPE", request.typeNames, "contacts, tasks, appointments (default: all)")->check(types);

    auto* show = command("show", "Show every field of one item", "kezsync show --device my-device 16777220",
                         [&request] { return Show(request.common, request.oid); });
    show->add_option("OID", request.oid, "the item's identifier, as list shows it")->required();

    auto* set = command("set", "Change fields of one item on the device; an empty value removes a field",
                        "kezsync set --device my-device 16777220 MobileTelephoneNumber='+49 170 1234567'",
                        [&request] { return Set(request.common, request.oid, request.words); });
    set->add_option("OID", request.oid, "the item's identifier")->required();
    set->add_option("FIELD=VALUE", request.words, "what to set")->required()->type_name("");

    auto* remove = command("delete", "Delete items from the device", "kezsync delete --device my-device 16777220",
                           [&request] { return Delete(request.common, request.oids); });
    remove->add_option("OID", request.oids, "identifiers of items")->required();

    auto* sync = command("sync", "Bring the device and a folder into agreement, both ways",
                         "kezsync sync --device my-device ~/people", [&request] {
                             request.sync.folder = request.folder;
                             request.sync.types = request.Types();
                             return Sync(request.common, request.sync);
                         });
    sync->add_option("FOLDER", request.folder, "the folder of .vcf and .ics files; made where it is missing")
        ->required();
    sync->add_option("--type", request.typeNames, "only these types")->check(types);
    sync->add_option("--conflict", request.sync.conflicts, "who wins where both sides changed the same field")
        ->transform(CLI::CheckedTransformer(kPolicies))
        ->type_name("both|device|folder|ask|skip");
    sync->add_option("--durability", request.sync.durability, "when files are made to survive a power cut")
        ->check(CLI::IsMember({"item", "batch", "none"}))
        ->type_name("item|batch|none");
    sync->add_option("--log-level", request.sync.logLevel, "how much the device's log says from now on: 0 to 100")
        ->check(CLI::Range(0, 100));
    sync->add_option("--packet-size", request.sync.packetSize, "bytes of a packet that the engine recommends")
        ->check(CLI::Range(4, 260000));
    sync->add_option("--max-deleted", request.sync.deletedShare,
                     "refuse to delete more than this percentage (and at least 10 items) of a side")
        ->check(CLI::Range(0, 100));
    sync->add_flag("--dry-run", request.sync.dryRun, "say what would be done, and change nothing");
    sync->add_flag("--force", request.sync.force, "go on where safety refuses");

    auto* watch = command("watch", "Stay, and synchronise whenever something changes on either side; ends on Ctrl-C",
                          "kezsync watch --device my-device ~/people", [&request] {
                              request.sync.folder = request.folder;
                              request.sync.types = request.Types();
                              return Watch(request.common, request.sync, request.idleSeconds);
                          });
    watch->add_option("FOLDER", request.folder, "the folder of .vcf and .ics files; made where it is missing")
        ->required();
    watch->add_option("--type", request.typeNames, "only these types")->check(types);
    watch->add_option("--once-idle", request.idleSeconds, "end after so many seconds without a change")
        ->check(CLI::Range(1, 86400));

    auto* undo = command("undo", "Take back the last synchronisation that changed something, on both sides",
                         "kezsync undo --device my-device ~/people",
                         [&request] { return Undo(request.common, request.folder, request.force); });
    undo->add_option("FOLDER", request.folder, "the folder that was synchronised")->required();
    undo->add_flag("--force", request.force, "also where something changed since; that is lost");

    auto* status = command("status", "What changed on each side since both last agreed; clears and changes nothing",
                           "kezsync status --device my-device ~/people",
                           [&request] { return Status(request.common, request.folder); });
    status->add_option("FOLDER", request.folder, "the folder that is synchronised")->required();

    auto* check = command("check", "What of a folder's files a device could not hold, and why; needs no device",
                          "kezsync check ~/people", [&request] { return Check(request.common, request.folder); });
    check->add_option("FOLDER", request.folder, "a folder of .vcf and .ics files")->required();

    auto* conflicts = command("conflicts", "List the conflicts that wait for a decision",
                              "kezsync conflicts --device my-device ~/people",
                              [&request] { return Conflicts(request.common, request.folder); });
    conflicts->add_option("FOLDER", request.folder, "the folder that is synchronised")->required();

    auto* resolve = command("resolve", "Decide a waiting conflict; the next sync carries it out",
                            "kezsync resolve --device my-device ~/people 'Ada Lovelace' device",
                            [&request] { return Resolve(request.common, request.folder, request.item, request.word); });
    resolve->add_option("FOLDER", request.folder, "the folder that is synchronised")->required();
    resolve->add_option("ITEM", request.item, "its name, file or oid, as conflicts shows it")->required();
    resolve->add_option("CHOICE", request.word, "device, folder or both")
        ->required()
        ->check(CLI::IsMember({"device", "folder", "both"}));

    auto* log = command("log", "Show the device's log", "kezsync log --device my-device --contains FindObjects",
                        [&request] { return Log(request.common, request.log); });
    log->add_flag("--follow", request.log.follow, "go on as the log grows");
    log->add_flag("--previous", request.log.previous, "the log before the last one");
    log->add_option("--contains", request.log.contains, "only lines with this text");

    auto* fingerprint = command("fingerprint", "The fingerprint of one record, as the provider computes it",
                                "kezsync fingerprint --device my-device 16777220",
                                [&request] { return Fingerprint(request.common, request.oid); });
    fingerprint->add_option("OID", request.oid, "the item's identifier")->required();

    CLI::App* packet = app.add_subcommand("packet", "Look into captured record packets");
    packet->fallthrough()->require_subcommand(1);
    packet->footer("\nExample:\n  kezsync packet dump contact.bin --type contacts");
    auto packetCommand = [&](const char* name, const char* does, std::function<ExitCode()> run) {
        CLI::App* sub = packet->add_subcommand(name, does);
        sub->fallthrough();
        sub->footer(std::string("\nExample:\n  kezsync packet ") + name + " contact.bin" +
                    (std::string_view(name) == "diff" ? " other.bin" : "") + " --type contacts");
        sub->add_option("--type", request.typeName, "whose names the properties get")->check(types);
        sub->callback([&request, run] {
            request.run = run;
            request.needsDevice = false;
        });
        return sub;
    };
    auto* dump = packetCommand("dump", "Fields, names, values and fingerprint of a packet", [&request] {
        return PacketDump(request.common, request.files.at(0), kTypes.at(request.typeName));
    });
    dump->add_option("FILE", request.files, "a file with one packet")->required()->expected(1);
    auto* diff = packetCommand("diff", "What differs between two packets", [&request] {
        return PacketDiff(request.common, request.files.at(0), request.files.at(1), kTypes.at(request.typeName));
    });
    diff->add_option("A B", request.files, "files with one packet each")->required()->expected(2);

    auto* purge = command("purge", "Delete all items of a type from the device",
                          "kezsync purge --device my-device contacts --force",
                          [&request] { return Purge(request.common, request.word, request.force); });
    purge->add_option("WHAT", request.word, "contacts, tasks, appointments, categories or all")
        ->required()
        ->check(CLI::IsMember({"contacts", "tasks", "appointments", "categories", "all"}));
    purge->add_flag("--force", request.force, "without it nothing is deleted");

    auto* completion = command("completion", "Print a completion script for a shell",
                               "kezsync completion bash > /etc/bash_completion.d/kezsync", [&app, &request] {
                                   std::vector<std::string> names;
                                   for (const CLI::App* sub : app.get_subcommands([](CLI::App*) { return true; })) {
                                       names.push_back(sub->get_name());
                                   }
                                   return Completion(request.word, names);
                               });
    completion->add_option("SHELL", request.word, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember({"bash", "zsh", "fish"}));
}

// Which command needs no device named.
bool NeedsDevice(const CLI::App& app) {
    for (const char* name : {"init", "check", "packet", "completion"}) {
        if (app.got_subcommand(name)) return false;
    }
    return true;
}

int Main(int argc, char** argv) {
    CLI::App app{
        "Keeps a handheld's contacts, tasks and appointments in agreement with a folder of .vcf and .ics files.",
        "kezsync"};
    Request request;
    app.set_version_flag("--version", kVersion);
    app.set_config("--config", DefaultConfigFile(), "read options from this file");
    app.add_option("--device", request.common.device, "the device folder")->envname("KEZSYNC_DEVICE");
    app.add_option("--partner", request.common.partner, "which of the device's two partnerships: 1 or 2")
        ->check(CLI::Range(1, 2));
    app.add_flag("--json", request.common.output.json, "print one JSON document");
    app.add_flag("--quiet,-q", request.common.output.quiet, "print only what needs attention");
    app.add_flag("--verbose,-v", request.common.output.verbose, "print every item");
    app.add_option("--color", request.common.output.color, "color on a terminal")
        ->transform(CLI::CheckedTransformer(kColors))
        ->type_name("auto|always|never");
    app.require_subcommand(1);
    app.footer(
        "\nExit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some items failed or are unresolved,\n"
        "4 refused for safety.");
    AddCommands(app, request);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kDone : kWrongUsage;
    }
    try {
        if (NeedsDevice(app) && request.common.device.empty()) {
            throw UsageError("no device is named: give --device DEVICE or set KEZSYNC_DEVICE");
        }
        return request.run();
    } catch (const UsageError& error) {
        PrintError(error.what());
        return kWrongUsage;
    } catch (const sync::RefusedForSafety& error) {
        PrintError(error.what());
        return kRefused;
    } catch (const PairingRefused& error) {
        PrintError(error.what());
        return kRefused;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return kFailed;
    }
}

}  // namespace
}  // namespace kez::cli

int main(int argc, char** argv) { return kez::cli::Main(argc, argv); }
