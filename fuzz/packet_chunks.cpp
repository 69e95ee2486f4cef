// Bytes from outside, in chunks of any sizes, as a received packet.
//
// The input is the number of chunk sizes (low 4 bits of the first byte), the sizes (a byte each, used in turns; 0 for
// an empty chunk), and the packet's bytes. Whatever comes out is read to its last byte.
#include <cstdlib>

#include "packet/record_packet.h"
#include "packet/record_packet_format.h"

namespace {

volatile DWORD g_sink;

// Every byte that a reader of the list may read.
void ReadAll(CKezCEPacket& packet) {
    CEPROPVAL* properties = nullptr;
    WORD count = 0;
    packet.GetPropList(&properties, &count);
    DWORD sum = 0;
    for (WORD i = 0; i < count; ++i) {
        const CEPROPVAL& property = properties[i];
        if (TypeFromPropID(property.propid) == CEVT_LPWSTR) {
            if ((property.wFlags == 0) != (property.val.lpwstr != nullptr)) std::abort();
            for (const WCHAR* c = property.val.lpwstr; c && *c; ++c) sum += *c;
        } else if (TypeFromPropID(property.propid) == CEVT_BLOB) {
            if (property.wFlags != 0 && (property.val.blob.lpb || property.val.blob.dwCount != 0)) std::abort();
            for (DWORD b = 0; b < property.val.blob.dwCount; ++b) sum += property.val.blob.lpb[b];
        } else {
            sum += property.val.filetime.dwLowDateTime + property.val.filetime.dwHighDateTime;
        }
    }
    g_sink = sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::size_t sizes = data[0] & 15;
    if (size < 1 + sizes) return 0;
    const std::uint8_t* const chunks = data + 1;
    data += 1 + sizes;
    size -= 1 + sizes;
    // A length that asks for more than a few megabytes only slows the search down: the limit itself is tested
    // elsewhere.
    if (size >= 4 && data[3] != 0 && data[3] < 0x10) return 0;

    CKezCEPacket packet;
    bool refused = false;
    std::size_t chunk = 0;
    for (std::size_t at = 0; at < size;) {
        std::size_t bytes = sizes != 0 ? chunks[chunk++ % sizes] : size;
        if (bytes == 0 && chunk > 2 * sizes) bytes = 1;
        if (bytes > size - at) bytes = size - at;
        const INT result = packet.SetNextBytes(data + at, static_cast<INT>(bytes));
        at += bytes;
        if (refused && result >= 0) std::abort();
        refused = packet.GetPacketBuffer() == nullptr;
        if (refused && result > 0) std::abort();
        if (!refused && result < 0) std::abort();
        if (!refused && result == 0) ReadAll(packet);
    }
    const DWORD fingerprint = packet.GetCRC32(TRUE);
    if (packet.GetCRC32(FALSE) != fingerprint) std::abort();
    packet.RcvFini();
    ReadAll(packet);
    packet.PropStart(1);
    if (packet.PropFini() != 110) std::abort();
    return 0;
}
