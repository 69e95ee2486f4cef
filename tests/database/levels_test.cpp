// The level of every trace of the database object, in good and in failed calls.
#include "tests/database/database_fixture.h"
#include "tests/doubles/refusing_pocket_outlook.h"
#include "tests/support/levels_of_lines.h"

namespace kez::tests {
namespace {

class RefusedItem : public RefusingAppointment {
 public:
    HRESULT STDMETHODCALLTYPE get_Start(DATE* out) override {
        *out = 46083.375;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Delete() override {
        SetLastError(ERROR_ACCESS_DENIED);
        return E_ACCESSDENIED;
    }
};

class Levels : public DatabaseTest {
 protected:
    Levels() { MakeVolumes(); }

    template <class Scenario>
    std::string Difference(const char* file, Scenario scenario) {
        const std::vector<std::string> others = {"CCEPoom",     "CKezCEPacket", "CKeeCEPacket",
                                                 "KEZCEPacket", "KEZCePacket",  "ListAdd"};
        return DifferenceFrom(std::string(KEZ_TEST_DATA) + "/database/" + file, LevelsOfLines(device, others, [&] {
                                  control::FreezeClock({2026, 3, 1, 2, 10, 0, 0, 0});
                                  scenario();
                              }));
    }
    static OBJNOTIFY Trigger() {
        OBJNOTIFY notify = {};
        notify.uFlags = ONF_FILE | ONF_CHANGED;
        notify.oidInfo.wObjType = OBJTYPE_FILE;
        wcscpy(notify.oidInfo.infFile.szFileName, u"\\KezChgFile.kez");
        return notify;
    }
};

TEST_F(Levels, OfListingAndNotifying) {
    EXPECT_EQ(Difference("levels_of_listing.txt",
                         [&] {
                             tables->Put(11, 1, 1);
                             tables->Put(21, 2, 2);
                             ContactDatabase database;
                             SessionDouble& session = database.DoubleRead();
                             FINDOBJINFO info = {};
                             database.FindObjects(&info);
                             session.oids = {12, 11, 13};
                             session.counts = {2};
                             database.FindObjects(&info);
                             info.uFlags = FO_DONE_ONE_VOL;
                             database.FindObjects(&info);
                             OBJTYPEINFO type = {};
                             database.GetObjTypeInfo(&type);
                             FILETIME time;
                             database.GetLastDttm(&time);
                             database.Reset(nullptr);
                             database.GotoPrimaryKey(0);
                             OBJNOTIFY notify = Trigger();
                             database.ObjectNotify(&notify);
                             notify.uFlags = 0;
                             database.ObjectNotify(&notify);
                             database.m_inDelete = TRUE;
                             database.ObjectNotify(&notify);
                             database.OpenDbDelta(1);
                             database.CloseDatabase();
                         }),
              "");
}

TEST_F(Levels, OfTransfersDeletionsAndPurges) {
    AddPimRecord(TEXT("Appointments Database"), u"Meeting");
    AddPimRecord(TEXT("\\Categories Database"), u"Friends");
    EXPECT_EQ(Difference("levels_of_transfers.txt",
                         [&] {
                             tables->Put(11, 1, 1, 'D');
                             AppointmentDatabase database;
                             SessionDouble& read = database.DoubleRead();
                             SessionDouble& write = database.DoubleWrite();
                             SessionDouble& remove = database.DoubleDelete();
                             read.loadable = {11};
                             read.note = u"Likes tea";
                             read.recurrence.bRecurrFound = TRUE;
                             auto* item = new RefusedItem;
                             read.m_pAppt = item;
                             CKezCEPacket packet;
                             database.DBFillPacket(11, packet);
                             read.m_pAppt = nullptr;

                             database.DBWritePacket(11, packet);
                             write.loadable = {11};
                             write.savedOid = 11;
                             packet.PropStart(11);
                             const BYTE byte = 1;
                             CEPROPVAL blob = {};
                             blob.propid = 0xAFE90041;
                             blob.val.blob = {1, const_cast<LPBYTE>(&byte)};
                             packet.PropAdd(&blob, 1);
                             packet.PropFini();
                             database.DBWritePacket(11, packet);
                             write.savedOid = 12;
                             write.saveResult = E_FAIL;
                             packet.PropStart(11);
                             packet.PropFini();
                             database.DBWritePacket(11, packet);

                             database.DBDelete(11, 0);
                             remove.loadable = {11};
                             remove.m_pAppt = item;
                             database.DBDelete(11, 0);
                             remove.m_pAppt = nullptr;
                             item->Release();
                             database.Purge();

                             CategoriesDatabase categories;
                             categories.DBWritePacket(255, packet);
                             categories.DoubleRead();
                             categories.Purge();
                         }),
              "");
}

TEST_F(Levels, OfFailures) {
    EXPECT_EQ(Difference("levels_of_failures.txt",
                         [&] {
                             tables->Put(11, 1, 1);
                             ContactDatabase database;
                             database.DoubleRead().oids = {11};
                             for (DWORD error : {ERROR_NOT_ENOUGH_MEMORY, ERROR_SHARING_VIOLATION}) {
                                 FailOnce("CeOpenDatabaseInSession", error, 2);
                                 database.OpenDatabase();
                             }
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             FINDOBJINFO info = {};
                             database.FindObjects(&info);
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             OBJTYPEINFO type = {};
                             database.GetObjTypeInfo(&type);
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             OBJNOTIFY notify = Trigger();
                             database.ObjectNotify(&notify);
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             database.GotoPrimaryKey(11);
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             database.Purge();
                             CategoriesDatabase categories;
                             FailOnce("CeMountDBVolEx", ERROR_SHARING_VIOLATION);
                             CKezCEPacket packet;
                             categories.DBWritePacket(255, packet);
                             categories.FindObjects(&info);

                             database.OpenDatabase();
                             for (DWORD error : {ERROR_NOT_ENOUGH_MEMORY, ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND,
                                                 ERROR_SHARING_VIOLATION}) {
                                 FailOnce("CeOpenDatabaseInSession", error);
                                 database.ClearDeltaEntry(11);
                             }
                             CEOID oid = 0;
                             database.DBOidCheckAndClear(11);
                             database.DBGetDeletedAndClear(&oid, TRUE);
                             database.OpenDbDelta(1);
                             for (DWORD error : {ERROR_INVALID_PARAMETER, ERROR_DISK_FULL, ERROR_SHARING_VIOLATION}) {
                                 FailOnce("CeReadRecordProps", error);
                                 database.DBOidCheckAndClear(11);
                                 FailOnce("CeReadRecordProps", error);
                                 database.DBGetDeletedAndClear(&oid, TRUE);
                             }
                             FailOnce("CeSeekDatabaseEx", ERROR_INVALID_PARAMETER);
                             database.DBGetDeletedAndClear(&oid, TRUE);
                             FailOnce("CeWriteRecordProps", ERROR_DISK_FULL);
                             database.ClearDeltaEntry(11);
                             database.RememberOwnWrite(99);
                             database.CleanupIds();
                         }),
              "");
}

}  // namespace
}  // namespace kez::tests
