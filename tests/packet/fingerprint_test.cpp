// The fingerprint: reference values, what it does to the entries, and long values against a plain reference.
#include <gmock/gmock.h>

#include <random>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/packet/reference_fingerprint.h"
#include "tests/support/live_counts_check.h"

namespace {

using namespace kez::tests;
using testing::ElementsAre;

DWORD FingerprintOf(const std::vector<CEPROPVAL>& properties) {
    CKezCEPacket packet;
    packet.PropStart(1);
    packet.PropAdd(properties.data(), static_cast<DWORD>(properties.size()));
    packet.PropFini();
    return packet.GetCRC32(TRUE);
}

TEST(Fingerprint, ReferenceStepGivesItsKnownValue) { EXPECT_EQ(ReferenceChecksum(0, "123456789"), 0x1ED504FAu); }

TEST(Fingerprint, NumberAndTextGiveTheirKnownValues) {
    EXPECT_EQ(FingerprintOf({Number(0x00010003, 1)}), 0xD59F9A0Au);
    EXPECT_EQ(FingerprintOf({Text(0x0001001F, u"Ab")}), 0x45D57858u);
}

TEST(Fingerprint, BlobIsTakenAsItsBytes) {
    const Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    const DWORD identifier = ReferenceChecksum(0, "10041");
    EXPECT_EQ(FingerprintOf({Blob(0x00010041, digits)}), identifier + ReferenceChecksum(identifier, "123456789"));
}

TEST(Fingerprint, BlobOfNothingDoublesTheValue) {
    const DWORD identifier = ReferenceChecksum(0, "10041");
    EXPECT_EQ(FingerprintOf({Blob(0x00010041, {})}), identifier * 2);
}

TEST(Fingerprint, EachTypeIsTakenAsItsText) {
    CEPROPVAL i2 = Property(0x00010002);
    i2.val.iVal = -2;
    CEPROPVAL real = Property(0x00020005);
    real.val.dblVal = 38854.5;
    CEPROPVAL time = Property(0x00030040);
    time.val.filetime = {0x69BABA30, 0x01C679BE};
    DWORD value = 0;
    for (const char* piece : {"10002", "0x0000fffe", "20005", "38854.500000", "30040", "1c679be.69baba30", "40012",
                              "TRUE", "5000b", "FALSE", "60013", "0x00000002", "70064", "af08001f"}) {
        value += ReferenceChecksum(value, piece);
    }
    EXPECT_EQ(FingerprintOf({i2, real, time, Number(0x00040012, 1), Number(0x0005000B, 0), Number(0x00060013, 2),
                             Number(0x00070064, 99), Text(0xAF08001F, u"")}),
              value);
}

TEST(Fingerprint, RealNumbersRoundAwayFromZeroAndTheLongestFits) {
    CEPROPVAL tie = Property(0x00010005);
    tie.val.dblVal = 38854.0078125;
    const DWORD identifier = ReferenceChecksum(0, "10005");
    EXPECT_EQ(FingerprintOf({tie}), identifier + ReferenceChecksum(identifier, "38854.007813"));
    tie.val.dblVal = -1.7976931348623157e308;
    EXPECT_EQ(FingerprintOf({tie}), ReferenceFingerprint(&tie, 1));
}

TEST(Fingerprint, FlagsAreNotAskedFor) {
    CEPROPVAL absent = Number(0x00010003, 1);
    absent.wFlags = CEDB_PROPNOTFOUND;
    EXPECT_EQ(FingerprintOf({absent}), 0xD59F9A0Au);
}

TEST(Fingerprint, LongBlobsOfEveryLengthAgreeWithTheReference) {
    std::mt19937 random(2026);
    Bytes bytes(2000);
    for (BYTE& byte : bytes) byte = static_cast<BYTE>(random());
    for (std::size_t length = 0; length <= bytes.size(); length += length < 800 ? 1 : 97) {
        const Bytes part(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
        const CEPROPVAL blob = Blob(0x00010041, part);
        ASSERT_EQ(FingerprintOf({blob}), ReferenceFingerprint(&blob, 1)) << length << " bytes";
    }
}

TEST(Fingerprint, PictureOfAMegabyteAgreesWithTheReference) {
    std::mt19937 random(4501);
    Bytes bytes(1 << 20);
    for (BYTE& byte : bytes) byte = static_cast<BYTE>(random());
    const CEPROPVAL blob = Blob(0x00010041, bytes);
    EXPECT_EQ(FingerprintOf({blob}), ReferenceFingerprint(&blob, 1));
}

const std::string kBuilt = std::string(
                               "A2000000 01000000 0200"
                               "03000100 0400 0000 0700000000000000"
                               "1F000200 0600 0000 ????????00000000"
                               "410062000000") +
                           std::string(kSlack);
const std::string kTouched = std::string(
                                 "A2000000 01000000 0200"
                                 "03000100 0000 0000 0700000000000000"
                                 "1F000200 0000 0000 ????????00000000"
                                 "410062000000") +
                             std::string(kSlack);

void Build(CKezCEPacket& packet) {
    packet.PropStart(1);
    const CEPROPVAL all[] = {Number(0x00010003, 7), Text(0x0002001F, u"Ab")};
    packet.PropAdd(all, 2);
    packet.PropFini();
}

std::string Length(const std::string& hex) { return "94" + hex.substr(2); }

TEST(Fingerprint, LeavesAKeptPacketAsItWas) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    Build(packet);
    packet.GetCRC32(TRUE);
    ExpectPacket(packet, Length(kBuilt));
    EXPECT_THAT(Listed(packet), ElementsAre("00010003 len=4 =00000007", "0002001F len=6 \"Ab\""));
}

TEST(Fingerprint, ClearsLengthsAndFlagsInTheBytesOfAPacketThatIsNotKept) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    Build(packet);
    const DWORD value = packet.GetCRC32(FALSE);
    ExpectPacket(packet, Length(kTouched));
    EXPECT_THAT(Listed(packet), ElementsAre("00010003 len=0 =00000007", "0002001F len=0 \"Ab\""));
    EXPECT_EQ(packet.GetCRC32(TRUE), value);
    ExpectPacket(packet, Length(kTouched));
}

