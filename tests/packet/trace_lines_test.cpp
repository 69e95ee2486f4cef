// The log of building, sending, receiving and deleting, line by line.
#include <gmock/gmock.h>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/support/levels_of_lines.h"
#include "tests/support/traced_lines.h"

namespace {

using namespace kez::tests;
using testing::ElementsAre;

struct PacketTrace : testing::Test {
    PacketTrace() { dbglogSetLevel(100); }

    // Lines since the last call, with addresses replaced.
    std::vector<std::string> Since() {
        std::vector<std::string> lines = m_log.Lines();
        const std::size_t all = lines.size();
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(m_seen));
        m_seen = all;
        for (std::string& line : lines) {
            for (const char* name : {"m_vProps = 0x", "bytes = 0x"}) {
                const std::size_t at = line.find(name);
                if (at != std::string::npos) line.replace(at + std::strlen(name), 8, "ADDRESS_");
            }
        }
        return lines;
    }

    TestDevice m_device;
    FreshTraceLog m_log{m_device};
    std::size_t m_seen = 0;
};

TEST_F(PacketTrace, StartOfANewPacket) {
    CKezCEPacket packet;
    packet.PropStart(1);
    EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::PropStart+", "  CKezCEPacket::Reinit", "  CKezCEPacket::ListClean+",
                                     "  CKezCEPacket::ListClean-", "  CKezCEPacket::calc fixed size",
                                     "  CKezCEPacket::fixed size = 10", "CKezCEPacket::PropStart-"));
}

TEST_F(PacketTrace, StartAndLayoutAtLevelOne) {
    dbglogSetLevel(1);
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropFini();
    EXPECT_THAT(Since(),
                ElementsAre("CKezCEPacket::PropStart+", "  CKezCEPacket::Reinit", "  CKezCEPacket::calc fixed size",
                            "  CKezCEPacket::fixed size = 10", "CKezCEPacket::PropStart-",
                            "CKeeCEPacket::PropFini() - m_dwPropLen = 110, m_PacketBytes = 0"));
}

TEST_F(PacketTrace, AddsAndRefusals) {
    const Bytes bytes = {1, 2, 3};
    CEPROPVAL absent = Blob(0x00020041, bytes);
    absent.wFlags = CEDB_PROPNOTFOUND;
    const CEPROPVAL all[] = {Number(0x00010003, 1), Text(0x0001001F, u"x"), Blob(0x00010041, bytes), absent,
                             Property(0),           Blob(0x00040041, {})};
    CKezCEPacket packet;
    packet.PropStart(1);
    Since();
    packet.PropAdd(all, 6);
    packet.SetAllowBlobs(FALSE);
    packet.ListAdd(&all[2]);
    CEPROPVAL huge = Blob(0x00030041, bytes);
    huge.val.blob.dwCount = 0x20000000;
    packet.SetAllowBlobs(TRUE);
    packet.ListAdd(&huge);
    EXPECT_THAT(Since(),
                ElementsAre("ListAdd(0x00010041) CEVT_BLOB flags = 0, BlobSize = 3", "Added blob prop 0x00010041",
                            "ListAdd(0x00020041) CEVT_BLOB flags = 256, BlobSize = 3",
                            "CKezCEPacket::ListAdd: WARN: skipped propid=0x00000000",
                            "ListAdd(0x00040041) CEVT_BLOB flags = 0, BlobSize = 0", "Added blob prop 0x00040041",
                            "CKezCEPacket::ListAdd: WARN: skipped propid=0x00010041",
                            "CKezCEPacket::ListAdd: ERR: no room for propid=0x00030041"));
}

TEST_F(PacketTrace, Deletions) {
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropAddString(0x0001001F, TEXT("x"), 1);
    Since();
    packet.PropDelete(0x0001001F);
    packet.PropDelete(0x0001001F);
    EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::PropDelete+", "CKezCEPacket::PropDelete (FOUND) -",
                                     "CKezCEPacket::PropDelete+", "CKezCEPacket::PropDelete (NOT FOUND) -"));
}

