// The database object of tasks.
#pragma once

#include "database/kez_asp_db.h"

class CKezAspDBTask : public CKezAspDB {
 public:
    explicit CKezAspDBTask(LONG partnerId);
    ~CKezAspDBTask() override;
    BOOL PropToPoom(CKezCEPacket& packet, const CEPROPVAL* prop, CCEPoom* session) override;
    LPCWSTR GetDBName() override;
};
