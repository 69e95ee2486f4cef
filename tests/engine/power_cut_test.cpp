// Whole synchronisations of a device with the provider that is shipped, whose power goes at any moment: of the volumes,
// of the state and of the folder there is what was synced, and of the rest whatever chance leaves. The next run, on a
// machine that has just started, ends as if nothing had happened.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <numeric>
#include <optional>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "cli/run_numbers.h"
#include "cli/state_cache.h"
#include "partner/folder_store.h"
#include "partner/item_format.h"
#include "platform/changewriter/change_tables.h"
#include "platform/propertydb/volume.h"
#include "tests/engine/session_world.h"
#include "tests/partner/support/test_files.h"
#include "tests/support/child_process.h"
#include "tests/support/forgetful_disk.h"

namespace kez::engine {
namespace {

namespace fs = std::filesystem;
namespace forgetful_disk = tests::forgetful_disk;
using sync::ItemType;
using testing::HasSubstr;
using tests::ChildProcess;
using tests::DiskFiles;
using tests::SessionWorld;

constexpr unsigned kRandomStart = 20260302;

struct Mode {
    const char* name;
    control::FlushPolicy flush;
    std::size_t batchSize;
    partner::Durability durability;
};

void PrintTo(const Mode& mode, std::ostream* out) { *out << mode.name; }

const Mode kItem{"ItemByItem", control::FlushPolicy::AtOnce, 1, partner::Durability::Item};
const Mode kBatch{"InBatches", control::FlushPolicy::PutOff, 3, partner::Durability::Batch};

std::string Content(const fs::path& file) {
    std::string content(fs::file_size(file), '\0');
    std::ifstream(file, std::ios::binary).read(content.data(), static_cast<std::streamsize>(content.size()));
    return content;
}

void Write(const fs::path& file, const std::string& content) {
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << content;
}

// All that is on the disks of a machine, by path: the device's files, the state, and the folder's files, which have a
// line with their stamps and permissions first.
using Disks = sync::Fields;

const char kDevice[] = "device/";
const char kState[] = "state.db";
const char kFolder[] = "folder/";

void AddFolder(const std::map<std::string, DiskFiles::Found>& folder, Disks& disks) {
    for (const auto& [name, file] : folder) {
        std::ostringstream line;
        line << file.stamp.modified << ' ' << file.stamp.changed << ' ' << file.stamp.size << ' ' << file.stamp.inode
             << ' ' << file.mode << '\n';
        disks[kFolder + name] = line.str() + file.bytes;
    }
}

std::map<std::string, DiskFiles::Found> FolderOf(const Disks& disks) {
    std::map<std::string, DiskFiles::Found> folder;
    for (const auto& [path, content] : disks) {
        if (!path.starts_with(kFolder)) continue;
        DiskFiles::Found& file = folder[path.substr(sizeof kFolder - 1)];
        std::istringstream line(content);
        line >> file.stamp.modified >> file.stamp.changed >> file.stamp.size >> file.stamp.inode >> file.mode;
        file.bytes = content.substr(content.find('\n') + 1);
    }
    return folder;
}

// What all processes of a device share in memory goes with the power.
Disks FilesOf(const fs::path& device) {
    Disks disks;
    for (const auto& entry : fs::directory_iterator(device)) {
        const std::string name = entry.path().filename();
        if (entry.is_regular_file() && !name.ends_with("-shm")) disks[kDevice + name] = Content(entry.path());
    }
    return disks;
}

std::string Said(const sync::Fields& fields) {
    std::string said;
    for (const auto& [name, value] : fields) said += " " + name + "=" + value;
    return said;
}

std::string Said(const sync::Report& report) {
    std::multiset<std::string> lines;
    for (const sync::Entry& entry : report.entries) {
        std::string line = std::string(ToString(entry.outcome)) + " " + entry.title + " " + entry.problem.text;
        for (const std::string& note : entry.notes) line += " (" + note + ")";
        lines.insert(line);
    }
    for (const sync::Problem& finding : report.findings) lines.insert("found " + finding.where + " " + finding.text);
    std::string said;
    for (const std::string& line : lines) said += line + "\n";
    return said;
}

// A machine that starts with what is on its disks: a device, a folder, and the command that synchronises them.
class Machine {
 public:
    Machine(const fs::path& place, const Mode& mode, const Disks& disks) : m_place(place), m_mode(mode) {
        fs::remove_all(place);
        for (const auto& [path, content] : disks) {
            if (!path.starts_with(kFolder)) Write(place / path, content);
        }
        files.PutBack(FolderOf(disks));
        control::SetSleepPolicy(control::SleepPolicy::Recorded);
        control::FreezeClock({2026, 3, 1, 2, 10, 0, 0, 0});
        m_formats = partner::AllFormats("UTC");
        for (const auto& format : m_formats) m_readers.push_back(format.get());
    }

