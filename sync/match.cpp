#include "sync/match.h"

#include <algorithm>
#include <unordered_map>

#include "sync/state.h"

namespace kez::sync {
namespace {

std::string Value(const Fields& fields, const char* name) {
    const auto field = fields.find(name);
    return field == fields.end() ? std::string() : field->second;
}

// Without ASCII case and without blanks at the ends or doubled.
std::string Folded(const std::string& text) {
    std::string folded;
    for (char c : text) {
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') {
            if (!folded.empty() && folded.back() != ' ') folded += ' ';
        } else {
            folded += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        }
    }
    if (!folded.empty() && folded.back() == ' ') folded.pop_back();
    return folded;
}

std::string Key(const Item& item) {
    const Fields& fields = item.fields;
    if (item.type == ItemType::Contact) {
        const std::string first = Folded(Value(fields, "FirstName"));
        const std::string last = Folded(Value(fields, "LastName"));
        if (!first.empty() || !last.empty()) return "name:" + first + "|" + last;
        for (const char* name : {"CompanyName", "Email1Address", "FileAs"}) {
            const std::string value = Folded(Value(fields, name));
            if (!value.empty()) return std::string(name) + ":" + value;
        }
        return {};
    }
    const std::string subject = Folded(Value(fields, "Subject"));
    const std::string when = Value(fields, item.type == ItemType::Task ? "DueDate" : "Start");
    return subject.empty() && when.empty() ? std::string() : subject + "|" + when;
}

// Fields that a side may make up by itself say nothing about whether two items are the same.
bool IsDerived(const std::string& name) { return name == "FileAs" || name == "BusyStatus"; }

int Agreement(const Fields& a, const Fields& b) {
    int score = 0;
    for (const auto& [name, value] : a) {
        if (IsDerived(name)) continue;
        const auto other = b.find(name);
        if (other == b.end()) continue;
        score += other->second == value ? 1 : -1;
    }
    return score;
}

Fields Comparable(Fields fields) {
    std::erase_if(fields, [](const auto& field) { return IsDerived(field.first); });
    return fields;
}

bool SaysTheSame(const Fields& a, const Fields& b) { return Comparable(a) == Comparable(b); }

// Items without a name are looked for by all they say.
std::string GroupOf(const Item& item) {
    const std::string key = Key(item);
    return key.empty() ? "all:" + Packed(Comparable(item.fields)) : key;
}

}  // namespace

std::vector<std::pair<std::size_t, std::size_t>> MatchByContent(const std::vector<Candidate>& device,
                                                                const std::vector<Candidate>& folder) {
    std::unordered_map<std::string, std::vector<std::size_t>> folderByKey;
    for (std::size_t i = 0; i < folder.size(); ++i) folderByKey[GroupOf(folder[i].item)].push_back(i);

    struct Proposal {
        int score;
        std::size_t device;
        std::size_t folder;
    };
    std::vector<Proposal> proposals;
    for (std::size_t i = 0; i < device.size(); ++i) {
        const auto group = folderByKey.find(GroupOf(device[i].item));
        if (group == folderByKey.end()) continue;
        for (const std::size_t j : group->second) {
            const Fields& a = device[i].item.fields;
            const Fields& b = folder[j].item.fields;
            if (SaysTheSame(a, b)) {
                proposals.push_back({1 << 20, i, j});
            } else if (const int score = Agreement(a, b); score > 0) {
                proposals.push_back({score, i, j});
            }
        }
    }
    std::stable_sort(proposals.begin(), proposals.end(),
                     [](const Proposal& a, const Proposal& b) { return a.score > b.score; });

    std::vector<std::pair<std::size_t, std::size_t>> matches;
    std::vector<bool> deviceTaken(device.size());
    std::vector<bool> folderTaken(folder.size());
    for (const Proposal& proposal : proposals) {
        if (deviceTaken[proposal.device] || folderTaken[proposal.folder]) continue;
        deviceTaken[proposal.device] = folderTaken[proposal.folder] = true;
        matches.emplace_back(proposal.device, proposal.folder);
    }
    return matches;
}

}  // namespace kez::sync
