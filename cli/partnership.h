// Which folder each of the device's two partnerships belongs to; kept in the device folder (".kezpartners").
//
// A partnership has one set of change flags on the device. Two folders that shared it would each see only some of
// the changes, so a partnership stays with the folder that it began with until the user says otherwise.
#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace kez::cli {

struct Partnership {
    std::string folderIdentity;
    std::filesystem::path folder;  // where it was the last time
};

std::map<unsigned, Partnership> ReadPartnerships(const std::filesystem::path& device);
void WritePartnerships(const std::filesystem::path& device, const std::map<unsigned, Partnership>& partnerships);

// Holds "FOLDER/.kezsync.lock" as long as it lives. Throws std::runtime_error that says who holds it.
class FolderLock {
 public:
    // `mayWrite` false leaves the folder as it is: no lock file is made, and one that is there says nothing of us.
    FolderLock(const std::filesystem::path& folder, const std::string& what, bool mayWrite = true);
    ~FolderLock();
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

 private:
    int m_file = -1;
};

}  // namespace kez::cli