    // From opening the device to closing it.
    sync::Report Synchronise() {
        const Open open(*this);
        return SynchroniseOpened();
    }

    // What a synchronisation has to do, then all that both sides say and what waits: one line an item.
    std::string SynchroniseAndTell() {
        const Open open(*this);
        std::string everything;
        return Said(SynchroniseOpened(&everything)) + everything;
    }

    // With any device that is open.
    sync::Report SynchroniseOpened(std::string* everything = nullptr) {
        const std::string device = control::CurrentDevice().id;
        fs::create_directories(m_place);
        sync::State state(m_place / kState, device, kFolderPath, true);
        const auto older = cli::RunNumbers(state, 1).LookForOlderCopies();
        cli::StateCache cache(state);
        partner::FolderStore folder(kFolderPath, m_readers, files, cache, m_mode.durability);
        ProviderSession session(*this, state, device);
        sync::Options options;
        options.batchSize = m_mode.batchSize;
        options.asHeldByDevice = [this](const sync::Item& item) { return m_codec.AsHeldByDevice(item); };
        options.hasAll = [this](const std::string& name, const std::string& whole, const std::string& part) {
            return m_codec.HasAll(name, whole, part);
        };
        sync::Agreement agreement(session.store, folder, state, options);
        const sync::Plan plan = agreement.MakePlan();
        if (!plan.steps.empty()) cli::RunNumbers(state, 1).BeginChanges();
        sync::Report report = agreement.CarryOut(plan);
        if (older) report.findings.push_back({sync::ProblemCode::None, "is an older copy of itself", {}});
        if (everything) *everything = SaidBy(session.store) + SaidBy(folder) + SaidBy(state);
        return report;
    }

    // The log of a volume goes into it when it is closed for the last time.
    void PutLogsAway() {
        control::OpenDevice(Device());
        propertydb::Volume::Open(changewriter::kPimVolume);
        propertydb::Volume::Open(changewriter::kChangeVolume);
        control::CloseDevice();
    }

    // The disks as they are while everything stands still and is durable.
    Disks Left(const fs::path& device) const {
        Disks disks = FilesOf(device);
        disks[kState] = Content(m_place / kState);
        AddFolder(files.AfterCut([] { return false; }), disks);
        return disks;
    }

    const fs::path& Place() const { return m_place; }
    fs::path Device() const { return m_place / "device"; }

    static constexpr const char* kFolderPath = "/folder";
    DiskFiles files{kFolderPath};

 private:
    static std::string SaidBy(sync::Store& store) {
        std::multiset<std::string> lines;
        for (const ItemType type : sync::kAllItemTypes) {
            for (const sync::Listed& item : store.List(type).items) {
                const sync::ReadResult read = store.Read(type, item.id);
                lines.insert(store.Name() + ", " + std::string(ToString(type)) + ":" + Said(read.item.fields) +
                             read.problem.text + "\n");
            }
        }
        return std::accumulate(lines.begin(), lines.end(), std::string());
    }

    static std::string SaidBy(sync::State& state) {
        std::string said;
        for (const ItemType type : sync::kAllItemTypes) {
            said += std::to_string(state.CountPairs(type)) + " " + std::string(ToString(type)) + "s agreed on\n";
        }
        for (const sync::WaitingConflict& conflict : state.Conflicts()) said += conflict.title + " waits\n";
        return said;
    }

    struct Open {
        explicit Open(const Machine& machine) {
            changewriter::Attach({});
            control::OpenDevice(machine.Device());
        }
        ~Open() {
            control::CloseDevice();
            changewriter::Detach();
        }
    };

    struct ProviderSession {
        ProviderSession(const Machine& machine, sync::Keepsakes& keepsakes, const std::string& device)
            : provider(PROVIDER_FILE),
              connection(provider, {}),
              store(connection, machine.m_codec, keepsakes, "the device", device) {
            control::SetFlushPolicy(machine.m_mode.flush);
        }

        struct FlushesAtOnce {
            ~FlushesAtOnce() { control::SetFlushPolicy(control::FlushPolicy::AtOnce); }
        };
        const FlushesAtOnce afterTheProvider{};
        ProviderLibrary provider;
        Connection connection;
        DeviceStore store;
    };

