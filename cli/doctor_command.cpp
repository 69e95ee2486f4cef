// doctor: what is wrong with a device and its folders, and putting right what can be without a loss.
#include <algorithm>
#include <cstdio>

#include "cli/commands.h"
#include "cli/doctor.h"
#include "cli/pairing.h"
#include "cli/scratch_folder.h"
#include "partner/folder_store.h"
#include "platform/control/control.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

struct Examined {
    Finding finding;
    bool isRepaired = false;
};

// A state tells whose it is where nothing else does.
std::string FolderIdentityIn(const fs::path& stateFile) {
    try {
        const ScratchFolder place;
        const fs::path copy = place.Path() / "state.db";
        sync::CopyDatabase(stateFile.string(), copy.string());
        const sync::Sqlite connection(copy.string());
        sync::Statement note(connection, "SELECT value FROM about WHERE name = 'folder'");
        return note.Step() ? note.Text(0) : std::string();
    } catch (const sync::SqliteError&) {
        return {};
    }
}

// The partnerships whose folders are to be looked at: those of the device or, of one folder that is named, those
// that the device or the folder itself remembers.
std::map<unsigned, Partnership> PartnershipsOf(const fs::path& device, const std::string& id, const fs::path& folder) {
    std::map<unsigned, Partnership> all = ReadPartnerships(device);
    if (folder.empty()) return all;
    std::map<unsigned, Partnership> of;
    for (const unsigned partner : {1u, 2u}) {
        const fs::path stateFile = StateFile(folder, id, partner);
        if (const auto known = all.find(partner); known != all.end() && known->second.folder == folder) {
            of[partner] = known->second;
        } else if (fs::exists(stateFile)) {
            of[partner] = {FolderIdentityIn(stateFile), folder};
        }
    }
    if (of.empty()) {
        throw std::runtime_error(folder.string() + " has not been synchronised with " + device.string());
    }
    return of;
}

// Copies of the volumes: looking at them changes nothing on the device.
void CopyVolumes(const fs::path& device, const fs::path& place) {
    fs::create_directories(place);
    fs::copy_file(device / ".kezdevice", place / ".kezdevice");
    for (const std::string name : {"pim.vol", "KezDBNotify.vol"}) {
        if (!fs::exists(device / name)) continue;
        try {
            sync::CopyDatabase((device / name).string(), (place / name).string());
        } catch (const sync::SqliteError&) {
            fs::copy_file(device / name, place / name, fs::copy_options::overwrite_existing);
        }
    }
}

bool HasOne(const std::vector<Finding>& findings, std::initializer_list<std::string_view> codes) {
    return std::any_of(findings.begin(), findings.end(), [&](const Finding& finding) {
        return std::find(codes.begin(), codes.end(), finding.code) != codes.end();
    });
}

bool Holds(const std::vector<Finding>& findings, const Finding& finding) {
    return std::any_of(findings.begin(), findings.end(), [&](const Finding& f) { return f.IsSame(finding); });
}

// One part of the look, and where it is to be repaired, the repair and a second look at what is left.
class Examination {
 public:
    Examination(Patient& patient, RepairCopies& copies, bool repair)
        : m_patient(patient), m_copies(copies), m_repair(repair) {}

    using Part = std::vector<Finding>(const Patient&, RepairCopies&);

    // What is left.
    std::vector<Finding> Look(Part* part) {
        std::vector<Finding> found = part(m_patient, m_copies);
        std::vector<Finding> left = found;
        if (m_repair && std::any_of(found.begin(), found.end(), [](const Finding& f) { return bool(f.repair); })) {
            Repair(found);
            left = part(m_patient, m_copies);
        }
        for (const Finding& finding : found) m_examined.push_back({finding, !Holds(left, finding)});
        for (const Finding& finding : left) {
            if (!Holds(found, finding)) m_examined.push_back({finding});
        }
        return left;
    }

    const std::vector<Examined>& All() const { return m_examined; }

 private:
    void Repair(const std::vector<Finding>& found) {
        std::set<std::string> done;
        for (const Finding& finding : found) {
            if (!finding.repair || (!finding.group.empty() && !done.insert(finding.group).second)) continue;
            try {
                finding.repair();
            } catch (const std::exception& error) {
                PrintError(finding.where + ": cannot be repaired: " + error.what());
            }
        }
    }

    Patient& m_patient;
    RepairCopies& m_copies;
    bool m_repair;
    std::vector<Examined> m_examined;
};

