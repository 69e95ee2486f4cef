// One pass of a synchronisation: brings two stores into agreement and says what it did.
//
// A pass lists both sides, sets up a plan by the table of cases (cases.h), refuses a plan that would delete too
// much, and carries it out item by item. What an item says is compared with what the same side held when both last
// agreed (merge.h). New state is committed in batches, after both stores have made the batch durable; a pass that
// ends anywhere leaves stores and state so that the next one finishes the work.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sync/cases.h"
#include "sync/report.h"
#include "sync/state.h"
#include "sync/store.h"

namespace kez::sync {

// Who wins where both sides changed the same field of an item to different values.
enum class ConflictPolicy {
    Both,  // the folder's item stays, the device's becomes a second item
    Device,
    Folder,
    Skip,  // the conflict waits in the state
    Ask,   // Options::ask decides
};

enum class Choice { Device, Folder, Both, Skip };

// What was decided and, where the report is to tell, why: half a sentence.
struct Decision {
    Decision(Choice decided, std::string reason = {}) : choice(decided), why(std::move(reason)) {}
    Choice choice;
    std::string why;
};

struct Conflict {
    ItemType type = ItemType::Contact;
    std::string deviceId;
    std::string folderId;
    std::string title;
    Item device;  // no fields where the item is gone there
    Item folder;  // no fields where the item is gone there
    bool goneOnDevice = false;
    bool goneInFolder = false;
    std::vector<std::string> fields;
};

struct Progress {
    ItemType type;
    std::size_t done;
    std::size_t total;
};

struct Options {
    std::vector<ItemType> types{std::begin(kAllItemTypes), std::end(kAllItemTypes)};
    ConflictPolicy conflicts = ConflictPolicy::Both;
    std::function<Decision(const Conflict&)> ask;
    std::size_t batchSize = 100;
    // A plan that deletes at least `guardFrom` of what one side holds, and more than this share of it, is refused;
    // so is one that leaves a side with nothing of more than one item.
    double guardShare = 0.30;
    std::size_t guardFrom = 10;
    bool force = false;
    // How a faithful device gives back what it was sent (PacketCodec::AsHeldByDevice).
    std::function<Item(const Item&)> asHeldByDevice = [](const Item& item) { return item; };
    // Whether a list has all entries of another (PacketCodec::HasAll).
    std::function<bool(const std::string& name, const std::string& whole, const std::string& part)> hasAll =
        [](const std::string&, const std::string& whole, const std::string& part) { return whole == part; };
    std::function<void(const Progress&)> progress;
    // Asked before each item; from the first true on the pass leaves the rest as it is, for the next one.
    std::function<bool()> stop;
};

// The plan was refused for safety: nothing was changed on either side. The text says what would have happened.
class RefusedForSafety : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// What is remembered of an item that both sides have not agreed on yet.
inline const std::shared_ptr<const Pair> kNothingRemembered = std::make_shared<const Pair>();

// One item of the plan. A first synchronisation has one for each item, so that none carries a pair of its own.
struct Step {
    ItemType type = ItemType::Contact;
    Action action = Action::Nothing;
    std::shared_ptr<const Pair> pair = kNothingRemembered;  // number 0 where nothing is remembered; never null
    std::string deviceId;
    std::string folderId;
    std::string folderRevision;
    std::string hint;  // a name for the item that the folder gave
};

struct Plan {
    std::vector<Step> steps;     // Action::Nothing is left out
    std::vector<Entry> entries;  // what cannot be planned: items with a problem of their own
    std::vector<Problem> findings;
    std::size_t unchanged = 0;
    std::map<ItemType, std::map<std::string, std::string>> secondCopies;  // in the folder: hint -> identifier
};

class Agreement {
 public:
    Agreement(Store& device, Store& folder, State& state, Options options);

    // Lists both sides. The device's change flags are cleared by that and kept in the state. Throws StoreError,
    // StateError, RefusedForSafety.
    Plan MakePlan();

    // Carries a plan out. Throws StoreError where a side cannot go on at all; what was done until then is kept.
    Report CarryOut(const Plan& plan);

    Report Run() { return CarryOut(MakePlan()); }

 private:
    class Pass;
    std::map<ItemType, Listing> ListDevice(const std::vector<ItemType>& types, Plan& plan);
    void PlanType(ItemType type, Listing onDevice, Plan& plan,
                  std::map<ItemType, std::pair<std::size_t, std::size_t>>& remembered);
    void MatchNew(ItemType type, std::vector<Step>& deviceNew, std::vector<Step>& folderNew, Plan& plan);
    void Guard(const Plan& plan) const;

    Store& m_device;
    Store& m_folder;
    State& m_state;
    Options m_options;
};

}  // namespace kez::sync
