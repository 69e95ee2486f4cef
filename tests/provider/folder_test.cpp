// The folders: names, what they forward, and what they refuse.
#include "tests/provider/provider_fixture.h"

namespace kez::tests {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;

class Folder : public ProviderTest {
 protected:
    // A folder after Initialize; the handler is given back at once.
    static void Initialize(FolderDouble& folder, UINT partnerBit = 1) {
        IReplObjHandler* handler = nullptr;
        ASSERT_TRUE(folder.Initialize(&handler, partnerBit));
        handler->Release();
        folder.notes.clear();
    }
    static OBJNOTIFY Notice(UINT size, const char16_t* type) {
        OBJNOTIFY notify = {};
        notify.cbStruct = size;
        wcscpy(notify.szObjType, type);
        return notify;
    }
};

TEST_F(Folder, EachTypeHasItsNamesAndItsDatabase) {
    const struct {
        const FolderType* type;
        const char16_t* name;
        const char16_t* file;
        const char16_t* database;
    } rows[] = {{&kContactFolder, u"KEZContact", u"\\kezcontact.dat", u"Contacts Database"},
                {&kTaskFolder, u"KEZTask", u"\\keztask.dat", u"Tasks Database"},
                {&kAppointmentFolder, u"KEZAppointment", u"\\kezcal.dat", u"Appointments Database"}};
    for (const auto& row : rows) {
        CKEZASPContactFolder folder(*row.type);
        EXPECT_EQ(std::u16string(folder.GetObjTypeName()), row.name);
        EXPECT_EQ(std::u16string(folder.GetDataFileName()), row.file);
        CKezAspDB* database = row.type->makeDatabase(1);
        EXPECT_EQ(std::u16string(database->GetDBName()), row.database);
        EXPECT_EQ(database->GetDeltaPropId(), 0xFFFE0013u) << "made for the partner";
        delete database;
    }
}

TEST_F(Folder, ConstructionAndDestructionAreTraced) {
    Trace(25);
    { FolderDouble folder; }
    EXPECT_THAT(Log(), ElementsAre("CBaseFolder::CBaseFolder()+", "CBaseFolder::CBaseFolder()-",
                                   "CBaseFolder::~CBaseFolder()+", "CBaseFolder::~CBaseFolder()-"));
}

TEST_F(Folder, InitializeMakesDatabaseAndHandler) {
    FolderDouble folder;
    Trace(50);
    IReplObjHandler* handler = nullptr;
    EXPECT_TRUE(folder.Initialize(&handler, 2));
    ASSERT_NE(handler, nullptr);
    EXPECT_EQ(folder.GetPartnerIndex(), 1u);
    EXPECT_EQ(handler->Release(), 0u);
    EXPECT_THAT(folder.notes, ElementsAre("CreateDB 1"));
    EXPECT_EQ(Log().front(), "CKEZASPContactFolder::Initialize +");
    EXPECT_THAT(Log(), Contains("CKEZASPContactFolder::Initialize -"));
}

TEST_F(Folder, PartnerBitOneWinsAndZeroKeepsTheLastOne) {
    FolderDouble folder;
    Initialize(folder, 3);
    EXPECT_EQ(folder.GetPartnerIndex(), 0u);
    delete folder.m_DB;
    Initialize(folder, 2);
    delete folder.m_DB;
    Initialize(folder, 0);
    EXPECT_EQ(folder.GetPartnerIndex(), 1u);
}

TEST_F(Folder, InitializeNeedsAPlaceForTheHandler) {
    FolderDouble folder;
    Trace(50);
    EXPECT_FALSE(folder.Initialize(nullptr, 1));
    EXPECT_EQ(Log().back(), "CKEZASPContactFolder::Initialize - ERR: No ppObjHandler -");
    EXPECT_THAT(folder.notes, IsEmpty());
}

TEST_F(Folder, InitializeFailsWithoutMemoryForTheDatabase) {
    CKEZASPContactFolder folder(kContactFolder);
    Trace(50);
    IReplObjHandler* handler = nullptr;
    FailNothrowNew(1);
    EXPECT_FALSE(folder.Initialize(&handler, 1));
    EXPECT_EQ(Log().back(), "CKEZASPContactFolder::Initialize - ERR: InitializeDB failed! -");
}

TEST_F(Folder, InitializeFailsWithoutMemoryForTheHandler) {
    CKEZASPContactFolder folder(kContactFolder);
    Trace(50);
    auto* handler = reinterpret_cast<IReplObjHandler*>(1);
    FailNothrowNew(2);
    EXPECT_FALSE(folder.Initialize(&handler, 1));
    EXPECT_EQ(handler, nullptr);
    EXPECT_EQ(Log().back(), "CKEZASPContactFolder::Initialize - ERR: ObjectHanlder Create Failed! -");
}

TEST_F(Folder, ASecondInitializeOverwritesTheDatabaseWithoutDeletingIt) {
    FolderDouble folder;
    Initialize(folder);
    CKezAspDB* const first = folder.m_DB;
    Initialize(folder);
    EXPECT_NE(folder.m_DB, first);
    EXPECT_THAT(folder.notes, Not(Contains("destroyed")));
    delete first;
}

TEST_F(Folder, UnInitializeClosesItsHandleAndKeepsTheDatabase) {
    FolderDouble folder;
    Initialize(folder);
    const std::int64_t before = control::Live().handles;
    folder.m_handle = CreateMutexW(nullptr, FALSE, nullptr);
    EXPECT_TRUE(folder.UnInitialize());
    EXPECT_EQ(folder.m_handle, nullptr);
    EXPECT_EQ(control::Live().handles, before);
    EXPECT_NE(folder.m_DB, nullptr);
    Trace(50);
    EXPECT_TRUE(folder.UnInitialize()) << "without a handle too";
    EXPECT_THAT(Log(), ElementsAre("CBaseFolder::UnInitialize"));
}

TEST_F(Folder, ANotificationOf780BytesPassesAndOneOf779IsRefused) {
    FolderDouble folder;
    Initialize(folder);
    OBJNOTIFY notify = Notice(779, u"KEZContact");
    EXPECT_FALSE(folder.ObjectNotify(&notify));
    EXPECT_THAT(folder.notes, IsEmpty());
    notify = Notice(780, u"KEZContact");
    EXPECT_TRUE(folder.ObjectNotify(&notify));
    notify = Notice(sizeof notify, u"KEZContact");
    EXPECT_TRUE(folder.ObjectNotify(&notify));
    EXPECT_THAT(folder.notes, ElementsAre("ObjectNotify", "ObjectNotify"));
}

TEST_F(Folder, TheTypeNameOfANotificationComparesWithoutRegardToCase) {
    FolderDouble folder;
    Initialize(folder);
    OBJNOTIFY notify = Notice(780, u"kezcontact");
    EXPECT_TRUE(folder.ObjectNotify(&notify));
    notify = Notice(780, u"KEZTask");
    EXPECT_FALSE(folder.ObjectNotify(&notify));
}

TEST_F(Folder, KeepsTheLastNotificationsResult) {
    FolderDouble folder;
    Initialize(folder);
    OBJNOTIFY notify = Notice(780, u"KEZContact");
    folder.ObjectNotify(&notify);
    EXPECT_EQ(folder.m_lastNotifyResult, TRUE);
    folder.Database().notifyResult = FALSE;
    EXPECT_FALSE(folder.ObjectNotify(&notify));
    EXPECT_EQ(folder.m_lastNotifyResult, FALSE);
}

TEST_F(Folder, TracesWhatANotificationIsAbout) {
    FolderDouble folder;
    Initialize(folder);
    OBJNOTIFY notify = Notice(780, u"KEZContact");
    notify.oidObject = 4711;
    notify.oidInfo.wObjType = OBJTYPE_FILE;
    notify.uFlags = ONF_FILE | ONF_CHANGED;
    Trace(50);
    folder.ObjectNotify(&notify);
    EXPECT_THAT(Log(), ElementsAre("CBaseFolder::ObjectNotify (oid=4711, wObjType=1, UFlags=0x11)"));
}

TEST_F(Folder, ForwardsListingsAndTimesToItsDatabase) {
    FolderDouble folder;
    Initialize(folder);
    FILETIME time;
    EXPECT_EQ(folder.FindObjects(nullptr), 7);
    EXPECT_EQ(folder.GetObjTypeInfo(nullptr), TRUE);
    EXPECT_TRUE(folder.GetLastDttm(&time));
    folder.EndSync();
    EXPECT_THAT(folder.notes, ElementsAre("FindObjects", "GetObjTypeInfo", "GetLastDttm", "CloseDbDelta"));
}

TEST_F(Folder, EndSyncWithoutADatabaseDoesNothing) {
    FolderDouble folder;
    folder.EndSync();
    EXPECT_THAT(folder.notes, IsEmpty());
}

TEST_F(Folder, SyncDataPurgesForTheCodesOneAndTwoOnly) {
    FolderDouble folder;
    Initialize(folder);
    folder.Database().purgeResult = E_FAIL;
    SDREQUEST request = {};
    for (UINT code : {1u, 2u}) {
        request.uCode = code;
        EXPECT_EQ(folder.SyncData(&request), E_FAIL) << code;
    }
    for (UINT code : {0u, 4u, 8u}) {
        request.uCode = code;
        EXPECT_EQ(folder.SyncData(&request), 0) << code;
    }
    EXPECT_THAT(folder.notes, ElementsAre("Purge", "Purge"));
}

TEST_F(Folder, SyncDataEndsWithTheSameTraceOnEveryPath) {
    FolderDouble folder;
    SDREQUEST request = {};
    request.uCode = 2;
    Trace(50);
    EXPECT_EQ(folder.SyncData(&request), 0) << "without a database nothing is purged";
    StartLog(0);
    Initialize(folder);
    Trace(50);
    folder.SyncData(&request);
    EXPECT_THAT(Log(), ElementsAre("CBaseFolder::SyncData +", "CBaseFolder::SyncData (m_DB == NULL) -"));
}

// Answers every virtual operation with its place in the order.
class FolderSlots : public CBaseFolder {
 public:
    int slot = -1;
    BOOL CreateDB(UINT) override { return Hit<BOOL>(1); }
    LPCWSTR GetObjTypeName() override { return Hit<int>(2), TEXT(""); }
    LPCWSTR GetDataFileName() override { return Hit<int>(3), TEXT(""); }
    BOOL Initialize(IReplObjHandler**, UINT) override { return Hit<BOOL>(4); }
    BOOL UnInitialize() override { return Hit<BOOL>(5); }
    BOOL GetLastDttm(FILETIME*) override { return Hit<BOOL>(6); }
    BOOL ObjectNotify(OBJNOTIFY*) override { return Hit<BOOL>(7); }
    HRESULT FindObjects(FINDOBJINFO*) override { return Hit<HRESULT>(8); }
    HRESULT GetObjTypeInfo(OBJTYPEINFO*) override { return Hit<HRESULT>(9); }
    HRESULT SyncData(SDREQUEST*) override { return Hit<HRESULT>(10); }
    void EndSync() override { Hit<int>(11); }
    UINT GetPartnerIndex() override { return Hit<UINT>(12); }

 private:
    template <class T>
    T Hit(int number) {
        slot = number;
        return static_cast<T>(number);
    }
};

TEST_F(Folder, EveryOperationIsReachedThroughItsPlaceInTheTable) {
    FolderSlots folder;
    void* const* table = *reinterpret_cast<void* const* const*>(static_cast<CBaseFolder*>(&folder));
    for (int slot = 1; slot <= 12; ++slot) {
        using Operation = void (*)(CBaseFolder*, void*, void*);
        reinterpret_cast<Operation>(table[slot + 1])(&folder, nullptr, nullptr);
        EXPECT_EQ(folder.slot, slot);
    }
}

}  // namespace
}  // namespace kez::tests
