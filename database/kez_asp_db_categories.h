// The database object of the categories database, which no folder synchronises: it is only ever purged.
#pragma once

#include "database/kez_asp_db.h"

class CKezAspDBCategories : public CKezAspDB {
 public:
    explicit CKezAspDBCategories(LONG partnerId);
    ~CKezAspDBCategories() override;
    LPCWSTR GetDBName() override;
};
