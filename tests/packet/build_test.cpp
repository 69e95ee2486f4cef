// Building packets, compared with bytes that were put together by hand from the format's tables.
#include <gmock/gmock.h>

#include "packet/record_packet.h"
#include "tests/packet/packet_text.h"
#include "tests/support/live_counts_check.h"

namespace {

using namespace kez::tests;
using testing::ElementsAre;

TEST(RecordPacket, EmptyPacketIsAHeaderAndSlack) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    EXPECT_EQ(packet.PropStart(0), 10u);
    EXPECT_EQ(packet.PropFini(), 110);
    ExpectPacket(packet, std::string("6E000000 00000000 0000") + kSlack);
    EXPECT_EQ(packet.GetCRC32(FALSE), 0u);
    EXPECT_EQ(packet.GetPropCount(), 0);
}

TEST(RecordPacket, EveryTypeHasItsEntry) {
    LiveCountsCheck counts;
    const Bytes picture = {0xFF, 0xD8, 0x00};
    CEPROPVAL i2 = Property(0x00010002);
    i2.val.iVal = -2;
    CEPROPVAL real = Property(0x00050005);
    real.val.dblVal = 1.5;
    CEPROPVAL time = Property(0x00070040);
    time.val.filetime = {0x69BABA30, 0x01C679BE};
    CEPROPVAL other = Property(0x000A0064);
    other.val.filetime = {0x04030201, 0x08070605};

    CKezCEPacket packet;
    packet.PropStart(0x12345678);
    const CEPROPVAL all[] = {i2,
                             Number(0x00020012, 0xABCD),
                             Number(0x00030003, 0x80000001),
                             Number(0x00040013, 7),
                             real,
                             Number(0x0006000B, 1),
                             time,
                             Text(0x0008001F, u"Ab"),
                             Blob(0x00090041, picture),
                             other};
    EXPECT_EQ(packet.PropAdd(all, 10), 10u + 160 + 6 + 3);
    EXPECT_EQ(packet.PropFini(), 279);
    ExpectPacket(packet, std::string("17010000 78563412 0A00"
                                     "02000100 0200 0000 FEFF000000000000"
                                     "12000200 0200 0000 CDAB000000000000"
                                     "03000300 0400 0000 0100008000000000"
                                     "13000400 0400 0000 0700000000000000"
                                     "05000500 0800 0000 000000000000F83F"
                                     "0B000600 0400 0000 0100000000000000"
                                     "40000700 0800 0000 30BABA69BE79C601"
                                     "1F000800 0600 0000 ????????00000000"
                                     "41000900 0300 0000 03000000????????"
                                     "64000A00 0000 0000 0102030405060708"
                                     "410062000000"
                                     "FFD800") +
                             kSlack);
}

TEST(RecordPacket, ExampleOfTheFormatPageIsWhatIsLaidOut) {
    const Bytes bytes = {0xFF, 0xD8};
    const CEPROPVAL all[] = {Number(0x00010003, 1), Text(0x0002001F, u"Ab"), Blob(0x00030041, bytes)};
    CKezCEPacket packet;
    packet.PropStart(17);
    packet.PropAdd(all, 3);
    EXPECT_EQ(packet.PropFini(), 166);
    ExpectPacket(packet, std::string("A6000000 11000000 0300"
                                     "03000100 0400 0000 0100000000000000"
                                     "1F000200 0600 0000 ????????00000000"
                                     "41000300 0200 0000 02000000????????"
                                     "410062000000 FFD8") +
                             kSlack);
}

TEST(RecordPacket, PropertiesLieInAscendingUnsignedOrder) {
    CKezCEPacket packet;
    packet.PropStart(1);
    for (CEPROPID propid : {0xAFF10012u, 0x00010003u, 0x420D0040u, 0xFFFF0003u, 0x7FFF0003u, 0x80000003u}) {
        const CEPROPVAL property = Number(propid, 0);
        EXPECT_TRUE(packet.ListAdd(&property));
    }
    packet.PropFini();
    EXPECT_THAT(Listed(packet),
                ElementsAre("00010003 len=4 =00000000", "420D0040 len=8 =0000000000000000", "7FFF0003 len=4 =00000000",
                            "80000003 len=4 =00000000", "AFF10012 len=2 =0000", "FFFF0003 len=4 =00000000"));
}

