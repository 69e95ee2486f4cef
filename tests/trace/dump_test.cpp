// The dumps, line by line.
#include <cesync.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "packet/record_packet.h"
#include "tests/support/failing_new.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"
#include "tests/support/traced_lines.h"
#include "trace/dump.h"
#include "trace/trace_log.h"

namespace {

using kez::tests::FreshTraceLog;
using kez::tests::LiveCountsCheck;
using kez::tests::TestDevice;
using testing::ElementsAre;
using testing::IsEmpty;

void* Address(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

struct Dump : testing::Test {
    Dump() { dbglogSetLevel(50); }

    TestDevice m_device;
    FreshTraceLog m_log{m_device};
};

TEST_F(Dump, SetupIsWrittenFieldByField) {
    REPLSETUP setup = {};
    setup.cbStruct = 236;
    setup.fRead = TRUE;
    setup.hr = -3;
    wcscpy(setup.szObjType, TEXT("KEZContact"));
    setup.pNotify = static_cast<IReplNotify*>(Address(0x1234));
    setup.oid = 17;
    setup.oidNew = 18;
    EXPECT_EQ(dbglogREPLSETUP(50, "L", &setup), 0);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("L->cbStruct=236", "L->fRead=1", "L->hr=-3", "L->szObjType=K", "L->pNotify=4660",
                            "L->oid=17", "L->oidNew=18", "L->cbVolumeID=0", "L->dwFlags=NONE"));
}

TEST_F(Dump, SetupNamesEveryFlagInBitOrder) {
    REPLSETUP setup = {};
    setup.dwFlags = 0x1FF;
    dbglogREPLSETUP(50, "L", &setup);
    EXPECT_EQ(m_log.Lines().back(),
              "L->dwFlags=RSF_CONFLICT_OBJECT,RSF_NEW_OBJECT,RSF_DUPLICATED_OBJECT,RSF_COMBINE,RSF_SYNC_DEVICE_ONLY,"
              "RSF_SYNC_DESKTOP_ONLY,RSF_UPDATED_HANDLE,RSF_DISCARDED_OBJ,RSF_NEW_VOLUME,");
    setup.dwFlags = RSF_NEW_OBJECT | RSF_NEW_VOLUME;
    dbglogREPLSETUP(50, "L", &setup);
    EXPECT_EQ(m_log.Lines().back(), "L->dwFlags=RSF_NEW_OBJECT,RSF_NEW_VOLUME,");
    setup.dwFlags = RSF_AUTO_COMBINE;
    dbglogREPLSETUP(50, "L", &setup);
    EXPECT_EQ(m_log.Lines().back(), "L->dwFlags=");
}

TEST_F(Dump, VolumeIdentifierIsShownWhereThereIsOneAndEndsWithItsBytes) {
    BYTE volume[] = {'v', 'o', 'l', '9', 'X'};
    REPLSETUP setup = {};
    setup.lpbVolumeID = volume;
    setup.cbVolumeID = 4;
    dbglogREPLSETUP(50, "L", &setup);
    EXPECT_THAT(m_log.Lines(), testing::Contains("L->lpbVolumeID=vol9"));
    EXPECT_EQ(m_log.Lines()[8], "L->lpbVolumeID=vol9");
    setup.lpbVolumeID = nullptr;
    dbglogREPLSETUP(50, "N", &setup);
    EXPECT_THAT(m_log.Lines(), testing::Contains("N->lpbVolumeID=(null)"));
}

TEST_F(Dump, LongVolumeIdentifierIsCut) {
    std::vector<BYTE> volume(2000, 'v');
    REPLSETUP setup = {};
    setup.lpbVolumeID = volume.data();
    setup.cbVolumeID = 2000;
    dbglogREPLSETUP(50, "L", &setup);
    EXPECT_EQ(m_log.Lines()[8], "L->lpbVolumeID=" + std::string(511 - 15, 'v'));
}

TEST_F(Dump, FindInformationIsWrittenFieldByField) {
    FINDOBJINFO find = {};
    wcscpy(find.szObjType, TEXT("KEZTask"));
    find.cUnChg = 3;
    find.cChg = 4;
    find.lpbVolumeID = static_cast<LPBYTE>(Address(100));
    find.cbVolumeID = 16;
    find.lpvUser = Address(0x10);
    EXPECT_EQ(dbglogFINDOBJINFO(50, "F", &find), 0);
    EXPECT_THAT(m_log.Lines(), ElementsAre("F->szObjType=K", "F->uFlags=NONE", "F->cUnChg=3", "F->cChg=4",
                                           "F->lpbVolumeID=100s", "F->cbVolumeID=16", "F->lpvUser=16"));
    find.uFlags = FO_MORE_VOLUME | FO_DONE_ONE_VOL;
    dbglogFINDOBJINFO(50, "G", &find);
    EXPECT_EQ(m_log.Lines()[8], "G->uFlags=FO_MORE_VOLUME,FO_DONE_ONE_VOL,");
}

TEST_F(Dump, NotificationIsWrittenFieldByField) {
    OBJNOTIFY notify = {};
    notify.cbStruct = 780;
    notify.uPartnerBit = 2;
    notify.oidObject = 5;
    notify.oidInfo.wObjType = OBJTYPE_RECORD;
    notify.oidInfo.infRecord.oidParent = 4000000000;
    notify.cOidChg = 1;
    notify.cOidDel = 7;
    wcscpy(notify.szObjType, TEXT("KEZAppointment"));
    notify.cbVolumeID = 9;
    EXPECT_EQ(dbglogOBJNOTIFY(50, "N", &notify), 0);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("N->cbStruct=780", "N->uPartnerBit=2", "N->oidObject=5",
                            "N->oidInfo->wObjType=OBJTYPE_RECORD", "N->cOidChg=1", "N->cOidDel=7", "N->szObjType=K",
                            "N->cbVolumeID=9", "N->cParentOid=4000000000", "N->uFlags=NONE"));
}

