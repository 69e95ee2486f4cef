#include "cli/run_numbers.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include "platform/changewriter/item_notes.h"

namespace kez::cli {

namespace {

const std::string kRun = "run-";
const std::string kNextRun = "next-run";

std::int64_t NumberOf(const std::string& text) { return std::strtoll(text.c_str(), nullptr, 10); }

}  // namespace

std::optional<sync::Doubt> RunNumbers::LookForOlderCopies() {
    if (m_state.IsNew()) return std::nullopt;
    const std::int64_t onDevice = OnDevice().value_or(0);
    std::int64_t inState = NumberOf(m_state.Note(kRun));
    // Cut off between the two notes of one synchronisation, the state has the number as the next one only.
    if (NumberOf(m_state.Note(kNextRun)) == onDevice) inState = std::max(inState, onDevice);
    if (onDevice == inState) return std::nullopt;
    const sync::Doubt older = onDevice < inState ? sync::Doubt::OldDevice : sync::Doubt::OldFolder;
    m_state.DoubtAll(older);
    Count(std::max(onDevice, inState) + 1);
    return older;
}

void RunNumbers::BeginChanges() { Count(std::max(OnDevice().value_or(0), NumberOf(m_state.Note(kRun))) + 1); }

std::optional<std::int64_t> RunNumbers::OnDevice() const {
    return changewriter::ItemNote(kRun + std::to_string(m_partner));
}

void RunNumbers::Count(std::int64_t number) {
    m_state.SetNote(kNextRun, std::to_string(number));
    changewriter::SetItemNote(kRun + std::to_string(m_partner), number);
    m_state.SetNote(kRun, std::to_string(number));
}

}  // namespace kez::cli
