#include "cli/pairing.h"

#include <future>

#include "cli/newest.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

partner::Durability DurabilityOf(const std::string& name) {
    if (name == "item") return partner::Durability::Item;
    return name == "none" ? partner::Durability::None : partner::Durability::Batch;
}

sync::ConflictPolicy PolicyOf(const std::string& name) {
    if (name == "device") return sync::ConflictPolicy::Device;
    if (name == "folder") return sync::ConflictPolicy::Folder;
    if (name == "ask" || name == "newest") return sync::ConflictPolicy::Ask;
    return name == "skip" ? sync::ConflictPolicy::Skip : sync::ConflictPolicy::Both;
}

}  // namespace

fs::path StateFile(const fs::path& folder, const std::string& deviceId, unsigned partner) {
    return folder / (".kezsync-" + deviceId + "-" + std::to_string(partner) + ".db");
}

std::unique_ptr<sync::State> OpenState(const DeviceSession& device, const fs::path& folder, unsigned partner) {
    const fs::path file = StateFile(folder, device.Settings().id, partner);
    if (!fs::exists(file)) {
        throw std::runtime_error(folder.string() + " has not been synchronised with " + device.Folder().string() +
                                 " as partner " + std::to_string(partner));
    }
    partner::RealFileLayer files;
    partner::MemoryFolderCache cache;
    const partner::FolderStore store(folder.string(), {}, files, cache);
    return std::make_unique<sync::State>(file, device.Settings().id, store.Identity(), true);
}

Pairing::Pairing(const DeviceSession& device, const Common& common, const SyncOptions& options, Rehearsal* rehearsal)
    : m_options(options),
      m_folder(fs::absolute(options.folder).lexically_normal()),
      m_partner(common.partner),
      m_rehearsal(rehearsal),
      m_files(rehearsal ? rehearsal->Files() : m_realFiles),
      m_codec([] { return control::CurrentBias(); }) {
    if (!rehearsal) m_deviceLock = std::make_unique<FolderLock>(device.Folder(), "the device");
    Prepare(device, common, options);

    m_provider = std::make_unique<engine::ProviderLibrary>(ProviderFile());
    engine::ConnectionOptions connection;
    connection.partnerBit = common.partner;
    connection.recommendedSize = options.packetSize;
    connection.types = options.types;
    m_connection = std::make_unique<engine::Connection>(*m_provider, connection);
    m_deviceStore = std::make_unique<engine::DeviceStore>(*m_connection, m_codec, *m_state, device.ShownAs().string(),
                                                          device.Settings().id);
    // The provider asks for a flush with each item; what counts is the one before the state is committed.
    if (m_options.durability != "item") control::SetFlushPolicy(control::FlushPolicy::PutOff);
}

// The connection ends before the library goes, and both before the locks. The state is closed meanwhile: each side
// waits for the disk as it closes its databases.
Pairing::~Pairing() {
    m_deviceStore.reset();
    const auto closing = std::async(std::launch::async | std::launch::deferred, [this] {
        m_folderStore.reset();
        m_cache.reset();
        m_state.reset();
    });
    m_connection.reset();
    m_provider.reset();
    control::SetFlushPolicy(control::FlushPolicy::AtOnce);
    closing.wait();
}

void Pairing::MakeFolder(const std::string& partnerName, bool wasHere) {
    std::error_code error;
    const bool exists = fs::exists(m_folder, error);
    if (!exists && wasHere && !m_options.force) {
        throw PairingRefused(m_folder.string() + ", the folder of " + partnerName +
                             ", is not there (not mounted?). Nothing was changed. To start over with an empty folder, "
                             "use --force");
    }
    if (m_rehearsal) return;
    if (!exists && !fs::create_directories(m_folder, error)) {
        throw std::runtime_error(m_folder.string() + " cannot be made: " + error.message());
    }
    m_folderLock = std::make_unique<FolderLock>(m_folder, "the folder");
}