TEST_F(Dump, NotificationNamesEveryFlagInBitOrder) {
    OBJNOTIFY notify = {};
    notify.uFlags = 0x1FF;
    dbglogOBJNOTIFY(50, "N", &notify);
    EXPECT_EQ(m_log.Lines().back(),
              "N->uFlags=ONF_FILE,ONF_DIRECTORY,ONF_DATABASE,ONF_RECORD,ONF_CHANGED,ONF_DELETED,ONF_CLEAR_CHANGE,"
              "ONF_CALL_BACK,ONF_CALLING_BACK,");
}

TEST_F(Dump, ObjectTypeIsNamed) {
    for (WORD type :
         {OBJTYPE_DATABASE, OBJTYPE_RECORD, OBJTYPE_DIRECTORY, OBJTYPE_FILE, OBJTYPE_INVALID, OBJTYPE_EDB}) {
        EXPECT_EQ(dbglogObjType(50, "T", type), 0);
    }
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("T->oidInfo->wObjType=OBJTYPE_DATABASE", "T->oidInfo->wObjType=OBJTYPE_RECORD",
                            "T->oidInfo->wObjType=OBJTYPE_DIRECTORY", "T->oidInfo->wObjType=OBJTYPE_FILE",
                            "T->oidInfo->wObjType=OBJTYPE_INVALID"));
}

TEST_F(Dump, DumpsAboveTheLevelAndOfNothingWriteNothing) {
    REPLSETUP setup = {};
    FINDOBJINFO find = {};
    OBJNOTIFY notify = {};
    CEPROPVAL value = {};
    CKezCEPacket packet;
    const std::size_t before = m_log.Lines().size();
    dbglogREPLSETUP(51, "L", &setup);
    dbglogFINDOBJINFO(51, "L", &find);
    dbglogOBJNOTIFY(51, "L", &notify);
    dbglogCEPROPVAL(51, "L", &value);
    dbglogCP(51, "L", &packet);
    EXPECT_EQ(dbglogBuffer(51, "x", 1), 0);
    dbglogREPLSETUP(50, "L", nullptr);
    dbglogFINDOBJINFO(50, "L", nullptr);
    dbglogOBJNOTIFY(50, "L", nullptr);
    dbglogCP(50, "L", nullptr);
    EXPECT_EQ(m_log.Lines().size(), before);
    EXPECT_FALSE(m_device.Exists("dbgdump.txt"));
}

CEPROPVAL Value(CEPROPID propid) {
    CEPROPVAL value = {};
    value.propid = propid;
    return value;
}

TEST_F(Dump, MissingValueAndMissingIdentifierSaySo) {
    CEPROPVAL value = {};
    dbglogCEPROPVAL(50, "V", nullptr);
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_THAT(m_log.Lines(), ElementsAre("\tpropVal IS NULL!", "\tpropVal->propid IS NULL!"));
}

TEST_F(Dump, ValueWithFlagsStopsAtTheFlags) {
    CEPROPVAL value = Value(0x00010003);
    value.wFlags = CEDB_PROPNOTFOUND;
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("V::pPropVal->propid=0x10003", "\t\t->wFlags=0x100", "\tpropVal->wFlags=0x100"));
}

TEST_F(Dump, EachTypeOfValueHasItsLine) {
    CEPROPVAL value = Value(0x00010000 | CEVT_UI2);
    value.val.uiVal = 0xABCD;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_I2);
    value.val.iVal = -2;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_I4);
    value.val.lVal = 255;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_R8);
    value.val.dblVal = 38854.0078125;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_BOOL);
    value.val.boolVal = -1;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_UI4);
    value.val.ulVal = 0xFFFFFFFF;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_FILETIME);
    value.val.filetime = {0x69BABA30, 0x01C679BE};
    dbglogCEPROPVAL(50, "V", &value);
    WCHAR text[] = TEXT("caf\u00E9");
    value = Value(0x00010000 | CEVT_LPWSTR);
    value.val.lpwstr = text;
    dbglogCEPROPVAL(50, "V", &value);
    value = Value(0x00010000 | CEVT_STREAM);
    dbglogCEPROPVAL(50, "V", &value);

    std::vector<std::string> values;
    for (const std::string& line : m_log.Lines()) {
        if (line.find("propid=") == std::string::npos && line != "\t\t->wFlags=0x0") values.push_back(line);
    }
    EXPECT_THAT(values, ElementsAre("\t\t->uiVal=abcd", "\t\t->iVal=fffffffe", "\t\t->lVal=ff",
                                    "\t\t->dblVal=38854.007813", "\t\t->boolVal=-1", "\t\t->ulVal=ffffffff",
                                    "\t\t->filetime=2006/05/17 14:30:15.123", "\t\t->lpwstr=\"caf\xE9\""));
    EXPECT_EQ(m_log.Lines().back(), "\t\t->wFlags=0x0");
}

