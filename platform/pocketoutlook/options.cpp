// The process-wide options of the object model.
#include "platform/pocketoutlook/options.h"

#include <mutex>

namespace kez::pocketoutlook {
namespace {

std::mutex g_mutex;
Options g_options;

}  // namespace

Options CurrentOptions() {
    const std::lock_guard lock(g_mutex);
    return g_options;
}

void SetOptions(const Options& options) {
    const std::lock_guard lock(g_mutex);
    g_options = options;
}

}  // namespace kez::pocketoutlook
