// Change notifications: which count, what they list, and the block that holds the list.
#include "tests/database/database_fixture.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsSupersetOf;

class Notification : public DatabaseTest {
 protected:
    Notification() { MakeVolumes(); }

    // The change of a file of that name, as the engine tells it.
    static OBJNOTIFY ChangedFile(const char16_t* name) {
        OBJNOTIFY notify = {};
        notify.cbStruct = sizeof notify;
        notify.uFlags = ONF_FILE | ONF_CHANGED;
        notify.oidInfo.wObjType = OBJTYPE_FILE;
        wcscpy(notify.oidInfo.infFile.szFileName, name);
        return notify;
    }
    static std::vector<UINT> ListOf(const OBJNOTIFY& notify) {
        return std::vector<UINT>(notify.poid, notify.poid + notify.cOidChg + notify.cOidDel);
    }
    void DropTrigger() { device.WriteText("KezChgFile.kez", "1"); }
};

TEST_F(Notification, TheTriggerFileListsChangedThenDeletedIdentifiersAndGoes) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12, 13};
    tables->Put(11, 1, 1);
    tables->Put(13, 1, 1);
    tables->Put(21, 2, 2);
    tables->Put(22, 2, 2);
    DropTrigger();
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.cOidChg, 2u);
    EXPECT_EQ(notify.cOidDel, 2u);
    EXPECT_THAT(ListOf(notify), ElementsAre(11u, 13u, 21u, 22u));
    EXPECT_FALSE(device.Exists("KezChgFile.kez"));
    EXPECT_EQ(database.m_hDbDelta, INVALID_HANDLE_VALUE);
    EXPECT_EQ(tables->Count(), 2u) << "the change records of deletions are gone";
}

TEST_F(Notification, ASecondNotificationListsNothingTwice) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    tables->Put(21, 2, 2);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    database.ObjectNotify(&notify);
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.cOidChg, 0u);
    EXPECT_EQ(notify.cOidDel, 0u);
}

TEST_F(Notification, TheTriggerFileCountsInAnyFolderAndWithinALongerName) {
    ContactDatabase database;
    std::filesystem::create_directories(device.Folder() / "Some Folder");
    device.WriteText("Some Folder/KezChgFile.kez", "1");
    OBJNOTIFY notify = ChangedFile(u"\\Some Folder\\KezChgFile.kez");
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_FALSE(device.Exists("Some Folder/KezChgFile.kez"));
    notify = ChangedFile(u"\\xKezChgFile.kezy");
    EXPECT_TRUE(database.ObjectNotify(&notify));
}

TEST_F(Notification, TheTriggerFileIsFoundByItsExactSpellingOnly) {
    ContactDatabase database;
    OBJNOTIFY notify = ChangedFile(u"\\kezchgfile.kez");
    EXPECT_FALSE(database.ObjectNotify(&notify));
}

TEST_F(Notification, WithoutTheChangeFlagTheTriggerFileStaysInPlace) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    DropTrigger();
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    notify.uFlags = ONF_FILE;
    Trace(25);
    EXPECT_FALSE(database.ObjectNotify(&notify));
    EXPECT_TRUE(device.Exists("KezChgFile.kez"));
    EXPECT_EQ(notify.poid, nullptr);
    EXPECT_EQ(tables->States(11)->first, 1);
    EXPECT_TRUE(Logged("WINMOBILE2005->uFlags=ONF_FILE,")) << "the notification is dumped all the same";
}

TEST_F(Notification, OtherFilesAndOtherObjectsAreNotTaken) {
    ContactDatabase database;
    Trace(50);
    OBJNOTIFY notify = ChangedFile(u"\\My Documents\\letter.txt");
    EXPECT_FALSE(database.ObjectNotify(&notify));
    notify = ChangedFile(u"\\KezChgFile.kez");
    notify.oidInfo.wObjType = OBJTYPE_RECORD;
    EXPECT_FALSE(database.ObjectNotify(&notify));
    std::vector<std::string> lines;
    for (const std::string& line : Log()) {
        if (line.find("OpenDatabase") == std::string::npos) lines.push_back(line);
    }
    EXPECT_THAT(lines, IsSupersetOf({"Filename: \"\\My Documents\\letter.txt\"",
                                     "CKezAspDB::ObjectNotify_WinMobile2005 - return FALSE -"}));
}

