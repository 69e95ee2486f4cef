// What a folder store remembers of the folder's files, in the state of the agreement.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "partner/folder_cache.h"
#include "sync/state.h"

namespace kez::cli {

class StateCache : public partner::FolderCache {
 public:
    explicit StateCache(sync::State& state) : m_state(state) {}
    partner::CachedFiles Load() override;
    void Save(const std::vector<std::pair<std::string, std::optional<partner::CachedFile>>>& changes) override;

 private:
    sync::State& m_state;
};

}  // namespace kez::cli