TEST(RecordPacket, EqualIdentifiersKeepTheirOrderAndTheFirstIsDeletedFirst) {
    CKezCEPacket packet;
    packet.PropStart(1);
    for (DWORD value : {11u, 22u, 33u}) {
        const CEPROPVAL before = Number(0x00010003, value);
        const CEPROPVAL after = Number(0x00020003, value);
        packet.ListAdd(&after);
        packet.ListAdd(&before);
    }
    EXPECT_TRUE(packet.PropDelete(0x00010003));
    packet.PropFini();
    EXPECT_THAT(Listed(packet),
                ElementsAre("00010003 len=4 =00000016", "00010003 len=4 =00000021", "00020003 len=4 =0000000B",
                            "00020003 len=4 =00000016", "00020003 len=4 =00000021"));
}

TEST(RecordPacket, FirstMiddleAndLastCanBeDeletedAndOthersAddedBehind) {
    CKezCEPacket packet;
    packet.PropStart(1);
    for (DWORD id = 1; id <= 5; ++id) {
        const CEPROPVAL property = Number(id << 16 | 3, id);
        packet.ListAdd(&property);
    }
    EXPECT_TRUE(packet.PropDelete(0x00050003));
    EXPECT_TRUE(packet.PropDelete(0x00030003));
    EXPECT_TRUE(packet.PropDelete(0x00010003));
    EXPECT_FALSE(packet.PropDelete(0x00030003));
    const CEPROPVAL last = Number(0x00060003, 6);
    const CEPROPVAL first = Number(0x00010003, 1);
    packet.ListAdd(&last);
    packet.ListAdd(&first);
    packet.PropFini();
    EXPECT_THAT(Listed(packet), ElementsAre("00010003 len=4 =00000001", "00020003 len=4 =00000002",
                                            "00040003 len=4 =00000004", "00060003 len=4 =00000006"));
}

TEST(RecordPacket, DeletingTheOnlyPropertyLeavesAListThatCanGrowAgain) {
    CKezCEPacket packet;
    packet.PropStart(1);
    const CEPROPVAL property = Number(0x00010003, 1);
    packet.ListAdd(&property);
    EXPECT_TRUE(packet.PropDelete(0x00010003));
    packet.ListAdd(&property);
    EXPECT_EQ(packet.PropFini(), 126);
    EXPECT_EQ(Listed(packet).size(), 1u);
}

TEST(RecordPacket, DeletedTextLeavesThePacketOverLong) {
    CKezCEPacket packet;
    packet.PropStart(3);
    const CEPROPVAL text = Text(0x0001001F, u"Ab");
    EXPECT_EQ(packet.PropAdd(&text, 1), 10u + 16 + 6);
    packet.PropDelete(0x0001001F);
    EXPECT_EQ(packet.m_dwPropLen, 10u + 3);
    EXPECT_EQ(packet.PropFini(), 113);
    ExpectPacket(packet, std::string("71000000 03000000 0000") + kSlack + "000000");
}

TEST(RecordPacket, DeletedBlobLeavesNothingBehind) {
    CKezCEPacket packet;
    packet.PropStart(3);
    const Bytes bytes(100, 0x5A);
    const CEPROPVAL blob = Blob(0x00010041, bytes);
    EXPECT_EQ(packet.PropAdd(&blob, 1), 126u);
    packet.PropDelete(0x00010041);
    EXPECT_EQ(packet.m_dwPropLen, 10u);
}

