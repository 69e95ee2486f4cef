// A provider library whose answers a test writes, and which keeps a record of the calls that the engine makes.
#pragma once

#include <cesync.h>

#include <string>
#include <vector>

namespace kez::tests {

struct FakeProvider {
    // Answers.
    bool refuseType = false;
    UINT count = 0;
    bool cannotCount = false;
    bool listNothing = false;  // success, and nothing filled
    HRESULT listResult = S_OK;
    std::vector<UINT> list;                  // as it lies in memory
    std::vector<std::vector<UINT>> volumes;  // of further volumes, all unchanged
    UINT unchanged = 0;
    UINT changed = 0;
    std::vector<UINT> noticed;  // changed identifiers, then deleted ones
    UINT noticedChanged = 0;
    std::vector<std::string> pieces;  // of the packet that is read
    HRESULT pieceResult = S_OK;       // of a piece that is not the last
    bool lastIsEmpty = false;
    DWORD oidNew = 0;
    HRESULT setResult = S_OK;
    HRESULT deleteResult = S_OK;

    // What the engine did: "InitObjType KEZContact 1", "Setup read 7", "SetPacket 4", ...
    std::vector<std::string> calls;
    std::string received;
    std::vector<std::string> oddities;  // structures without their size, or with something left in them
    int liveHandlers = 0;
};

}  // namespace kez::tests

// Exported beside the six functions of a provider.
extern "C" kez::tests::FakeProvider* TheFakeProvider();
