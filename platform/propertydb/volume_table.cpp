// Finding, making, mounting and replacing volume files.
#include "platform/propertydb/volume_table.h"

#include <algorithm>
#include <cstring>

#include "platform/kernel/device_path.h"
#include "platform/propertydb/schema.h"

namespace kez::propertydb {

namespace {

constexpr std::uint32_t kPageSize = 2048;

// Whether nobody else has the file open: only then it can be taken out of write-ahead logging.
void RefuseIfInUse(const std::filesystem::path& file) {
    sqlite3* database = nullptr;
    int result = sqlite3_open_v2(file.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result == SQLITE_OK) {
        result = sqlite3_exec(database, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    }
    const DWORD error = result == SQLITE_OK ? NO_ERROR : ErrorOf(database, result);
    sqlite3_close(database);
    if (error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED) {
        throw VolumeError(ERROR_ACCESS_DENIED, "volume \"" + file.string() + "\" is in use or can only be read");
    }
}

void RemoveFile(const std::filesystem::path& file) {
    RefuseIfInUse(file);
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(file.string() + suffix);
}

bool Exists(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::exists(file, ignored);
}

// False where another process was quicker.
bool TryCreate(const std::filesystem::path& file) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(file.parent_path(), ignored)) {
        throw VolumeError(ERROR_PATH_NOT_FOUND, "there is no folder for the volume \"" + file.string() + "\"");
    }
    try {
        CreateVolumeFile(file);
        return true;
    } catch (const VolumeError& error) {
        if (error.Code() != ERROR_FILE_EXISTS) throw;
        return false;
    }
}

void Apply(const CEVOLUMEOPTIONS& options, VolumeShare& share) {
    if (options.dwDefaultTimeout) share.timeout = options.dwDefaultTimeout;
    if (options.cMaxNotifyChanges) share.mostNotifications = options.cMaxNotifyChanges;
    if (options.cMaxSize) share.maxPages = std::max(options.cMaxSize / kPageSize, 1u);
}

}  // namespace

