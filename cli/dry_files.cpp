#include "cli/dry_files.h"

#include <algorithm>
#include <cerrno>

namespace kez::cli {

using partner::FileContent;
using partner::FileEntry;
using partner::FileError;
using partner::FileKind;

FileEntry DryFiles::EntryOf(const std::string& path, const FileContent& content) const {
    return {path.substr(path.rfind('/') + 1), FileKind::Regular, content.stamp};
}

std::vector<FileEntry> DryFiles::List(const std::string& folder, const partner::NameFilter& wanted) {
    std::vector<FileEntry> entries;
    if (m_real.Look(folder).kind != FileKind::None || folder != m_folder) entries = m_real.List(folder, wanted);
    std::erase_if(entries, [&](const FileEntry& entry) { return m_changes.count(folder + "/" + entry.name) != 0; });
    for (const auto& [path, content] : m_changes) {
        const std::size_t end = path.rfind('/');
        if (!content || path.substr(0, end) != folder || (wanted && !wanted(path.substr(end + 1)))) continue;
        entries.push_back(EntryOf(path, *content));
    }
    std::ranges::sort(entries, {}, &FileEntry::name);
    return entries;
}

FileEntry DryFiles::Look(const std::string& path) {
    if (const auto change = m_changes.find(path); change != m_changes.end()) {
        return change->second ? EntryOf(path, *change->second) : FileEntry{};
    }
    FileEntry entry = m_real.Look(path);
    if (entry.kind == FileKind::None && (path == m_folder || path == m_folder + "/.")) entry.kind = FileKind::Folder;
    return entry;
}

FileContent DryFiles::Read(const std::string& path) {
    const auto change = m_changes.find(path);
    if (change == m_changes.end()) return m_real.Read(path);
    if (!change->second) throw FileError(ENOENT, "read " + path);
    return *change->second;
}

void DryFiles::Write(const std::string& path, const std::string& bytes, std::uint32_t mode) {
    if (Look(path).kind != FileKind::None) throw FileError(EEXIST, "write " + path);
    FileContent content{bytes, {}, mode};
    content.stamp.modified = content.stamp.changed = Now();
    content.stamp.size = bytes.size();
    content.stamp.inode = m_nextInode++;
    m_changes[path] = std::move(content);
}

void DryFiles::Rename(const std::string& from, const std::string& to) {
    m_changes[to] = Read(from);
    m_changes[from] = std::nullopt;
}

void DryFiles::RenameNew(const std::string& from, const std::string& to) {
    if (Look(to).kind != FileKind::None) throw FileError(EEXIST, "rename to " + to);
    Rename(from, to);
}

void DryFiles::Remove(const std::string& path) {
    if (Look(path).kind == FileKind::None) throw FileError(ENOENT, "remove " + path);
    m_changes[path] = std::nullopt;
}

}  // namespace kez::cli
