// Open files: the calls that take a file's handle, and the one that makes it. What a handle may do is checked here;
// the descriptor behind a handle for writing can also read, because the share locks need that.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <optional>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"
#include "platform/kernel/handle_table.h"
#include "platform/kernel/host_file.h"

namespace {

using kez::control::PlannedFault;
using kez::kernel::ErrorOfErrno;
using kez::kernel::HostFile;

class OpenFile : public kez::kernel::Object {
 public:
    OpenFile(HostFile file, DWORD access) : m_file(std::move(file)), m_access(access) {}

    bool MayRead() const { return m_access & GENERIC_READ; }
    bool MayWrite() const { return m_access & GENERIC_WRITE; }
    int Descriptor() const { return m_file.Descriptor(); }

    std::mutex position;  // held by what moves the file pointer in more than one step

 private:
    HostFile m_file;
    DWORD m_access;
};

constexpr DWORD kAllOnes = 0xFFFFFFFF;

BOOL Refuse(DWORD error) {
    SetLastError(error);
    return FALSE;
}

DWORD RefuseSize(DWORD error) {
    SetLastError(error);
    return kAllOnes;
}

std::optional<std::int64_t> SizeOf(const OpenFile& file) {
    struct stat status = {};
    if (fstat(file.Descriptor(), &status) != 0) return std::nullopt;
    return status.st_size;
}

// A 64-bit result in two halves, the high one where it is wanted. An all-ones low half is no failure: the last error
// then says so.
template <class High>
DWORD Halves(std::int64_t value, High* high) {
    const auto low = static_cast<DWORD>(value);
    if (high) *high = static_cast<High>(value >> 32);
    if (low == kAllOnes) SetLastError(NO_ERROR);
    return low;
}

}  // namespace

HANDLE CreateFileW(LPCWSTR path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*, DWORD disposition, DWORD attributes,
                   HANDLE) {
    const auto fail = [](DWORD error) {
        SetLastError(error);
        return INVALID_HANDLE_VALUE;
    };
    if (auto fault = PlannedFault("CreateFileW")) return fail(*fault);
    const auto hostPath = kez::kernel::HostPath(path);
    if (!hostPath) return INVALID_HANDLE_VALUE;
    kez::kernel::OpenedFile opened = kez::kernel::OpenHostFile(*hostPath, access, share, disposition, attributes);
    if (!opened.file) return fail(opened.error);
    const HANDLE handle = kez::kernel::Register(std::make_shared<OpenFile>(std::move(opened.file), access));
    const bool tellsOfExisting = disposition == CREATE_ALWAYS || disposition == OPEN_ALWAYS;
    SetLastError(opened.existed && tellsOfExisting ? ERROR_ALREADY_EXISTS : NO_ERROR);
    return handle;
}

BOOL ReadFile(HANDLE handle, LPVOID buffer, DWORD bytes, LPDWORD read, OVERLAPPED* overlapped) {
    if (read) *read = 0;
    if (auto fault = PlannedFault("ReadFile")) return Refuse(*fault);
    const auto file = kez::kernel::FindAs<OpenFile>(handle);
    if (!file) return FALSE;
    if (!file->MayRead()) return Refuse(ERROR_ACCESS_DENIED);
    if (overlapped || (!buffer && bytes > 0)) return Refuse(ERROR_INVALID_PARAMETER);
    std::lock_guard lock(file->position);
    DWORD done = 0;
    while (done < bytes) {
        const ssize_t got = ::read(file->Descriptor(), static_cast<BYTE*>(buffer) + done, bytes - done);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return Refuse(ErrorOfErrno(errno));
        if (got == 0) break;
        done += static_cast<DWORD>(got);
        if (read) *read = done;
    }
    return TRUE;
}

BOOL WriteFile(HANDLE handle, LPCVOID buffer, DWORD bytes, LPDWORD written, OVERLAPPED* overlapped) {
    if (written) *written = 0;
    if (auto fault = PlannedFault("WriteFile")) return Refuse(*fault);
    const auto file = kez::kernel::FindAs<OpenFile>(handle);
    if (!file) return FALSE;
    if (!file->MayWrite()) return Refuse(ERROR_ACCESS_DENIED);
    if (overlapped || (!buffer && bytes > 0)) return Refuse(ERROR_INVALID_PARAMETER);
    std::lock_guard lock(file->position);
    DWORD done = 0;
    while (done < bytes) {
        const ssize_t put = ::write(file->Descriptor(), static_cast<const BYTE*>(buffer) + done, bytes - done);
        if (put < 0 && errno == EINTR) continue;
        if (put < 0) return Refuse(ErrorOfErrno(errno));
        done += static_cast<DWORD>(put);
        if (written) *written = done;
    }
    return TRUE;
}

DWORD SetFilePointer(HANDLE handle, LONG distance, LONG* distanceHigh, DWORD method) {
    if (auto fault = PlannedFault("SetFilePointer")) return RefuseSize(*fault);
    const auto file = kez::kernel::FindAs<OpenFile>(handle);
    if (!file) return INVALID_SET_FILE_POINTER;
    std::lock_guard lock(file->position);
    std::int64_t start = 0;
    switch (method) {
        case FILE_BEGIN:
            break;
        case FILE_CURRENT:
            start = lseek(file->Descriptor(), 0, SEEK_CUR);
            break;
        case FILE_END:
            start = SizeOf(*file).value_or(0);
            break;
        default:
            return RefuseSize(ERROR_INVALID_PARAMETER);
    }
    std::int64_t move = distance;
    if (distanceHigh) {
        move = static_cast<std::int64_t>(std::uint64_t{static_cast<DWORD>(*distanceHigh)} << 32 |
                                         static_cast<DWORD>(distance));
    }
    std::int64_t target = 0;
    if (__builtin_add_overflow(start, move, &target)) return RefuseSize(ERROR_INVALID_PARAMETER);
    if (target < 0) return RefuseSize(ERROR_NEGATIVE_SEEK);
    if (!distanceHigh && target > kAllOnes) return RefuseSize(ERROR_INVALID_PARAMETER);
    if (lseek(file->Descriptor(), target, SEEK_SET) < 0) return RefuseSize(ERROR_INVALID_PARAMETER);
    return Halves(target, distanceHigh);
}

DWORD GetFileSize(HANDLE handle, LPDWORD sizeHigh) {
    if (auto fault = PlannedFault("GetFileSize")) return RefuseSize(*fault);
    const auto file = kez::kernel::FindAs<OpenFile>(handle);
    if (!file) return INVALID_FILE_SIZE;
    const auto size = SizeOf(*file);
    if (!size) return RefuseSize(ErrorOfErrno(errno));
    return Halves(*size, sizeHigh);
}
