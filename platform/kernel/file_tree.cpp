// The calls that take paths only: copying, removing, directories and attributes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"
#include "platform/kernel/host_file.h"

namespace {

using kez::control::PlannedFault;
using kez::kernel::ErrorOfErrno;
using kez::kernel::HostPath;

BOOL Result(DWORD error) {
    if (error == 0) return TRUE;
    SetLastError(error);
    return FALSE;
}

DWORD CopyContent(int from, int to) {
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        const ssize_t got = read(from, buffer.data(), buffer.size());
        if (got == 0) return 0;
        if (got < 0 && errno == EINTR) continue;
        if (got < 0) return ErrorOfErrno(errno);
        for (ssize_t done = 0; done < got;) {
            const ssize_t put = write(to, buffer.data() + done, static_cast<std::size_t>(got - done));
            if (put < 0 && errno == EINTR) continue;
            if (put < 0) return ErrorOfErrno(errno);
            done += put;
        }
    }
}

DWORD CopyAttributes(int from, int to) {
    struct stat source = {};
    struct stat target = {};
    if (fstat(from, &source) != 0 || fstat(to, &target) != 0) return ErrorOfErrno(errno);
    constexpr mode_t kWritable = S_IWUSR | S_IWGRP | S_IWOTH;
    if (source.st_mode & S_IWUSR) return 0;
    return fchmod(to, target.st_mode & ~kWritable) == 0 ? 0 : ErrorOfErrno(errno);
}

}  // namespace

BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists) {
    if (auto fault = PlannedFault("CopyFileW")) return Result(*fault);
    const auto source = HostPath(from);
    if (!source) return FALSE;
    const auto opened = kez::kernel::OpenHostFile(*source, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                                  OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL);
    if (!opened.file) return Result(opened.error);
    const auto target = HostPath(to);
    if (!target) return FALSE;
    const auto made = kez::kernel::OpenHostFile(*target, GENERIC_WRITE, 0, failIfExists ? CREATE_NEW : CREATE_ALWAYS,
                                                FILE_ATTRIBUTE_NORMAL);
    if (!made.file) return Result(made.error);
    DWORD error = CopyContent(opened.file.Descriptor(), made.file.Descriptor());
    if (error == 0) error = CopyAttributes(opened.file.Descriptor(), made.file.Descriptor());
    if (error != 0) unlink(target->c_str());
    return Result(error);
}

BOOL DeleteFileW(LPCWSTR path) {
    if (auto fault = PlannedFault("DeleteFileW")) return Result(*fault);
    const auto hostPath = HostPath(path);
    return hostPath && Result(kez::kernel::RemoveHostFile(*hostPath));
}

BOOL CreateDirectoryW(LPCWSTR path, SECURITY_ATTRIBUTES*) {
    if (auto fault = PlannedFault("CreateDirectoryW")) return Result(*fault);
    const auto hostPath = HostPath(path);
    if (!hostPath) return FALSE;
    if (mkdir(hostPath->c_str(), 0777) == 0) return TRUE;
    return Result(errno == EEXIST ? ERROR_ALREADY_EXISTS : ErrorOfErrno(errno));
}

DWORD GetFileAttributesW(LPCWSTR path) {
    if (auto fault = PlannedFault("GetFileAttributesW")) {
        SetLastError(*fault);
        return INVALID_FILE_ATTRIBUTES;
    }
    const auto hostPath = HostPath(path);
    if (!hostPath) return INVALID_FILE_ATTRIBUTES;
    const DWORD attributes = kez::kernel::AttributesOf(*hostPath);
    if (attributes == INVALID_FILE_ATTRIBUTES) SetLastError(ERROR_FILE_NOT_FOUND);
    return attributes;
}
