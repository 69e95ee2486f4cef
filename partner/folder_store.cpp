#include "partner/folder_store.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <unordered_map>
#include <utility>

#include "partner/content_lines.h"
#include "partner/record_fields.h"
#include "partner/said_change.h"

namespace kez::partner {

using sync::Item;
using sync::ItemType;
using sync::Listed;
using sync::Listing;
using sync::Problem;
using sync::ProblemCode;
using sync::ReadResult;
using sync::StoreError;
using sync::WriteResult;

namespace {

constexpr std::string_view kHiddenBegin = ".kez-";
constexpr std::string_view kHiddenEnd = ".tmp";
constexpr int kBatch = 100;
constexpr int kMaxNames = 1000;
constexpr std::size_t kMaxUnsaved = 2000;  // files read in one listing

// Two changes within this time may leave one stamp: the kernel's tick, or the two seconds of a simple file system,
// which shows itself by whole seconds.
std::int64_t Grain(const FileStamp& stamp) { return stamp.modified % 1'000'000'000 == 0 ? 2'000'000'000 : 20'000'000; }

bool HidesNothing(const CachedFile& file) {
    return std::max(file.stamp.modified, file.stamp.changed) + Grain(file.stamp) < file.checked;
}

bool EndsWithNoCase(std::string_view name, std::string_view extension) {
    return name.size() > extension.size() &&
           UpperCase(name.substr(name.size() - extension.size())) == UpperCase(extension);
}

// A UID that can be a file's name everywhere as it is.
bool IsPlainName(std::string_view text) {
    return !text.empty() && text.size() <= 120 && text[0] != '.' && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_' ||
               c == '.' || c == '@';
    });
}

// Errors that no other item would escape.
bool ConcernsTheFolder(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == ENOENT || error == ENOTDIR;
}

ItemType FirstType(const ItemFormat& format) {
    for (ItemType type : sync::kAllItemTypes)
        if (format.Holds(type)) return type;
    return ItemType::Contact;
}

std::shared_ptr<const Problem> Trouble(ProblemCode code, std::string text, std::string where) {
    return std::make_shared<const Problem>(Problem{code, std::move(text), std::move(where)});
}

bool IsNamedBy(const Listed& item, std::string_view extension) {
    const std::string_view name = item.id;
    return name.size() == item.hint.size() + extension.size() && name.starts_with(item.hint) &&
           name.ends_with(extension);
}

// Of several files with one UID the first is the item. Two files cannot both be named by it: only the UIDs of files
// that are not have to be looked for.
void RefuseSecondUses(std::vector<Listed>& items, std::string_view extension) {
    const auto hasUid = [](const Listed& item) { return !item.problem && !item.hint.empty(); };
    std::unordered_map<std::string_view, const Listed*> uses;  // to the first
    for (const Listed& item : items) {
        if (hasUid(item) && !IsNamedBy(item, extension)) uses.emplace(item.hint, nullptr);
    }
    if (uses.empty()) return;
    for (Listed& item : items) {
        if (!hasUid(item)) continue;
        const auto use = uses.find(item.hint);
        if (use == uses.end()) continue;
        if (!use->second) {
            use->second = &item;
        } else {
            item.problem = Trouble(ProblemCode::Duplicate, use->second->id + " has the same UID " + item.hint, item.id);
        }
    }
}

constexpr const char* kLinkText = "it is a symbolic link, which is not followed";

}  // namespace

std::string RevisionOf(std::string_view bytes) {
    std::uint64_t a = 0xCBF29CE484222325U, b = 0x9E3779B97F4A7C15U ^ bytes.size();
    for (char c : bytes) {
        auto byte = static_cast<std::uint8_t>(c);
        a = (a ^ byte) * 0x100000001B3U;
        b = (b + byte) * 0xD6E8FEB86659FD93U;
        b ^= b >> 29;
    }
    char text[40];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(a),
                  static_cast<unsigned long long>(b));
    return text;
}

