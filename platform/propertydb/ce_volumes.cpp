// CeMountDBVolEx, CeUnmountDBVol, CeFlushDBVol, CeEnumDBVolumes.
#include <algorithm>

#include "platform/control/control.h"
#include "platform/propertydb/ce_handles.h"

using namespace kez::propertydb;
namespace control = kez::control;

BOOL CeMountDBVolEx(CEGUID* volume, LPWSTR path, CEVOLUMEOPTIONS* options, DWORD disposition) {
    return Carry("CeMountDBVolEx", FALSE, [&] {
        Require(volume && path && *path);
        Require(disposition >= CREATE_NEW && disposition <= TRUNCATE_EXISTING);
        Require(std::char_traits<WCHAR>::length(path) < MAX_PATH);
        bool existed = false;
        *volume = VolumeTable::Get().Mount(path, options, disposition, existed)->Guid();
        if (existed && disposition == OPEN_ALWAYS) SetLastError(ERROR_ALREADY_EXISTS);
        return TRUE;
    });
}

BOOL CeUnmountDBVol(CEGUID* volume) {
    return Carry("CeUnmountDBVol", FALSE, [&] {
        Require(volume != nullptr);
        VolumeTable::Get().Unmount(*volume);
        return TRUE;
    });
}

BOOL CeFlushDBVol(CEGUID* volume) {
    return Carry("CeFlushDBVol", FALSE, [&] {
        if (volume) {
            Require(!CheckSystemGuid(volume));  // the object store is no volume of this kind
            const auto found = VolumeTable::Get().Find(*volume);
            if (control::CurrentFlushPolicy() == control::FlushPolicy::AtOnce) found->Flush();
        } else {
            for (const auto& mounted : VolumeTable::Get().Mounted()) mounted->Flush();
        }
        return TRUE;
    });
}

BOOL CeEnumDBVolumes(CEGUID* volume, LPWSTR path, DWORD characters) {
    return Carry("CeEnumDBVolumes", FALSE, [&] {
        Require(volume && path);
        const auto mounted = VolumeTable::Get().Mounted();
        auto next = mounted.begin();
        if (!CheckInvalidGuid(volume)) {
            next = std::ranges::find_if(mounted, [&](const auto& one) { return SameGuid(one->Guid(), *volume); });
            Require(next != mounted.end(), ERROR_KEY_DELETED);
            ++next;
        }
        Require(next != mounted.end(), ERROR_NO_MORE_ITEMS);
        const std::u16string& name = (*next)->Inside().share->devicePath;
        Require(name.size() < characters, ERROR_INSUFFICIENT_BUFFER);
        *volume = (*next)->Guid();
        std::copy_n(name.c_str(), name.size() + 1, path);
        return TRUE;
    });
}
