// The device's owner at work: items made, changed and deleted through Pocket Outlook, in one line each.
#pragma once

#include <gtest/gtest.h>
#include <pimstore.h>

#include <string>
#include <utility>

namespace kez::tests {

// Holds a COM pointer.
template <class T>
class Held {
 public:
    Held() = default;
    explicit Held(T* pointer) : m_pointer(pointer) {}
    Held(Held&& other) noexcept : m_pointer(other.m_pointer) { other.m_pointer = nullptr; }
    Held& operator=(Held&& other) noexcept {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }
    ~Held() {
        if (m_pointer != nullptr) m_pointer->Release();
    }
    T* operator->() const { return m_pointer; }
    T* Get() const { return m_pointer; }
    T** Out() { return &m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

 private:
    T* m_pointer = nullptr;
};

// An automation string for the length of a call.
class Bstr {
 public:
    Bstr(const char16_t* text) : m_text(SysAllocString(text)) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(m_text); }
    operator BSTR() const { return m_text; }

 private:
    BSTR m_text;
};

// Takes a string that a getter returned.
inline std::u16string Taken(BSTR text) {
    std::u16string result = text != nullptr ? std::u16string(text, SysStringLen(text)) : std::u16string();
    SysFreeString(text);
    return result;
}

// A session of the owner's; it makes the volume with its databases where they are missing.
class Outlook {
 public:
    Outlook() {
        EXPECT_GE(CoInitializeEx(nullptr, COINIT_MULTITHREADED), 0);
        EXPECT_EQ(CoCreateInstance(CLSID_Application, nullptr, CLSCTX_INPROC_SERVER, IID_IPOutlookApp,
                                   reinterpret_cast<void**>(m_application.Out())),
                  S_OK);
        EXPECT_EQ(m_application->Logon(0), S_OK);
    }
    ~Outlook() {
        m_application->Logoff();
        m_application = {};
        CoUninitialize();
    }
    Outlook(const Outlook&) = delete;
    Outlook& operator=(const Outlook&) = delete;

    Held<IContact> NewContact() { return New<IContact>(olContactItem); }
    Held<ITask> NewTask() { return New<ITask>(olTaskItem); }
    Held<IAppointment> NewAppointment() { return New<IAppointment>(olAppointmentItem); }
    Held<IContact> Contact(CEOID oid) { return Load<IContact>(oid); }
    Held<ITask> Task(CEOID oid) { return Load<ITask>(oid); }
    Held<IAppointment> Appointment(CEOID oid) { return Load<IAppointment>(oid); }

    template <class Item>
    static CEOID Saved(const Held<Item>& item) {
        EXPECT_EQ(item->Save(), S_OK);
        LONG oid = 0;
        EXPECT_EQ(item->get_Oid(&oid), S_OK);
        return static_cast<CEOID>(oid);
    }

    CEOID AddContact(const char16_t* firstName) {
        const Held<IContact> contact = NewContact();
        contact->put_FirstName(Bstr(firstName));
        return Saved(contact);
    }
    CEOID AddTask(const char16_t* subject) {
        const Held<ITask> task = NewTask();
        task->put_Subject(Bstr(subject));
        return Saved(task);
    }
    // `start` as a DATE of local time.
    CEOID AddAppointment(const char16_t* subject, DATE start) {
        const Held<IAppointment> appointment = NewAppointment();
        appointment->put_Subject(Bstr(subject));
        appointment->put_Start(start);
        appointment->put_Duration(60);
        return Saved(appointment);
    }
    INT Count(INT folder) {
        Held<IFolder> opened;
        Held<IPOutlookItemCollection> items;
        INT count = -1;
        EXPECT_EQ(m_application->GetDefaultFolder(folder, opened.Out()), S_OK);
        EXPECT_EQ(opened->get_Items(items.Out()), S_OK);
        EXPECT_EQ(items->get_Count(&count), S_OK);
        return count;
    }

 private:
    template <class Item>
    Held<Item> New(INT type) {
        Held<IDispatch> made;
        EXPECT_EQ(m_application->CreateItem(type, made.Out()), S_OK);
        return Held<Item>(static_cast<Item*>(Detach(made)));
    }
    template <class Item>
    Held<Item> Load(CEOID oid) {
        Held<IDispatch> loaded;
        m_application->GetItemFromOid(static_cast<LONG>(oid), loaded.Out());
        return Held<Item>(static_cast<Item*>(Detach(loaded)));
    }
    static IDispatch* Detach(Held<IDispatch>& held) {
        IDispatch* pointer = held.Get();
        *held.Out() = nullptr;
        return pointer;
    }

    Held<IPOutlookApp> m_application;
};

}  // namespace kez::tests
