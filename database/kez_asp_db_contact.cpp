#include "database/kez_asp_db_contact.h"

#include "poom/property_writers.h"
#include "trace/trace_log.h"

CKezAspDBContact::CKezAspDBContact(LONG partnerId) : CKezAspDB(partnerId) { m_typeLetter = 'A'; }

CKezAspDBContact::~CKezAspDBContact() = default;

BOOL CKezAspDBContact::PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) {
    if (!CKezAspDB::PropToPoom(packet, prop, session)) {
        dbglog(25, "CKezAspDBContact::PropToPoom() - Base class already handled this prop");
        return FALSE;
    }
    return ContactPropToPoom(prop, session);
}

LPCWSTR CKezAspDBContact::GetDBName() { return TEXT("Contacts Database"); }
