// One-line helpers for tests of the property database.
#include "property_world.h"

#include <gtest/gtest.h>

#include <cstring>

namespace kez::tests {

using propertydb::Bytes;
using propertydb::PropertySet;

SORTORDERSPECEX OrderOf(std::initializer_list<OrderPart> parts, WORD keyFlags) {
    SORTORDERSPECEX order{};
    order.wVersion = 2;
    order.wKeyFlags = keyFlags;
    for (const OrderPart& part : parts) {
        order.rgPropID[order.wNumProps] = part.id;
        order.rgdwFlags[order.wNumProps++] = part.flags;
    }
    return order;
}

CEPROPVAL NumberValue(CEPROPID id, ULONG number) {
    CEPROPVAL value{};
    value.propid = id;
    value.wLenData = 0xBEEF;  // tolerated
    value.val.ulVal = number;
    return value;
}

CEPROPVAL TextValue(CEPROPID id, const WCHAR* text) {
    CEPROPVAL value{};
    value.propid = id;
    value.val.lpwstr = const_cast<WCHAR*>(text);
    return value;
}

CEPROPVAL BlobValue(CEPROPID id, std::vector<BYTE>& bytes) {
    CEPROPVAL value{};
    value.propid = id;
    value.val.blob = {static_cast<DWORD>(bytes.size()), bytes.data()};
    return value;
}

CEPROPVAL Removal(CEPROPID id) {
    CEPROPVAL value{};
    value.propid = id;
    value.wFlags = CEDB_PROPDELETE;
    return value;
}

CEPROPVAL ValueOf(const PropertySet::Entry& entry) {
    CEPROPVAL value{};
    value.propid = entry.id;
    if (const auto* number = std::get_if<std::int64_t>(&entry.value)) {
        std::memcpy(&value.val, number, sizeof *number);
    } else if (const auto* real = std::get_if<double>(&entry.value)) {
        value.val.dblVal = *real;
    } else if (const auto* text = std::get_if<std::u16string>(&entry.value)) {
        value.val.lpwstr = const_cast<WCHAR*>(text->c_str());
    } else if (const auto* bytes = std::get_if<Bytes>(&entry.value)) {
        value.val.blob = {static_cast<DWORD>(bytes->size()), const_cast<BYTE*>(bytes->data())};
    } else {
        value.wFlags = CEDB_PROPDELETE;
    }
    return value;
}

Mounted::Mounted(const WCHAR* path, DWORD disposition, CEVOLUMEOPTIONS* options) {
    EXPECT_TRUE(CeMountDBVolEx(&m_guid, const_cast<WCHAR*>(path), options, disposition)) << GetLastError();
}

Mounted::~Mounted() { EXPECT_TRUE(CeUnmountDBVol(&m_guid)) << GetLastError(); }

CEDBASEINFOEX InfoFor(const WCHAR* name, const std::vector<SORTORDERSPECEX>& orders, DWORD type) {
    CEDBASEINFOEX info{};
    info.wVersion = 2;
    info.dwFlags = CEDB_VALIDCREATE;
    wcscpy(info.szDbaseName, name);
    info.dwDbaseType = type;
    info.wNumSortOrder = static_cast<WORD>(orders.size());
    std::copy(orders.begin(), orders.end(), info.rgSortSpecs);
    return info;
}

CEOID MakeDatabase(CEGUID* volume, const WCHAR* name, const std::vector<SORTORDERSPECEX>& orders, DWORD type) {
    CEDBASEINFOEX info = InfoFor(name, orders, type);
    const CEOID oid = CeCreateDatabaseEx2(volume, &info);
    EXPECT_NE(oid, 0u) << GetLastError();
    return oid;
}

Opened::Opened(CEGUID* volume, CEOID oid, const SORTORDERSPECEX* order, DWORD flags, HANDLE session,
               CENOTIFYREQUEST* notify) {
    SORTORDERSPECEX copy = order ? *order : SORTORDERSPECEX{};
    m_handle = CeOpenDatabaseInSession(session, volume, &oid, nullptr, order ? &copy : nullptr, flags, notify);
    EXPECT_NE(m_handle, INVALID_HANDLE_VALUE) << GetLastError();
}

Opened::~Opened() { Close(); }

void Opened::Close() {
    if (m_handle == INVALID_HANDLE_VALUE) return;
    EXPECT_TRUE(CloseHandle(m_handle)) << GetLastError();
    m_handle = INVALID_HANDLE_VALUE;
}

CEOID Opened::Seek(DWORD type, LONG number, DWORD* index) {
    return CeSeekDatabaseEx(m_handle, type, static_cast<DWORD>(number), 0, index);
}

CEOID Opened::Seek(DWORD type, const std::vector<CEPROPVAL>& values, DWORD* index) {
    return CeSeekDatabaseEx(m_handle, type, reinterpret_cast<DWORD_PTR>(values.data()),
                            static_cast<WORD>(values.size()), index);
}

CEOID Opened::Write(CEOID oid, const std::vector<CEPROPVAL>& values) {
    std::vector<CEPROPVAL> copy = values;
    return CeWriteRecordProps(m_handle, oid, static_cast<WORD>(copy.size()), copy.data());
}

PropertySet Opened::Read(CEOID* oid) {
    WORD count = 0;
    BYTE* buffer = nullptr;
    DWORD size = 0;
    const CEOID read = CeReadRecordProps(m_handle, CEDB_ALLOWREALLOC, &count, nullptr, &buffer, &size);
    if (oid) *oid = read;
    const PropertySet set = read ? SetOf(buffer, count) : PropertySet();
    LocalFree(buffer);
    return set;
}

std::vector<CEOID> Opened::All() {
    std::vector<CEOID> oids;
    for (CEOID oid = Seek(CEDB_SEEK_BEGINNING, 0); oid; oid = Seek(CEDB_SEEK_CURRENT, 1)) oids.push_back(oid);
    return oids;
}

PropertySet SetOf(const BYTE* block, WORD count) {
    PropertySet set;
    for (WORD i = 0; i < count; ++i) {
        CEPROPVAL value;
        std::memcpy(&value, block + i * sizeof value, sizeof value);
        if (value.wFlags & CEDB_PROPNOTFOUND) continue;
        switch (TypeFromPropID(value.propid)) {
            case CEVT_LPWSTR:
                set.SetText(value.propid, value.val.lpwstr);
                break;
            case CEVT_BLOB:
                set.Set(value.propid, Bytes(value.val.blob.lpb, value.val.blob.lpb + value.val.blob.dwCount));
                break;
            case CEVT_R8:
                set.Set(value.propid, value.val.dblVal);
                break;
            case CEVT_I2:
                set.SetNumber(value.propid, value.val.iVal);
                break;
            case CEVT_UI2:
                set.SetNumber(value.propid, value.val.uiVal);
                break;
            case CEVT_I4:
            case CEVT_AUTO_I4:
                set.SetNumber(value.propid, value.val.lVal);
                break;
            case CEVT_FILETIME:
            case CEVT_AUTO_I8:
                set.SetNumber(value.propid, static_cast<std::int64_t>(
                                                static_cast<std::uint64_t>(value.val.filetime.dwHighDateTime) << 32 |
                                                value.val.filetime.dwLowDateTime));
                break;
            default:
                set.SetNumber(value.propid, value.val.ulVal);
        }
    }
    return set;
}

}  // namespace kez::tests
