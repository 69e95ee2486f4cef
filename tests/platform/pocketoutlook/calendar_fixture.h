// A device with the object model logged on, and short ways to make, change, save and read appointments and tasks.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pimstore.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/control/control.h"
#include "platform/pocketoutlook/com_object.h"
#include "platform/pocketoutlook/options.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {

using pocketoutlook::Ref;

inline DATE At(int year, int month, int day, int hour = 0, int minute = 0, int second = 0) {
    SYSTEMTIME time{
        static_cast<WORD>(year),   static_cast<WORD>(month),  0, static_cast<WORD>(day), static_cast<WORD>(hour),
        static_cast<WORD>(minute), static_cast<WORD>(second), 0};
    DATE date = 0;
    EXPECT_EQ(1, SystemTimeToVariantTime(&time, &date));
    return date;
}

// "2026-03-02 10:00:00".
inline std::string Show(DATE date) {
    SYSTEMTIME time{};
    if (!VariantTimeToSystemTime(date, &time)) return "no time";
    char text[48];
    std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute, time.wSecond);
    return text;
}

// A result in a form that a failed comparison shows usefully.
inline std::string Hr(HRESULT hr) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(hr));
    return text;
}
#define EXPECT_HR(expected, call) EXPECT_EQ(::kez::tests::Hr(expected), ::kez::tests::Hr(call))
#define ASSERT_HR(expected, call) ASSERT_EQ(::kez::tests::Hr(expected), ::kez::tests::Hr(call))

// An automation string for the length of one call.
class Bstr {
 public:
    explicit Bstr(const std::u16string& text) : m_text(SysAllocString(text.c_str())) {}
    ~Bstr() { SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    operator BSTR() const { return m_text; }

 private:
    BSTR m_text;
};

// The value of a getter that must succeed.
template <class Base, class Object, class Out>
Out Get(const Ref<Object>& object, HRESULT (Base::*getter)(Out*)) {
    Out value{};
    EXPECT_HR(S_OK, (object.Get()->*getter)(&value));
    return value;
}

template <class Base, class Object>
std::u16string GetText(const Ref<Object>& object, HRESULT (Base::*getter)(BSTR*)) {
    BSTR text = nullptr;
    EXPECT_HR(S_OK, (object.Get()->*getter)(&text));
    EXPECT_NE(nullptr, text) << "an empty text is a string of no characters, not a null pointer";
    std::u16string copy(text ? text : u"");
    SysFreeString(text);
    return copy;
}

template <class Base, class Object, class Out>
Ref<Out> GetObject(const Ref<Object>& object, HRESULT (Base::*getter)(Out**)) {
    Ref<Out> result;
    EXPECT_HR(S_OK, (object.Get()->*getter)(result.Out()));
    return result;
}

class Calendar : public ::testing::Test {
 protected:
    Calendar() {
        EXPECT_HR(S_OK, CoInitializeEx(nullptr, 0));
        LogOn();
    }
    ~Calendar() override {
        m_application = {};
        CoUninitialize();
        pocketoutlook::SetOptions({});
    }

    void LogOn() {
        EXPECT_HR(S_OK, CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2,
                                         reinterpret_cast<void**>(m_application.Out())));
        EXPECT_HR(S_OK, m_application->Logon(0));
    }

    Ref<IAppointment> NewAppointment() { return Make<IAppointment>(olAppointmentItem); }
    Ref<ITask> NewTask() { return Make<ITask>(olTaskItem); }
    // A saved appointment that begins then and lasts so long, in minutes, without a reminder.
    Ref<IAppointment> SavedAppointment(DATE start, LONG minutes = 60) {
        auto item = NewAppointment();
        EXPECT_HR(S_OK, item->put_Start(start));
        EXPECT_HR(S_OK, item->put_Duration(minutes));
        EXPECT_HR(S_OK, item->put_ReminderSet(VARIANT_FALSE));
        EXPECT_HR(S_OK, item->Save());
        return item;
    }
    // A saved series that repeats daily, endlessly or so many times.
    Ref<IAppointment> DailySeries(DATE start, LONG occurrences = 0, LONG interval = 1) {
        auto item = SavedAppointment(start);
        auto pattern = PatternOf(item);
        EXPECT_HR(S_OK, pattern->put_RecurrenceType(olRecursDaily));
        EXPECT_HR(S_OK, pattern->put_Interval(interval));
        if (occurrences) {
            EXPECT_HR(S_OK, pattern->put_Occurrences(occurrences));
        }
        EXPECT_HR(S_OK, item->Save());
        return item;
    }

    template <class Item>
    Ref<Item> Open(LONG oid) {
        Ref<IDispatch> dispatch;
        EXPECT_HR(S_OK, m_application->GetItemFromOid(oid, dispatch.Out()));
        // The pointer that is handed out is the typed interface itself.
        return Ref<Item>::Attach(static_cast<Item*>(dispatch.Detach()));
    }
    // The same item as another object sees it.
    template <class Item>
    Ref<Item> Again(const Ref<Item>& item) {
        return Open<Item>(Get(item, &Item::get_Oid));
    }

