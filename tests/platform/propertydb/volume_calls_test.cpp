// Volumes, databases, sessions and notifications: what each call gives, and with which last error it fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <sys/resource.h>
#include <csignal>

#include "platform/control/notification_window.h"
#include "platform/propertydb/volume.h"
#include "property_world.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {
namespace {

using ::testing::ElementsAre;
using ::testing::Pair;

WCHAR* Path(const WCHAR* path) { return const_cast<WCHAR*>(path); }

class VolumeCalls : public ::testing::Test {
 protected:
    DWORD MountError(const WCHAR* path, DWORD disposition) {
        CEGUID guid;
        SetLastError(0);
        const BOOL done = CeMountDBVolEx(&guid, Path(path), nullptr, disposition);
        const DWORD error = GetLastError();
        if (done) {
            EXPECT_TRUE(CeUnmountDBVol(&guid));
        }
        EXPECT_TRUE(done || error != 0);
        return error;
    }
    LiveCountsCheck m_counts;
    TestDevice m_device;
};

TEST_F(VolumeCalls, EachDispositionTakesAMissingAnExistingAndAMountedVolumeAsItShould) {
    struct Row {
        DWORD disposition;
        DWORD missing, existing, mounted;  // last error; 0 also where the call succeeds without one
    };
    const Row rows[] = {
        {CREATE_NEW, 0, ERROR_ALREADY_EXISTS, ERROR_ALREADY_EXISTS},
        {CREATE_ALWAYS, 0, 0, ERROR_ACCESS_DENIED},
        {OPEN_EXISTING, ERROR_FILE_NOT_FOUND, 0, 0},
        {OPEN_ALWAYS, 0, ERROR_ALREADY_EXISTS, ERROR_ALREADY_EXISTS},
        {TRUNCATE_EXISTING, ERROR_FILE_NOT_FOUND, 0, ERROR_ACCESS_DENIED},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.disposition);
        std::filesystem::remove(m_device.Folder() / "v.vol");
        EXPECT_EQ(MountError(TEXT("\\v.vol"), row.disposition), row.missing);
        {
            Mounted made(TEXT("\\v.vol"), OPEN_ALWAYS);
            MakeDatabase(made.Guid(), TEXT("kept"));
        }
        EXPECT_EQ(MountError(TEXT("\\v.vol"), row.disposition), row.existing);
        const bool replaced = row.disposition == CREATE_ALWAYS || row.disposition == TRUNCATE_EXISTING;
        EXPECT_EQ(propertydb::Volume::Open(TEXT("\\v.vol"))->FindDatabase(u"KEPT") == 0, replaced);
        Mounted mounted(TEXT("\\v.vol"), OPEN_EXISTING);
        EXPECT_EQ(MountError(TEXT("\\V.VOL"), row.disposition), row.mounted);
    }
}

