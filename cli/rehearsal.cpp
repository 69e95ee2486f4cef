#include "cli/rehearsal.h"

#include "cli/pairing.h"
#include "platform/control/control.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

bool EndsWith(const std::string& name, const char* ending) { return name.ends_with(ending); }

bool IsVolume(const fs::path& file) { return EndsWith(file.filename().string(), ".vol"); }

// What a pass neither reads nor misses: SQLite's own files, logs, and what belongs to other programs' runs.
bool IsLeftOut(const fs::path& file) {
    const std::string name = file.filename().string();
    return EndsWith(name, ".vol-wal") || EndsWith(name, ".vol-shm") || EndsWith(name, ".vol-journal") ||
           name.starts_with("DevLog") || name == ".kezsync.lock" || name == ".kezundo" || name == ".kezdoctor";
}

}  // namespace

Rehearsal::Rehearsal(const fs::path& device, const fs::path& folder, unsigned partner)
    : m_device(m_place.Path() / "device"),
      m_stateFile(m_place.Path() / "state.db"),
      m_files(fs::absolute(folder).lexically_normal().string()) {
    const std::string id = control::ReadDevice(device).id;
    m_deviceLock = std::make_unique<FolderLock>(device, "the device", false);
    m_folderLock = std::make_unique<FolderLock>(folder, "the folder", false);
    CopyDevice(device);
    const fs::path state = cli::StateFile(folder, id, partner);
    if (fs::exists(state)) sync::CopyDatabase(state.string(), m_stateFile.string());
}

void Rehearsal::CopyDevice(const fs::path& device) {
    fs::create_directories(m_device);
    for (auto entry = fs::recursive_directory_iterator(device); entry != fs::recursive_directory_iterator(); ++entry) {
        const fs::path to = m_device / entry->path().lexically_relative(device);
        if (IsLeftOut(entry->path())) {
            entry.disable_recursion_pending();
        } else if (entry->is_directory()) {
            fs::create_directories(to);
        } else if (IsVolume(entry->path())) {
            sync::CopyDatabase(entry->path().string(), to.string());
        } else if (entry->is_regular_file()) {
            fs::copy_file(entry->path(), to);
        }
    }
}

}  // namespace kez::cli