void Pairing::Prepare(const DeviceSession& device, const Common& common, const SyncOptions& options) {
    auto partnerships = ReadPartnerships(device.Folder());
    const auto known = partnerships.find(common.partner);
    const std::string partnerName = "partner " + std::to_string(common.partner) + " of " + device.ShownAs().string();
    const bool wasHere = known != partnerships.end() && known->second.folder == m_folder;
    MakeFolder(partnerName, wasHere);
    m_formats = partner::AllFormats(device.Settings().timeZone);
    std::vector<const partner::ItemFormat*> formats;
    for (const auto& format : m_formats) formats.push_back(format.get());

    // The folder's identity has to be known before its state can be opened, and the state before the files are listed.
    std::string identity;
    {
        partner::MemoryFolderCache none;
        partner::FolderStore folder(m_folder.string(), formats, m_files, none);
        if (folder.Identity().empty()) {
            if (wasHere && !options.force) {
                throw PairingRefused(
                    m_folder.string() + ", the folder of " + partnerName + ", has lost its marker " +
                    partner::FolderStore::kMarkerName +
                    ": it was emptied, or something else is mounted there. Nothing was changed. To start "
                    "over with what is in it now, use --force");
            }
            folder.Mark();
        }
        identity = folder.Identity();
    }
    const bool otherFolder = known != partnerships.end() && known->second.folderIdentity != identity;
    if (otherFolder && !options.force) {
        throw PairingRefused(partnerName + " belongs to the folder " + known->second.folder.string() +
                             ". Two folders cannot share a partnership, each would miss changes. Use --partner " +
                             (common.partner == 1 ? "2" : "1") + ", or --force to give this one to " +
                             m_folder.string());
    }

    const bool durable = options.durability != "none";
    const fs::path stateFile =
        m_rehearsal ? m_rehearsal->StateFile() : StateFile(m_folder, device.Settings().id, common.partner);
    m_state = std::make_unique<sync::State>(stateFile, device.Settings().id, identity, durable);
    if (otherFolder) {
        // Changes since this folder's last turn were told to the other one: everything is to be compared.
        m_state->BeginListings({std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)});
    } else if (known != partnerships.end()) {
        if (const auto older = RunNumbers(*m_state, m_partner).LookForOlderCopies()) {
            m_olderCopy = older == sync::Doubt::OldDevice ? device.ShownAs().string() : m_folder.string();
        }
    }
    m_cache = std::make_unique<StateCache>(*m_state);
    m_folderStore = std::make_unique<partner::FolderStore>(m_folder.string(), formats, m_files, *m_cache,
                                                           DurabilityOf(options.durability));
    if (known == partnerships.end() || otherFolder || !wasHere) {
        partnerships[common.partner] = {identity, m_folder};
        WritePartnerships(device.Folder(), partnerships);
    }
}

void Pairing::TellOlderCopy(sync::Report& report) const {
    if (m_olderCopy.empty()) return;
    report.findings.push_back({sync::ProblemCode::None,
                               "is an older copy of itself: everything was compared, and what is missing on one side "
                               "was taken from the other",
                               m_olderCopy});
}

void Pairing::KeepForUndo(UndoRecord& record) { m_realFiles.Record(record.Begin(m_folder, *m_state)); }

sync::Options Pairing::AgreementOptions() const {
    sync::Options options;
    options.types = m_options.types;
    options.conflicts = PolicyOf(m_options.conflicts);
    options.guardShare = m_options.deletedShare / 100.0;
    options.force = m_options.force;
    options.batchSize = m_options.durability == "item" ? 1 : 100;
    options.asHeldByDevice = [this](const sync::Item& item) { return m_codec.AsHeldByDevice(item); };
    options.hasAll = [this](const std::string& name, const std::string& whole, const std::string& part) {
        return m_codec.HasAll(name, whole, part);
    };
    if (m_options.conflicts == "newest") {
        options.ask = [newest = std::make_shared<NewestWins>(*m_folderStore)](const sync::Conflict& conflict) {
            return newest->Decide(conflict);
        };
    }
    return options;
}

}  // namespace kez::cli
