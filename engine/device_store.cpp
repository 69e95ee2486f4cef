#include "engine/device_store.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "engine/occurrences.h"
#include "sync/merge.h"
#include "sync/state.h"

namespace kez::engine {
namespace {

using sync::Item;
using sync::ItemType;
using sync::Problem;
using sync::ProblemCode;

constexpr char kOccurrences[] = "ModifiedOccurrences";
constexpr char kOccurrenceDates[] = "ModifiedOccurrenceDates";

CEOID OidOf(const std::string& id) {
    CEOID oid = 0;
    std::from_chars(id.data(), id.data() + id.size(), oid);
    return oid;
}

std::string Where(CEOID oid) { return "oid " + std::to_string(oid); }

Problem ChangedMeanwhile(CEOID oid) {
    return {ProblemCode::ChangedMeanwhile, "was changed on the device meanwhile; the next synchronisation looks again",
            Where(oid)};
}

std::size_t CountOccurrences(const std::string& text) {
    std::size_t separators = 0;
    for (std::size_t at = text.find(kFieldSeparator); at != std::string::npos;
         at = text.find(kFieldSeparator, at + sizeof kFieldSeparator - 1)) {
        ++separators;
    }
    return separators / kOccurrenceFields;
}

const WCHAR* DatabaseName(ItemType type) {
    switch (type) {
        case ItemType::Contact:
            return TEXT("Contacts Database");
        case ItemType::Task:
            return TEXT("Tasks Database");
        case ItemType::Appointment:
            return TEXT("Appointments Database");
    }
    return TEXT("");
}

std::string FieldOf(const Item& item, const std::string& name) {
    const auto field = item.fields.find(name);
    return field == item.fields.end() ? std::string() : field->second;
}

// Of what the device goes on holding when it was read.
std::string RevisionOf(const Item& item) {
    sync::Fields fields = item.fields;
    fields.erase(kOccurrences);
    return sync::Digest(sync::Packed(fields));
}

// Whether the device holds something that was not sent, or not what was.
bool CameBackOtherwise(const Item& back, const Item& wanted, const Item* held, const Item& expected) {
    const auto otherwise = [&](const auto& field) {
        const auto& [name, value] = field;
        const bool sent = !held || FieldOf(*held, name) != FieldOf(wanted, name);
        const std::string now = FieldOf(back, name);
        return now != FieldOf(expected, name) && (sent || now != value);
    };
    return std::any_of(expected.fields.begin(), expected.fields.end(), otherwise) ||
           (held && std::any_of(held->fields.begin(), held->fields.end(), otherwise)) ||
           std::any_of(back.fields.begin(), back.fields.end(), [&](const auto& field) {
               return !wanted.fields.count(field.first) && !expected.fields.count(field.first) &&
                      !(held && held->fields.count(field.first));
           });
}

// A provider that cannot read a task's due date while it saves takes it to be before the start, and mends that by
// moving it there.
bool DueDateMoved(const Item& back, const Item& wanted, const Item& held) {
    if (wanted.type != ItemType::Task) return false;
    const std::string due = FieldOf(wanted, "DueDate");
    return due == FieldOf(held, "DueDate") && FieldOf(back, "DueDate") != due &&
           FieldOf(back, "DueDate") == FieldOf(back, "StartDate") && due > FieldOf(wanted, "StartDate");
}

}  // namespace

DeviceStore::DeviceStore(Connection& connection, const sync::PacketCodec& codec, sync::Keepsakes& keepsakes,
                         std::string name, std::string identity)
    : m_connection(connection),
      m_codec(codec),
      m_keepsakes(keepsakes),
      m_name(std::move(name)),
      m_identity(std::move(identity)) {
    WCHAR path[] = TEXT("\\pim.vol");
    if (!CeMountDBVolEx(&m_volume, path, nullptr, OPEN_EXISTING)) {
        throw sync::StoreError(m_name + ": its volume of personal information cannot be opened (error " +
                               std::to_string(GetLastError()) + ")");
    }
}

DeviceStore::~DeviceStore() { CeUnmountDBVol(&m_volume); }

// Only a volume that says so has no such record: one that could not answer may well have it.
DeviceStore::Presence DeviceStore::LookFor(CEOID oid) const {
    CEOIDINFOEX info{};
    info.wVersion = 2;
    CEGUID volume = m_volume;
    if (oid == 0) return Presence::Missing;
    if (CeOidGetInfoEx2(&volume, oid, &info)) {
        return info.wObjType == OBJTYPE_RECORD ? Presence::There : Presence::Missing;
    }
    return GetLastError() == ERROR_INVALID_HANDLE ? Presence::Missing : Presence::Unknown;
}

Problem DeviceStore::NotRead(CEOID oid) const {
    if (LookFor(oid) == Presence::Missing) return {ProblemCode::Gone, "is not on the device any more", Where(oid)};
    return {ProblemCode::Failed, "the device could not read it", Where(oid)};
}

bool DeviceStore::CountRecords(ItemType type, DWORD& count) const {
    CEGUID volume = m_volume;
    CEOID oid = 0;
    std::u16string name = DatabaseName(type);
    const HANDLE database = CeOpenDatabaseInSession(nullptr, &volume, &oid, name.data(), nullptr, 0, nullptr);
    if (database == INVALID_HANDLE_VALUE) return false;
    CEOIDINFOEX info{};
    info.wVersion = 2;
    const BOOL known = CeOidGetInfoEx2(&volume, oid, &info);
    CloseHandle(database);
    if (!known) return false;
    count = info.infDatabase.dwNumRecords;
    return true;
}

// --- Listing and reading ----------------------------------------------------------------------------------

sync::Listing DeviceStore::List(ItemType type) {
    UINT counted = 0;
    const bool answered = m_connection.CountItems(type, counted);
    const ObjectList list = m_connection.List(type);

    sync::Listing listing;
    listing.items.reserve(list.unchanged.size() + list.changed.size());
    for (const CEOID oid : list.unchanged) listing.items.push_back({std::to_string(oid), {}, false, {}, {}});
    for (const CEOID oid : list.changed) listing.items.push_back({std::to_string(oid), {}, true, {}, {}});
    // No list at all is what an empty type answers, and also a provider that could not open its database. It is
    // believed only where the provider counts nothing and the database itself says that it holds no record.
    DWORD records = 0;
    if (list.untouched) listing.trusted = answered && counted == 0 && CountRecords(type, records) && records == 0;
    if (list.incomplete) listing.trusted = false;
    // An item that the provider could not look at is missing from its list without a word.
    if (!list.untouched && answered && listing.items.size() < counted) {
        listing.trusted = false;
        listing.findings.push_back(
            {ProblemCode::Failed,
             "counted " + std::to_string(counted) + " items and listed only " + std::to_string(listing.items.size()),
             m_name});
    }
    for (std::string& finding : m_connection.TakeFindings()) {
        listing.findings.push_back({ProblemCode::Failed, std::move(finding), m_name});
    }
    return listing;
}

sync::ReadResult DeviceStore::Read(ItemType type, const std::string& id) {
    sync::ReadResult result;
    result.item.type = type;
    const CEOID oid = OidOf(id);

    // What reading will take away is kept first.
    sync::Fields occurrences;  // by date
    std::size_t present = 0;
    if (type == ItemType::Appointment) {
        if (const auto kept = sync::Unpacked(m_keepsakes.Kept(type, id))) occurrences = *kept;
        const auto now = ModifiedOccurrences(oid);
        if (!now) {
            result.problem = NotRead(oid);
            return result;
        }
        present = now->size();
        for (const auto& [date, text] : *now) occurrences[date] = text;
        if (present != 0) m_keepsakes.Keep(type, id, sync::Packed(occurrences));
    }

    const HRESULT transfer = m_connection.Upload(type, oid, result.raw);
    if (FAILED(transfer) || result.raw.empty()) {
        result.problem = NotRead(oid);
        return result;
    }
    try {
        result.item = m_codec.Decode(type, result.raw);
    } catch (const sync::PacketError& error) {
        result.problem = {ProblemCode::Unreadable, error.what(), Where(oid)};
        return result;
    }
    result.revision = RevisionOf(result.item);
    if (type != ItemType::Appointment) return result;

    const std::string sent = FieldOf(result.item, kOccurrences);
    if (occurrences.empty() && sent.empty()) return result;
    result.remaining = result.item;
    result.remaining->fields.erase(kOccurrences);
    if (CountOccurrences(sent) <= present) {
        std::string dates;
        std::string texts;
        for (const auto& [date, text] : occurrences) {
            dates += (dates.empty() ? "" : "\t") + date;
            texts += text;
        }
        result.item.fields[kOccurrences] = m_codec.Occurrences(texts);
        result.item.fields[kOccurrenceDates] = dates;
    }
    return result;
}

// --- Writing ----------------------------------------------------------------------------------------------

// Of a field that is a list, such as the deleted dates of a series, a device may take over what is new in it and keep
// what should have gone: then it has both, and this says why.
std::vector<std::string> DeviceStore::KeptBesideWanted(const std::string& name, const Item& wanted, const Item& held,
                                                       const Item& back) const {
    if (!held.fields.count(name)) return {};
    std::vector<std::string> losses = m_codec.CannotClear({wanted.type, {{name, FieldOf(wanted, name)}}},
                                                          {wanted.type, {{name, FieldOf(held, name)}}});
    if (losses.empty()) return losses;
    Item both = wanted;
    both.fields[name] += "\t" + FieldOf(held, name);
    if (FieldOf(m_codec.AsHeldByDevice(both), name) != FieldOf(back, name)) losses.clear();
    return losses;
}

sync::WriteResult DeviceStore::WriteAndCheck(ItemType type, CEOID oid, const Item& wanted, const Item* held) {
    sync::WriteResult result;
    if (const std::string reason = m_codec.WhyNotHeld(wanted); !reason.empty()) {
        result.problem = {ProblemCode::NotRepresentable, reason, {}};
        return result;
    }
    std::string packet;
    try {
        packet = m_codec.Encode(wanted, held);
    } catch (const sync::PacketError& error) {
        result.problem = {ProblemCode::NotRepresentable, error.what(), {}};
        return result;
    }
    CEOID written = 0;
    const HRESULT transfer = m_connection.Download(type, oid, packet, written);
    if (FAILED(transfer) || written == 0) {
        result.problem = {ProblemCode::Failed, "the device did not write it", oid ? Where(oid) : std::string()};
        return result;
    }
    result.id = std::to_string(written);

    sync::ReadResult back = Read(type, result.id);
    if (back.problem) {
        result.problem = {ProblemCode::Failed, "the device wrote it, but does not give it back: " + back.problem.text,
                          Where(written)};
        return result;
    }
    const Item expected = m_codec.AsHeldByDevice(wanted);
    // A reading can leave something out and say nothing of it: what nobody asked for is believed where a second one
    // says the same.
    if (CameBackOtherwise(back.item, wanted, held, expected)) {
        sync::ReadResult again = Read(type, result.id);
        if (!again.problem && again.item.fields != back.item.fields) again = Read(type, result.id);
        if (!again.problem) back = std::move(again);
    }
    if (held && DueDateMoved(back.item, wanted, *held)) {
        packet = m_codec.Encode(wanted, &back.item);
        if (FAILED(m_connection.Download(type, written, packet, written)) || written == 0) {
            result.problem = {ProblemCode::Failed, "the device moved the due date and did not take it back",
                              Where(OidOf(result.id))};
            return result;
        }
        sync::ReadResult again = Read(type, result.id);
        if (!again.problem) back = std::move(again);
    }
    std::string refused;
    for (const auto& [name, value] : expected.fields) {
        const bool sent = !held || FieldOf(*held, name) != FieldOf(wanted, name);
        if (!sent || FieldOf(back.item, name) == value) continue;
        std::vector<std::string> losses =
            held ? KeptBesideWanted(name, wanted, *held, back.item) : std::vector<std::string>();
        if (losses.empty()) refused += (refused.empty() ? "" : ", ") + name;
        result.losses.insert(result.losses.end(), losses.begin(), losses.end());
    }
    if (held) {
        for (const auto& [name, value] : held->fields) {
            if (wanted.fields.count(name) || expected.fields.count(name) || FieldOf(back.item, name) != value) continue;
            std::vector<std::string> losses = m_codec.CannotClear(wanted, {wanted.type, {{name, value}}});
            if (losses.empty()) {
                refused += (refused.empty() ? "" : ", ") + name;
            } else {
                // It would be refused each time; said once, it is how the device holds the item.
                result.losses.insert(result.losses.end(), losses.begin(), losses.end());
            }
        }
    }
    if (!refused.empty()) {
        result.problem = {ProblemCode::Failed, "the device did not take over " + refused, Where(written)};
    }
    result.revision = std::move(back.revision);
    result.held = std::move(back.item);
    result.remaining = std::move(back.remaining);
    return result;
}

sync::WriteResult DeviceStore::Create(const Item& item, const std::string&) {
    return WriteAndCheck(item.type, 0, item, nullptr);
}

sync::WriteResult DeviceStore::Update(const std::string& id, const Item& wanted, const std::string& expectedRevision) {
    const CEOID oid = OidOf(id);
    // A write to an identifier that has no record would make a new item without saying so.
    sync::ReadResult now = Read(wanted.type, id);
    if (now.problem) return {now.problem, id, {}, {}, {}};
    if (!expectedRevision.empty() && now.revision != expectedRevision) return {ChangedMeanwhile(oid), id, {}, {}, {}};
    const Item& held = now.remaining ? *now.remaining : now.item;
    sync::WriteResult result = WriteAndCheck(wanted.type, oid, wanted, &held);
    if (!result.problem && result.id != id) {
        result.problem = {ProblemCode::Failed, "the device wrote it as another item, " + Where(OidOf(result.id)),
                          Where(oid)};
    }
    return result;
}

Problem DeviceStore::Delete(ItemType type, const std::string& id, const std::string& expectedRevision) {
    const CEOID oid = OidOf(id);
    if (LookFor(oid) == Presence::Missing) return {};
    if (!expectedRevision.empty() && Read(type, id).revision != expectedRevision) return ChangedMeanwhile(oid);
    m_connection.Delete(type, oid);
    // A failed deletion answers success: only the record itself tells.
    if (LookFor(oid) == Presence::Missing) return {};
    m_connection.Status(type, RSC_DELETE_OBJ_FAILED, static_cast<UINT>(E_FAIL));
    return {ProblemCode::Failed, "the device did not delete it", Where(oid)};
}

void DeviceStore::Flush() {
    if (!CeFlushDBVol(nullptr)) {
        throw sync::StoreError(m_name + ": what was written could not be made durable (error " +
                               std::to_string(GetLastError()) + ")");
    }
}

// --- Milestones -------------------------------------------------------------------------------------------

void DeviceStore::BeginPass(ItemType type) { m_connection.Status(type, RSC_BEGIN_SYNC_OBJ, 0); }
void DeviceStore::EndPass(ItemType type) { m_connection.Status(type, RSC_END_SYNC_OBJ, 0); }
void DeviceStore::BeginWrites(ItemType type) { m_connection.Status(type, RSC_BEGIN_BATCH_WRITE, 0); }
void DeviceStore::EndWrites(ItemType type) { m_connection.Status(type, RSC_END_BATCH_WRITE, 0); }

void DeviceStore::Acknowledge(ItemType type, const std::string& id) { m_connection.Acknowledge(type, OidOf(id)); }

}  // namespace kez::engine