TEST_F(Dump, LongAndMissingTextsAreSafe) {
    std::u16string text(600, u't');
    CEPROPVAL value = Value(0x00010000 | CEVT_LPWSTR);
    value.val.lpwstr = text.data();
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_EQ(m_log.Lines().back(), "\t\t->lpwstr=\"" + std::string(511 - 12, 't'));
    value.val.lpwstr = nullptr;
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_EQ(m_log.Lines().back(), "\t\t->lpwstr=\"\"");
}

TEST_F(Dump, BlobIsWrittenAsHexadecimalDigits) {
    LiveCountsCheck counts;
    BYTE bytes[] = {0x00, 0x0F, 0xAB, 0xFF};
    CEPROPVAL value = Value(0x00010000 | CEVT_BLOB);
    value.val.blob = {4, bytes};
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_EQ(m_log.Lines().back(), "\t\t->blob.lpb=0x000fabff");
    value.val.blob = {0, nullptr};
    dbglogCEPROPVAL(50, "V", &value);
    EXPECT_EQ(m_log.Lines().back(), "\t\t->blob.dwCount=");
}

TEST_F(Dump, LongBlobIsCutByTheLine) {
    std::vector<BYTE> bytes(100000, 0x5A);
    CEPROPVAL value = Value(0x00010000 | CEVT_BLOB);
    value.val.blob = {100000, bytes.data()};
    dbglogCEPROPVAL(50, "V", &value);
    const std::string line = m_log.Lines().back();
    EXPECT_EQ(line.size(), 511u);
    EXPECT_EQ(line.substr(0, 20), "\t\t->blob.lpb=0x5a5a5");
}

TEST_F(Dump, BlobWithoutMemoryForItsDigitsIsShownAsMissing) {
    BYTE bytes[] = {1, 2, 3};
    CEPROPVAL value = Value(0x00010000 | CEVT_BLOB);
    value.val.blob = {3, bytes};
    kez::tests::FailNothrowNew(1);
    dbglogCEPROPVAL(50, "V", &value);
    kez::tests::FailNothrowNew(0);
    EXPECT_EQ(m_log.Lines().back(), "\t\t->blob.lpb=0x(null)");
}

TEST_F(Dump, PacketIsWrittenWithItsProperties) {
    CKezCEPacket packet;
    packet.PropStart(7);
    LONG number = 5;
    packet.PropAddValue(0x00020003, &number);
    packet.PropAddString(0x0001001F, TEXT("Ab"), 1);
    packet.PropFini();
    const std::size_t before = m_log.Lines().size();
    EXPECT_EQ(dbglogCP(50, "P", &packet), 0);
    std::vector<std::string> lines = m_log.Lines();
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(before));
    EXPECT_THAT(lines,
                ElementsAre("P->dlglogCP+", "  P->GetPacketBytes=148", "  P->GetPropCount=2",
                            "  CKezCEPacket::GetPropList+", "  CKezCEPacket::GetPropList-",
                            "  P::pPropVal->propid=0x1001f", "  \t\t->wFlags=0x0", "  \t\t->lpwstr=\"Ab\"",
                            "  P::pPropVal->propid=0x20003", "  \t\t->wFlags=0x0", "  \t\t->lVal=5", "P->dlglogCP-"));
}

TEST_F(Dump, PacketWithoutAnArrayHasNoProperties) {
    CKezCEPacket packet;
    dbglogCP(50, "P", &packet);
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("P->dlglogCP+", "  P->GetPacketBytes=0", "  P->GetPropCount=0",
                            "  CKezCEPacket::GetPropList+", "  CKezCEPacket::GetPropList-", "P->dlglogCP-"));
}

TEST_F(Dump, RawBytesGoToTheStartOfTheirFile) {
    LiveCountsCheck counts;
    EXPECT_EQ(dbglogBuffer(50, "0123456789", 10), 10);
    EXPECT_EQ(dbglogBuffer(50, "abc", 3), 3);
    EXPECT_EQ(m_device.ReadText("dbgdump.txt"), "abc3456789");
    EXPECT_THAT(m_log.Lines(), ElementsAre("Output Raw Buffer to \\dbgdump.txt", "Output Raw Buffer to \\dbgdump.txt"));
}

TEST_F(Dump, RawBytesThatCannotBeWrittenAreReported) {
    kez::control::PlanFault({"CreateFileW", 1, 1, ERROR_ACCESS_DENIED});
    EXPECT_EQ(dbglogBuffer(50, "abc", 3), -1);
    EXPECT_THAT(m_log.Lines(), IsEmpty());
}

}  // namespace