bool SameGuid(const CEGUID& a, const CEGUID& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Never destroyed: handles that nobody closed may outlive the statics of this library.
VolumeTable& VolumeTable::Get() {
    static auto* table = new VolumeTable;
    return *table;
}

std::filesystem::path VolumeTable::FileOf(LPCWSTR devicePath) {
    const auto file = kernel::HostPath(devicePath);
    if (!file) throw VolumeError(GetLastError(), "no volume can be at \"" + kernel::ToUtf8(devicePath) + "\"");
    return *file;
}

std::shared_ptr<VolumeShare> VolumeTable::ShareOf(const std::filesystem::path& file, LPCWSTR devicePath) {
    std::erase_if(m_known, [](const auto& known) { return known.second.share.expired(); });
    Known& known = m_known[file];
    auto share = known.share.lock();
    if (!share) {
        share = std::make_shared<VolumeShare>();
        share->file = file;
        share->devicePath = devicePath;
        known.share = share;
    }
    return share;
}

std::shared_ptr<Volume> VolumeTable::OpenFile(const std::filesystem::path& file, std::shared_ptr<VolumeShare> share) {
    auto connection = std::make_shared<Connection>(share);
    auto volume = std::make_shared<Volume>(Volume::Private{std::move(share), std::move(connection)});
    m_known[file].volume = volume;
    return volume;
}

std::shared_ptr<Volume> VolumeTable::Open(LPCWSTR devicePath, bool create) {
    std::lock_guard lock(m_mutex);
    const auto file = FileOf(devicePath);
    if (auto volume = m_known[file].volume.lock()) return volume;
    if (create && !Exists(file)) TryCreate(file);
    return OpenFile(file, ShareOf(file, devicePath));
}

std::shared_ptr<Volume> VolumeTable::OpenApart(LPCWSTR devicePath) {
    std::lock_guard lock(m_mutex);
    const auto file = FileOf(devicePath);
    auto share = ShareOf(file, devicePath);
    auto connection = std::make_shared<Connection>(share);
    return std::make_shared<Volume>(Volume::Private{std::move(share), std::move(connection)});
}

std::shared_ptr<Volume> VolumeTable::IfOpen(LPCWSTR devicePath) {
    std::lock_guard lock(m_mutex);
    const auto known = m_known.find(FileOf(devicePath));
    return known == m_known.end() ? nullptr : known->second.volume.lock();
}

std::shared_ptr<Volume> VolumeTable::Mount(LPCWSTR devicePath, const CEVOLUMEOPTIONS* options, DWORD disposition,
                                           bool& existed) {
    std::lock_guard lock(m_mutex);
    const auto file = FileOf(devicePath);
    auto volume = m_known[file].volume.lock();
    existed = volume || Exists(file);
    const bool replaces = disposition == CREATE_ALWAYS || disposition == TRUNCATE_EXISTING;
    if (existed && disposition == CREATE_NEW) {
        throw VolumeError(ERROR_ALREADY_EXISTS, "the volume \"" + file.string() + "\" exists");
    }
    if (!existed && (disposition == OPEN_EXISTING || disposition == TRUNCATE_EXISTING)) {
        std::error_code ignored;
        throw VolumeError(
            std::filesystem::is_directory(file.parent_path(), ignored) ? ERROR_FILE_NOT_FOUND : ERROR_PATH_NOT_FOUND,
            "there is no volume \"" + file.string() + "\"");
    }
    if (existed && replaces) {
        if (volume) throw VolumeError(ERROR_ACCESS_DENIED, "the volume \"" + file.string() + "\" is in use");
        RemoveFile(file);
    }
    if (!existed || replaces) existed = !TryCreate(file);
    if (!volume) {
        auto share = ShareOf(file, devicePath);
        if (options) Apply(*options, *share);
        volume = OpenFile(file, std::move(share));
    }
    const auto mount = std::ranges::find(m_mounts, volume, &MountEntry::volume);
    if (mount != m_mounts.end()) {
        ++mount->count;
    } else {
        m_mounts.push_back({volume, 1});
    }
    return volume;
}

void VolumeTable::Unmount(const CEGUID& guid) {
    std::shared_ptr<Volume> last;  // closed after the lock is gone
    std::lock_guard lock(m_mutex);
    const auto mount = std::ranges::find_if(
        m_mounts, [&guid](const MountEntry& candidate) { return SameGuid(candidate.volume->Guid(), guid); });
    if (mount == m_mounts.end()) throw VolumeError(ERROR_NOT_FOUND, "the volume is not mounted");
    if (--mount->count > 0) return;
    last = std::move(mount->volume);
    m_mounts.erase(mount);
    last->Flush();
}

std::shared_ptr<Volume> VolumeTable::Find(const CEGUID& guid) {
    std::lock_guard lock(m_mutex);
    for (const MountEntry& mount : m_mounts) {
        if (SameGuid(mount.volume->Guid(), guid)) return mount.volume;
    }
    for (const auto& [key, count] : m_handles) {
        if (SameGuid(key.first->Guid(), guid)) return key.first->shared_from_this();
    }
    throw VolumeError(ERROR_NOT_FOUND, "the volume is not mounted");
}

std::vector<std::shared_ptr<Volume>> VolumeTable::Mounted() {
    std::lock_guard lock(m_mutex);
    std::vector<std::shared_ptr<Volume>> volumes;
    for (const MountEntry& mount : m_mounts) volumes.push_back(mount.volume);
    return volumes;
}

void VolumeTable::CountHandle(Volume& volume, CEOID database, int change) {
    std::lock_guard lock(m_mutex);
    const std::pair key(&volume, database);
    if ((m_handles[key] += change) == 0) m_handles.erase(key);
}

bool VolumeTable::IsOpen(Volume& volume, CEOID database) {
    std::lock_guard lock(m_mutex);
    return m_handles.contains({&volume, database});
}

}  // namespace kez::propertydb
