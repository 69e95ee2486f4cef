// The calls that make, open, find, describe and change databases.
#include <algorithm>

#include "platform/propertydb/ce_handles.h"
#include "platform/propertydb/records.h"

using namespace kez::propertydb;
using kez::kernel::Register;

namespace {

constexpr DWORD kKeptFlags = CEDB_NOCOMPRESS;

std::u16string NameOf(const CEDBASEINFOEX& info) {
    const WCHAR* end = std::find(info.szDbaseName, info.szDbaseName + CEDB_MAXDBASENAMELEN, u'\0');
    return std::u16string(info.szDbaseName, end);
}

// What a caller's information asks for.
Database DefinitionOf(const CEDBASEINFOEX& info) {
    Require(info.wVersion == 2);
    Require(!(info.dwFlags & (CEDB_VALIDMODTIME | CEDB_SYSTEMDB)), ERROR_NOT_SUPPORTED);
    Database definition;
    definition.name = NameOf(info);
    Require(definition.name.size() < CEDB_MAXDBASENAMELEN, ERROR_BAD_LENGTH);
    Require(!definition.name.empty());
    if (info.dwFlags & CEDB_VALIDTYPE) definition.type = info.dwDbaseType;
    if (info.dwFlags & CEDB_VALIDDBFLAGS) definition.flags = info.dwFlags & kKeptFlags;
    if (info.dwFlags & CEDB_VALIDSORTSPEC) {
        for (const SORTORDERSPECEX& order : SortOrdersOf(info)) definition.orders.push_back({order, 0});
    }
    return definition;
}

bool IsAutomatic(const Column& column) {
    return TypeFromPropID(column.id) == CEVT_AUTO_I4 || TypeFromPropID(column.id) == CEVT_AUTO_I8;
}

Column ColumnOf(const CEPROPSPEC& property) {
    Require(property.wVersion == 1);
    Require(FixedSize(TypeFromPropID(property.propid)) >= 0 || TypeFromPropID(property.propid) == CEVT_STREAM);
    Column column{property.propid, property.dwFlags & (DB_PROP_NOTNULL | DB_PROP_COMPRESSED), {}};
    if (property.pwszPropName) {
        column.name = property.pwszPropName;
        Require(column.name.size() <= CEDB_MAXDBASENAMELEN, ERROR_BAD_LENGTH);
    }
    return column;
}

// Adds the columns; 183 where one is there already, or where there would be two automatic numbers.
void AddColumns(std::vector<Column>& columns, DWORD count, const CEPROPSPEC* specs) {
    for (DWORD i = 0; i < count; ++i) {
        const Column column = ColumnOf(specs[i]);
        const bool twice = std::ranges::find(columns, column.id, &Column::id) != columns.end();
        Require(!twice && !(IsAutomatic(column) && std::ranges::any_of(columns, IsAutomatic)), ERROR_ALREADY_EXISTS);
        columns.push_back(column);
    }
}

CEOID Create(CEGUID* volume, const Database& definition) {
    Connection& connection = *NeedVolume(volume)->Inside().connection;
    WriteScope scope(connection, WriteScope::Extent::Several);
    const CEOID oid = CreateDatabase(connection, definition);
    scope.Commit();
    return oid;
}

std::shared_ptr<const Database> NeedDatabase(Connection& connection, CEOID oid) {
    Require(oid != 0);
    return connection.NeedDatabase(oid);
}

struct Opened {
    std::shared_ptr<Volume> volume;
    std::shared_ptr<const Database> database;
};

std::shared_ptr<const Database> Look(Connection& connection, CEOID oid, LPCWSTR name) {
    ReadScope scope(connection);
    if (oid) return connection.FindDatabase(oid);
    for (const auto& [number, database] : connection.AllDatabases()) {
        if (SameName(database->name, name)) return database;
    }
    return nullptr;
}

Opened FindToOpen(const CEGUID& guid, CEOID oid, LPCWSTR name) {
    std::vector<std::shared_ptr<Volume>> volumes;
    if (MeansAllVolumes(guid)) {
        volumes = VolumeTable::Get().Mounted();
    } else {
        volumes.push_back(VolumeTable::Get().Find(guid));
    }
    for (const auto& volume : volumes) {
        if (auto database = Look(*volume->Inside().connection, oid, name)) return {volume, database};
    }
    Fail(ERROR_FILE_NOT_FOUND);
}

int OrderToOpen(const Database& database, const SORTORDERSPECEX* sort) {
    if (!sort) return -1;
    Require(sort->wVersion == 2 && sort->wNumProps >= 1 && sort->wNumProps <= CEDB_MAXSORTPROP);
    const int order = database.FindOrder(*sort);
    Require(order >= 0);
    return order;
}

}  // namespace

