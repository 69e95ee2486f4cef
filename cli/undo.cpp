#include "cli/undo.h"

#include <future>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "partner/folder_store.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

constexpr const char* kVolumes[] = {"pim.vol", "KezDBNotify.vol"};
constexpr char kAbout[] = "about.json";  // the folder, and after the end what both sides held
// One JSON array a line: the copy's name, "" where there was no file, or null where an earlier line says it; the
// file's name; a digest of what it says then, or "".
constexpr char kFiles[] = "files";
constexpr char kState[] = "state.db";
constexpr char kFolder[] = ".kezundo";
constexpr char kHeard[] = "heard";          // there once the other partnership has been synchronised
constexpr char kRestoring[] = "restoring";  // there while a record is being put back

std::string ReadWhole(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) throw std::runtime_error(file.string() + " cannot be read");
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteWhole(const fs::path& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << text;
    if (!stream.flush()) throw std::runtime_error(file.string() + " cannot be written");
}

// Without what tells of it a record is none, however much of it is left.
void RemoveRecord(const fs::path& place) {
    fs::remove(place / kAbout);
    fs::remove_all(place);
}

// What a file says, as a digest; "" for one that is not there.
std::string StateOf(const fs::path& file) {
    return fs::exists(file) ? partner::RevisionOf(ReadWhole(file)) : std::string();
}

