// The locks behind the share modes.
#include "platform/kernel/file_share.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace kez::kernel {

namespace {

constexpr off_t kFirstByte = 0x7000'0000'0000'0000;

// One of the two accesses: the byte that its holders lock, and the byte that those lock who deny it.
struct AccessRow {
    DWORD access;
    DWORD share;
    off_t holders;
    off_t deniers;
};

constexpr std::array<AccessRow, 2> kAccesses = {{
    {GENERIC_READ, FILE_SHARE_READ, kFirstByte + 0, kFirstByte + 1},
    {GENERIC_WRITE, FILE_SHARE_WRITE, kFirstByte + 2, kFirstByte + 3},
}};

struct flock Lock(short type, off_t byte) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return lock;
}

bool IsLockedByOther(int file, off_t byte) {
    struct flock lock = Lock(F_WRLCK, byte);
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool LockShared(int file, off_t byte) {
    struct flock lock = Lock(F_RDLCK, byte);
    return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

bool HasAccess(DWORD access) { return access & (GENERIC_READ | GENERIC_WRITE); }

}  // namespace

FileGate::FileGate(int file) : m_file(file) {
    while (flock(m_file, LOCK_EX) != 0 && errno == EINTR) {
    }
}

FileGate::~FileGate() { flock(m_file, LOCK_UN); }

bool MayShare(int file, DWORD access, DWORD share) {
    if (!HasAccess(access)) return true;  // without access a handle neither blocks nor is blocked
    for (const AccessRow& row : kAccesses) {
        if (access & row.access && IsLockedByOther(file, row.deniers)) return false;
        if (!(share & row.share) && IsLockedByOther(file, row.holders)) return false;
    }
    return true;
}

bool MarkOpen(int file, DWORD access, DWORD share) {
    if (!HasAccess(access)) return true;
    for (const AccessRow& row : kAccesses) {
        if (access & row.access && !LockShared(file, row.holders)) return false;
        if (!(share & row.share) && !LockShared(file, row.deniers)) return false;
    }
    return true;
}

}  // namespace kez::kernel
