// Sessions that stand in for Pocket Outlook, and a database object whose inside can be seen.
#pragma once

#include <new>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "database/kez_asp_db_appt.h"
#include "database/kez_asp_db_categories.h"
#include "database/kez_asp_db_contact.h"
#include "database/kez_asp_db_task.h"
#include "poom/ce_poom.h"

namespace kez::tests {

// Lists the identifiers it is given, and loads no item but those that a test names.
class SessionDouble : public CCEPoom {
 public:
    std::vector<CEOID> oids;         // what enumerates
    std::vector<INT> counts;         // what GetRecordCount answers, one after another; then the number of oids
    std::set<CEOID> loadable;        // what InitializeItem loads; 0 a new item
    std::vector<std::string> calls;  // what was asked for
    std::vector<CEPROPVAL> properties;
    std::u16string categories, note, recipients, setCategories, setNote;
    RecurrenceState recurrence = {};
    CEOID savedOid = 0;
    HRESULT saveResult = S_OK;
    BOOL purgeResult = TRUE;

    BOOL InitializeType(DWORD type, INT) override {
        calls.push_back("InitializeType " + std::to_string(type));
        return TRUE;
    }
    INT GetRecordCount() override {
        calls.push_back("GetRecordCount");
        if (counts.empty()) return static_cast<INT>(oids.size());
        const INT count = counts.front();
        counts.erase(counts.begin());
        return count;
    }
    CEOID GetFirstID() override {
        m_next = 0;
        return GetNextID();
    }
    CEOID GetNextID() override { return m_next < oids.size() ? oids[m_next++] : 0; }
    BOOL InitializeItem(CEOID oid, DWORD type, LONG recordId) override {
        calls.push_back("InitializeItem " + std::to_string(oid) + " " + std::to_string(type) + " " +
                        std::to_string(recordId));
        m_hasItem = loadable.count(oid) != 0;
        return m_hasItem;
    }
    BOOL HasItem() override { return m_hasItem; }
    BOOL ReleaseItems() override {
        calls.push_back("ReleaseItems");
        m_hasItem = false;
        return TRUE;
    }
    BOOL GetProps(CEOID, DWORD, CEPROPVAL** out, WORD* count, BYTE) override {
        const std::size_t bytes = properties.size() * sizeof(CEPROPVAL);
        *out = static_cast<CEPROPVAL*>(HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes + 1));
        if (bytes != 0) std::memcpy(*out, properties.data(), bytes);
        *count = static_cast<WORD>(properties.size());
        return TRUE;
    }
    BOOL GetCategories(WCHAR** out) override { return HandOut(categories, out); }
    BOOL GetNote(WCHAR** out) override { return HandOut(note, out); }
    BOOL GetRecipients(WCHAR** out) override { return HandOut(recipients, out); }
    BOOL SetCategories(const WCHAR* text) override {
        setCategories = text;
        return TRUE;
    }
    BOOL SetNote(const WCHAR* text) override {
        setNote = text;
        return TRUE;
    }
    BOOL GetRecurring() override {
        m_recurrence = recurrence;
        return TRUE;
    }
    HRESULT Save(CEOID* out) override {
        calls.push_back("Save");
        exceptionListAtSave = m_pExcList != nullptr ? std::u16string(m_pExcList->val.lpwstr) : std::u16string();
        m_pExcList = nullptr;
        if (savedOid != 0) *out = savedOid;
        return saveResult;
    }
    BOOL Purge() override {
        calls.push_back("Purge");
        return purgeResult;
    }

    std::u16string exceptionListAtSave;

 private:
    static BOOL HandOut(const std::u16string& text, WCHAR** out) {
        *out = nullptr;
        if (text.empty()) return FALSE;
        *out = new WCHAR[text.size() + 1]();
        text.copy(*out, text.size());
        return TRUE;
    }

    std::size_t m_next = 0;
    bool m_hasItem = false;
};

// A database object of one of the types, with its members to be seen, and with session doubles where asked for.
template <class Base>
class OpenUp : public Base {
 public:
    explicit OpenUp(LONG partner = 0) : Base(partner) {}
    using Base::m_ceodinfo_db;
    using Base::m_cleanupList;
    using Base::m_cpDelete;
    using Base::m_cpRead;
    using Base::m_cpWrite;
    using Base::m_deltaFlagPropId;
    using Base::m_guidDelta;
    using Base::m_guidPim;
    using Base::m_hDatabase;
    using Base::m_hDbDelta;
    using Base::m_inDelete;
    using Base::m_notifyBlock;
    using Base::m_notifyBlockSize;
    using Base::m_oidCurrent;
    using Base::m_oidDatabase;
    using Base::m_typeLetter;
    using Base::m_usePoom;
    using Base::RememberOwnWrite;

    // From now on its sessions are doubles; it owns them as it would its own.
    SessionDouble& DoubleRead() { return Double(&this->m_cpRead); }
    SessionDouble& DoubleWrite() { return Double(&this->m_cpWrite); }
    SessionDouble& DoubleDelete() { return Double(&this->m_cpDelete); }

 private:
    static SessionDouble& Double(CCEPoom** session) {
        if (*session == nullptr) *session = new SessionDouble;
        return static_cast<SessionDouble&>(**session);
    }
};

using ContactDatabase = OpenUp<CKezAspDBContact>;
using TaskDatabase = OpenUp<CKezAspDBTask>;
using AppointmentDatabase = OpenUp<CKezAspDBAppt>;
using CategoriesDatabase = OpenUp<CKezAspDBCategories>;

}  // namespace kez::tests