std::string Text(const nlohmann::json& json) {
    return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

// --- Files ------------------------------------------------------------------------------------------------------

void UndoFiles::Record(const fs::path& place) {
    m_place = place;
    m_list.open(place / kFiles, std::ios::app);
    if (!m_list) throw std::runtime_error((place / kFiles).string() + " cannot be written");
}

void UndoFiles::EndRecord() {
    if (!m_place.empty() && !m_list.flush()) {
        throw std::runtime_error((m_place / kFiles).string() + " cannot be written");
    }
}

bool UndoFiles::Concerns(const std::string& path) const { return !m_place.empty() && path[path.rfind('/') + 1] != '.'; }

std::optional<std::string> UndoFiles::Keep(const std::string& path) {
    if (m_noted.count(path.substr(path.rfind('/') + 1))) return std::nullopt;
    if (Look(path).kind != partner::FileKind::Regular) return std::string();
    const std::string copy = std::to_string(m_noted.size() + 1);
    WriteWhole(m_place / copy, Read(path).bytes);
    return copy;
}

void UndoFiles::Note(const std::optional<std::string>& copy, const std::string& path, const std::string& says) {
    const std::string name = path.substr(path.rfind('/') + 1);
    m_noted.insert(m_noted.end(), name);  // the last one, where several are made
    m_list << Text({copy ? nlohmann::json(*copy) : nlohmann::json(), name, says}) << '\n';
}

std::string UndoFiles::TakeDraft(const std::string& path) {
    const auto draft = m_drafts.extract(path);
    return draft.empty() ? std::string() : draft.mapped();
}

void UndoFiles::Write(const std::string& path, const std::string& bytes, std::uint32_t mode) {
    RealFileLayer::Write(path, bytes, mode);
    if (!m_place.empty()) m_drafts[path] = partner::RevisionOf(bytes);
}

void UndoFiles::Rename(const std::string& from, const std::string& to) {
    if (!Concerns(to)) return RealFileLayer::Rename(from, to);
    const auto copy = Keep(to);
    RealFileLayer::Rename(from, to);
    Note(copy, to, TakeDraft(from));
}

void UndoFiles::RenameNew(const std::string& from, const std::string& to) {
    RealFileLayer::RenameNew(from, to);
    if (!Concerns(to)) return;
    const std::string name = to.substr(to.rfind('/') + 1);
    const bool isNoted = !m_noted.empty() && name <= *m_noted.rbegin() && m_noted.count(name) != 0;
    Note(isNoted ? std::nullopt : std::optional<std::string>(std::string()), to, TakeDraft(from));
}

void UndoFiles::Remove(const std::string& path) {
    if (!Concerns(path)) {
        TakeDraft(path);
        return RealFileLayer::Remove(path);
    }
    const auto copy = Keep(path);
    RealFileLayer::Remove(path);
    Note(copy, path, {});
}

// --- The record -------------------------------------------------------------------------------------------------

UndoRecord::UndoRecord(const fs::path& device, unsigned partner, bool durable)
    : m_device(device),
      m_place(device / kFolder / std::to_string(partner)),
      m_begun(device / kFolder / (std::to_string(partner) + ".begun")),
      m_durable(durable) {}

fs::path UndoRecord::Begin(const fs::path& folder, sync::State& state) {
    m_isOpen = true;
    fs::remove_all(m_begun);
    fs::create_directories(m_begun);
    // Several megabytes each: both are copied at once.
    auto volumes = std::async(std::launch::async | std::launch::deferred, [this] { CopyVolumes(); });
    state.CopyTo(m_begun / kState);
    StartSync(kState);
    volumes.get();
    WriteWhole(m_begun / kAbout, Text({{"folder", folder.string()}, {"before", Counters()}}));
    return m_begun;
}

void UndoRecord::CopyVolumes() const {
    for (const char* volume : kVolumes) {
        const fs::path file = m_device / volume;
        if (!fs::exists(file)) throw std::runtime_error(file.string() + " is missing; nothing was changed");
        sync::Sqlite source(file.string());
        sqlite3_db_config(source.Handle(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
        sync::CopyAsFile(source, (m_begun / volume).string());
        StartSync(volume);
    }
}

void UndoRecord::StartSync(const char* copy) const {
    if (m_durable) partner::RealFileLayer().StartSync((m_begun / copy).string());
}

void UndoRecord::End() {
    if (!std::exchange(m_isOpen, false)) return;
    auto about = nlohmann::json::parse(ReadWhole(m_begun / kAbout));
    const auto counters = Counters();
    const auto files = Files(m_begun);
    if (files.empty() && about["before"] == counters) {
        fs::remove_all(m_begun);
        return;
    }
    nlohmann::json after = nlohmann::json::object();
    for (const auto& [name, kept] : files) after[name] = kept.says;
    about["counters"] = counters;
    about["files"] = after;
    WriteWhole(m_begun / kAbout, Text(about));
    if (m_durable) MakeDurable();
    RemoveRecord(m_place);
    fs::rename(m_begun, m_place);
    if (m_durable) partner::RealFileLayer().SyncFolder(m_place.parent_path().string());
}

// All are on their way before the first is waited for.
void UndoRecord::MakeDurable() const {
    partner::RealFileLayer files;
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(m_begun)) {
        paths.push_back(entry.path().string());
        files.StartSync(paths.back());
    }
    for (const std::string& path : paths) files.Sync(path);
    files.SyncFolder(m_begun.string());
}

std::map<std::string, UndoRecord::Kept> UndoRecord::Files(const fs::path& place) const {
    std::map<std::string, Kept> files;
    std::ifstream list(place / kFiles);
    for (std::string line; std::getline(list, line);) {
        const auto entry = nlohmann::json::parse(line);
        Kept& kept = files[entry[1].get<std::string>()];
        if (!entry[0].is_null()) kept.copy = entry[0].get<std::string>();
        if (entry.size() > 2) kept.says = entry[2].get<std::string>();
    }
    return files;
}

// How often each database of items has changed.
std::map<std::string, std::int64_t> UndoRecord::Counters() const {
    std::map<std::string, std::int64_t> counters;
    const sync::Sqlite connection((m_device / kVolumes[0]).string());
    sync::Statement all(
        connection, "SELECT database.name, state.changes FROM state JOIN database ON database.oid = state.database");
    while (all.Step()) counters[all.Text(0)] = all.Integer(1);
    return counters;
}

// The change tables are put back as well: what the other partnership was told since would be told otherwise.
void UndoRecord::TellOthers() const {
    std::error_code ignored;
    for (const auto& other : fs::directory_iterator(m_device / kFolder, ignored)) {
        if (other.path() != m_place && other.path() != m_begun) WriteWhole(other.path() / kHeard, "");
    }
}

std::vector<std::string> UndoRecord::ChangedSince(const fs::path& folder) const {
    if (!fs::exists(m_place / kAbout)) {
        throw std::runtime_error("there is no synchronisation of " + m_device.string() + " to take back");
    }
    const auto about = nlohmann::json::parse(ReadWhole(m_place / kAbout));
    if (about["folder"] != folder.string()) {
        throw std::runtime_error("the last synchronisation was with " + about["folder"].get<std::string>() +
                                 ", not with " + folder.string());
    }
    std::vector<std::string> changed;
    if (fs::exists(m_place / kRestoring)) return changed;
    const auto before = about["counters"].get<std::map<std::string, std::int64_t>>();
    for (const auto& [name, count] : Counters()) {
        const auto then = before.find(name);
        if (then == before.end() || then->second != count) changed.push_back("the device's " + name + " was changed");
    }
    if (fs::exists(m_place / kHeard)) changed.emplace_back("the other partnership was synchronised");
    for (const auto& [name, state] : about["files"].items()) {
        if (StateOf(folder / name) != state) changed.push_back(name + " was changed");
    }
    return changed;
}

UndoRecord::Done UndoRecord::Restore(const fs::path& folder, const fs::path& stateFile) {
    const auto touched = Files(m_place);
    std::vector<std::string> needed{kVolumes[0], kVolumes[1], kState};
    for (const auto& [name, kept] : touched) {
        if (!kept.copy.empty()) needed.push_back(kept.copy);
    }
    for (const std::string& copy : needed) {
        if (!fs::exists(m_place / copy)) {
            throw std::runtime_error((m_place / copy).string() + " is missing; nothing was changed");
        }
    }
    WriteWhole(m_place / kRestoring, "");
    partner::RealFileLayer files;
    Done done;
    for (const auto& [name, kept] : touched) {
        const std::string path = (folder / name).string();
        if (kept.copy.empty()) {
            if (files.Look(path).kind == partner::FileKind::Regular) {
                files.Remove(path);
                ++done.removed;
            }
            continue;
        }
        const std::string bytes = ReadWhole(m_place / kept.copy);
        const bool isThere = files.Look(path).kind == partner::FileKind::Regular;
        if (isThere && ReadWhole(path) == bytes) continue;
        const std::string hidden =
            (folder / (".kez-" + std::to_string(files.ThisProcess()) + "-undo-" + kept.copy + ".tmp")).string();
        files.Write(hidden, bytes, isThere ? files.Read(path).mode : 0);
        files.Sync(hidden);
        files.Rename(hidden, path);
        ++done.restored;
    }
    files.SyncFolder(folder.string());
    for (const char* volume : kVolumes) {
        sync::CopyDatabase((m_place / volume).string(), (m_device / volume).string());
    }
    sync::CopyDatabase((m_place / kState).string(), stateFile.string());
    RemoveRecord(m_place);
    return done;
}

}  // namespace kez::cli