FolderStore::FolderStore(const std::string& folder, std::vector<const ItemFormat*> formats, FileLayer& files,
                         FolderCache& cache, Durability durability)
    : m_folder(std::filesystem::absolute(folder).lexically_normal().string()),
      m_formats(std::move(formats)),
      m_files(files),
      m_cache(cache),
      m_durability(durability) {
    while (m_folder.size() > 1 && m_folder.back() == '/') m_folder.pop_back();
    try {
        FileEntry entry = m_files.Look(m_folder + "/.");  // the folder itself may be reached through a link
        if (entry.kind != FileKind::Folder) {
            bool isThere = m_files.Look(m_folder).kind != FileKind::None;
            throw StoreError(m_folder + (isThere ? " is no folder" : ": there is no such folder"));
        }
        m_folderInode = entry.stamp.inode;
        if (m_files.Look(PathOf(kMarkerName)).kind == FileKind::Regular)
            m_identity = Trimmed(m_files.Read(PathOf(kMarkerName)).bytes);
    } catch (const FileError& error) {
        throw StoreError(error.what());
    }
}

FolderStore::~FolderStore() = default;

void FolderStore::Mark() {
    if (!m_identity.empty()) return;
    std::string hidden;
    try {
        std::string identity = m_files.RandomName();
        hidden = WriteHidden(identity + "\n", 0);
        SyncHidden(hidden);
        m_files.RenameNew(hidden, PathOf(kMarkerName));
        hidden.clear();
        m_files.SyncFolder(m_folder);
        m_identity = identity;
    } catch (const FileError& error) {
        RemoveHidden(hidden);
        throw StoreError(error.what());
    }
}

const ItemFormat* FolderStore::FormatOf(std::string_view name) const {
    if (name.empty() || name[0] == '.') return nullptr;
    for (const ItemFormat* format : m_formats)
        if (EndsWithNoCase(name, format->Extension())) return format;
    return nullptr;
}

std::string_view FolderStore::ExtensionOf(ItemType type) const {
    for (const ItemFormat* format : m_formats)
        if (format->Holds(type)) return format->Extension();
    return {};
}

Problem FolderStore::CheckId(const std::string& id) const {
    if (!FormatOf(id) || id.find('/') != std::string::npos || id.find('\0') != std::string::npos)
        return {ProblemCode::Refused, "it is no name of an item's file in " + m_folder, id};
    return {};
}

void FolderStore::CheckFolder() const {
    FileEntry entry = m_files.Look(m_folder + "/.");
    if (entry.kind == FileKind::Folder && entry.stamp.inode == m_folderInode) return;
    throw StoreError(m_folder +
                     ": the folder is not the one that was opened; was it moved, or a file system unmounted?");
}

bool FolderStore::Holds(ItemType type) const {
    return std::any_of(m_formats.begin(), m_formats.end(),
                       [&](const ItemFormat* format) { return format->Holds(type); });
}

CachedFiles& FolderStore::Cache() {
    if (!m_loaded) {
        m_loaded = m_cache.Load();
        for (const auto& [name, file] : m_cacheChanges) {
            if (file) {
                m_loaded->insert_or_assign(name, *file);
            } else {
                m_loaded->erase(name);
            }
        }
    }
    return *m_loaded;
}

CachedFile FolderStore::Describe(const FileReading& reading, const FileContent& content) const {
    return {content.stamp, m_files.Now(),        reading.item.type,    RevisionOf(content.bytes),
            reading.uid,   reading.problem.code, reading.problem.text, SaidChange(content.bytes)};
}

void FolderStore::Forget(const std::string& id) {
    if (!m_loaded || m_loaded->erase(id)) m_cacheChanges.emplace_back(id, std::nullopt);
}

// Files that may hold one of these types, and the marker.
NameFilter FolderStore::NamesOf(std::set<ItemType> types) const {
    return [this, types = std::move(types)](std::string_view name) {
        if (name == kMarkerName) return true;
        const ItemFormat* format = FormatOf(name);
        return format && std::any_of(types.begin(), types.end(), [&](ItemType type) { return format->Holds(type); });
    };
}

void FolderStore::ExpectLists(const std::vector<ItemType>& types) {
    m_lookedFor.clear();
    m_looked.clear();
    m_look = {};
    try {
        CheckFolder();
    } catch (const std::runtime_error&) {
        return;  // another folder's files are none of this one's, should it be back when it is listed
    }
    const std::set<ItemType> wanted(types.begin(), types.end());
    m_look = m_files.ListAhead(m_folder, NamesOf(wanted));
    m_lookedFor = wanted;
}

