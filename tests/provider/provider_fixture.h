// A device with a log, and doubles of what stands below the folders.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "database/kez_asp_db_contact.h"
#include "provider/folder.h"
#include "provider/object_handler.h"
#include "provider/store.h"
#include "tests/support/device_log.h"
#include "tests/support/failing_new.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {

class ProviderTest : public ::testing::Test {
 protected:
    ProviderTest() { StartLog(0); }
    ~ProviderTest() override {
        FailNothrowNew(0);
        StopLog();
    }
    void Trace(LONG level) { StartLog(level); }
    std::vector<std::string> Log() const { return TrimmedLog(device); }

    TestDevice device;
};

// A database object that notes what it is asked for and answers what a test wants.
class DatabaseDouble : public CKezAspDBContact {
 public:
    explicit DatabaseDouble(std::vector<std::string>* notes = nullptr)
        : CKezAspDBContact(0), m_notes(notes != nullptr ? notes : &m_own) {}
    ~DatabaseDouble() override { Note("destroyed"); }

    CEOID fillResult = 11;
    std::vector<CEPROPVAL> properties;
    CEOID writeResult = 21;
    HRESULT deleteResult = S_OK;
    HRESULT purgeResult = S_OK;
    HRESULT findResult = 7;
    BOOL notifyResult = TRUE;

    CEOID DBFillPacket(CEOID oid, CKezCEPacket& packet) override {
        Note("DBFillPacket " + std::to_string(oid));
        packet.PropStart(fillResult);
        packet.PropAdd(properties.data(), static_cast<DWORD>(properties.size()));
        packet.PropFini();
        return fillResult;
    }
    CEOID DBWritePacket(CEOID oid, CKezCEPacket& packet) override {
        Note("DBWritePacket " + std::to_string(oid) + " " + std::to_string(packet.GetPropCount()));
        if (whileWriting) whileWriting();
        return writeResult;
    }
    HRESULT DBDelete(CEOID oid, DWORD) override {
        Note("DBDelete " + std::to_string(oid));
        if (whileDeleting) whileDeleting();
        return deleteResult;
    }
    HRESULT Reset(REPLSETUP*) override { return Note("Reset"), 0; }
    HRESULT FindObjects(FINDOBJINFO*) override { return Note("FindObjects"), findResult; }
    BOOL GetObjTypeInfo(OBJTYPEINFO*) override { return Note("GetObjTypeInfo"), TRUE; }
    BOOL GetLastDttm(FILETIME*) override { return Note("GetLastDttm"), TRUE; }
    BOOL ObjectNotify(OBJNOTIFY*) override { return Note("ObjectNotify"), notifyResult; }
    HRESULT Purge() override { return Note("Purge"), purgeResult; }
    void CloseDbDelta() override { Note("CloseDbDelta"); }

    std::function<void()> whileWriting, whileDeleting;
    const std::vector<std::string>& Notes() const { return *m_notes; }

 private:
    void Note(const std::string& text) { m_notes->push_back(text); }

    std::vector<std::string> m_own;
    std::vector<std::string>* m_notes;
};

// A folder whose database objects are doubles, and whose inside can be seen.
class FolderDouble : public CKEZASPContactFolder {
 public:
    explicit FolderDouble(const FolderType& type = kContactFolder) : CKEZASPContactFolder(type) {}
    // Its databases note their end in it.
    ~FolderDouble() override {
        delete m_DB;
        m_DB = nullptr;
    }
    using CBaseFolder::m_DB;
    using CBaseFolder::m_handle;
    using CBaseFolder::m_lastNotifyResult;
    using CBaseFolder::m_partnerIndex;
    std::vector<std::string> notes;
    BOOL uninitializeResult = TRUE;
    std::vector<CKezAspDB*> made;

    BOOL CreateDB(UINT partnerIndex) override {
        notes.push_back("CreateDB " + std::to_string(partnerIndex));
        m_DB = new DatabaseDouble(&notes);
        made.push_back(m_DB);
        return TRUE;
    }
    BOOL UnInitialize() override {
        notes.push_back("UnInitialize");
        CBaseFolder::UnInitialize();
        return uninitializeResult;
    }
    DatabaseDouble& Database() { return *static_cast<DatabaseDouble*>(m_DB); }
};

}  // namespace kez::tests
