// The class table: a short list, searched from its start.
#include "platform/automation/class_table.h"

#include <algorithm>
#include <mutex>
#include <vector>

namespace kez::automation {

namespace {

struct Entry {
    CLSID clsid;
    CreateObject create;
};

struct State {
    std::mutex mutex;
    std::vector<Entry> classes;
};

State& TheState() {
    static State& state = *new State;  // made by the first registration, whichever file's initialiser that is in
    return state;
}

}  // namespace

void RegisterClass(REFCLSID clsid, CreateObject create) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    for (Entry& entry : state.classes) {
        if (entry.clsid == clsid) {
            entry.create = create;
            return;
        }
    }
    state.classes.push_back({clsid, create});
}

CreateObject FindClass(REFCLSID clsid) {
    State& state = TheState();
    std::lock_guard lock(state.mutex);
    const auto found = std::find_if(state.classes.begin(), state.classes.end(),
                                    [&](const Entry& entry) { return entry.clsid == clsid; });
    return found == state.classes.end() ? nullptr : found->create;
}

}  // namespace kez::automation
