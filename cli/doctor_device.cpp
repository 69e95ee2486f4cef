// The doctor's look at the device itself: settings, leftovers, volumes, change tables.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <charconv>
#include <fstream>
#include <stdexcept>

#include "cli/device_session.h"
#include "cli/doctor.h"
#include "cli/owner.h"
#include "cli/owner_fields.h"
#include "cli/pairing.h"
#include "platform/changewriter/device_check.h"
#include "platform/control/control.h"
#include "sync/sqlite.h"

namespace kez::cli {
namespace fs = std::filesystem;

namespace {

using changewriter::TableDefect;
using propertydb::VolumeDefect;

constexpr char kItems[] = "pim.vol";
constexpr char kChanges[] = "KezDBNotify.vol";
constexpr char kLevelFile[] = "dbglev.ini";
constexpr int kMostLevel = 100;

std::string ReadWhole(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

std::string Trimmed(std::string text) {
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.pop_back();
    return text;
}

struct DefectTexts {
    const char* code;
    const char* remedy;
};

DefectTexts TextsOf(VolumeDefect defect) {
    switch (defect) {
        case VolumeDefect::NotAVolume:
            return {"volume-unusable", ""};
        case VolumeDefect::Damaged:
            return {"volume-damaged", ""};
        case VolumeDefect::Index:
            return {"volume-index", "makes the indexes anew"};
        case VolumeDefect::Record:
            return {"volume-record", ""};
        case VolumeDefect::Key:
            return {"volume-key", "puts it in its place"};
        case VolumeDefect::Counters:
            return {"volume-counters", "counts again"};
        case VolumeDefect::LastOid:
            return {"volume-identifiers", "goes on behind the highest one"};
        case VolumeDefect::Attachment:
            return {"volume-attachments", "removes them"};
        case VolumeDefect::Journal:
            return {"volume-journal", "has them noted again, and everything compared"};
    }
    return {"", ""};
}

DefectTexts TextsOf(TableDefect defect) {
    switch (defect) {
        case TableDefect::NoVolume:
        case TableDefect::NoTable:
            return {"change-tables-missing", "makes them, and tells of every item"};
        case TableDefect::NotCarried:
            return {"changes-not-carried", "carries them over, as any command does that opens the device"};
        case TableDefect::NoRecord:
            return {"change-record-missing", "adds one that says changed"};
        case TableDefect::NoItem:
            return {"change-record-of-nothing", "has it say deleted"};
        case TableDefect::WrongDeleted:
            return {"change-record-deleted", "has it say changed"};
        case TableDefect::UnknownState:
            return {"change-record-state", "has it say changed or, where the item is gone, deleted"};
    }
    return {"", ""};
}

// The number of the process whose half-made volume this is: "pim.vol.new-4711-1".
bool IsHalfMadeVolume(const std::string& name) {
    const std::size_t at = name.find(".vol.new-");
    if (at == std::string::npos) return false;
    pid_t process = 0;
    const char* digits = name.c_str() + at + 9;
    std::from_chars(digits, name.c_str() + name.size(), process);
    return process > 0 && kill(process, 0) != 0 && errno == ESRCH;
}

void FindLeftovers(const Patient& patient, RepairCopies& copies, std::vector<Finding>& findings) {
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator(patient.device, ignored)) {
        const std::string name = entry.path().filename().string();
        if (name != ".kezpartners.new" && !IsHalfMadeVolume(name)) continue;
        findings.push_back(
            {"leftover", name, "", "was left by a run that was killed", "removes it", [&copies, path = entry.path()] {
                 copies.Keep(path);
                 fs::remove(path);
             }});
    }
    for (const unsigned partner : {1u, 2u}) {
        const fs::path undo = patient.device / ".kezundo";
        const std::string name = ".kezundo/" + std::to_string(partner);
        if (fs::exists(undo / (std::to_string(partner) + ".begun"))) {
            findings.push_back({"sync-interrupted",
                                name + ".begun",
                                "",
                                "the last synchronisation was cut off before its end",
                                "the next one goes on where it ended",
                                {},
                                {},
                                true});
        }
        if (fs::exists(undo / std::to_string(partner) / "restoring")) {
            findings.push_back({"undo-interrupted", name, "", "an undo was cut off before its end",
                                "kezsync undo goes on where it ended"});
        }
    }
}

void FindBadPartnerships(const Patient& patient, RepairCopies& copies, std::vector<Finding>& findings) {
    const fs::path file = patient.device / ".kezpartners";
    std::size_t lines = 0;
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) ++lines;
    const auto readable = ReadPartnerships(patient.device);
    if (lines == readable.size()) return;
    findings.push_back({"partnerships", ".kezpartners", "",
                        "has " + std::to_string(lines - readable.size()) + " lines that say nothing", "leaves them out",
                        [&copies, &patient, file, readable] {
                            copies.Keep(file);
                            WritePartnerships(patient.device, readable);
                        }});
}

// The volume of changes holds nothing but what the items tell.
void MakeChangesAnew(const Patient& patient, RepairCopies& copies) {
    copies.Keep(patient.volumes / kChanges);
    for (const char* ending : {"", "-wal", "-shm"}) fs::remove(patient.volumes / (std::string(kChanges) + ending));
    const OpenedPatient opened(patient);
    changewriter::RepairChangeTables();
}

}  // namespace