TEST_F(VolumeCalls, BadMountsAreRefused) {
    CEGUID guid;
    EXPECT_FALSE(CeMountDBVolEx(nullptr, Path(TEXT("\\v.vol")), nullptr, OPEN_ALWAYS));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(CeMountDBVolEx(&guid, nullptr, nullptr, OPEN_ALWAYS));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MountError(TEXT("\\v.vol"), 0), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MountError(TEXT("\\v.vol"), 6), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MountError((u"\\" + std::u16string(300, u'x')).c_str(), OPEN_ALWAYS), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MountError(TEXT("\\no folder\\v.vol"), OPEN_ALWAYS), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(MountError(TEXT("\\no folder\\v.vol"), OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    std::filesystem::create_directory(m_device.Folder() / "folder");
    EXPECT_EQ(MountError(TEXT("\\folder"), OPEN_EXISTING), ERROR_ACCESS_DENIED);
}

TEST_F(VolumeCalls, AFileThatIsNoVolumeIsRefusedAndLeftAsItIs) {
    m_device.WriteText("text.vol", "This is a letter, and a long one at that: " + std::string(5000, 'x'));
    m_device.WriteText("empty.vol", "");
    m_device.WriteText("short.vol", "SQLite format 3");
    sqlite3* other = nullptr;
    sqlite3_open((m_device.Folder() / "other.vol").c_str(), &other);
    sqlite3_exec(other, "CREATE TABLE state (x); INSERT INTO state VALUES (1)", nullptr, nullptr, nullptr);
    sqlite3_close(other);
    for (const std::string name : {"text", "empty", "short", "other"}) {
        SCOPED_TRACE(name);
        const std::string before = m_device.ReadText(name + ".vol");
        const std::u16string path = u"\\" + std::u16string(name.begin(), name.end()) + u".vol";
        EXPECT_EQ(MountError(path.c_str(), OPEN_EXISTING), ERROR_BAD_FORMAT);
        EXPECT_EQ(MountError(path.c_str(), OPEN_ALWAYS), ERROR_BAD_FORMAT);
        EXPECT_EQ(m_device.ReadText(name + ".vol"), before);
    }
}

TEST_F(VolumeCalls, ATruncatedVolumeIsRefusedAndLeftAsItIs) {
    {
        Mounted made(TEXT("\\v.vol"), CREATE_NEW);
        MakeDatabase(made.Guid(), TEXT("any"));
    }
    const std::string whole = m_device.ReadText("v.vol");
    const std::string half = whole.substr(0, whole.size() / 4096 * 2048);
    m_device.WriteText("v.vol", half);
    EXPECT_EQ(MountError(TEXT("\\v.vol"), OPEN_EXISTING), ERROR_INTERNAL_DB_CORRUPTION);
    EXPECT_EQ(m_device.ReadText("v.vol"), half);
    m_device.WriteText("v.vol", whole);
    EXPECT_EQ(MountError(TEXT("\\v.vol"), OPEN_EXISTING), 0u);
}

TEST_F(VolumeCalls, MountingAgainGivesTheSameIdentifierAndCounts) {
    CEGUID one, two;
    ASSERT_TRUE(CeMountDBVolEx(&one, Path(TEXT("\\v.vol")), nullptr, CREATE_NEW));
    ASSERT_TRUE(CeMountDBVolEx(&two, Path(TEXT("\\V.vol")), nullptr, OPEN_EXISTING));
    EXPECT_EQ(std::memcmp(&one, &two, sizeof one), 0);
    EXPECT_FALSE(CheckSystemGuid(&one) || CheckInvalidGuid(&one));
    EXPECT_TRUE(CeUnmountDBVol(&one));
    EXPECT_TRUE(CeFlushDBVol(&one));
    EXPECT_TRUE(CeUnmountDBVol(&one));
    EXPECT_FALSE(CeUnmountDBVol(&one));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_FALSE(CeFlushDBVol(&one));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_FALSE(CeUnmountDBVol(nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(CeFlushDBVol(nullptr));
    CEGUID system;
    CREATE_SYSTEMGUID(&system);
    EXPECT_FALSE(CeFlushDBVol(&system));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(VolumeCalls, AVolumeStaysWhileADatabaseOfItIsOpen) {
    CEGUID guid, again;
    ASSERT_TRUE(CeMountDBVolEx(&guid, Path(TEXT("\\v.vol")), nullptr, CREATE_NEW));
    const CEOID database = MakeDatabase(&guid, TEXT("any"));
    Opened open(&guid, database);
    EXPECT_TRUE(CeUnmountDBVol(&guid));
    EXPECT_NE(open.Write(0, {NumberValue(kNumber, 1)}), 0u);
    ASSERT_TRUE(CeMountDBVolEx(&again, Path(TEXT("\\v.vol")), nullptr, OPEN_EXISTING));
    EXPECT_EQ(std::memcmp(&guid, &again, sizeof guid), 0);
    open.Close();
    EXPECT_TRUE(CeUnmountDBVol(&again));
    CEOIDINFOEX info{};
    info.wVersion = 2;
    EXPECT_FALSE(CeOidGetInfoEx2(&guid, database, &info));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
}

TEST_F(VolumeCalls, ACopyBesideItsVolumeIsAnotherVolume) {
    { Mounted made(TEXT("\\a.vol"), CREATE_NEW); }
    std::filesystem::copy_file(m_device.Folder() / "a.vol", m_device.Folder() / "b.vol");
    Mounted a(TEXT("\\a.vol")), b(TEXT("\\b.vol"));
    EXPECT_NE(std::memcmp(a.Guid(), b.Guid(), sizeof(CEGUID)), 0);
}

TEST_F(VolumeCalls, MountedVolumesAreEnumerated) {
    Mounted a(TEXT("\\a.vol")), b(TEXT("\\b.vol"));
    CEGUID at;
    CREATE_INVALIDGUID(&at);
    WCHAR path[MAX_PATH];
    EXPECT_FALSE(CeEnumDBVolumes(&at, path, 3));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    ASSERT_TRUE(CeEnumDBVolumes(&at, path, MAX_PATH));
    EXPECT_EQ(std::u16string(path), u"\\a.vol");
    ASSERT_TRUE(CeEnumDBVolumes(&at, path, MAX_PATH));
    EXPECT_EQ(std::u16string(path), u"\\b.vol");
    EXPECT_FALSE(CeEnumDBVolumes(&at, path, MAX_PATH));
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
    at.Data2 ^= 1;
    EXPECT_FALSE(CeEnumDBVolumes(&at, path, MAX_PATH));
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
}

TEST_F(VolumeCalls, AFullVolumeIsError112AndKeepsWhatItHas) {
    CEVOLUMEOPTIONS options{};
    options.cMaxSize = 200 * 1024;
    Mounted volume(TEXT("\\small.vol"), CREATE_NEW, &options);
    Opened open(volume.Guid(), MakeDatabase(volume.Guid(), TEXT("any")));
    std::vector<BYTE> bytes(5000, 1);
    std::size_t written = 0;
    while (open.Write(0, {BlobValue(kBlob, bytes)})) ASSERT_LT(++written, 100u);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    EXPECT_GT(written, 10u);
    EXPECT_EQ(open.All().size(), written);
    EXPECT_TRUE(open.Delete(open.Seek(CEDB_SEEK_BEGINNING, 0)));
    EXPECT_NE(open.Write(0, {NumberValue(kNumber, 1)}), 0u);
}

TEST_F(VolumeCalls, AFullDiskIsError112AndKeepsWhatItHas) {
    Mounted volume(TEXT("\\v.vol"), CREATE_NEW);
    Opened open(volume.Guid(), MakeDatabase(volume.Guid(), TEXT("any")));
    std::vector<BYTE> bytes(50000, 1);
    ASSERT_NE(open.Write(0, {BlobValue(kBlob, bytes)}), 0u);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    rlimit small = before;
    small.rlim_cur = 1000000;
    setrlimit(RLIMIT_FSIZE, &small);
    std::size_t written = 1;
    while (open.Write(0, {BlobValue(kBlob, bytes)}) && written < 100) ++written;
    const DWORD error = GetLastError();
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
    EXPECT_EQ(error, ERROR_DISK_FULL);
    EXPECT_EQ(open.All().size(), written);
    EXPECT_NE(open.Write(0, {BlobValue(kBlob, bytes)}), 0u);
}

// --- Databases ----------------------------------------------------------------------------------------------

class DatabaseCalls : public VolumeCalls {
 protected:
    DWORD OpenError(CEGUID* volume, CEOID oid, const WCHAR* name, SORTORDERSPECEX* sort, DWORD flags = 0) {
        SetLastError(0);
        const HANDLE handle = CeOpenDatabaseInSession(nullptr, volume, &oid, Path(name), sort, flags, nullptr);
        const DWORD error = GetLastError();
        if (handle != INVALID_HANDLE_VALUE) CloseHandle(handle);
        EXPECT_EQ(handle == INVALID_HANDLE_VALUE, error != 0);
        return error;
    }
    Mounted m_volume;
};

TEST_F(DatabaseCalls, InformationComesBackByteForByte) {
    const std::vector<SORTORDERSPECEX> orders = {
        OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY),
        OrderOf({{kText, CEDB_SORT_CASEINSENSITIVE | CEDB_SORT_DESCENDING}, {kNumber}})};
    const CEOID oid = MakeDatabase(m_volume.Guid(), TEXT("\\KEZDeltaX"), orders, 24);
    Opened open(m_volume.Guid(), oid, &orders[1]);
    const CEOID record = open.Write(0, {NumberValue(kNumber, 1)});
    CEOIDINFOEX info{};
    info.wVersion = 2;
    info.wObjType = 77;
    ASSERT_TRUE(CeOidGetInfoEx2(m_volume.Guid(), oid, &info));
    EXPECT_EQ(info.wObjType, OBJTYPE_DATABASE);
    EXPECT_EQ(info.infDatabase.wVersion, 2);
    EXPECT_EQ(std::u16string(info.infDatabase.szDbaseName), u"\\KEZDeltaX");
    EXPECT_EQ(info.infDatabase.dwDbaseType, 24u);
    EXPECT_EQ(info.infDatabase.dwNumRecords, 1u);
    EXPECT_EQ(info.infDatabase.wNumSortOrder, 2u);
    EXPECT_EQ(std::memcmp(info.infDatabase.rgSortSpecs, orders.data(), 2 * sizeof(SORTORDERSPECEX)), 0);
    EXPECT_NE(info.infDatabase.ftLastModified.dwHighDateTime, 0u);
    BY_HANDLE_DB_INFORMATION byHandle{};
    byHandle.wVersion = 1;
    ASSERT_TRUE(CeGetDBInformationByHandle(open.Get(), &byHandle));
    EXPECT_EQ(byHandle.oidDbase, oid);
    EXPECT_EQ(byHandle.infDatabase.dwNumRecords, 1u);
    ASSERT_TRUE(CeOidGetInfoEx2(m_volume.Guid(), record, &info));
    EXPECT_EQ(info.wObjType, OBJTYPE_RECORD);
    EXPECT_EQ(info.infRecord.oidParent, oid);
}

TEST_F(DatabaseCalls, InformationIsRefusedAsTabled) {
    const CEOID oid = MakeDatabase(m_volume.Guid(), TEXT("any"));
    CEGUID unknown{1, 2, 3, 4};
    struct Row {
        CEGUID* volume;
        CEOID oid;
        WORD version;
        DWORD error;
    };
    const Row rows[] = {
        {m_volume.Guid(), oid, 1, ERROR_INVALID_PARAMETER},
        {m_volume.Guid(), 0, 2, ERROR_INVALID_PARAMETER},
        {nullptr, oid, 2, ERROR_INVALID_PARAMETER},
        {m_volume.Guid(), oid + 1, 2, ERROR_INVALID_HANDLE},
        {&unknown, oid, 2, ERROR_NOT_FOUND},
    };
    for (const Row& row : rows) {
        CEOIDINFOEX info{};
        info.wVersion = row.version;
        EXPECT_FALSE(CeOidGetInfoEx2(row.volume, row.oid, &info));
        EXPECT_EQ(GetLastError(), row.error);
    }
    EXPECT_FALSE(CeOidGetInfoEx2(m_volume.Guid(), oid, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(DatabaseCalls, OpeningFindsByNameWithoutCaseAndRefusesAsTabled) {
    SORTORDERSPECEX order = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    SORTORDERSPECEX other = OrderOf({{kText}});
    SORTORDERSPECEX zero{};
    SORTORDERSPECEX old = order;
    old.wVersion = 1;
    const CEOID oid = MakeDatabase(m_volume.Guid(), TEXT("Names"), {order});
    CEGUID unknown{1, 2, 3, 4}, invalid, all{0xFF, 0, 0, 0};
    CREATE_INVALIDGUID(&invalid);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("nAMES"), &order), 0u);
    EXPECT_EQ(OpenError(&all, 0, TEXT("Names"), nullptr), 0u);
    EXPECT_EQ(OpenError(m_volume.Guid(), oid, TEXT("ignored"), nullptr), 0u);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("\\Names"), nullptr), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("Names"), &other), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("Names"), &zero), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("Names"), &old), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, TEXT("Names"), nullptr, 8), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(m_volume.Guid(), 0, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(nullptr, 0, TEXT("Names"), nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(OpenError(&unknown, 0, TEXT("Names"), nullptr), ERROR_NOT_FOUND);
    EXPECT_EQ(OpenError(&invalid, 0, TEXT("Names"), nullptr), ERROR_NOT_FOUND);
    CEOID found = 0;
    const HANDLE handle =
        CeOpenDatabaseInSession(nullptr, m_volume.Guid(), &found, Path(TEXT("Names")), nullptr, 0, nullptr);
    EXPECT_EQ(found, oid);
    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(CloseHandle(handle));
}

TEST_F(DatabaseCalls, ASchemaTakesItsColumnsOnly) {
    CEDBASEINFOEX info = InfoFor(TEXT("columns"), {OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY)});
    CEPROPSPEC specs[2] = {};
    specs[0] = {1, kText, DB_PROP_NOTNULL, Path(TEXT("name")), 0};
    specs[1] = {1, Id(7, CEVT_AUTO_I4), 0, nullptr, 0};
    const CEOID oid = CeCreateDatabaseWithProps(m_volume.Guid(), &info, 2, specs);
    ASSERT_NE(oid, 0u);
    Opened open(m_volume.Guid(), oid);
    EXPECT_EQ(open.Write(0, {NumberValue(kNumber, 1)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED) << "the name must not be missing";
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1), TextValue(kText, TEXT("a"))});
    EXPECT_EQ(open.Read().Number(Id(7, CEVT_AUTO_I4)), 1);
    open.Write(0, {NumberValue(kNumber, 2), TextValue(kText, TEXT("b"))});
    EXPECT_EQ(open.Read().Number(Id(7, CEVT_AUTO_I4)), 2);
    EXPECT_EQ(open.Write(a, {Removal(kText)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(open.Write(a, {NumberValue(kSigned, 1)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    Opened growing(m_volume.Guid(), oid, nullptr, EDB_USE_CEDB_WRITE_SEMANTICS);
    EXPECT_EQ(growing.Write(a, {NumberValue(kSigned, 1)}), a);
    WORD count = 0;
    EXPECT_TRUE(CeGetDatabaseProps(m_volume.Guid(), oid, &count, nullptr));
    EXPECT_EQ(count, 4u);
    CEPROPID strip = kSigned, key = kNumber;
    EXPECT_TRUE(CeRemoveDatabaseProps(m_volume.Guid(), oid, 1, &strip));
    EXPECT_EQ(open.Seek(CEDB_SEEK_CEOID, static_cast<LONG>(a)), a);
    EXPECT_FALSE(open.Read().Has(kSigned));
    EXPECT_FALSE(CeRemoveDatabaseProps(m_volume.Guid(), oid, 1, &key));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    CEPROPSPEC twice{1, kText, 0, nullptr, 0};
    EXPECT_FALSE(CeAddDatabaseProps(m_volume.Guid(), oid, 1, &twice));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
}

TEST_F(DatabaseCalls, ADatabaseMadeWithoutColumnsAdoptsThoseOfItsFirstRecord) {
    CEDBASEINFOEX info = InfoFor(TEXT("adopts"));
    Opened open(m_volume.Guid(), CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr));
    EXPECT_NE(open.Write(0, {NumberValue(kNumber, 1), TextValue(kText, TEXT("a"))}), 0u);
    EXPECT_NE(open.Write(0, {NumberValue(kNumber, 2)}), 0u);
    EXPECT_EQ(open.Write(0, {NumberValue(kSigned, 2)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(DatabaseCalls, MakingADatabaseIsRefusedAsTabled) {
    MakeDatabase(m_volume.Guid(), TEXT("taken"));
    const SORTORDERSPECEX primary = OrderOf({{kNumber}}, CEDB_SORT_PRIMARYKEY);
    CEGUID unknown{1, 2, 3, 4};
    const auto refused = [](CEOID oid, DWORD error) {
        EXPECT_EQ(oid, 0u);
        EXPECT_EQ(GetLastError(), error);
    };
    CEDBASEINFOEX info = InfoFor(TEXT("Taken"));
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr), ERROR_DUP_NAME);
    info = InfoFor(TEXT("new"), {primary, OrderOf({{kSigned}}, CEDB_SORT_PRIMARYKEY)});
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr), ERROR_ACCESS_DENIED);
    info = InfoFor(TEXT("new"));
    info.dwFlags |= CEDB_VALIDMODTIME;
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr), ERROR_NOT_SUPPORTED);
    info = InfoFor(TEXT("new"));
    info.wVersion = 1;
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr), ERROR_INVALID_PARAMETER);
    info = InfoFor(TEXT("new"));
    refused(CeCreateDatabaseWithProps(&unknown, &info, 0, nullptr), ERROR_NOT_FOUND);
    std::fill_n(info.szDbaseName, CEDB_MAXDBASENAMELEN, u'x');
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 0, nullptr), ERROR_BAD_LENGTH);
    EXPECT_NE(CeCreateDatabaseEx2(m_volume.Guid(), &info), 0u) << "this one cuts the name";
    info = InfoFor(TEXT("ends in\\"));
    refused(CeCreateDatabaseEx2(m_volume.Guid(), &info), ERROR_INVALID_PARAMETER);
    info = InfoFor(TEXT(""));
    refused(CeCreateDatabaseEx2(m_volume.Guid(), &info), ERROR_INVALID_PARAMETER);
    info = InfoFor(TEXT("new"));
    CEPROPSPEC twice[] = {{1, kText, 0, nullptr, 0}, {1, kText, 0, nullptr, 0}};
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 2, twice), ERROR_ALREADY_EXISTS);
    CEPROPSPEC automatic[] = {{1, Id(1, CEVT_AUTO_I4), 0, nullptr, 0}, {1, Id(2, CEVT_AUTO_I8), 0, nullptr, 0}};
    refused(CeCreateDatabaseWithProps(m_volume.Guid(), &info, 2, automatic), ERROR_ALREADY_EXISTS);
}

