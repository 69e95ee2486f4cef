// What the command's exit code tells.
#pragma once

namespace kez::cli {

enum ExitCode : int {
    kDone = 0,
    kFailed = 1,      // nothing of what was asked could be done, or the work broke off
    kWrongUsage = 2,  // the command line cannot be understood
    kPartly = 3,      // done, but some items failed or are unresolved
    kRefused = 4,     // refused for safety; nothing was changed
};

}  // namespace kez::cli
