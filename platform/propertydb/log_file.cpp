// A layer over SQLite's own file system that puts a write-ahead log behind a buffer.
#include "platform/propertydb/log_file.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <vector>

namespace kez::propertydb {

namespace {

constexpr const char* kName = "kez-volume";
constexpr std::size_t kMostGathered = 256 * 1024;
constexpr std::size_t kMostAtOnce = 64 * 1024;  // SQLite's files take less than 128 KB in one call
constexpr int kFrameHeader = 24;
constexpr int kPagesAfterCommit = 4;  // where a frame's header holds them, high byte first; 0 but in a commit frame

struct LogFile {
    sqlite3_file base;
    sqlite3_file* real;         // directly behind this object
    std::vector<char>* frames;  // what waits, from `start` in the file on
    sqlite3_int64 start;
    sqlite3_int64 end;  // behind the last frame of this transaction; -1 before the first
    bool committing;    // the last frame header was that of a commit
};

LogFile& Self(sqlite3_file* file) { return *reinterpret_cast<LogFile*>(file); }
sqlite3_file* Real(sqlite3_file* file) { return Self(file).real; }

int WriteGathered(LogFile& log) {
    int result = SQLITE_OK;
    for (std::size_t done = 0; done < log.frames->size() && result == SQLITE_OK; done += kMostAtOnce) {
        const std::size_t bytes = std::min(kMostAtOnce, log.frames->size() - done);
        result = log.real->pMethods->xWrite(log.real, log.frames->data() + done, static_cast<int>(bytes),
                                            log.start + static_cast<sqlite3_int64>(done));
    }
    log.frames->clear();
    return result;
}

bool Overlaps(const LogFile& log, int bytes, sqlite3_int64 at) {
    return at < log.start + static_cast<sqlite3_int64>(log.frames->size()) && log.start < at + bytes;
}

int Close(sqlite3_file* file) {
    LogFile& log = Self(file);
    delete log.frames;
    return log.real->pMethods->xClose(log.real);
}

int Read(sqlite3_file* file, void* into, int bytes, sqlite3_int64 at) {
    LogFile& log = Self(file);
    if (Overlaps(log, bytes, at)) {
        if (const int result = WriteGathered(log); result != SQLITE_OK) return result;
    }
    return log.real->pMethods->xRead(log.real, into, bytes, at);
}

int Write(sqlite3_file* file, const void* from, int bytes, sqlite3_int64 at) {
    LogFile& log = Self(file);
    // Only frames that are put behind the others wait. The log's head and frames that are written over go straight
    // into the file, as nothing that follows would push them out.
    const bool frame = at > 0 && (log.end < 0 || at == log.end);
    if (!frame) {
        if (const int result = WriteGathered(log); result != SQLITE_OK) return result;
        return log.real->pMethods->xWrite(log.real, from, bytes, at);
    }
    const auto* data = static_cast<const char*>(from);
    try {
        if (log.frames->empty()) log.start = at;
        log.frames->insert(log.frames->end(), data, data + bytes);
    } catch (const std::bad_alloc&) {
        return SQLITE_NOMEM;
    }
    log.end = at + bytes;
    if (bytes == kFrameHeader) {
        log.committing = std::any_of(data + kPagesAfterCommit, data + kPagesAfterCommit + 4, [](char c) { return c; });
        return SQLITE_OK;
    }
    return log.committing || log.frames->size() >= kMostGathered ? WriteGathered(log) : SQLITE_OK;
}

int Truncate(sqlite3_file* file, sqlite3_int64 size) { return Real(file)->pMethods->xTruncate(Real(file), size); }
int Sync(sqlite3_file* file, int flags) { return Real(file)->pMethods->xSync(Real(file), flags); }
int FileSize(sqlite3_file* file, sqlite3_int64* size) { return Real(file)->pMethods->xFileSize(Real(file), size); }
int Lock(sqlite3_file* file, int kind) { return Real(file)->pMethods->xLock(Real(file), kind); }
int Unlock(sqlite3_file* file, int kind) { return Real(file)->pMethods->xUnlock(Real(file), kind); }
int CheckReservedLock(sqlite3_file* file, int* out) {
    return Real(file)->pMethods->xCheckReservedLock(Real(file), out);
}
int FileControl(sqlite3_file* file, int what, void* with) {
    return Real(file)->pMethods->xFileControl(Real(file), what, with);
}
int SectorSize(sqlite3_file* file) { return Real(file)->pMethods->xSectorSize(Real(file)); }
int DeviceCharacteristics(sqlite3_file* file) { return Real(file)->pMethods->xDeviceCharacteristics(Real(file)); }

// Version 1: a log is neither shared memory nor mapped.
constexpr sqlite3_io_methods kMethods = {1,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr};

sqlite3_vfs* Below() { return sqlite3_vfs_find(nullptr); }

int Open(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
    sqlite3_vfs* below = Below();
    if (!(flags & SQLITE_OPEN_WAL)) return below->xOpen(below, name, file, flags, outFlags);
    auto* real = reinterpret_cast<sqlite3_file*>(reinterpret_cast<char*>(file) + sizeof(LogFile));
    std::memset(real, 0, static_cast<std::size_t>(below->szOsFile));
    file->pMethods = nullptr;
    const int result = below->xOpen(below, name, real, flags, outFlags);
    if (result != SQLITE_OK) {
        if (real->pMethods) real->pMethods->xClose(real);
        return result;
    }
    auto* frames = new (std::nothrow) std::vector<char>;
    if (!frames) {
        real->pMethods->xClose(real);
        return SQLITE_NOMEM;
    }
    new (file) LogFile{{&kMethods}, real, frames, 0, -1, false};
    return SQLITE_OK;
}

}  // namespace

const char* GatheringFiles() {
    static sqlite3_vfs files = [] {
        sqlite3_vfs layer = *Below();
        layer.zName = kName;
        layer.pNext = nullptr;
        layer.szOsFile += static_cast<int>(sizeof(LogFile));
        layer.xOpen = Open;
        return layer;
    }();
    static const int registered = sqlite3_vfs_register(&files, 0);
    return registered == SQLITE_OK ? kName : nullptr;
}

void DropGathered(sqlite3_file* log) {
    if (!log || log->pMethods != &kMethods) return;
    Self(log).frames->clear();
    Self(log).end = -1;
}

}  // namespace kez::propertydb
