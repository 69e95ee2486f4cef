// A session with the object model on a fresh device, and one-line helpers for tests that talk to it.
#pragma once

#include <pimstore.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/kernel/device_path.h"
#include "platform/pocketoutlook/com_object.h"
#include "tests/support/live_counts_check.h"
#include "tests/support/test_device.h"

namespace kez::tests {

using pocketoutlook::Ref;

// An automation string for the length of a call.
class Bstr {
 public:
    explicit Bstr(const std::u16string& text)
        : m_text(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    ~Bstr() { SysFreeString(m_text); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    operator BSTR() const { return m_text; }  // NOLINT: stands for the string in calls

 private:
    BSTR m_text;
};

// Takes over a string result and makes it printable.
inline std::string Taken(BSTR text) {
    if (!text) return "(null)";
    const std::string utf8 = kernel::ToUtf8(text);
    SysFreeString(text);
    return utf8;
}

template <class Item>
std::string TextOf(const Ref<Item>& item, HRESULT (Item::*getter)(BSTR*)) {
    BSTR text = nullptr;
    const HRESULT hr = (item.Get()->*getter)(&text);
    return hr == S_OK ? Taken(text) : "failed";
}

template <class Item>
HRESULT PutText(const Ref<Item>& item, HRESULT (Item::*setter)(BSTR), const std::u16string& text) {
    return (item.Get()->*setter)(Bstr(text));
}

template <class To, class From>
Ref<To> Query(const Ref<From>& from, REFIID id) {
    Ref<To> to;
    from->QueryInterface(id, reinterpret_cast<void**>(to.Out()));
    return to;
}

template <class Item>
Ref<IItem> AsItem(const Ref<Item>& item) {
    return Query<IItem>(item, IID_IItem);
}

template <class Item>
CEOID OidOf(const Ref<Item>& item) {
    LONG oid = -1;
    item->get_Oid(&oid);
    return static_cast<CEOID>(oid);
}

// What GetProps gave, freed with the block.
class Block {
 public:
    Block() = default;
    ~Block() { HeapFree(GetProcessHeap(), 0, m_values); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    HRESULT Get(const Ref<IItem>& item, const std::vector<CEPROPID>& ids) {
        return item->GetProps(ids.data(), CEDB_ALLOWREALLOC, static_cast<WORD>(ids.size()), &m_values, &m_bytes,
                              GetProcessHeap());
    }
    CEPROPVAL& operator[](std::size_t i) { return m_values[i]; }
    bool Found(std::size_t i) const { return !(m_values[i].wFlags & CEDB_PROPNOTFOUND); }
    std::string Text(std::size_t i) const { return Found(i) ? kernel::ToUtf8(m_values[i].val.lpwstr) : "(absent)"; }
    CEPROPVAL** Out() { return &m_values; }
    ULONG* Bytes() { return &m_bytes; }

 private:
    CEPROPVAL* m_values = nullptr;
    ULONG m_bytes = 0;
};

inline CEPROPVAL TextValue(CEPROPID id, const WCHAR* text) {
    CEPROPVAL value{};
    value.propid = id;
    value.val.lpwstr = const_cast<LPWSTR>(text);
    return value;
}

inline HRESULT SetText(const Ref<IItem>& item, CEPROPID id, const WCHAR* text) {
    CEPROPVAL value = TextValue(id, text);
    return item->SetProps(0, 1, &value);
}

inline DATE DateOf(WORD year, WORD month, WORD day, WORD hour = 0, WORD minute = 0) {
    SYSTEMTIME time{year, month, 0, day, hour, minute, 0, 0};
    DATE date = 0;
    SystemTimeToVariantTime(&time, &date);
    return date;
}

// A device with a session that is logged on; at its end everything has to be given back.
class Outlook {
 public:
    explicit Outlook(bool logOn = true) {
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        m_app = NewApplication();
        if (logOn) m_app->Logon(0);
    }
    ~Outlook() {
        m_app = {};
        CoUninitialize();
    }
    Outlook(const Outlook&) = delete;
    Outlook& operator=(const Outlook&) = delete;

    static Ref<IPOutlookApp2> NewApplication() {
        Ref<IPOutlookApp2> app;
        CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp2,
                         reinterpret_cast<void**>(app.Out()));
        return app;
    }

    TestDevice& Device() { return m_device; }
    Ref<IPOutlookApp2>& App() { return m_app; }

    Ref<IFolder> Folder(INT folder) {
        Ref<IFolder> result;
        m_app->GetDefaultFolder(folder, result.Out());
        return result;
    }
    Ref<IPOutlookItemCollection> Items(INT folder) {
        Ref<IPOutlookItemCollection> items;
        Folder(folder)->get_Items(items.Out());
        return items;
    }

    Ref<IContact> NewContact() {
        IDispatch* item = nullptr;
        m_app->CreateItem(olContactItem, &item);
        return Ref<IContact>::Attach(static_cast<IContact*>(item));
    }
    Ref<IContact> Contact(CEOID oid) {
        IDispatch* item = nullptr;
        m_app->GetItemFromOid(static_cast<LONG>(oid), &item);
        return Ref<IContact>::Attach(static_cast<IContact*>(item));
    }
    // Saves a contact filed under `fileAs` and gives its oid.
    CEOID AddContact(const std::u16string& fileAs) {
        const auto contact = NewContact();
        PutText(contact, &IContact::put_FileAs, fileAs);
        return contact->Save() == S_OK ? OidOf(contact) : 0;
    }

 private:
    TestDevice m_device;
    LiveCountsCheck m_check;
    Ref<IPOutlookApp2> m_app;
};

// The contact at a position, or null.
inline Ref<IContact> ContactAt(const Ref<IPOutlookItemCollection>& items, INT index) {
    IDispatch* item = nullptr;
    items->Item(index, &item);
    return Ref<IContact>::Attach(static_cast<IContact*>(item));
}

inline std::vector<CEOID> OidsOf(const Ref<IPOutlookItemCollection>& items) {
    std::vector<CEOID> oids;
    for (INT i = 1;; i++) {
        const auto item = ContactAt(items, i);
        if (!item) return oids;
        oids.push_back(OidOf(item));
    }
}

inline INT CountOf(const Ref<IPOutlookItemCollection>& items) {
    INT count = -1;
    items->get_Count(&count);
    return count;
}

}  // namespace kez::tests
