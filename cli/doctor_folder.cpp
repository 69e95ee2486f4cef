// The doctor's look at the folders that a device is synchronised with, and at what both last agreed on.
#include <signal.h>

#include <cerrno>
#include <charconv>
#include <fstream>

#include "cli/doctor.h"
#include "cli/pairing.h"
#include "partner/folder_store.h"
#include "partner/item_format.h"
#include "platform/changewriter/device_check.h"
#include "platform/control/control.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

using sync::ItemType;

std::string FirstLine(const fs::path& file) {
    std::string line;
    std::ifstream stream(file);
    std::getline(stream, line);
    return line;
}

// One folder of one partnership. Repairs that are asked for later keep it alive.
class FolderExamination : public std::enable_shared_from_this<FolderExamination> {
 public:
    FolderExamination(const Patient& patient, RepairCopies& copies, unsigned partner, const Partnership& partnership)
        : m_patient(patient),
          m_copies(copies),
          m_partner(partner),
          m_partnership(partnership),
          m_folder(partnership.folder),
          m_stateFile(StateFile(m_folder, patient.id, partner)) {}

    std::vector<Finding> Run() {
        std::error_code error;
        if (!fs::is_directory(m_folder, error)) {
            Find("folder-missing", m_folder, "", "the folder is not there (not mounted?)",
                 "sync --force begins with an empty one");
            return std::move(m_findings);
        }
        LookForLeftovers();
        LookAtMarker();
        LookAtFiles();
        LookAtState();
        return std::move(m_findings);
    }

 private:
    void Find(const char* code, const fs::path& where, std::string item, std::string text, std::string remedy,
              std::function<void()> repair = nullptr) {
        m_findings.push_back(
            {code, where.string(), std::move(item), std::move(text), std::move(remedy), std::move(repair)});
    }
    void Note(const char* code, const fs::path& where, std::string item, std::string text, std::string remedy) {
        Find(code, where, std::move(item), std::move(text), std::move(remedy));
        m_findings.back().isNote = true;
    }

    void LookForLeftovers() {
        for (const auto& entry : fs::directory_iterator(m_folder)) {
            const std::string name = entry.path().filename().string();
            if (!name.starts_with(".kez-") || !name.ends_with(".tmp")) continue;
            pid_t process = 0;
            std::from_chars(name.data() + 5, name.data() + name.size(), process);
            if (process > 0 && (kill(process, 0) == 0 || errno != ESRCH)) continue;
            Find("leftover", entry.path(), "", "was left by a run that was killed", "removes it",
                 [self = shared_from_this(), path = entry.path()] {
                     self->m_copies.Keep(path);
                     fs::remove(path);
                 });
        }
    }

    // The folder is known by its marker or, where that is lost, by the state in it, which moves with it.
    void LookAtMarker() {
        const fs::path marker = m_folder / partner::FolderStore::kMarkerName;
        const std::string identity = FirstLine(marker);
        if (identity.empty()) {
            if (fs::exists(m_stateFile) && !m_partnership.folderIdentity.empty()) {
                Find("marker-missing", marker, "", "is missing, but the folder holds what both sides last agreed on",
                     "writes it again", [self = shared_from_this(), marker] {
                         self->m_copies.Keep(marker);
                         std::ofstream(marker, std::ios::trunc) << self->m_partnership.folderIdentity << '\n';
                     });
            } else {
                Find("marker-missing", marker, "",
                     "is missing: the folder was emptied, or something else is mounted there",
                     "sync --force begins anew with what is in it");
            }
        } else if (!m_partnership.folderIdentity.empty() && identity != m_partnership.folderIdentity) {
            Find("folder-other", m_folder, "",
                 "is not the folder that partner " + std::to_string(m_partner) + " of the device belongs to",
                 "sync --force gives it to this one");
        }
    }

    void LookAtFiles() {
        const auto formats = partner::AllFormats(control::ReadDevice(m_patient.device).timeZone);
        std::vector<const partner::ItemFormat*> all;
        for (const auto& format : formats) all.push_back(format.get());
        partner::RealFileLayer files;
        partner::MemoryFolderCache cache;
        partner::FolderStore store(m_folder.string(), all, files, cache);
        for (const ItemType type : sync::kAllItemTypes) {
            for (const sync::Listed& listed : store.List(type).items) {
                m_files[type].insert(listed.id);
                if (!listed.problem) continue;
                const bool isTwin = listed.problem->code == sync::ProblemCode::Duplicate;
                const sync::ReadResult read = store.Read(type, listed.id);
                Find(isTwin ? "uid-twice" : "file-unusable", m_folder / listed.id,
                     read.problem ? std::string() : sync::Title(read.item), listed.problem->text,
                     isTwin ? "give one of the two another UID, or delete it" : "mend or delete the file");
            }
        }
    }

    // --- What both last agreed on ---

    // The state to look into, a copy where only copies are looked at; nothing where there is none that can be read.
    std::optional<fs::path> ReadableState() {
        if (!fs::exists(m_stateFile)) {
            Note("state-missing", m_stateFile, "", "is not there: what both sides last agreed on is unknown",
                 "the next synchronisation finds items that belong together by what they say");
            return std::nullopt;
        }
        fs::path file = m_stateFile;
        std::string complaint;
        try {
            if (!m_patient.scratch.empty()) {
                file = m_patient.scratch / ("state-" + std::to_string(m_partner) + ".db");
                sync::CopyDatabase(m_stateFile.string(), file.string());
            }
            const sync::Sqlite connection(file.string());
            sync::Statement check(connection, "PRAGMA integrity_check(1)");
            if (check.Step() && check.Text(0) != "ok") complaint = check.Text(0);
        } catch (const sync::SqliteError& error) {
            complaint = error.what();
        }
        if (complaint.empty()) return file;
        Find("state-damaged", m_stateFile, "", "cannot be used (" + complaint + ")",
             "puts it aside; the next synchronisation finds items that belong together by what they say",
             [self = shared_from_this()] {
                 self->m_copies.Keep(self->m_stateFile);
                 for (const char* ending : {"", "-wal", "-shm", "-journal"}) {
                     fs::remove(self->m_stateFile.string() + ending);
                 }
             });
        return std::nullopt;
    }

