// Building: the sorted list of properties, and its layout as a packet.
#include <new>

#include "packet/record_packet.h"
#include "packet/wire.h"
#include "trace/trace_log.h"

using namespace record_packet;

namespace {

struct ValueBytes {
    const void* data = nullptr;
    std::size_t count = 0;
};

// What a property brings into the data area.
ValueBytes DataOf(const CEPROPVAL& property) {
    if (property.wFlags != 0) return {};
    switch (TypeFromPropID(property.propid)) {
        case CEVT_LPWSTR:
            if (!property.val.lpwstr) return {};
            return {property.val.lpwstr, (wcslen(property.val.lpwstr) + 1) * sizeof(WCHAR)};
        case CEVT_BLOB:
            if (!property.val.blob.lpb || static_cast<LONG>(property.val.blob.dwCount) <= 0) return {};
            return {property.val.blob.lpb, property.val.blob.dwCount};
        default:
            return {};
    }
}

WORD LengthField(const CEPROPVAL& property, std::size_t dataBytes) {
    if (property.wFlags != 0) return 0;
    switch (TypeFromPropID(property.propid)) {
        case CEVT_I2:
        case CEVT_UI2:
            return 2;
        case CEVT_I4:
        case CEVT_UI4:
        case CEVT_BOOL:
            return 4;
        case CEVT_R8:
        case CEVT_FILETIME:
            return 8;
        case CEVT_LPWSTR:
            return static_cast<WORD>(dataBytes);
        case CEVT_BLOB:
            return static_cast<WORD>(property.val.blob.dwCount);
        default:
            return 0;
    }
}

// A node with its copy of the property and of the bytes that belong to it, or null.
PropNode* NewNode(const CEPROPVAL& property, const ValueBytes& data) {
    void* block = ::operator new(sizeof(PropNode) + data.count, std::nothrow);
    if (!block) return nullptr;
    PropNode* node = ::new (block) PropNode{property, nullptr, nullptr, static_cast<DWORD>(data.count)};
    node->prop.wLenData = LengthField(property, data.count);
    BYTE* copy = nullptr;
    if (data.data) {
        copy = reinterpret_cast<BYTE*>(node + 1);
        std::memcpy(copy, data.data, data.count);
    }
    if (TypeFromPropID(property.propid) == CEVT_LPWSTR) {
        node->prop.val.lpwstr = reinterpret_cast<LPWSTR>(copy);
    } else if (TypeFromPropID(property.propid) == CEVT_BLOB) {
        node->prop.val.blob = {node->valueBytes, copy};
    }
    return node;
}

}  // namespace

DWORD CKezCEPacket::PropStart(CEOID oid) {
    dbglog(0, "CKezCEPacket::PropStart+");
    m_dwOid = oid;
    dbglog(0, "CKezCEPacket::Reinit");
    FreeBuffer();
    m_dwAck = 0;
    ListClean();
    dbglog(0, "CKezCEPacket::calc fixed size");
    m_dwPropLen = kHeaderBytes;
    dbglog(0, "CKezCEPacket::fixed size = %d", m_dwPropLen);
    dbglog(0, "CKezCEPacket::PropStart-");
    return m_dwPropLen;
}

DWORD CKezCEPacket::PropAdd(const CEPROPVAL* properties, DWORD count) {
    for (DWORD i = 0; properties && i < count; ++i) ListAdd(&properties[i]);
    return m_dwPropLen;
}

INT CKezCEPacket::PropAddValue(CEPROPID propid, const void* value) {
    CEPROPVAL property = {};
    property.propid = propid;
    std::size_t bytes = 0;
    switch (TypeFromPropID(propid)) {
        case CEVT_I2:
        case CEVT_UI2:
            bytes = 2;
            break;
        case CEVT_I4:
        case CEVT_UI4:
        case CEVT_BOOL:
            bytes = 4;
            break;
        case CEVT_R8:
        case CEVT_FILETIME:
            bytes = 8;
            break;
        case CEVT_LPWSTR:
            property.val.lpwstr = static_cast<LPWSTR>(const_cast<void*>(value));
            break;
        default:
            return -1;
    }
    if (bytes != 0) {
        if (!value) return -1;
        std::memcpy(&property.val, value, bytes);
    }
    return ListAdd(&property) ? static_cast<INT>(m_dwPropLen) : -1;
}