TEST_F(DatabaseCalls, SortOrdersCanBeReplacedOverRecords) {
    const SORTORDERSPECEX byNumber = OrderOf({{kNumber}}), byText = OrderOf({{kText}}, CEDB_SORT_UNIQUE);
    const CEOID oid = MakeDatabase(m_volume.Guid(), TEXT("any"), {byNumber});
    CEOID a = 0, b = 0;
    CEDBASEINFOEX info = InfoFor(TEXT("renamed"), {byText}, 9);
    {
        Opened open(m_volume.Guid(), oid, &byNumber);
        a = open.Write(0, {NumberValue(kNumber, 1), TextValue(kText, TEXT("z"))});
        b = open.Write(0, {NumberValue(kNumber, 2), TextValue(kText, TEXT("y"))});
        EXPECT_FALSE(CeSetDatabaseInfoEx2(m_volume.Guid(), oid, &info));
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
        EXPECT_FALSE(CeDeleteDatabaseEx(m_volume.Guid(), oid));
        EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    }
    ASSERT_TRUE(CeSetDatabaseInfoEx2(m_volume.Guid(), oid, &info)) << GetLastError();
    {
        Opened open(m_volume.Guid(), oid, &byText);
        EXPECT_THAT(open.All(), ElementsAre(b, a));
        EXPECT_EQ(open.Write(0, {TextValue(kText, TEXT("y"))}), 0u);
        EXPECT_EQ(open.Write(b, {TextValue(kText, TEXT("zz")), NumberValue(kNumber, 1)}), b);
    }
    info = InfoFor(TEXT("renamed"), {OrderOf({{kNumber}}, CEDB_SORT_UNIQUE)});
    EXPECT_FALSE(CeSetDatabaseInfoEx2(m_volume.Guid(), oid, &info)) << "both have the number 1";
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_THAT(Opened(m_volume.Guid(), oid, &byText).All(), ElementsAre(a, b));
    EXPECT_TRUE(CeDeleteDatabaseEx(m_volume.Guid(), oid));
    EXPECT_FALSE(CeDeleteDatabaseEx(m_volume.Guid(), oid));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
}