TEST_F(Notification, DuringADeletionItIsTakenWithNothingFilled) {
    ContactDatabase database;
    database.m_inDelete = TRUE;
    DropTrigger();
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    Trace(25);
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.poid, nullptr);
    EXPECT_EQ(notify.cOidChg, 0u);
    EXPECT_TRUE(device.Exists("KezChgFile.kez"));
    EXPECT_THAT(Log(), ElementsAre("CKezAspDB::ObjectNotify IN DELETE"));
}

TEST_F(Notification, AnUnopenedDatabaseIsFalse) {
    ContactDatabase database;
    FailOnce("CeOpenDatabaseInSession", ERROR_SHARING_VIOLATION, 2);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    Trace(50);
    EXPECT_FALSE(database.ObjectNotify(&notify));
    EXPECT_TRUE(Logged("CKezAspDB::ObjectNotify_WinMobile2005 - OpenDatabase failed -"));
}

TEST_F(Notification, WithoutAChangeTableNothingIsListedAndTheTriggerGoes) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    DropTrigger();
    FailOnce("CeOpenDatabaseInSession", ERROR_FILE_NOT_FOUND, 3);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.cOidChg + notify.cOidDel, 0u);
    EXPECT_NE(notify.poid, nullptr);
    EXPECT_FALSE(device.Exists("KezChgFile.kez"));
}

TEST_F(Notification, ATriggerThatItsWriterStillHoldsOpenStays) {
    ContactDatabase database;
    DropTrigger();
    FailOnce("DeleteFileW", ERROR_SHARING_VIOLATION);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_TRUE(device.Exists("KezChgFile.kez"));
}

TEST_F(Notification, WithoutABlockNothingIsWrittenAndNoChangeIsLost) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    tables->Put(21, 2, 2);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    FailOnce("LocalAlloc", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.poid, nullptr);
    EXPECT_EQ(notify.cOidChg + notify.cOidDel, 0u);
    EXPECT_EQ(tables->States(11)->first, 1);
    EXPECT_EQ(tables->States(21)->first, 2);
    EXPECT_TRUE(database.ObjectNotify(&notify));
    EXPECT_THAT(ListOf(notify), ElementsAre(11u, 21u));
}

// Adds change records while it enumerates, as the change writer of another process does.
class GrowingSession : public SessionDouble {
 public:
    explicit GrowingSession(ChangeTables& tables) : m_tables(tables) {}
    CEOID GetFirstID() override {
        for (CEOID oid = 1; oid <= 200; ++oid) m_tables.Put(oid, oid <= 150 ? 1 : 2, 0);
        return SessionDouble::GetFirstID();
    }

 private:
    ChangeTables& m_tables;
};

TEST_F(Notification, WhatComesWhileItListsAndFindsNoRoomIsToldTheNextTime) {
    ContactDatabase database;
    auto* session = new GrowingSession(*tables);
    database.m_cpRead = session;
    for (CEOID oid = 1; oid <= 150; ++oid) session->oids.push_back(oid);
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    ASSERT_TRUE(database.ObjectNotify(&notify));
    EXPECT_EQ(notify.cOidChg, 50u) << "the smallest block holds 50";
    EXPECT_EQ(notify.cOidDel, 0u);
    EXPECT_EQ(tables->Count(), 200u);
    for (CEOID oid = 51; oid <= 150; ++oid) ASSERT_EQ(tables->States(oid)->first, 1) << oid;
}

