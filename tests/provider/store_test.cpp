// The store: finding folders, status codes, purge requests, the mutex, the marker file.
#include <thread>

#include "platform/propertydb/volume.h"
#include "tests/provider/provider_fixture.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

// A store whose folders are doubles.
class StoreDouble : public CKEZASPContactStore {
 public:
    StoreDouble() {
        const FolderType* types[] = {&kContactFolder, &kTaskFolder, &kAppointmentFolder};
        for (std::size_t i = 0; i < m_folders.size(); ++i) {
            delete m_folders[i];
            m_folders[i] = new FolderDouble(*types[i]);
        }
    }
    using CKEZASPContactStore::m_folders;
    using CKEZASPContactStore::m_partnerIndex;
    FolderDouble& Folder(std::size_t i) { return *static_cast<FolderDouble*>(m_folders[i]); }
    // Initialises all folders; the handlers are given back at once.
    void InitializeAll(UINT partnerBit = 1) {
        for (std::size_t i = 0; i < m_folders.size(); ++i) {
            IReplObjHandler* handler = nullptr;
            InitObjType(const_cast<LPWSTR>(Folder(i).GetObjTypeName()), &handler, partnerBit);
            handler->Release();
            Folder(i).notes.clear();
        }
    }
};

class Store : public ProviderTest {
 protected:
    Store() { MutexesStayOpen(); }
    static LPWSTR Name(const char16_t* text) { return const_cast<LPWSTR>(text); }
    static OBJNOTIFY Notice(const char16_t* type) {
        OBJNOTIFY notify = {};
        notify.cbStruct = sizeof notify;
        wcscpy(notify.szObjType, type);
        return notify;
    }
};

// --- Construction ---

TEST_F(Store, TheMarkerFileAloneSwitchesTheLogToItsMostDetailedLevel) {
    device.WriteText("KezLog.ini", "this is never read");
    StopLog();
    { CKEZASPContactStore store; }
    EXPECT_EQ(g_trace.level, 100);
    const std::vector<std::string> log = LogLines(device);
    ASSERT_GE(log.size(), 2u);
    EXPECT_EQ(log[0], "dbglogSetLevel::Set DbgLevel to 100.");
    EXPECT_EQ(log[1], "CKEZASPContactStore::CKEZASPContactStore");
}

TEST_F(Store, WithoutTheMarkerNothingIsLoggedAndNoFileTouched) {
    StopLog();
    { CKEZASPContactStore store; }
    EXPECT_FALSE(device.Exists("DevLog.txt"));
    EXPECT_FALSE(device.Exists("dbglev.ini"));
}

TEST_F(Store, ConstructionMakesThreeFoldersAndDestructionDeletesThemAndClosesTheLog) {
    Trace(50);
    { CKEZASPContactStore store; }
    EXPECT_TRUE(g_trace.closed);
    EXPECT_THAT(LogLines(device),
                ElementsAre("CKEZASPContactStore::CKEZASPContactStore", "CBaseFolder::CBaseFolder()+",
                            "CBaseFolder::CBaseFolder()-", "CBaseFolder::CBaseFolder()+", "CBaseFolder::CBaseFolder()-",
                            "CBaseFolder::CBaseFolder()+", "CBaseFolder::CBaseFolder()-",
                            "CKEZASPContactStore::~CKEZASPContactStore", "CKEZASPContactStore::Cleanup()+",
                            "  Deleting folder", "  CBaseFolder::~CBaseFolder()+", "  CBaseFolder::~CBaseFolder()-",
                            "  Deleting folder", "  CBaseFolder::~CBaseFolder()+", "  CBaseFolder::~CBaseFolder()-",
                            "  Deleting folder", "  CBaseFolder::~CBaseFolder()+", "  CBaseFolder::~CBaseFolder()-",
                            "CKEZASPContactStore::Cleanup()-"));
}

TEST_F(Store, AFailedFolderLeavesItsSlotEmptyAndConstructionGoesOn) {
    FailNothrowNew(2);
    class Seen : public CKEZASPContactStore {
     public:
        using CKEZASPContactStore::m_folders;
    } store;
    FailNothrowNew(0);
    EXPECT_NE(store.m_folders[0], nullptr);
    EXPECT_EQ(store.m_folders[1], nullptr);
    EXPECT_NE(store.m_folders[2], nullptr);
    EXPECT_TRUE(store.InitObjType(Name(u"KEZContact"), nullptr, 1) == FALSE) << "the slots before it are found";
}

