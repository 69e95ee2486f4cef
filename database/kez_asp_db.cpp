// CKezAspDB: construction, destruction and the operations that only answer from its members.
#include "database/kez_asp_db.h"

#include "database/volume.h"
#include "trace/trace_log.h"

namespace {

struct DatabaseName {
    char typeLetter;
    LPCWSTR name;
};

constexpr DatabaseName kDatabaseNames[] = {
    {'A', TEXT("Contacts Database")},
    {'T', TEXT("Tasks Database")},
    {'D', TEXT("Appointments Database")},
    {'G', TEXT("\\Categories Database")},  // alone with a leading backslash, on purpose
};

constexpr CEPROPID kStateOfPartner0 = 0xFFFD0013;
constexpr CEPROPID kStateOfOtherPartners = 0xFFFE0013;

}  // namespace

CKezAspDB::CKezAspDB(LONG partnerId) : m_PartnerID(partnerId) {
    dbglog(50, "CKezAspDB::CKezAspDB(PartnerID=%d)", partnerId);
}

CKezAspDB::~CKezAspDB() {
    FreeObjectNotifyBlock();
    delete m_cpDelete;
    m_cpDelete = nullptr;
    delete m_cpRead;
    m_cpRead = nullptr;
    delete m_cpWrite;
    m_cpWrite = nullptr;
    CKezAspDB::CloseDatabase();
    // The change table was closed before by whoever had opened it: its volume is still mounted.
    UnmountVolume(&m_guidDelta);
    while (m_cleanupList != nullptr) {
        CleanupNode* node = m_cleanupList;
        m_cleanupList = node->next;
        delete node;
    }
    dbglog(50, "CKezAspDB::~CKezAspDB()");
}

LPCWSTR CKezAspDB::GetDBName() {
    for (const DatabaseName& row : kDatabaseNames) {
        if (row.typeLetter == m_typeLetter) return row.name;
    }
    return TEXT("");
}

CEPROPVAL* CKezAspDB::FindPropVal(CEPROPID propid, CEPROPVAL* props, LONG count) {
    for (LONG i = 0; i < count; ++i) {
        if (props[i].propid == propid) return &props[i];
    }
    return nullptr;
}

CEPROPID CKezAspDB::GetDeltaPropId() { return m_PartnerID == 0 ? kStateOfPartner0 : kStateOfOtherPartners; }

HRESULT CKezAspDB::Reset(REPLSETUP*) {
    dbglog(75, "CKezAspDB::Reset +");
    dbglog(75, "CKezAspDB::Reset -");
    return S_OK;
}

CEOID CKezAspDB::GetDbOid() { return m_oidDatabase; }

HANDLE CKezAspDB::GetDbHandle() { return m_hDatabase; }
