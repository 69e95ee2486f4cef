// What comes from outside and is no packet: each kind is refused with a trace, and nothing of it stays.
#include <gmock/gmock.h>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/traced_lines.h"

namespace {

using namespace kez::tests;
using testing::ElementsAre;

struct RecordPacketRefusal : testing::Test {
    RecordPacketRefusal() {
        // Level 1 shows what level 0 writes.
        dbglogSetLevel(1);
    }
    void ExpectNothingLeft(CKezCEPacket& packet) {
        EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
        EXPECT_EQ(packet.GetPacketBytes(), 0);
        EXPECT_EQ(packet.GetPropCount(), 0);
        EXPECT_EQ(packet.m_vProps, nullptr);
        EXPECT_EQ(packet.m_pRcvPacket, nullptr);
    }

    LiveCountsCheck m_counts;
    TestDevice m_device;
    FreshTraceLog m_log{m_device};
};

TEST_F(RecordPacketRefusal, ChunkShorterThanTheLengthIsRefused) {
    for (INT bytes : {0, 1, 3}) {
        CKezCEPacket packet;
        EXPECT_EQ(packet.SetNextBytes(FromHex("6E0000").data(), bytes), -1);
        ExpectNothingLeft(packet);
    }
    EXPECT_THAT(m_log.Lines(), ElementsAre("CKezCEPacket::SetNextBytes ERR: first chunk of 0 bytes has no length -",
                                           "CKezCEPacket::SetNextBytes ERR: first chunk of 1 bytes has no length -",
                                           "CKezCEPacket::SetNextBytes ERR: first chunk of 3 bytes has no length -"));
}

TEST_F(RecordPacketRefusal, LengthThatNoPacketHasIsRefused) {
    for (const char* length : {"00000000", "09000000", "FFFFFFFF", "00000080", "FFFFFF7F", "01000010"}) {
        CKezCEPacket packet;
        EXPECT_EQ(packet.SetNextBytes(FromHex(length).data(), 4), -1) << length;
        ExpectNothingLeft(packet);
    }
    EXPECT_THAT(m_log.Lines(), ElementsAre("CKezCEPacket::SetNextBytes ERR: no packet has 0 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: no packet has 9 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: no packet has -1 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: no packet has -2147483648 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: no packet has 2147483647 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: no packet has 268435457 bytes -"));
}

TEST_F(RecordPacketRefusal, ShortestPacketIsTakenInAndSoIsTheLongestLength) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("0A000000 07000000 0000")), 0);
    EXPECT_EQ(packet.m_dwOid, 7u);
    CKezCEPacket longest;
    EXPECT_EQ(longest.SetNextBytes(FromHex("00000010").data(), 4), 0x10000000 - 4);
}

TEST_F(RecordPacketRefusal, MoreBytesThanDeclaredAreRefused) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(FromHex("0C000000 00000000 0000 0000 FFFF").data(), 14), -2);
    ExpectNothingLeft(packet);
    EXPECT_THAT(m_log.Lines(), ElementsAre("CKezCEPacket::SetNextBytes ERR: 14 bytes where 12 were expected",
                                           "CKezCEPacket::SetNextBytes- (4294967294 remaining) -"));
}

TEST_F(RecordPacketRefusal, MoreBytesThanDeclaredInALaterChunkAreRefused) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(FromHex("0C000000").data(), 4), 8);
    EXPECT_EQ(packet.SetNextBytes(FromHex("00000000 0000 0000 FF").data(), 9), -1);
    ExpectNothingLeft(packet);
}

TEST_F(RecordPacketRefusal, ChunkAfterTheLastIsRefused) {
    for (INT bytes : {0, 1, 4}) {
        CKezCEPacket packet;
        EXPECT_EQ(Receive(packet, FromHex("0A000000 07000000 0000")), 0);
        EXPECT_EQ(packet.SetNextBytes(FromHex("0A000000").data(), bytes), -bytes);
        ExpectNothingLeft(packet);
        EXPECT_EQ(packet.SetNextBytes(FromHex("0A000000").data(), 4), -1);
    }
}

TEST_F(RecordPacketRefusal, ChunksOfARefusedPacketAreNotTakenForANewOne) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(FromHex("00000000").data(), 4), -1);
    const Bytes good = FromHex("0A000000 07000000 0000");
    EXPECT_EQ(packet.SetNextBytes(good.data(), 10), -1);
    ExpectNothingLeft(packet);
    EXPECT_EQ(m_log.Lines().back(), "CKezCEPacket::SetNextBytes ERR: no packet that this chunk continues -");
    packet.PropStart(0);
    EXPECT_EQ(packet.SetNextBytes(good.data(), 10), 0);
}