TEST_F(Store, AnEmptySlotIsNotGuardedAgainst) {
    EXPECT_DEATH(
        {
            FailNothrowNew(1);
            CKEZASPContactStore store;
            store.ReportStatus(nullptr, RSC_END_SYNC, 0);
        },
        "");
}

// --- InitObjType ---

TEST_F(Store, InitialisesTheFolderOfTheName) {
    StoreDouble store;
    IReplObjHandler* handler = nullptr;
    Trace(50);
    EXPECT_TRUE(store.InitObjType(Name(u"KEZTask"), &handler, 1));
    ASSERT_NE(handler, nullptr);
    handler->Release();
    EXPECT_THAT(store.Folder(1).notes, ElementsAre("CreateDB 0"));
    EXPECT_THAT(store.Folder(0).notes, IsEmpty());
    EXPECT_EQ(Log().front(), "CKEZASPContactStore::InitObjType+");
    EXPECT_THAT(Log(), Contains("CKEZASPContactStore::InitObjType::1-"));
}

TEST_F(Store, AnUnknownNameIsFalseAndClearsTheHandler) {
    StoreDouble store;
    for (const char16_t* name : {u"Contact", u"kezcontact", u"KEZContact ", u""}) {
        auto* handler = reinterpret_cast<IReplObjHandler*>(1);
        EXPECT_FALSE(store.InitObjType(Name(name), &handler, 1)) << "the store compares exactly";
        EXPECT_EQ(handler, nullptr);
    }
}

TEST_F(Store, BothPartnerBitsChooseTheFirstAndNoneKeepsTheLast) {
    StoreDouble store;
    store.InitializeAll(2);
    EXPECT_EQ(store.m_partnerIndex, 1u);
    store.InitObjType(nullptr, nullptr, 0);
    EXPECT_EQ(store.m_partnerIndex, 1u);
    store.InitObjType(nullptr, nullptr, 3);
    EXPECT_EQ(store.m_partnerIndex, 0u);
}

TEST_F(Store, ANullNameShutsAllFoldersDownAndIsFalseWhereAnyFails) {
    StoreDouble store;
    auto* handler = reinterpret_cast<IReplObjHandler*>(1);
    Trace(50);
    EXPECT_TRUE(store.InitObjType(nullptr, &handler, 1));
    EXPECT_EQ(handler, reinterpret_cast<IReplObjHandler*>(1)) << "it is not touched";
    EXPECT_THAT(Log(), Contains("Uninitializing since lpszObjType is NULL"));
    store.Folder(0).uninitializeResult = FALSE;
    EXPECT_FALSE(store.InitObjType(nullptr, nullptr, 1));
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_THAT(store.Folder(i).notes, ElementsAre("UnInitialize", "UnInitialize")) << i;
    }
}

// --- Forwarding ---

TEST_F(Store, ForwardsToTheFolderOfTheStructuresName) {
    StoreDouble store;
    store.InitializeAll();
    OBJTYPEINFO type = {};
    wcscpy(type.szObjType, u"KEZAppointment");
    EXPECT_EQ(store.GetObjTypeInfo(&type), TRUE);
    FINDOBJINFO find = {};
    wcscpy(find.szObjType, u"KEZTask");
    EXPECT_EQ(store.FindObjects(&find), 7);
    OBJNOTIFY notify = Notice(u"KEZContact");
    EXPECT_TRUE(store.ObjectNotify(&notify));
    EXPECT_THAT(store.Folder(0).notes, ElementsAre("ObjectNotify"));
    EXPECT_THAT(store.Folder(1).notes, ElementsAre("FindObjects"));
    EXPECT_THAT(store.Folder(2).notes, ElementsAre("GetObjTypeInfo"));
}

