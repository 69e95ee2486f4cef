// Listing at the size of a large address book, reading at the size of the largest card.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "partner/content_lines.h"
#include "partner/folder_store.h"
#include "partner/vcard.h"

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

TEST(FolderScale, APictureLargerThanADeviceHoldsStaysBehindAndIsNamed) {
    const std::string picture = Base64(std::string(33 << 20, 'x'));
    const auto card =
        ReadCard("BEGIN:VCARD\r\nVERSION:3.0\r\nN:B\r\nPHOTO;ENCODING=b:" + picture + "\r\nEND:VCARD\r\n", "a.vcf");
    EXPECT_EQ(card.item.fields.count("Picture"), 0U);
    EXPECT_THAT(card.losses, testing::ElementsAre(testing::HasSubstr("the picture has 34603008 bytes")));
}

}  // namespace
}  // namespace kez::partner
