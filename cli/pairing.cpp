#include "cli/pairing.h"

#include <cstdlib>
#include <cstring>

#include "cli/newest.h"
#include "platform/changewriter/item_notes.h"
#include "platform/control/control.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

void Append(std::string& out, std::int64_t number) {
    for (int shift = 0; shift < 64; shift += 8) out += static_cast<char>(static_cast<std::uint64_t>(number) >> shift);
}

std::int64_t Take(const std::string& bytes, std::size_t& at) {
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i)
        number |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    at += 8;
    return static_cast<std::int64_t>(number);
}

// Nine numbers, then three texts that end in a zero. The type's number tells these facts from older ones, of fewer.
constexpr std::size_t kNumbers = 9;
constexpr std::int64_t kFirstType = 0x100;

std::string Packed(const partner::CachedFile& file) {
    std::string facts;
    Append(facts, file.stamp.modified);
    Append(facts, file.stamp.changed);
    Append(facts, static_cast<std::int64_t>(file.stamp.size));
    Append(facts, static_cast<std::int64_t>(file.stamp.inode));
    Append(facts, file.checked);
    Append(facts, kFirstType + static_cast<std::int64_t>(file.type));
    Append(facts, static_cast<std::int64_t>(file.problem));
    Append(facts, file.saysChanged);
    Append(facts, file.saysChangedIsNew);
    for (const std::string* text : {&file.revision, &file.uid, &file.problemText}) facts += *text + '\0';
    return facts;
}

std::optional<partner::CachedFile> Unpacked(const std::string& facts) {
    if (facts.size() < 8 * kNumbers) return std::nullopt;
    partner::CachedFile file;
    std::size_t at = 0;
    file.stamp.modified = Take(facts, at);
    file.stamp.changed = Take(facts, at);
    file.stamp.size = static_cast<std::uint64_t>(Take(facts, at));
    file.stamp.inode = static_cast<std::uint64_t>(Take(facts, at));
    file.checked = Take(facts, at);
    const std::int64_t type = Take(facts, at);
    if (type < kFirstType) return std::nullopt;
    file.type = static_cast<sync::ItemType>(type - kFirstType);
    file.problem = static_cast<sync::ProblemCode>(Take(facts, at));
    file.saysChanged = Take(facts, at);
    file.saysChangedIsNew = Take(facts, at) != 0;
    for (std::string* text : {&file.revision, &file.uid, &file.problemText}) {
        const std::size_t end = facts.find('\0', at);
        if (end == std::string::npos) return std::nullopt;
        text->assign(facts, at, end - at);
        at = end + 1;
    }
    return file;
}

const std::string kRun = "run-";  // a number that goes up with each synchronisation that changes something
const std::string kNextRun = "next-run";

std::int64_t NumberOf(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

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

partner::CachedFiles StateCache::Load() {
    partner::CachedFiles files;
    m_state.ForEachCached([&](std::string name, const std::string& facts) {
        if (auto file = Unpacked(facts)) files.emplace_hint(files.end(), std::move(name), std::move(*file));
    });
    return files;
}

void StateCache::Save(const std::vector<std::pair<std::string, std::optional<partner::CachedFile>>>& changes) {
    std::vector<std::pair<std::string, std::string>> changed;
    std::vector<std::string> removed;
    for (const auto& [name, file] : changes) {
        if (file) {
            changed.emplace_back(name, Packed(*file));
        } else {
            removed.push_back(name);
        }
    }
    m_state.ReplaceCached(changed, removed);
}

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

// The connection ends before the library goes, and both before the locks.
Pairing::~Pairing() {
    control::SetFlushPolicy(control::FlushPolicy::AtOnce);
    m_deviceStore.reset();
    m_connection.reset();
    m_provider.reset();
    m_folderStore.reset();
    m_cache.reset();
    m_state.reset();
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
        for (const sync::ItemType type : sync::kAllItemTypes) m_state->BeginListing(type);
    } else if (known != partnerships.end()) {
        LookForOlderCopies(device.ShownAs().string());
    }
    m_cache = std::make_unique<StateCache>(*m_state);
    m_folderStore = std::make_unique<partner::FolderStore>(m_folder.string(), formats, m_files, *m_cache,
                                                           DurabilityOf(options.durability));
    if (known == partnerships.end() || otherFolder || !wasHere) {
        partnerships[common.partner] = {identity, m_folder};
        WritePartnerships(device.Folder(), partnerships);
    }
}

// The device counts in its volume of items, so that a copy of that alone is recognised as well.
void Pairing::LookForOlderCopies(const std::string& deviceName) {
    if (m_state->IsNew()) return;
    const std::int64_t onDevice = RunOnDevice().value_or(0);
    std::int64_t inState = NumberOf(m_state->Note(kRun));
    // Cut off between the two notes of one synchronisation, the state has the number as the next one only.
    if (NumberOf(m_state->Note(kNextRun)) == onDevice) inState = std::max(inState, onDevice);
    if (onDevice == inState) return;
    m_olderCopy = onDevice < inState ? deviceName : m_folder.string();
    m_state->DoubtAll(onDevice < inState ? sync::Doubt::OldDevice : sync::Doubt::OldFolder);
    CountRun(std::max(onDevice, inState) + 1);
}

void Pairing::TellOlderCopy(sync::Report& report) const {
    if (m_olderCopy.empty()) return;
    report.findings.push_back({sync::ProblemCode::None,
                               "is an older copy of itself: everything was compared, and what is missing on one side "
                               "was taken from the other",
                               m_olderCopy});
}

void Pairing::BeginChanges() { CountRun(std::max(RunOnDevice().value_or(0), NumberOf(m_state->Note(kRun))) + 1); }

std::optional<std::int64_t> Pairing::RunOnDevice() const {
    return changewriter::ItemNote(kRun + std::to_string(m_partner));
}

void Pairing::CountRun(std::int64_t number) {
    m_state->SetNote(kNextRun, std::to_string(number));
    changewriter::SetItemNote(kRun + std::to_string(m_partner), number);
    m_state->SetNote(kRun, std::to_string(number));
}

void Pairing::KeepForUndo(UndoRecord& record) {
    const fs::path place = record.Begin(m_folder);
    const fs::path state = place / "state.db";
    m_state->CopyTo(state);
    if (m_options.durability != "none") m_realFiles.StartSync(state.string());
    m_realFiles.Record(place);
}

sync::Options Pairing::AgreementOptions() const {
    sync::Options options;
    options.types = m_options.types;
    options.conflicts = PolicyOf(m_options.conflicts);
    options.guardShare = m_options.deletedShare / 100.0;
    options.force = m_options.force;
    options.batchSize = m_options.durability == "item" ? 1 : 100;
    options.asHeldByDevice = [this](const sync::Item& item) { return m_codec.AsHeldByDevice(item); };
    if (m_options.conflicts == "newest") {
        options.ask = [newest = std::make_shared<NewestWins>(*m_folderStore)](const sync::Conflict& conflict) {
            return newest->Decide(conflict);
        };
    }
    return options;
}

}  // namespace kez::cli