TEST(RecordPacket, EntryWithFlagsHasNoValueAndNoData) {
    CKezCEPacket packet;
    packet.PropStart(0);
    const Bytes bytes = {1, 2, 3};
    CEPROPVAL text = Text(0x0001001F, u"gone");
    CEPROPVAL blob = Blob(0x00020041, bytes);
    CEPROPVAL number = Number(0x00030003, 0x11223344);
    text.wFlags = blob.wFlags = CEDB_PROPNOTFOUND;
    number.wFlags = CEDB_PROPDELETE;
    text.wLenData = blob.wLenData = number.wLenData = 77;
    const CEPROPVAL all[] = {text, blob, number, Text(0x0004001F, u"x")};
    EXPECT_EQ(packet.PropAdd(all, 4), 10u + 64 + 4);
    packet.PropFini();
    ExpectPacket(packet, std::string("B2000000 00000000 0400"
                                     "1F000100 0000 0001 0000000000000000"
                                     "41000200 0000 0001 0000000000000000"
                                     "03000300 0000 0002 4433221100000000"
                                     "1F000400 0400 0000 ????????00000000"
                                     "78000000") +
                             kSlack);
    EXPECT_TRUE(packet.PropDelete(0x00020041));
    EXPECT_EQ(packet.m_dwPropLen, 10u + 48 + 4 + 100);
}

TEST(RecordPacket, TextAndBlobWithoutBytesHaveNoData) {
    CKezCEPacket packet;
    packet.PropStart(0);
    const CEPROPVAL all[] = {Property(0x0001001F), Text(0x0002001F, u""), Property(0x00030041)};
    EXPECT_EQ(packet.PropAdd(all, 3), 10u + 48 + 2);
    packet.PropFini();
    ExpectPacket(packet, std::string("A0000000 00000000 0300"
                                     "1F000100 0000 0000 0000000000000000"
                                     "1F000200 0200 0000 ????????00000000"
                                     "41000300 0000 0000 0000000000000000"
                                     "0000") +
                             kSlack);
}

TEST(RecordPacket, BlobWithANegativeCountOrWithoutAddressBringsNoBytes) {
    BYTE byte = 1;
    CEPROPVAL negative = Property(0x00010041);
    negative.val.blob = {0x80000001, &byte};
    CEPROPVAL missing = Property(0x00020041);
    missing.val.blob = {4, nullptr};
    CKezCEPacket packet;
    packet.PropStart(0);
    EXPECT_TRUE(packet.ListAdd(&negative));
    EXPECT_TRUE(packet.ListAdd(&missing));
    EXPECT_EQ(packet.PropFini(), 142);
    EXPECT_THAT(Listed(packet), ElementsAre("00010041 len=1 #", "00020041 len=4 #"));
}

TEST(RecordPacket, LengthFieldKeepsTheLow16BitsOfALongBlob) {
    const Bytes bytes(0x12345, 0x5A);
    const CEPROPVAL blob = Blob(0x00010041, bytes);
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.ListAdd(&blob);
    EXPECT_EQ(packet.PropFini(), 126 + 0x12345);
    CKezCEPacket received;
    EXPECT_EQ(Receive(received, BytesOf(packet)), 0);
    EXPECT_EQ(received.m_vProps[0].wLenData, 0x2345);
    EXPECT_EQ(received.m_vProps[0].val.blob.dwCount, 0x12345u);
    EXPECT_EQ(std::memcmp(received.m_vProps[0].val.blob.lpb, bytes.data(), bytes.size()), 0);
}

TEST(RecordPacket, LongestTextThatItsLengthFieldCanCarryComesBack) {
    const std::u16string longest(32766, u'x');
    const CEPROPVAL text = Text(0x0001001F, longest.c_str());
    CKezCEPacket packet;
    packet.PropStart(0);
    packet.ListAdd(&text);
    packet.PropFini();
    CKezCEPacket received;
    EXPECT_EQ(Receive(received, BytesOf(packet)), 0);
    EXPECT_EQ(received.m_vProps[0].wLenData, 65534);
    EXPECT_EQ(std::u16string(received.m_vProps[0].val.lpwstr), longest);
}

TEST(RecordPacket, RefusedPropertiesAreLeftOut) {
    const Bytes bytes = {1};
    CKezCEPacket packet;
    packet.PropStart(0);
    const CEPROPVAL all[] = {Number(0, 1), Blob(0x00010041, bytes), Number(0x00020003, 2)};
    EXPECT_FALSE(packet.ListAdd(nullptr));
    EXPECT_FALSE(packet.ListAdd(&all[0]));
    packet.SetAllowBlobs(FALSE);
    EXPECT_FALSE(packet.ListAdd(&all[1]));
    EXPECT_EQ(packet.PropAdd(all, 3), 26u);
    packet.SetAllowBlobs(TRUE);
    EXPECT_TRUE(packet.ListAdd(&all[1]));
    EXPECT_EQ(packet.GetPropCount(), 2);
    EXPECT_EQ(packet.PropAdd(nullptr, 3), 43u);
    EXPECT_EQ(packet.PropAdd(all, 0), 43u);
}

