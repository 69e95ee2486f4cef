#include "cli/state_cache.h"

#include <cstdint>

namespace kez::cli {

namespace {

void Append(std::string& out, std::int64_t number) {
    for (int shift = 0; shift < 64; shift += 8) out += static_cast<char>(static_cast<std::uint64_t>(number) >> shift);
}

std::int64_t Take(const std::string& bytes, std::size_t& at) {
    std::uint64_t number = 0;
    for (int i = 0; i < 8; ++i)
        number |= static_cast<std::uint64_t>(static_cast<unsigned char>(bytes[at + i])) << (8 * i);
    at += 8;
    return static_cast<std::int64_t>(number);
}

// Nine numbers, then three texts that end in a zero. The type's number tells these facts from older ones, of fewer.
constexpr std::size_t kNumbers = 9;
constexpr std::int64_t kFirstType = 0x100;

std::string Packed(const partner::CachedFile& file) {
    std::string facts;
    Append(facts, file.stamp.modified);
    Append(facts, file.stamp.changed);
    Append(facts, static_cast<std::int64_t>(file.stamp.size));
    Append(facts, static_cast<std::int64_t>(file.stamp.inode));
    Append(facts, file.checked);
    Append(facts, kFirstType + static_cast<std::int64_t>(file.type));
    Append(facts, static_cast<std::int64_t>(file.problem));
    Append(facts, file.saysChanged);
    Append(facts, file.saysChangedIsNew);
    for (const std::string* text : {&file.revision, &file.uid, &file.problemText}) facts += *text + '\0';
    return facts;
}

std::optional<partner::CachedFile> Unpacked(const std::string& facts) {
    if (facts.size() < 8 * kNumbers) return std::nullopt;
    partner::CachedFile file;
    std::size_t at = 0;
    file.stamp.modified = Take(facts, at);
    file.stamp.changed = Take(facts, at);
    file.stamp.size = static_cast<std::uint64_t>(Take(facts, at));
    file.stamp.inode = static_cast<std::uint64_t>(Take(facts, at));
    file.checked = Take(facts, at);
    const std::int64_t type = Take(facts, at);
    if (type < kFirstType) return std::nullopt;
    file.type = static_cast<sync::ItemType>(type - kFirstType);
    file.problem = static_cast<sync::ProblemCode>(Take(facts, at));
    file.saysChanged = Take(facts, at);
    file.saysChangedIsNew = Take(facts, at) != 0;
    for (std::string* text : {&file.revision, &file.uid, &file.problemText}) {
        const std::size_t end = facts.find('\0', at);
        if (end == std::string::npos) return std::nullopt;
        text->assign(facts, at, end - at);
        at = end + 1;
    }
    return file;
}

}  // namespace

partner::CachedFiles StateCache::Load() {
    partner::CachedFiles files;
    m_state.ForEachCached([&](std::string name, const std::string& facts) {
        if (auto file = Unpacked(facts)) files.emplace_hint(files.end(), std::move(name), std::move(*file));
    });
    return files;
}

void StateCache::Save(const std::vector<std::pair<std::string, std::optional<partner::CachedFile>>>& changes) {
    std::vector<std::pair<std::string, std::string>> changed;
    std::vector<std::string> removed;
    for (const auto& [name, file] : changes) {
        if (file) {
            changed.emplace_back(name, Packed(*file));
        } else {
            removed.push_back(name);
        }
    }
    m_state.ReplaceCached(changed, removed);
}

}  // namespace kez::cli
