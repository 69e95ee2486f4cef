#include "sync/agreement.h"

#include <algorithm>
#include <chrono>
#include <iterator>

#include "sync/listing_index.h"
#include "sync/match.h"
#include "sync/merge.h"

namespace kez::sync {
namespace {

// A changed occurrence is its text and the date that it had: what is decided of one of these is decided of both.
const std::string kOccurrences = "ModifiedOccurrences";
const std::string kOccurrenceDates = "ModifiedOccurrenceDates";

// The device is saved more than once for these: cut off in between, it holds something that nobody meant.
const std::set<std::string> kWrittenInSteps = {"ExceptionDates",
                                               kOccurrences,
                                               kOccurrenceDates,
                                               "ReminderSet",
                                               "ReminderTime",
                                               "ReminderOptions",
                                               "ReminderMinutesBeforeStart"};

// What has entries: texts behind one another, or dates with tabs between them.
const std::set<std::string> kLists = {"ExceptionDates", kOccurrences, kOccurrenceDates};

// New items that the folder is given at once. A killed run makes at most as many again.
constexpr std::size_t kTogether = 8;
constexpr std::size_t kBytesTogether = 1 << 20;  // fewer where they are as large as this

// What the hint of a second item begins with, which the device's version of a disputed one became.
const std::string kSecondCopy = "kezsync-copy-";

std::string ValueOf(const Fields& fields, const std::string& name) {
    const auto field = fields.find(name);
    return field == fields.end() ? std::string() : field->second;
}

std::vector<std::string> Names(const Changes& changes) {
    std::vector<std::string> names;
    for (const auto& [name, value] : changes) names.push_back(name);
    return names;
}

// The other of the two fields that are one list; "" for any other field.
std::string OtherHalf(const std::string& name) {
    return name == kOccurrences ? kOccurrenceDates : name == kOccurrenceDates ? kOccurrences : std::string();
}

bool HasAny(const Changes& changes, const std::set<std::string>& names) {
    return std::any_of(changes.begin(), changes.end(), [&](const auto& change) { return names.count(change.first); });
}

std::string Enumerated(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

std::string Percent(std::size_t part, std::size_t whole) {
    return std::to_string(whole == 0 ? 0 : part * 100 / whole) + " percent";
}

// What differs between `before` and `now` besides the fields that were sent and what sending them makes of others.
Changes ChangedOnTheSide(const Fields& before, const Fields& now, const Changes& sent, const Fields& expected) {
    Changes changes = Difference(before, now);
    std::erase_if(changes, [&](const auto& change) {
        if (sent.count(change.first)) return true;
        const auto wanted = expected.find(change.first);
        return change.second && wanted != expected.end() && wanted->second == *change.second;
    });
    return changes;
}

// A first synchronisation has a step for each item: they are not held twice.
void Append(std::vector<Step>& steps, std::vector<Step>&& more) {
    if (steps.empty()) {
        steps = std::move(more);
    } else {
        steps.insert(steps.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
    }
}

void LeaveAlone(ItemType type, const Store& side, const Listing& listing, Plan& plan) {
    plan.findings.insert(plan.findings.end(), listing.findings.begin(), listing.findings.end());
    plan.findings.push_back({ProblemCode::Failed,
                             "did not list its " + std::string(ToString(type)) + "s; they were left alone this time",
                             side.Name()});
}

}  // namespace

Agreement::Agreement(Store& device, Store& folder, State& state, Options options)
    : m_device(device), m_folder(folder), m_state(state), m_options(std::move(options)) {
    // One that is named twice would be listed twice: the second time without its flags, and with nothing left of it.
    std::vector<ItemType> once;
    for (const ItemType type : m_options.types) {
        if (std::find(once.begin(), once.end(), type) == once.end()) once.push_back(type);
    }
    m_options.types = std::move(once);
}

// --- Planning ---------------------------------------------------------------------------------------------

Plan Agreement::MakePlan() {
    Plan plan;
    std::vector<ItemType> types;
    std::copy_if(m_options.types.begin(), m_options.types.end(), std::back_inserter(types),
                 [this](ItemType type) { return m_device.Holds(type) && m_folder.Holds(type); });
    m_folder.ExpectLists(types);
    std::map<ItemType, Listing> onDevice = ListDevice(types, plan);
    std::map<ItemType, std::pair<std::size_t, std::size_t>> left;  // remembered items still there: device, folder
    for (const ItemType type : types) {
        if (const auto listing = onDevice.find(type); listing != onDevice.end())
            PlanType(type, std::move(listing->second), plan, left);
    }
    if (!m_options.force) Guard(plan);
    return plan;
}

// What the device lists, with what it says of changes stored; types that it did not list are left out.
std::map<ItemType, Listing> Agreement::ListDevice(const std::vector<ItemType>& types, Plan& plan) {
    std::map<ItemType, Listing> listings;
    std::map<ItemType, std::vector<std::string>> changed;
    const std::set<ItemType> flagsMayBeLost = m_state.BeginListings(types);
    for (const ItemType type : types) {
        Listing listing = m_device.List(type);
        if (!listing.trusted) {
            // The note stays: what the flags said is lost, and the next pass compares everything.
            LeaveAlone(type, m_device, listing, plan);
            continue;
        }
        std::vector<std::string>& ids = changed[type];
        for (const sync::Listed& item : listing.items) {
            if (item.changed.value_or(false) || flagsMayBeLost.count(type)) ids.push_back(item.id);
        }
        listings.emplace(type, std::move(listing));
    }
    m_state.EndListings(changed);
    return listings;
}

void Agreement::PlanType(ItemType type, Listing onDevice, Plan& plan,
                         std::map<ItemType, std::pair<std::size_t, std::size_t>>& left) {
    std::vector<Pair> pairs = m_state.Pairs(type);
    const std::set<std::string> unsettled = m_state.Unsettled(type);

    Listing inFolder = m_folder.List(type);
    if (!inFolder.trusted) {
        LeaveAlone(type, m_folder, inFolder, plan);
        return;
    }
    plan.findings.insert(plan.findings.end(), onDevice.findings.begin(), onDevice.findings.end());
    plan.findings.insert(plan.findings.end(), inFolder.findings.begin(), inFolder.findings.end());

    for (const sync::Listed& item : inFolder.items) {
        if (item.hint.starts_with(kSecondCopy)) plan.secondCopies[type].emplace(item.hint, item.id);
    }
    ListingIndex device(onDevice.items);
    ListingIndex folder(inFolder.items);

    auto& [leftOnDevice, leftInFolder] = left[type];
    for (Pair& pair : pairs) {
        Seen seenOnDevice = Seen::Gone;
        if (const sync::Listed* item = device.Take(pair.deviceId)) {
            const bool revised = !item->revision.empty() && item->revision != pair.deviceRevision;
            seenOnDevice = revised || unsettled.count(item->id) ? Seen::Changed : Seen::Same;
            ++leftOnDevice;
        }
        Seen seenInFolder = Seen::Gone;
        sync::Listed* folderItem = folder.Take(pair.folderId);
        if (folderItem) {
            seenInFolder = folderItem->revision == pair.folderRevision ? Seen::Same : Seen::Changed;
            ++leftInFolder;
        }
        const Action action = Decide(true, seenOnDevice, seenInFolder);
        if (folderItem && folderItem->problem) {
            // What cannot be read cannot be compared; both sides stay as they are.
            plan.entries.push_back({type,
                                    Outcome::Unresolved,
                                    pair.title,
                                    pair.deviceId,
                                    pair.folderId,
                                    false,
                                    {},
                                    *folderItem->problem,
                                    {}});
        } else if (action == Action::Nothing) {
            ++plan.unchanged;
        } else {
            Step step{type, action, kNothingRemembered, pair.deviceId, pair.folderId, {}, {}};
            if (folderItem) {
                step.folderRevision = std::move(folderItem->revision);
                step.hint = std::move(folderItem->hint);
            }
            // Between an older copy and what was made since, a missing item says nothing: it comes back.
            if (pair.doubt != Doubt::None && (seenOnDevice == Seen::Gone) != (seenInFolder == Seen::Gone)) {
                const bool goneOnDevice = seenOnDevice == Seen::Gone;
                step.action = goneOnDevice ? Action::CreateOnDevice : Action::CreateInFolder;
                (goneOnDevice ? step.deviceId : step.folderId).clear();
            }
            step.pair = std::make_shared<const Pair>(std::move(pair));
            plan.steps.push_back(std::move(step));
        }
    }

    // What becomes a step is moved, not copied: many small holes left between what stays would make each later
    // allocation a miss of the processor's cache.
    std::vector<Step> deviceNew;
    const std::vector<sync::Listed*> newOnDevice = device.Left();
    deviceNew.reserve(newOnDevice.size());
    for (sync::Listed* item : newOnDevice) {
        deviceNew.push_back(
            {type, Decide(false, Seen::New, Seen::Never), kNothingRemembered, std::move(item->id), {}, {}, {}});
    }
    std::vector<Step> folderNew;
    const std::vector<sync::Listed*> newInFolder = folder.Left();
    folderNew.reserve(newInFolder.size());
    for (sync::Listed* item : newInFolder) {
        if (item->problem) {
            plan.entries.push_back({type, Outcome::Unresolved, item->id, {}, item->id, false, {}, *item->problem, {}});
            continue;
        }
        folderNew.push_back({type,
                             Decide(false, Seen::Never, Seen::New),
                             kNothingRemembered,
                             {},
                             std::move(item->id),
                             std::move(item->revision),
                             std::move(item->hint)});
    }
    if (!deviceNew.empty() && !folderNew.empty()) MatchNew(type, deviceNew, folderNew, plan);
    Append(plan.steps, std::move(deviceNew));
    Append(plan.steps, std::move(folderNew));
}

void Agreement::MatchNew(ItemType type, std::vector<Step>& deviceNew, std::vector<Step>& folderNew, Plan& plan) {
    auto candidates = [&](Store& store, const std::vector<Step>& steps, bool isFolder) {
        std::vector<Candidate> read;
        for (const Step& step : steps) {
            const std::string& id = isFolder ? step.folderId : step.deviceId;
            ReadResult result = store.Read(type, id);
            Candidate candidate{id, {type, {}}};
            // What cannot be read matches nothing; the step that reads it again reports why.
            if (!result.problem) {
                candidate.item = isFolder ? m_options.asHeldByDevice(result.item) : std::move(result.item);
                candidate.item.fields = Remembered(candidate.item.fields);
            } else {
                candidate.item.fields["unreadable"] = (isFolder ? "folder " : "device ") + id;
            }
            read.push_back(std::move(candidate));
        }
        return read;
    };
    const auto matches = MatchByContent(candidates(m_device, deviceNew, false), candidates(m_folder, folderNew, true));
    std::vector<bool> deviceMatched(deviceNew.size());
    std::vector<bool> folderMatched(folderNew.size());
    for (const auto& [i, j] : matches) {
        deviceMatched[i] = folderMatched[j] = true;
        Step step = folderNew[j];
        step.deviceId = deviceNew[i].deviceId;
        step.action = Decide(false, Seen::New, Seen::New);
        plan.steps.push_back(std::move(step));
    }
    auto keepUnmatched = [](std::vector<Step>& steps, const std::vector<bool>& matched) {
        std::size_t index = 0;
        std::erase_if(steps, [&](const Step&) { return matched[index++]; });
    };
    keepUnmatched(deviceNew, deviceMatched);
    keepUnmatched(folderNew, folderMatched);
}

void Agreement::Guard(const Plan& plan) const {
    std::size_t remembered = 0;
    for (const ItemType type : m_options.types) remembered += m_state.CountPairs(type);
    std::size_t goneOnDevice = 0;
    std::size_t goneInFolder = 0;
    for (const Step& step : plan.steps) {
        const bool deviceGone =
            step.action == Action::DeleteInFolder || step.action == Action::DeviceDeletedFolderChanged;
        const bool folderGone =
            step.action == Action::DeleteOnDevice || step.action == Action::FolderDeletedDeviceChanged;
        goneOnDevice += deviceGone || step.action == Action::Forget;
        goneInFolder += folderGone || step.action == Action::Forget;
    }
    auto check = [&](std::size_t gone, const Store& lost, const Store& other) {
        const bool everything = gone == remembered && remembered > 1;
        const bool tooMuch = gone >= m_options.guardFrom &&
                             static_cast<double>(gone) > m_options.guardShare * static_cast<double>(remembered);
        if (!everything && !tooMuch) return;
        throw RefusedForSafety(std::to_string(gone) + " of " + std::to_string(remembered) + " items (" +
                               Percent(gone, remembered) + ") are gone from " + lost.Name() +
                               "; going on would delete them from " + other.Name() +
                               ". Nothing was changed. If they are meant to be gone, use --force");
    };
    if (goneOnDevice != goneInFolder || goneOnDevice != remembered) {  // gone on both sides harms nobody
        check(goneOnDevice, m_device, m_folder);
        check(goneInFolder, m_folder, m_device);
    }
}

// --- Carrying out -----------------------------------------------------------------------------------------

// The work of one pass: reads, merges, writes, and collects what is to be remembered.
class Agreement::Pass {
 public:
    Pass(Agreement& agreement, const Plan& plan)
        : m_device(agreement.m_device),
          m_folder(agreement.m_folder),
          m_state(agreement.m_state),
          m_options(agreement.m_options),
          m_plan(plan),
          m_cutOff(agreement.m_state.Writing()) {
        // A step has an entry as a rule: growing step by step would hold most of them twice.
        m_report.entries.reserve(plan.entries.size() + plan.steps.size());
        for (const Entry& entry : plan.entries) m_report.Add(entry);
        m_report.findings = plan.findings;
        m_report.counts.unchanged = plan.unchanged;
        for (const WaitingConflict& conflict : m_state.Conflicts()) {
            if (!conflict.choice.empty())
                m_choices[{conflict.type, conflict.deviceId, conflict.folderId}] = conflict.choice;
        }
    }

    Report Run();

 private:
    enum class Phase { DeleteOnDevice, WriteDevice, WriteFolder };
    static Phase PhaseOf(Action action);
    void CarryOut(const Step& step);
    bool IsStopped() { return m_stopped = m_stopped || (m_options.stop && m_options.stop()); }

    ReadResult ReadTwice(const Step& step);
    ReadResult ReadUnmarked(const Step& step, const Bases& bases);
    ReadResult Confirmed(const Step& step, ReadResult read);
    void CreateInFolder(const std::vector<const Step*>& steps);
    void CreateInFolder(const Step& step) { CreateInFolder(std::vector<const Step*>{&step}); }
    void NoteWriting(const Step& step);
    void CreateOnDevice(const Step& step);
    void UpdateFolder(const Step& step);
    void UpdateDevice(const Step& step);
    void MergeBoth(const Step& step);
    void Part(const Step& step);  // two items that were one: each goes to the other side
    void DeleteInFolder(const Step& step);
    void DeleteUnchangedOnDevice(const Step& step);
    void DeleteOnDevice(const Step& step);
    void DeletedOnOneSide(const Step& step);
    bool IsReallyGone(Store& side, const Step& step, const std::string& id);

    // Writes both sides' shares of a merge and remembers what they then hold.
    void WriteMerged(const Step& step, const ReadResult& device, const ReadResult& folder, const Changes& forDevice,
                     const Changes& forFolder, const Bases& bases, Outcome outcome, std::vector<std::string> notes);
    Decision Decide(const Conflict& conflict, const Step& step) const;
    bool KeepSecondCopy(const Step& step, const Item& deviceItem, Entry& entry);
    void LeaveWaiting(const Step& step, const Conflict& conflict, const std::string& text);

    void Remember(const Step& step, const std::string& title, const Fields& deviceHeld, const Fields& folderHeld,
                  const std::string& folderRevision);
    void Settle(const Step& step);
    void Fail(const Step& step, const std::string& title, Problem problem);
    Entry EntryFor(const Step& step, const std::string& title, Outcome outcome) const;
    void Flush();

    Store& m_device;
    Store& m_folder;
    State& m_state;
    const Options& m_options;
    const Plan& m_plan;
    Report m_report;
    bool m_stopped = false;
    std::size_t m_left = 0;  // items that were left alone for that
    Batch m_batch;
    std::vector<std::pair<ItemType, std::string>> m_acknowledged;
    std::set<std::pair<ItemType, std::string>> m_cutOff;  // the folder's items that an earlier pass was cut off writing
    std::vector<Step> m_more;                             // found on the way: second copies that the device is to get
    std::map<std::tuple<ItemType, std::string, std::string>, std::string> m_choices;
};

Report Agreement::CarryOut(const Plan& plan) {
    const auto start = std::chrono::steady_clock::now();
    Report report = Pass(*this, plan).Run();
    report.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return report;
}

Agreement::Pass::Phase Agreement::Pass::PhaseOf(Action action) {
    switch (action) {
        case Action::DeleteOnDevice:
            return Phase::DeleteOnDevice;
        case Action::CreateOnDevice:
        case Action::UpdateDevice:
            return Phase::WriteDevice;
        default:
            return Phase::WriteFolder;
    }
}

Report Agreement::Pass::Run() {
    for (const ItemType type : m_options.types) {
        std::size_t total = 0;
        for (const Step& step : m_plan.steps) total += step.type == type;
        if (total == 0) continue;
        std::size_t done = 0;
        m_device.BeginPass(type);
        std::vector<const Step*> together;  // new in the folder
        const auto finish = [&](std::size_t steps) {
            if (m_batch.Size() >= m_options.batchSize) Flush();
            done += steps;
            if (m_options.progress) m_options.progress({type, done, total});
        };
        const auto createTogether = [&] {
            if (together.empty()) return;
            CreateInFolder(together);
            finish(together.size());
            together.clear();
        };
        m_folder.ExpectNew(type, static_cast<std::size_t>(
                                     std::count_if(m_plan.steps.begin(), m_plan.steps.end(), [type](const Step& step) {
                                         return step.type == type && step.action == Action::CreateInFolder;
                                     })));
        for (const Phase phase : {Phase::DeleteOnDevice, Phase::WriteDevice, Phase::WriteFolder}) {
            bool begun = false;
            for (const Step& step : m_plan.steps) {
                if (step.type != type || PhaseOf(step.action) != phase) continue;
                if (IsStopped()) {
                    ++m_left;
                    continue;
                }
                if (!begun && phase == Phase::WriteDevice) m_device.BeginWrites(type);
                begun = true;
                if (step.action == Action::CreateInFolder) {
                    together.push_back(&step);
                    if (together.size() >= kTogether || m_batch.Size() + together.size() >= m_options.batchSize) {
                        createTogether();
                    }
                    continue;
                }
                createTogether();
                CarryOut(step);
                finish(1);
            }
            createTogether();
            Flush();
            if (begun && phase == Phase::WriteDevice) m_device.EndWrites(type);
        }
        if (!m_more.empty()) {
            m_device.BeginWrites(type);
            for (const Step& step : std::exchange(m_more, {})) CarryOut(step);
            Flush();
            m_device.EndWrites(type);
        }
        m_device.EndPass(type);
    }
    if (m_left != 0) {
        m_report.findings.push_back({ProblemCode::None,
                                     "the synchronisation was stopped; " + std::to_string(m_left) +
                                         (m_left == 1 ? " item waits" : " items wait") + " for the next one",
                                     m_folder.Name()});
    }
    return std::move(m_report);
}

void Agreement::Pass::CarryOut(const Step& step) {
    switch (step.action) {
        case Action::Nothing:
            return;
        case Action::CreateInFolder:
            return CreateInFolder(step);
        case Action::CreateOnDevice:
            return CreateOnDevice(step);
        case Action::UpdateFolder:
            return UpdateFolder(step);
        case Action::UpdateDevice:
            return UpdateDevice(step);
        case Action::Merge:
            return MergeBoth(step);
        case Action::DeleteInFolder:
            return DeleteInFolder(step);
        case Action::DeleteOnDevice:
            return DeleteUnchangedOnDevice(step);
        case Action::DeviceDeletedFolderChanged:
        case Action::FolderDeletedDeviceChanged:
            return DeletedOnOneSide(step);
        case Action::Forget:
            m_batch.forgotten.push_back(step.pair->number);
            Settle(step);
            return;
    }
}

void Agreement::Pass::Flush() {
    if (m_batch.Size() == 0 && m_batch.settledConflicts.empty()) return;
    m_folder.Flush();
    m_device.Flush();
    m_state.Commit(m_batch);
    m_batch = {};
    for (const auto& [type, id] : std::exchange(m_acknowledged, {})) m_device.Acknowledge(type, id);
}

Entry Agreement::Pass::EntryFor(const Step& step, const std::string& title, Outcome outcome) const {
    return {step.type, outcome, title, step.deviceId, step.folderId, false, {}, {}, {}};
}

void Agreement::Pass::Fail(const Step& step, const std::string& title, Problem problem) {
    const bool unresolved = problem.code == ProblemCode::NotRepresentable ||
                            problem.code == ProblemCode::ChangedMeanwhile || problem.code == ProblemCode::Duplicate ||
                            problem.code == ProblemCode::Unreadable;
    Entry entry =
        EntryFor(step, title.empty() ? step.pair->title : title, unresolved ? Outcome::Unresolved : Outcome::Failed);
    if (entry.title.empty()) entry.title = step.folderId.empty() ? "oid " + step.deviceId : step.folderId;
    entry.problem = std::move(problem);
    m_report.Add(std::move(entry));
}

void Agreement::Pass::Settle(const Step& step) {
    if (!step.deviceId.empty()) m_batch.settledOnDevice.emplace_back(step.type, step.deviceId);
    if (!step.deviceId.empty()) m_batch.settledConflicts.emplace_back(step.type, step.deviceId);
    m_batch.settledConflicts.emplace_back(step.type, "folder:" + step.folderId);
}

void Agreement::Pass::Remember(const Step& step, const std::string& title, const Fields& deviceHeld,
                               const Fields& folderHeld, const std::string& folderRevision) {
    Batch::Agreed agreed;
    agreed.pair = *step.pair;
    agreed.pair.type = step.type;
    agreed.pair.deviceId = step.deviceId;
    agreed.pair.folderId = step.folderId;
    agreed.pair.folderRevision = folderRevision;
    agreed.pair.title = title;
    agreed.pair.doubt = Doubt::None;
    agreed.bases = {Remembered(deviceHeld), Remembered(folderHeld)};
    m_batch.agreed.push_back(std::move(agreed));
    Settle(step);
}

// --- New items --------------------------------------------------------------------------------------------

// A device that cannot read a field, or one entry of a list, leaves it out and says nothing: what two readings agree on
// is believed.
ReadResult Agreement::Pass::ReadTwice(const Step& step) {
    ReadResult read = m_device.Read(step.type, step.deviceId);
    if (read.problem) return read;
    return Confirmed(step, std::move(read));
}

ReadResult Agreement::Pass::Confirmed(const Step& step, ReadResult read) {
    ReadResult again = m_device.Read(step.type, step.deviceId);
    if (!again.problem && again.item.fields != read.item.fields) {
        again.problem = {ProblemCode::Failed, "two readings say different things", "oid " + step.deviceId};
    }
    if (read.remaining && !again.remaining) again.remaining = std::move(read.remaining);
    return again;
}

void Agreement::Pass::CreateInFolder(const std::vector<const Step*>& steps) {
    std::vector<const Step*> read;
    std::vector<Item> items;
    std::vector<ReadResult> rest;  // of each but its item
    std::size_t bytes = 0;
    const auto write = [&] {
        std::vector<WriteResult> written = m_folder.CreateAll(items);
        for (std::size_t i = 0; i < read.size(); ++i) {
            const Step& step = *read[i];
            const std::string title = Title(items[i]);
            if (written[i].problem) {
                Fail(step, title, std::move(written[i].problem));
                continue;
            }
            Step done = step;
            done.folderId = written[i].id;
            Entry entry = EntryFor(done, title, Outcome::Received);
            entry.isNew = true;
            entry.notes = std::move(rest[i].losses);
            m_report.Add(std::move(entry));
            Remember(done, title, rest[i].remaining.value_or(items[i]).fields, written[i].held.fields,
                     written[i].revision);
            m_acknowledged.emplace_back(step.type, step.deviceId);
        }
        read.clear();
        items.clear();
        rest.clear();
        bytes = 0;
    };
    for (const Step* step : steps) {
        ReadResult result = ReadTwice(*step);
        if (result.problem.code == ProblemCode::Gone) {  // deleted since it was listed
            Settle(*step);
            continue;
        }
        if (result.problem) {
            Fail(*step, {}, std::move(result.problem));
            continue;
        }
        bytes += result.raw.size();
        result.raw.clear();
        read.push_back(step);
        items.push_back(std::move(result.item));
        rest.push_back(std::move(result));
        if (bytes >= kBytesTogether) write();
    }
    if (!read.empty()) write();
}

// Contacts have none of the fields that are written in steps.
void Agreement::Pass::NoteWriting(const Step& step) {
    if (step.type != ItemType::Contact) m_state.NoteWriting(step.type, step.folderId);
}

void Agreement::Pass::CreateOnDevice(const Step& step) {
    ReadResult read = m_folder.Read(step.type, step.folderId);
    if (read.problem.code == ProblemCode::Gone) return;
    if (read.problem) return Fail(step, {}, std::move(read.problem));
    const std::string title = Title(read.item);
    NoteWriting(step);
    WriteResult written = m_device.Create(read.item, step.hint);
    if (written.id.empty()) return Fail(step, title, std::move(written.problem));

    Step done = step;
    done.deviceId = written.id;
    std::string revision = read.revision;
    if (written.problem) {
        // The item is there, but not all of it: it is remembered, so that it is not made twice, and looked at again.
        revision.clear();
        Fail(done, title, std::move(written.problem));
    } else {
        Entry entry = EntryFor(done, title, Outcome::Sent);
        entry.isNew = true;
        entry.notes = std::move(read.losses);
        m_report.Add(std::move(entry));
    }
    // Where the device does not give the item back, it is taken to hold what it was sent.
    const Fields held = written.held.fields.empty() ? m_options.asHeldByDevice(read.item).fields : written.held.fields;
    Remember(done, title, held, revision.empty() ? Fields{} : read.item.fields, revision);
}

// --- Changes ----------------------------------------------------------------------------------------------

// An item that the device did not mark as changed: a reading that says what it said before needs no second one.
ReadResult Agreement::Pass::ReadUnmarked(const Step& step, const Bases& bases) {
    ReadResult read = m_device.Read(step.type, step.deviceId);
    if (read.problem || Difference(bases.device, read.item.fields).empty()) return read;
    return Confirmed(step, std::move(read));
}

void Agreement::Pass::UpdateFolder(const Step& step) {
    const Bases bases = m_state.BasesOf(*step.pair);
    ReadResult device = ReadTwice(step);
    if (device.problem) return Fail(step, {}, std::move(device.problem));
    const Changes changes = Difference(bases.device, device.item.fields);
    if (changes.empty()) {
        ++m_report.counts.unchanged;
        Settle(step);
        return;
    }
    ReadResult folder = m_folder.Read(step.type, step.folderId);
    if (folder.problem) return Fail(step, Title(device.item), std::move(folder.problem));
    if (!Difference(bases.folder, folder.item.fields).empty()) return MergeBoth(step);  // changed since it was listed
    WriteMerged(step, device, folder, {}, changes, bases, Outcome::Received, std::move(device.losses));
}

void Agreement::Pass::UpdateDevice(const Step& step) {
    ReadResult folder = m_folder.Read(step.type, step.folderId);
    if (folder.problem) return Fail(step, {}, std::move(folder.problem));
    const Bases bases = m_state.BasesOf(*step.pair);
    const bool afresh = step.pair->doubt == Doubt::OldDevice;
    Changes changes = Difference(bases.folder, folder.item.fields);
    if (changes.empty() && !afresh) {
        // The file was touched, not changed.
        ++m_report.counts.unchanged;
        Batch::Agreed agreed{*step.pair, bases};
        agreed.pair.folderRevision = folder.revision;
        m_batch.agreed.push_back(std::move(agreed));
        return;
    }
    ReadResult device = ReadUnmarked(step, bases);
    if (device.problem) return Fail(step, Title(folder.item), std::move(device.problem));
    const Changes otherwise = Difference(bases.device, device.item.fields);
    if (afresh) {
        // What the older copy says otherwise is older too: it gets what was agreed on since.
        const Changes all = Difference(device.item.fields, m_options.asHeldByDevice(folder.item).fields);
        Changes needed;
        for (const auto& [name, change] : all) {
            if (otherwise.count(name) || changes.count(name)) needed[name] = change;
        }
        changes = std::move(needed);
        if (changes.empty()) {
            ++m_report.counts.unchanged;
            return Remember(step, Title(folder.item), device.item.fields, folder.item.fields, folder.revision);
        }
    } else if (!otherwise.empty()) {
        return MergeBoth(step);  // changed since it was listed
    } else if (bases.folder.empty()) {
        // The device took over only a part when the item was made there: it gets what it lacks.
        changes = Difference(device.item.fields, m_options.asHeldByDevice(folder.item).fields);
    }
    WriteMerged(step, device, folder, changes, {}, bases, Outcome::Sent, std::move(folder.losses));
}

void Agreement::Pass::MergeBoth(const Step& step) {
    const bool remembered = step.pair->number != 0 && step.pair->doubt != Doubt::OldDevice;
    const Bases bases = remembered ? m_state.BasesOf(*step.pair) : Bases{};
    ReadResult device = ReadTwice(step);
    if (device.problem) return Fail(step, {}, std::move(device.problem));
    ReadResult folder = m_folder.Read(step.type, step.folderId);
    if (folder.problem) return Fail(step, Title(device.item), std::move(folder.problem));

    // An older copy of a device gives an identifier again to somebody else.
    if (step.pair->number != 0 && !remembered && Title(device.item) != Title(folder.item)) return Part(step);

    Merged merged =
        remembered ? Merge(Difference(bases.device, device.item.fields), Difference(bases.folder, folder.item.fields))
                   : MergeUnremembered(device.item.fields, folder.item.fields);
    // What the device would make of the folder's value anyway is no difference.
    const Item expected = m_options.asHeldByDevice(folder.item);
    std::erase_if(merged.disputed, [&](const std::string& name) {
        return ValueOf(expected.fields, name) == ValueOf(device.item.fields, name);
    });
    // Nor is a list to which the device only added what the folder has as well: a run that was cut off put it there.
    const auto isSuccessor = [&](const std::string& name) {
        const std::string here = ValueOf(device.item.fields, name);
        const std::string there = ValueOf(folder.item.fields, name);
        const std::string before = ValueOf(bases.device, name);
        if (here.empty() || there.empty()) return false;
        return m_options.hasAll(name, there, here) && (before.empty() || m_options.hasAll(name, here, before));
    };
    std::erase_if(merged.disputed, [&](const std::string& name) {
        const std::string other = OtherHalf(name);
        const bool otherDiffers = ValueOf(device.item.fields, other) != ValueOf(folder.item.fields, other);
        if (!isSuccessor(name) || (otherDiffers && !isSuccessor(other))) return false;
        merged.forDevice[name] = folder.item.fields.at(name);
        return true;
    });
    // Nor is what the device adds by itself anything to tell the folder.
    if (!remembered) {
        std::erase_if(merged.forFolder, [&](const auto& change) {
            return change.second && ValueOf(expected.fields, change.first) == *change.second;
        });
    }

    std::vector<std::string> notes = std::move(device.losses);
    notes.insert(notes.end(), folder.losses.begin(), folder.losses.end());
    if (m_cutOff.count({step.type, step.folderId})) {
        // Entries that neither side had by then are of the device's owner, who made them since. (Changed occurrences
        // are never remembered of a device: reading takes them.)
        std::set<std::string> owners;
        for (const std::string& name : kLists) {
            const std::string here = ValueOf(device.item.fields, name);
            std::string had = ValueOf(folder.item.fields, name);
            if (name != kOccurrences) had += "\t" + ValueOf(bases.device, name);
            if (here.empty() || m_options.hasAll(name, had, here)) continue;
            owners.insert(name);
            owners.insert(OtherHalf(name));
        }
        // The folder had everything else by then that the device had to tell.
        for (const std::string& name : kWrittenInSteps) {
            if (owners.count(name) || ValueOf(expected.fields, name) == ValueOf(device.item.fields, name)) continue;
            merged.forFolder.erase(name);
            std::erase(merged.disputed, name);
            const Fields& source = folder.item.fields.count(name) ? folder.item.fields : expected.fields;
            const auto field = source.find(name);
            merged.forDevice[name] = field == source.end() ? std::nullopt : std::optional<std::string>(field->second);
        }
    }
    for (const std::string& name : {kOccurrences, kOccurrenceDates}) {
        const auto isDisputed = [&](const std::string& field) {
            return std::find(merged.disputed.begin(), merged.disputed.end(), field) != merged.disputed.end();
        };
        const std::string other = OtherHalf(name);
        if (!isDisputed(name) || isDisputed(other)) continue;
        if (merged.forDevice.erase(other) + merged.forFolder.erase(other) != 0) merged.disputed.push_back(other);
    }
    if (!merged.disputed.empty()) {
        const Conflict conflict{step.type,   step.deviceId, step.folderId, Title(folder.item), device.item,
                                folder.item, false,         false,         merged.disputed};
        const Decision decision = Decide(conflict, step);
        const Choice choice = decision.choice;
        const std::string names = Enumerated(merged.disputed);
        const std::string why = decision.why.empty() ? std::string() : ": " + decision.why;
        if (choice == Choice::Skip) {
            return LeaveWaiting(step, conflict, "both sides changed " + names + " to different values" + why);
        }
        if (choice == Choice::Both) {
            Entry entry = EntryFor(step, Title(device.item), Outcome::Merged);
            if (!KeepSecondCopy(step, device.item, entry)) return;
            entry.fields = merged.disputed;
            entry.notes.push_back("both sides changed " + names + "; the device's version was kept as a second item" +
                                  why);
            m_report.Add(std::move(entry));
        }
        for (const std::string& name : merged.disputed) {
            const Fields& winner = choice == Choice::Device ? device.item.fields : folder.item.fields;
            const auto field = winner.find(name);
            const auto change = field == winner.end() ? std::nullopt : std::optional<std::string>(field->second);
            (choice == Choice::Device ? merged.forFolder : merged.forDevice)[name] = change;
        }
        if (choice != Choice::Both) {
            notes.push_back("both sides changed " + names + "; the " +
                            (choice == Choice::Device ? "device's" : "folder's") + " value was taken" + why);
        }
    }
    Outcome outcome = Outcome::Merged;
    if (!remembered && merged.forDevice.empty() && merged.forFolder.empty()) outcome = Outcome::Matched;
    WriteMerged(step, device, folder, merged.forDevice, merged.forFolder, bases, outcome, std::move(notes));
}

void Agreement::Pass::Part(const Step& step) {
    Step theirs = step;
    theirs.deviceId.clear();
    CreateOnDevice(theirs);
    CreateInFolder({step.type, Action::CreateInFolder, kNothingRemembered, step.deviceId, {}, {}, {}});
}

void Agreement::Pass::WriteMerged(const Step& step, const ReadResult& device, const ReadResult& folder,
                                  const Changes& forDevice, const Changes& forFolder, const Bases& bases,
                                  Outcome outcome, std::vector<std::string> notes) {
    Fields deviceHeld = device.remaining.value_or(device.item).fields;
    Fields folderHeld = folder.item.fields;
    std::string folderRevision = folder.revision;
    std::string title = Title(folder.item);
    std::vector<std::string> written = Names(forDevice);
    for (const std::string& name : Names(forFolder)) written.push_back(name);

    if (!forFolder.empty()) {
        const Item target{step.type, Applied(folder.item.fields, forFolder)};
        WriteResult result = m_folder.Update(step.folderId, target, folder.revision);
        if (result.problem) return Fail(step, title, std::move(result.problem));
        folderHeld = result.held.fields;
        folderRevision = result.revision;
        title = Title(target);
    }
    if (!forDevice.empty()) {
        const Item target{step.type, Applied(deviceHeld, forDevice)};
        // A note that a power cut leaves says that the folder has what the device had to tell: so it must, then.
        if (HasAny(forFolder, kWrittenInSteps)) m_folder.Flush();
        NoteWriting(step);
        WriteResult result = m_device.Update(step.deviceId, target, device.revision);
        if (result.problem) {
            // The folder's share is done. What the device did not take stays different from what is remembered of
            // the folder, so that the next pass tries again.
            Fail(step, title, std::move(result.problem));
            if (step.pair->doubt == Doubt::OldDevice) return;  // compared whole again
            Fields folderBase = Remembered(folderHeld);
            for (const auto& [name, change] : forDevice) {
                const auto before = bases.folder.find(name);
                if (before == bases.folder.end()) {
                    folderBase.erase(name);
                } else {
                    folderBase[name] = before->second;
                }
            }
            if (step.pair->number != 0) {
                Batch::Agreed agreed{*step.pair, {Remembered(deviceHeld), std::move(folderBase)}};
                agreed.pair.folderRevision.clear();
                m_batch.agreed.push_back(std::move(agreed));
            }
            return;
        }
        title = Title(target);
        notes.insert(notes.end(), result.losses.begin(), result.losses.end());
        // A field that was not sent and yet came back otherwise was changed by the device itself or by somebody
        // else meanwhile: the folder gets it as well.
        const Changes onTheSide =
            ChangedOnTheSide(deviceHeld, result.held.fields, forDevice, m_options.asHeldByDevice(target).fields);
        deviceHeld = result.remaining.value_or(result.held).fields;
        if (!onTheSide.empty()) {
            const Item folderTarget{step.type, Applied(folderHeld, onTheSide)};
            WriteResult late = m_folder.Update(step.folderId, folderTarget, folderRevision);
            if (late.problem) {
                Fail(step, title, std::move(late.problem));
                for (const auto& [name, change] : onTheSide) deviceHeld.erase(name);
                Remember(step, title, deviceHeld, folderHeld, folderRevision);
                // What it took out of the device stays kept, and the device is asked again.
                m_batch.settledOnDevice.pop_back();
                m_batch.lookAgainOnDevice.emplace_back(step.type, step.deviceId);
                return;
            }
            folderHeld = late.held.fields;
            folderRevision = late.revision;
            for (const std::string& name : Names(onTheSide)) written.push_back(name);
        }
    }
    Entry entry = EntryFor(step, title, outcome);
    entry.fields = std::move(written);
    entry.notes = std::move(notes);
    m_report.Add(std::move(entry));
    Remember(step, title, deviceHeld, folderHeld, folderRevision);
    // A device takes the mark of its own writes away later, and with it that of what its owner changes until then.
    if (!forDevice.empty()) m_batch.lookAgainOnDevice.emplace_back(step.type, step.deviceId);
    if (!forFolder.empty() || device.remaining) m_acknowledged.emplace_back(step.type, step.deviceId);
}

// --- Conflicts --------------------------------------------------------------------------------------------

Decision Agreement::Pass::Decide(const Conflict& conflict, const Step& step) const {
    const auto chosen = m_choices.find({step.type, conflict.goneOnDevice ? std::string() : step.deviceId,
                                        conflict.goneInFolder ? std::string() : step.folderId});
    if (chosen != m_choices.end()) {
        if (chosen->second == "device") return Choice::Device;
        if (chosen->second == "folder") return Choice::Folder;
        if (chosen->second == "both") return Choice::Both;
    }
    switch (m_options.conflicts) {
        case ConflictPolicy::Device:
            return Choice::Device;
        case ConflictPolicy::Folder:
            return Choice::Folder;
        case ConflictPolicy::Both:
            return Choice::Both;
        case ConflictPolicy::Skip:
            return Choice::Skip;
        case ConflictPolicy::Ask:
            if (m_options.ask) return m_options.ask(conflict);
            break;
    }
    return Choice::Skip;
}

void Agreement::Pass::LeaveWaiting(const Step& step, const Conflict& conflict, const std::string& text) {
    m_batch.waiting.push_back({step.type,
                               conflict.title,
                               conflict.goneOnDevice ? std::string() : step.deviceId,
                               conflict.goneInFolder ? std::string() : step.folderId,
                               text,
                               conflict.fields,
                               {}});
    Entry entry = EntryFor(step, conflict.title, Outcome::Unresolved);
    entry.fields = conflict.fields;
    entry.problem = {ProblemCode::ChangedMeanwhile, text, {}};
    m_report.Add(std::move(entry));
}

// The copy's name follows from what it is a copy of, so that an interrupted pass finds it instead of making another.
bool Agreement::Pass::KeepSecondCopy(const Step& step, const Item& deviceItem, Entry& entry) {
    const std::string hint = kSecondCopy + Digest(step.folderId + Packed(deviceItem.fields)).substr(0, 32);
    const auto hints = m_plan.secondCopies.find(step.type);
    if (hints != m_plan.secondCopies.end() && hints->second.count(hint)) {
        entry.folderId = hints->second.at(hint);
        return true;
    }
    WriteResult copy = m_folder.Create(deviceItem, hint);
    if (copy.problem) {
        Fail(step, Title(deviceItem), std::move(copy.problem));
        return false;
    }
    m_folder.Flush();
    Step more{step.type, Action::CreateOnDevice, kNothingRemembered, {}, copy.id, copy.revision, hint};
    m_more.push_back(std::move(more));
    entry.folderId = copy.id;
    entry.isNew = true;
    return true;
}

void Agreement::Pass::DeletedOnOneSide(const Step& step) {
    const bool goneOnDevice = step.action == Action::DeviceDeletedFolderChanged;
    const Bases bases = m_state.BasesOf(*step.pair);
    ReadResult read = goneOnDevice ? m_folder.Read(step.type, step.folderId) : ReadTwice(step);
    if (read.problem) return Fail(step, {}, std::move(read.problem));
    if (Difference(goneOnDevice ? bases.folder : bases.device, read.item.fields).empty()) {
        // Touched or perhaps changed, but it says what it said: the deletion stands.
        return goneOnDevice ? DeleteInFolder(step) : DeleteOnDevice(step);
    }
    Conflict conflict{step.type,
                      step.deviceId,
                      step.folderId,
                      Title(read.item),
                      goneOnDevice ? Item{step.type, {}} : read.item,
                      goneOnDevice ? read.item : Item{step.type, {}},
                      goneOnDevice,
                      !goneOnDevice,
                      {}};
    const std::string text = goneOnDevice ? "deleted on the device, but changed in the folder"
                                          : "deleted in the folder, but changed on the device";
    const Decision decision = Decide(conflict, step);
    const bool livingWins = decision.choice == (goneOnDevice ? Choice::Folder : Choice::Device);
    const bool deletionWins = decision.choice == (goneOnDevice ? Choice::Device : Choice::Folder);
    if (!livingWins && !deletionWins) {
        return LeaveWaiting(step, conflict, text + (decision.why.empty() ? "" : ": " + decision.why));
    }
    const std::size_t reported = m_report.entries.size();
    if (deletionWins) {
        goneOnDevice ? DeleteInFolder(step) : DeleteOnDevice(step);
    } else {
        Step again = step;
        m_batch.settledConflicts.emplace_back(step.type, goneOnDevice ? "folder:" + step.folderId : step.deviceId);
        (goneOnDevice ? again.deviceId : again.folderId).clear();
        goneOnDevice ? CreateOnDevice(again) : CreateInFolder(again);
    }
    if (!decision.why.empty() && m_report.entries.size() > reported) {
        m_report.entries.back().notes.push_back(text + ": " + decision.why);
    }
}

// --- Deletions --------------------------------------------------------------------------------------------

// A listing may miss an item that is there (one that was made while it was listed pushes another out): nothing is
// deleted before a second look.
bool Agreement::Pass::IsReallyGone(Store& side, const Step& step, const std::string& id) {
    if (side.Read(step.type, id).problem.code == ProblemCode::Gone) return true;
    Fail(step, {},
         {ProblemCode::ChangedMeanwhile, "was not listed, but is still there; the next synchronisation looks again",
          side.Name()});
    return false;
}

void Agreement::Pass::DeleteInFolder(const Step& step) {
    if (!IsReallyGone(m_device, step, step.deviceId)) return;
    Problem problem = m_folder.Delete(step.type, step.folderId, step.folderRevision);
    if (problem) return Fail(step, {}, std::move(problem));
    m_report.Add(EntryFor(step, step.pair->title, Outcome::DeletedInFolder));
    m_batch.forgotten.push_back(step.pair->number);
    Settle(step);
}

// The folder's revision tells what was changed there since the listing; of the device only a reading does.
void Agreement::Pass::DeleteUnchangedOnDevice(const Step& step) {
    const ReadResult now = m_device.Read(step.type, step.deviceId);
    if (now.problem || Difference(m_state.BasesOf(*step.pair).device, now.item.fields).empty()) {
        return DeleteOnDevice(step);
    }
    Step changed = step;
    changed.action = Action::FolderDeletedDeviceChanged;
    DeletedOnOneSide(changed);
}

void Agreement::Pass::DeleteOnDevice(const Step& step) {
    if (!IsReallyGone(m_folder, step, step.folderId)) return;
    Problem problem = m_device.Delete(step.type, step.deviceId, {});
    if (problem) return Fail(step, {}, std::move(problem));
    m_report.Add(EntryFor(step, step.pair->title, Outcome::DeletedOnDevice));
    m_batch.forgotten.push_back(step.pair->number);
    Settle(step);
}

}  // namespace kez::sync
