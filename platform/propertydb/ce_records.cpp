// Seeking, reading, writing and deleting records through an open database.
#include <algorithm>
#include <cstring>

#include "platform/propertydb/ce_handles.h"
#include "platform/propertydb/records.h"
#include "platform/propertydb/sort_key.h"

using namespace kez::propertydb;

namespace {

// --- Seeking ------------------------------------------------------------------------------------------------

constexpr DWORD kValueSeeks = CEDB_SEEK_VALUESMALLER | CEDB_SEEK_VALUEFIRSTEQUAL | CEDB_SEEK_VALUEGREATER |
                              CEDB_SEEK_VALUENEXTEQUAL | CEDB_SEEK_VALUEGREATEROREQUAL | CEDB_SEEK_VALUESMALLEROREQUAL;

const SORTORDERSPECEX& ActiveOrder(DatabaseHandle& handle, const Database& database) {
    const int order = handle.Position().SortOrder();
    Require(order >= 0 && order < static_cast<int>(database.orders.size()));
    return database.orders[static_cast<std::size_t>(order)].sort;
}

bool SeekBeginning(DatabaseHandle& handle, const SORTORDERSPECEX& sort, std::span<const PropertyView> values) {
    const std::size_t last = values.size() - 1;
    if (last < sort.wNumProps && !(sort.rgdwFlags[last] & CEDB_SORT_CASEINSENSITIVE)) {
        (void)KeyPrefix(sort, values, true);  // checks the values
        std::string key = last ? KeyPrefix(sort, values.first(last), false) : std::string();
        key.push_back('\2');  // the text is there
        std::u16string text(values[last].size / 2, u'\0');
        std::memcpy(text.data(), values[last].Data(), values[last].size);
        std::u16string folded;
        AppendFolded(text.data(), text.size(), CEDB_SORT_CASEINSENSITIVE, folded);
        return handle.Position().ToFirstBeginning(key, folded, (sort.rgdwFlags[last] & CEDB_SORT_DESCENDING) != 0);
    }
    return handle.Position().ToFirstEqual(KeyPrefix(sort, values, true));
}

bool SeekValue(DatabaseHandle& handle, DWORD type, DWORD_PTR value, WORD count) {
    const bool beginning = (type & CEDB_SEEK_PREFIX) != 0;
    const auto database = handle.OwnConnection().NeedDatabase(handle.DatabaseOid());
    const SORTORDERSPECEX& sort = ActiveOrder(handle, *database);
    const auto* elements = reinterpret_cast<const CEPROPVAL*>(value);
    Require(elements && count);
    PropertyViews values;
    for (WORD i = 0; i < count; ++i) values.push_back(ViewOf(elements[i]));
    Cursor& position = handle.Position();
    if (beginning && (type & CEDB_SEEK_VALUEFIRSTEQUAL)) return SeekBeginning(handle, sort, values);
    const std::string prefix = KeyPrefix(sort, values, beginning);
    switch (type & kValueSeeks) {
        case CEDB_SEEK_VALUEFIRSTEQUAL:
            return position.ToFirstEqual(prefix);
        case CEDB_SEEK_VALUENEXTEQUAL:
            return position.ToNextEqual(prefix);
        case CEDB_SEEK_VALUEGREATER:
            return position.ToGreater(prefix, false);
        case CEDB_SEEK_VALUEGREATEROREQUAL:
            return position.ToGreater(prefix, true);
        case CEDB_SEEK_VALUESMALLER:
            return position.ToSmaller(prefix, false);
        case CEDB_SEEK_VALUESMALLEROREQUAL:
            return position.ToSmaller(prefix, true);
        default:
            Fail(ERROR_INVALID_PARAMETER);
    }
}

bool SeekNumber(DatabaseHandle& handle, DWORD type, std::int32_t number) {
    Cursor& position = handle.Position();
    if (position.SortOrder() >= 0) {
        const auto& database = handle.OwnConnection().NeedDatabase(handle.DatabaseOid());
        Require(!(ActiveOrder(handle, *database).wKeyFlags & CEDB_SORT_NO_POSITIONAL));
    }
    if (type == CEDB_SEEK_CURRENT) return position.FromCurrent(number);
    Require(number >= 0);
    const auto n = static_cast<std::uint32_t>(number);
    return type == CEDB_SEEK_BEGINNING ? position.FromBeginning(n) : position.FromEnd(n);
}

// --- Reading ------------------------------------------------------------------------------------------------

void PutValue(const PropertyView& view, CEPROPVAL& element, BYTE*& room) {
    if (!view.bytes) {
        std::memcpy(&element.val, view.number, sizeof view.number);  // zeros follow a shorter one
        return;
    }
    if (view.Type() == CEVT_BLOB) {
        element.val.blob.dwCount = view.size;
        element.val.blob.lpb = room;
        std::memcpy(room, view.bytes, view.size);
        room += view.size + (view.size & 1);
    } else {
        element.val.lpwstr = reinterpret_cast<LPWSTR>(room);
        std::memcpy(room, view.bytes, view.size);
        std::memset(room + view.size, 0, sizeof(WCHAR));
        room += view.size + sizeof(WCHAR);
    }
}

// Bytes behind the elements; kept even, so that texts stand on 2.
std::size_t BytesBehind(const PropertyView& view) {
    if (!view.bytes) return 0;
    return view.Type() == CEVT_BLOB ? view.size + (view.size & 1) : view.size + sizeof(WCHAR);
}

// A block of the size needed, from the caller's or from the heap that was named.
BYTE* Room(DWORD flags, LPBYTE* buffer, LPDWORD size, HANDLE heap, std::size_t needed) {
    const DWORD given = *buffer ? *size : 0;
    const auto bytes = static_cast<DWORD>(needed);
    if (!(flags & CEDB_ALLOWREALLOC)) {
        *size = bytes;
        Require(*buffer && given >= needed, ERROR_INSUFFICIENT_BUFFER);
        return *buffer;
    }
    if (!*buffer || given < needed) {
        void* block = nullptr;
        if (heap) {
            block = *buffer ? HeapReAlloc(heap, 0, *buffer, needed) : HeapAlloc(heap, 0, needed);
        } else {
            block = *buffer ? LocalReAlloc(*buffer, needed, LMEM_MOVEABLE) : LocalAlloc(LMEM_FIXED, needed);
        }
        Require(block != nullptr, ERROR_NOT_ENOUGH_MEMORY);
        *buffer = static_cast<LPBYTE>(block);
    }
    *size = bytes;
    return *buffer;
}

CEOID ReadProps(HANDLE database, DWORD flags, WORD* count, CEPROPID* ids, LPBYTE* buffer, LPDWORD size, HANDLE heap) {
    const auto handle = NeedDatabaseHandle(database);
    Require(count && buffer && size && !(flags & ~CEDB_ALLOWREALLOC) && (!ids || *count));
    ReadScope scope(handle->OwnConnection());
    Cursor& position = handle->Position();
    if (position.Where() == Cursor::Place::BeforeFirst && handle->AutoIncrement()) position.FromBeginning(0);
    Require(position.Where() == Cursor::Place::OnRecord, ERROR_NO_MORE_ITEMS);
    const std::string* record = position.Read();
    Require(record != nullptr, ERROR_KEY_DELETED);
    PropertyViews& views = handle->OwnConnection().Scratch().old;
    Decode(*record, views);

    const std::size_t elements = ids ? *count : views.size();
    const auto wanted = [ids, &views](std::size_t i) { return ids ? FindView(views, ids[i]) : &views[i]; };
    std::size_t needed = elements * sizeof(CEPROPVAL);
    for (std::size_t i = 0; i < elements; ++i) {
        if (const PropertyView* view = wanted(i)) needed += BytesBehind(*view);
    }
    BYTE* block = Room(flags, buffer, size, heap, needed);
    BYTE* room = block + elements * sizeof(CEPROPVAL);
    bool any = false;
    for (std::size_t i = 0; i < elements; ++i) {
        CEPROPVAL element{};  // a missing property's value reads as zero
        const PropertyView* view = wanted(i);
        element.propid = view ? view->id : ids[i];
        if (view) {
            PutValue(*view, element, room);
            any = true;
        } else {
            element.wFlags = CEDB_PROPNOTFOUND;
        }
        std::memcpy(block + i * sizeof element, &element, sizeof element);
    }
    *count = static_cast<WORD>(elements);
    const CEOID oid = position.Oid();
    if (handle->AutoIncrement()) position.FromCurrent(1);
    Require(any, ERROR_NO_DATA);  // the block is the caller's nevertheless
    return oid;
}

}  // namespace