    template <class Item>
    Ref<IRecurrencePattern> PatternOf(const Ref<Item>& item) {
        return GetObject(item, &Item::GetRecurrencePattern);
    }
    template <class Item>
    bool Recurs(const Ref<Item>& item) {
        return Get(item, &Item::get_IsRecurring) == VARIANT_TRUE;
    }
    Ref<IAppointment> Occurrence(const Ref<IAppointment>& series, DATE date) {
        Ref<IAppointment> occurrence;
        EXPECT_HR(S_OK, PatternOf(series)->GetOccurrence(date, occurrence.Out())) << Show(date);
        return occurrence;
    }
    HRESULT OccurrenceResult(const Ref<IAppointment>& series, DATE date) {
        IAppointment* occurrence = reinterpret_cast<IAppointment*>(1);
        const HRESULT hr = PatternOf(series)->GetOccurrence(date, &occurrence);
        if (FAILED(hr)) {
            EXPECT_EQ(nullptr, occurrence);
        } else {
            occurrence->Release();
        }
        return hr;
    }
    Ref<IExceptions> ExceptionsOf(const Ref<IAppointment>& series) {
        return GetObject(PatternOf(series), &IRecurrencePattern::get_Exceptions);
    }
    Ref<IException> ExceptionAt(const Ref<IAppointment>& series, INT index) {
        Ref<IException> entry;
        EXPECT_HR(S_OK, ExceptionsOf(series)->Item(index, entry.Out()));
        return entry;
    }
    // "2026-03-03 10:00:00 deleted" and "... changed", in the order of the list.
    std::vector<std::string> ExceptionList(const Ref<IAppointment>& series) {
        std::vector<std::string> list;
        const auto exceptions = ExceptionsOf(series);
        const INT count = Get(exceptions, &IExceptions::get_Count);
        for (INT i = 1; i <= count; ++i) {
            Ref<IException> entry;
            EXPECT_HR(S_OK, exceptions->Item(i, entry.Out()));
            list.push_back(Show(Get(entry, &IException::get_OriginalDate)) +
                           (Get(entry, &IException::get_Deleted) == VARIANT_TRUE ? " deleted" : " changed"));
        }
        return list;
    }

    // One property of an item as IItem hands it out; its flags in `flags`.
    template <class Item>
    CEPROPVAL Property(const Ref<Item>& item, CEPROPID id) {
        Ref<IItem> face;
        EXPECT_HR(S_OK, item->QueryInterface(IID_IItem, reinterpret_cast<void**>(face.Out())));
        CEPROPVAL* values = nullptr;
        ULONG bytes = 0;
        const HRESULT hr = face->GetProps(&id, CEDB_ALLOWREALLOC, 1, &values, &bytes, GetProcessHeap());
        EXPECT_TRUE(SUCCEEDED(hr)) << Hr(hr);
        CEPROPVAL value = values ? values[0] : CEPROPVAL{};
        HeapFree(GetProcessHeap(), 0, values);
        return value;
    }
    template <class Item>
    bool HasProperty(const Ref<Item>& item, CEPROPID id) {
        return (Property(item, id).wFlags & CEDB_PROPNOTFOUND) == 0;
    }
    template <class Item>
    std::string TimeProperty(const Ref<Item>& item, CEPROPID id) {
        const CEPROPVAL value = Property(item, id);
        if (value.wFlags & CEDB_PROPNOTFOUND) return "absent";
        SYSTEMTIME time{};
        DATE date = 0;
        EXPECT_TRUE(FileTimeToSystemTime(&value.val.filetime, &time));
        EXPECT_EQ(1, SystemTimeToVariantTime(&time, &date));
        return Show(date);
    }
    // Asks for several properties at once; expects one element for each, in the order asked for, and gives the
    // identifiers of those that are there.
    template <class Item>
    std::vector<CEPROPID> Present(const Ref<Item>& item, const std::vector<CEPROPID>& ids) {
        Ref<IItem> face;
        EXPECT_HR(S_OK, item->QueryInterface(IID_IItem, reinterpret_cast<void**>(face.Out())));
        CEPROPVAL* values = nullptr;
        ULONG bytes = 0;
        EXPECT_HR(S_OK, face->GetProps(ids.data(), CEDB_ALLOWREALLOC, static_cast<WORD>(ids.size()), &values, &bytes,
                                       GetProcessHeap()));
        std::vector<CEPROPID> present;
        for (std::size_t i = 0; values && i < ids.size(); ++i) {
            EXPECT_EQ(ids[i], values[i].propid);
            if (!(values[i].wFlags & CEDB_PROPNOTFOUND)) present.push_back(ids[i]);
        }
        HeapFree(GetProcessHeap(), 0, values);
        return present;
    }
    template <class Item>
    HRESULT SetProperty(const Ref<Item>& item, CEPROPVAL value) {
        Ref<IItem> face;
        EXPECT_HR(S_OK, item->QueryInterface(IID_IItem, reinterpret_cast<void**>(face.Out())));
        return face->SetProps(0, 1, &value);
    }

    TestDevice m_device;
    LiveCountsCheck m_live;  // everything taken after the device was opened is given back before it closes
    Ref<IPOutlookApp2> m_application;

 private:
    template <class Item>
    Ref<Item> Make(INT type) {
        Ref<IDispatch> dispatch;
        EXPECT_HR(S_OK, m_application->CreateItem(type, dispatch.Out()));
        return Ref<Item>::Attach(static_cast<Item*>(dispatch.Detach()));
    }
};

}  // namespace kez::tests