TEST_F(Store, MissingArgumentsAndUnknownTypesAreRefused) {
    StoreDouble store;
    Trace(25);
    EXPECT_EQ(store.GetObjTypeInfo(nullptr), 0);
    EXPECT_EQ(store.FindObjects(nullptr), 0);
    EXPECT_FALSE(store.ObjectNotify(nullptr));
    OBJTYPEINFO type = {};
    FINDOBJINFO find = {};
    OBJNOTIFY notify = Notice(u"kezcontact");
    EXPECT_EQ(store.GetObjTypeInfo(&type), 0);
    EXPECT_EQ(store.FindObjects(&find), 0);
    EXPECT_FALSE(store.ObjectNotify(&notify));
    EXPECT_THAT(Log(), ElementsAre("FindObjects() - pFindObjInfo is NULL", "ObjectNotify()",
                                   "ObjectNotify() - pNotify is NULL", "FindObjects() - pFolder is NULL",
                                   "ObjectNotify()", "CheckSetMutex()", "ObjectNotify() - pFolder is NULL"));
}

// --- The mutex ---

TEST_F(Store, TheMutexIsTakenForANotificationAndGivenBack) {
    StoreDouble store;
    store.InitializeAll();
    const HANDLE other = CreateMutexW(nullptr, FALSE, TEXT("KEZDBNotify"));
    // While the notification runs, another thread cannot have it.
    class Asking : public FolderDouble {
     public:
        explicit Asking(HANDLE mutex) : m_mutex(mutex) {}
        DWORD waited = 0;
        BOOL ObjectNotify(OBJNOTIFY*) override {
            std::thread([this] { waited = WaitForSingleObject(m_mutex, 0); }).join();
            return TRUE;
        }

     private:
        HANDLE m_mutex;
    };
    delete store.m_folders[0];
    auto* folder = new Asking(other);
    store.m_folders[0] = folder;
    OBJNOTIFY notify = Notice(u"KEZContact");
    EXPECT_TRUE(store.ObjectNotify(&notify));
    EXPECT_EQ(folder->waited, WAIT_TIMEOUT);
    DWORD afterwards = WAIT_FAILED;
    std::thread([&] {
        afterwards = WaitForSingleObject(other, 0);
        ReleaseMutex(other);
    }).join();
    EXPECT_EQ(afterwards, WAIT_OBJECT_0);
    CloseHandle(other);
}

TEST_F(Store, EachNotificationLeavesOneHandleOpen) {
    StoreDouble store;
    OBJNOTIFY notify = Notice(u"nothing");
    const std::int64_t before = control::Live().handles;
    for (int i = 0; i < 3; ++i) store.ObjectNotify(&notify);
    EXPECT_EQ(control::Live().handles, before + 3);
}

TEST_F(Store, TheMutexIsGivenBackForAnUnknownTypeToo) {
    StoreDouble store;
    OBJNOTIFY notify = Notice(u"nothing");
    store.ObjectNotify(&notify);
    DWORD waited = WAIT_FAILED;
    std::thread([&] {
        const HANDLE other = CreateMutexW(nullptr, FALSE, TEXT("KEZDBNotify"));
        waited = WaitForSingleObject(other, 0);
        ReleaseMutex(other);
        CloseHandle(other);
    }).join();
    EXPECT_EQ(waited, WAIT_OBJECT_0);
}

TEST_F(Store, AMutexThatItsOwnerAbandonedIsTaken) {
    const HANDLE keep = CreateMutexW(nullptr, FALSE, TEXT("KEZDBNotify"));
    std::thread([&] { WaitForSingleObject(keep, 0); }).join();
    StoreDouble store;
    EXPECT_TRUE(store.CheckSetMutex());
    EXPECT_TRUE(store.CheckSetMutex()) << "held already";
    Trace(50);
    store.~StoreDouble();
    new (&store) StoreDouble;
    EXPECT_THAT(Log(), Contains("Releasing Mutex"));
    CloseHandle(keep);
}

TEST_F(Store, AFailedWaitDoesNotStopANotification) {
    StoreDouble store;
    store.InitializeAll();
    control::Fault fault;
    fault.call = "CreateMutexW";
    fault.code = ERROR_NOT_ENOUGH_MEMORY;
    control::PlanFault(fault);
    OBJNOTIFY notify = Notice(u"KEZContact");
    EXPECT_TRUE(store.ObjectNotify(&notify));
    EXPECT_THAT(store.Folder(0).notes, ElementsAre("ObjectNotify"));
    fault.call = "WaitForSingleObject";
    control::PlanFault(fault);
    EXPECT_TRUE(store.CheckSetMutex()) << "only a wait that timed out is a failure";
}

