// The database object of appointments.
#pragma once

#include "database/kez_asp_db.h"

class CKezAspDBAppt : public CKezAspDB {
 public:
    explicit CKezAspDBAppt(LONG partnerId);
    ~CKezAspDBAppt() override;
    BOOL PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) override;
    LPCWSTR GetDBName() override;
};
