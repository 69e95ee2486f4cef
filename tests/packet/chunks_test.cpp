// Handing out and taking in chunks, and what comes out of a received packet.
#include <gmock/gmock.h>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/support/live_counts_check.h"

namespace {

using namespace kez::tests;
using testing::ElementsAre;

// A text, a blob, a number, an absent text, and a text behind it.
const char* const kReceived =
    "A9000000 21430000 0500"
    "1F000100 0600 0000 DEADBEEF11111111"
    "41000200 0300 0000 03000000DEADBEEF"
    "03000300 0400 0000 2A000000CCCCCCCC"
    "1F000400 0600 0001 DEADBEEF11111111"
    "1F000500 0400 0000 DEADBEEF11111111"
    "410062000000 0102FF 7A000000";

Bytes Sample() {
    Bytes bytes = FromHex(kReceived);
    bytes.resize(0xA9);
    return bytes;
}

TEST(PacketChunks, OneCallHandsOutAWholePacketThatFits) {
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.PropFini();
    BYTE* data = nullptr;
    DWORD bytes = 0;
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 110), 0u);
    EXPECT_EQ(bytes, 110u);
    EXPECT_EQ(data, packet.GetPacketBuffer());
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 110), 0u);
    EXPECT_EQ(bytes, 0u);
}

TEST(PacketChunks, SmallerChunksAreThatLongAndTheLastIsTheRest) {
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.PropFini();
    BYTE* data = nullptr;
    DWORD bytes = 0;
    DWORD at = 0;
    for (DWORD remaining : {70u, 30u, 0u}) {
        EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 40), remaining);
        EXPECT_EQ(bytes, remaining == 0 ? 30u : 40u);
        EXPECT_EQ(data, packet.GetPacketBuffer() + at);
        at += bytes;
        EXPECT_EQ(packet.m_dwAck, at);
    }
}

TEST(PacketChunks, RecommendationOfNothingOrLessHandsOutNothing) {
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.PropFini();
    BYTE* data = nullptr;
    DWORD bytes = 1;
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 0), 110u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, -5), 110u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(packet.m_dwAck, 0u);
}

TEST(PacketChunks, PacketWithoutBytesHandsOutNothing) {
    CKezCEPacket packet;
    BYTE byte = 0;
    BYTE* data = &byte;
    DWORD bytes = 1;
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 40), 0u);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(data, nullptr);
}

TEST(PacketChunks, ReceivedPacketIsParsed) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, Sample()), 0);
    EXPECT_EQ(packet.GetPacketBytes(), 0xA9);
    EXPECT_EQ(packet.m_dwOid, 0x4321u);
    EXPECT_EQ(packet.GetPropCount(), 5);
    EXPECT_EQ(packet.m_pRcvPacket, packet.m_pPacket);
    EXPECT_EQ(packet.m_pData, packet.m_pPacket + 90);
    EXPECT_THAT(Listed(packet),
                ElementsAre("0001001F len=6 \"Ab\"", "00020041 len=3 #0102FF", "00030003 len=4 =0000002A",
                            "0004001F len=6 flags=100", "0005001F len=4 \"z\""));
    EXPECT_EQ(packet.m_vProps[3].val.lpwstr, nullptr);
    EXPECT_EQ(packet.m_vProps[2].val.filetime.dwHighDateTime, 0xCCCCCCCCu);
}

TEST(PacketChunks, ChunksOfEverySizeGiveTheSameList) {
    LiveCountsCheck counts;
    const Bytes sample = Sample();
    CKezCEPacket whole;
    Receive(whole, sample);
    for (std::size_t size = 4; size <= sample.size(); ++size) {
        CKezCEPacket packet;
        for (std::size_t at = 0; at < sample.size(); at += size) {
            const std::size_t chunk = std::min(size, sample.size() - at);
            EXPECT_EQ(packet.SetNextBytes(sample.data() + at, static_cast<INT>(chunk)),
                      static_cast<INT>(sample.size() - at - chunk));
        }
        EXPECT_EQ(Listed(packet), Listed(whole)) << "chunks of " << size;
    }
}

TEST(PacketChunks, FirstChunkOfFourBytesAndThenSingleBytesAreEnough) {
    const Bytes sample = Sample();
    CKezCEPacket packet;
    EXPECT_EQ(packet.SetNextBytes(sample.data(), 4), 0xA9 - 4);
    EXPECT_EQ(packet.SetNextBytes(nullptr, 0), 0xA9 - 4);
    for (std::size_t at = 4; at < sample.size(); ++at) {
        EXPECT_EQ(packet.SetNextBytes(sample.data() + at, 1), static_cast<INT>(sample.size() - at - 1));
    }
    EXPECT_EQ(Listed(packet).size(), 5u);
}