INT CKezCEPacket::PropAddString(CEPROPID propid, LPCWSTR text, ...) {
    if (!text || wcscmp(text, TEXT("-")) == 0) return -1;
    if (TypeFromPropID(propid) == CEVT_LPWSTR) return PropAddValue(propid, text);
    return PropAddValue(propid, &text);  // the argument itself is the value: on purpose
}

INT CKezCEPacket::PropAddDate(CEPROPID propid, DATE date) {
    if (IsNullDate(date)) SetNullDate(&date);
    if (TypeFromPropID(propid) == CEVT_R8) return PropAddValue(propid, &date);
    if (TypeFromPropID(propid) != CEVT_FILETIME) return -1;
    SYSTEMTIME parts = {};
    FILETIME time = {};
    VariantTimeToSystemTime(date, &parts);
    SystemTimeToFileTime(&parts, &time);
    return PropAddValue(propid, &time);
}

BOOL CKezCEPacket::IsNullDate(DATE date) {
    SYSTEMTIME parts = {};
    VariantTimeToSystemTime(date, &parts);
    return parts.wYear <= 1900;
}

void CKezCEPacket::SetNullDate(DATE* date) {
    SYSTEMTIME parts = {};
    parts.wYear = 4501;
    parts.wMonth = 1;
    parts.wDay = 1;
    SystemTimeToVariantTime(&parts, date);
}

BOOL CKezCEPacket::ListAdd(const CEPROPVAL* property) {
    if (!property) return FALSE;
    const CEPROPID propid = property->propid;
    const bool isBlob = TypeFromPropID(propid) == CEVT_BLOB;
    if (propid == 0 || (isBlob && !m_bAllowBlobs)) {
        dbglog(50, "CKezCEPacket::ListAdd: WARN: skipped propid=0x%08x", propid);
        return FALSE;
    }
    const ValueBytes data = DataOf(*property);
    if (m_wPropCount == kMaxProperties ||
        std::uint64_t{m_dwPropLen} + kEntryBytes + data.count + kSlackBytes > kMaxPacketBytes) {
        dbglog(0, "CKezCEPacket::ListAdd: ERR: no room for propid=0x%08x", propid);
        return FALSE;
    }
    PropNode* node = NewNode(*property, data);
    if (!node) {
        dbglog(0, "CKezCEPacket::ListAdd: ERR: out of memory, propid=0x%08x", propid);
        return FALSE;
    }
    LinkNode(node);
    ++m_wPropCount;
    m_dwPropLen += kEntryBytes + node->valueBytes;
    if (isBlob) {
        dbglog(25, "ListAdd(0x%08x) CEVT_BLOB flags = %i, BlobSize = %i", propid, property->wFlags,
               property->val.blob.dwCount);
        if (property->wFlags == 0) dbglog(25, "Added blob prop 0x%08x", propid);
    }
    return TRUE;
}

// Puts the node behind the last one whose identifier is not greater.
void CKezCEPacket::LinkNode(PropNode* node) {
    const CEPROPID propid = node->prop.propid;
    PropNode* head = m_pPropList;
    if (!head || head->prop.propid > propid) {
        node->next = head;
        node->last = head ? head->last : node;
        m_pPropList = node;
        return;
    }
    PropNode* before = head->last;
    if (before->prop.propid > propid) {
        before = head;
        while (before->next->prop.propid <= propid) before = before->next;
    }
    node->next = before->next;
    before->next = node;
    if (!node->next) head->last = node;
}

// Takes `node` out of the list, where it stands behind `before` (null for the head).
void CKezCEPacket::UnlinkNode(PropNode* before, PropNode* node) {
    if (!before) {
        m_pPropList = node->next;
        if (node->next) node->next->last = node->last;
        return;
    }
    before->next = node->next;
    if (!node->next) m_pPropList->last = before;
}

