#include "cli/command_line.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>

#include "cli/completion.h"

namespace kez::cli {
namespace {

constexpr char kVersion[] = "kezsync " KEZSYNC_VERSION;

using Words = std::vector<std::string>;

const Words kTypeNames{"contacts", "tasks", "appointments"};
const Words kColorNames{"auto", "always", "never"};

std::string Joined(const Words& words, const char* between) {
    std::string joined;
    for (const std::string& word : words) joined += (joined.empty() ? "" : between) + word;
    return joined;
}

// One of some words. They show as the option's type, from where the completion takes them.
CLI::Option* OneOf(CLI::Option* option, const Words& words) {
    auto find = [words](std::string& given) {
        if (std::find(words.begin(), words.end(), given) != words.end()) return std::string();
        return "\"" + given + "\" is none of " + Joined(words, ", ");
    };
    return option->check(CLI::Validator(find, ""))->type_name(Joined(words, "|"));
}

CLI::Option* NumberFrom(CLI::Option* option, unsigned least, unsigned most) {
    const std::string range = std::to_string(least) + " to " + std::to_string(most);
    auto look = [=](std::string& given) {
        unsigned number = 0;
        const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), number);
        if (error == std::errc() && end == given.data() + given.size() && number >= least && number <= most) {
            return std::string();
        }
        return "\"" + given + "\" is no number from " + range;
    };
    return option->check(CLI::Validator(look, ""))->type_name("NUMBER");
}

// A file or folder, whatever is there.
CLI::Option* Named(CLI::Option* option) {
    auto look = [](std::string& given) { return given.empty() ? std::string("\"\" names nothing") : std::string(); };
    return option->check(CLI::Validator(look, ""))->type_name("");
}

CLI::Option* Identifier(CLI::Option* option) { return NumberFrom(option, 1, ~0u)->type_name(""); }

std::string DefaultConfigFile() {
    if (const char* home = std::getenv("XDG_CONFIG_HOME"); home && *home) return std::string(home) + "/kezsync/config";
    if (const char* home = std::getenv("HOME"); home && *home) return std::string(home) + "/.config/kezsync/config";
    return {};
}

sync::ItemType TypeOf(const std::string& name) {
    const auto found = std::find(kTypeNames.begin(), kTypeNames.end(), name);
    return sync::kAllItemTypes[found - kTypeNames.begin()];
}

std::vector<sync::ItemType> TypesOf(const Words& names) {
    std::vector<sync::ItemType> types;
    for (const std::string& name : names) {
        if (std::find(types.begin(), types.end(), TypeOf(name)) == types.end()) types.push_back(TypeOf(name));
    }
    if (types.empty()) types.assign(std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes));
    return types;
}

Color ColorOf(const std::string& name) {
    const auto found = std::find(kColorNames.begin(), kColorNames.end(), name);
    return static_cast<Color>(found - kColorNames.begin());
}

// The declarations, in the order in which the help lists them.
class Declarations {
 public:
    Declarations(CLI::App& app, Request& request) : m_app(app), m_request(request) {}

    void Common();
    void Device();
    void Synchronisation();
    void LookingInside();

 private:
    using Run = std::function<ExitCode()>;

    CLI::App* Command(const char* name, const char* does, const char* example, Run run) {
        return Command(m_app, name, does, example, std::move(run));
    }
    CLI::App* Command(CLI::App& of, const char* name, const char* does, const std::string& example, Run run) {
        CLI::App* sub = of.add_subcommand(name, does);
        sub->footer("\nExample:\n  kezsync " + example);
        sub->fallthrough();
        sub->callback([&request = m_request, run] { request.run = run; });
        return sub;
    }
    void Folder(CLI::App* command, const char* does) {
        Named(command->add_option("FOLDER", m_request.folder, does)->required());
    }
    void Force(CLI::App* command, const char* does) { command->add_flag("--force", m_request.force, does); }
    void Types(CLI::App* command) {
        // One value each time: the next word may be the folder.
        OneOf(command->add_option("--type", m_request.typeNames, "only this type; may be given several times")
                  ->allow_extra_args(false),
              kTypeNames);
    }
    void HowToSynchronise(CLI::App* command, const Words& policies, const char* forceDoes);

