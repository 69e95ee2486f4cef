// Opening by disposition. The read-only attribute is the absence of the owner's write permission; it is asked for
// here, because the permission itself does not bind a privileged user.
#include "platform/kernel/host_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/kernel/file_share.h"

namespace kez::kernel {

namespace {

constexpr mode_t kOrdinary = 0666;
constexpr mode_t kReadOnly = 0444;

struct Disposition {
    bool mayExist;
    bool mayMake;
    bool empties;
};

// By number, from CREATE_NEW on.
constexpr Disposition kDispositions[] = {
    {false, true, false},  // CREATE_NEW
    {true, true, true},    // CREATE_ALWAYS
    {true, false, false},  // OPEN_EXISTING
    {true, true, false},   // OPEN_ALWAYS
    {true, false, true},   // TRUNCATE_EXISTING
};

OpenedFile Failed(DWORD error) { return {HostFile(), false, error}; }

int OpenDescriptor(const std::filesystem::path& path, int flags, mode_t mode = 0) {
    int descriptor;
    do {
        descriptor = open(path.c_str(), flags | O_CLOEXEC, mode);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

bool IsRemoved(int descriptor) {
    struct stat status = {};
    return fstat(descriptor, &status) == 0 && status.st_nlink == 0;
}

bool Truncate(int descriptor) { return ftruncate(descriptor, 0) == 0; }

}  // namespace

DWORD ErrorOfErrno(int number) {
    switch (number) {
        case 0:
            return ERROR_SUCCESS;
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
        case ELOOP:
            return ERROR_PATH_NOT_FOUND;
        case EEXIST:
            return ERROR_FILE_EXISTS;
        case ENOSPC:
        case EDQUOT:
        case EFBIG:
            return ERROR_DISK_FULL;
        case ENOMEM:
        case EMFILE:
        case ENFILE:
            return ERROR_NOT_ENOUGH_MEMORY;
        case ENAMETOOLONG:
        case EINVAL:
            return ERROR_INVALID_NAME;
        default:
            return ERROR_ACCESS_DENIED;
    }
}

HostFile::HostFile(HostFile&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

HostFile& HostFile::operator=(HostFile&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

HostFile::~HostFile() {
    if (m_descriptor >= 0) close(m_descriptor);
}

DWORD AttributesOf(const std::filesystem::path& path) {
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) return INVALID_FILE_ATTRIBUTES;
    if (S_ISDIR(status.st_mode)) return FILE_ATTRIBUTE_DIRECTORY;
    return status.st_mode & S_IWUSR ? FILE_ATTRIBUTE_NORMAL : FILE_ATTRIBUTE_READONLY;
}

OpenedFile OpenHostFile(const std::filesystem::path& path, DWORD access, DWORD share, DWORD disposition,
                        DWORD attributes) {
    if (disposition < CREATE_NEW || disposition > TRUNCATE_EXISTING) return Failed(ERROR_INVALID_PARAMETER);
    if (disposition == TRUNCATE_EXISTING && !(access & GENERIC_WRITE)) return Failed(ERROR_INVALID_PARAMETER);
    const Disposition& rule = kDispositions[disposition - CREATE_NEW];
    const bool changes = access & GENERIC_WRITE || rule.empties;
    const int flags = changes ? O_RDWR : O_RDONLY;

    // Another process may make or remove the file between the steps; then they start again.
    for (;;) {
        const DWORD there = AttributesOf(path);
        const bool existed = there != INVALID_FILE_ATTRIBUTES;
        if (existed && !rule.mayExist) return Failed(ERROR_FILE_EXISTS);
        if (existed && there & FILE_ATTRIBUTE_DIRECTORY) return Failed(ERROR_ACCESS_DENIED);
        if (existed && changes && there & FILE_ATTRIBUTE_READONLY) return Failed(ERROR_ACCESS_DENIED);
        if (!existed && !rule.mayMake) return Failed(ERROR_FILE_NOT_FOUND);

        const mode_t mode = attributes & FILE_ATTRIBUTE_READONLY ? kReadOnly : kOrdinary;
        HostFile file(existed ? OpenDescriptor(path, flags) : OpenDescriptor(path, flags | O_CREAT | O_EXCL, mode));
        if (!file && errno == (existed ? ENOENT : EEXIST)) continue;
        if (!file) return Failed(ErrorOfErrno(errno));

        const FileGate gate(file.Descriptor());
        if (IsRemoved(file.Descriptor())) continue;
        const DWORD checked = access | (existed && rule.empties ? GENERIC_WRITE : 0);
        if (!MayShare(file.Descriptor(), checked, share)) return Failed(ERROR_SHARING_VIOLATION);
        if (!MarkOpen(file.Descriptor(), access, share)) return Failed(ERROR_SHARING_VIOLATION);
        if (existed && rule.empties && !Truncate(file.Descriptor())) return Failed(ErrorOfErrno(errno));
        return {std::move(file), existed, ERROR_SUCCESS};
    }
}

DWORD RemoveHostFile(const std::filesystem::path& path) {
    for (;;) {
        const DWORD there = AttributesOf(path);
        if (there == INVALID_FILE_ATTRIBUTES) return ERROR_FILE_NOT_FOUND;
        if (there & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) return ERROR_ACCESS_DENIED;
        const HostFile file(OpenDescriptor(path, O_RDONLY));
        if (!file) return ErrorOfErrno(errno);
        const FileGate gate(file.Descriptor());
        // Removed by someone else meanwhile: what has the name now is another file.
        if (IsRemoved(file.Descriptor())) continue;
        if (!MayShare(file.Descriptor(), GENERIC_READ | GENERIC_WRITE, 0)) return ERROR_SHARING_VIOLATION;
        return unlink(path.c_str()) == 0 ? ERROR_SUCCESS : ErrorOfErrno(errno);
    }
}

}  // namespace kez::kernel
