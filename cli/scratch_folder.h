// A temporary folder of this program's own: it goes with its object, and what a killed run left of its own goes when
// the next one makes one.
//
// The folder lies where the system keeps temporary files (TMPDIR, or /tmp) and is locked while somebody uses it, so
// that a lock that can be had tells a folder that nobody will miss.
#pragma once

#include <filesystem>

namespace kez::cli {

class ScratchFolder {
 public:
    // Throws std::runtime_error where none can be made.
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& Path() const { return m_path; }

 private:
    std::filesystem::path m_path;
    int m_lock = -1;
};

}  // namespace kez::cli
