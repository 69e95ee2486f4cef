// The databases of "\pim.vol" that hold items: made at the first logon, read and written record by record.
#include "platform/pocketoutlook/item_store.h"

#include <algorithm>
#include <array>

namespace kez::pocketoutlook {
namespace {

// No task holds this property: records with equal keys follow one another by identifier, so the order is that of the
// oids.
constexpr CEPROPID kOidOrder = 0x10000013;

constexpr auto kFolders = std::to_array<FolderRow>({
    {olFolderContacts, olContactItem, u"Contacts Database", 24, PIMPR_FILEAS, CEDB_SORT_CASEINSENSITIVE},
    {olFolderCalendar, olAppointmentItem, u"Appointments Database", 25, PIMPR_START, 0},
    {olFolderTasks, olTaskItem, u"Tasks Database", 26, kOidOrder, 0},
});

constexpr const char16_t* kVolume = u"\\pim.vol";
// Kept for programs of older devices, which look for it; items carry their categories themselves.
constexpr const char16_t* kCategories = u"\\Categories Database";
constexpr DWORD kCategoriesType = u'G';
constexpr CEPROPID kCategoryName = 0x0001001F;

// Properties that programs named: one record each.
constexpr const char16_t* kNames = u"\\Named Properties";
constexpr CEPROPID kName = 0x0001001F;
constexpr CEPROPID kNamedId = 0x00020013;
constexpr CEPROPID kNameReplicates = 0x0003000B;
constexpr int kByName = 0;
constexpr int kByNamedId = 1;
constexpr CEPROPID kFirstNamed = 0x8000;  // property numbers from here on are named ones

propertydb::DatabaseDefinition NamesDefinition() {
    return {kNames, 0, {{{{kName}}, CEDB_SORT_UNIQUE}, {{{kNamedId}}, CEDB_SORT_UNIQUE}}, {}};
}

[[noreturn]] void Gone() { throw propertydb::VolumeError(ERROR_INVALID_PARAMETER, "the item is no longer there"); }

DWORD Kind(Detail detail) { return static_cast<DWORD>(detail); }

}  // namespace

const FolderRow* FindFolder(INT folder) {
    const auto row = std::ranges::find(kFolders, folder, [](const FolderRow& r) { return static_cast<INT>(r.folder); });
    return row == kFolders.end() ? nullptr : &*row;
}

const FolderRow* FindItemType(INT itemType) {
    const auto row = std::ranges::find(kFolders, itemType, [](const FolderRow& r) { return static_cast<INT>(r.type); });
    return row == kFolders.end() ? nullptr : &*row;
}

const FolderRow& RowOf(OlItemType type) { return *FindItemType(type); }

std::shared_ptr<ItemStore> ItemStore::Open() {
    auto volume = propertydb::Volume::OpenOrCreate(kVolume);
    return std::make_shared<ItemStore>(std::move(volume));
}

ItemStore::ItemStore(std::shared_ptr<propertydb::Volume> volume)
    : m_volume(std::move(volume)), m_lists(kFolders.size()) {
    for (const FolderRow& row : kFolders) m_databases.push_back(m_volume->FindDatabase(row.database));
    if (std::ranges::count(m_databases, 0u) == 0) return;

    propertydb::Transaction transaction(m_volume);
    for (std::size_t i = 0; i < kFolders.size(); i++) {
        const FolderRow& row = kFolders[i];
        m_databases[i] =
            m_volume->EnsureDatabase({row.database, row.databaseType, {{{{row.order, row.orderFlags}}, 0}}, {}});
        m_volume->EnableJournal(m_databases[i]);
    }
    m_volume->EnsureDatabase({kCategories, kCategoriesType, {{{{kCategoryName}}, 0}}, {}});
    transaction.Commit();
}

std::size_t ItemStore::Position(OlItemType type) const {
    return static_cast<std::size_t>(&RowOf(type) - kFolders.data());
}

const FolderRow* ItemStore::FolderOf(CEOID oid) const {
    const auto found = std::ranges::find(m_databases, oid);
    return found == m_databases.end() ? nullptr : &kFolders[static_cast<std::size_t>(found - m_databases.begin())];
}

std::uint64_t ItemStore::ChangeCounter(OlItemType type) const { return m_volume->State(Database(type)).changes; }

ItemStore::OidList ItemStore::Oids(OlItemType type) const {
    const std::lock_guard lock(m_mutex);
    OidList& kept = m_lists[Position(type)];
    // The counter first: a change that slips in between makes the list look older than it is, and it is read again.
    const std::uint64_t counter = ChangeCounter(type);
    if (!kept.oids || kept.counter != counter) kept = {m_volume->OrderedOids(Database(type)), counter};
    return kept;
}

void ItemStore::ForgetOid(OlItemType type, CEOID oid, std::uint64_t counterBefore) const {
    const std::lock_guard lock(m_mutex);
    OidList& kept = m_lists[Position(type)];
    // One more than before: nobody else has changed anything meanwhile.
    const std::uint64_t counter = ChangeCounter(type);
    if (!kept.oids || kept.counter != counterBefore || counter != counterBefore + 1) return;
    auto left = std::make_shared<std::vector<CEOID>>();
    left->reserve(kept.oids->size());
    std::ranges::remove_copy(*kept.oids, std::back_inserter(*left), oid);
    kept = {std::move(left), counter};
}

std::size_t ItemStore::Count(OlItemType type) const { return m_volume->State(Database(type)).records; }

std::optional<OlItemType> ItemStore::TypeOf(CEOID oid) const {
    const FolderRow* folder = FolderOf(m_volume->DatabaseOf(oid));
    return folder ? std::optional(folder->type) : std::nullopt;
}

std::optional<PropertyBag> ItemStore::Read(OlItemType type, CEOID oid) const {
    auto set = m_volume->Read(Database(type), oid);
    if (!set) return std::nullopt;
    return PropertyBag(std::move(*set));
}

void ItemStore::Walk(OlItemType type, const std::function<bool(CEOID, const PropertyBag&)>& take) const {
    m_volume->Walk(Database(type), 0,
                   [&](CEOID oid, const propertydb::PropertySet& set) { return take(oid, PropertyBag(set)); });
}

propertydb::Bytes ItemStore::ReadStream(OlItemType type, CEOID oid, CEPROPID id) const {
    auto attachment = m_volume->ReadAttachment(Database(type), oid, Kind(Detail::Streams), id);
    return attachment ? std::move(attachment->data) : propertydb::Bytes();
}

bool ItemStore::HasStream(OlItemType type, CEOID oid, CEPROPID id) const {
    return m_volume->AttachmentSize(Database(type), oid, Kind(Detail::Streams), id).value_or(0) != 0;
}

std::vector<DetailRow> ItemStore::Details(Detail kind, OlItemType type, CEOID owner) const {
    std::vector<DetailRow> rows;
    for (auto& attachment : m_volume->Attachments(Database(type), owner, Kind(kind))) {
        rows.push_back({attachment.key, PropertyBag(std::move(attachment.properties))});
    }
    return rows;
}

std::optional<PropertyBag> ItemStore::ReadDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key) const {
    auto attachment = m_volume->ReadAttachment(Database(type), owner, Kind(kind), key);
    if (!attachment) return std::nullopt;
    return PropertyBag(std::move(attachment->properties));
}

