// What the open handles of one file allow each other, in all processes of the device.
//
// Each open file with read or write access holds shared locks on single bytes that lie far behind any content: one
// for each access that it has and one for each access that it denies. They belong to the open file description, so
// they count between two handles of one process as well, and end with the process, however that ends.
#pragma once

#include <windows.h>

namespace kez::kernel {

// Held while locks are looked at and set, or a file is removed: one at a time for each file, in all processes.
class FileGate {
 public:
    explicit FileGate(int file);
    ~FileGate();
    FileGate(const FileGate&) = delete;
    FileGate& operator=(const FileGate&) = delete;

 private:
    int m_file;
};

// Both are to be called inside the file's gate.

// Whether `access` (GENERIC_*) with `share` (FILE_SHARE_*) agrees with all who have the file open.
bool MayShare(int file, DWORD access, DWORD share);

// Marks the file as open with `access` and `share` until `file` is closed. `file` must be open for reading.
bool MarkOpen(int file, DWORD access, DWORD share);

}  // namespace kez::kernel