// A look that was made ahead serves each type once; files that the types to come may need as well stay. One that
// failed, however it did, serves none: what it would give is no empty folder.
std::vector<FileEntry> FolderStore::Entries(ItemType type) {
    if (m_lookedFor.count(type) && m_look.valid()) {
        try {
            m_looked = m_look.get();
        } catch (...) {
            m_lookedFor.clear();
            throw;
        }
    }
    if (m_lookedFor.erase(type) == 0) return m_files.List(m_folder, NamesOf({type}));
    const NameFilter isOfType = NamesOf({type}), isForLater = NamesOf(m_lookedFor);
    std::vector<FileEntry> entries;
    entries.reserve(m_looked.size());
    for (FileEntry& entry : std::exchange(m_looked, {})) {
        const bool keep = isForLater(entry.name);
        if (isOfType(entry.name)) entries.push_back(keep ? entry : std::move(entry));
        if (keep) m_looked.push_back(std::move(entry));
    }
    return entries;
}

Listing FolderStore::List(ItemType type) {
    Listing listing;
    const NameFilter isOfType = NamesOf({type});
    std::vector<FileEntry> entries;
    try {
        CheckFolder();
        entries = Entries(type);
    } catch (const FileError& error) {
        throw StoreError(error.what());
    }
    bool isMarked =
        std::any_of(entries.begin(), entries.end(), [](const FileEntry& e) { return e.name == kMarkerName; });
    if (!m_identity.empty() && !isMarked) {
        listing.trusted = false;
        listing.findings.push_back(
            {ProblemCode::Unreadable,
             "the marker file is gone: is this still the same folder, or a file system not mounted?", kMarkerName});
    }

    // What is there and what is remembered are walked side by side: both are in the order of names.
    auto& cache = Cache();
    auto known = cache.begin();
    std::vector<std::string> gone;
    const auto passTo = [&](const std::string* name) {
        for (; known != cache.end() && (!name || known->first < *name); ++known)
            if (isOfType(known->first)) gone.push_back(known->first);
    };
    listing.items.reserve(entries.size());
    for (auto& entry : entries) {
        const ItemFormat* format = FormatOf(entry.name);
        if (!format || entry.kind == FileKind::Folder || entry.kind == FileKind::Other) continue;
        if (entry.kind == FileKind::Link) {
            if (FirstType(*format) == type)
                listing.items.push_back(
                    {entry.name, "", {}, "", Trouble(ProblemCode::Unreadable, kLinkText, entry.name)});
            continue;
        }
        passTo(&entry.name);
        auto found = known != cache.end() && known->first == entry.name ? known++ : cache.end();
        if (found == cache.end() || found->second.stamp != entry.stamp || !HidesNothing(found->second)) {
            if (!format->Holds(type)) continue;  // read when its type is listed
            try {
                std::int64_t before = m_files.Now();
                FileContent content = m_files.Read(PathOf(entry.name));
                std::string revision = RevisionOf(content.bytes);
                CachedFile file;
                if (found != cache.end() && found->second.revision == revision) {
                    file = found->second;  // touched, and says what it said
                    file.stamp = content.stamp;
                } else {
                    file = Describe(format->Read(content.bytes, entry.name), content);
                    file.saysChangedIsNew = found == cache.end() || found->second.saysChanged != file.saysChanged;
                }
                file.checked = before;
                found = cache.insert_or_assign(known, entry.name, file);  // before the next one that is known
                m_cacheChanges.emplace_back(entry.name, std::move(file));
                if (m_cacheChanges.size() >= kMaxUnsaved) m_cache.Save(std::exchange(m_cacheChanges, {}));
            } catch (const FileError& error) {
                if (error.Error() == ENOENT) continue;
                if (FirstType(*format) == type)
                    listing.items.push_back(
                        {entry.name, "", {}, "", Trouble(ProblemCode::Failed, error.what(), entry.name)});
                continue;
            }
        }
        const CachedFile& file = found->second;
        if (file.type != type) continue;
        Listed item{std::move(entry.name), file.revision, {}, file.uid, {}};
        if (file.problem != ProblemCode::None) item.problem = Trouble(file.problem, file.problemText, item.id);
        listing.items.push_back(std::move(item));
    }
    passTo(nullptr);
    for (const auto& name : gone) Forget(name);
    RefuseSecondUses(listing.items, ExtensionOf(type));
    if (!m_cacheChanges.empty()) m_cache.Save(std::exchange(m_cacheChanges, {}));
    return listing;
}

