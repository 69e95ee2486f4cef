// New files on file systems that lack a call: renaming that replaces nothing, or links. The calls themselves are taken
// over here, in a program of its own.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>

#include "partner/folder_store.h"

namespace {

int g_renameError = EINVAL;
int g_linkError = 0;  // 0: links work

}  // namespace

extern "C" int renameat2(int, const char*, int, const char*, unsigned) noexcept {
    errno = g_renameError;
    return -1;
}

extern "C" int link(const char* from, const char* to) noexcept {
    if (g_linkError == 0) return linkat(AT_FDCWD, from, AT_FDCWD, to, 0);
    errno = g_linkError;
    return -1;
}

namespace kez::partner {
namespace {

class SimpleFileSystem : public testing::TestWithParam<int> {
 protected:
    SimpleFileSystem() {
        g_renameError = EINVAL;
        g_linkError = GetParam();
        m_path = (std::filesystem::temp_directory_path() / "kez-simple-XXXXXX").string();
        EXPECT_NE(mkdtemp(m_path.data()), nullptr);
    }
    ~SimpleFileSystem() override { std::filesystem::remove_all(m_path); }

    std::string Path(const std::string& name) const { return m_path + "/" + name; }
    std::vector<std::string> Names() {
        std::vector<std::string> names;
        for (const FileEntry& entry : m_files.List(m_path)) names.push_back(entry.name);
        return names;
    }
    int ErrorOfRenameNew(const std::string& from, const std::string& to) {
        try {
            m_files.RenameNew(Path(from), Path(to));
            return 0;
        } catch (const FileError& error) {
            return error.Error();
        }
    }

    std::string m_path;
    RealFileLayer m_files;
};

INSTANTIATE_TEST_SUITE_P(WithAndWithoutLinks, SimpleFileSystem, testing::Values(0, EPERM, EOPNOTSUPP),
                         [](const auto& error) {
                             return error.param == 0 ? "links" : error.param == EPERM ? "noLinks" : "unknownLinks";
                         });

TEST_P(SimpleFileSystem, ANewFileTakesItsName) {
    for (const int error : {EINVAL, ENOSYS}) {
        g_renameError = error;
        m_files.Write(Path("hidden"), "bytes", 0);
        EXPECT_EQ(ErrorOfRenameNew("hidden", std::to_string(error)), 0);
        EXPECT_EQ(m_files.Read(Path(std::to_string(error))).bytes, "bytes");
        EXPECT_EQ(m_files.Look(Path("hidden")).kind, FileKind::None);
    }
}

TEST_P(SimpleFileSystem, AFileThatIsThereIsNotReplaced) {
    m_files.Write(Path("there"), "owner's", 0);
    m_files.Write(Path("hidden"), "ours", 0);
    EXPECT_EQ(ErrorOfRenameNew("hidden", "there"), EEXIST);
    EXPECT_EQ(m_files.Read(Path("there")).bytes, "owner's");
    EXPECT_EQ(m_files.Read(Path("hidden")).bytes, "ours");
}

TEST_P(SimpleFileSystem, WhatFailsForAnotherReasonIsSaid) {
    m_files.Write(Path("hidden"), "ours", 0);
    g_renameError = ENOSPC;
    EXPECT_EQ(ErrorOfRenameNew("hidden", "new"), ENOSPC);
    g_renameError = EINVAL;
    EXPECT_EQ(ErrorOfRenameNew("missing", "new"), ENOENT);
    EXPECT_EQ(Names(), std::vector<std::string>{"hidden"});
}

TEST_P(SimpleFileSystem, AStoreMakesItsItemsAndLeavesNothingBehind) {
    MemoryFolderCache cache;
    CardFormat cards;
    FolderStore store(m_path, {&cards}, m_files, cache);
    std::ofstream(Path("uid.vcf")) << "somebody else's";
    const sync::Item ada{sync::ItemType::Contact, {{"FirstName", "Ada"}}};
    const auto made = store.Create(ada, "uid");
    ASSERT_FALSE(made.problem) << made.problem.text;
    EXPECT_EQ(made.id, "uid-2.vcf");
    for (const auto& one : store.CreateAll({ada, ada, ada})) EXPECT_FALSE(one.problem) << one.problem.text;
    store.Flush();
    const auto names = Names();
    EXPECT_EQ(names.size(), 5U);
    EXPECT_TRUE(std::none_of(names.begin(), names.end(), [](const auto& name) { return name[0] == '.'; }));
    EXPECT_EQ(m_files.Read(Path("uid.vcf")).bytes, "somebody else's");
}

}  // namespace
}  // namespace kez::partner
