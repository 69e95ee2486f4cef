// Small helpers on volumes and handles that the files of CKezAspDB share.
#pragma once

#include <windbase.h>

// Whether `volume` names a mounted volume: neither all zero nor all ones.
inline bool IsMounted(const CEGUID& volume) { return !CHECK_SYSTEMGUID(&volume) && !CHECK_INVALIDGUID(&volume); }

// Unmounts `volume` where it is mounted, and forgets it.
inline void UnmountVolume(CEGUID* volume) {
    if (IsMounted(*volume)) CeUnmountDBVol(volume);
    *volume = {};
}

// A handle as the traces print it: 32 bits.
inline DWORD HandleNumber(HANDLE handle) { return static_cast<DWORD>(reinterpret_cast<DWORD_PTR>(handle)); }
