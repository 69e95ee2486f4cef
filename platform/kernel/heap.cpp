// The two names of the process heap. Each block has a head that keeps the size asked for, to the byte, and which of
// the two it came from; a block given to the other one is refused.
#include <cstdlib>

#include "platform/control/control.h"

namespace {

using kez::control::CountLive;
using kez::control::LiveKind;
using kez::control::PlannedFault;

enum class Kind : std::uint32_t { Local = 0x4C6F634C, Heap = 0x48656148, Freed = 0 };

struct alignas(16) Head {
    SIZE_T size;
    Kind kind;
};

constexpr SIZE_T kLargest = 0x7FFF0000;  // what could ever lie in a device's 2 GB of addresses
constexpr SIZE_T kNoSize = static_cast<SIZE_T>(-1);

LiveKind Counter(Kind kind) { return kind == Kind::Local ? LiveKind::LocalBlock : LiveKind::HeapBlock; }

// The head of a block of this kind; null with last error 6 for anything else.
Head* HeadOf(const void* block, Kind kind) {
    Head* head = block ? static_cast<Head*>(const_cast<void*>(block)) - 1 : nullptr;
    if (head && head->kind == kind) return head;
    SetLastError(ERROR_INVALID_HANDLE);
    return nullptr;
}

void* Allocate(Kind kind, SIZE_T bytes, bool zero) {
    void* memory = nullptr;
    if (bytes <= kLargest) memory = zero ? std::calloc(1, sizeof(Head) + bytes) : std::malloc(sizeof(Head) + bytes);
    if (!memory) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    auto* head = static_cast<Head*>(memory);
    head->size = bytes;
    head->kind = kind;
    CountLive(Counter(kind), 1);
    return head + 1;
}

void* Reallocate(Kind kind, void* block, SIZE_T bytes, bool zero) {
    Head* head = HeadOf(block, kind);
    if (!head) return nullptr;
    const SIZE_T before = head->size;
    void* memory = bytes <= kLargest ? std::realloc(head, sizeof(Head) + bytes) : nullptr;
    if (!memory) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    head = static_cast<Head*>(memory);
    head->size = bytes;
    auto* content = reinterpret_cast<BYTE*>(head + 1);
    if (zero && bytes > before) std::memset(content + before, 0, bytes - before);
    return content;
}

bool Free(Kind kind, void* block) {
    Head* head = HeadOf(block, kind);
    if (!head) return false;
    head->kind = Kind::Freed;
    std::free(head);
    CountLive(Counter(kind), -1);
    return true;
}

const HANDLE kProcessHeap = reinterpret_cast<HANDLE>(std::uintptr_t{0x50});

bool IsHeap(HANDLE heap) {
    if (heap == kProcessHeap) return true;
    SetLastError(ERROR_INVALID_HANDLE);
    return false;
}

}  // namespace

HLOCAL LocalAlloc(UINT flags, SIZE_T bytes) {
    if (auto fault = PlannedFault("LocalAlloc")) {
        SetLastError(*fault);
        return nullptr;
    }
    return Allocate(Kind::Local, bytes, flags & LMEM_ZEROINIT);
}

// Without LMEM_MOVEABLE the platform may fail where a block cannot grow in its place; here every block may move.
HLOCAL LocalReAlloc(HLOCAL block, SIZE_T bytes, UINT flags) {
    if (auto fault = PlannedFault("LocalReAlloc")) {
        SetLastError(*fault);
        return nullptr;
    }
    return Reallocate(Kind::Local, block, bytes, flags & LMEM_ZEROINIT);
}

HLOCAL LocalFree(HLOCAL block) {
    if (auto fault = PlannedFault("LocalFree")) {
        SetLastError(*fault);
        return block;
    }
    if (!block || Free(Kind::Local, block)) return nullptr;
    return block;
}

SIZE_T LocalSize(HLOCAL block) {
    const Head* head = HeadOf(block, Kind::Local);
    return head ? head->size : 0;
}

HANDLE GetProcessHeap() { return kProcessHeap; }

LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes) {
    if (auto fault = PlannedFault("HeapAlloc")) {
        SetLastError(*fault);
        return nullptr;
    }
    return IsHeap(heap) ? Allocate(Kind::Heap, bytes, flags & HEAP_ZERO_MEMORY) : nullptr;
}

LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes) {
    if (auto fault = PlannedFault("HeapReAlloc")) {
        SetLastError(*fault);
        return nullptr;
    }
    return IsHeap(heap) ? Reallocate(Kind::Heap, block, bytes, flags & HEAP_ZERO_MEMORY) : nullptr;
}

BOOL HeapFree(HANDLE heap, DWORD, LPVOID block) {
    if (auto fault = PlannedFault("HeapFree")) {
        SetLastError(*fault);
        return FALSE;
    }
    return IsHeap(heap) && (!block || Free(Kind::Heap, block));
}

SIZE_T HeapSize(HANDLE heap, DWORD, LPCVOID block) {
    const Head* head = IsHeap(heap) ? HeadOf(block, Kind::Heap) : nullptr;
    return head ? head->size : kNoSize;
}
