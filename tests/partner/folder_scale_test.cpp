// Listing at the size of a large address book.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "partner/folder_store.h"

namespace kez::partner {
namespace {

TEST(FolderScale, TenThousandUnchangedFilesAreListedWithoutReadingThem) {
    char text[] = "/tmp/kez-folder-XXXXXX";
    std::string path = mkdtemp(text);
    for (int i = 0; i < 10000; i++)
        std::ofstream(path + "/" + std::to_string(i) + ".vcf")
            << "BEGIN:VCARD\nVERSION:3.0\nUID:" << i << "\nN:Byron;Ada;;;\nEND:VCARD\n";
    usleep(30000);  // so that no stamp is too young
    RealFileLayer files;
    MemoryFolderCache cache;
    CardFormat cards;
    EXPECT_EQ(FolderStore(path, {&cards}, files, cache).List(sync::ItemType::Contact).items.size(), 10000U);
    FolderStore store(path, {&cards}, files, cache);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(store.List(sync::ItemType::Contact).items.size(), 10000U);
    auto time = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
    std::cout << "listed in " << time << " ms\n";
    EXPECT_LT(time, 2000);  // far above what it takes: machines are busy, builds are not optimised
    std::filesystem::remove_all(path);
}

}  // namespace
}  // namespace kez::partner
