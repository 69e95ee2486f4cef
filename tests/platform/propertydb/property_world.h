// One-line helpers for tests of the property database.
#pragma once

#include <windbase.h>

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "platform/propertydb/property_set.h"

namespace kez::tests {

constexpr CEPROPID Id(WORD number, WORD type) { return static_cast<CEPROPID>(number) << 16 | type; }

inline constexpr CEPROPID kNumber = Id(1, CEVT_UI4);
inline constexpr CEPROPID kText = Id(2, CEVT_LPWSTR);
inline constexpr CEPROPID kSigned = Id(3, CEVT_I4);
inline constexpr CEPROPID kBlob = Id(4, CEVT_BLOB);

struct OrderPart {
    CEPROPID id;
    DWORD flags = 0;
};
SORTORDERSPECEX OrderOf(std::initializer_list<OrderPart> parts, WORD keyFlags = 0);

CEPROPVAL NumberValue(CEPROPID id, ULONG number);
CEPROPVAL TextValue(CEPROPID id, const WCHAR* text);  // points to `text`
CEPROPVAL BlobValue(CEPROPID id, std::vector<BYTE>& bytes);
CEPROPVAL Removal(CEPROPID id);
CEPROPVAL ValueOf(const propertydb::PropertySet::Entry& entry);  // points into the entry

// A mounted volume; unmounted with the object. Fails the test where it cannot be mounted.
class Mounted {
 public:
    explicit Mounted(const WCHAR* path = TEXT("\\test.vol"), DWORD disposition = OPEN_ALWAYS,
                     CEVOLUMEOPTIONS* options = nullptr);
    ~Mounted();
    Mounted(const Mounted&) = delete;
    Mounted& operator=(const Mounted&) = delete;
    CEGUID* Guid() { return &m_guid; }

 private:
    CEGUID m_guid;
};

// A database of any properties; its identifier.
CEOID MakeDatabase(CEGUID* volume, const WCHAR* name, const std::vector<SORTORDERSPECEX>& orders = {}, DWORD type = 0);
CEDBASEINFOEX InfoFor(const WCHAR* name, const std::vector<SORTORDERSPECEX>& orders = {}, DWORD type = 0);

// An open database; closed with the object.
class Opened {
 public:
    Opened(CEGUID* volume, CEOID oid, const SORTORDERSPECEX* order = nullptr, DWORD flags = 0, HANDLE session = nullptr,
           CENOTIFYREQUEST* notify = nullptr);
    ~Opened();
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;
    HANDLE Get() const { return m_handle; }
    void Close();

    // 0 with the call's last error, as the calls themselves.
    CEOID Seek(DWORD type, LONG number, DWORD* index = nullptr);
    CEOID Seek(DWORD type, const std::vector<CEPROPVAL>& values, DWORD* index = nullptr);
    CEOID Write(CEOID oid, const std::vector<CEPROPVAL>& values);
    BOOL Delete(CEOID oid) { return CeDeleteRecord(m_handle, oid); }
    // All properties of the current record. `oid` receives the call's result.
    propertydb::PropertySet Read(CEOID* oid = nullptr);
    // The identifiers from the first record on.
    std::vector<CEOID> All();

 private:
    HANDLE m_handle;
};

// What a block of elements says.
propertydb::PropertySet SetOf(const BYTE* block, WORD count);

}  // namespace kez::tests