TEST_F(RecordPacketRefusal, ChunkInTheMiddleOfSendingIsRefused) {
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.PropFini();
    BYTE* data = nullptr;
    DWORD bytes = 0;
    packet.GetNextBytes(&data, &bytes, 10);
    EXPECT_EQ(packet.SetNextBytes(FromHex("0A000000 07000000 0000").data(), 10), -1);
    ExpectNothingLeft(packet);
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 10), 0u);
    EXPECT_EQ(bytes, 0u);
}

TEST_F(RecordPacketRefusal, ChunkWithoutBytesOrOfANegativeLengthIsRefused) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(nullptr, 10), -1);
    ExpectNothingLeft(packet);
    CKezCEPacket other;
    EXPECT_EQ(other.SetNextBytes(FromHex("0C000000").data(), 4), 8);
    EXPECT_EQ(other.SetNextBytes(FromHex("0C000000").data(), -3), -1);
    ExpectNothingLeft(other);
    EXPECT_EQ(m_log.Lines().front(), "CKezCEPacket::SetNextBytes ERR: no chunk (10 bytes) -");
    EXPECT_EQ(m_log.Lines().back(), "CKezCEPacket::SetNextBytes ERR: no chunk (-3 bytes) -");
}

TEST_F(RecordPacketRefusal, CountThatDoesNotFitTheLengthIsRefused) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("19000000 00000000 0100 03000100040000000700000000 0000")), -1);
    ExpectNothingLeft(packet);
    CKezCEPacket many;
    EXPECT_EQ(Receive(many, FromHex("0A000000 00000000 FFFF")), -1);
    ExpectNothingLeft(many);
    EXPECT_THAT(m_log.Lines(), ElementsAre("CKezCEPacket::RcvFini ERR: 1 properties do not fit into 25 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: packet refused -",
                                           "CKezCEPacket::RcvFini ERR: 65535 properties do not fit into 10 bytes -",
                                           "CKezCEPacket::SetNextBytes ERR: packet refused -"));
}

TEST_F(RecordPacketRefusal, TextThatEndsBeyondThePacketEndsTheList) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("3E000000 00000000 0300"
                                      "03000100 0400 0000 0700000000000000"
                                      "1F000200 0600 0000 DEADBEEF00000000"
                                      "1F000300 0200 0000 DEADBEEF00000000"
                                      "41004200")),
              0);
    EXPECT_THAT(Listed(packet), ElementsAre("00010003 len=4 =00000007"));
    EXPECT_EQ(packet.GetPropCount(), 1);
    EXPECT_EQ(packet.RcvFini(), 0x3E);
    const auto lines = m_log.Lines();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0].rfind("CKezCEPacket::RcvFini::RAN OUT OF BUFFER! pbyte==", 0), 0u) << lines[0];
    EXPECT_EQ(lines[1], "CKezCEPacket::RcvFini- 1 Prop Count -");
    EXPECT_EQ(lines[2], "CKezCEPacket::SetNextBytes- (0 remaining) -");
    EXPECT_EQ(packet.GetCRC32(FALSE), packet.GetCRC32(TRUE));
}

TEST_F(RecordPacketRefusal, BlobThatEndsBeyondThePacketEndsTheList) {
    for (const char* count : {"05000000", "FFFFFFFF", "00000080", "FFFFFF7F"}) {
        CKezCEPacket packet;
        EXPECT_EQ(Receive(packet, FromHex(std::string("1E000000 00000000 0100 41000100 0000 0000") + count +
                                          "DEADBEEF 41004200")),
                  0);
        EXPECT_EQ(packet.GetPropCount(), 0);
        EXPECT_NE(packet.GetPacketBuffer(), nullptr);
    }
}

TEST_F(RecordPacketRefusal, DataThatEndsWithThePacketIsGood) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("1E000000 00000000 0100 41000100 0000 0000 04000000DEADBEEF 41004200")), 0);
    EXPECT_THAT(Listed(packet), ElementsAre("00010041 len=0 #41004200"));
}

TEST_F(RecordPacketRefusal, PropertyAddedToAReceivedPacketDoesNoHarm) {
    CKezCEPacket packet;
    Receive(packet, FromHex("1A000000 00000000 0100 1F000100 0000 0000 0000000000000000"));
    packet.PropAddString(0x0002001F, TEXT("more"), 1);
    EXPECT_EQ(Listed(packet).size(), 1u);
    EXPECT_GT(packet.PropFini(), 36);
    EXPECT_THAT(Listed(packet), ElementsAre("0002001F len=10 \"more\""));
}

}  // namespace
