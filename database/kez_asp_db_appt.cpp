#include "database/kez_asp_db_appt.h"

#include "poom/property_writers.h"

CKezAspDBAppt::CKezAspDBAppt(LONG partnerId) : CKezAspDB(partnerId) { m_typeLetter = 'D'; }

CKezAspDBAppt::~CKezAspDBAppt() = default;

BOOL CKezAspDBAppt::PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) {
    if (!CKezAspDB::PropToPoom(packet, prop, session)) return FALSE;
    return AppointmentPropToPoom(prop, session);
}

LPCWSTR CKezAspDBAppt::GetDBName() { return TEXT("Appointments Database"); }