TEST_F(DatabaseCalls, ASearchGivesWhatWasThereWhenItBegan) {
    const CEOID a = MakeDatabase(m_volume.Guid(), TEXT("a"), {}, 24);
    const CEOID b = MakeDatabase(m_volume.Guid(), TEXT("b"), {}, 25);
    const CEOID c = MakeDatabase(m_volume.Guid(), TEXT("c"), {}, 24);
    const HANDLE search = CeFindFirstDatabaseEx(nullptr, 24);
    const HANDLE all = CeFindFirstDatabaseEx(m_volume.Guid(), 0);
    CEGUID guid;
    EXPECT_EQ(CeFindNextDatabaseEx(search, &guid), a);
    EXPECT_TRUE(CeDeleteDatabaseEx(m_volume.Guid(), c));
    EXPECT_EQ(CeFindNextDatabaseEx(search, &guid), 0u);
    EXPECT_EQ(GetLastError(), ERROR_KEY_DELETED);
    EXPECT_EQ(CeFindNextDatabaseEx(search, &guid), 0u);
    EXPECT_EQ(GetLastError(), ERROR_NO_MORE_ITEMS);
    EXPECT_EQ(CeFindNextDatabaseEx(all, &guid), a);
    EXPECT_EQ(CeFindNextDatabaseEx(all, &guid), b);
    EXPECT_TRUE(CloseHandle(search));
    EXPECT_TRUE(CloseHandle(all));
    CEGUID unknown{1, 2, 3, 4};
    EXPECT_EQ(CeFindFirstDatabaseEx(&unknown, 0), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
}

// --- Sessions -----------------------------------------------------------------------------------------------

TEST_F(DatabaseCalls, WhatASessionWritesIsSeenByOthersAfterItsCommit) {
    const CEOID oid = MakeDatabase(m_volume.Guid(), TEXT("any"));
    const HANDLE session = CeCreateSession(m_volume.Guid());
    Opened inside(m_volume.Guid(), oid, nullptr, 0, session);
    Opened outside(m_volume.Guid(), oid);
    EXPECT_FALSE(CeEndTransaction(session, TRUE));
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    ASSERT_TRUE(CeBeginTransaction(session, CEDB_ISOLATION_READCOMMITTED));
    EXPECT_FALSE(CeBeginTransaction(session, CEDB_ISOLATION_READCOMMITTED));
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const CEOID a = inside.Write(0, {NumberValue(kNumber, 1)});
    EXPECT_THAT(inside.All(), ElementsAre(a));
    EXPECT_THAT(outside.All(), ElementsAre());
    ASSERT_TRUE(CeEndTransaction(session, TRUE));
    EXPECT_THAT(outside.All(), ElementsAre(a));
    ASSERT_TRUE(CeBeginTransaction(session, CEDB_ISOLATION_SERIALIZABLE));
    EXPECT_TRUE(inside.Delete(a));
    EXPECT_THAT(inside.All(), ElementsAre());
    ASSERT_TRUE(CeEndTransaction(session, FALSE));
    EXPECT_THAT(inside.All(), ElementsAre(a));
    EXPECT_FALSE(CeBeginTransaction(session, 4));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_FALSE(CeBeginTransaction(inside.Get(), 1));
    EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    const HANDLE same = CeGetDatabaseSession(inside.Get());
    ASSERT_TRUE(CeBeginTransaction(same, CEDB_ISOLATION_SERIALIZABLE));
    EXPECT_FALSE(CeBeginTransaction(session, CEDB_ISOLATION_SERIALIZABLE)) << "it is the same session";
    EXPECT_TRUE(CloseHandle(same));
    EXPECT_TRUE(CloseHandle(session)) << "the open transaction ends with the last handle";
    EXPECT_NE(outside.Write(0, {NumberValue(kNumber, 2)}), 0u);
    CEGUID unknown{1, 2, 3, 4};
    EXPECT_EQ(CeCreateSession(&unknown), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_NOT_FOUND);
    EXPECT_EQ(CeCreateSession(nullptr), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

TEST_F(VolumeCalls, AWriteThatMeetsAnOpenTransactionFailsAfterTheTimeout) {
    CEVOLUMEOPTIONS options{};
    options.dwDefaultTimeout = 5;
    Mounted volume(TEXT("\\v.vol"), CREATE_NEW, &options);
    const CEOID oid = MakeDatabase(volume.Guid(), TEXT("any"));
    const HANDLE session = CeCreateSession(volume.Guid());
    Opened inside(volume.Guid(), oid, nullptr, 0, session);
    Opened outside(volume.Guid(), oid);
    const CEOID a = outside.Write(0, {NumberValue(kNumber, 1)});
    ASSERT_TRUE(CeBeginTransaction(session, CEDB_ISOLATION_SERIALIZABLE));
    EXPECT_EQ(outside.Write(0, {NumberValue(kNumber, 2)}), 0u);
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_FALSE(outside.Delete(a));
    EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(CeEndTransaction(session, TRUE));
    EXPECT_TRUE(outside.Delete(a));
    EXPECT_TRUE(CloseHandle(session));
}

// --- Notifications ------------------------------------------------------------------------------------------

TEST_F(VolumeCalls, ChangesAreToldToTheWindowThatAskedUntilTheHandleIsClosed) {
    CEVOLUMEOPTIONS options{};
    options.cMaxNotifyChanges = 3;
    Mounted volume(TEXT("\\v.vol"), CREATE_NEW, &options);
    const CEOID oid = MakeDatabase(volume.Guid(), TEXT("any"));
    std::vector<std::pair<UINT, CEOID>> told;
    CENOTIFYREQUEST request{};
    request.dwSize = sizeof request;
    request.dwFlags = CEDB_EXNOTIFICATION;
    request.dwParam = 42;
    request.hwnd = control::RegisterWindow([&](UINT message, DWORD, void* data) {
        auto* notification = static_cast<CENOTIFICATION*>(data);
        EXPECT_EQ(message, WM_DBNOTIFICATION);
        EXPECT_EQ(notification->dwParam, 42u);
        EXPECT_EQ(notification->oidParent, notification->uType == DB_CEVOL_CHANGED ? 0 : oid);
        told.emplace_back(notification->uType, notification->oid);
        EXPECT_TRUE(CeFreeNotification(&request, notification));
    });
    Opened watching(volume.Guid(), oid, nullptr, 0, nullptr, &request);
    const HANDLE session = CeCreateSession(volume.Guid());
    Opened open(volume.Guid(), oid, nullptr, 0, session);
    const CEOID a = open.Write(0, {NumberValue(kNumber, 1)});
    open.Write(a, {NumberValue(kNumber, 2)});
    open.Delete(a);
    EXPECT_THAT(told,
                ElementsAre(Pair(DB_CEOID_CREATED, a), Pair(DB_CEOID_CHANGED, a), Pair(DB_CEOID_RECORD_DELETED, a)));
    told.clear();
    CeBeginTransaction(session, 1);
    for (ULONG i = 0; i < 4; ++i) open.Write(0, {NumberValue(kNumber, i)});
    EXPECT_TRUE(told.empty()) << "nothing is told before the commit";
    CeEndTransaction(session, TRUE);
    EXPECT_THAT(told, ElementsAre(Pair(DB_CEVOL_CHANGED, 0u)));
    told.clear();
    control::UnregisterWindow(request.hwnd);
    open.Write(0, {NumberValue(kNumber, 9)});  // the notification nobody takes is freed
    watching.Close();
    open.Write(0, {NumberValue(kNumber, 10)});
    EXPECT_TRUE(told.empty());
    EXPECT_TRUE(CloseHandle(session));
    request.dwFlags = 0;
    CEOID again = oid;
    EXPECT_EQ(CeOpenDatabaseInSession(nullptr, volume.Guid(), &again, nullptr, nullptr, 0, &request),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
}

}  // namespace
}  // namespace kez::tests
