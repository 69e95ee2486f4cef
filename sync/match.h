// Finding the same item on both sides by what it says, where nothing is remembered of it.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "sync/item.h"

namespace kez::sync {

struct Candidate {
    std::string id;
    Item item;  // whole, or with its fields as Remembered() gives them
};

// Pairs of indexes (device, folder). Two items are the same one when they have the same name (contacts: first and
// last name, else company, else first e-mail address; tasks: subject and due date; appointments: subject and start)
// and agree in more fields than they contradict each other; the best agreement wins, each item is used once. Items
// without a name are the same only where all fields are.
std::vector<std::pair<std::size_t, std::size_t>> MatchByContent(const std::vector<Candidate>& device,
                                                                const std::vector<Candidate>& folder);

}  // namespace kez::sync
