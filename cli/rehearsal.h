// A synchronisation that changes nothing: copies of the device and of the state, and files that are only read. All
// of it goes with the object.
#pragma once

#include <filesystem>
#include <memory>

#include "cli/dry_files.h"
#include "cli/partnership.h"
#include "cli/scratch_folder.h"

namespace kez::cli {

class Rehearsal {
 public:
    // Copies the device. Throws control::DeviceError where there is none, and what FolderLock throws where a
    // synchronisation is under way.
    Rehearsal(const std::filesystem::path& device, const std::filesystem::path& folder, unsigned partner);

    const std::filesystem::path& Device() const { return m_device; }
    const std::filesystem::path& StateFile() const { return m_stateFile; }
    partner::FileLayer& Files() { return m_files; }

 private:
    void CopyDevice(const std::filesystem::path& device);

    ScratchFolder m_place;
    std::filesystem::path m_device;
    std::filesystem::path m_stateFile;
    DryFiles m_files;
    std::unique_ptr<FolderLock> m_deviceLock;
    std::unique_ptr<FolderLock> m_folderLock;
};

}  // namespace kez::cli
