// Automation strings: 4 bytes with the length of the text in bytes, the text, and a 16-bit zero. The pointer is to
// the text.
#include <cstdlib>

#include "platform/control/control.h"

namespace {

constexpr std::size_t kPrefix = 16;           // the length stands in its last 4 bytes; the text stays aligned
constexpr UINT kLongest = 0x7FFFFFFF - 0x20;  // a string's bytes have to fit into the device's address space

BYTE* LengthPlace(BSTR text) { return reinterpret_cast<BYTE*>(text) - sizeof(UINT); }

BSTR Allocate(const OLECHAR* text, UINT length) {
    if (length > kLongest / sizeof(OLECHAR)) return nullptr;
    const UINT bytes = length * static_cast<UINT>(sizeof(OLECHAR));
    auto* block = static_cast<BYTE*>(std::malloc(kPrefix + bytes + sizeof(OLECHAR)));
    if (!block) return nullptr;
    auto* result = reinterpret_cast<BSTR>(block + kPrefix);
    std::memcpy(LengthPlace(result), &bytes, sizeof bytes);
    if (text) std::memcpy(result, text, bytes);
    result[length] = 0;
    kez::control::CountLive(kez::control::LiveKind::AutomationString, 1);
    return result;
}

}  // namespace

BSTR SysAllocString(const OLECHAR* text) {
    if (kez::control::PlannedFault("SysAllocString")) return nullptr;
    if (!text) return nullptr;
    const std::size_t length = wcslen(text);
    return length > kLongest ? nullptr : Allocate(text, static_cast<UINT>(length));
}

BSTR SysAllocStringLen(const OLECHAR* text, UINT length) {
    if (kez::control::PlannedFault("SysAllocStringLen")) return nullptr;
    return Allocate(text, length);
}

void SysFreeString(BSTR text) {
    if (!text) return;
    std::free(reinterpret_cast<BYTE*>(text) - kPrefix);
    kez::control::CountLive(kez::control::LiveKind::AutomationString, -1);
}

UINT SysStringByteLen(BSTR text) {
    if (!text) return 0;
    UINT bytes = 0;
    std::memcpy(&bytes, LengthPlace(text), sizeof bytes);
    return bytes;
}

UINT SysStringLen(BSTR text) { return SysStringByteLen(text) / static_cast<UINT>(sizeof(OLECHAR)); }
