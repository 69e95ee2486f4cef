#include "engine/provider_library.h"

#include <dlfcn.h>

namespace kez::engine {
namespace {

template <class Function>
void Resolve(void* library, const char* name, const std::filesystem::path& file, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    if (!function) throw ProviderError(file.string() + " is no provider: it does not export " + name);
}

}  // namespace

ProviderLibrary::ProviderLibrary(const std::filesystem::path& file) {
    m_library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!m_library) throw ProviderError(std::string("the provider cannot be loaded: ") + dlerror());
    try {
        Resolve(m_library, "InitObjType", file, InitObjType);
        Resolve(m_library, "ObjectNotify", file, ObjectNotify);
        Resolve(m_library, "GetObjTypeInfo", file, GetObjTypeInfo);
        Resolve(m_library, "ReportStatus", file, ReportStatus);
        Resolve(m_library, "FindObjects", file, FindObjects);
        Resolve(m_library, "SyncData", file, SyncData);
    } catch (...) {
        dlclose(m_library);
        throw;
    }
}

ProviderLibrary::~ProviderLibrary() { dlclose(m_library); }

}  // namespace kez::engine
