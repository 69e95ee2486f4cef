// Files below the device folder: paths, dispositions, share modes, reading and writing, and what takes only a path.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "platform/kernel/device_path.h"
#include "tests/support/child_process.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace {

namespace fs = std::filesystem;
using kez::kernel::ToUtf8;
using kez::tests::ChildProcess;
using kez::tests::LiveCountsCheck;
using kez::tests::TestDevice;
using testing::ElementsAre;

constexpr DWORD kUnchanged = 4711;
constexpr DWORD kBoth = GENERIC_READ | GENERIC_WRITE;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE;
constexpr DWORD kOpened = 0;  // in a table of errors

HANDLE Open(LPCWSTR path, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING,
            DWORD attributes = FILE_ATTRIBUTE_NORMAL) {
    SetLastError(kUnchanged);
    return CreateFile(path, access, share, nullptr, disposition, attributes, nullptr);
}

// Opens and closes; the last error where that fails.
DWORD TryOpen(LPCWSTR path, DWORD access, DWORD share, DWORD disposition = OPEN_EXISTING) {
    const HANDLE file = Open(path, access, share, disposition);
    if (file == INVALID_HANDLE_VALUE) return GetLastError();
    CloseHandle(file);
    return kOpened;
}

std::string Read(HANDLE file, DWORD bytes) {
    std::string text(bytes, '\0');
    DWORD read = 99;
    EXPECT_EQ(ReadFile(file, text.data(), bytes, &read, nullptr), TRUE);
    text.resize(read);
    return text;
}

DWORD Write(HANDLE file, const std::string& text) {
    DWORD written = 99;
    EXPECT_EQ(WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr), TRUE);
    return written;
}

class Files : public testing::Test {
 protected:
    LiveCountsCheck m_live;
    TestDevice m_device;
};

// --- Dispositions -----------------------------------------------------------------------------------------

TEST_F(Files, EachDispositionDoesWhatItsRowSays) {
    struct Row {
        const char* name;
        DWORD disposition;
        bool exists;
        bool opens;
        DWORD error;
        const char* content;  // afterwards; null where there is no file
    };
    const Row rows[] = {
        {"CREATE_NEW", CREATE_NEW, true, false, 80, "old"},
        {"CREATE_NEW", CREATE_NEW, false, true, 0, ""},
        {"CREATE_ALWAYS", CREATE_ALWAYS, true, true, 183, ""},
        {"CREATE_ALWAYS", CREATE_ALWAYS, false, true, 0, ""},
        {"OPEN_EXISTING", OPEN_EXISTING, true, true, 0, "old"},
        {"OPEN_EXISTING", OPEN_EXISTING, false, false, 2, nullptr},
        {"OPEN_ALWAYS", OPEN_ALWAYS, true, true, 183, "old"},
        {"OPEN_ALWAYS", OPEN_ALWAYS, false, true, 0, ""},
        {"TRUNCATE_EXISTING", TRUNCATE_EXISTING, true, true, 0, ""},
        {"TRUNCATE_EXISTING", TRUNCATE_EXISTING, false, false, 2, nullptr},
        {"0", 0, true, false, 87, "old"},
        {"6", 6, true, false, 87, "old"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.name) + (row.exists ? ", file there" : ", file missing"));
        fs::remove(m_device.Folder() / "a.txt");
        if (row.exists) m_device.WriteText("a.txt", "old");
        const HANDLE file = Open(TEXT("\\a.txt"), GENERIC_WRITE, 0, row.disposition);
        EXPECT_EQ(GetLastError(), row.error);
        EXPECT_EQ(file != INVALID_HANDLE_VALUE, row.opens);
        if (row.opens) CloseHandle(file);
        EXPECT_EQ(m_device.Exists("a.txt"), row.content != nullptr);
        EXPECT_EQ(m_device.ReadText("a.txt"), row.content ? row.content : "");
    }
}

