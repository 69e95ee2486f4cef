#include "cli/partnership.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <fstream>
#include <stdexcept>

namespace kez::cli {
namespace fs = std::filesystem;

namespace {
constexpr char kPartnersFile[] = ".kezpartners";
constexpr char kLockFile[] = ".kezsync.lock";
}  // namespace

// One line a partnership: number, identity, path; tabs between.
std::map<unsigned, Partnership> ReadPartnerships(const fs::path& device) {
    std::map<unsigned, Partnership> partnerships;
    std::ifstream file(device / kPartnersFile);
    for (std::string line; std::getline(file, line);) {
        const std::size_t first = line.find('\t');
        const std::size_t second = line.find('\t', first + 1);
        if (first != 1 || second == std::string::npos || (line[0] != '1' && line[0] != '2')) continue;
        partnerships[static_cast<unsigned>(line[0] - '0')] = {line.substr(first + 1, second - first - 1),
                                                              line.substr(second + 1)};
    }
    return partnerships;
}

void WritePartnerships(const fs::path& device, const std::map<unsigned, Partnership>& partnerships) {
    const fs::path file = device / kPartnersFile;
    const fs::path next = device / (std::string(kPartnersFile) + ".new");
    {
        std::ofstream stream(next, std::ios::trunc);
        for (const auto& [number, partnership] : partnerships) {
            stream << number << '\t' << partnership.folderIdentity << '\t' << partnership.folder.string() << '\n';
        }
        if (!stream.flush()) throw std::runtime_error(next.string() + " cannot be written");
    }
    fs::rename(next, file);
}

FolderLock::FolderLock(const fs::path& folder, const std::string& what, bool mayWrite) {
    const fs::path file = folder / kLockFile;
    m_file = open(file.c_str(), (mayWrite ? O_RDWR | O_CREAT : O_RDONLY) | O_CLOEXEC, 0666);
    if (m_file < 0 && !mayWrite) return;  // nobody has ever locked it
    if (m_file < 0) throw std::runtime_error(what + " " + folder.string() + " cannot be written to");
    if (flock(m_file, LOCK_EX | LOCK_NB) != 0) {
        char holder[32] = {};
        const ssize_t size = read(m_file, holder, sizeof holder - 1);
        close(m_file);
        throw std::runtime_error(what + " " + folder.string() + " is being synchronised by another kezsync" +
                                 (size > 0 ? " (process " + std::string(holder) + ")" : std::string()) +
                                 "; try again when it is done");
    }
    if (!mayWrite) return;
    const std::string self = std::to_string(getpid());
    if (ftruncate(m_file, 0) != 0 || pwrite(m_file, self.data(), self.size(), 0) < 0) {
        close(m_file);
        throw std::runtime_error(what + " " + folder.string() + " cannot be written to");
    }
}

FolderLock::~FolderLock() {
    if (m_file >= 0) close(m_file);
}

}  // namespace kez::cli
