// What every object of the object model is made of: the reference count with its place in the live counts, the
// pointer that holds a reference, the answers to QueryInterface, and the four IDispatch methods without type
// information.
#pragma once

#include <pimstore.h>

#include <atomic>
#include <type_traits>
#include <utility>

#include "platform/control/control.h"

namespace kez::pocketoutlook {

// Holds one reference. `Attach` takes over a reference that the caller owns, `Share` adds one.
template <class T>
class Ref {
 public:
    Ref() = default;
    Ref(const Ref& other) : m_object(other.m_object) {
        if (m_object) m_object->AddRef();
    }
    Ref(Ref&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    Ref& operator=(Ref other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }
    ~Ref() {
        if (m_object) m_object->Release();
    }

    static Ref Attach(T* object) {
        Ref ref;
        ref.m_object = object;
        return ref;
    }
    static Ref Share(T* object) {
        if (object) object->AddRef();
        return Attach(object);
    }

    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    // Gives the reference to the caller.
    T* Detach() { return std::exchange(m_object, nullptr); }
    // For calls that deliver through an out pointer; drops what was held.
    T** Out() {
        *this = Ref();
        return &m_object;
    }

 private:
    T* m_object = nullptr;
};

// The reference count of one object, which starts at 1, and its place in the live counts.
class ReferenceCount {
 public:
    ReferenceCount() { control::CountLive(control::LiveKind::ComObject, 1); }
    ~ReferenceCount() { control::CountLive(control::LiveKind::ComObject, -1); }
    ReferenceCount(const ReferenceCount&) = delete;
    ReferenceCount& operator=(const ReferenceCount&) = delete;

    ULONG Up() { return m_count.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG Down() { return m_count.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    // False where the count has already reached 0: the object is about to go.
    bool UpUnlessGone() {
        ULONG count = m_count.load(std::memory_order_relaxed);
        while (count != 0) {
            if (m_count.compare_exchange_weak(count, count + 1, std::memory_order_acq_rel)) return true;
        }
        return false;
    }

 private:
    std::atomic<ULONG> m_count{1};
};

// The four methods of IDispatch: there is no type information.
template <class Interface>
class WithoutTypeInformation : public Interface {
 public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) final {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, DWORD, ITypeInfo** out) final {
        if (out) *out = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPWSTR*, UINT, DWORD, LONG*) final { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(LONG, REFIID, DWORD, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) final {
        return E_NOTIMPL;
    }
};

// An object with one chain of interfaces. `Interface` is the most derived one, `Ids` are the identifiers of all of
// the chain but IUnknown's. The object deletes itself when its count reaches 0. An object with several chains answers
// for the others in `OtherInterface`.
template <class Interface, const IID&... Ids>
class ComObject
    : public std::conditional_t<std::is_base_of_v<IDispatch, Interface>, WithoutTypeInformation<Interface>, Interface> {
 public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** out) override {
        if (!out) return E_POINTER;
        *out = nullptr;
        if (riid == IID_IUnknown || ((riid == Ids) || ...)) {
            *out = static_cast<Interface*>(this);
        } else {
            *out = OtherInterface(riid);
        }
        if (!*out) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return m_count.Up(); }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = m_count.Down();
        if (left == 0) delete this;
        return left;
    }

 protected:
    ComObject() = default;
    virtual ~ComObject() = default;
    // The pointer for an identifier outside the chain (no reference added), or null.
    virtual void* OtherInterface(REFIID) { return nullptr; }
    ReferenceCount& Count() { return m_count; }

 private:
    ReferenceCount m_count;
};

}  // namespace kez::pocketoutlook