TEST_F(PacketTrace, LayoutSendingAndEnd) {
    {
        CKezCEPacket packet;
        packet.PropStart(1);
        Since();
        packet.PropFini();
        EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::PropFini +",
                                         "  CKeeCEPacket::PropFini() - m_dwPropLen = 110, m_PacketBytes = 0",
                                         "CKezCEPacket::PropFini -"));
        BYTE* data = nullptr;
        DWORD bytes = 0;
        packet.GetNextBytes(&data, &bytes, 100);
        packet.GetNextBytes(&data, &bytes, 100);
        EXPECT_THAT(Since(),
                    ElementsAre("CKezCEPacket::GetNextBytes+ ", "CKezCEPacket::GetNextBytes Total Packet Size - 110...",
                                "CKezCEPacket::GetNextBytes- Packet Size (100) Recommended (100)",
                                "CKezCEPacket::GetNextBytes- (10 remaining) -", "CKezCEPacket::GetNextBytes+ ",
                                "CKezCEPacket::GetNextBytes- Packet Size (10) Recommended (100)",
                                "CKezCEPacket::GetNextBytes- (0 remaining) -"));
    }
    EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::~CKezCEPacket", "CKezCEPacket::FreePacketBuffer",
                                     "KEZCEPacket::FreeNewPacketMethod +", "KEZCEPacket::FreeNewPacketMethod -",
                                     "CKezCEPacket::ListClean+", "CKezCEPacket::ListClean-"));
}

TEST_F(PacketTrace, ReceivingInTwoChunks) {
    {
        CKezCEPacket packet;
        const Bytes bytes = FromHex(
            "3E000000 05000000 0300"
            "41000100 0200 0000 02000000DEADBEEF"
            "03000200 0400 0001 0700000000000000"
            "1F000300 0200 0000 DEADBEEF00000000"
            "0102 0000");
        packet.SetNextBytes(bytes.data(), 20);
        EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::SetNextBytes +", "  CKezCEPacket::SetNextBytes Allocate Memory",
                                         "  CKezCEPacket::SetNextBytes Allocated 62 bytes for packet",
                                         "  CKezCEPacket::SetNextBytes Do Memcpy",
                                         "CKezCEPacket::SetNextBytes- (42 remaining) -"));
        packet.SetNextBytes(bytes.data() + 20, 42);
        EXPECT_THAT(
            Since(),
            ElementsAre("CKezCEPacket::SetNextBytes +", "  CKezCEPacket::SetNextBytes Do Memcpy",
                        "  m_dwAck = 62, m_PacketBytes = 62, cbPacket = 42, localSize = 62",
                        "  CKezCEPacket::SetNextBytes RcvFini", "  CKezCEPacket::RcvFini +",
                        "    CKezCEPacket::RcvFini m_vProps = 0xADDRESS_, iMemSize = 48, PacketBytes = 62",
                        "    Property of type CEVT_BLOB, 0x00010041, size = 2, bytes = 0xADDRESS_",
                        "    Property with wFlags = 256 (0x00020003)", "  CKezCEPacket::RcvFini- 3 Prop Count -",
                        "CKezCEPacket::SetNextBytes- (0 remaining) -"));
        CEPROPVAL* properties = nullptr;
        WORD count = 0;
        packet.GetPropList(&properties, &count);
        EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::GetPropList+", "CKezCEPacket::GetPropList-"));
    }
    EXPECT_THAT(Since(), ElementsAre("CKezCEPacket::~CKezCEPacket", "CKezCEPacket::FreePacketBuffer",
                                     "KEZCEPacket::FreeNewPacketMethod +",
                                     "  KEZCEPacket::FreeNewPacketMethod() - Freeing new packet method memory",
                                     "  Freeing props (3 count)", "KEZCEPacket::FreeNewPacketMethod -",
                                     "CKezCEPacket::ListClean+", "CKezCEPacket::ListClean-"));
}

