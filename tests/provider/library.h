// The provider library as the engine has it: loaded at run time, reached by its six names.
#pragma once

#include <cesync.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <string>

namespace kez::tests {

class Library {
 public:
    Library() : m_handle(dlopen(KEZ_PROVIDER, RTLD_NOW | RTLD_LOCAL)) {
        if (m_handle == nullptr) {
            ADD_FAILURE() << dlerror();
            return;
        }
        Find("InitObjType", &InitObjType);
        Find("ObjectNotify", &ObjectNotify);
        Find("GetObjTypeInfo", &GetObjTypeInfo);
        Find("ReportStatus", &ReportStatus);
        Find("FindObjects", &FindObjects);
        Find("SyncData", &SyncData);
    }
    ~Library() { Unload(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    void Unload() {
        if (m_handle != nullptr) dlclose(m_handle);
        m_handle = nullptr;
    }
    // Whether any copy of it is in this process.
    static bool IsLoaded() {
        void* handle = dlopen(KEZ_PROVIDER, RTLD_NOW | RTLD_NOLOAD);
        if (handle != nullptr) dlclose(handle);
        return handle != nullptr;
    }

    PINITOBJTYPE InitObjType = nullptr;
    POBJECTNOTIFY ObjectNotify = nullptr;
    PGETOBJTYPEINFO GetObjTypeInfo = nullptr;
    PREPORTSTATUS ReportStatus = nullptr;
    PFINDOBJECTS FindObjects = nullptr;
    PSYNCDATA SyncData = nullptr;

    // A handler of the type, which the caller releases; null where the library answers FALSE.
    IReplObjHandler* Initialize(const char16_t* type, UINT partnerBit) const {
        IReplObjHandler* handler = nullptr;
        std::u16string name(type);
        return InitObjType(name.data(), &handler, partnerBit) ? handler : nullptr;
    }
    // Lists a type and gives the list back, as {unchanged, changed}.
    std::pair<UINT, UINT> List(const char16_t* type) const {
        FINDOBJINFO find = {};
        wcscpy(find.szObjType, type);
        EXPECT_EQ(FindObjects(&find), 0);
        const std::pair<UINT, UINT> counts(find.cUnChg, find.cChg);
        find.uFlags = FO_DONE_ONE_VOL;
        EXPECT_EQ(FindObjects(&find), 0);
        return counts;
    }
    // Tells of the change writer's trigger file.
    BOOL NotifyTrigger(const char16_t* type, UINT partnerBit, OBJNOTIFY* notify) const {
        *notify = {};
        notify->cbStruct = 780;
        wcscpy(notify->szObjType, type);
        notify->uFlags = ONF_FILE | ONF_CHANGED;
        notify->uPartnerBit = partnerBit;
        notify->oidInfo.wObjType = OBJTYPE_FILE;
        wcscpy(notify->oidInfo.infFile.szFileName, TEXT("\\KezChgFile.kez"));
        return ObjectNotify(notify);
    }

 private:
    template <class Function>
    void Find(const char* name, Function* function) {
        *function = reinterpret_cast<Function>(dlsym(m_handle, name));
        EXPECT_NE(*function, nullptr) << name;
    }

    void* m_handle;
};

inline constexpr const char16_t* kTypeNames[] = {u"KEZContact", u"KEZTask", u"KEZAppointment"};

}  // namespace kez::tests
