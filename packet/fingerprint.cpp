// The fingerprint of a record: a checksum over the texts of its properties.
//
// One step of the checksum takes bytes b into a 32-bit state c by c = T[(c ^ b) & 0xFF] ^ (c << 8), with the table T
// of the reflected polynomial 0xEDB88320. The shift goes to the left, where CRC-32 shifts to the right: on purpose.
//
// Because of that shift the low byte of the next state depends on one table entry alone, and four bytes later
// nothing else of the state is left. The map from the low byte (with b) to the next low byte is linear over XOR and,
// applied 14 times, gives back what it began with. So bytes that stand a multiple of 14 apart act alike, and long
// inputs can be folded by XOR into one block before the steps are taken.
#include "packet/record_packet.h"
#include "packet/wire.h"
#include "trace/trace_log.h"

using namespace record_packet;

namespace {

DWORD g_table[256];
bool g_tableBuilt = false;

constexpr std::size_t kPeriod = 14;
constexpr std::size_t kFoldWords = kPeriod;
constexpr std::size_t kFoldBytes = kFoldWords * sizeof(std::uint64_t);
constexpr std::size_t kWorthFolding = 3 * kFoldBytes;
constexpr std::size_t kStateBytes = sizeof(DWORD);

void BuildTable() {
    if (g_tableBuilt) return;
    for (DWORD i = 0; i < 256; ++i) {
        DWORD entry = i;
        for (int bit = 0; bit < 8; ++bit) entry = (entry >> 1) ^ ((entry & 1) != 0 ? 0xEDB88320 : 0);
        g_table[i] = entry;
    }
    g_tableBuilt = true;
}

DWORD Steps(DWORD state, const BYTE* bytes, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) state = g_table[(state ^ bytes[i]) & 0xFF] ^ (state << 8);
    return state;
}

// Checksum of `bytes` begun from `start`; without bytes it is `start`.
DWORD Checksum(DWORD start, const void* data, std::size_t count) {
    const BYTE* bytes = static_cast<const BYTE*>(data);
    DWORD state = ~start;
    if (count >= kWorthFolding) {
        std::uint64_t folded[kFoldWords] = {};
        // The last bytes are kept out: they alone make up the upper bytes of the state.
        const std::size_t blocks = (count - kStateBytes) / kFoldBytes;
        for (std::size_t block = 0; block < blocks; ++block, bytes += kFoldBytes) {
            std::uint64_t words[kFoldWords];
            std::memcpy(words, bytes, kFoldBytes);
            for (std::size_t i = 0; i < kFoldWords; ++i) folded[i] ^= words[i];
        }
        BYTE block[kFoldBytes];
        std::memcpy(block, folded, kFoldBytes);
        state = Steps(state, block, kFoldBytes);
        count -= blocks * kFoldBytes;
    }
    return ~Steps(state, bytes, count);
}

// Read as bytes: a text in a packet may stand at an odd address.
std::size_t TextBytes(const void* text) {
    const BYTE* const start = static_cast<const BYTE*>(text);
    const BYTE* end = start;
    while (Get16(end) != 0) end += sizeof(WCHAR);
    return static_cast<std::size_t>(end - start);
}

class Fingerprint {
 public:
    void Add(const void* bytes, std::size_t count) { m_value += Checksum(m_value, bytes, count); }

    void AddIdentifier(CEPROPID propid) { AddPrinted("%x", propid); }

    void AddValue(const CEPROPVAL& property) {
        switch (TypeFromPropID(property.propid)) {
            case CEVT_I2:
            case CEVT_UI2:
                AddNumber(property.val.uiVal);
                break;
            case CEVT_I4:
            case CEVT_UI4:
            case CEVT_BOOL:
                AddNumber(property.val.ulVal);
                break;
            case CEVT_R8:
                AddPrinted("%f", property.val.dblVal);
                break;
            case CEVT_FILETIME:
                AddPrinted("%x.%x", property.val.filetime.dwHighDateTime, property.val.filetime.dwLowDateTime);
                break;
            case CEVT_LPWSTR:
                if (const std::size_t bytes = property.val.lpwstr ? TextBytes(property.val.lpwstr) : 0) {
                    Add(property.val.lpwstr, bytes);
                }
                break;
            case CEVT_BLOB:
                Add(property.val.blob.lpb, property.val.blob.dwCount);
                break;
            default:
                break;
        }
    }

    DWORD Value() const { return m_value; }

 private:
    void AddNumber(DWORD number) {
        if (number == 0) {
            Add("FALSE", 5);
        } else if (number == 1) {
            Add("TRUE", 4);
        } else {
            AddPrinted("0x%08x", number);
        }
    }

    template <class... Arguments>
    void AddPrinted(const char* format, Arguments... arguments) {
        char text[330];  // the longest double has 309 digits, a sign, a point and six decimals
        Add(text, static_cast<std::size_t>(_snprintf(text, sizeof text, format, arguments...)));
    }

    DWORD m_value = 0;
};

}  // namespace

DWORD CKezCEPacket::GetCRC32(BOOL keepPacket) {
    BuildTable();
    Fingerprint fingerprint;
    const WORD count = ReadableCount();
    // A built packet that is to be kept would get its bytes back at the end; they are not touched in the first place.
    const bool touches = m_pRcvPacket || !keepPacket;
    for (WORD i = 0; i < count; ++i) {
        CEPROPVAL& property = m_vProps[i];
        fingerprint.AddIdentifier(property.propid);
        if (touches) {
            property.wFlags = 0;
            property.wLenData = 0;
            if (!m_pRcvPacket) PutEntry(m_pPacket + kHeaderBytes + kEntryBytes * i, property);
        }
        fingerprint.AddValue(property);
    }
    dbglog(50, "KEZCePacket::GetCRC32::oid=%d, len=%d, NewCRC=0x%08x, AltCRC=0x%08x", m_dwOid,
           m_PacketBytes - static_cast<INT>(kSlackBytes), fingerprint.Value(), 0);
    return fingerprint.Value();
}