TEST_F(PacketTrace, FirstChunkOverAnEarlierPacket) {
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropFini();
    Since();
    packet.SetNextBytes(FromHex("0A000000").data(), 4);
    EXPECT_THAT(Since(),
                ElementsAre("CKezCEPacket::SetNextBytes +", "  CKezCEPacket::SetNextBytes Allocate Memory",
                            "  CKezCEPacket::SetNextBytes Freeing previous packet",
                            "  KEZCEPacket::FreeNewPacketMethod +", "  KEZCEPacket::FreeNewPacketMethod -",
                            "  CKezCEPacket::SetNextBytes Allocated 10 bytes for packet",
                            "  CKezCEPacket::SetNextBytes Do Memcpy", "CKezCEPacket::SetNextBytes- (6 remaining) -"));
}

TEST_F(PacketTrace, MemoryThatRunsOut) {
    CKezCEPacket packet;
    packet.PropStart(1);
    Since();
    kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(packet.PropFini(), -1);
    kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(packet.SetNextBytes(FromHex("0A000000").data(), 4), -1);
    EXPECT_THAT(
        Since(),
        ElementsAre("CKezCEPacket::PropFini +", "  CKeeCEPacket::PropFini() - m_dwPropLen = 110, m_PacketBytes = 0",
                    "CKezCEPacket::PropFini-OUT_OF_MEMORY-", "CKezCEPacket::SetNextBytes +",
                    "  CKezCEPacket::SetNextBytes Allocate Memory", "CKezCEPacket::Set-OUT_OF_MEMORY-"));
}

TEST_F(PacketTrace, FingerprintShowsItsValue) {
    CKezCEPacket packet;
    packet.PropStart(9);
    const LONG one = 1;
    packet.PropAddValue(0x00010003, &one);
    packet.PropFini();
    Since();
    packet.GetCRC32(TRUE);
    EXPECT_THAT(Since(), ElementsAre("KEZCePacket::GetCRC32::oid=9, len=26, NewCRC=0xd59f9a0a, AltCRC=0x00000000"));
}

TEST_F(PacketTrace, EachLineHasItsLevel) {
    const auto everything = [] {
        const Bytes bytes = {1, 2, 3};
        const CEPROPVAL blob = Blob(0x00010041, bytes);
        const CEPROPVAL none = Property(0);
        CKezCEPacket packet;
        packet.PropStart(9);
        packet.ListAdd(&blob);
        packet.ListAdd(&none);
        packet.PropAddString(0x0001001F, TEXT("x"), 1);
        packet.PropDelete(0x0001001F);
        packet.PropDelete(0x0001001F);
        packet.PropFini();
        packet.GetCRC32(TRUE);
        BYTE* data = nullptr;
        DWORD count = 0;
        packet.GetNextBytes(&data, &count, 1000);
        CEPROPVAL* properties = nullptr;
        WORD found = 0;
        packet.GetPropList(&properties, &found);
        packet.PropStart(0);
        packet.PropFini();
        const Bytes record = FromHex(
            "3C000000 05000000 0300"
            "41000100 0200 0000 02000000DEADBEEF"
            "03000200 0400 0001 0700000000000000"
            "1F000300 0600 0000 DEADBEEF00000000"
            "0102");
        packet.SetNextBytes(record.data(), 20);
        packet.SetNextBytes(record.data() + 20, 40);
        kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
        packet.PropFini();
        packet.PropStart(0);
        kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
        packet.SetNextBytes(record.data(), 20);
    };
    EXPECT_EQ(DifferenceFrom(KEZ_TEST_DATA "/packet/levels.txt", LevelsOfLines(m_device, {}, everything)), "");
}

}  // namespace