// --- Making -------------------------------------------------------------------------------------------------

CEOID CeCreateDatabaseWithProps(CEGUID* volume, CEDBASEINFOEX* info, DWORD count, CEPROPSPEC* specs) {
    return Carry("CeCreateDatabaseWithProps", CEOID{0}, [&] {
        Require(info && (count == 0 || specs));
        Database definition = DefinitionOf(*info);
        definition.schema = count == 0 ? Schema::FirstWrite : Schema::Fixed;
        AddColumns(definition.columns, count, specs);
        return Create(volume, definition);
    });
}

CEOID CeCreateDatabaseEx2(CEGUID* volume, CEDBASEINFOEX* info) {
    return Carry("CeCreateDatabaseEx2", CEOID{0}, [&] {
        Require(info != nullptr);
        CEDBASEINFOEX own = *info;
        own.szDbaseName[CEDB_MAXDBASENAMELEN - 1] = 0;  // this call cuts a name that is too long
        Database definition = DefinitionOf(own);
        Require(definition.name.back() != u'\\');
        definition.schema = Schema::Open;
        return Create(volume, definition);
    });
}

BOOL CeDeleteDatabaseEx(CEGUID* volume, CEOID oid) {
    return Carry("CeDeleteDatabaseEx", FALSE, [&] {
        const auto owner = NeedVolume(volume);
        Require(oid != 0);
        Require(!VolumeTable::Get().IsOpen(*owner, oid), ERROR_SHARING_VIOLATION);
        WriteScope scope(*owner->Inside().connection, WriteScope::Extent::Several);
        DropDatabase(*owner->Inside().connection, oid);
        scope.Commit();
        return TRUE;
    });
}

// --- Opening ------------------------------------------------------------------------------------------------

HANDLE CeOpenDatabaseInSession(HANDLE session, CEGUID* volume, CEOID* oid, LPWSTR name, SORTORDERSPECEX* sort,
                               DWORD flags, CENOTIFYREQUEST* notify) {
    return Carry("CeOpenDatabaseInSession", INVALID_HANDLE_VALUE, [&] {
        Require(volume && oid && (*oid || name));
        Require(!(flags & ~(CEDB_AUTOINCREMENT | EDB_USE_CEDB_WRITE_SEMANTICS)));
        Require(!notify || (notify->dwSize == sizeof(CENOTIFYREQUEST) && (notify->dwFlags & CEDB_EXNOTIFICATION)));
        std::shared_ptr<Session> owner;
        if (session) owner = NeedSessionHandle(session)->session;
        const Opened found = FindToOpen(*volume, *oid, name);
        Require(!owner || owner->OwnVolume() == found.volume);
        const int order = OrderToOpen(*found.database, sort);
        const HANDLE handle =
            Register(std::make_shared<DatabaseHandle>(found.volume, owner, found.database->oid, order, flags, notify));
        *oid = found.database->oid;
        return handle;
    });
}

HANDLE CeFindFirstDatabaseEx(CEGUID* volume, DWORD type) {
    return Carry("CeFindFirstDatabaseEx", INVALID_HANDLE_VALUE, [&] {
        std::vector<std::shared_ptr<Volume>> volumes;
        if (!volume || CheckInvalidGuid(volume) || MeansAllVolumes(*volume)) {
            volumes = VolumeTable::Get().Mounted();
        } else {
            volumes.push_back(VolumeTable::Get().Find(*volume));
        }
        auto search = std::make_shared<SearchHandle>();
        for (const auto& one : volumes) {
            ReadScope scope(*one->Inside().connection);
            for (const auto& [oid, database] : one->Inside().connection->AllDatabases()) {
                if (!type || database->type == type) search->found.push_back({one, one->Guid(), oid});
            }
        }
        return Register(std::move(search));
    });
}

