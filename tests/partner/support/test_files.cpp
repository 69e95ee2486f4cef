#include "test_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kez::tests {

using partner::FileContent;
using partner::FileEntry;
using partner::FileError;
using partner::FileKind;

std::map<std::string, std::string> DiskFiles::Visible() const {
    std::map<std::string, std::string> all;
    for (const auto& [name, file] : m_live) all[name] = file->bytes;
    return all;
}

void DiskFiles::PowerCut() {
    m_live.clear();
    for (const auto& [name, file] : m_durable) {
        file->bytes = file->synced;
        m_live[name] = file;
    }
}

std::map<std::string, DiskFiles::Found> DiskFiles::AfterCut(const std::function<bool()>& survives) const {
    Names names = m_durable;
    for (const auto& [name, file] : m_durable) {
        const auto live = m_live.find(name);
        if ((live == m_live.end() || live->second != file) && survives()) names.erase(name);
    }
    for (const auto& [name, file] : m_live) {
        const auto durable = m_durable.find(name);
        const bool changed = durable == m_durable.end() || durable->second != file;
        if (changed && (durable == m_durable.end() ? survives() : !names.contains(name))) names[name] = file;
    }
    std::map<std::string, Found> found;
    for (const auto& [name, file] : names) found[name] = {file->synced, file->stamp, file->mode};
    return found;
}

void DiskFiles::PutBack(const std::map<std::string, Found>& found) {
    m_live.clear();
    for (const auto& [name, kept] : found) {
        auto file = std::make_shared<File>();
        file->bytes = file->synced = kept.bytes;
        file->stamp = kept.stamp;
        file->mode = kept.mode;
        m_live[name] = file;
        m_clock = std::max({m_clock, kept.stamp.modified, kept.stamp.changed});
        m_inodes = std::max(m_inodes, kept.stamp.inode);
    }
    m_durable = m_live;
    Tick();
}

void DiskFiles::Put(const std::string& name, const std::string& bytes) {
    Tick();
    auto file = std::make_shared<File>();
    file->bytes = file->synced = bytes;
    file->stamp = {m_clock, m_clock, bytes.size(), ++m_inodes};
    m_live[name] = m_durable[name] = file;
    Tick();
}

void DiskFiles::Fail(int error, const std::string& call) const {
    throw FileError(error, call + ": " + std::strerror(error));
}

void DiskFiles::Count(const std::string& call, const std::string& path) {
    std::string text = call + " " + (path.size() > m_folder.size() ? NameOf(path) : ".");
    calls.push_back(text);
    if (before) before(text);
    if (failAt && static_cast<int>(calls.size()) == failAt) Fail(failWith, text);
}

std::shared_ptr<DiskFiles::File> DiskFiles::Find(const std::string& path, const std::string& call) {
    auto found = m_live.find(NameOf(path));
    if (found == m_live.end()) Fail(ENOENT, call + " " + NameOf(path));
    if (found->second->kind == FileKind::Link) Fail(ELOOP, call + " " + NameOf(path));
    return found->second;
}

std::vector<FileEntry> DiskFiles::List(const std::string& folder, const partner::NameFilter& wanted) {
    Count("list", folder);
    std::vector<FileEntry> entries;
    for (const auto& [name, file] : m_live) {
        if (!wanted || wanted(name)) entries.push_back({name, file->kind, file->stamp});
    }
    return entries;
}

FileEntry DiskFiles::Look(const std::string& path) {
    Count("look", path);
    if (path == m_folder + "/.") return {".", FileKind::Folder, {0, 0, 0, 1}};
    auto found = m_live.find(NameOf(path));
    if (found == m_live.end()) return {NameOf(path), FileKind::None, {}};
    return {NameOf(path), found->second->kind, found->second->stamp};
}

FileContent DiskFiles::Read(const std::string& path) {
    Count("read", path);
    auto file = Find(path, "read");
    return {file->bytes, file->stamp, file->mode};
}

void DiskFiles::Write(const std::string& path, const std::string& bytes, std::uint32_t mode) {
    Tick();
    // A file that cannot be written whole is there with a part of it.
    bool fails = failAt == static_cast<int>(calls.size()) + 1;
    auto file = std::make_shared<File>();
    file->bytes = fails ? bytes.substr(0, bytes.size() / 2) : bytes;
    file->mode = mode ? mode : 0644;
    file->stamp = {m_clock, m_clock, bytes.size(), ++m_inodes};
    if (m_live.count(NameOf(path))) Fail(EEXIST, "write");
    m_live[NameOf(path)] = file;
    Count("write", path);
}

void DiskFiles::Sync(const std::string& path) {
    Count("sync", path);
    auto file = Find(path, "sync");
    file->synced = file->bytes;
}

void DiskFiles::SyncFolder(const std::string& folder) {
    Count("sync", folder);
    m_durable = m_live;
}

void DiskFiles::Rename(const std::string& from, const std::string& to) {
    Count("rename", to);
    auto file = Find(from, "rename");
    file->stamp.changed = m_clock;
    m_live.erase(NameOf(from));
    m_live[NameOf(to)] = file;
}

void DiskFiles::RenameNew(const std::string& from, const std::string& to) {
    if (m_live.count(NameOf(to))) Fail(EEXIST, "make");
    Rename(from, to);
}

void DiskFiles::Remove(const std::string& path) {
    Count("remove", path);
    Find(path, "remove");
    m_live.erase(NameOf(path));
}

}  // namespace kez::tests
