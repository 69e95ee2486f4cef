#include "partner/file_layer.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <random>
#include <utility>

namespace kez::partner {
namespace {

[[noreturn]] void Fail(const char* operation, const std::string& path) {
    int error = errno;
    throw FileError(error, std::string(operation) + " " + path + ": " + std::strerror(error));
}

class Descriptor {
 public:
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() {
        if (m_fd >= 0) ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int Get() const { return m_fd; }
    int Close() { return ::close(std::exchange(m_fd, -1)); }

 private:
    int m_fd;
};

std::int64_t Nanoseconds(const timespec& time) { return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec; }

FileStamp StampOf(const struct stat& status) {
    return {Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim), static_cast<std::uint64_t>(status.st_size),
            static_cast<std::uint64_t>(status.st_ino)};
}

FileKind KindOf(const struct stat& status) {
    if (S_ISREG(status.st_mode)) return FileKind::Regular;
    if (S_ISDIR(status.st_mode)) return FileKind::Folder;
    return S_ISLNK(status.st_mode) ? FileKind::Link : FileKind::Other;
}

}  // namespace

FileError::FileError(int error, const std::string& what) : std::runtime_error(what), m_error(error) {}

std::vector<FileEntry> RealFileLayer::List(const std::string& folder, const NameFilter& wanted) {
    Descriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.Get() < 0) Fail("cannot list", folder);
    DIR* dir = ::fdopendir(::dup(fd.Get()));
    if (!dir) Fail("cannot list", folder);
    std::vector<FileEntry> entries;
    errno = 0;
    while (dirent* entry = ::readdir(dir)) {
        std::string name = entry->d_name;
        struct stat status;
        if (name == "." || name == ".." || (wanted && !wanted(name))) continue;
        if (::fstatat(fd.Get(), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0)
            entries.push_back({std::move(name), KindOf(status), StampOf(status)});
        errno = 0;  // what went between the two calls is not there any more
    }
    int error = errno;
    ::closedir(dir);
    errno = error;
    if (error) Fail("cannot list", folder);
    std::ranges::sort(entries, {}, &FileEntry::name);
    return entries;
}

std::future<std::vector<FileEntry>> RealFileLayer::ListAhead(const std::string& folder, NameFilter wanted) {
    // Deferred where no thread is to be had.
    return std::async(std::launch::async | std::launch::deferred,
                      [this, folder, wanted = std::move(wanted)] { return RealFileLayer::List(folder, wanted); });
}

FileEntry RealFileLayer::Look(const std::string& path) {
    struct stat status;
    std::string name = path.substr(path.rfind('/') + 1);
    if (::lstat(path.c_str(), &status) == 0) return {name, KindOf(status), StampOf(status)};
    if (errno == ENOENT || errno == ENOTDIR) return {name, FileKind::None, {}};
    Fail("cannot look at", path);
}

FileContent RealFileLayer::Read(const std::string& path) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status;
    if (fd.Get() < 0 || ::fstat(fd.Get(), &status) != 0) Fail("cannot read", path);
    if (!S_ISREG(status.st_mode)) {
        errno = EINVAL;
        Fail("cannot read", path);
    }
    FileContent content{"", StampOf(status), static_cast<std::uint32_t>(status.st_mode & 07777)};
    content.bytes.resize(static_cast<std::size_t>(status.st_size) + 1);  // one more shows a file that grows
    std::size_t length = 0;
    for (;;) {
        ssize_t count = ::read(fd.Get(), content.bytes.data() + length, content.bytes.size() - length);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) Fail("cannot read", path);
        if (count == 0) break;
        length += static_cast<std::size_t>(count);
        if (length == content.bytes.size()) content.bytes.resize(length * 2);
    }
    content.bytes.resize(length);
    return content;
}

void RealFileLayer::Write(const std::string& path, const std::string& bytes, std::uint32_t mode) {
    Descriptor fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode ? 0600 : 0666));
    if (fd.Get() < 0 || (mode && ::fchmod(fd.Get(), mode) != 0)) Fail("cannot write", path);
    for (std::size_t done = 0; done < bytes.size();) {
        ssize_t count = ::write(fd.Get(), bytes.data() + done, bytes.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) Fail("cannot write", path);
        done += static_cast<std::size_t>(count);
    }
    if (fd.Close() != 0) Fail("cannot write", path);
}

void RealFileLayer::StartSync(const std::string& path) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.Get() >= 0) ::sync_file_range(fd.Get(), 0, 0, SYNC_FILE_RANGE_WRITE);
}

void RealFileLayer::Sync(const std::string& path) {
    Descriptor fd(::open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.Get() < 0 || ::fsync(fd.Get()) != 0) Fail("cannot sync", path);
}

void RealFileLayer::SyncFolder(const std::string& folder) {
    Descriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems do not sync folders, and need not be asked to.
    if (fd.Get() < 0 || (::fsync(fd.Get()) != 0 && errno != EINVAL)) Fail("cannot sync", folder);
}

void RealFileLayer::Rename(const std::string& from, const std::string& to) {
    if (::rename(from.c_str(), to.c_str()) != 0) Fail("cannot replace", to);
}

void RealFileLayer::RenameNew(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) return;
    if (errno != EINVAL && errno != ENOSYS) Fail("cannot make", to);
    // A file system without that call has links, or is used by one program at a time.
    if (::link(from.c_str(), to.c_str()) == 0) {
        RealFileLayer::Remove(from);
        return;
    }
    if (errno == EEXIST || Look(to).kind != FileKind::None) {
        errno = EEXIST;
        Fail("cannot make", to);
    }
    RealFileLayer::Rename(from, to);
}

void RealFileLayer::Remove(const std::string& path) {
    if (::unlink(path.c_str()) != 0) Fail("cannot remove", path);
}

std::int64_t RealFileLayer::Now() {
    timespec now;
    ::clock_gettime(CLOCK_REALTIME, &now);
    return Nanoseconds(now);
}

bool RealFileLayer::ProcessLives(std::int64_t process) {
    return ::kill(static_cast<pid_t>(process), 0) == 0 || errno == EPERM;
}

std::int64_t RealFileLayer::ThisProcess() { return ::getpid(); }

std::string RealFileLayer::RandomName() {
    static thread_local std::random_device random;
    char text[40];
    unsigned a = random(), b = random(), c = random(), d = random();
    std::snprintf(text, sizeof text, "%08x-%04x-4%03x-%04x-%04x%08x", a, b >> 16, b & 0xFFF,
                  (c >> 16 & 0x3FFF) | 0x8000, c & 0xFFFF, d);
    return text;
}

}  // namespace kez::partner