TEST_F(Files, TruncatingNeedsWriteAccess) {
    m_device.WriteText("a.txt", "old");
    EXPECT_EQ(TryOpen(TEXT("\\a.txt"), GENERIC_READ, 0, TRUNCATE_EXISTING), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(m_device.ReadText("a.txt"), "old");
}

TEST_F(Files, CreateAlwaysForReadingEmptiesTheFileToo) {
    m_device.WriteText("a.txt", "old");
    EXPECT_EQ(TryOpen(TEXT("\\a.txt"), GENERIC_READ, 0, CREATE_ALWAYS), kOpened);
    EXPECT_EQ(m_device.ReadText("a.txt"), "");
}

TEST_F(Files, EmptyingIsAWriteForThoseWhoHaveTheFileOpen) {
    m_device.WriteText("a.txt", "old");
    const HANDLE reader = Open(TEXT("\\a.txt"), GENERIC_READ, FILE_SHARE_READ);
    EXPECT_EQ(TryOpen(TEXT("\\a.txt"), GENERIC_READ, FILE_SHARE_READ, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(m_device.ReadText("a.txt"), "old");
    CloseHandle(reader);
}

// --- Paths ------------------------------------------------------------------------------------------------

TEST_F(Files, PathsThatNameNoFileFail) {
    fs::create_directory(m_device.Folder() / "dir");
    m_device.WriteText("file", "");
    fs::create_symlink("/etc", m_device.Folder() / "etc");
    fs::create_symlink("/etc/passwd", m_device.Folder() / "passwd");
    fs::create_symlink("nowhere", m_device.Folder() / "dangling");
    const std::u16string longPath = u"\\" + std::u16string(300, u'x');
    struct Row {
        const WCHAR* path;
        DWORD error;
    };
    const Row rows[] = {
        {TEXT("\\missing"), 2},
        {TEXT("\\missing\\file"), 3},
        {TEXT("\\file\\file"), 3},
        {TEXT(""), 3},
        {nullptr, 3},
        {TEXT("\\dir"), 5},
        {TEXT("\\"), 5},
        {TEXT("\\.."), 3},
        {TEXT("\\..\\file"), 3},
        {TEXT("\\dir\\..\\..\\file"), 3},
        {TEXT("\\dir\\../..\\file"), 3},
        {TEXT("\\etc\\passwd"), 3},
        {TEXT("\\passwd"), 3},
        {TEXT("\\dangling"), 3},
        {TEXT("\\a*b"), 123},
        {TEXT("\\a?b"), 123},
        {TEXT("\\a:b"), 123},
        {TEXT("\\a\tb"), 123},
        {TEXT("\\.kezdevice"), 123},
        {TEXT("\\.KEZDEVICE"), 123},
        {TEXT("\\dir\\..\\.kezmutex"), 123},
        {longPath.c_str(), 3},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(TryOpen(row.path, GENERIC_READ, kShareAll), row.error)
            << (row.path ? ToUtf8(row.path).substr(0, 40) : "no path");
    }
}

TEST_F(Files, PathsThatNameTheSameFileFindIt) {
    m_device.WriteText("Dir/Note.txt", "text");
    fs::create_symlink("Dir/Note.txt", m_device.Folder() / "link");
    for (const WCHAR* path : {TEXT("\\Dir\\Note.txt"), TEXT("\\dir\\note.TXT"), TEXT("\\DIR\\NOTE.TXT"),
                              TEXT("dir\\note.txt"), TEXT("\\\\dir\\\\note.txt"), TEXT("/dir/note.txt"),
                              TEXT("\\dir\\.\\note.txt"), TEXT("\\dir\\..\\dir\\note.txt"), TEXT("\\link")}) {
        EXPECT_EQ(TryOpen(path, GENERIC_READ, kShareAll), kOpened) << ToUtf8(path);
    }
}

TEST_F(Files, ANameIsKeptAsItWasSpelledWhenTheFileWasMade) {
    EXPECT_EQ(TryOpen(TEXT("\\MixedCase.Txt"), GENERIC_WRITE, 0, CREATE_NEW), kOpened);
    EXPECT_EQ(TryOpen(TEXT("\\MIXEDCASE.TXT"), GENERIC_WRITE, 0, CREATE_ALWAYS), kOpened);
    EXPECT_TRUE(m_device.Exists("MixedCase.Txt"));
    EXPECT_FALSE(m_device.Exists("MIXEDCASE.TXT"));
}

TEST_F(Files, OfNamesThatDifferInCaseOnlyTheExactOneCountsElseTheFirst) {
    m_device.WriteText("b", "lower");
    m_device.WriteText("B", "upper");
    m_device.WriteText("AB", "first");
    m_device.WriteText("Ab", "second");
    for (const auto& [path, content] : {std::pair{TEXT("\\b"), "lower"}, std::pair{TEXT("\\B"), "upper"}}) {
        const HANDLE file = Open(path, GENERIC_READ, 0);
        EXPECT_EQ(Read(file, 10), content);
        CloseHandle(file);
    }
    const HANDLE file = Open(TEXT("\\ab"), GENERIC_READ, 0);
    EXPECT_EQ(Read(file, 10), "first");
    CloseHandle(file);
}

TEST_F(Files, NamesBeyondAsciiAreUtf8OnTheHost) {
    EXPECT_EQ(TryOpen(TEXT("\\caf\u00E9 \u65E5\u672C"), GENERIC_WRITE, 0, CREATE_NEW), kOpened);
    EXPECT_TRUE(m_device.Exists("caf\u00E9 \u65E5\u672C"));
    EXPECT_EQ(TryOpen(TEXT("\\CAF\u00E9 \u65E5\u672C"), GENERIC_READ, 0), kOpened);
}

TEST_F(Files, WithoutADeviceThereIsNothing) {
    m_device.WriteText("a", "");
    kez::control::CloseDevice();
    EXPECT_EQ(TryOpen(TEXT("\\a"), GENERIC_READ, 0), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(DeleteFile(TEXT("\\a")), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_TRUE(m_device.Exists("a"));
}

// --- Share modes ------------------------------------------------------------------------------------------

struct ShareRow {
    DWORD firstAccess, firstShare, secondAccess, secondShare, error;
};
constexpr DWORD kRead = GENERIC_READ;
constexpr DWORD kWrite = GENERIC_WRITE;
constexpr DWORD kSr = FILE_SHARE_READ;
constexpr DWORD kSw = FILE_SHARE_WRITE;
constexpr ShareRow kShareRows[] = {
    {kWrite, 0, kRead, kShareAll, 32},
    {kWrite, kSr, kRead, kSr, 32},  // the second does not tolerate the writer
    {kWrite, kSr, kRead, kShareAll, kOpened},
    {kWrite, kSr, kWrite, kShareAll, 32},
    {kWrite, kShareAll, kWrite, kShareAll, kOpened},
    {kWrite, kSw, kWrite, kSw, kOpened},
    {kWrite, kSw, kRead, kShareAll, 32},
    {kRead, kSr, kRead, kSr, kOpened},
    {kRead, kSr, kWrite, kShareAll, 32},
    {kRead, kShareAll, kWrite, kShareAll, kOpened},
    {kRead, kShareAll, kWrite, kSw, 32},
    {kRead, 0, kRead, kSr, 32},
    {kBoth, 0, kBoth, kShareAll, 32},
    {kBoth, kShareAll, kBoth, kShareAll, kOpened},
    {kBoth, kShareAll, kBoth, kSr, 32},
    // A handle without access neither blocks nor is blocked.
    {0, 0, kBoth, 0, kOpened},
    {0, 0, kRead, kShareAll, kOpened},
    {kBoth, 0, 0, 0, kOpened},
    {0, 0, 0, 0, kOpened},
};

std::string Describe(const ShareRow& row) {
    char text[80];
    std::snprintf(text, sizeof text, "first %X/%u, second %X/%u", row.firstAccess, row.firstShare, row.secondAccess,
                  row.secondShare);
    return text;
}

TEST_F(Files, TwoHandlesOfOneProcessShareAsTheTableSays) {
    m_device.WriteText("a", "x");
    for (const ShareRow& row : kShareRows) {
        const HANDLE first = Open(TEXT("\\a"), row.firstAccess, row.firstShare);
        ASSERT_NE(first, INVALID_HANDLE_VALUE) << Describe(row);
        EXPECT_EQ(TryOpen(TEXT("\\a"), row.secondAccess, row.secondShare), row.error) << Describe(row);
        EXPECT_EQ(TryOpen(TEXT("\\A"), row.secondAccess, row.secondShare), row.error) << Describe(row);
        CloseHandle(first);
        EXPECT_EQ(TryOpen(TEXT("\\a"), row.secondAccess, row.secondShare), kOpened) << "closed: " << Describe(row);
    }
}

TEST_F(Files, TwoProcessesShareAsTheTableSays) {
    m_device.WriteText("a", "x");
    const ChildProcess other([&](const ChildProcess::Line& parent) {
        for (const ShareRow& row : kShareRows) {
            const HANDLE first = Open(TEXT("\\a"), row.firstAccess, row.firstShare);
            parent.Tell(first == INVALID_HANDLE_VALUE ? 'n' : 'y');
            parent.Hear();
            CloseHandle(first);
        }
        return 0;
    });
    for (const ShareRow& row : kShareRows) {
        ASSERT_EQ(other.Talk().Hear(), 'y') << Describe(row);
        EXPECT_EQ(TryOpen(TEXT("\\a"), row.secondAccess, row.secondShare), row.error) << Describe(row);
        other.Talk().Tell('c');
    }
}

TEST_F(Files, AKilledProcessHasNothingOpenAnyMore) {
    m_device.WriteText("a", "x");
    ChildProcess other([&](const ChildProcess::Line& parent) {
        Open(TEXT("\\a"), kBoth, 0);
        parent.Tell('o');
        parent.Hear();
        return 0;
    });
    ASSERT_EQ(other.Talk().Hear(), 'o');
    EXPECT_EQ(TryOpen(TEXT("\\a"), kRead, kShareAll), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(DeleteFile(TEXT("\\a")), FALSE);
    other.Kill();
    EXPECT_EQ(TryOpen(TEXT("\\a"), kRead, kShareAll), kOpened);
}

TEST_F(Files, ManyThreadsNeverWriteOneExclusiveFileTogether) {
    std::atomic<int> inside{0};
    std::atomic<int> together{0};
    std::atomic<int> opened{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 100; ++i) {
                const HANDLE file = Open(TEXT("\\a"), GENERIC_WRITE, 0, OPEN_ALWAYS);
                if (file == INVALID_HANDLE_VALUE) continue;
                ++opened;
                if (++inside > 1) ++together;
                std::this_thread::yield();
                --inside;
                CloseHandle(file);
                DeleteFile(TEXT("\\a"));
            }
        });
    }
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(together, 0);
    EXPECT_GT(opened, 0);
}

// --- Reading and writing ----------------------------------------------------------------------------------

TEST_F(Files, ReadingStopsAtTheEndWithoutAnError) {
    m_device.WriteText("a", "0123456789");
    const HANDLE file = Open(TEXT("\\a"), GENERIC_READ, 0);
    EXPECT_EQ(Read(file, 4), "0123");
    EXPECT_EQ(Read(file, 100), "456789");
    EXPECT_EQ(Read(file, 100), "");
    CloseHandle(file);
}

TEST_F(Files, AHandleDoesOnlyWhatItWasOpenedFor) {
    m_device.WriteText("a", "text");
    const HANDLE writer = Open(TEXT("\\a"), GENERIC_WRITE, kShareAll);
    const HANDLE reader = Open(TEXT("\\a"), GENERIC_READ, kShareAll);
    const HANDLE probe = Open(TEXT("\\a"), 0, kShareAll);
    struct Row {
        const char* call;
        bool reads;
        HANDLE file;
        DWORD error;
    };
    for (const Row& row :
         {Row{"ReadFile for writing only", true, writer, 5}, Row{"ReadFile without access", true, probe, 5},
          Row{"ReadFile on NULL", true, nullptr, 6}, Row{"WriteFile for reading only", false, reader, 5},
          Row{"WriteFile without access", false, probe, 5},
          Row{"WriteFile on all ones", false, INVALID_HANDLE_VALUE, 6}}) {
        char buffer[4] = {'k', 'e', 'p', 't'};
        DWORD done = 99;
        SetLastError(kUnchanged);
        EXPECT_EQ(
            row.reads ? ReadFile(row.file, buffer, 4, &done, nullptr) : WriteFile(row.file, "new!", 4, &done, nullptr),
            FALSE)
            << row.call;
        EXPECT_EQ(GetLastError(), row.error) << row.call;
        EXPECT_EQ(done, 0u) << row.call;
        EXPECT_EQ(std::string(buffer, 4), "kept") << row.call;
    }
    for (const HANDLE file : {writer, reader, probe}) CloseHandle(file);
    EXPECT_EQ(m_device.ReadText("a"), "text");
}

TEST_F(Files, WritingNothingSucceedsAndChangesNothing) {
    m_device.WriteText("a", "text");
    const HANDLE file = Open(TEXT("\\a"), GENERIC_WRITE, 0);
    EXPECT_EQ(Write(file, ""), 0u);
    EXPECT_EQ(WriteFile(file, nullptr, 0, nullptr, nullptr), TRUE);
    CloseHandle(file);
    EXPECT_EQ(m_device.ReadText("a"), "text");
}

TEST_F(Files, BadArgumentsOfReadAndWriteAreRefused) {
    const HANDLE file = Open(TEXT("\\a"), kBoth, 0, CREATE_NEW);
    auto* overlapped = reinterpret_cast<OVERLAPPED*>(&m_live);
    char byte = 0;
    DWORD done = 0;
    EXPECT_EQ(ReadFile(file, nullptr, 1, &done, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ReadFile(file, &byte, 1, &done, overlapped), FALSE);
    EXPECT_EQ(WriteFile(file, nullptr, 1, &done, nullptr), FALSE);
    EXPECT_EQ(WriteFile(file, &byte, 1, &done, overlapped), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    CloseHandle(file);
    EXPECT_EQ(m_device.ReadText("a"), "");
}

TEST_F(Files, TheAppendPatternAddsAtTheEnd) {
    for (const DWORD expected : {6u, 12u}) {
        const HANDLE file = Open(TEXT("\\log"), GENERIC_WRITE, FILE_SHARE_WRITE, OPEN_ALWAYS);
        SetFilePointer(file, 0, nullptr, FILE_END);
        EXPECT_EQ(Write(file, "line\r\n"), 6u);
        EXPECT_EQ(GetFileSize(file, nullptr), expected);
        CloseHandle(file);
    }
    EXPECT_EQ(m_device.ReadText("log"), "line\r\nline\r\n");
}

TEST_F(Files, AFullDiskIsErrorOneHundredAndTwelve) {
    const HANDLE file = Open(TEXT("\\a"), GENERIC_WRITE, 0, CREATE_NEW);
    kez::control::PlanFault({"WriteFile", 1, 1, ERROR_DISK_FULL});
    DWORD written = 99;
    EXPECT_EQ(WriteFile(file, "x", 1, &written, nullptr), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
    EXPECT_EQ(written, 0u);
    CloseHandle(file);
}

// --- File pointer and size --------------------------------------------------------------------------------

TEST_F(Files, TheFilePointerMovesAsAsked) {
    m_device.WriteText("a", "0123456789");
    const HANDLE file = Open(TEXT("\\a"), GENERIC_READ, 0);
    struct Row {
        LONG distance;
        DWORD method;
        DWORD result;
        DWORD error;
    };
    const Row rows[] = {
        {0, FILE_END, 10, kUnchanged},
        {3, FILE_BEGIN, 3, kUnchanged},
        {2, FILE_CURRENT, 5, kUnchanged},
        {-4, FILE_CURRENT, 1, kUnchanged},
        {-2, FILE_CURRENT, 0xFFFFFFFF, 131},
        {0, FILE_CURRENT, 1, kUnchanged},
        {-1, FILE_BEGIN, 0xFFFFFFFF, 131},
        {-11, FILE_END, 0xFFFFFFFF, 131},
        {0, FILE_CURRENT, 1, kUnchanged},
        {90, FILE_END, 100, kUnchanged},
        {0, 3, 0xFFFFFFFF, 87},
        {0, FILE_CURRENT, 100, kUnchanged},
    };
    for (const Row& row : rows) {
        SetLastError(kUnchanged);
        EXPECT_EQ(SetFilePointer(file, row.distance, nullptr, row.method), row.result)
            << row.distance << ", method " << row.method;
        EXPECT_EQ(GetLastError(), row.error) << row.distance << ", method " << row.method;
    }
    CloseHandle(file);
    for (const HANDLE bad : {file, HANDLE{nullptr}, INVALID_HANDLE_VALUE}) {
        EXPECT_EQ(SetFilePointer(bad, 0, nullptr, FILE_BEGIN), INVALID_SET_FILE_POINTER);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
        EXPECT_EQ(GetFileSize(bad, nullptr), INVALID_FILE_SIZE);
        EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);
    }
}

TEST_F(Files, PastTheEndTheSizeChangesWithTheNextWriteAndTheGapIsZero) {
    m_device.WriteText("a", "12");
    const HANDLE file = Open(TEXT("\\a"), kBoth, 0);
    EXPECT_EQ(SetFilePointer(file, 5, nullptr, FILE_BEGIN), 5u);
    EXPECT_EQ(GetFileSize(file, nullptr), 2u);
    Write(file, "x");
    EXPECT_EQ(GetFileSize(file, nullptr), 6u);
    CloseHandle(file);
    EXPECT_EQ(m_device.ReadText("a"), std::string("12\0\0\0x", 6));
}

TEST_F(Files, LargePositionsHaveAHighHalf) {
    m_device.WriteText("a", "");
    fs::resize_file(m_device.Folder() / "a", 0x1'2345'6789ull);  // sparse
    const HANDLE file = Open(TEXT("\\a"), GENERIC_READ, 0);
    DWORD sizeHigh = 99;
    EXPECT_EQ(GetFileSize(file, &sizeHigh), 0x23456789u);
    EXPECT_EQ(sizeHigh, 1u);
    LONG high = 2;
    EXPECT_EQ(SetFilePointer(file, 0x10, &high, FILE_BEGIN), 0x10u);
    EXPECT_EQ(high, 2);
    high = -1;
    EXPECT_EQ(SetFilePointer(file, -0x20, &high, FILE_CURRENT), 0xFFFFFFF0u);
    EXPECT_EQ(high, 1);
    high = 0;
    SetLastError(kUnchanged);
    EXPECT_EQ(SetFilePointer(file, 0xF, &high, FILE_CURRENT), 0xFFFFFFFFu) << "a place, not a failure";
    EXPECT_EQ(GetLastError(), NO_ERROR);
    EXPECT_EQ(high, 1);
    EXPECT_EQ(SetFilePointer(file, 0, nullptr, FILE_CURRENT), INVALID_SET_FILE_POINTER) << "no room for the high half";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    high = 0x7FFFFFFF;
    EXPECT_EQ(SetFilePointer(file, -1, &high, FILE_CURRENT), INVALID_SET_FILE_POINTER) << "beyond 64 bits";
    EXPECT_EQ(GetLastError(), ERROR_INVALID_PARAMETER);
    CloseHandle(file);
}

// --- Copying, removing, directories, attributes -----------------------------------------------------------

TEST_F(Files, CopyReplacesUnlessToldNotTo) {
    m_device.WriteText("a", "new");
    m_device.WriteText("b", "old and longer");
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\b"), TRUE), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_FILE_EXISTS);
    EXPECT_EQ(m_device.ReadText("b"), "old and longer");
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\B"), FALSE), TRUE);
    EXPECT_EQ(m_device.ReadText("b"), "new");
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\c"), TRUE), TRUE);
    EXPECT_EQ(m_device.ReadText("c"), "new");
}

TEST_F(Files, CopyMovesLargeContentWhole) {
    std::string large(300'001, '\0');
    for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>(i * 31);
    m_device.WriteText("a", large);
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\b"), FALSE), TRUE);
    EXPECT_EQ(m_device.ReadText("b"), large);
}

TEST_F(Files, CopyFailsAsTheTableSays) {
    m_device.WriteText("a", "source");
    m_device.WriteText("b", "target");
    m_device.WriteText("readonly", "target");
    fs::create_directory(m_device.Folder() / "dir");
    chmod((m_device.Folder() / "readonly").c_str(), 0444);
    struct Row {
        const char* situation;
        LPCWSTR from, to;
        LPCWSTR open;
        DWORD access, share;
        DWORD error;
    };
    const Row rows[] = {
        {"source missing", TEXT("\\none"), TEXT("\\b"), nullptr, 0, 0, 2},
        {"source in a missing directory", TEXT("\\none\\a"), TEXT("\\b"), nullptr, 0, 0, 3},
        {"target in a missing directory", TEXT("\\a"), TEXT("\\none\\b"), nullptr, 0, 0, 3},
        {"source a directory", TEXT("\\dir"), TEXT("\\b"), nullptr, 0, 0, 5},
        {"target a directory", TEXT("\\a"), TEXT("\\dir"), nullptr, 0, 0, 5},
        {"target read-only", TEXT("\\a"), TEXT("\\readonly"), nullptr, 0, 0, 5},
        {"source open without read sharing", TEXT("\\a"), TEXT("\\b"), TEXT("\\a"), kRead, kSw, 32},
        {"target open", TEXT("\\a"), TEXT("\\b"), TEXT("\\b"), kRead, kShareAll, 32},
        {"target open for writing", TEXT("\\a"), TEXT("\\b"), TEXT("\\b"), kWrite, kShareAll, 32},
        {"onto itself", TEXT("\\a"), TEXT("\\A"), nullptr, 0, 0, 32},
    };
    for (const Row& row : rows) {
        const HANDLE open = row.open ? Open(row.open, row.access, row.share) : nullptr;
        SetLastError(kUnchanged);
        EXPECT_EQ(CopyFile(row.from, row.to, FALSE), FALSE) << row.situation;
        EXPECT_EQ(GetLastError(), row.error) << row.situation;
        if (open) CloseHandle(open);
        EXPECT_EQ(m_device.ReadText("a"), "source") << row.situation;
        EXPECT_EQ(m_device.ReadText("b"), "target") << row.situation;
        EXPECT_EQ(m_device.ReadText("readonly"), "target") << row.situation;
    }
}

TEST_F(Files, ASourceThatIsOpenWithSharingCanBeCopied) {
    m_device.WriteText("a", "source");
    const HANDLE writer = Open(TEXT("\\a"), GENERIC_WRITE, FILE_SHARE_READ);
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\b"), FALSE), TRUE);
    EXPECT_EQ(m_device.ReadText("b"), "source");
    CloseHandle(writer);
}

TEST_F(Files, ACopyIsReadOnlyLikeItsSource) {
    m_device.WriteText("a", "source");
    m_device.WriteText("b", "target");
    chmod((m_device.Folder() / "a").c_str(), 0444);
    EXPECT_EQ(CopyFile(TEXT("\\a"), TEXT("\\b"), FALSE), TRUE);
    EXPECT_EQ(GetFileAttributesW(TEXT("\\b")), FILE_ATTRIBUTE_READONLY);
}

TEST_F(Files, DeleteRemovesAFile) {
    m_device.WriteText("Trigger.kez", "x");
    EXPECT_EQ(DeleteFile(TEXT("\\TRIGGER.KEZ")), TRUE);
    EXPECT_FALSE(m_device.Exists("Trigger.kez"));
}

TEST_F(Files, DeleteFailsAsTheTableSays) {
    m_device.WriteText("readonly", "");
    m_device.WriteText("open", "");
    fs::create_directory(m_device.Folder() / "dir");
    chmod((m_device.Folder() / "readonly").c_str(), 0444);
    const HANDLE open = Open(TEXT("\\open"), kRead, kShareAll);
    struct Row {
        LPCWSTR path;
        DWORD error;
    };
    for (const Row& row : {Row{TEXT("\\missing"), 2}, Row{TEXT("\\missing\\file"), 3}, Row{TEXT("\\dir"), 5},
                           Row{TEXT("\\"), 5}, Row{TEXT("\\readonly"), 5}, Row{TEXT("\\open"), 32}, Row{TEXT(""), 3}}) {
        SetLastError(kUnchanged);
        EXPECT_EQ(DeleteFile(row.path), FALSE) << ToUtf8(row.path);
        EXPECT_EQ(GetLastError(), row.error) << ToUtf8(row.path);
    }
    CloseHandle(open);
    EXPECT_TRUE(m_device.Exists("open") && m_device.Exists("readonly") && m_device.Exists("dir"));
    EXPECT_EQ(DeleteFile(TEXT("\\open")), TRUE);
}

TEST_F(Files, AProbeWithoutAccessDoesNotKeepAFileFromBeingDeleted) {
    m_device.WriteText("a", "");
    const HANDLE probe = Open(TEXT("\\a"), 0, 0);
    EXPECT_EQ(DeleteFile(TEXT("\\a")), TRUE);
    CloseHandle(probe);
}

TEST_F(Files, DirectoriesAreMadeOneAtATime) {
    EXPECT_EQ(CreateDirectory(TEXT("\\one\\two"), nullptr), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(CreateDirectory(TEXT("\\one"), nullptr), TRUE);
    EXPECT_EQ(CreateDirectory(TEXT("\\One\\two"), nullptr), TRUE);
    EXPECT_EQ(CreateDirectory(TEXT("\\ONE"), nullptr), FALSE);
    EXPECT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    EXPECT_TRUE(fs::is_directory(m_device.Folder() / "one" / "two"));
}

TEST_F(Files, AttributesTellWhatIsThere) {
    m_device.WriteText("file", "");
    EXPECT_EQ(TryOpen(TEXT("\\ro"), GENERIC_WRITE, 0, CREATE_NEW), kOpened);
    const HANDLE made = Open(TEXT("\\readonly"), GENERIC_WRITE, 0, CREATE_NEW, FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(Write(made, "still"), 5u) << "the handle that makes a read-only file may write";
    CloseHandle(made);
    struct Row {
        LPCWSTR path;
        DWORD attributes;
        DWORD error;
    };
    for (const Row& row :
         {Row{TEXT("\\"), FILE_ATTRIBUTE_DIRECTORY, kUnchanged}, Row{TEXT("\\FILE"), FILE_ATTRIBUTE_NORMAL, kUnchanged},
          Row{TEXT("\\readonly"), FILE_ATTRIBUTE_READONLY, kUnchanged}, Row{TEXT("\\none"), INVALID_FILE_ATTRIBUTES, 2},
          Row{TEXT("\\none\\none"), INVALID_FILE_ATTRIBUTES, 3}}) {
        SetLastError(kUnchanged);
        EXPECT_EQ(GetFileAttributesW(row.path), row.attributes) << ToUtf8(row.path);
        EXPECT_EQ(GetLastError(), row.error) << ToUtf8(row.path);
    }
    EXPECT_EQ(TryOpen(TEXT("\\readonly"), GENERIC_WRITE, 0), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TryOpen(TEXT("\\readonly"), GENERIC_WRITE, 0, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(TryOpen(TEXT("\\readonly"), GENERIC_READ, 0), kOpened);
    EXPECT_EQ(m_device.ReadText("readonly"), "still");
}

// --- Planned faults ---------------------------------------------------------------------------------------

TEST_F(Files, PlannedFaultsFailEachCall) {
    m_device.WriteText("a", "text");
    const HANDLE file = Open(TEXT("\\a"), kBoth, kShareAll);
    char byte = 0;
    struct Row {
        const char* call;
        std::function<bool()> fails;
    };
    const Row rows[] = {
        {"CreateFileW", [] { return Open(TEXT("\\a"), kRead, kShareAll) == INVALID_HANDLE_VALUE; }},
        {"ReadFile", [&] { return !ReadFile(file, &byte, 1, nullptr, nullptr); }},
        {"WriteFile", [&] { return !WriteFile(file, "x", 1, nullptr, nullptr); }},
        {"SetFilePointer", [&] { return SetFilePointer(file, 0, nullptr, FILE_BEGIN) == INVALID_SET_FILE_POINTER; }},
        {"GetFileSize", [&] { return GetFileSize(file, nullptr) == INVALID_FILE_SIZE; }},
        {"GetFileAttributesW", [] { return GetFileAttributesW(TEXT("\\a")) == INVALID_FILE_ATTRIBUTES; }},
        {"CopyFileW", [] { return !CopyFile(TEXT("\\a"), TEXT("\\b"), FALSE); }},
        {"DeleteFileW", [] { return !DeleteFile(TEXT("\\a")); }},
        {"CreateDirectoryW", [] { return !CreateDirectory(TEXT("\\d"), nullptr); }},
    };
    for (const Row& row : rows) {
        kez::control::PlanFault({row.call, 1, 1, 77});
        EXPECT_TRUE(row.fails()) << row.call;
        EXPECT_EQ(GetLastError(), 77u) << row.call;
    }
    CloseHandle(file);
    EXPECT_EQ(m_device.ReadText("a"), "text");
    EXPECT_FALSE(m_device.Exists("b"));
}

}  // namespace