TEST_F(Notification, ATableThatGrewWhileItWasOpenIsCountedAnew) {
    ContactDatabase database;
    database.DoubleRead();
    database.OpenDatabase();
    database.OpenDbDelta(1);
    for (CEOID oid = 1; oid <= 150; ++oid) {
        tables->Put(oid, 1, 0);
        database.DoubleRead().oids.push_back(oid);
    }
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    database.ObjectNotify(&notify);
    EXPECT_EQ(notify.cOidChg, 150u);
}

TEST_F(Notification, TheListIsGoodUntilTheNextNotification) {
    ContactDatabase database;
    database.DoubleRead().oids = {11};
    tables->Put(11, 1, 1);
    OBJNOTIFY first = ChangedFile(u"\\KezChgFile.kez");
    database.ObjectNotify(&first);
    OBJNOTIFY other = ChangedFile(u"\\letter.txt");
    database.ObjectNotify(&other);
    EXPECT_EQ(first.poid[0], 11u);
}

TEST_F(Notification, ASessionThatLoadedAnItemOpensItsCollectionAgain) {
    ContactDatabase database;
    SessionDouble& session = database.DoubleRead();
    session.oids = {11};
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    database.ObjectNotify(&notify);
    EXPECT_THAT(session.calls, ElementsAre("InitializeType 65"));
}

TEST_F(Notification, TracesTheWholeNotification) {
    ContactDatabase database;
    database.DoubleRead().oids = {11, 12};
    tables->Put(12, 1, 1);
    tables->Put(21, 2, 1);
    DropTrigger();
    OBJNOTIFY notify = ChangedFile(u"\\KezChgFile.kez");
    notify.cbStruct = 780;
    notify.uPartnerBit = 1;
    wcscpy(notify.szObjType, u"KEZContact");
    Trace(50);
    database.ObjectNotify(&notify);
    StopLog();
    EXPECT_EQ(DifferenceFrom(std::string(KEZ_TEST_DATA) + "/database/object_notify.txt", LogLines(device)), "");
}

// --- The block ---

TEST_F(Notification, TheBlockIsReusedWhileLargeEnoughAndReplacedWhenNot) {
    ContactDatabase database;
    Trace(25);
    const LPBYTE first = database.GetObjectNotifyBlock(0);
    EXPECT_EQ(LocalSize(first), 200u);
    EXPECT_EQ(database.GetObjectNotifyBlock(160), first);
    EXPECT_EQ(database.GetObjectNotifyBlock(200), first);
    const LPBYTE second = database.GetObjectNotifyBlock(400);
    EXPECT_EQ(LocalSize(second), 450u);
    for (int i = 0; i < 450; ++i) ASSERT_EQ(second[i], 0);
    EXPECT_EQ(database.GetObjectNotifyBlock(0), second);
    EXPECT_THAT(Log(), ElementsAre("GetObjectNotifyBlock()", "FreeObjectNotifyBlock()",
                                   "GetObjectNotifyBlock() - making new size of 200", "GetObjectNotifyBlock()",
                                   "GetObjectNotifyBlock()", "GetObjectNotifyBlock()", "FreeObjectNotifyBlock()",
                                   "GetObjectNotifyBlock() - making new size of 450", "GetObjectNotifyBlock()"));
}

TEST_F(Notification, TheSmallestRequestBeyondTheSmallestBlockAddsFifty) {
    ContactDatabase database;
    EXPECT_EQ(LocalSize(database.GetObjectNotifyBlock(150)), 200u);
    database.FreeObjectNotifyBlock();
    EXPECT_EQ(LocalSize(database.GetObjectNotifyBlock(151)), 201u);
}

TEST_F(Notification, FreeingTheBlockTwiceDoesNothing) {
    ContactDatabase database;
    database.GetObjectNotifyBlock(0);
    database.FreeObjectNotifyBlock();
    database.FreeObjectNotifyBlock();
    EXPECT_EQ(database.m_notifyBlock, nullptr);
    EXPECT_EQ(database.m_notifyBlockSize, 0u);
}

}  // namespace
}  // namespace kez::tests
