#include "cli/undo.h"

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
constexpr char kFiles[] = "files";       // one JSON array a line: the copy's name or "", the file's name
constexpr char kFolder[] = ".kezundo";
constexpr char kHeard[] = "heard";          // there once the other partnership has been synchronised
constexpr char kRestoring[] = "restoring";  // there while a record is being put back

std::string ReadWhole(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void WriteWhole(const fs::path& file, const std::string& text) {
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream << text;
    if (!stream.flush()) throw std::runtime_error(file.string() + " cannot be written");
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
}

void UndoFiles::Note(const std::string& path) {
    const std::string name = path.substr(path.rfind('/') + 1);
    if (m_place.empty() || name[0] == '.' || !m_noted.insert(name).second) return;
    std::string copy;
    if (Look(path).kind == partner::FileKind::Regular) {
        copy = std::to_string(m_noted.size());
        WriteWhole(m_place / copy, Read(path).bytes);
    }
    m_list << Text({copy, name}) << '\n';
    if (!m_list.flush()) throw std::runtime_error((m_place / kFiles).string() + " cannot be written");
}

void UndoFiles::Rename(const std::string& from, const std::string& to) {
    Note(to);
    RealFileLayer::Rename(from, to);
}

void UndoFiles::RenameNew(const std::string& from, const std::string& to) {
    if (Look(to).kind == partner::FileKind::None) Note(to);
    RealFileLayer::RenameNew(from, to);
}

void UndoFiles::Remove(const std::string& path) {
    Note(path);
    RealFileLayer::Remove(path);
}

// --- The record -------------------------------------------------------------------------------------------------

UndoRecord::UndoRecord(const fs::path& device, unsigned partner)
    : m_device(device),
      m_place(device / kFolder / std::to_string(partner)),
      m_begun(device / kFolder / (std::to_string(partner) + ".begun")) {}

fs::path UndoRecord::Begin(const fs::path& folder) {
    m_isOpen = true;
    fs::remove_all(m_begun);
    fs::create_directories(m_begun);
    for (const char* volume : kVolumes) {
        sync::CopyDatabase((m_device / volume).string(), (m_begun / volume).string());
    }
    WriteWhole(m_begun / kAbout, Text({{"folder", folder.string()}, {"before", Counters()}}));
    return m_begun;
}

void UndoRecord::End() {
    if (!std::exchange(m_isOpen, false)) return;
    auto about = nlohmann::json::parse(ReadWhole(m_begun / kAbout));
    const fs::path folder = about["folder"].get<std::string>();
    const auto counters = Counters();
    const auto files = Files(m_begun);
    if (files.empty() && about["before"] == counters) {
        fs::remove_all(m_begun);
        return;
    }
    nlohmann::json after = nlohmann::json::object();
    for (const auto& [name, kept] : files) after[name] = StateOf(folder / name);
    about["counters"] = counters;
    about["files"] = after;
    WriteWhole(m_begun / kAbout, Text(about));
    fs::remove_all(m_place);
    fs::rename(m_begun, m_place);
}

std::map<std::string, UndoRecord::Kept> UndoRecord::Files(const fs::path& place) const {
    std::map<std::string, Kept> files;
    std::ifstream list(place / kFiles);
    for (std::string line; std::getline(list, line);) {
        const auto entry = nlohmann::json::parse(line);
        files[entry[1].get<std::string>()].copy = entry[0].get<std::string>();
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
    WriteWhole(m_place / kRestoring, "");
    partner::RealFileLayer files;
    Done done;
    for (const auto& [name, kept] : Files(m_place)) {
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
    sync::CopyDatabase((m_place / "state.db").string(), stateFile.string());
    fs::remove_all(m_place);
    return done;
}

}  // namespace kez::cli