    fs::path m_place;
    Mode m_mode;
    partner::RecordCodec m_codec{[] { return 0; }};
    std::vector<std::unique_ptr<partner::ItemFormat>> m_formats;
    std::vector<const partner::ItemFormat*> m_readers;
};

// --- What the synchronisation finds -----------------------------------------------------------------------

void Replace(DiskFiles& files, const std::string& who, const std::string& what, const std::string& by) {
    for (const auto& [name, text] : files.Visible()) {
        const auto at = text.find(what);
        if (text.find(who) == std::string::npos || at == std::string::npos) continue;
        files.Put(name, std::string(text).replace(at, what.size(), by));
        return;
    }
    throw std::runtime_error("no file of " + who + " has " + what);
}

void Remove(DiskFiles& files, const std::string& who) {
    for (const auto& [name, text] : files.Visible()) {
        if (text.find(who) != std::string::npos) files.Remove(std::string(Machine::kFolderPath) + "/" + name);
    }
    files.SyncFolder(Machine::kFolderPath);
}

// Both sides agreed once and then went apart in every way. All of it is durable.
Disks Apart(const fs::path& place) {
    SessionWorld world;
    Machine machine(place, kBatch, {});
    {
        partner::MemoryFolderCache cache;
        partner::FolderStore(Machine::kFolderPath, {}, machine.files, cache).Mark();
    }
    std::map<std::string, LONG> here;
    for (const char* name : {"Kept", "HereChanged", "ThereChanged", "BothChanged", "Disputed", "HereGone", "ThereGone",
                             "HereGoneThereChanged"}) {
        here[name] = world.AddContact(name, "Byron");
        EXPECT_TRUE(world.EditContact(here[name], &IContact::put_JobTitle, "old"));
    }
    for (const char* name : {"TaskHere", "TaskThere", "TaskBoth", "TaskHereGone", "TaskThereGone"}) {
        here[name] = world.AddTask(name);
    }
    for (const char* name : {"SeriesHere", "SeriesThere", "SeriesBoth", "SeriesDisputed", "SeriesThereGone"}) {
        here[name] = world.AddSeries(name);
    }
    world.ChangeOccurrence(here["SeriesBoth"], 5, "Sixth");
    world.ChangeOccurrence(here["SeriesDisputed"], 5, "Sixth");
    EXPECT_TRUE(machine.SynchroniseOpened().Complete());

    EXPECT_TRUE(world.EditContact(here["HereChanged"], &IContact::put_JobTitle, "here"));
    EXPECT_TRUE(world.EditContact(here["BothChanged"], &IContact::put_JobTitle, "here"));
    EXPECT_TRUE(world.EditContact(here["Disputed"], &IContact::put_JobTitle, "here"));
    EXPECT_TRUE(world.Delete(here["HereGone"]));
    EXPECT_TRUE(world.Delete(here["HereGoneThereChanged"]));
    EXPECT_TRUE(world.EditTask(here["TaskHere"], &ITask::put_Categories, "here"));
    EXPECT_TRUE(world.EditTask(here["TaskBoth"], &ITask::put_Categories, "here"));
    EXPECT_TRUE(world.Delete(here["TaskHereGone"]));
    world.ChangeOccurrence(here["SeriesHere"], 1, "");
    world.ChangeOccurrence(here["SeriesHere"], 2, "Third");
    world.ChangeOccurrence(here["SeriesBoth"], 2, "Moved");
    world.ChangeOccurrence(here["SeriesDisputed"], 2, "Moved");
    world.AddContact("HereNew", "Byron");
    world.AddTask("TaskHereNew");
    world.ChangeOccurrence(world.AddSeries("SeriesHereNew"), 3, "Fourth");
    world.AddContact("New", "OnBoth");

    DiskFiles& files = machine.files;
    for (const char* name : {"ThereChanged", "Disputed", "HereGoneThereChanged"}) {
        Replace(files, std::string("FN:") + name + " ", "TITLE:old", "TITLE:there");
    }
    Replace(files, "FN:BothChanged ", "END:VCARD", "NOTE:there\r\nEND:VCARD");
    Replace(files, "SUMMARY:TaskThere\r\n", "SUMMARY:", "LOCATION:there\r\nDESCRIPTION:there\r\nSUMMARY:");
    Replace(files, "SUMMARY:TaskBoth\r\n", "SUMMARY:", "DESCRIPTION:there\r\nSUMMARY:");
    Replace(files, "SUMMARY:SeriesThere\r\n", "SUMMARY:", "EXDATE:20260309T100000Z\r\nLOCATION:there\r\nSUMMARY:");
    Replace(files, "SUMMARY:SeriesDisputed\r\n", "SUMMARY:", "EXDATE:20260309T100000Z\r\nLOCATION:there\r\nSUMMARY:");
    Replace(files, "SUMMARY:SeriesBoth\r\n", "SUMMARY:", "LOCATION:there\r\nSUMMARY:");
    for (const char* name : {"FN:ThereGone ", "SUMMARY:TaskThereGone\r", "SUMMARY:SeriesThereGone\r"})
        Remove(files, name);
    files.Put("new.vcf",
              "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:new\r\nFN:ThereNew Byron\r\nN:Byron;ThereNew;;;\r\nEND:VCARD\r\n");
    files.Put("both.vcf",
              "BEGIN:VCARD\r\nVERSION:3.0\r\nUID:both\r\nFN:New OnBoth\r\nN:OnBoth;New;;;\r\nEND:VCARD\r\n");
    // The device is saved more than once for this one.
    files.Put("series.ics",
              "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Other//EN\r\nBEGIN:VEVENT\r\nUID:series\r\n"
              "DTSTAMP:20260302T100000Z\r\nSUMMARY:SeriesThereNew\r\nDTSTART:20260302T100000Z\r\n"
              "DTEND:20260302T110000Z\r\nRRULE:FREQ=WEEKLY;BYDAY=MO;UNTIL=20260504T100000Z\r\n"
              "EXDATE:20260309T100000Z\r\nEXDATE:20260316T100000Z\r\nBEGIN:VALARM\r\nACTION:DISPLAY\r\n"
              "DESCRIPTION:r\r\nTRIGGER:-PT15M\r\nEND:VALARM\r\nEND:VEVENT\r\nEND:VCALENDAR\r\n");

    EXPECT_TRUE(CeFlushDBVol(nullptr));
    return machine.Left(world.Device().Folder());
}

// Some of what both sides say when they agree again.
constexpr const char* kSaidInTheEnd[] = {
    "the device, contact: FirstName=HereChanged JobTitle=here",
    "/folder, contact: FirstName=HereChanged JobTitle=here",
    "the device, contact: FirstName=ThereChanged JobTitle=there",
    "the device, contact: Body=there FirstName=BothChanged JobTitle=here",
    "/folder, contact: Body=there FirstName=BothChanged JobTitle=here",
    "the device, contact: FirstName=Disputed JobTitle=here",
    "the device, contact: FirstName=Disputed JobTitle=there",
    "/folder, contact: FirstName=HereNew",
    "the device, contact: FirstName=ThereNew",
    "ModifiedOccurrences=Third~",
    "ModifiedOccurrences=Fourth~",
    "ModifiedOccurrences=Moved~",
    "10 contacts agreed on\n4 tasks agreed on\n7 appointments agreed on\nHereGoneThereChanged Byron waits\n",
};

// --- Cutting the power ------------------------------------------------------------------------------------

// What becomes of changes that were not synced.
enum class Fate { Lost, Kept, InPart };

struct Fates {
    Fate items, marks, state, folder, others;
};
constexpr Fates kAllLost{Fate::Lost, Fate::Lost, Fate::Lost, Fate::Lost, Fate::Lost};
constexpr Fates kAllKept{Fate::Kept, Fate::Kept, Fate::Kept, Fate::Kept, Fate::Kept};

std::string ToString(const Fates& fates) {
    static constexpr const char* kNames[] = {"lost", "kept", "in part"};
    std::string text;
    for (const auto& [what, fate] : {std::pair("pim.vol", fates.items),
                                     {"KezDBNotify.vol", fates.marks},
                                     {"state", fates.state},
                                     {"folder", fates.folder},
                                     {"other files", fates.others}}) {
        text += std::string(text.empty() ? "" : ", ") + what + " " + kNames[static_cast<int>(fate)];
    }
    return text;
}

bool IsOfAVolume(const std::string& path) { return path.find(".vol") != std::string::npos; }

// Stands by a machine and takes, at some calls that change its disks, down what a power cut would leave there.
class PowerSwitch {
 public:
    using Take = std::function<void(const std::string& when, const Disks& left)>;
    PowerSwitch(Machine& machine, const Disks& start, Take take)
        : m_machine(machine), m_start(start), m_take(std::move(take)) {
        forgetful_disk::AtEachCall([this] { Look("of a database"); });
        m_machine.files.before = [this](const std::string& call) { Look(call); };
    }
    ~PowerSwitch() {
        forgetful_disk::AtEachCall(nullptr);
        m_machine.files.before = nullptr;
    }
    PowerSwitch(const PowerSwitch&) = delete;
    PowerSwitch& operator=(const PowerSwitch&) = delete;

