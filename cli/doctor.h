// Looks a device and its folders over: settings, volumes, change tables, what both sides last agreed on, files. What
// it finds it can put right where that loses nothing; of what it changes it keeps a copy first.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "cli/partnership.h"
#include "sync/state.h"

namespace kez::cli {

struct Finding {
    std::string code;   // stable: "volume-damaged", "change-record-missing", ...
    std::string where;  // a file of the device, or the path of a folder or of a file in it
    std::string item;   // what a person would call it; "" where none is meant
    std::string text;   // half a sentence that `where` and `item` begin
    std::string remedy;
    std::function<void()> repair{};  // empty where it cannot be repaired without a loss
    std::string group{};             // of findings with one group, one repair does for all
    bool isNote = false;             // worth knowing, and nothing is wrong

    bool IsSame(const Finding& other) const {
        return code == other.code && where == other.where && item == other.item && text == other.text;
    }
};

// Copies of what a repair changes, in one folder of the device that is made with the first.
class RepairCopies {
 public:
    explicit RepairCopies(std::filesystem::path device) : m_device(std::move(device)) {}
    // Once for each file, and for a database with what its log holds. A file that is not there has no copy.
    void Keep(const std::filesystem::path& file);
    const std::filesystem::path& Place() const { return m_place; }  // empty where nothing was kept

 private:
    std::filesystem::path m_device;
    std::filesystem::path m_place;
    std::set<std::filesystem::path> m_kept;
};

// What is looked at. Nobody else may use it meanwhile.
struct Patient {
    std::filesystem::path device;   // as messages call it
    std::filesystem::path volumes;  // where its volumes are looked at: the device itself, or a copy
    std::filesystem::path scratch;  // where copies of states go; empty where the states themselves are looked at
    std::string id;                 // the device's
    std::map<unsigned, Partnership> partnerships;
    bool volumesAreWhole = true;  // as the look at them found
    bool itemsAreKnown = true;    // the volumes can at least be read
};

// The parts, to be asked in this order: what is to be repaired of one has to be before the next one is looked at.
std::vector<Finding> SettingsFindings(const Patient& patient, RepairCopies& copies);
std::vector<Finding> VolumeFindings(const Patient& patient, RepairCopies& copies);
std::vector<Finding> ChangeTableFindings(const Patient& patient, RepairCopies& copies);
std::vector<Finding> FolderFindings(const Patient& patient, RepairCopies& copies);

// The next synchronisation of every partnership of the patient compares everything.
void CompareEverything(const Patient& patient, RepairCopies& copies);

// The device of a patient, opened for looking: no change writer works in this process.
class OpenedPatient {
 public:
    explicit OpenedPatient(const Patient& patient);
    ~OpenedPatient();
    OpenedPatient(const OpenedPatient&) = delete;
    OpenedPatient& operator=(const OpenedPatient&) = delete;

    std::string TitleOf(unsigned oid) const;  // "oid 16777220" where nobody knows
};

}  // namespace kez::cli