CEOID CeSeekDatabaseEx(HANDLE database, DWORD type, DWORD_PTR value, WORD count, LPDWORD index) {
    return Carry("CeSeekDatabaseEx", CEOID{0}, [&]() -> CEOID {
        const auto handle = NeedDatabaseHandle(database);
        ReadScope scope(handle->OwnConnection());
        Cursor& position = handle->Position();
        DWORD missing = ERROR_NO_MORE_ITEMS;
        bool found = false;
        if (type == CEDB_SEEK_CEOID) {
            missing = ERROR_NOT_FOUND;
            Require(value != 0);
            found = position.ToOid(static_cast<CEOID>(value));
        } else if (type == CEDB_SEEK_BEGINNING || type == CEDB_SEEK_END || type == CEDB_SEEK_CURRENT) {
            found = SeekNumber(*handle, type, static_cast<std::int32_t>(value));
        } else {
            Require((type & kValueSeeks) != 0 && (type & ~(kValueSeeks | CEDB_SEEK_PREFIX)) == 0);
            found = SeekValue(*handle, type, value, count);
        }
        Require(found, missing);
        if (index) *index = position.Index();
        return position.Oid();
    });
}

CEOID CeReadRecordProps(HANDLE database, DWORD flags, WORD* count, CEPROPID* ids, LPBYTE* buffer, LPDWORD size) {
    return Carry("CeReadRecordProps", CEOID{0},
                 [&] { return ReadProps(database, flags, count, ids, buffer, size, nullptr); });
}