TEST(RecordPacket, PropertyThatWouldMakeThePacketTooLongIsRefused) {
    BYTE byte = 1;
    CEPROPVAL huge = Property(0x00010041);
    huge.val.blob = {0x7FFFFFFF, &byte};
    CKezCEPacket packet;
    packet.PropStart(0);
    EXPECT_FALSE(packet.ListAdd(&huge));
    EXPECT_EQ(packet.GetPropCount(), 0);
    EXPECT_EQ(packet.m_dwPropLen, 10u);
}

TEST(RecordPacket, CountStopsWhereItsFieldEnds) {
    CKezCEPacket packet;
    packet.PropStart(0);
    const CEPROPVAL property = Number(0x00010003, 1);
    for (int i = 0; i < 65535; ++i) ASSERT_TRUE(packet.ListAdd(&property));
    EXPECT_FALSE(packet.ListAdd(&property));
    EXPECT_EQ(packet.PropFini(), 110 + 65535 * 16);
    CKezCEPacket received;
    EXPECT_EQ(Receive(received, BytesOf(packet)), 0);
    EXPECT_EQ(received.GetPropCount(), 65535);
}

TEST(RecordPacket, ValueIsReadByItsType) {
    const std::int16_t small = -2;
    const DWORD number = 0x80000001;
    const double real = 1.5;
    CKezCEPacket packet;
    packet.PropStart(0);
    EXPECT_EQ(packet.PropAddValue(0x00010002, &small), 26);
    EXPECT_EQ(packet.PropAddValue(0x00020012, &small), 42);
    EXPECT_EQ(packet.PropAddValue(0x00030003, &number), 58);
    EXPECT_EQ(packet.PropAddValue(0x00040013, &number), 74);
    EXPECT_EQ(packet.PropAddValue(0x0005000B, &number), 90);
    EXPECT_EQ(packet.PropAddValue(0x00060005, &real), 106);
    EXPECT_EQ(packet.PropAddValue(0x00070040, &real), 122);
    EXPECT_EQ(packet.PropAddValue(0x0008001F, TEXT("Ab")), 144);
    EXPECT_EQ(packet.PropAddValue(0x0009001F, nullptr), 160);
    EXPECT_EQ(packet.PropAddValue(0x000A0041, &real), -1);
    EXPECT_EQ(packet.PropAddValue(0x000B0064, &real), -1);
    EXPECT_EQ(packet.PropAddValue(0x000C0003, nullptr), -1);
    EXPECT_EQ(packet.PropAddValue(0, TEXT("Ab")), -1);
    packet.PropFini();
    EXPECT_THAT(Listed(packet),
                ElementsAre("00010002 len=2 =FFFE", "00020012 len=2 =FFFE", "00030003 len=4 =80000001",
                            "00040013 len=4 =80000001", "0005000B len=4 =80000001", "00060005 len=8 =3FF8000000000000",
                            "00070040 len=8 =3FF8000000000000", "0008001F len=6 \"Ab\"", "0009001F len=0 \"none"));
}

TEST(RecordPacket, StringAdderLeavesOutNothingAndTheHyphen) {
    CKezCEPacket packet;
    packet.PropStart(0);
    EXPECT_EQ(packet.PropAddString(0x0001001F, nullptr, 1), -1);
    EXPECT_EQ(packet.PropAddString(0x0001001F, TEXT("-"), 1), -1);
    EXPECT_EQ(packet.GetPropCount(), 0);
    EXPECT_EQ(packet.PropAddString(0x0001001F, TEXT("--"), 1), 32);
    EXPECT_EQ(packet.PropAddString(0x0002001F, TEXT("")), 50);
}

