// Everything that a synchronisation of one device with one folder needs, put together: locks, the folder and its
// state file, the provider's connection, both stores.
#pragma once

#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>

#include "cli/commands.h"
#include "cli/device_session.h"
#include "cli/partnership.h"
#include "cli/rehearsal.h"
#include "cli/run_numbers.h"
#include "cli/state_cache.h"
#include "cli/undo.h"
#include "engine/device_store.h"
#include "partner/folder_store.h"
#include "partner/item_format.h"
#include "partner/packet_codec.h"
#include "sync/state.h"

namespace kez::cli {

// The folder or the partnership is not what it was: going on would be a guess. The text says what to do.
class PairingRefused : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// The state file of a folder for one partnership of one device.
std::filesystem::path StateFile(const std::filesystem::path& folder, const std::string& deviceId, unsigned partner);

// The state of a folder that has been synchronised with this device; throws where it never was.
std::unique_ptr<sync::State> OpenState(const DeviceSession& device, const std::filesystem::path& folder,
                                       unsigned partner);

// A device and a folder, ready to be brought into agreement. The folder is made where it never was. Throws
// PairingRefused for a folder that is missing or has lost its marker, and for a partnership that belongs to another
// folder; with `force` it starts over instead.
class Pairing {
 public:
    // With a rehearsal, whose device `device` is then, nothing outside its copies is written.
    Pairing(const DeviceSession& device, const Common& common, const SyncOptions& options,
            Rehearsal* rehearsal = nullptr);
    ~Pairing();

    engine::DeviceStore& Device() { return *m_deviceStore; }
    partner::FolderStore& Folder() { return *m_folderStore; }
    sync::State& State() { return *m_state; }
    // To be asked for before the device is listed.
    sync::Options AgreementOptions() const;
    // Adds a finding where a side was put back to an older copy of itself.
    void TellOlderCopy(sync::Report& report) const;

    // Both sides are going to be changed: each notes that this synchronisation took place, so that one that is put
    // back to an older copy is recognised by the other's higher number.
    void BeginChanges() { RunNumbers(*m_state, m_partner).BeginChanges(); }

    // From now on everything that is written can be taken back.
    void KeepForUndo(UndoRecord& record);
    // Everything was written.
    void EndKeeping() { m_realFiles.EndRecord(); }

 private:
    void MakeFolder(const std::string& partnerName, bool wasHere);
    void Prepare(const DeviceSession& device, const Common& common, const SyncOptions& options);

    SyncOptions m_options;
    std::filesystem::path m_folder;
    unsigned m_partner;
    std::string m_olderCopy;
    std::unique_ptr<FolderLock> m_deviceLock;
    std::unique_ptr<FolderLock> m_folderLock;
    UndoFiles m_realFiles;
    Rehearsal* m_rehearsal;
    partner::FileLayer& m_files;
    std::vector<std::unique_ptr<partner::ItemFormat>> m_formats;
    partner::RecordCodec m_codec;
    std::unique_ptr<sync::State> m_state;
    std::unique_ptr<StateCache> m_cache;
    std::unique_ptr<partner::FolderStore> m_folderStore;
    std::unique_ptr<engine::ProviderLibrary> m_provider;
    std::unique_ptr<engine::Connection> m_connection;
    std::unique_ptr<engine::DeviceStore> m_deviceStore;
};

}  // namespace kez::cli