    // The next call is one of `call`.
    void Look(const std::string& call) {
        ++m_calls;
        // Until the next sync, what is lost is the same.
        const std::size_t syncs = forgetful_disk::Syncs() + m_folderSyncs;
        if (m_lookedAfter != syncs && OneIn(kOfAllLost)) Cut(call, kAllLost);
        m_lookedAfter = syncs;
        if (call.starts_with("sync")) ++m_folderSyncs;
        if (OneIn(kOfCalls)) Cut(call, OneIn(4) ? kAllKept : AnyFates());
    }

 private:
    // One of so many; with this set each one, which takes half an hour.
    bool OneIn(unsigned count) { return m_everywhere || m_random() % count == 0; }

    Fates AnyFates() {
        const auto any = [this] { return static_cast<Fate>(m_random() % 3); };
        return {any(), any(), any(), any(), any()};
    }

    void Cut(const std::string& call, const Fates& fates) {
        m_take("call " + std::to_string(m_calls) + ", " + call + ": " + ToString(fates), After(fates));
    }

    Disks After(const Fates& fates) {
        const unsigned of = 2 + m_random() % 3;
        const std::function<bool()> survives[] = {[] { return false; }, [] { return true; },
                                                  [this, of] { return m_random() % of == 0; }};
        std::vector<forgetful_disk::Files> files;
        for (const auto& each : survives) files.push_back(forgetful_disk::CutPower(each));

        Disks disks = FilesOf(m_machine.Device());
        if (fates.others == Fate::Lost) {
            std::erase_if(disks, [](const auto& file) { return !IsOfAVolume(file.first); });
            for (const auto& [path, content] : m_start) {
                if (path.starts_with(kDevice) && !IsOfAVolume(path)) disks[path] = content;
            }
        }
        disks[kState] = m_start.at(kState);
        for (const auto& [file, durable] : files[0]) {
            const std::string path = file.lexically_relative(m_machine.Place());
            const auto fate = static_cast<std::size_t>(path.starts_with(kState)                ? fates.state
                                                       : path.find("pim") != std::string::npos ? fates.items
                                                                                               : fates.marks);
            disks.erase(path);
            // A file that was removed may be back.
            if (fs::exists(file) || !survives[fate]()) disks[path] = files[fate].at(file);
        }
        AddFolder(m_machine.files.AfterCut(survives[static_cast<std::size_t>(fates.folder)]), disks);
        return disks;
    }

