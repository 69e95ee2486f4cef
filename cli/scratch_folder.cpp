#include "cli/scratch_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

constexpr char kBegin[] = "kezsync-scratch-";

// The folder, locked; -1 where it is somebody's, in use, or gone.
int Locked(const fs::path& folder) {
    const int file = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0) return -1;
    struct stat opened {};
    struct stat there {};
    // Whoever removes it holds the lock: after it was given back, the folder may be gone.
    if (fstat(file, &opened) == 0 && opened.st_uid == geteuid() && flock(file, LOCK_EX | LOCK_NB) == 0 &&
        lstat(folder.c_str(), &there) == 0 && there.st_ino == opened.st_ino) {
        return file;
    }
    close(file);
    return -1;
}

void RemoveLeftovers(const fs::path& place) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(place, ignored)) {
        if (!entry.path().filename().string().starts_with(kBegin)) continue;
        const int file = Locked(entry.path());
        if (file < 0) continue;
        fs::remove_all(entry.path(), ignored);
        close(file);
    }
}

}  // namespace

ScratchFolder::ScratchFolder() {
    std::error_code error;
    const fs::path place = fs::temp_directory_path(error);
    if (error) throw std::runtime_error("there is no folder for temporary files; does TMPDIR name one?");
    RemoveLeftovers(place);
    // Between being made and being locked a folder looks like a leftover to others.
    for (int attempt = 0; attempt < 10 && m_lock < 0; ++attempt) {
        std::string name = (place / (std::string(kBegin) + "XXXXXX")).string();
        if (!mkdtemp(name.data())) break;
        m_path = name;
        m_lock = Locked(m_path);
    }
    if (m_lock < 0) throw std::runtime_error("no temporary folder can be made in " + place.string());
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
    close(m_lock);
}

}  // namespace kez::cli
