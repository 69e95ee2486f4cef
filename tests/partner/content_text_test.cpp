// Escapes, lists and encodings of values.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "partner/content_lines.h"

namespace kez::partner {
namespace {

using ::testing::ElementsAre;

TEST(ContentText, EscapesOfEachVersionAreUndone) {
    struct {
        Syntax syntax;
        std::string escaped, plain;
    } rows[] = {
        {Syntax::Card30, R"(a\,b\;c\\d\ne\Nf)", "a,b;c\\d\ne\nf"},
        {Syntax::Card40, R"(a\,b\;c\\d\ne)", "a,b;c\\d\ne"},
        {Syntax::Calendar20, R"(a\,b\n)", "a,b\n"},
        {Syntax::Card21, R"(a\;b C:\new)", R"(a;b C:\new)"},  // 2.1 has no escape for a line break
        {Syntax::Card30, R"(http\://x \q end\)", R"(http://x \q end\)"},
    };
    for (const auto& row : rows) EXPECT_EQ(Unescape(row.escaped, row.syntax), row.plain);
}

TEST(ContentText, EscapesOfEachVersionAreMade) {
    EXPECT_EQ(Escape("a,b;c\\d\ne", Syntax::Card30), R"(a\,b\;c\\d\ne)");
    EXPECT_EQ(Escape("a,b;c\\d\ne", Syntax::Card21), "a,b;c\\\\d\ne");
    EXPECT_EQ(Escape("a,b;c", Syntax::Card21, true), R"(a,b\;c)");
}

TEST(ContentText, ListsAreSplitAtUnescapedSeparators) {
    EXPECT_THAT(Split(R"(a\;b;;c\\;d)", ';'), ElementsAre(R"(a\;b)", "", R"(c\\)", "d"));
    EXPECT_THAT(Split("", ','), ElementsAre(""));
    EXPECT_THAT(Split("a\\", ','), ElementsAre("a\\"));
}

TEST(ContentText, Base64GoesBothWays) {
    EXPECT_EQ(Base64(""), "");
    EXPECT_EQ(Base64("a"), "YQ==");
    EXPECT_EQ(Base64("ab"), "YWI=");
    EXPECT_EQ(Base64("abc"), "YWJj");
}

TEST(ContentText, Utf8IsTold) {
    EXPECT_TRUE(IsUtf8("a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"));
    for (const char* bad : {"\xE4", "\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xE2\x82", "\xE2\x28\xA1",
                            "\xF0\x80\x80\x80", "\xE0\x80\x80", "\xF4\x90\x80\x80"})
        EXPECT_FALSE(IsUtf8(bad)) << testing::PrintToString(std::string(bad));
}

TEST(ContentText, CharacterSetsGoBothWaysOrNotAtAll) {
    EXPECT_EQ(FromUtf8("\xC3\xA4", "windows-1252"), "\xE4");
    EXPECT_EQ(FromUtf8("\xE6\x97\xA5", "Shift_JIS"), "\x93\xFA");
    EXPECT_EQ(FromUtf8("\xE6\x97\xA5", "windows-1252"), "");
    EXPECT_EQ(FromUtf8("\xC3\xA4", "X-NONE"), "");
    EXPECT_EQ(FromUtf8("\xC3\xA4", "UTF-8"), "\xC3\xA4");
}

}  // namespace
}  // namespace kez::partner