    CLI::App& m_app;
    Request& m_request;
};

void Declarations::Common() {
    Request& r = m_request;
    m_app.set_version_flag("--version", kVersion, "print the version");
    // A name that nobody knows is a mistake in writing.
    m_app.allow_config_extras(CLI::config_extras_mode::error);
    m_app.set_config("--config", DefaultConfigFile(), "read options from this file")->type_name("FILE");
    m_app.add_option("--device", r.common.device, "the device folder; also KEZSYNC_DEVICE in the environment")
        ->envname("KEZSYNC_DEVICE")
        ->type_name("FOLDER");
    NumberFrom(m_app.add_option("--partner", r.common.partner, "which of the device's two partnerships (default: 1)"),
               1, 2)
        ->type_name("1|2");
    m_app.add_flag("--json", r.common.output.json, "print one JSON document");
    m_app.add_flag("--quiet,-q", r.common.output.quiet, "print only what needs attention");
    m_app.add_flag("--verbose,-v", r.common.output.verbose, "print every item");
    OneOf(m_app.add_option("--color", r.color, "when to print in color (default: auto, on a terminal)"), kColorNames);
    m_app.require_subcommand(1);
    m_app.footer(
        "\nkezsync COMMAND --help explains a command, with an example.\n"
        "\nExit codes: 0 done, 1 failed, 2 wrong usage, 3 done but some items failed or are unresolved,\n"
        "4 refused for safety.");
}

void Declarations::Device() {
    Request& r = m_request;
    auto* init =
        Command("init", "Make a device folder: volumes, databases, change tables and level files",
                "init my-device --time-zone Europe/Berlin", [&r] { return Init(r.common, r.folder, r.timeZone); });
    Named(init->add_option("DEVICE", r.folder, "the folder to make; missing or empty")->required());
    init->add_option("--time-zone", r.timeZone, "the device's time zone, a tz name (default: this machine's)")
        ->type_name("ZONE");

    auto* import =
        Command("import", "Put vCards and iCalendar items onto the device, as its owner would enter them",
                "import --device my-device people.vcf calendar/", [&r] { return Import(r.common, r.files); });
    Named(import->add_option("FILE|FOLDER", r.files, "files, or folders of files")->required());

    auto* exportTo = Command("export", "Copy everything on the device into a new folder; changes nothing on the device",
                             "export --device my-device backup/", [&r] { return Export(r.common, r.folder); });
    Folder(exportTo, "a folder that is missing or empty");

    auto* list = Command("list", "List what is on the device", "list --device my-device contacts",
                         [&r] { return List(r.common, TypesOf(r.typeNames)); });
    OneOf(list->add_option("TYPE", r.typeNames, "which types (default: all)"), kTypeNames);

    auto* show = Command("show", "Show every field of one item", "show --device my-device 16777220",
                         [&r] { return Show(r.common, r.oid); });
    Identifier(show->add_option("OID", r.oid, "the item's identifier, as list shows it")->required());

    auto* set = Command("set", "Change fields of one item on the device; an empty value removes a field",
                        "set --device my-device 16777220 MobileTelephoneNumber='+49 170 1234567'",
                        [&r] { return Set(r.common, r.oid, r.words); });
    Identifier(set->add_option("OID", r.oid, "the item's identifier")->required());
    set->add_option("FIELD=VALUE", r.words, "what to set")->required()->type_name("");

    auto* remove = Command("delete", "Delete items from the device", "delete --device my-device 16777220",
                           [&r] { return Delete(r.common, r.oids); });
    Identifier(remove->add_option("OID", r.oids, "identifiers of items")->required());
}

