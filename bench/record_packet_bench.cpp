// Record packets beside what does the like: a full contact beside Protocol Buffers, the fingerprint of a picture
// beside zlib's crc32, and a large picture in chunks beside memcpy.
#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <vector>

#include "packet/record_packet.h"
#ifdef KEZ_HAVE_PROTOBUF
#include "record_packet.pb.h"
#endif
#ifdef KEZ_HAVE_ZLIB
#include <zlib.h>
#endif

namespace {

// A full contact: 54 properties, 40 of them texts of 1 KB together.
struct Contact {
    std::vector<std::u16string> texts;
    std::vector<CEPROPVAL> properties;

    Contact() {
        for (int i = 0; i < 40; ++i) texts.push_back(std::u16string(8 + static_cast<std::size_t>(i) % 9, u'x'));
        for (CEPROPID i = 0; i < 54; ++i) {
            CEPROPVAL property = {};
            if (i < 40) {
                property.propid = (i + 1) << 16 | CEVT_LPWSTR;
                property.val.lpwstr = texts[i].data();
            } else if (i < 46) {
                property.propid = (i + 1) << 16 | CEVT_I4;
                property.val.lVal = static_cast<LONG>(i);
            } else if (i < 50) {
                property.propid = (i + 1) << 16 | CEVT_FILETIME;
                property.val.filetime = {0x69BABA30, 0x01C679BE};
            } else {
                property.propid = (i + 1) << 16 | CEVT_UI2;
                property.val.uiVal = static_cast<USHORT>(i);
            }
            properties.push_back(property);
        }
    }
};

void PacketBuildAndParse(benchmark::State& state) {
    const Contact contact;
    for (auto _ : state) {
        CKezCEPacket sent;
        sent.PropStart(17);
        sent.PropAdd(contact.properties.data(), static_cast<DWORD>(contact.properties.size()));
        sent.PropFini();
        BYTE* data = nullptr;
        DWORD bytes = 0;
        sent.GetNextBytes(&data, &bytes, 1 << 20);
        CKezCEPacket received;
        received.SetNextBytes(data, static_cast<INT>(bytes));
        if (received.GetPropCount() != 54) std::abort();
        benchmark::DoNotOptimize(received.m_vProps);
    }
}
BENCHMARK(PacketBuildAndParse);

#ifdef KEZ_HAVE_PROTOBUF
void ProtocolBuffersBuildAndParse(benchmark::State& state) {
    const Contact contact;
    for (auto _ : state) {
        kez::bench::Record sent;
        sent.set_oid(17);
        for (const CEPROPVAL& property : contact.properties) {
            kez::bench::Property* added = sent.add_properties();
            added->set_propid(property.propid);
            switch (TypeFromPropID(property.propid)) {
                case CEVT_LPWSTR:
                    added->set_text(property.val.lpwstr, wcslen(property.val.lpwstr) * sizeof(WCHAR));
                    break;
                case CEVT_I4:
                    added->set_i4(property.val.lVal);
                    break;
                case CEVT_FILETIME:
                    added->set_filetime(static_cast<std::uint64_t>(property.val.filetime.dwHighDateTime) << 32 |
                                        property.val.filetime.dwLowDateTime);
                    break;
                default:
                    added->set_i2(property.val.uiVal);
                    break;
            }
        }
        std::string bytes;
        if (!sent.SerializeToString(&bytes)) std::abort();
        kez::bench::Record received;
        if (!received.ParseFromString(bytes) || received.properties_size() != 54) std::abort();
        benchmark::DoNotOptimize(received.properties().data());
    }
}
BENCHMARK(ProtocolBuffersBuildAndParse);
#endif

std::vector<BYTE> Picture(std::size_t bytes) {
    std::vector<BYTE> picture(bytes);
    DWORD random = 2026;
    for (BYTE& byte : picture) byte = static_cast<BYTE>((random = random * 1664525 + 1013904223) >> 24);
    return picture;
}

void Lay(CKezCEPacket& packet, std::vector<BYTE>& picture) {
    CEPROPVAL property = {};
    property.propid = 0x00010000 | CEVT_BLOB;
    property.val.blob = {static_cast<DWORD>(picture.size()), picture.data()};
    packet.PropStart(17);
    packet.ListAdd(&property);
    if (packet.PropFini() < 0) std::abort();
}

void FingerprintOf1MB(benchmark::State& state) {
    std::vector<BYTE> picture = Picture(1 << 20);
    CKezCEPacket packet;
    Lay(packet, picture);
    for (auto _ : state) benchmark::DoNotOptimize(packet.GetCRC32(TRUE));
    state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(FingerprintOf1MB);

#ifdef KEZ_HAVE_ZLIB
void ZlibCrc32Of1MB(benchmark::State& state) {
    const std::vector<BYTE> picture = Picture(1 << 20);
    for (auto _ : state) benchmark::DoNotOptimize(crc32(0, picture.data(), 1 << 20));
    state.SetBytesProcessed(state.iterations() * (1 << 20));
}
BENCHMARK(ZlibCrc32Of1MB);
#endif

constexpr std::size_t kLarge = 10 << 20;
constexpr std::size_t kChunk = 32768;

void SendingOf10MB(benchmark::State& state) {
    std::vector<BYTE> picture = Picture(kLarge);
    CKezCEPacket packet;
    Lay(packet, picture);
    for (auto _ : state) {
        packet.m_dwAck = 0;
        BYTE* data = nullptr;
        DWORD bytes = 0;
        while (packet.GetNextBytes(&data, &bytes, kChunk) > 0) benchmark::DoNotOptimize(data);
    }
}
BENCHMARK(SendingOf10MB);

// Without the last chunk, that is without parsing: the chunks' bytes into a new zeroed block.
void ReceivingOf10MB(benchmark::State& state) {
    std::vector<BYTE> picture = Picture(kLarge);
    CKezCEPacket sent;
    Lay(sent, picture);
    const BYTE* const bytes = sent.GetPacketBuffer();
    for (auto _ : state) {
        CKezCEPacket received;
        for (std::size_t at = 0; at < kLarge; at += kChunk) received.SetNextBytes(bytes + at, kChunk);
        benchmark::DoNotOptimize(received.GetPacketBuffer());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLarge));
}
BENCHMARK(ReceivingOf10MB);

void MemcpyOf10MB(benchmark::State& state) {
    const std::vector<BYTE> picture = Picture(kLarge);
    for (auto _ : state) {
        auto* block = static_cast<BYTE*>(LocalAlloc(LPTR, kLarge));
        for (std::size_t at = 0; at < kLarge; at += kChunk) std::memcpy(block + at, picture.data() + at, kChunk);
        benchmark::DoNotOptimize(block);
        LocalFree(block);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kLarge));
}
BENCHMARK(MemcpyOf10MB);

}  // namespace

BENCHMARK_MAIN();