CEOID CeReadRecordPropsEx(HANDLE database, DWORD flags, WORD* count, CEPROPID* ids, LPBYTE* buffer, LPDWORD size,
                          HANDLE heap) {
    return Carry("CeReadRecordPropsEx", CEOID{0},
                 [&] { return ReadProps(database, flags, count, ids, buffer, size, heap); });
}

CEOID CeWriteRecordProps(HANDLE database, CEOID oid, WORD count, CEPROPVAL* values) {
    return Carry("CeWriteRecordProps", CEOID{0}, [&] {
        const auto handle = NeedDatabaseHandle(database);
        Require(count && values);
        Connection& connection = handle->OwnConnection();
        std::unique_lock lock(connection.Mutex());
        PropertyViews& views = connection.Scratch().given;
        ViewsOf({values, count}, views);
        handle->BeforeWrite();
        WriteScope scope(connection, std::move(lock));
        WantedKey wanted{handle->Position().SortOrder(), {}};
        CEOID written = oid;
        if (oid == 0) {
            written = InsertRecord(connection, handle->DatabaseOid(), views, handle->TakesNewColumns(), &wanted);
        } else {
            Require(UpdateRecord(connection, handle->DatabaseOid(), oid, views, handle->TakesNewColumns(), &wanted,
                                 handle->Position().AtHand(oid)),
                    ERROR_NOT_FOUND);
        }
        scope.Commit();
        handle->Position().PutOn(written, std::move(wanted.key));
        return written;
    });
}

BOOL CeDeleteRecord(HANDLE database, CEOID oid) {
    return Carry("CeDeleteRecord", FALSE, [&] {
        const auto handle = NeedDatabaseHandle(database);
        Require(oid != 0);
        Connection& connection = handle->OwnConnection();
        std::lock_guard lock(connection.Mutex());
        handle->BeforeWrite();
        Cursor& position = handle->Position();
        const bool current = position.Where() == Cursor::Place::OnRecord && position.Oid() == oid;
        if (current) (void)position.Read();  // its key as it is now is the place of the gap
        WriteScope scope(connection);
        Require(RemoveRecord(connection, handle->DatabaseOid(), oid), ERROR_NOT_FOUND);
        scope.Commit();
        if (current && handle->AutoIncrement()) position.FromCurrent(0);
        return TRUE;
    });
}