CEOID CeFindNextDatabaseEx(HANDLE handle, CEGUID* volume) {
    return Carry("CeFindNextDatabaseEx", CEOID{0}, [&] {
        const auto search = kez::kernel::FindAs<SearchHandle>(handle);
        Require(search != nullptr, ERROR_INVALID_HANDLE);
        std::lock_guard lock(search->mutex);
        Require(search->next < search->found.size(), ERROR_NO_MORE_ITEMS);
        const SearchHandle::Found& found = search->found[search->next++];
        const auto owner = found.volume.lock();
        Require(owner != nullptr, ERROR_KEY_DELETED);
        ReadScope scope(*owner->Inside().connection);
        Require(owner->Inside().connection->FindDatabase(found.database) != nullptr, ERROR_KEY_DELETED);
        if (volume) *volume = found.guid;
        return found.database;
    });
}

// --- Describing ---------------------------------------------------------------------------------------------

BOOL CeOidGetInfoEx2(CEGUID* volume, CEOID oid, CEOIDINFOEX* info) {
    return Carry("CeOidGetInfoEx2", FALSE, [&] {
        Require(volume && info && oid && info->wVersion == 2);
        Connection& connection = *NeedVolume(volume)->Inside().connection;
        ReadScope scope(connection);
        if (const auto database = connection.FindDatabase(oid)) {
            info->wObjType = OBJTYPE_DATABASE;
            Describe(connection, *database, info->infDatabase);
        } else {
            const auto parent = OwnerOf(connection, oid);
            Require(parent != nullptr, ERROR_INVALID_HANDLE);
            info->wObjType = OBJTYPE_RECORD;
            info->infRecord.oidParent = parent->oid;
        }
        return TRUE;
    });
}

BOOL CeGetDBInformationByHandle(HANDLE handle, BY_HANDLE_DB_INFORMATION* info) {
    return Carry("CeGetDBInformationByHandle", FALSE, [&] {
        const auto database = NeedDatabaseHandle(handle);
        Require(info && info->wVersion == 1);
        ReadScope scope(database->OwnConnection());
        info->guidVol = database->OwnVolume()->Guid();
        info->oidDbase = database->DatabaseOid();
        Describe(database->OwnConnection(), *database->OwnConnection().NeedDatabase(database->DatabaseOid()),
                 info->infDatabase);
        return TRUE;
    });
}

BOOL CeGetDatabaseProps(CEGUID* volume, CEOID oid, WORD* count, CEPROPSPEC* specs) {
    return Carry("CeGetDatabaseProps", FALSE, [&] {
        Require(count != nullptr);
        Connection& connection = *NeedVolume(volume)->Inside().connection;
        ReadScope scope(connection);
        const auto database = NeedDatabase(connection, oid);
        const WORD room = *count;
        *count = static_cast<WORD>(database->columns.size());
        Require(specs == nullptr || room >= *count, ERROR_INSUFFICIENT_BUFFER);
        for (std::size_t i = 0; specs && i < database->columns.size(); ++i) {
            const Column& column = database->columns[i];
            CEPROPSPEC& property = specs[i];
            property.wVersion = 1;
            property.propid = column.id;
            property.dwFlags = column.flags;
            if (!property.pwszPropName) {
                property.cchPropName = static_cast<DWORD>(column.name.size() + 1);
                continue;
            }
            Require(column.name.size() < property.cchPropName, ERROR_INSUFFICIENT_BUFFER);
            std::copy_n(column.name.c_str(), column.name.size() + 1, property.pwszPropName);
        }
        return TRUE;
    });
}

// --- Changing -----------------------------------------------------------------------------------------------

