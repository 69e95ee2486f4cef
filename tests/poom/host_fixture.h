// The bridge on the device host's real items: a device, its trace log, and sessions as the provider has them.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "poom/ce_poom.h"
#include "poom/platform_support.h"
#include "poom/property_writers.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"
#include "tests/support/traced_lines.h"

namespace kez::tests {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Texts = std::vector<std::string>;

inline constexpr DWORD kContacts = 24;
inline constexpr DWORD kAppointments = 25;
inline constexpr DWORD kTasks = 26;

inline CEPROPVAL Property(CEPROPID id) {
    CEPROPVAL property = {};
    property.propid = id;
    return property;
}
inline CEPROPVAL TextProperty(CEPROPID id, const WCHAR* text) {
    CEPROPVAL property = Property(id);
    property.val.lpwstr = const_cast<LPWSTR>(text);
    return property;
}
inline CEPROPVAL ShortProperty(CEPROPID id, SHORT value) {
    CEPROPVAL property = Property(id);
    property.val.iVal = value;
    return property;
}
inline CEPROPVAL LongProperty(CEPROPID id, LONG value) {
    CEPROPVAL property = Property(id);
    property.val.lVal = value;
    return property;
}
inline DATE DateOf(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0) {
    SYSTEMTIME parts = {year, month, 0, day, hour, minute, 0, 0};
    DATE date = 0.0;
    EXPECT_EQ(SystemTimeToVariantTime(&parts, &date), 1);
    return date;
}
inline CEPROPVAL DateProperty(CEPROPID id, DATE date) {
    CEPROPVAL property = Property(id);
    property.val.filetime = DateToFileTime(date);
    return property;
}

// The value of a getter that succeeds.
template <class Item, class Base, class Value>
Value Get(const Item& item, HRESULT (Base::*getter)(Value*)) {
    Value value = {};
    EXPECT_EQ((item->*getter)(&value), S_OK);
    return value;
}
template <class Item, class Base>
std::u16string GetText(const Item& item, HRESULT (Base::*getter)(BSTR*)) {
    BSTR text = nullptr;
    EXPECT_EQ((item->*getter)(&text), S_OK);
    const std::u16string result = text != nullptr ? std::u16string(text, SysStringLen(text)) : u"";
    SysFreeString(text);
    return result;
}

// A property list and the picture in it, as the caller of GetProps owns them.
class PropertyList {
 public:
    PropertyList() = default;
    ~PropertyList() { Free(); }
    PropertyList(const PropertyList&) = delete;
    PropertyList& operator=(const PropertyList&) = delete;

    // Reads the session's current item.
    BOOL Read(CCEPoom& session, DWORD type, bool convert = true) {
        Free();
        return session.GetProps(1, type, &m_list, &m_count, convert ? 1 : 0);
    }
    const CEPROPVAL* Find(CEPROPID id) const {
        for (WORD i = 0; i < m_count; ++i) {
            if (m_list[i].propid == id) return &m_list[i];
        }
        return nullptr;
    }
    const CEPROPVAL* begin() const { return m_list; }
    const CEPROPVAL* end() const { return m_list + m_count; }
    WORD Count() const { return m_count; }

 private:
    void Free() {
        if (const CEPROPVAL* picture = Find(0xAFE90041); picture != nullptr && picture->wFlags == 0) {
            LocalFree(picture->val.blob.lpb);
        }
        if (m_list != nullptr) HeapFree(GetProcessHeap(), 0, m_list);
        m_list = nullptr;
        m_count = 0;
    }

    CEPROPVAL* m_list = nullptr;
    WORD m_count = 0;
};

class HostBridge : public ::testing::Test {
 protected:
    explicit HostBridge(const std::string& timeZone = "UTC") : device(timeZone), log(device) {
        session.emplace();
        EXPECT_TRUE(session->Logon());
        other.emplace();
    }
    ~HostBridge() override {
        control::ClearFaults();
        other.reset();
        session.reset();
        EXPECT_EQ(CCEPoom::m_polApp, nullptr);
    }

    // From here on everything is traced; Traced() are the lines since then, without their indentation.
    void TraceAll() {
        dbglogSetLevel(100);
        m_seen = log.Lines().size();
    }
    Texts Traced(const std::string& prefix = "") {
        Texts lines = log.Lines();
        Texts found;
        for (std::size_t i = m_seen; i < lines.size(); ++i) {
            const std::string text = lines[i].substr(std::min(lines[i].find_first_not_of(' '), lines[i].size()));
            if (text.compare(0, prefix.size(), prefix) == 0) found.push_back(text);
        }
        m_seen = lines.size();
        return found;
    }

    // A new item of the type, filled and saved through the session.
    CEOID Make(
        DWORD type, const std::function<void()>& fill = [] {}) {
        EXPECT_TRUE(session->InitializeItem(0, type, 0));
        fill();
        CEOID oid = 0;
        EXPECT_EQ(session->Save(&oid), S_OK);
        EXPECT_NE(oid, 0u);
        return oid;
    }
    void Load(DWORD type, CEOID oid) { ASSERT_TRUE(session->InitializeItem(oid, type, static_cast<LONG>(oid))); }
    BOOL Write(const CEPROPVAL& property) {
        if (session->m_pContact != nullptr) return ContactPropToPoom(&property, &*session);
        if (session->m_pTask != nullptr) return TaskPropToPoom(&property, &*session);
        return AppointmentPropToPoom(&property, &*session);
    }
    // A weekly series on Mondays at nine from 2026-03-02, saved.
    CEOID MakeSeries() {
        return Make(kAppointments, [&] {
            session->m_pAppt->put_Start(DateOf(2026, 3, 2, 9));
            session->m_pAppt->put_Duration(60);
            session->m_pAppt->put_Subject(AutomationText(TEXT("Series")).Get());
            session->m_recurrence.bRecurrFound = TRUE;
            session->m_recurrence.RecurrenceType = olRecursWeekly;
            session->m_recurrence.Interval = 1;
            session->m_recurrence.DayOfWeekMask = olMonday;
        });
    }
    // Changes the occurrence of the session's series on that day.
    void ChangeOccurrence(DATE day, const std::function<void(IAppointment*)>& change) {
        Reference<IAppointment> occurrence;
        ASSERT_EQ(session->m_pRec->GetOccurrence(day, occurrence.Out()), S_OK);
        change(occurrence.Get());
    }
    INT CountItems(DWORD type) {
        CCEPoom counter;
        EXPECT_TRUE(counter.InitializeType(type, 0));
        return counter.GetRecordCount();
    }

    TestDevice device;
    LiveCountsCheck liveCounts;
    FreshTraceLog log;
    std::optional<CCEPoom> session;
    std::optional<CCEPoom> other;

 private:
    std::size_t m_seen = 0;
};

}  // namespace kez::tests