void Print(const Examined& examined) {
    const Finding& finding = examined.finding;
    const char* kind = finding.isNote ? "note: " : examined.isRepaired ? "repaired: " : "";
    const std::string remedy = (finding.repair && !examined.isRepaired ? "--repair " : "") + finding.remedy;
    std::printf("%s%s: %s%s%s; %s\n", kind, finding.where.c_str(), finding.item.c_str(),
                finding.item.empty() ? "" : ": ", finding.text.c_str(), remedy.c_str());
}

Json AsJson(const Examined& examined) {
    const Finding& finding = examined.finding;
    Json json{{"code", finding.code}, {"where", finding.where}, {"text", finding.text}, {"remedy", finding.remedy}};
    if (!finding.item.empty()) json["item"] = finding.item;
    if (!finding.isNote) {
        json["repairable"] = static_cast<bool>(finding.repair);
        json["repaired"] = examined.isRepaired;
    }
    return json;
}

}  // namespace

ExitCode Doctor(const Common& common, const fs::path& folder, bool repair) {
    Patient patient;
    patient.device = common.device;
    patient.id = control::ReadDevice(common.device).id;
    patient.partnerships =
        PartnershipsOf(common.device, patient.id, folder.empty() ? folder : fs::absolute(folder).lexically_normal());
    const FolderLock deviceLock(common.device, "the device", repair);
    std::vector<std::unique_ptr<FolderLock>> folderLocks;
    std::set<fs::path> locked;
    for (const auto& [partner, partnership] : patient.partnerships) {
        if (!fs::is_directory(partnership.folder) || !locked.insert(partnership.folder).second) continue;
        folderLocks.push_back(std::make_unique<FolderLock>(partnership.folder, "the folder", repair));
    }
    std::optional<ScratchFolder> scratch;
    if (repair) {
        patient.volumes = patient.device;
    } else {
        scratch.emplace();
        patient.scratch = scratch->Path();
        patient.volumes = scratch->Path() / "device";
        CopyVolumes(patient.device, patient.volumes);
    }

    RepairCopies copies(patient.device);
    Examination examination(patient, copies, repair);
    const bool canBeOpened = !HasOne(examination.Look(SettingsFindings), {"time-zone"});
    if (canBeOpened) {
        const std::vector<Finding> ofVolumes = examination.Look(VolumeFindings);
        patient.volumesAreWhole = ofVolumes.empty();
        patient.itemsAreKnown = !HasOne(ofVolumes, {"volume-unusable", "volume-damaged"});
        if (patient.itemsAreKnown) {
            const std::vector<Finding> ofTables = examination.Look(ChangeTableFindings);
            patient.itemsAreKnown = !HasOne(ofTables, {"change-tables-unreadable"});
        }
        examination.Look(FolderFindings);
    }

    Json findings = Json::array();
    Json notes = Json::array();
    std::size_t repaired = 0;
    std::size_t repairable = 0;
    std::size_t remaining = 0;
    for (const Examined& examined : examination.All()) {
        const bool isNote = examined.finding.isNote;
        if (common.output.json) {
            (isNote ? notes : findings).push_back(AsJson(examined));
        } else if (!common.output.quiet || !(isNote || examined.isRepaired)) {
            Print(examined);
        }
        if (isNote) continue;
        ++(examined.isRepaired ? repaired : remaining);
        repairable += !examined.isRepaired && examined.finding.repair;
    }
    if (common.output.json) {
        Json json{{"findings", findings}, {"notes", notes}, {"repaired", repaired}, {"remaining", remaining}};
        if (!copies.Place().empty()) json["copies"] = copies.Place().string();
        std::printf("%s\n", JsonText(json).c_str());
    } else if (!common.output.quiet) {
        if (repaired + remaining == 0) std::printf("nothing is wrong\n");
        if (repaired != 0) std::printf("repaired %zu; ", repaired);
        if (repaired + remaining != 0)
            std::printf("%zu %s", remaining, remaining == 1 ? "finding remains" : "findings remain");
        if (repairable != 0) std::printf(", %zu of which --repair puts right", repairable);
        if (!copies.Place().empty()) std::printf("; what was changed is kept in %s", copies.Place().c_str());
        if (repaired + remaining != 0) std::printf("\n");
    }
    return remaining == 0 ? kDone : kPartly;
}

}  // namespace kez::cli