    void LookAtState() {
        const auto file = ReadableState();
        if (!file) return;
        try {
            sync::State state(*file, m_patient.id, m_partnership.folderIdentity, true);
            if (m_patient.itemsAreKnown) {
                ListItems();
                for (const ItemType type : sync::kAllItemTypes) LookAtPairs(state, type);
                LookAtConflicts(state);
            }
            LookAtInterruptions(*file);
        } catch (const sync::StateError& error) {
            Find("state-other", m_stateFile, "", error.what(),
                 "move it away; the next synchronisation makes a new one");
        }
    }

    void ListItems() {
        const OpenedPatient device(m_patient);
        for (const changewriter::ChangeTable& table : changewriter::kChangeTables) {
            for (const CEOID oid : changewriter::ItemsOf(table)) m_items.insert(std::to_string(oid));
        }
    }

    void LookAtPairs(sync::State& state, ItemType type) {
        for (const sync::Pair& pair : state.Pairs(type)) {
            const bool onDevice = m_items.count(pair.deviceId) != 0;
            const bool inFolder = m_files[type].count(pair.folderId) != 0;
            const sync::Bases bases = state.BasesOf(pair);
            if (bases.device.empty()) {
                Find("pair-broken", m_stateFile, pair.title, "nothing is known of what both sides last held",
                     "forgets the pair; the next synchronisation finds both by what they say",
                     [self = shared_from_this(), number = pair.number] { self->Forget(number); });
            } else if (!onDevice && !inFolder) {
                Find("pair-of-nothing", m_stateFile, pair.title, "is gone on both sides and still remembered",
                     "forgets it, as the next synchronisation would",
                     [self = shared_from_this(), number = pair.number] { self->Forget(number); });
            } else if (!onDevice) {
                Note("gone-on-device", m_stateFile, pair.title, "is gone on the device since both last agreed",
                     "the next synchronisation deletes " + pair.folderId);
            } else if (!inFolder) {
                Note("gone-in-folder", m_stateFile, pair.title,
                     "its file " + pair.folderId + " is gone since both last agreed",
                     "the next synchronisation deletes it on the device");
            }
        }
    }

    void LookAtConflicts(sync::State& state) {
        for (const sync::WaitingConflict& conflict : state.Conflicts()) {
            const bool onDevice = m_items.count(conflict.deviceId) != 0;
            const bool inFolder = m_files[conflict.type].count(conflict.folderId) != 0;
            if (onDevice || inFolder) {
                Note("conflict-waits", m_stateFile, conflict.title, conflict.text,
                     conflict.choice.empty() ? "kezsync resolve decides it"
                                             : "the next synchronisation carries out what was decided");
                continue;
            }
            Find("conflict-of-nothing", m_stateFile, conflict.title, "a conflict waits of an item that is gone",
                 "forgets the conflict", [self = shared_from_this(), conflict] {
                     self->m_copies.Keep(self->m_stateFile);
                     sync::Batch batch;
                     batch.settledConflicts.emplace_back(
                         conflict.type, conflict.deviceId.empty() ? "folder:" + conflict.folderId : conflict.deviceId);
                     self->OpenState()->Commit(batch);
                 });
        }
    }

    void LookAtInterruptions(const fs::path& file) {
        const sync::Sqlite connection(file.string());
        auto count = [&connection](const char* sql) {
            sync::Statement statement(connection, sql);
            return statement.Step() ? statement.Integer(0) : 0;
        };
        if (count("SELECT count(*) FROM listing") != 0) {
            Note("compares-all", m_stateFile, "", "changes may have been missed, for instance because a run was killed",
                 "the next synchronisation compares everything");
        }
        if (const auto kept = count("SELECT count(*) FROM keepsake")) {
            Note("kept", m_stateFile, "",
                 "holds occurrences of " + std::to_string(kept) + " series that were taken off the device",
                 "the next synchronisation gives them to the folder");
        }
    }

    std::unique_ptr<sync::State> OpenState() const {
        return std::make_unique<sync::State>(m_stateFile, m_patient.id, m_partnership.folderIdentity, true);
    }

    void Forget(std::int64_t pair) {
        m_copies.Keep(m_stateFile);
        sync::Batch batch;
        batch.forgotten.push_back(pair);
        OpenState()->Commit(batch);
    }

    const Patient& m_patient;
    RepairCopies& m_copies;
    unsigned m_partner;
    Partnership m_partnership;
    fs::path m_folder;
    fs::path m_stateFile;
    std::set<std::string> m_items;
    std::map<ItemType, std::set<std::string>> m_files;
    std::vector<Finding> m_findings;
};

}  // namespace

std::vector<Finding> FolderFindings(const Patient& patient, RepairCopies& copies) {
    std::vector<Finding> findings;
    for (const auto& [partner, partnership] : patient.partnerships) {
        for (Finding& finding : std::make_shared<FolderExamination>(patient, copies, partner, partnership)->Run()) {
            findings.push_back(std::move(finding));
        }
    }
    return findings;
}

}  // namespace kez::cli
