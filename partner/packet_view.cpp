#include "partner/packet_view.h"

#include <cstdio>

#include "packet/record_packet.h"
#include "partner/record_fields.h"
#include "sync/codec.h"

namespace kez::partner {
namespace {

std::string TypeName(WORD type) {
    switch (type) {
        case CEVT_I2:
            return "I2";
        case CEVT_UI2:
            return "UI2";
        case CEVT_I4:
            return "I4";
        case CEVT_UI4:
            return "UI4";
        case CEVT_BOOL:
            return "BOOL";
        case CEVT_R8:
            return "R8";
        case CEVT_FILETIME:
            return "FILETIME";
        case CEVT_LPWSTR:
            return "LPWSTR";
        case CEVT_BLOB:
            return "BLOB";
        default:
            return std::to_string(type);
    }
}

std::string Utf8(LPCWSTR text) {
    if (!text) return {};
    const INT size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
    if (size <= 1) return {};
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
    utf8.pop_back();
    return utf8;
}

std::string ValueText(const CEPROPVAL& property) {
    char text[64];
    const CEVALUNION& value = property.val;
    switch (TypeFromPropID(property.propid)) {
        case CEVT_I2:
            return std::to_string(value.iVal);
        case CEVT_UI2:
            return std::to_string(value.uiVal);
        case CEVT_I4:
            return std::to_string(value.lVal);
        case CEVT_UI4:
            return std::to_string(value.ulVal);
        case CEVT_BOOL:
            return value.boolVal ? "TRUE" : "FALSE";
        case CEVT_LPWSTR:
            return Utf8(value.lpwstr);
        case CEVT_R8:
            std::snprintf(text, sizeof text, "%.9f", value.dblVal);
            return text;
        case CEVT_FILETIME: {
            // Some properties carry an automation date under this type; then the number is all there is to say.
            SYSTEMTIME t{};
            if (FileTimeToSystemTime(&value.filetime, &t) && t.wYear < 4600) {
                std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", t.wYear, t.wMonth, t.wDay, t.wHour,
                              t.wMinute, t.wSecond);
            } else {
                std::snprintf(text, sizeof text, "%08x.%08x", value.filetime.dwHighDateTime,
                              value.filetime.dwLowDateTime);
            }
            return text;
        }
        case CEVT_BLOB: {
            std::string blob = std::to_string(value.blob.dwCount) + " bytes";
            for (DWORD i = 0; i < value.blob.dwCount && i < 16; ++i) {
                std::snprintf(text, sizeof text, "%s%02x", i == 0 ? ": " : " ", value.blob.lpb[i]);
                blob += text;
            }
            return value.blob.dwCount > 16 ? blob + " ..." : blob;
        }
        default:
            return {};
    }
}

std::string FieldName(sync::ItemType type, std::uint32_t id) {
    for (const RecordField& field : FieldsOf(type)) {
        if (field.propertyId == id) return std::string(field.name);
    }
    return {};
}

}  // namespace

PacketView ViewPacket(const std::string& packet, sync::ItemType type) {
    if (packet.size() < 10) {
        throw sync::PacketError("is " + std::to_string(packet.size()) +
                                " bytes long; a record packet has at least 110");
    }
    CKezCEPacket parsed;
    if (parsed.SetNextBytes(reinterpret_cast<const BYTE*>(packet.data()), static_cast<INT>(packet.size())) != 0 ||
        !parsed.GetPacketBuffer()) {
        throw sync::PacketError("is no whole record packet: its length field or its entries do not fit its " +
                                std::to_string(packet.size()) + " bytes");
    }
    PacketView view;
    CEPROPVAL* properties = nullptr;
    WORD count = 0;
    view.bytes = static_cast<std::uint32_t>(parsed.GetPropList(&properties, &count));
    view.oid = parsed.m_dwOid;
    for (WORD i = 0; i < count; ++i) {
        const CEPROPVAL& property = properties[i];
        view.properties.push_back({property.propid, FieldName(type, property.propid),
                                   TypeName(TypeFromPropID(property.propid)), property.wFlags,
                                   property.wFlags ? std::string() : ValueText(property)});
    }
    view.fingerprint = parsed.GetCRC32(FALSE);
    return view;
}

}  // namespace kez::partner
