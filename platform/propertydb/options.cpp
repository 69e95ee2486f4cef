// Switches of this process.
#include "platform/propertydb/options.h"

#include <atomic>

namespace kez::propertydb {

namespace {
std::atomic<AfterDeletion> g_afterDeletion = AfterDeletion::Gap;
}

void SetAfterDeletion(AfterDeletion where) { g_afterDeletion = where; }
AfterDeletion CurrentAfterDeletion() { return g_afterDeletion; }

}  // namespace kez::propertydb