void Declarations::HowToSynchronise(CLI::App* command, const Words& policies, const char* forceDoes) {
    SyncOptions& options = m_request.sync;
    Folder(command, "the folder of .vcf and .ics files; made where it is missing");
    Types(command);
    OneOf(command->add_option("--conflict", options.conflicts,
                              "who wins where both sides changed the same field (default: both)"),
          policies);
    OneOf(command->add_option("--durability", options.durability,
                              "when what is written is made to survive a power cut (default: batch)"),
          {"item", "batch", "none"});
    NumberFrom(command->add_option("--log-level", options.logLevel,
                                   "how much the device's log says from now on: 0 is nothing, 100 everything"),
               0, 100);
    NumberFrom(command->add_option("--packet-size", options.packetSize,
                                   "bytes of a packet that the engine recommends (default: 8192)"),
               4, 260000);
    NumberFrom(command->add_option(
                   "--max-deleted", options.deletedShare,
                   "refuse to delete more than this percentage, and at least 10 items, of a side (default: 30)"),
               0, 100);
    command->add_flag("--force", options.force, forceDoes);
}

void Declarations::Synchronisation() {
    Request& r = m_request;
    auto* sync = Command("sync", "Bring the device and a folder into agreement, both ways",
                         "sync --device my-device ~/people", [&r] {
                             r.sync.folder = r.folder;
                             r.sync.types = TypesOf(r.typeNames);
                             return Sync(r.common, r.sync);
                         });
    HowToSynchronise(sync, {"both", "device", "folder", "newest", "ask", "skip"}, "go on where safety refuses");
    sync->add_flag("--dry-run", r.sync.dryRun, "say what would be done, and change nothing");

    auto* status = Command("status", "What changed on each side since both last agreed; clears and changes nothing",
                           "status --device my-device ~/people", [&r] { return Status(r.common, r.folder); });
    Folder(status, "the folder that is synchronised");

    auto* watch = Command("watch", "Stay, and synchronise whenever something changes on either side; ends on Ctrl-C",
                          "watch --device my-device ~/people --conflict folder", [&r] {
                              r.sync.folder = r.folder;
                              r.sync.types = TypesOf(r.typeNames);
                              return Watch(r.common, r.sync, r.idleSeconds);
                          });
    HowToSynchronise(watch, {"both", "device", "folder", "newest", "skip"},
                     "go on where safety refuses, in the first synchronisation; later ones refuse as ever");
    NumberFrom(watch->add_option("--once-idle", r.idleSeconds, "end after so many seconds without a change"), 1, 86400);

    auto* undo = Command("undo", "Take back the last synchronisation that changed something, on both sides",
                         "undo --device my-device ~/people", [&r] { return Undo(r.common, r.folder, r.force); });
    Folder(undo, "the folder that was synchronised");
    Force(undo, "also where something changed since; that is lost");

    auto* conflicts = Command("conflicts", "List the conflicts that wait for a decision",
                              "conflicts --device my-device ~/people", [&r] { return Conflicts(r.common, r.folder); });
    Folder(conflicts, "the folder that is synchronised");

    auto* resolve = Command("resolve", "Decide a waiting conflict; the next sync carries it out",
                            "resolve --device my-device ~/people 'Ada Lovelace' device",
                            [&r] { return Resolve(r.common, r.folder, r.item, r.word); });
    Folder(resolve, "the folder that is synchronised");
    resolve->add_option("ITEM", r.item, "its name, file or oid, as conflicts shows it")->required()->type_name("");
    OneOf(resolve->add_option("CHOICE", r.word, "whose version is kept")->required(), {"device", "folder", "both"});

    auto* check =
        Command("check", "What of a folder's files a device could not hold, and why; needs no device",
                "check ~/people --time-zone Europe/Berlin", [&r] { return Check(r.common, r.folder, r.timeZone); });
    Folder(check, "a folder of .vcf and .ics files");
    check
        ->add_option("--time-zone", r.timeZone,
                     "the zone of the device in question, a tz name (default: that of --device, else this machine's)")
        ->type_name("ZONE");
}