TEST(Fingerprint, ChangesTheArrayOfAReceivedPacketAndNotItsBytes) {
    LiveCountsCheck counts;
    for (BOOL keep : {TRUE, FALSE}) {
        CKezCEPacket sent;
        Build(sent);
        const Bytes bytes = BytesOf(sent);
        CKezCEPacket received;
        Receive(received, bytes);
        EXPECT_EQ(received.GetCRC32(keep), sent.GetCRC32(TRUE));
        EXPECT_EQ(BytesOf(received), bytes);
        EXPECT_THAT(Listed(received), ElementsAre("00010003 len=0 =00000007", "0002001F len=0 \"Ab\""));
    }
}

TEST(Fingerprint, TextAtAnOddAddressIsRead) {
    const Bytes odd = {1, 2, 3};
    const std::vector<CEPROPVAL> properties = {Blob(0x00010041, odd), Text(0x0002001F, u"Ab")};
    EXPECT_EQ(FingerprintOf(properties), ReferenceFingerprint(properties.data(), 2));
}

TEST(Fingerprint, AbsentPropertiesOfAReceivedPacketHaveNoBytesToRead) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    Receive(packet, FromHex("2A000000 00000000 0200"
                            "41000100 0300 0001 03000000DEADBEEF"
                            "1F000200 0600 0001 DEADBEEF00000000"));
    DWORD value = ReferenceChecksum(0, "10041") * 2;
    value += ReferenceChecksum(value, "2001f");
    EXPECT_EQ(packet.GetCRC32(FALSE), value);
}

}  // namespace