// --- Copies -------------------------------------------------------------------------------------------------

void RepairCopies::Keep(const fs::path& file) {
    if (!fs::exists(file) || !m_kept.insert(file).second) return;
    if (m_place.empty()) {
        const fs::path all = m_device / ".kezdoctor";
        fs::create_directories(all);
        for (int number = 1; m_place.empty(); ++number) {
            if (fs::create_directory(all / std::to_string(number))) m_place = all / std::to_string(number);
        }
    }
    fs::path copy = m_place / file.filename();
    for (int number = 2; fs::exists(copy); ++number) {
        copy = m_place / (file.filename().string() + "." + std::to_string(number));
    }
    try {
        sync::CopyDatabase(file.string(), copy.string());
    } catch (const sync::SqliteError&) {
        // No database, or none any more: its bytes, and what stands beside it.
        fs::copy_file(file, copy, fs::copy_options::overwrite_existing);
        for (const char* ending : {"-wal", "-journal"}) {
            if (fs::exists(file.string() + ending)) fs::copy_file(file.string() + ending, copy.string() + ending);
        }
    }
}

// --- The open device ----------------------------------------------------------------------------------------

OpenedPatient::OpenedPatient(const Patient& patient) {
    control::SetSleepPolicy(control::SleepPolicy::Idle);
    control::OpenDevice(patient.volumes);
}

OpenedPatient::~OpenedPatient() { control::CloseDevice(); }

std::string OpenedPatient::TitleOf(unsigned oid) const {
    try {
        if (const auto item = Owner().Find(oid)) return sync::Title(item->item);
    } catch (const std::runtime_error&) {
        // A title is not worth a failure.
    }
    return "oid " + std::to_string(oid);
}

// --- Parts --------------------------------------------------------------------------------------------------

std::vector<Finding> SettingsFindings(const Patient& patient, RepairCopies& copies) {
    std::vector<Finding> findings;
    const std::string zone = control::ReadDevice(patient.device).timeZone;
    try {
        const OpenedPatient opened(patient);
    } catch (const control::DeviceError& error) {
        findings.push_back({"time-zone", ".kezdevice", "", error.what(),
                            "write a name of the tz database behind \"timezone=\" there"});
    }
    const fs::path levelFile = patient.device / kLevelFile;
    const std::string level = Trimmed(ReadWhole(levelFile));
    int number = 0;
    const auto [end, error] = std::from_chars(level.data(), level.data() + level.size(), number);
    if (!level.empty() &&
        (error != std::errc() || end != level.data() + level.size() || number < 0 || number > kMostLevel)) {
        findings.push_back({"log-level", kLevelFile, "", "\"" + level + "\" is no level of the log (0 to 100)",
                            "writes 0, which writes no log", [&copies, levelFile] {
                                copies.Keep(levelFile);
                                std::ofstream(levelFile, std::ios::trunc) << 0;
                            }});
    }
    FindBadPartnerships(patient, copies, findings);
    FindLeftovers(patient, copies, findings);
    return findings;
}