TEST(RecordPacket, StringAdderTakesTheArgumentItselfForAnotherType) {
    CKezCEPacket packet;
    packet.PropStart(0);
    const WCHAR text[] = TEXT("text");
    EXPECT_EQ(packet.PropAddString(0x00010013, text, 1), 26);
    EXPECT_EQ(packet.PropAddString(0x00020041, text, 1), -1);
    packet.PropFini();
    EXPECT_EQ(packet.m_vProps[0].val.ulVal, static_cast<DWORD>(reinterpret_cast<std::uintptr_t>(text)));
}

TEST(RecordPacket, DateIsAddedAsRealOrFileTime) {
    CKezCEPacket packet;
    packet.PropStart(0);
    const double date = 38854.60434027778;  // 2006-05-17 14:30:15
    EXPECT_EQ(packet.PropAddDate(0x00010005, date), 26);
    EXPECT_EQ(packet.PropAddDate(0x00020040, date), 42);
    EXPECT_EQ(packet.PropAddDate(0x00030003, date), -1);
    packet.PropFini();
    EXPECT_EQ(packet.m_vProps[0].val.dblVal, date);
    EXPECT_EQ(packet.m_vProps[1].val.filetime.dwHighDateTime, 0x01C679BEu);
    EXPECT_EQ(packet.m_vProps[1].val.filetime.dwLowDateTime, 0x69BABA30u - 1230000u);
}

TEST(RecordPacket, DateOf1900OrEarlierIsSentAs4501) {
    for (double date : {0.0, 2.0, 366.99998842592589, -657434.0, 1e10}) {
        CKezCEPacket packet;
        packet.PropStart(0);
        packet.PropAddDate(0x00010005, date);
        packet.PropAddDate(0x00020040, date);
        packet.PropFini();
        EXPECT_EQ(packet.m_vProps[0].val.dblVal, 949998.0) << date;
        EXPECT_EQ(packet.m_vProps[1].val.filetime.dwHighDateTime, 0x0CB34557u) << date;
        EXPECT_EQ(packet.m_vProps[1].val.filetime.dwLowDateTime, 0xA3DD4000u) << date;
    }
}

TEST(RecordPacket, NullDateEndsWith1900) {
    EXPECT_TRUE(CKezCEPacket::IsNullDate(366.9));
    EXPECT_FALSE(CKezCEPacket::IsNullDate(366.999995));  // rounds up into 1901
    EXPECT_FALSE(CKezCEPacket::IsNullDate(367));
    DATE date = 0;
    CKezCEPacket::SetNullDate(&date);
    EXPECT_EQ(date, 949998.0);
    EXPECT_FALSE(CKezCEPacket::IsNullDate(date));
}

TEST(RecordPacket, SecondLayoutIs100BytesLongerAndIsSentFromItsStart) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    packet.PropStart(5);
    packet.PropAddString(0x0001001F, TEXT("Ab"), 1);
    EXPECT_EQ(packet.PropFini(), 132);
    BYTE* data = nullptr;
    DWORD bytes = 0;
    packet.GetNextBytes(&data, &bytes, 1000);
    const LONG number = 9;
    packet.PropAddValue(0x00020003, &number);
    EXPECT_EQ(packet.PropFini(), 248);
    ExpectPacket(packet, std::string("F8000000 05000000 0200"
                                     "1F000100 0600 0000 ????????00000000"
                                     "03000200 0400 0000 0900000000000000"
                                     "410062000000") +
                             kSlack + kSlack);
    EXPECT_EQ(packet.GetNextBytes(&data, &bytes, 1000), 0u);
    EXPECT_EQ(bytes, 248u);
    EXPECT_EQ(data, packet.GetPacketBuffer());
}

TEST(RecordPacket, StartedAgainThePacketIsNew) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    packet.PropStart(5);
    packet.PropAddString(0x0001001F, TEXT("Ab"), 1);
    packet.PropFini();
    EXPECT_EQ(packet.PropStart(6), 10u);
    EXPECT_EQ(packet.GetPacketBuffer(), nullptr);
    EXPECT_EQ(packet.m_vProps, nullptr);
    EXPECT_EQ(packet.m_pPropList, nullptr);
    EXPECT_EQ(packet.GetPropCount(), 0);
    EXPECT_EQ(packet.GetPacketBytes(), 0);
    EXPECT_EQ(packet.m_dwAck, 0u);
    EXPECT_EQ(packet.PropFini(), 110);
    ExpectPacket(packet, std::string("6E000000 06000000 0000") + kSlack);
}

