// Each allocation in turn fails: nothing leaks, nothing breaks, and the results are the stated ones.
#include <gmock/gmock.h>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/support/failing_new.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/traced_lines.h"

namespace {

using namespace kez::tests;
using testing::Contains;

const Bytes kPicture = {1, 2, 3};

std::vector<CEPROPVAL> Properties() {
    return {Number(0x00010003, 1), Text(0x0002001F, u"Ab"), Blob(0x00030041, kPicture), Blob(0x00040041, Bytes())};
}

Bytes Packed() {
    CKezCEPacket packet;
    packet.PropStart(1);
    const auto properties = Properties();
    packet.PropAdd(properties.data(), static_cast<DWORD>(properties.size()));
    packet.PropFini();
    return BytesOf(packet);
}

struct FailingMemory : testing::Test {
    FailingMemory() { dbglogSetLevel(1); }
    ~FailingMemory() override { FailNothrowNew(0); }

    TestDevice m_device;
    FreshTraceLog m_log{m_device};
};

TEST_F(FailingMemory, PropertyThatFindsNoMemoryIsLeftOut) {
    LiveCountsCheck counts;
    const auto properties = Properties();
    const DWORD bytes[] = {16, 16 + 6, 16 + 3, 16};
    for (std::uint32_t nth = 1; nth <= properties.size(); ++nth) {
        CKezCEPacket packet;
        packet.PropStart(1);
        FailNothrowNew(nth);
        const DWORD length = packet.PropAdd(properties.data(), static_cast<DWORD>(properties.size()));
        FailNothrowNew(0);
        EXPECT_EQ(length, 10u + 64 + 9 - bytes[nth - 1]);
        EXPECT_EQ(packet.GetPropCount(), properties.size() - 1);
        EXPECT_EQ(packet.PropFini(), static_cast<INT>(length) + 100);
        EXPECT_EQ(Listed(packet).size(), properties.size() - 1);
        char line[80];
        std::snprintf(line, sizeof line, "CKezCEPacket::ListAdd: ERR: out of memory, propid=0x%08x",
                      properties[nth - 1].propid);
        EXPECT_THAT(m_log.Lines(), Contains(line));
    }
}

TEST_F(FailingMemory, AddersReportAPropertyThatFindsNoMemory) {
    CKezCEPacket packet;
    packet.PropStart(1);
    FailNothrowNew(1);
    EXPECT_EQ(packet.PropAddString(0x0002001F, TEXT("Ab"), 1), -1);
    FailNothrowNew(1);
    EXPECT_EQ(packet.PropAddDate(0x00020040, 40000), -1);
}

TEST_F(FailingMemory, LayoutThatFindsNoMemoryReportsItAndCanBeTriedAgain) {
    LiveCountsCheck counts;
    for (std::uint32_t nth : {1u, 2u}) {
        CKezCEPacket packet;
        packet.PropStart(1);
        const auto properties = Properties();
        packet.PropAdd(properties.data(), static_cast<DWORD>(properties.size()));
        kez::control::PlanFault({"LocalAlloc", nth, 1, ERROR_NOT_ENOUGH_MEMORY});
        EXPECT_EQ(packet.PropFini(), -1);
        EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
        EXPECT_EQ(packet.GetPacketBytes(), 0);
        EXPECT_EQ(Listed(packet).size(), 0u);
        EXPECT_EQ(packet.GetCRC32(FALSE), 0u);
        EXPECT_EQ(m_log.Lines().back(), "CKezCEPacket::PropFini-OUT_OF_MEMORY-");
        EXPECT_GT(packet.PropFini(), 0);
        EXPECT_EQ(Listed(packet).size(), properties.size());
    }
}

TEST_F(FailingMemory, SecondLayoutThatFindsNoMemoryHasNothingToSend) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropFini();
    BYTE* data = nullptr;
    DWORD bytes = 0;
    packet.GetNextBytes(&data, &bytes, 20);
    kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(packet.PropFini(), -1);
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 20), 0u);
    EXPECT_EQ(bytes, 0u);
}

TEST_F(FailingMemory, PacketThatFindsNoBufferIsRefusedToItsEnd) {
    LiveCountsCheck counts;
    const Bytes bytes = Packed();
    CKezCEPacket packet;
    kez::control::PlanFault({"LocalAlloc", 1, 1, ERROR_NOT_ENOUGH_MEMORY});
    EXPECT_EQ(packet.SetNextBytes(bytes.data(), 50), -1);
    EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
    EXPECT_EQ(m_log.Lines().back(), "CKezCEPacket::Set-OUT_OF_MEMORY-");
    EXPECT_EQ(packet.SetNextBytes(bytes.data() + 50, static_cast<INT>(bytes.size()) - 50), -1);
    EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
}

TEST_F(FailingMemory, PacketWhoseArrayOrValuesFindNoMemoryIsRefused) {
    LiveCountsCheck counts;
    const Bytes bytes = Packed();
    const auto expectRefused = [this](CKezCEPacket& packet, INT result) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
        EXPECT_EQ(Listed(packet).size(), 0u);
        const auto lines = m_log.Lines();
        ASSERT_GE(lines.size(), 2u);
        EXPECT_EQ(lines[lines.size() - 2], "CKezCEPacket::RcvFini-OUT_OF_MEMORY-");
        EXPECT_EQ(lines[lines.size() - 1], "CKezCEPacket::SetNextBytes ERR: packet refused -");
    };
    {
        CKezCEPacket packet;
        kez::control::PlanFault({"LocalAlloc", 2, 1, ERROR_NOT_ENOUGH_MEMORY});
        expectRefused(packet, Receive(packet, bytes));
    }
    std::uint32_t values = 0;
    for (std::uint32_t nth = 1;; ++nth) {
        CKezCEPacket packet;
        FailNothrowNew(nth);
        const INT result = Receive(packet, bytes);
        values = NothrowNewCount();
        FailNothrowNew(0);
        if (values < nth) {
            EXPECT_EQ(result, 0);
            break;
        }
        expectRefused(packet, result);
    }
    EXPECT_EQ(values, 3u);  // a text and two blobs
}

}  // namespace