CEPROPID ItemStore::FindName(const std::u16string& name) {
    const CEOID names = m_volume->FindDatabase(kNames);
    if (names == 0) return PIMPR_INVALID_ID;
    const CEOID record = m_volume->FindEqual(names, kByName, {{kName, name}});
    if (record == 0) return PIMPR_INVALID_ID;
    const auto set = m_volume->Read(names, record);
    return set ? static_cast<CEPROPID>(set->Number(kNamedId)) : PIMPR_INVALID_ID;
}

CEPROPID ItemStore::MakeName(const std::u16string& name, WORD type, bool replicates) {
    propertydb::Transaction transaction(m_volume);
    if (const CEPROPID known = FindName(name); known != PIMPR_INVALID_ID) return known;
    const CEOID names = m_volume->EnsureDatabase(NamesDefinition());
    const CEPROPID id = static_cast<CEPROPID>((kFirstNamed + m_volume->State(names).records) << 16) | type;
    m_volume->Insert(names, {{kName, name}, {kNamedId, std::int64_t{id}}, {kNameReplicates, std::int64_t{replicates}}});
    transaction.Commit();
    return id;
}

std::optional<NamedProperty> ItemStore::FindNamed(CEPROPID id) {
    if ((id >> 16) < kFirstNamed) return std::nullopt;
    const CEOID names = m_volume->FindDatabase(kNames);
    if (names == 0) return std::nullopt;
    const CEOID record = m_volume->FindEqual(names, kByNamedId, {{kNamedId, std::int64_t{id}}});
    if (record == 0) return std::nullopt;
    const auto set = m_volume->Read(names, record);
    if (!set) return std::nullopt;
    return NamedProperty{id, set->Number(kNameReplicates) != 0};
}

// --- Writing --------------------------------------------------------------------------------------------------

CEOID ItemStore::Transaction::Insert(OlItemType type, const PropertyBag& values) {
    m_onlyRemoval = false;
    return m_store.m_volume->Insert(m_store.Database(type), values.Set());
}

void ItemStore::Transaction::Update(OlItemType type, CEOID oid, const propertydb::PropertySet& changes) {
    if (changes.Empty()) return;
    m_onlyRemoval = false;
    if (!m_store.m_volume->Update(m_store.Database(type), oid, changes)) Gone();
}

void ItemStore::Transaction::Remove(OlItemType type, CEOID oid) {
    if (m_removal) m_onlyRemoval = false;
    m_removal = Removal{type, oid, m_store.ChangeCounter(type)};
    if (!m_store.m_volume->Delete(m_store.Database(type), oid)) Gone();
}

void ItemStore::Transaction::WriteStream(OlItemType type, CEOID oid, CEPROPID id, const propertydb::Bytes& bytes) {
    m_onlyRemoval = false;
    const CEOID database = m_store.Database(type);
    if (bytes.empty()) {
        m_store.m_volume->RemoveAttachment(database, oid, Kind(Detail::Streams), id);
    } else if (!m_store.m_volume->PutAttachment(database, oid, Kind(Detail::Streams), {id, {}, bytes})) {
        Gone();
    }
}

void ItemStore::Transaction::PutDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key,
                                       const PropertyBag& values) {
    m_onlyRemoval = false;
    if (!m_store.m_volume->PutAttachment(m_store.Database(type), owner, Kind(kind), {key, values.Set(), {}})) Gone();
}

void ItemStore::Transaction::RemoveDetail(Detail kind, OlItemType type, CEOID owner, std::int64_t key) {
    m_onlyRemoval = false;
    m_store.m_volume->RemoveAttachment(m_store.Database(type), owner, Kind(kind), key);
}

void ItemStore::Transaction::RemoveDetails(Detail kind, OlItemType type, CEOID owner) {
    m_onlyRemoval = false;
    m_store.m_volume->RemoveAttachments(m_store.Database(type), owner, Kind(kind));
}

void ItemStore::Transaction::Commit() {
    m_transaction.Commit();
    if (m_removal && m_onlyRemoval) m_store.ForgetOid(m_removal->type, m_removal->oid, m_removal->counter);
}

}  // namespace kez::pocketoutlook