BOOL CKezCEPacket::PropDelete(CEPROPID propid) {
    dbglog(50, "CKezCEPacket::PropDelete+");
    PropNode* before = nullptr;
    for (PropNode* node = m_pPropList; node; before = node, node = node->next) {
        if (node->prop.propid != propid) continue;
        UnlinkNode(before, node);
        FreePropNode(node);
        dbglog(50, "CKezCEPacket::PropDelete (FOUND) -");
        return TRUE;
    }
    dbglog(50, "CKezCEPacket::PropDelete (NOT FOUND) -");
    return FALSE;
}

void CKezCEPacket::FreePropNode(PropNode* node) {
    --m_wPropCount;
    m_dwPropLen -= kEntryBytes;
    // A text takes off its characters and not its bytes, so that the packet stays longer than needed: on purpose.
    const bool isText = TypeFromPropID(node->prop.propid) == CEVT_LPWSTR;
    m_dwPropLen -= isText ? node->valueBytes / sizeof(WCHAR) : node->valueBytes;
    ::operator delete(node);
}

BOOL CKezCEPacket::ListClean() {
    dbglog(50, "CKezCEPacket::ListClean+");
    while (PropNode* node = m_pPropList) {
        UnlinkNode(nullptr, node);
        FreePropNode(node);
    }
    m_wPropCount = 0;
    dbglog(50, "CKezCEPacket::ListClean-");
    return TRUE;
}

INT CKezCEPacket::PropFini() {
    dbglog(50, "CKezCEPacket::PropFini +");
    m_dwPropLen += kSlackBytes;
    dbglog(0, "CKeeCEPacket::PropFini() - m_dwPropLen = %i, m_PacketBytes = %i", m_dwPropLen, m_PacketBytes);
    FreeBuffer();
    m_wPropCount = 0;
    for (const PropNode* node = m_pPropList; node; node = node->next) ++m_wPropCount;

    m_pPacket = static_cast<BYTE*>(LocalAlloc(LPTR, m_dwPropLen));
    m_vProps = m_pPacket ? static_cast<CEPROPVAL*>(LocalAlloc(LPTR, m_wPropCount * sizeof(CEPROPVAL))) : nullptr;
    if (!m_vProps) {
        if (m_pPacket) LocalFree(m_pPacket);
        m_pPacket = nullptr;
        dbglog(0, "CKezCEPacket::PropFini-OUT_OF_MEMORY-");
        return -1;
    }
    m_PacketBytes = static_cast<INT>(m_dwPropLen);
    FillBuffer();
    dbglog(50, "CKezCEPacket::PropFini -");
    return m_PacketBytes;
}

// Writes header, data area and entries. The array's texts and blobs come to lie inside the buffer.
void CKezCEPacket::FillBuffer() {
    Put32(m_pPacket + kLengthOffset, static_cast<DWORD>(m_PacketBytes));
    Put32(m_pPacket + kOidOffset, m_dwOid);
    Put16(m_pPacket + kCountOffset, m_wPropCount);

    m_pData = m_pPacket + kHeaderBytes + kEntryBytes * m_wPropCount;
    BYTE* cursor = m_pData;
    BYTE* entry = m_pPacket + kHeaderBytes;
    CEPROPVAL* property = m_vProps;
    for (const PropNode* node = m_pPropList; node; node = node->next, ++property, entry += kEntryBytes) {
        *property = node->prop;
        if (node->valueBytes != 0) {
            std::memcpy(cursor, node + 1, node->valueBytes);
            if (TypeFromPropID(node->prop.propid) == CEVT_LPWSTR) {
                property->val.lpwstr = reinterpret_cast<LPWSTR>(cursor);
            } else {
                property->val.blob.lpb = cursor;
            }
            cursor += node->valueBytes;
        }
        PutEntry(entry, *property);
    }
    if (kArrayIsWireImage) {
        LocalFree(m_vProps);
        m_vProps = reinterpret_cast<CEPROPVAL*>(m_pPacket + kHeaderBytes);
    }
}
