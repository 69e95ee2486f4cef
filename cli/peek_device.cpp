#include "cli/peek_device.h"

#include <windows.h>

#include <charconv>
#include <utility>

#include "cli/owner_fields.h"

namespace kez::cli {
namespace {

using sync::ProblemCode;

CEGUID Mount(LPCWSTR path, const std::string& device) {
    CEGUID volume{};
    if (!CeMountDBVolEx(&volume, const_cast<LPWSTR>(path), nullptr, OPEN_EXISTING)) {
        const DWORD error = GetLastError();
        throw sync::StoreError(device + ": the volume \"" + Utf8(path) + "\" cannot be opened (error " +
                               std::to_string(error) + ")");
    }
    return volume;
}

// A database, opened for as long as this lives.
class Records {
 public:
    Records(CEGUID volume, LPCWSTR name, const std::string& device) {
        CEOID database = 0;
        m_handle = CeOpenDatabaseInSession(nullptr, &volume, &database, const_cast<LPWSTR>(name), nullptr, 0, nullptr);
        if (m_handle != INVALID_HANDLE_VALUE) return;
        const DWORD error = GetLastError();
        throw sync::StoreError(device + ": the database \"" + Utf8(name) + "\" cannot be opened (error " +
                               std::to_string(error) + ")");
    }
    ~Records() {
        LocalFree(m_buffer);
        CloseHandle(m_handle);
    }
    Records(const Records&) = delete;
    Records& operator=(const Records&) = delete;

    // One after another, 0 behind the last.
    CEOID Next() {
        DWORD index = 0;
        const DWORD move = std::exchange(m_move, CEDB_SEEK_CURRENT);
        return CeSeekDatabaseEx(m_handle, move, move == CEDB_SEEK_CURRENT ? 1 : 0, 0, &index);
    }

    // A number of the record that Next gave; 0 where it lacks the property.
    DWORD Number(CEPROPID id) {
        WORD count = 1;
        if (CeReadRecordProps(m_handle, CEDB_ALLOWREALLOC, &count, &id, &m_buffer, &m_size) == 0) return 0;
        const auto* value = reinterpret_cast<const CEPROPVAL*>(m_buffer);
        return value->wFlags == 0 ? value->val.ulVal : 0;
    }

 private:
    HANDLE m_handle = INVALID_HANDLE_VALUE;
    DWORD m_move = CEDB_SEEK_BEGINNING;
    LPBYTE m_buffer = nullptr;
    DWORD m_size = 0;
};

}  // namespace

const changewriter::ChangeTable& TableOf(sync::ItemType type) {
    switch (type) {
        case sync::ItemType::Contact:
            return changewriter::kChangeTables[0];
        case sync::ItemType::Appointment:
            return changewriter::kChangeTables[1];
        case sync::ItemType::Task:
            break;
    }
    return changewriter::kChangeTables[2];
}

PeekDevice::PeekDevice(std::string name, std::string identity, unsigned partner)
    : m_name(std::move(name)), m_identity(std::move(identity)), m_partner(partner) {
    m_items = Mount(changewriter::kPimVolume, m_name);
    try {
        m_changes = Mount(changewriter::kChangeVolume, m_name);
    } catch (...) {
        CeUnmountDBVol(&m_items);
        throw;
    }
}

PeekDevice::~PeekDevice() {
    CeUnmountDBVol(&m_changes);
    CeUnmountDBVol(&m_items);
}

std::map<CEOID, DWORD> PeekDevice::ChangeTable(sync::ItemType type) {
    const CEPROPID state = m_partner == 1 ? changewriter::kStateOfPartner0 : changewriter::kStateOfOthers;
    std::map<CEOID, DWORD> states;
    Records records(m_changes, TableOf(type).table, m_name);
    while (records.Next() != 0) states[records.Number(changewriter::kItemOid)] = records.Number(state);
    return states;
}

sync::Listing PeekDevice::List(sync::ItemType type) {
    const std::map<CEOID, DWORD> states = ChangeTable(type);
    sync::Listing listing;
    Records records(m_items, TableOf(type).pimDatabase, m_name);
    while (const CEOID oid = records.Next()) {
        const auto state = states.find(oid);
        const bool changed = state != states.end() && state->second != 0;
        listing.items.push_back({std::to_string(oid), {}, changed, {}, {}});
    }
    return listing;
}

sync::ReadResult PeekDevice::Read(sync::ItemType type, const std::string& id) {
    sync::ReadResult result;
    CEOID oid = 0;
    std::from_chars(id.data(), id.data() + id.size(), oid);
    if (auto found = m_owner.Find(oid)) {
        result.item = std::move(found->item);
    } else {
        result.item.type = type;
        result.problem = {ProblemCode::Gone, "is not on the device any more", "oid " + id};
    }
    return result;
}

sync::WriteResult PeekDevice::Create(const sync::Item&, const std::string&) {
    sync::WriteResult result;
    result.problem = {ProblemCode::Refused, "the device is only looked at", m_name};
    return result;
}

sync::WriteResult PeekDevice::Update(const std::string&, const sync::Item& wanted, const std::string& hint) {
    return Create(wanted, hint);
}

sync::Problem PeekDevice::Delete(sync::ItemType type, const std::string&, const std::string&) {
    return Create({type, {}}, {}).problem;
}

}  // namespace kez::cli
