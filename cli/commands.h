// The commands of kezsync: each takes what the command line says and returns an exit code. What goes wrong as a
// whole is thrown and becomes one line and a code in main.
#pragma once

#include <filesystem>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/exit_codes.h"
#include "cli/output.h"
#include "sync/agreement.h"

namespace kez::cli {

struct Common {
    std::filesystem::path device;
    unsigned partner = 1;
    OutputOptions output;
};

// Something on the command line that no option check could find; exit code 2.
class UsageError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// --- The device as its owner sees it ------------------------------------------------------------------------
ExitCode Init(const Common& common, const std::filesystem::path& device, const std::string& timeZone);
ExitCode List(const Common& common, const std::vector<sync::ItemType>& types);
ExitCode Show(const Common& common, unsigned oid);
ExitCode Set(const Common& common, unsigned oid, const std::vector<std::string>& assignments);
ExitCode Delete(const Common& common, const std::vector<unsigned>& oids);
ExitCode Import(const Common& common, const std::vector<std::filesystem::path>& sources);
ExitCode Export(const Common& common, const std::filesystem::path& folder);

// --- Synchronisation ------------------------------------------------------------------------------------------
struct SyncOptions {
    std::filesystem::path folder;
    std::vector<sync::ItemType> types;
    std::string conflicts = "both";  // device, folder, newest, ask, skip
    std::string durability = "batch";
    int logLevel = -1;  // -1 leaves it as it is
    unsigned packetSize = 8192;
    unsigned deletedShare = 30;  // percent
    bool force = false;
    bool dryRun = false;
};
// `stop` is asked before each item: from the first true on the rest is left for the next time.
sync::Report Synchronise(const Common& common, const SyncOptions& options, std::function<bool()> stop = nullptr);
ExitCode Sync(const Common& common, const SyncOptions& options);
ExitCode Status(const Common& common, const std::filesystem::path& folder);
// With an empty `timeZone` that of the device, or where none is named this machine's.
ExitCode Check(const Common& common, const std::filesystem::path& folder, const std::string& timeZone);
// `idleSeconds` without a change end it; 0 is never.
ExitCode Watch(const Common& common, const SyncOptions& options, unsigned idleSeconds);
ExitCode Undo(const Common& common, const std::filesystem::path& folder, bool force);
ExitCode Conflicts(const Common& common, const std::filesystem::path& folder);
ExitCode Resolve(const Common& common, const std::filesystem::path& folder, const std::string& item,
                 const std::string& choice);

// Looks at all folders that the device has partnerships with, or at the one that is named.
ExitCode Doctor(const Common& common, const std::filesystem::path& folder, bool repair);

// --- Looking inside --------------------------------------------------------------------------------------------
struct LogOptions {
    bool follow = false;
    bool previous = false;
    std::string operation;  // only what this part of a name did, and what it called
    unsigned level = ~0u;   // only so deep, counted from the operation or from the outermost calls
    std::string contains;
    std::string pattern;  // a regular expression
};
ExitCode Log(const Common& common, const LogOptions& options);
ExitCode Fingerprint(const Common& common, unsigned oid);
ExitCode PacketDump(const Common& common, const std::filesystem::path& file, sync::ItemType type);
ExitCode PacketDiff(const Common& common, const std::filesystem::path& a, const std::filesystem::path& b,
                    sync::ItemType type);
ExitCode Purge(const Common& common, const std::string& what, bool force);

}  // namespace kez::cli
