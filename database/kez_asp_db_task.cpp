#include "database/kez_asp_db_task.h"

#include "poom/property_writers.h"

CKezAspDBTask::CKezAspDBTask(LONG partnerId) : CKezAspDB(partnerId) { m_typeLetter = 'T'; }

CKezAspDBTask::~CKezAspDBTask() = default;

BOOL CKezAspDBTask::PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) {
    if (!CKezAspDB::PropToPoom(packet, prop, session)) return FALSE;
    return TaskPropToPoom(prop, session);
}

LPCWSTR CKezAspDBTask::GetDBName() { return TEXT("Tasks Database"); }