void Declarations::LookingInside() {
    Request& r = m_request;
    auto* log = Command("log", "Show the device's log", "log --device my-device --operation FindObjects --level 1",
                        [&r] { return Log(r.common, r.log); });
    log->add_flag("--follow", r.log.follow, "go on as the log grows");
    log->add_flag("--previous", r.log.previous, "the log before the last one");
    log->add_option("--operation", r.log.operation, "only operations with this in their name, and all that they called")
        ->type_name("NAME");
    NumberFrom(
        log->add_option("--level", r.log.level, "only so deep: 0 is the outermost calls, 1 also what they call, ..."),
        0, 256);
    log->add_option("--contains", r.log.contains, "only lines with this text")->type_name("TEXT");
    log->add_option("--grep", r.log.pattern, "only lines that match this regular expression")->type_name("PATTERN");

    auto* fingerprint =
        Command("fingerprint", "The fingerprint of one record, as the provider computes it",
                "fingerprint --device my-device 16777220", [&r] { return Fingerprint(r.common, r.oid); });
    Identifier(fingerprint->add_option("OID", r.oid, "the item's identifier")->required());

    auto* doctor = Command("doctor", "Look a device and its folders over, and put right what can be without a loss",
                           "doctor --device my-device --repair", [&r] { return Doctor(r.common, r.folder, r.repair); });
    doctor
        ->add_option("FOLDER", r.folder,
                     "the only folder to look at (default: all that the device has a partnership with)")
        ->type_name("");
    doctor->add_flag("--repair", r.repair, "put right what can be; keeps copies of what it changes first");

    CLI::App* packet = m_app.add_subcommand("packet", "Look into captured record packets");
    packet->fallthrough()->require_subcommand(1);
    packet->footer("\nExample:\n  kezsync packet dump contact.bin --type contacts");
    auto* dump = Command(*packet, "dump", "Fields, names, values and fingerprint of a packet",
                         "packet dump contact.bin --type contacts",
                         [&r] { return PacketDump(r.common, r.files.at(0), TypeOf(r.typeName)); });
    Named(dump->add_option("FILE", r.files, "a file with one packet")->required()->expected(1));
    auto* diff =
        Command(*packet, "diff", "What differs between two packets", "packet diff before.bin after.bin --type contacts",
                [&r] { return PacketDiff(r.common, r.files.at(0), r.files.at(1), TypeOf(r.typeName)); });
    Named(diff->add_option("FILE", r.files, "two files with one packet each")->required()->expected(2));
    for (CLI::App* command : {dump, diff}) {
        OneOf(command->add_option("--type", r.typeName, "whose names the properties get (default: contacts)"),
              kTypeNames);
    }

    auto* purge =
        Command("purge", "Delete all items of a type from the device", "purge --device my-device contacts --force",
                [&r] { return Purge(r.common, r.word, r.force); });
    OneOf(purge->add_option("WHAT", r.word, "what to delete")->required(),
          {"contacts", "tasks", "appointments", "categories", "all"});
    Force(purge, "without it nothing is deleted");

    auto* completion = Command("completion", "Print a completion script for a shell",
                               "completion bash > /etc/bash_completion.d/kezsync", [&app = m_app, &r] {
                                   std::fputs(CompletionScript(app, r.word).c_str(), stdout);
                                   return kDone;
                               });
    OneOf(completion->add_option("SHELL", r.word, "for which shell")->required(), {"bash", "zsh", "fish"});
}

}  // namespace

void DeclareCommandLine(CLI::App& app, Request& request) {
    Declarations declarations(app, request);
    declarations.Common();
    declarations.Device();
    declarations.Synchronisation();
    declarations.LookingInside();
    app.parse_complete_callback([&request] { request.common.output.color = ColorOf(request.color); });
}

bool NeedsDevice(const CLI::App& app) {
    for (const char* name : {"init", "check", "packet", "completion"}) {
        if (app.got_subcommand(name)) return false;
    }
    return true;
}

}  // namespace kez::cli
