// The trace log's file: when it is touched, what a line looks like, how it begins and ends.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"
#include "tests/support/traced_lines.h"
#include "trace/dump.h"
#include "trace/trace_log.h"
#include "trace/trace_state.h"

namespace {

using kez::tests::FreshTraceLog;
using kez::tests::LiveCountsCheck;
using kez::tests::TestDevice;
using testing::ElementsAre;

constexpr char kBanner[] = "\r\n************************ 2026/03/02 10:00:00.000 *******************\r\n\r\n";
constexpr char kStamp[] = "0302 10:00:00.000 ";

struct TraceLog : testing::Test {
    std::string Text() const { return m_device.ReadText("DevLog.txt"); }
    // What was written after the banner.
    std::string Body() const {
        const std::string text = Text();
        EXPECT_EQ(text.rfind(kBanner, 0), 0u) << text;
        return text.substr(std::min(text.size(), sizeof kBanner - 1));
    }

    TestDevice m_device;
    LiveCountsCheck m_counts;
    FreshTraceLog m_log{m_device};
};

TEST_F(TraceLog, NothingIsTouchedAtLevelZero) {
    REPLSETUP setup = {};
    FINDOBJINFO find = {};
    OBJNOTIFY notify = {};
    CEPROPVAL value = {};
    EXPECT_EQ(dbglog(0, "failure"), 0);
    EXPECT_EQ(dbglogW(0, TEXT("failure")), 0);
    dbglogSetLevel(0);
    dbglogREPLSETUP(0, "L", &setup);
    dbglogFINDOBJINFO(0, "L", &find);
    dbglogOBJNOTIFY(0, "L", &notify);
    dbglogCEPROPVAL(0, "L", &value);
    EXPECT_EQ(dbglogBuffer(0, "x", 1), 0);
    EXPECT_FALSE(m_device.Exists("DevLog.txt"));
    EXPECT_FALSE(m_device.Exists("dbglev.ini"));
    EXPECT_FALSE(m_device.Exists("dbgdump.txt"));
}

TEST_F(TraceLog, FirstMessageBeginsTheFileWithABanner) {
    dbglogSetLevel(50);
    EXPECT_EQ(Text(), std::string(kBanner) + kStamp + "dbglogSetLevel::Set DbgLevel to 50.\r\n");
}

TEST_F(TraceLog, MessagesAboveTheLevelAreDropped) {
    dbglogSetLevel(25);
    dbglog(0, "zero");
    dbglog(25, "detail");
    dbglog(26, "above");
    dbglogW(50, TEXT("call"));
    EXPECT_THAT(m_log.Lines(), ElementsAre("zero", "detail"));
}

TEST_F(TraceLog, NegativeLevelIsNotOff) {
    dbglogSetLevel(-5);
    dbglog(0, "above");
    EXPECT_EQ(Text(), std::string("\r\n") + kStamp + "dbglogSetLevel::Set DbgLevel to -5.\r\n");
}

TEST_F(TraceLog, MessageOf511CharactersIsWrittenWholeAndALongerOneIsCut) {
    dbglogSetLevel(50);
    const std::string longest(511, 'x');
    dbglog(50, "%s", longest.c_str());
    dbglog(50, "%sy", longest.c_str());
    dbglog(50, "%s%s", longest.c_str(), longest.c_str());
    dbglog(50, "short");
    EXPECT_THAT(m_log.Lines(), ElementsAre(longest, longest, longest, "short"));
}

TEST_F(TraceLog, FormatThatBreaksOffShowsNothingOfTheMessageBefore) {
    dbglogSetLevel(50);
    dbglog(50, "a long message before it");
    dbglog(50, "name %S", TEXT("A\u4E2D"));
    EXPECT_THAT(m_log.Lines(), ElementsAre("a long message before it", "name A"));
}

TEST_F(TraceLog, FormatsFollowThePlatform) {
    dbglogSetLevel(50);
    dbglog(50, "%lu %ld %S %s", DWORD{0xFFFFFFFF}, LONG{-2}, TEXT("wide"), TEXT("Name"));
    dbglogW(50, TEXT("%s %S %lu"), TEXT("wide"), "narrow", DWORD{7});
    EXPECT_THAT(m_log.Lines(), ElementsAre("4294967295 -2 wide N", "wide narrow 7"));
}

TEST_F(TraceLog, WideMessageIsConvertedToTheDefaultCodePage) {
    dbglogSetLevel(50);
    EXPECT_EQ(dbglogW(50, TEXT("caf\u00E9 \u20AC \u4E2D")), 0);
    EXPECT_THAT(m_log.Lines(), ElementsAre("caf\xE9 \x80 ?"));
}

TEST_F(TraceLog, WideMessageIsCutTo256Characters) {
    dbglogSetLevel(50);
    const std::u16string longest(256, u'w');
    dbglogW(50, TEXT("%s"), longest.c_str());
    dbglogW(50, TEXT("%s+"), longest.c_str());
    dbglogW(50, TEXT("after"));
    EXPECT_THAT(m_log.Lines(), ElementsAre(std::string(256, 'w'), std::string(256, 'w'), "after"));
}

TEST_F(TraceLog, LastCharacterDrivesTheIndentation) {
    dbglogSetLevel(50);
    for (const char* text : {"A +", "B+", "inside", "B -", "between", "A-", "outside", "too many -", "end"}) {
        dbglog(50, "%s", text);
    }
    EXPECT_THAT(m_log.Lines(),
                ElementsAre("A +", "  B+", "    inside", "  B -", "  between", "A-", "outside", "too many -", "end"));
}

TEST_F(TraceLog, WideMessagesIndentToo) {
    dbglogSetLevel(50);
    dbglogW(50, TEXT("A+"));
    dbglogW(50, TEXT("A-"));
    dbglogW(50, TEXT("end"));
    EXPECT_THAT(m_log.Lines(), ElementsAre("A+", "A-", "end"));
}

TEST_F(TraceLog, PlusBeforeABlankDoesNotIndent) {
    dbglogSetLevel(50);
    dbglog(50, "A+ ");
    dbglog(50, "inside");
    EXPECT_THAT(m_log.Lines(), ElementsAre("A+ ", "inside"));
}

TEST_F(TraceLog, DroppedMessagesDoNotIndent) {
    dbglogSetLevel(25);
    dbglog(50, "A +");
    dbglog(25, "detail");
    EXPECT_THAT(m_log.Lines(), ElementsAre("detail"));
}

TEST_F(TraceLog, IndentationStaysBetween0And512Blanks) {
    dbglogSetLevel(50);
    for (int i = 0; i < 300; ++i) dbglog(50, "+");
    dbglog(50, "deepest");
    EXPECT_EQ(m_log.Lines().back(), std::string(512, ' ') + "deepest");
    EXPECT_EQ(m_log.Lines()[255], std::string(510, ' ') + "+");
    EXPECT_EQ(m_log.Lines()[256], std::string(512, ' ') + "+");
    for (int i = 0; i < 300; ++i) dbglog(50, "-");
    dbglog(50, "outside");
    EXPECT_EQ(m_log.Lines().back(), "outside");
}

TEST_F(TraceLog, LongestMessageAtTheDeepestPlaceIsWrittenWhole) {
    dbglogSetLevel(50);
    g_trace.indentation = 512;
    const std::string longest(511, 'x');
    dbglog(50, "%s", longest.c_str());
    EXPECT_EQ(m_log.Lines().back(), std::string(512, ' ') + longest);
}

TEST_F(TraceLog, EmptyMessageIsAnEmptyLine) {
    dbglogSetLevel(50);
    dbglog(50, "A +");
    dbglog(50, "");
    dbglog(50, "A -");
    EXPECT_EQ(Body(), std::string(kStamp) + "dbglogSetLevel::Set DbgLevel to 50.\r\n" + kStamp + "A +\r\n\r\n" +
                          kStamp + "A -\r\n");
}

TEST_F(TraceLog, WithoutLineModeTheTextStandsAlone) {
    dbglogSetLevel(50);
    g_trace.lineMode = false;
    dbglog(50, "one+");
    dbglog(50, "two");
    EXPECT_EQ(Body(), std::string(kStamp) + "dbglogSetLevel::Set DbgLevel to 50.\r\none+two");
    EXPECT_EQ(g_trace.indentation, 0);
}

TEST_F(TraceLog, StampIsTheTimeOfTheMessage) {
    kez::control::FreezeClock({2031, 12, 3, 31, 23, 59, 58, 7});
    dbglogSetLevel(50);
    EXPECT_EQ(Text(),
              "\r\n************************ 2031/12/31 23:59:58.007 *******************\r\n\r\n"
              "1231 23:59:58.007 dbglogSetLevel::Set DbgLevel to 50.\r\n");
}

TEST_F(TraceLog, LevelFileIsMadeWhereItIsMissing) {
    dbglogSetLevel(50);
    EXPECT_TRUE(m_device.Exists("dbglev.ini"));
    EXPECT_EQ(m_device.ReadText("dbglev.ini"), "");
    EXPECT_EQ(g_trace.level, 50);
}

TEST_F(TraceLog, LevelFileSetsTheLevelWhereItHoldsAPositiveNumber) {
    const struct {
        const char* content;
        LONG level;
    } rows[] = {{"", 50},
                {"0", 50},
                {"-5", 50},
                {"abc", 50},
                {"25", 25},
                {" 75", 75},
                {"100\r\n", 100},
                {"+7", 7},
                {"12 34", 12},
                {"0x19", 50},
                {"1", 1},
                {"12345678", 12345678},
                {"123456789", 12345678}};
    for (const auto& row : rows) {
        FreshTraceLog log(m_device);
        m_device.WriteText("dbglev.ini", row.content);
        dbglogSetLevel(50);
        EXPECT_EQ(g_trace.level, row.level) << "level file: " << row.content;
        EXPECT_EQ(m_device.ReadText("dbglev.ini"), row.content);
    }
}

TEST_F(TraceLog, MessageThatOpensTheFileIsWrittenEvenWhereTheLevelFileLowersTheLevel) {
    m_device.WriteText("dbglev.ini", "10");
    g_trace.level = 50;
    dbglog(50, "opens");
    dbglog(50, "dropped");
    EXPECT_THAT(m_log.Lines(), ElementsAre("opens"));
}

TEST_F(TraceLog, LevelFileIsReadOnlyWhenTheLogIsOpened) {
    dbglogSetLevel(50);
    m_device.WriteText("dbglev.ini", "10");
    dbglog(50, "still written");
    EXPECT_EQ(g_trace.level, 50);
}

TEST_F(TraceLog, LevelFileThatCannotBeOpenedLeavesTheLevel) {
    HANDLE other = CreateFileW(TEXT("\\dbglev.ini"), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    dbglogSetLevel(50);
    EXPECT_EQ(m_log.Lines().size(), 0u);
    EXPECT_TRUE(m_device.Exists("DevLog.txt"));
    EXPECT_EQ(g_trace.level, 50);
    CloseHandle(other);
}

TEST_F(TraceLog, LogOfTheLastProcessIsKeptOnce) {
    m_device.WriteText("DevLog.txt", "last");
    m_device.WriteText("DevLog-.txt", "before the last");
    dbglogSetLevel(50);
    EXPECT_EQ(m_device.ReadText("DevLog-.txt"), "last");
    EXPECT_EQ(Text().find("last"), std::string::npos);
}

TEST_F(TraceLog, WithoutALogTheLastOneStays) {
    m_device.WriteText("DevLog-.txt", "before the last");
    dbglogSetLevel(50);
    EXPECT_EQ(m_device.ReadText("DevLog-.txt"), "before the last");
}

TEST_F(TraceLog, LogCanBeReadAndWrittenByOthersWhileItIsOpen) {
    dbglogSetLevel(50);
    HANDLE other = CreateFileW(TEXT("\\DevLog.txt"), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                               nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(other, INVALID_HANDLE_VALUE);
    CloseHandle(other);
}

TEST_F(TraceLog, FileThatCannotBeMadeIsTriedAgainWithTheNextMessage) {
    kez::control::CountCalls(true);
    kez::control::PlanFault({"CreateFileW", 2, 1, ERROR_ACCESS_DENIED});  // the first is the level file's
    dbglogSetLevel(50);
    EXPECT_FALSE(m_device.Exists("DevLog.txt"));
    EXPECT_EQ(g_trace.file, INVALID_HANDLE_VALUE);
    m_device.WriteText("DevLog.txt", "meanwhile");
    dbglog(50, "second");
    EXPECT_EQ(Body(), std::string(kStamp) + "second\r\n");
    EXPECT_EQ(m_device.ReadText("DevLog-.txt"), "meanwhile");
    EXPECT_EQ(kez::control::CallCount("CreateFileW"), 4u);
    EXPECT_EQ(kez::control::CallCount("CopyFileW"), 2u);
    EXPECT_EQ(kez::control::CallCount("DeleteFileW"), 2u);
}

TEST_F(TraceLog, WriteErrorsAreIgnored) {
    dbglogSetLevel(50);
    kez::control::PlanFault({"WriteFile", 1, 1, ERROR_DISK_FULL});
    EXPECT_EQ(dbglog(50, "lost"), 0);
    EXPECT_EQ(dbglog(50, "kept"), 0);
    EXPECT_THAT(m_log.Lines(), ElementsAre("kept"));
}

TEST_F(TraceLog, AfterTheCloseTheLogIsSilent) {
    dbglogSetLevel(50);
    EXPECT_TRUE(dbglogOpen());
    dbglogClose();
    const std::string text = Text();
    dbglogSetLevel(100);
    dbglog(0, "after");
    dbglogW(0, TEXT("after"));
    EXPECT_EQ(dbglogBuffer(0, "x", 1), 0);
    EXPECT_FALSE(dbglogOpen());
    EXPECT_EQ(Text(), text);
    EXPECT_EQ(g_trace.level, 100);
    EXPECT_FALSE(m_device.Exists("dbgdump.txt"));
    m_counts.Check();
}

TEST_F(TraceLog, CloseBeforeTheFirstMessageKeepsEveryFileUntouched) {
    dbglogClose();
    dbglogSetLevel(100);
    EXPECT_FALSE(m_device.Exists("DevLog.txt"));
    EXPECT_FALSE(m_device.Exists("dbglev.ini"));
}

TEST_F(TraceLog, FilesLieInTheFolderOfThePrefix) {
    std::filesystem::create_directory(m_device.Folder() / "logs");
    g_trace.directory = TEXT("\\logs");
    dbglogSetLevel(50);
    EXPECT_TRUE(m_device.Exists("logs/DevLog.txt"));
    EXPECT_TRUE(m_device.Exists("logs/dbglev.ini"));
    EXPECT_FALSE(m_device.Exists("DevLog.txt"));
}

TEST_F(TraceLog, WithoutADeviceMessagesGoNowhere) {
    kez::control::CloseDevice();
    dbglogSetLevel(50);
    EXPECT_EQ(g_trace.file, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(m_device.Exists("DevLog.txt"));
}

}  // namespace
