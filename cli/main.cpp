// kezsync: reads the command line, runs the command, and turns what goes wrong as a whole into one line and a code.
#include <malloc.h>

#include "cli/command_line.h"
#include "cli/commands.h"
#include "cli/pairing.h"

namespace kez::cli {
namespace {

int Main(int argc, char** argv) {
    CLI::App app{
        "Keeps a handheld's contacts, tasks and appointments in agreement with a folder of .vcf and .ics files.",
        "kezsync"};
    Request request;
    DeclareCommandLine(app, request);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ConfigError& error) {
        PrintError(app.get_config_ptr()->as<std::string>() + ": no option is named so, or not with such a value (" +
                   error.what() + ")");
        return kWrongUsage;
    } catch (const CLI::RequiredError& error) {
        const std::vector<std::string> words = app.remaining();
        if (!app.get_subcommands().empty() || words.empty()) return app.exit(error) == 0 ? kDone : kWrongUsage;
        PrintError("there is no command " + words.front() + "; kezsync --help names them all");
        return kWrongUsage;
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
    } catch (const std::filesystem::filesystem_error& error) {
        PrintError(error.path1().string() + ": " + error.code().message());
        return kFailed;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return kFailed;
    }
}

}  // namespace
}  // namespace kez::cli

int main(int argc, char** argv) {
    // Other threads hand over what they allocate: in memory of their own it would be missing to the main one.
    mallopt(M_ARENA_MAX, 1);
    return kez::cli::Main(argc, argv);
}