    static constexpr unsigned kOfAllLost = 3;
    static constexpr unsigned kOfCalls = 40;

    Machine& m_machine;
    const Disks& m_start;
    Take m_take;
    std::mt19937 m_random{kRandomStart};
    const bool m_everywhere = std::getenv("KEZ_FAULT_EVERYWHERE") != nullptr;
    std::size_t m_calls = 0;
    std::size_t m_folderSyncs = 0;
    std::optional<std::size_t> m_lookedAfter;
};

// The lines that one has and the other has not.
std::string Differences(const std::string& expected, const std::string& found) {
    const auto linesOf = [](const std::string& text) {
        std::multiset<std::string> lines;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) lines.insert(line);
        return lines;
    };
    const auto wanted = linesOf(expected);
    const auto there = linesOf(found);
    std::vector<std::string> missing;
    std::vector<std::string> more;
    std::set_difference(wanted.begin(), wanted.end(), there.begin(), there.end(), std::back_inserter(missing));
    std::set_difference(there.begin(), there.end(), wanted.begin(), wanted.end(), std::back_inserter(more));
    std::string text;
    for (const std::string& line : missing) text += "- " + line + "\n";
    for (const std::string& line : more) text += "+ " + line + "\n";
    return text;
}

class PowerCut : public testing::TestWithParam<Mode> {
 protected:
    PowerCut() { forgetful_disk::Install(); }

    // Every machine is a process of its own: nothing but the disks outlives it.
    static bool OnAMachine(const std::function<void()>& body) {
        return ChildProcess([&](const ChildProcess::Line&) { return Run(body); }).Wait() == 0;
    }