// --- Status ---

TEST_F(Store, EveryStatusCodeIsTracedAndTrue) {
    StoreDouble store;
    Trace(50);
    for (UINT code = 0; code <= 26; ++code) {
        if (code == RSC_END_SYNC) continue;
        EXPECT_TRUE(store.ReportStatus(nullptr, code, 0)) << code;
    }
    EXPECT_TRUE(store.ReportStatus(Name(u"KEZContact"), 0xFFFF, 1));
    const std::string name = "CKEZASPContactStore::ReportStatus ";
    std::vector<std::string> expected = {name + "UNTRAPPED uStatus=0x0"};
    for (const char* text : {"RSC_BEGIN_SYNC",
                             "RSC_BEGIN_CHECK",
                             "RSC_END_CHECK",
                             "RSC_DATE_CHANGED",
                             "RSC_RELEASE",
                             "RSC_REMOTE_SYNC",
                             "RSC_INTERRUPT",
                             "RSC_BEGIN_SYNC_OBJ",
                             "RSC_END_SYNC_OBJ",
                             "RSC_OBJ_TYPE_ENABLED",
                             "RSC_OBJ_TYPE_DISABLED",
                             "RSC_BEGIN_BATCH_WRITE (start transaction)",
                             "RSC_END_BATCH_WRITE (commit transaction)",
                             "RSC_CONNECTION_CHG",
                             "RSC_WRITE_OBJ_FAILED",
                             "RSC_DELETE_OBJ_FAILED",
                             "UNTRAPPED uStatus=0x12",
                             "UNTRAPPED uStatus=0x13",
                             "UNTRAPPED uStatus=0x14",
                             "UNTRAPPED uStatus=0x15",
                             "UNTRAPPED uStatus=0x16",
                             "UNTRAPPED uStatus=0x17",
                             "UNTRAPPED uStatus=0x18",
                             "UNTRAPPED uStatus=0x19",
                             "UNTRAPPED uStatus=0x1a",
                             "UNTRAPPED uStatus=0xffff"}) {
        expected.push_back(name + text);
    }
    EXPECT_EQ(Log(), expected);
}

TEST_F(Store, FailuresOfTransfersAreTracedAtTheErrorLevel) {
    StoreDouble store;
    Trace(1);
    for (UINT code = 0; code <= 26; ++code) {
        if (code != RSC_END_SYNC) store.ReportStatus(nullptr, code, 0);
    }
    EXPECT_THAT(Log(), ElementsAre("CKEZASPContactStore::ReportStatus RSC_WRITE_OBJ_FAILED",
                                   "CKEZASPContactStore::ReportStatus RSC_DELETE_OBJ_FAILED"));
}

TEST_F(Store, TheEndOfASynchronisationClosesEveryChangeTable) {
    StoreDouble store;
    store.InitializeAll();
    Trace(50);
    EXPECT_TRUE(store.ReportStatus(nullptr, RSC_END_SYNC, 0));
    for (std::size_t i = 0; i < 3; ++i) EXPECT_THAT(store.Folder(i).notes, ElementsAre("CloseDbDelta")) << i;
    EXPECT_THAT(Log(), ElementsAre("CKEZASPContactStore::ReportStatus RSC_END_SYNC"));
}

// --- Purging ---

TEST_F(Store, PurgeAllPurgesEveryFolderAndTheCategoriesAndLeavesCodeTwo) {
    StoreDouble store;
    store.InitializeAll();
    SDREQUEST request = {};
    request.uCode = 1;
    Trace(1);
    EXPECT_EQ(store.SyncData(&request), 0);
    EXPECT_EQ(request.uCode, 2u) << "the caller's request is rewritten";
    for (std::size_t i = 0; i < 3; ++i) EXPECT_THAT(store.Folder(i).notes, ElementsAre("Purge")) << i;
    EXPECT_THAT(LogLines(device),
                ElementsAre("CKEZASPContactStore::SyncData +", "  CKEZASPContactStore::SyncData::Purge::All+",
                            "  CKEZASPContactStore::SyncData::Purge::All-",
                            "  CKEZASPContactStore::SyncData::Purge::Category+", "    CKezAspDB::Purge() +",
                            "    CKezAspDB::OpenDatabase::Database \"\\Categories Database\" doesn't exist -",
                            "  CKezAspDB::Purge() -", "CKEZASPContactStore::SyncData::Purge::Category-",
                            "CKEZASPContactStore::SyncData -"));
}

