// What can be said on the command line: the commands, their options and the values that those take. Help, checks and
// completion all come from here.
#pragma once

#include <CLI/CLI.hpp>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "cli/commands.h"

namespace kez::cli {

// What the command line asks for; filled while it is read.
struct Request {
    Common common;
    std::function<ExitCode()> run;

    std::string color = "auto";
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
    bool repair = false;
    SyncOptions sync;
    unsigned idleSeconds = 0;
    LogOptions log;
};

// Declares everything on `app`; both outlive its parsing.
void DeclareCommandLine(CLI::App& app, Request& request);

// Whether the command that was given works on a device.
bool NeedsDevice(const CLI::App& app);

}  // namespace kez::cli