std::vector<Finding> VolumeFindings(const Patient& patient, RepairCopies& copies) {
    std::vector<Finding> findings;
    for (const std::string name : {kItems, kChanges}) {
        const fs::path file = patient.volumes / name;
        const bool isOfChanges = name == kChanges;
        if (isOfChanges && !fs::exists(file)) continue;  // the change tables are then missing
        std::optional<OpenedPatient> opened;
        for (const propertydb::VolumeFinding& found : propertydb::CheckVolume(file)) {
            const DefectTexts texts = TextsOf(found.defect);
            Finding finding{texts.code, name, "", found.text, texts.remedy};
            if (!found.database.empty() && !found.record)
                finding.text = Utf8(found.database.c_str()) + ": " + finding.text;
            if (found.record && !isOfChanges && found.repairable) {
                if (!opened) opened.emplace(patient);
                finding.item = opened->TitleOf(found.record);
            } else if (found.record) {
                finding.item = "oid " + std::to_string(found.record);
            }
            finding.group = name + (found.repairable ? "" : " anew");
            if (found.repairable) {
                finding.repair = [&copies, &patient, file] {
                    copies.Keep(file);
                    propertydb::RepairVolume(file);
                    CompareEverything(patient, copies);
                };
            } else if (isOfChanges) {
                finding.remedy = "makes the change tables anew, telling of every item";
                finding.repair = [&copies, &patient] {
                    MakeChangesAnew(patient, copies);
                    CompareEverything(patient, copies);
                };
            } else {
                finding.remedy =
                    "put it back from a copy, for instance from .kezundo; the next synchronisation "
                    "brings it up to date";
            }
            findings.push_back(std::move(finding));
        }
    }
    return findings;
}

std::vector<Finding> ChangeTableFindings(const Patient& patient, RepairCopies& copies) {
    std::vector<Finding> findings;
    const OpenedPatient opened(patient);
    std::vector<changewriter::TableFinding> all;
    try {
        all = changewriter::CheckChangeTables();
    } catch (const std::runtime_error& error) {
        findings.push_back({"change-tables-unreadable", kChanges, "", error.what(),
                            "they are looked at when the volumes are in order"});
        findings.back().isNote = !patient.volumesAreWhole;  // then that is the finding
    }
    for (const changewriter::TableFinding& found : all) {
        const DefectTexts texts = TextsOf(found.defect);
        Finding finding{texts.code, kChanges, "", found.text, texts.remedy};
        if (found.table.find(u'\\') == 0) finding.where += Utf8(found.table.c_str());
        if (found.item) finding.item = opened.TitleOf(found.item);
        const bool isHarmless = found.defect == TableDefect::NotCarried;
        finding.group = isHarmless ? "journal" : "tables";
        finding.repair = [&copies, &patient, isHarmless] {
            copies.Keep(patient.volumes / kChanges);
            {
                const OpenedPatient device(patient);
                changewriter::RepairChangeTables();
            }
            if (!isHarmless) CompareEverything(patient, copies);
        };
        findings.push_back(std::move(finding));
    }
    return findings;
}

void CompareEverything(const Patient& patient, RepairCopies& copies) {
    for (const auto& [partner, partnership] : patient.partnerships) {
        const fs::path file = StateFile(partnership.folder, patient.id, partner);
        if (!fs::exists(file)) continue;
        copies.Keep(file);
        sync::State state(file, patient.id, partnership.folderIdentity, true);
        state.BeginListings({std::begin(sync::kAllItemTypes), std::end(sync::kAllItemTypes)});
    }
}

}  // namespace kez::cli
