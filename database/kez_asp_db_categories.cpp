#include "database/kez_asp_db_categories.h"

CKezAspDBCategories::CKezAspDBCategories(LONG partnerId) : CKezAspDB(partnerId) {
    m_typeLetter = 'G';
    m_usePoom = FALSE;  // Pocket Outlook has no such type: no sessions are made for it
}

CKezAspDBCategories::~CKezAspDBCategories() = default;

// Alone with a leading backslash, on purpose.
LPCWSTR CKezAspDBCategories::GetDBName() { return TEXT("\\Categories Database"); }
