// The volumes that this process has open: one object a file, how often each is mounted, and which databases of it are
// open through handles.
#pragma once

#include <windbase.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/propertydb/connection.h"
#include "platform/propertydb/volume.h"

namespace kez::propertydb {

// What a Volume is inside.
struct Volume::Private {
    std::shared_ptr<VolumeShare> share;
    std::shared_ptr<Connection> connection;
};

class VolumeTable {
 public:
    static VolumeTable& Get();

    // The volume at a device path, opened where it is not open yet. Throws VolumeError.
    std::shared_ptr<Volume> Open(LPCWSTR devicePath, bool create);
    std::shared_ptr<Volume> OpenApart(LPCWSTR devicePath);
    std::shared_ptr<Volume> IfOpen(LPCWSTR devicePath);

    // CeMountDBVolEx and CeUnmountDBVol. Throws VolumeError; `existed` tells that the volume was there.
    std::shared_ptr<Volume> Mount(LPCWSTR devicePath, const CEVOLUMEOPTIONS* options, DWORD disposition, bool& existed);
    void Unmount(const CEGUID& guid);
    // A volume that is mounted, or that stays because a handle is open. Throws VolumeError 1168.
    std::shared_ptr<Volume> Find(const CEGUID& guid);
    // Those mounted, in the order of their first mounts.
    std::vector<std::shared_ptr<Volume>> Mounted();

    // A database was opened (+1) or closed (-1) through a handle.
    void CountHandle(Volume& volume, CEOID database, int change);
    bool IsOpen(Volume& volume, CEOID database);

 private:
    struct Known {
        std::weak_ptr<Volume> volume;
        std::weak_ptr<VolumeShare> share;
    };
    struct MountEntry {
        std::shared_ptr<Volume> volume;
        int count;
    };

    std::filesystem::path FileOf(LPCWSTR devicePath);
    std::shared_ptr<VolumeShare> ShareOf(const std::filesystem::path& file, LPCWSTR devicePath);
    std::shared_ptr<Volume> OpenFile(const std::filesystem::path& file, std::shared_ptr<VolumeShare> share);

    std::mutex m_mutex;
    std::map<std::filesystem::path, Known> m_known;
    std::vector<MountEntry> m_mounts;
    std::map<std::pair<Volume*, CEOID>, int> m_handles;
};

bool SameGuid(const CEGUID& a, const CEGUID& b);

}  // namespace kez::propertydb