    // Leaves the disks "apart", and says how a run ends that nothing disturbs.
    std::string Prepare() {
        const bool apart = OnAMachine([&] { Leave("apart", Apart(m_place.Path() / "before")); });
        EXPECT_TRUE(apart && OnAMachine([&] {
                        Machine machine(m_place.Path() / "closed", GetParam(), Left("apart"));
                        machine.PutLogsAway();
                        Leave("apart", machine.Left(machine.Device()));
                    }));
        return Outcome("apart");
    }

    // What a machine that starts with these disks makes of them: what it finds odd, what is left to do for another
    // synchronisation, and what both sides say in the end.
    std::string Outcome(const std::string& disks) {
        const bool ended = OnAMachine([&] {
            Machine machine(m_place.Path() / "next", GetParam(), Left(disks));
            machine.files.randomNames = "later-";
            const sync::Report first = machine.Synchronise();
            std::string said = machine.SynchroniseAndTell();
            for (const sync::Problem& finding : first.findings) said += finding.text + "\n";
            Write(m_place.Path() / "said", said);
        });
        return ended ? Content(m_place.Path() / "said") : "it stopped\n";
    }

    // Synchronises a machine with these disks; it stands still at each moment at which the power is cut, while `look`
    // looks at what would be left.
    void SynchroniseWithCuts(const std::string& disks, const std::function<void(const std::string& when)>& look) {
        ChildProcess machine([&](const ChildProcess::Line& parent) {
            return Run([&] {
                const Disks start = Left(disks);
                Machine cut(m_place.Path() / "machine", GetParam(), start);
                cut.files.randomNames = disks + "-";
                PowerSwitch power(cut, start, [&](const std::string& when, const Disks& left) {
                    Leave("cut", left);
                    Write(m_place.Path() / "when", when);
                    parent.Tell('c');
                    parent.Hear();
                });
                cut.Synchronise();
                power.Look("after the last");
            });
        });
        while (machine.Talk().Hear() == 'c') {
            look(Content(m_place.Path() / "when"));
            machine.Talk().Tell('g');
        }
        EXPECT_EQ(machine.Wait(), 0);
    }

    Disks Left(const std::string& disks) const { return sync::Unpacked(Content(m_place.Path() / disks)).value(); }
    void Leave(const std::string& disks, const Disks& left) const { Write(m_place.Path() / disks, sync::Packed(left)); }

    tests::TemporaryFolder m_place;

 private:
    static int Run(const std::function<void()>& body) {
        const bool hadFailed = HasFailure();  // the parent, by then
        try {
            body();
            return HasFailure() && !hadFailed ? 1 : 0;
        } catch (const std::exception& error) {
            std::fprintf(stderr, "the machine stopped: %s\n", error.what());
            return 1;
        }
    }
};

TEST_P(PowerCut, AtAnyMomentLosesNothingAndDoublesNothing) {
    const std::string expected = Prepare();
    for (const char* said : kSaidInTheEnd) EXPECT_THAT(expected, HasSubstr(said));
    std::size_t cuts = 0;
    SynchroniseWithCuts("apart", [&](const std::string& when) {
        ++cuts;
        const std::string found = Outcome("cut");
        EXPECT_TRUE(found == expected) << "cut at " << when << "\n" << Differences(expected, found);
    });
    EXPECT_GT(cuts, 20u);
}

TEST_P(PowerCut, OfTheRunAfterACutLosesNothingEither) {
    const std::string expected = Prepare();
    std::map<std::string, std::string> cutOff;  // disks and when it was
    std::size_t cuts = 0;
    SynchroniseWithCuts("apart", [&](const std::string& when) {
        if (++cuts % 15 != 0) return;
        const std::string name = "cut" + std::to_string(cuts);
        Leave(name, Left("cut"));
        cutOff[name] = when;
    });
    ASSERT_FALSE(cutOff.empty());
    for (const auto& [disks, first] : cutOff) {
        cuts = 0;
        SynchroniseWithCuts(disks, [&, &cutAt = first](const std::string& when) {
            if (++cuts % 5 != 0) return;
            const std::string found = Outcome("cut");
            EXPECT_TRUE(found == expected) << "cut at " << cutAt << ", then at " << when << "\n"
                                           << Differences(expected, found);
        });
        EXPECT_GT(cuts, 0u) << first;
    }
}

INSTANTIATE_TEST_SUITE_P(WhatIsSynced, PowerCut, testing::Values(kItem, kBatch),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace kez::engine