TEST(RecordPacket, PropertyAddedAfterTheLayoutIsNotReadFromTheArray) {
    CKezCEPacket packet;
    packet.PropStart(5);
    const LONG number = 9;
    packet.PropAddValue(0x00020003, &number);
    packet.PropFini();
    packet.PropAddValue(0x00030003, &number);
    EXPECT_EQ(Listed(packet).size(), 1u);
    packet.PropDelete(0x00020003);
    packet.PropDelete(0x00030003);
    EXPECT_EQ(Listed(packet).size(), 0u);
}

TEST(RecordPacket, BeforeTheLayoutThereIsNoArray) {
    CKezCEPacket packet;
    packet.PropStart(5);
    packet.PropAddString(0x0001001F, TEXT("Ab"), 1);
    EXPECT_EQ(Listed(packet).size(), 0u);
    EXPECT_EQ(packet.GetCRC32(TRUE), 0u);
    EXPECT_EQ(packet.GetPacketBytes(), 0);
}

TEST(RecordPacket, TextsOfTheArrayLieInsideThePacket) {
    CKezCEPacket packet;
    packet.PropStart(5);
    packet.PropAddString(0x0001001F, TEXT("Ab"), 1);
    packet.PropFini();
    EXPECT_EQ(reinterpret_cast<BYTE*>(packet.m_vProps[0].val.lpwstr), packet.GetPacketBuffer() + 26);
    EXPECT_EQ(packet.m_pData, packet.GetPacketBuffer() + 26);
    if (sizeof(void*) == 4) {
        EXPECT_EQ(reinterpret_cast<BYTE*>(packet.m_vProps), packet.GetPacketBuffer() + 10);
    }
}

TEST(RecordPacket, SpareBlockIsReleased) {
    LiveCountsCheck counts;
    CKezCEPacket packet;
    packet.m_pSpare = LocalAlloc(LPTR, 10);
    packet.FreePacketBuffer();
    EXPECT_EQ(packet.m_pSpare, nullptr);
}

TEST(RecordPacket, NewPacketIsEmptyAndTakesBlobs) {
    CKezCEPacket packet;
    EXPECT_EQ(packet.m_dwAck, 0u);
    EXPECT_EQ(packet.m_dwPropLen, 0u);
    EXPECT_EQ(packet.m_pData, nullptr);
    EXPECT_EQ(packet.m_pPacket, nullptr);
    EXPECT_EQ(packet.m_pRcvPacket, nullptr);
    EXPECT_EQ(packet.m_PacketBytes, 0);
    EXPECT_EQ(packet.m_dwOid, 0u);
    EXPECT_EQ(packet.m_wPropCount, 0);
    EXPECT_EQ(packet.m_vProps, nullptr);
    EXPECT_EQ(packet.m_pPropList, nullptr);
    EXPECT_EQ(packet.m_pSpare, nullptr);
    EXPECT_EQ(packet.m_bAllowBlobs, TRUE);
}

// A caller that knows the table only: slot 0 sets the blobs, slot 1 deletes.
class Overriding : public CKezCEPacket {
 public:
    void SetAllowBlobs(BOOL allow) override { m_allowed = allow; }
    BOOL PropDelete(CEPROPID propid) override {
        m_deleted = propid;
        return 42;
    }
    BOOL m_allowed = -1;
    CEPROPID m_deleted = 0;
};

TEST(RecordPacket, VirtualOperationsStandInTheirSlots) {
    Overriding packet;
    void** table = nullptr;
    std::memcpy(&table, static_cast<CKezCEPacket*>(&packet), sizeof table);
    using SetSlot = void (*)(CKezCEPacket*, BOOL);
    using DeleteSlot = BOOL (*)(CKezCEPacket*, CEPROPID);
    reinterpret_cast<SetSlot>(table[0])(&packet, 7);
    EXPECT_EQ(packet.m_allowed, 7);
    EXPECT_EQ(reinterpret_cast<DeleteSlot>(table[1])(&packet, 0x00010003), 42);
    EXPECT_EQ(packet.m_deleted, 0x00010003u);
}

}  // namespace
