// A file of the host, opened by the platform's rules.
#pragma once

#include <windows.h>

#include <filesystem>

namespace kez::kernel {

DWORD ErrorOfErrno(int number);

// An open file descriptor; closed with the object.
class HostFile {
 public:
    HostFile() = default;
    explicit HostFile(int descriptor) : m_descriptor(descriptor) {}
    HostFile(HostFile&& other) noexcept;
    HostFile& operator=(HostFile&& other) noexcept;
    ~HostFile();

    int Descriptor() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }

 private:
    int m_descriptor = -1;
};

struct OpenedFile {
    HostFile file;
    bool existed = false;
    DWORD error = 0;  // not 0: `file` is empty
};

// As CreateFileW, with a path of the host.
OpenedFile OpenHostFile(const std::filesystem::path& path, DWORD access, DWORD share, DWORD disposition,
                        DWORD attributes);

// Removes a file that nobody has open with an access. Returns 0 or the error.
DWORD RemoveHostFile(const std::filesystem::path& path);

// FILE_ATTRIBUTE_*, or INVALID_FILE_ATTRIBUTES where nothing is there.
DWORD AttributesOf(const std::filesystem::path& path);

}  // namespace kez::kernel
