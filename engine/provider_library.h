// The provider library, loaded at run time: its six exports.
#pragma once

#include <cesync.h>

#include <filesystem>
#include <stdexcept>

namespace kez::engine {

// The library cannot be loaded or lacks an export; the text names it.
class ProviderError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// Loading constructs the provider's store, unloading destroys it.
class ProviderLibrary {
 public:
    explicit ProviderLibrary(const std::filesystem::path& file);
    ProviderLibrary(const ProviderLibrary&) = delete;
    ProviderLibrary& operator=(const ProviderLibrary&) = delete;
    ~ProviderLibrary();

    PINITOBJTYPE InitObjType = nullptr;
    POBJECTNOTIFY ObjectNotify = nullptr;
    PGETOBJTYPEINFO GetObjTypeInfo = nullptr;
    PREPORTSTATUS ReportStatus = nullptr;
    PFINDOBJECTS FindObjects = nullptr;
    PSYNCDATA SyncData = nullptr;

 private:
    void* m_library = nullptr;
};

}  // namespace kez::engine