ReadResult FolderStore::Read(ItemType type, const std::string& id) {
    ReadResult result;
    result.problem = CheckId(id);
    if (result.problem) return result;
    try {
        FileContent content = m_files.Read(PathOf(id));
        FileReading reading = FormatOf(id)->Read(content.bytes, id);
        result.problem = reading.problem;
        if (!result.problem && reading.item.type != type)
            result.problem = {ProblemCode::Refused,
                              "it is no " + std::string(type == ItemType::Contact ? "contact"
                                                        : type == ItemType::Task  ? "task"
                                                                                  : "appointment"),
                              id};
        result.item = std::move(reading.item);
        result.losses = std::move(reading.losses);
        result.revision = RevisionOf(content.bytes);
        result.raw = std::move(content.bytes);
    } catch (const FileError& error) {
        if (error.Error() == ENOENT)
            result.problem = {ProblemCode::Gone, "the file is not there any more", id};
        else if (error.Error() == ELOOP)
            result.problem = {ProblemCode::Unreadable, kLinkText, id};
        else
            result.problem = {ProblemCode::Failed, error.what(), id};
    }
    return result;
}

// --- Writing -------------------------------------------------------------------------------------------------

WriteResult FolderStore::Failure(ProblemCode code, std::string text, const std::string& id) const {
    WriteResult result;
    result.problem = {code, std::move(text), id};
    result.id = id;
    return result;
}

WriteResult FolderStore::Held(const std::string& id, std::string bytes) const {
    WriteResult result;
    result.id = id;
    result.revision = RevisionOf(bytes);
    result.held = FormatOf(id)->Read(bytes, id).item;
    return result;
}

// What was written has taken its place: remembered, so that no listing has to read it.
WriteResult FolderStore::Placed(const std::string& id, const std::string& bytes) {
    Settle();
    FileReading reading = FormatOf(id)->Read(bytes, id);
    FileContent content{bytes, {}, 0};
    try {
        content.stamp = m_files.Look(PathOf(id)).stamp;
    } catch (const FileError&) {
        // It is there all the same, and the next listing reads it.
    }
    CachedFile file = Describe(reading, content);
    WriteResult result;
    result.id = id;
    result.revision = file.revision;
    result.held = std::move(reading.item);
    if (m_loaded) m_loaded->insert_or_assign(m_loaded->end(), id, file);  // the last one, where several are made
    m_cacheChanges.emplace_back(id, std::move(file));
    return result;
}

void FolderStore::RemoveLeftovers() {
    if (std::exchange(m_cleaned, true)) return;
    for (const auto& entry : m_files.List(m_folder)) {
        std::string_view name = entry.name;
        if (!name.starts_with(kHiddenBegin) || !name.ends_with(kHiddenEnd) || entry.kind != FileKind::Regular) continue;
        std::int64_t process = 0;
        std::string_view number = name.substr(kHiddenBegin.size());
        auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), process);
        if (error != std::errc() || *end != '-') continue;
        if (process != m_files.ThisProcess() && m_files.ProcessLives(process)) continue;
        try {
            m_files.Remove(PathOf(entry.name));
        } catch (const FileError&) {
            continue;  // hidden and harmless
        }
    }
}

// The bytes in a hidden file; its path.
std::string FolderStore::WriteHidden(const std::string& bytes, std::uint32_t mode) {
    std::string path = PathOf(std::string(kHiddenBegin) + std::to_string(m_files.ThisProcess()) + "-" +
                              std::to_string(++m_written) + std::string(kHiddenEnd));
    try {
        RemoveLeftovers();
        m_files.Write(path, bytes, mode);
    } catch (const FileError& error) {
        if (error.Error() != EEXIST) RemoveHidden(path);
        if (ConcernsTheFolder(error.Error()))
            throw StoreError("nothing can be written to " + m_folder + " (" + error.what() + ")");
        throw;
    }
    return path;
}

// On the disk as far as the durability asks for it.
void FolderStore::SyncHidden(const std::string& hidden) {
    if (m_durability != Durability::None) m_files.Sync(hidden);
}

