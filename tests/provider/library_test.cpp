// The provider as a shared library: what it exports, how it comes and goes, and the log of a whole scenario.
#include <gmock/gmock.h>

#include <cstdio>
#include <set>

#include "platform/changewriter/change_writer.h"
#include "tests/provider/library.h"
#include "tests/support/child_process.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/log_text.h"
#include "tests/support/meant_leak.h"
#include "tests/support/outlook.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using ::testing::Contains;

// A device with change tables and the change writer at work, as it is in use.
class ProviderLibrary : public ::testing::Test {
 protected:
    ProviderLibrary() {
        MutexesStayOpen();
        changewriter::CreateChangeTables();
    }

    // What the owner did reaches the change tables.
    static void LetChangeWriterWork() { changewriter::Drain(); }

    std::vector<std::string> Log(const char* file = "DevLog.txt") const { return LogLinesOf(device.ReadText(file)); }

    TestDevice device;
};

TEST(ProviderLibraryFile, ExportsItsSixFunctionsAndNothingElse) {
    const std::string command = std::string("nm -D --defined-only '") + KEZ_PROVIDER + "'";
    std::FILE* listing = popen(command.c_str(), "r");
    ASSERT_NE(listing, nullptr);
    std::set<std::string> names;
    char address[64], kind[8], name[512];
    while (std::fscanf(listing, "%63s %7s %511s", address, kind, name) == 3) {
        EXPECT_STREQ(kind, "T") << name;
        names.insert(name);
    }
    ASSERT_EQ(pclose(listing), 0);
    EXPECT_EQ(names, (std::set<std::string>{"FindObjects", "GetObjTypeInfo", "InitObjType", "ObjectNotify",
                                            "ReportStatus", "SyncData"}));
}

TEST_F(ProviderLibrary, AnswersThroughItsExports) {
    Outlook owner;
    owner.AddContact(u"Ann");
    Library library;
    IReplObjHandler* handler = library.Initialize(u"KEZContact", 1);
    ASSERT_NE(handler, nullptr);
    OBJTYPEINFO info = {};
    info.cbStruct = sizeof info;
    wcscpy(info.szObjType, u"KEZContact");
    EXPECT_NE(library.GetObjTypeInfo(&info), 0);
    EXPECT_EQ(info.cObjects, 1u);
    EXPECT_EQ(library.Initialize(u"kezcontact", 1), nullptr);
    EXPECT_TRUE(library.ReportStatus(nullptr, RSC_CONNECTION_CHG, 1));
    EXPECT_EQ(library.FindObjects(nullptr), 0);
    EXPECT_FALSE(library.ObjectNotify(nullptr));
    SDREQUEST request = {};
    request.uCode = 4;
    EXPECT_EQ(library.SyncData(&request), 0);
    EXPECT_TRUE(library.InitObjType(nullptr, nullptr, 1));
    handler->Release();
}

TEST_F(ProviderLibrary, LeavesTheProcessWhenUnloaded) {
    EXPECT_FALSE(Library::IsLoaded());
    {
        Library library;
        EXPECT_TRUE(Library::IsLoaded());
    }
    EXPECT_FALSE(Library::IsLoaded());
}

TEST_F(ProviderLibrary, EachLoadBeginsANewLogAndKeepsThePreviousOne) {
    device.WriteText("KezLog.ini", "");
    { Library library; }
    const std::vector<std::string> first = Log();
    EXPECT_THAT(first, Contains("CKEZASPContactStore::CKEZASPContactStore"));
    { Library library; }
    EXPECT_EQ(Log(), first);
    EXPECT_EQ(Log("DevLog-.txt"), first);
}

// --- The end of the library ---

// In a process of its own: loads the library, logs, and ends as `end` says.
void RunToTheEnd(const std::filesystem::path& folder, const std::function<void(Library&)>& end) {
    ChildProcess child([&](const ChildProcess::Line&) {
        control::OpenDevice(folder);
        auto* library = new Library;
        library->ReportStatus(nullptr, RSC_BEGIN_SYNC, 0);
        end(*library);
        return 0;
    });
    EXPECT_EQ(child.Wait(), 0);
}

