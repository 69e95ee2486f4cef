// The classes that CoCreateInstance can make.
#pragma once

#include <windows.h>

namespace kez::automation {

// Makes an object and gives its interface `riid`, counted once; on failure sets `*out` to null and returns why.
using CreateObject = HRESULT (*)(REFIID riid, void** out);

// Adds a class; may be called before main(), from the static initialisers of other files of the device host. A
// second registration of the same class replaces the first.
void RegisterClass(REFCLSID clsid, CreateObject create);

// Null where the class is not registered.
CreateObject FindClass(REFCLSID clsid);

}  // namespace kez::automation