TEST_F(Store, PurgingOneConduitPurgesTheFolderOfTheName) {
    StoreDouble store;
    store.InitializeAll();
    store.Folder(1).Database().purgeResult = E_FAIL;
    SDREQUEST request = {};
    request.uCode = 2;
    wcscpy(request.szObjType, u"KEZTask");
    Trace(1);
    EXPECT_EQ(store.SyncData(&request), E_FAIL);
    EXPECT_THAT(store.Folder(0).notes, IsEmpty());
    EXPECT_THAT(store.Folder(1).notes, ElementsAre("Purge"));
    EXPECT_THAT(Log(),
                ElementsAre("CKEZASPContactStore::SyncData +", "CKEZASPContactStore::SyncData::Purge::Conduit+",
                            "CKEZASPContactStore::SyncData::Purge::Conduit-", "CKEZASPContactStore::SyncData -"));
    wcscpy(request.szObjType, u"keztask");
    EXPECT_EQ(store.SyncData(&request), 0) << "an unknown type purges nothing";
}

TEST_F(Store, PurgingCategoriesTouchesNoFolder) {
    StoreDouble store;
    store.InitializeAll();
    SDREQUEST request = {};
    request.uCode = 8;
    Trace(1);
    EXPECT_EQ(store.SyncData(&request), 0);
    EXPECT_EQ(request.uCode, 8u);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_THAT(store.Folder(i).notes, IsEmpty()) << i;
    EXPECT_THAT(Log(), Contains("CKEZASPContactStore::SyncData::Purge::Category-"));
}

TEST_F(Store, PurgingCategoriesOpensTheirDatabaseAndGivesItBack) {
    const auto volume = propertydb::Volume::OpenOrCreate(TEXT("\\pim.vol"));
    propertydb::DatabaseDefinition database;
    database.name = TEXT("\\Categories Database");
    database.sortOrders = {{{{0x0080001F}}, 0}};
    volume->EnsureDatabase(database);
    StoreDouble store;
    SDREQUEST request = {};
    request.uCode = 8;
    const std::int64_t handles = control::Live().handles;
    Trace(50);
    EXPECT_EQ(store.SyncData(&request), 0);
    EXPECT_THAT(Log(), Contains("Purging 0 records"));
    EXPECT_EQ(Log().end()[-3], "CKezAspDB::~CKezAspDB()") << "the object is deleted before the last two traces";
    EXPECT_EQ(control::Live().handles, handles + 1) << "the log's own";
    propertydb::PropertySet record;
    record.SetText(0x0080001F, u"Friends");
    volume->Insert(volume->FindDatabase(TEXT("\\Categories Database")), record);
    EXPECT_EQ(store.SyncData(&request), E_FAIL) << "Pocket Outlook has no such type, so no session can delete it";
    request.uCode = 1;
    EXPECT_EQ(store.SyncData(&request), E_FAIL) << "the last purge's result counts";
}

TEST_F(Store, ACategoriesObjectThatFindsNoMemoryIsLeftOut) {
    StoreDouble store;
    SDREQUEST request = {};
    request.uCode = 8;
    Trace(1);
    FailNothrowNew(1);
    EXPECT_EQ(store.SyncData(&request), 0);
    EXPECT_THAT(Log(), Not(Contains("CKezAspDB::Purge() +")));
}

TEST_F(Store, AnyOtherCodeDoesNothing) {
    StoreDouble store;
    store.InitializeAll();
    for (UINT code : {0u, 3u, 4u, 5u, 9u}) {
        SDREQUEST request = {};
        request.uCode = code;
        EXPECT_EQ(store.SyncData(&request), 0) << code;
        EXPECT_EQ(request.uCode, code);
    }
    for (std::size_t i = 0; i < 3; ++i) EXPECT_THAT(store.Folder(i).notes, IsEmpty()) << i;
}

}  // namespace
}  // namespace kez::tests