TEST(PacketChunks, WhatWasSentComesBack) {
    LiveCountsCheck counts;
    const Bytes bytes = {9, 8, 7};
    CKezCEPacket sent;
    sent.PropStart(77);
    const CEPROPVAL all[] = {Blob(0x00020041, bytes), Text(0x0001001F, u"Ab\u4E2D"), Number(0x00030003, 5)};
    sent.PropAdd(all, 3);
    sent.PropFini();
    CKezCEPacket received;
    BYTE* data = nullptr;
    DWORD count = 0;
    DWORD remaining = 0;
    do {
        remaining = sent.GetNextBytes(&data, &count, 7);
        EXPECT_EQ(received.SetNextBytes(data, static_cast<INT>(count)), static_cast<INT>(remaining));
    } while (remaining > 0);
    EXPECT_EQ(Listed(received), Listed(sent));
    EXPECT_EQ(received.m_dwOid, 77u);
}

TEST(PacketChunks, BlobOfNothingIsReceivedAsAnEmptyValue) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("1A000000 00000000 0100 41000100 0000 0000 00000000DEADBEEF")), 0);
    EXPECT_EQ(packet.m_vProps[0].val.blob.dwCount, 0u);
    EXPECT_NE(packet.m_vProps[0].val.blob.lpb, nullptr);
}

TEST(PacketChunks, TextWithoutBytesIsReceivedAsAnEmptyText) {
    for (const char* length : {"0000", "0100"}) {
        CKezCEPacket packet;
        EXPECT_EQ(
            Receive(packet, FromHex(std::string("1A000000 00000000 0100 1F000100") + length + "0000 DEADBEEF00000000")),
            0);
        ASSERT_NE(packet.m_vProps[0].val.lpwstr, nullptr);
        EXPECT_EQ(packet.m_vProps[0].val.lpwstr[0], 0);
    }
}

TEST(PacketChunks, OddTextLengthIsRoundedDownAndTheTextIsEnded) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("30000000 00000000 0200"
                                      "1F000100 0500 0000 DEADBEEF00000000"
                                      "1F000200 0200 0000 DEADBEEF00000000"
                                      "41004200 4300")),
              0);
    EXPECT_THAT(Listed(packet), ElementsAre("0001001F len=5 \"A\"", "0002001F len=2 \"\""));
}

TEST(PacketChunks, TextWithoutAnEndLosesItsLastCharacter) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("1E000000 00000000 0100 1F000100 0400 0000 DEADBEEF00000000 41004200")), 0);
    EXPECT_THAT(Listed(packet), ElementsAre("0001001F len=4 \"A\""));
}

TEST(PacketChunks, EntryWithFlagsDoesNotMoveTheDataAndHasNoAddress) {
    CKezCEPacket packet;
    EXPECT_EQ(Receive(packet, FromHex("3E000000 00000000 0300"
                                      "41000100 0300 0002 03000000DEADBEEF"
                                      "1F000200 0600 0001 DEADBEEF00000000"
                                      "1F000300 0400 0000 DEADBEEF00000000"
                                      "5A000000")),
              0);
    EXPECT_EQ(packet.m_vProps[0].val.blob.dwCount, 0u);
    EXPECT_EQ(packet.m_vProps[0].val.blob.lpb, nullptr);
    EXPECT_EQ(packet.m_vProps[1].val.lpwstr, nullptr);
    EXPECT_THAT(Listed(packet),
                ElementsAre("00010041 len=3 flags=200", "0002001F len=6 flags=100", "0003001F len=4 \"Z\""));
}

TEST(PacketChunks, PacketCanBeParsedAgain) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    Receive(packet, Sample());
    const auto list = Listed(packet);
    EXPECT_EQ(packet.RcvFini(), 0xA9);
    EXPECT_EQ(Listed(packet), list);
}

TEST(PacketChunks, ParsingWithoutAReceivedPacketDoesNothing) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.RcvFini(), 0);
    packet.PropStart(0);
    packet.PropFini();
    EXPECT_EQ(packet.RcvFini(), 0);
}

TEST(PacketChunks, ReceivedPacketCanBeStartedAgain) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    Receive(packet, Sample());
    packet.PropStart(1);
    packet.PropAddString(0x0001001F, TEXT("new"), 1);
    EXPECT_EQ(packet.PropFini(), 134);
    EXPECT_THAT(Listed(packet), ElementsAre("0001001F len=8 \"new\""));
    packet.PropStart(2);
    EXPECT_EQ(Receive(packet, Sample()), 0);
    EXPECT_EQ(Listed(packet).size(), 5u);
}

TEST(PacketChunks, FirstChunkReplacesAPacketThatWasBuilt) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropFini();
    EXPECT_EQ(Receive(packet, Sample()), 0);
    EXPECT_EQ(Listed(packet).size(), 5u);
}

}  // namespace
