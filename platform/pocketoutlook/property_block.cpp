// Between values and CEPROPVAL.
#include "platform/pocketoutlook/property_block.h"

#include <cstring>
#include <limits>

namespace kez::pocketoutlook {
namespace {

std::size_t BytesBehind(const Value* value) {
    if (!value) return 0;
    if (const auto* text = std::get_if<std::u16string>(value)) return (text->size() + 1) * sizeof(WCHAR);
    if (const auto* bytes = std::get_if<propertydb::Bytes>(value)) return bytes->size();
    return 0;
}

// Texts come first behind the elements: bytes could leave them misaligned.
bool IsText(const Value* value) { return value && std::holds_alternative<std::u16string>(*value); }

CEVALUNION NumberUnion(CEPROPID id, std::int64_t number) {
    CEVALUNION result{};
    switch (TypeFromPropID(id)) {
        case CEVT_FILETIME:
            result.filetime = FileTimeFromTicks(number);
            break;
        case CEVT_BOOL:
            result.boolVal = number != 0;
            break;
        case CEVT_I2:
        case CEVT_UI2:
            result.uiVal = static_cast<USHORT>(number);
            break;
        default:
            result.ulVal = static_cast<ULONG>(number);
    }
    return result;
}

CEPROPVAL Element(const AnsweredProperty& answer, BYTE* behind) {
    CEPROPVAL element{};
    element.propid = answer.id;
    const Value* value = answer.Get();
    if (!value) {
        element.wFlags = CEDB_PROPNOTFOUND;
    } else if (const auto* number = std::get_if<std::int64_t>(value)) {
        element.val = NumberUnion(answer.id, *number);
    } else if (const auto* real = std::get_if<double>(value)) {
        element.val.dblVal = *real;
    } else if (const auto* text = std::get_if<std::u16string>(value)) {
        std::memcpy(behind, text->c_str(), (text->size() + 1) * sizeof(WCHAR));
        element.val.lpwstr = reinterpret_cast<LPWSTR>(behind);
    } else if (const auto* bytes = std::get_if<propertydb::Bytes>(value)) {
        std::memcpy(behind, bytes->data(), bytes->size());
        element.val.blob = {static_cast<DWORD>(bytes->size()), behind};
    }
    return element;
}

void Fill(CEPROPVAL* block, const std::vector<AnsweredProperty>& answers, std::size_t textBytes) {
    auto* texts = reinterpret_cast<BYTE*>(block + answers.size());
    BYTE* others = texts + textBytes;
    for (std::size_t i = 0; i < answers.size(); i++) {
        const Value* value = answers[i].Get();
        BYTE*& behind = IsText(value) ? texts : others;
        block[i] = Element(answers[i], behind);
        behind += BytesBehind(value);
    }
}

}  // namespace

HRESULT CheckBlockArguments(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, const ULONG* bytes,
                            HANDLE heap) {
    if (!ids || count == 0 || !values || !bytes) return E_INVALIDARG;
    if (flags != 0 && flags != CEDB_ALLOWREALLOC) return E_INVALIDARG;
    if (flags == 0 && heap) return E_INVALIDARG;
    return S_OK;
}

HRESULT WriteBlock(const std::vector<AnsweredProperty>& answers, ULONG flags, CEPROPVAL** values, ULONG* bytes,
                   HANDLE heap) {
    std::size_t textBytes = 0;
    std::size_t otherBytes = 0;
    for (const AnsweredProperty& answer : answers) {
        (IsText(answer.Get()) ? textBytes : otherBytes) += BytesBehind(answer.Get());
    }
    const std::size_t size = answers.size() * sizeof(CEPROPVAL) + textBytes + otherBytes;
    if (size > std::numeric_limits<ULONG>::max()) return E_OUTOFMEMORY;

    if (flags & CEDB_ALLOWREALLOC) {
        const HANDLE from = heap ? heap : GetProcessHeap();
        LPVOID block = *values ? HeapReAlloc(from, 0, *values, size) : HeapAlloc(from, 0, size);
        if (!block) return E_OUTOFMEMORY;
        *values = static_cast<CEPROPVAL*>(block);
    } else if (!*values || *bytes < size) {
        *bytes = static_cast<ULONG>(size);
        return HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER);
    }
    *bytes = static_cast<ULONG>(size);
    Fill(*values, answers, textBytes);
    return S_OK;
}

std::optional<Value> ValueOf(const CEPROPVAL& element) {
    switch (TypeFromPropID(element.propid)) {
        case CEVT_I2:
            return Value(std::int64_t{element.val.iVal});
        case CEVT_UI2:
            return Value(std::int64_t{element.val.uiVal});
        case CEVT_I4:
            return Value(std::int64_t{element.val.lVal});
        case CEVT_UI4:
            return Value(std::int64_t{element.val.ulVal});
        case CEVT_BOOL:
            return Value(std::int64_t{element.val.boolVal != 0});
        case CEVT_FILETIME:
            return Value(TicksFromFileTime(element.val.filetime));
        case CEVT_R8:
            return Value(element.val.dblVal);
        case CEVT_LPWSTR:
            return Value(std::u16string(element.val.lpwstr ? element.val.lpwstr : u""));
        case CEVT_BLOB:
            if (!element.val.blob.lpb) return Value(propertydb::Bytes());
            return Value(propertydb::Bytes(element.val.blob.lpb, element.val.blob.lpb + element.val.blob.dwCount));
        default:
            return std::nullopt;
    }
}

}  // namespace kez::pocketoutlook