void FolderStore::RemoveHidden(const std::string& hidden) {
    try {
        if (!hidden.empty()) m_files.Remove(hidden);
    } catch (const FileError&) {
        // What is left is removed by the next run.
    }
}

void FolderStore::SyncFolderNow() {
    try {
        m_files.SyncFolder(m_folder);
        m_unsynced = 0;
    } catch (const FileError& error) {
        throw StoreError(error.what());
    }
}

// After something took or left its place.
void FolderStore::Settle() {
    if (m_durability == Durability::None) return;
    m_unsynced++;
    if (m_durability == Durability::Item || m_unsynced >= kBatch) SyncFolderNow();
}

std::string FolderStore::NameFor(const std::string& uid, std::string_view extension, int attempt) {
    std::string base = IsPlainName(uid) ? uid : m_files.RandomName();
    return base + (attempt ? "-" + std::to_string(attempt + 1) : "") + std::string(extension);
}

void FolderStore::ExpectNew(ItemType, std::size_t count) {
    m_expected = count;
    m_named = 0;
}

// A random name. Where several are expected, each begins within its own share of what the first 32 bits can be.
std::string FolderStore::NewUid() {
    std::string uid = m_files.RandomName();
    std::uint32_t begin = 0;
    if (m_named >= m_expected || uid.size() < 8 ||
        std::from_chars(uid.data(), uid.data() + 8, begin, 16).ptr != uid.data() + 8) {
        return uid;
    }
    char text[9];
    std::snprintf(text, sizeof text, "%08x", static_cast<unsigned>(((m_named++ << 32) + begin) / m_expected));
    return uid.replace(0, 8, text);
}

