// Mutexes that are named on the whole device.
//
// A named mutex is a small file in the folder ".kezmutex" of the device folder. Two of its bytes are locked, by open
// file description, so that the locks end with the process however it ends:
//   byte 0  for writing by the process whose thread owns the mutex; the file's content is one byte, 1 while it is
//           owned, so that who gets the lock and finds a 1 knows that the owner ended without a release;
//   byte 1  for reading by each process that has a handle; where nobody has, the mutex does not exist any more, and
//           its file is replaced when the name is used again.
// Inside a process all handles of one name share one SharedMutex, which knows the owning thread and its count. A
// mutex without a name, or without an open device, belongs to the process alone and has no file.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "platform/kernel/device_path.h"
#include "platform/kernel/handle_table.h"
#include "platform/kernel/host_file.h"

namespace {

namespace fs = std::filesystem;
using kez::control::PlannedFault;
using kez::kernel::HostFile;
using Clock = std::chrono::steady_clock;

constexpr off_t kOwnerByte = 0;
constexpr off_t kHandleByte = 1;
constexpr std::chrono::milliseconds kPoll{2};  // how often a waiter looks for an owner's release in another process

bool SetLock(int file, short type, off_t byte) {
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = byte;
    lock.l_len = 1;
    return fcntl(file, F_OFD_SETLK, &lock) == 0;
}

// Whether a process other than the file's opener has a handle.
bool OthersHaveHandles(int file) {
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = kHandleByte;
    lock.l_len = 1;
    return fcntl(file, F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

bool IsSameFile(int a, int b) {
    struct stat first = {};
    struct stat second = {};
    return fstat(a, &first) == 0 && fstat(b, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

class SharedMutex;

// The mutexes that this thread owns; the end of the thread abandons them.
struct OwnedByThread {
    std::vector<std::shared_ptr<SharedMutex>> mutexes;
    ~OwnedByThread();
};
thread_local OwnedByThread t_owned;

class SharedMutex : public std::enable_shared_from_this<SharedMutex> {
 public:
    // `file` is empty for a mutex of this process alone.
    explicit SharedMutex(HostFile file) : m_file(std::move(file)) {}

    const HostFile& File() const { return m_file; }

    DWORD Wait(DWORD milliseconds) {
        std::unique_lock lock(m_mutex);
        if (m_owner == &t_owned) {
            ++m_recursion;
            return WAIT_OBJECT_0;
        }
        const auto deadline = Clock::now() + std::chrono::milliseconds(milliseconds);
        for (;;) {
            if (!m_owner && LockFile()) return TakeOver();
            const auto now = Clock::now();
            if (milliseconds != INFINITE && now >= deadline) return WAIT_TIMEOUT;
            // A release in this process wakes the waiter, one in another process is seen at the next look.
            auto next = now + kPoll;
            if (milliseconds != INFINITE) next = std::min(next, deadline);
            m_released.wait_until(lock, next);
        }
    }

    // False where the calling thread is not the owner.
    bool Release() {
        std::lock_guard lock(m_mutex);
        if (m_owner != &t_owned) return false;
        if (--m_recursion > 0) return true;
        WriteOwned(0);
        LetGo();
        std::erase_if(t_owned.mutexes, [this](const auto& mutex) { return mutex.get() == this; });
        return true;
    }

    // The owning thread ends.
    void Abandon() {
        std::lock_guard lock(m_mutex);
        m_abandoned = !m_file;
        LetGo();
    }

 private:
    bool LockFile() { return !m_file || SetLock(m_file.Descriptor(), F_WRLCK, kOwnerByte); }

    DWORD TakeOver() {
        char owned = 0;
        const bool abandoned = m_file ? pread(m_file.Descriptor(), &owned, 1, 0) == 1 && owned != 0 : m_abandoned;
        WriteOwned(1);
        m_abandoned = false;
        m_owner = &t_owned;
        m_recursion = 1;
        t_owned.mutexes.push_back(shared_from_this());
        return abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
    }

    // A full disk can keep the mark from being written: then an owner's sudden end looks like a release.
    void WriteOwned(char owned) {
        if (m_file) static_cast<void>(!pwrite(m_file.Descriptor(), &owned, 1, 0));
    }

    void LetGo() {
        m_owner = nullptr;
        m_recursion = 0;
        if (m_file) SetLock(m_file.Descriptor(), F_UNLCK, kOwnerByte);
        m_released.notify_one();
    }

    std::mutex m_mutex;
    std::condition_variable m_released;
    HostFile m_file;
    const OwnedByThread* m_owner = nullptr;
    DWORD m_recursion = 0;
    bool m_abandoned = false;  // without a file: the last owner ended without a release
};

OwnedByThread::~OwnedByThread() {
    for (const auto& mutex : mutexes) mutex->Abandon();
}

// The file name of a mutex. A case difference is a difference, so the name is kept as it is, but for the characters
// that the host could mistake; what is too long for one name continues below a directory.
fs::path FileNameOf(const std::u16string& name) {
    std::string encoded;
    for (const char character : kez::kernel::ToUtf8(name.c_str())) {
        const bool plain = (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
                           (character >= '0' && character <= '9');
        constexpr const char* kDigits = "0123456789abcdef";
        const auto value = static_cast<unsigned char>(character);
        if (plain) {
            encoded += character;
        } else {
            encoded += {'%', kDigits[value >> 4], kDigits[value & 15]};
        }
    }
    constexpr std::size_t kPiece = 200;
    fs::path path;
    for (; encoded.size() > kPiece; encoded.erase(0, kPiece)) path /= "d" + encoded.substr(0, kPiece);
    return path / ("m" + encoded);
}

// What a mutex is known by.
struct Identity {
    fs::path device;  // empty where it belongs to this process alone
    std::u16string name;
    std::string key;
};

// The handles of one mutex in this process. A program may leave thousands open: they share what they are known by.
struct Entry {
    std::weak_ptr<SharedMutex> mutex;
    std::shared_ptr<const Identity> identity;
    int handles = 0;
};

struct State {
    std::mutex mutex;
    std::map<std::string, Entry> entries;  // by device folder and name
};

State& TheState() {
    static State& state = *new State;  // never destroyed: calls may come from other statics' destructors
    return state;
}

// Held in all processes of the device while mutexes come into being or vanish.
class DeviceGate {
 public:
    explicit DeviceGate(const fs::path& folder)
        : m_file(open((folder / "gate").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)) {
        while (m_file && flock(m_file.Descriptor(), LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    explicit operator bool() const { return static_cast<bool>(m_file); }

 private:
    HostFile m_file;
};

struct Named {
    std::shared_ptr<SharedMutex> mutex;
    bool existed = false;
    DWORD error = 0;
};

fs::path MutexFolder(const fs::path& device) { return device / ".kezmutex"; }

// The mutex for the first handle of this process to it. `kept` is what this process still has of the name from
// before: a mutex that a thread owns although its handles are closed.
Named OpenNamed(const fs::path& device, const std::u16string& name, const std::shared_ptr<SharedMutex>& kept) {
    const fs::path path = MutexFolder(device) / FileNameOf(name);
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    const DeviceGate gate(MutexFolder(device));
    if (!gate) return {nullptr, false, kez::kernel::ErrorOfErrno(errno)};

    HostFile file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    Named named;
    named.existed = file && OthersHaveHandles(file.Descriptor());
    if (!named.existed) {
        // What lies there is left over from a mutex that has vanished.
        unlink(path.c_str());
        file = HostFile(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        if (!file) return {nullptr, false, kez::kernel::ErrorOfErrno(errno)};
    }
    const bool isKept = kept && IsSameFile(kept->File().Descriptor(), file.Descriptor());
    named.mutex = isKept ? kept : std::make_shared<SharedMutex>(std::move(file));
    SetLock(named.mutex->File().Descriptor(), F_RDLCK, kHandleByte);
    return named;
}

// The last handle of this process is closed.
void LeaveNamed(const fs::path& device, const std::u16string& name, const SharedMutex& mutex) {
    const DeviceGate gate(MutexFolder(device));
    const int file = mutex.File().Descriptor();
    SetLock(file, F_UNLCK, kHandleByte);
    const fs::path path = MutexFolder(device) / FileNameOf(name);
    const HostFile there(open(path.c_str(), O_RDWR | O_CLOEXEC));
    if (there && IsSameFile(there.Descriptor(), file) && !OthersHaveHandles(file)) unlink(path.c_str());
}

class MutexHandle : public kez::kernel::Object {
 public:
    // A mutex without a name.
    MutexHandle() : m_mutex(std::make_shared<SharedMutex>(HostFile())) {}

    MutexHandle(std::shared_ptr<const Identity> identity, std::shared_ptr<SharedMutex> mutex)
        : m_identity(std::move(identity)), m_mutex(std::move(mutex)) {}

    ~MutexHandle() override {
        if (!m_identity) return;
        State& state = TheState();
        std::lock_guard lock(state.mutex);
        Entry& entry = state.entries[m_identity->key];
        if (--entry.handles > 0) return;
        if (m_mutex->File()) LeaveNamed(m_identity->device, m_identity->name, *m_mutex);
        // What a thread still owns stays known: it is the same mutex as long as another process has a handle. One of
        // this process alone vanishes with its last handle.
        if (!m_mutex->File() || m_mutex.use_count() == 1) state.entries.erase(m_identity->key);
    }

    SharedMutex& Mutex() { return *m_mutex; }
    bool IsMutex() const override { return true; }

 private:
    std::shared_ptr<const Identity> m_identity;  // null without a name
    std::shared_ptr<SharedMutex> m_mutex;
};

// `existed` tells whether the mutex was there before.
std::shared_ptr<MutexHandle> OpenMutexHandle(const std::u16string& name, bool* existed) {
    const fs::path device = kez::control::DeviceFolder();
    const std::string key = device.string() + '\n' + kez::kernel::ToUtf8(name.c_str());
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    Entry& entry = state.entries[key];
    Named named;
    if (entry.handles > 0) {
        named = {entry.mutex.lock(), true};
    } else if (device.empty()) {
        named.mutex = std::make_shared<SharedMutex>(HostFile());
    } else {
        named = OpenNamed(device, name, entry.mutex.lock());
    }
    if (!named.mutex) {
        SetLastError(named.error);
        return nullptr;
    }
    entry.mutex = named.mutex;
    if (!entry.identity) entry.identity = std::make_shared<const Identity>(Identity{device, name, key});
    ++entry.handles;
    *existed = named.existed;
    return std::make_shared<MutexHandle>(entry.identity, named.mutex);
}

}  // namespace

HANDLE CreateMutexW(SECURITY_ATTRIBUTES*, BOOL initialOwner, LPCWSTR name) {
    if (auto fault = PlannedFault("CreateMutexW")) {
        SetLastError(*fault);
        return nullptr;
    }
    bool existed = false;
    std::shared_ptr<MutexHandle> handle;
    if (name) {
        const std::u16string text(name, wcslen(name));
        if (text.size() > MAX_PATH || text.find(u'\\') != std::u16string::npos) {
            SetLastError(ERROR_INVALID_NAME);
            return nullptr;
        }
        handle = OpenMutexHandle(text, &existed);
        if (!handle) return nullptr;
    } else {
        handle = std::make_shared<MutexHandle>();
    }
    if (initialOwner && !existed) handle->Mutex().Wait(0);
    const HANDLE result = kez::kernel::Register(std::move(handle));
    SetLastError(existed ? ERROR_ALREADY_EXISTS : NO_ERROR);
    return result;
}

DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds) {
    if (auto fault = PlannedFault("WaitForSingleObject")) {
        SetLastError(*fault);
        return WAIT_FAILED;
    }
    const auto mutex = kez::kernel::FindAs<MutexHandle>(handle);
    return mutex ? mutex->Mutex().Wait(milliseconds) : WAIT_FAILED;
}

BOOL ReleaseMutex(HANDLE handle) {
    if (auto fault = PlannedFault("ReleaseMutex")) {
        SetLastError(*fault);
        return FALSE;
    }
    const auto mutex = kez::kernel::FindAs<MutexHandle>(handle);
    if (!mutex) return FALSE;
    if (mutex->Mutex().Release()) return TRUE;
    SetLastError(ERROR_NOT_OWNER);
    return FALSE;
}