BOOL CeSetDatabaseInfoEx2(CEGUID* volume, CEOID oid, CEDBASEINFOEX* info) {
    return Carry("CeSetDatabaseInfoEx2", FALSE, [&] {
        Require(info && info->wVersion == 2);
        Require(!(info->dwFlags & (CEDB_VALIDMODTIME | CEDB_SYSTEMDB)), ERROR_NOT_SUPPORTED);
        const auto owner = NeedVolume(volume);
        Connection& connection = *owner->Inside().connection;
        const bool newOrders = (info->dwFlags & CEDB_VALIDSORTSPEC) != 0;
        Require(!newOrders || !VolumeTable::Get().IsOpen(*owner, oid), ERROR_SHARING_VIOLATION);
        const auto orders = newOrders ? SortOrdersOf(*info) : std::vector<SORTORDERSPECEX>();

        WriteScope scope(connection, WriteScope::Extent::Several);
        Database changed = *NeedDatabase(connection, oid);
        if (info->dwFlags & CEDB_VALIDNAME) {
            changed.name = NameOf(*info);
            Require(!changed.name.empty() && changed.name.size() < CEDB_MAXDBASENAMELEN);
            for (const auto& [number, other] : connection.AllDatabases()) {
                Require(number == oid || !SameName(other->name, changed.name), ERROR_ALREADY_EXISTS);
            }
        }
        if (info->dwFlags & CEDB_VALIDTYPE) changed.type = info->dwDbaseType;
        if (info->dwFlags & CEDB_VALIDDBFLAGS) changed.flags = info->dwFlags & kKeptFlags;
        Query(connection.Fixed("UPDATE database SET name = ?2, type = ?3, flags = ?4 WHERE oid = ?1"))
            .Bind(1, oid)
            .BindText(2, changed.name)
            .Bind(3, changed.type)
            .Bind(4, changed.flags)
            .Run();
        connection.DefinitionsChanged();
        if (newOrders) {
            ReplaceSortOrders(connection, oid, orders);
            ReplaceColumns(connection, oid, changed.columns, changed.schema);
        }
        connection.Tell(DB_CEOID_CHANGED, oid, 0);
        scope.Commit();
        return TRUE;
    });
}

BOOL CeAddDatabaseProps(CEGUID* volume, CEOID oid, DWORD count, CEPROPSPEC* specs) {
    return Carry("CeAddDatabaseProps", FALSE, [&] {
        Require(count && specs);
        Connection& connection = *NeedVolume(volume)->Inside().connection;
        WriteScope scope(connection, WriteScope::Extent::Several);
        const auto database = NeedDatabase(connection, oid);
        std::vector<Column> columns = database->columns;
        AddColumns(columns, count, specs);
        // The records that are there have no value for it.
        const bool nothingMissing =
            connection.State(oid).records == 0 ||
            std::none_of(columns.begin() + static_cast<std::ptrdiff_t>(database->columns.size()), columns.end(),
                         [](const Column& column) { return (column.flags & DB_PROP_NOTNULL) != 0; });
        Require(nothingMissing);
        ReplaceColumns(connection, oid, columns, database->schema == Schema::Open ? Schema::Open : Schema::Fixed);
        scope.Commit();
        return TRUE;
    });
}

BOOL CeRemoveDatabaseProps(CEGUID* volume, CEOID oid, DWORD count, CEPROPID* ids) {
    return Carry("CeRemoveDatabaseProps", FALSE, [&] {
        Require(count && ids);
        Connection& connection = *NeedVolume(volume)->Inside().connection;
        WriteScope scope(connection, WriteScope::Extent::Several);
        const auto database = NeedDatabase(connection, oid);
        std::vector<Column> columns = database->columns;
        for (DWORD i = 0; i < count; ++i) {
            Require(!database->InSortOrder(ids[i]));
            Require(std::erase_if(columns, [&](const Column& column) { return column.id == ids[i]; }) == 1);
            StripProperty(connection, oid, ids[i]);
        }
        Require(!columns.empty());
        ReplaceColumns(connection, oid, columns, database->schema);
        scope.Commit();
        return TRUE;
    });
}