std::string FolderStore::TimeText() const {
    std::string text = MomentText(m_files.Now() / 1'000'000'000);
    text[10] = 'T';
    return text + "Z";
}

FolderStore::Draft FolderStore::MakeDraft(const Item& item, const std::string& hint) {
    Draft draft;
    auto format =
        std::find_if(m_formats.begin(), m_formats.end(), [&](const ItemFormat* f) { return f->Holds(item.type); });
    if (format == m_formats.end()) {
        draft.problem = {ProblemCode::Refused, "the folder has no files of that kind", ""};
        return draft;
    }
    draft.format = *format;
    draft.uid = hint.empty() ? NewUid() : hint;
    try {
        ItemFormat::Writing writing = draft.format->Make(item, draft.uid, TimeText());
        draft.problem = std::move(writing.problem);
        draft.bytes = std::move(writing.bytes);
        if (!draft.problem) draft.hidden = WriteHidden(draft.bytes, 0);
    } catch (const FileError& error) {
        draft.problem = {ProblemCode::Failed, error.what(), ""};
    }
    return draft;
}

void FolderStore::SyncDraft(Draft& draft) {
    try {
        if (!draft.hidden.empty()) SyncHidden(draft.hidden);
    } catch (const FileError& error) {
        draft.problem = {ProblemCode::Failed, error.what(), ""};
        RemoveHidden(std::exchange(draft.hidden, {}));
    }
}

WriteResult FolderStore::PlaceDraft(Draft& draft) {
    if (draft.problem) return Failure(draft.problem.code, draft.problem.text, "");
    try {
        for (int attempt = 0;; attempt++) {
            std::string name = NameFor(draft.uid, draft.format->Extension(), attempt);
            try {
                m_files.RenameNew(draft.hidden, PathOf(name));
            } catch (const FileError& error) {
                if (error.Error() != EEXIST || attempt >= kMaxNames) throw;
                // The same item, made by a run that did not live to tell: it is not made twice.
                if (m_files.Look(PathOf(name)).kind == FileKind::Regular) {
                    FileReading there = draft.format->Read(m_files.Read(PathOf(name)).bytes, name);
                    if (!there.problem && there.uid == draft.uid) {
                        m_files.Remove(draft.hidden);
                        return Failure(ProblemCode::Duplicate,
                                       "there is an item with the UID " + draft.uid + " already", name);
                    }
                }
                continue;
            }
            draft.hidden.clear();
            return Placed(name, draft.bytes);
        }
    } catch (const FileError& error) {
        RemoveHidden(draft.hidden);
        return Failure(ProblemCode::Failed, error.what(), "");
    }
}

WriteResult FolderStore::Create(const Item& item, const std::string& hint) {
    Draft draft = MakeDraft(item, hint);
    SyncDraft(draft);
    return PlaceDraft(draft);
}

std::vector<WriteResult> FolderStore::CreateAll(const std::vector<Item>& items) {
    std::vector<Draft> drafts;
    std::vector<WriteResult> results;
    drafts.reserve(items.size());
    results.reserve(items.size());
    try {
        for (const Item& item : items) {
            drafts.push_back(MakeDraft(item, {}));
            if (m_durability != Durability::None && !drafts.back().hidden.empty())
                m_files.StartSync(drafts.back().hidden);
        }
        for (Draft& draft : drafts) SyncDraft(draft);
        for (Draft& draft : drafts) results.push_back(PlaceDraft(draft));
    } catch (const StoreError&) {
        for (const Draft& draft : drafts) RemoveHidden(draft.hidden);
        throw;
    }
    return results;
}

WriteResult FolderStore::Update(const std::string& id, const Item& wanted, const std::string& expectedRevision) {
    if (Problem problem = CheckId(id)) return Failure(problem.code, problem.text, id);
    const ItemFormat* format = FormatOf(id);
    std::string hidden;
    try {
        FileContent content = m_files.Read(PathOf(id));
        if (!expectedRevision.empty() && RevisionOf(content.bytes) != expectedRevision)
            return Failure(ProblemCode::ChangedMeanwhile, "the file was changed meanwhile", id);
        FileReading reading = format->Read(content.bytes, id);
        // An item with nothing in it that a device holds can be given something.
        if (reading.problem && reading.problem.code != ProblemCode::NotRepresentable)
            return Failure(reading.problem.code, reading.problem.text, id);
        ItemFormat::Writing writing = format->Edit(content.bytes, wanted);
        if (writing.problem) return Failure(writing.problem.code, writing.problem.text, id);
        if (writing.bytes == content.bytes) return Held(id, content.bytes);

        hidden = WriteHidden(writing.bytes, content.mode);
        SyncHidden(hidden);
        FileEntry now = m_files.Look(PathOf(id));
        if (now.kind != FileKind::Regular || now.stamp != content.stamp) {
            m_files.Remove(hidden);
            return Failure(ProblemCode::ChangedMeanwhile, "the file was changed meanwhile", id);
        }
        m_files.Rename(hidden, PathOf(id));
        hidden.clear();
        return Placed(id, writing.bytes);
    } catch (const FileError& error) {
        RemoveHidden(hidden);
        if (error.Error() == ENOENT) return Failure(ProblemCode::Gone, "the file is not there any more", id);
        if (error.Error() == ELOOP) return Failure(ProblemCode::Unreadable, kLinkText, id);
        return Failure(ProblemCode::Failed, error.what(), id);
    }
}

Problem FolderStore::Delete(ItemType, const std::string& id, const std::string& expectedRevision) {
    if (Problem problem = CheckId(id)) return problem;
    try {
        if (!expectedRevision.empty() && RevisionOf(m_files.Read(PathOf(id)).bytes) != expectedRevision)
            return {ProblemCode::ChangedMeanwhile, "the file was changed meanwhile", id};
        m_files.Remove(PathOf(id));
        Forget(id);
    } catch (const FileError& error) {
        if (error.Error() != ENOENT) return {ProblemCode::Failed, error.what(), id};
        Forget(id);
        return {};
    }
    Settle();
    return {};
}

std::optional<std::int64_t> FolderStore::ChangedAt(const std::string& id) {
    const auto found = Cache().find(id);
    if (found == Cache().end()) return std::nullopt;
    const CachedFile& file = found->second;
    if (file.saysChanged != 0 && file.saysChangedIsNew) return file.saysChanged * 1'000'000'000;
    return file.stamp.modified;
}

void FolderStore::Flush() {
    if (m_unsynced > 0 && m_durability != Durability::None) SyncFolderNow();
    if (!m_cacheChanges.empty()) m_cache.Save(std::exchange(m_cacheChanges, {}));
    m_loaded.reset();  // whoever writes has listed as a rule: what is written then need not pile up here
}

}  // namespace kez::partner
