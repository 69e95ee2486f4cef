// The database object of contacts.
#pragma once

#include "database/kez_asp_db.h"

class CKezAspDBContact : public CKezAspDB {
 public:
    explicit CKezAspDBContact(LONG partnerId);
    ~CKezAspDBContact() override;
    BOOL PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) override;
    LPCWSTR GetDBName() override;
};