class LibraryEnd : public ::testing::Test {
 protected:
    LibraryEnd() {
        control::CreateDevice(folder.Path() / "device", "UTC");
        std::ofstream(folder.Path() / "device" / "KezLog.ini");
    }
    std::vector<std::string> Log() const {
        std::ifstream in(folder.Path() / "device" / "DevLog.txt", std::ios::binary);
        return LogLinesOf(std::string(std::istreambuf_iterator<char>(in), {}));
    }
    TemporaryFolder folder;
};

TEST_F(LibraryEnd, OnUnloadTheEntryPointClosesTheLogBeforeTheStoreIsDestroyed) {
    RunToTheEnd(folder.Path() / "device", [](Library& library) {
        library.Unload();
        EXPECT_FALSE(Library::IsLoaded());
    });
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log().back(), "CKEZASPContactStore::ReportStatus RSC_BEGIN_SYNC");
}

TEST_F(LibraryEnd, AtTheEndOfAProcessTheStoreIsDestroyedFirstAndStillLogs) {
    RunToTheEnd(folder.Path() / "device", [](Library&) { std::exit(0); });
    EXPECT_THAT(Log(), Contains("CKEZASPContactStore::~CKEZASPContactStore"));
    ASSERT_FALSE(Log().empty());
    EXPECT_EQ(Log().back(), "CKEZASPContactStore::Cleanup()-");
}

// --- A whole scenario ---

TEST_F(ProviderLibrary, TheLogOfAWholeScenarioReadsAsExpected) {
    CEOID ann, bob;
    {
        Outlook owner;
        ann = owner.AddContact(u"Ann");
        bob = owner.AddContact(u"Bob");
        owner.AddTask(u"Call Bob");
        owner.AddAppointment(u"Breakfast", 46084.375);
    }
    LetChangeWriterWork();
    device.WriteText("KezLog.ini", "");
    {
        Library library;
        std::vector<IReplObjHandler*> handlers;
        {
            MeantLeak overwritten;
            for (UINT partner : {1u, 2u}) {
                for (const char16_t* type : kTypeNames) handlers.push_back(library.Initialize(type, partner));
            }
        }
        EXPECT_EQ(library.List(u"KEZContact"), std::pair(0u, 2u));
        EXPECT_EQ(library.List(u"KEZTask"), std::pair(0u, 1u));
        EXPECT_EQ(library.List(u"KEZAppointment"), std::pair(0u, 1u));
        EXPECT_EQ(library.List(u"KEZContact"), std::pair(2u, 0u)) << "a change is listed once";
        {
            Outlook owner;
            const Held<IContact> changed = owner.Contact(ann);
            changed->put_LastName(Bstr(u"Example"));
            changed->Save();
            owner.Contact(bob)->Delete();
        }
        LetChangeWriterWork();
        EXPECT_TRUE(device.Exists("KezChgFile.kez"));
        OBJNOTIFY notify;
        EXPECT_TRUE(library.NotifyTrigger(u"KEZContact", 2, &notify));
        EXPECT_EQ(notify.cOidChg, 1u);
        EXPECT_EQ(notify.cOidDel, 1u);
        EXPECT_EQ(notify.poid[0], ann);
        EXPECT_EQ(notify.poid[1], bob);
        for (UINT code = 0; code <= 26; ++code) library.ReportStatus(nullptr, code, 0);
        SDREQUEST request = {};
        request.fSet = TRUE;
        request.uCode = 1;
        EXPECT_EQ(library.SyncData(&request), 0);
        library.ReportStatus(nullptr, RSC_END_SYNC, 0);
        EXPECT_TRUE(library.InitObjType(nullptr, nullptr, 1));
        for (IReplObjHandler* handler : handlers) handler->Release();
    }
    {
        Outlook owner;
        EXPECT_EQ(owner.Count(olFolderContacts), 0);
        EXPECT_EQ(owner.Count(olFolderTasks), 0);
        EXPECT_EQ(owner.Count(olFolderCalendar), 0);
    }
    EXPECT_EQ(DifferenceFrom(std::string(KEZ_TEST_DATA) + "/provider/scenario.txt", Log()), "");
}

}  // namespace
}  // namespace kez::tests
