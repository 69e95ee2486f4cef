// Automation strings and COM pointers that give themselves back.
#pragma once

#include <windows.h>

#include <utility>

namespace kez::engine {

template <class T>
class ComPtr {
 public:
    ComPtr() = default;
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ComPtr(ComPtr&& other) noexcept : m_pointer(std::exchange(other.m_pointer, nullptr)) {}
    ComPtr& operator=(ComPtr&& other) noexcept {
        std::swap(m_pointer, other.m_pointer);
        return *this;
    }
    ~ComPtr() {
        if (m_pointer) m_pointer->Release();
    }
    T** Out() {
        if (m_pointer) std::exchange(m_pointer, nullptr)->Release();
        return &m_pointer;
    }
    void** OutVoid() { return reinterpret_cast<void**>(Out()); }
    T* operator->() const { return m_pointer; }
    T* Get() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

 private:
    T* m_pointer = nullptr;
};

class AutomationString {
 public:
    AutomationString() = default;
    AutomationString(const AutomationString&) = delete;
    AutomationString& operator=(const AutomationString&) = delete;
    ~AutomationString() { SysFreeString(m_text); }
    BSTR* Out() {
        SysFreeString(std::exchange(m_text, nullptr));
        return &m_text;
    }
    BSTR Get() const { return m_text; }

 private:
    BSTR m_text = nullptr;
};

}  // namespace kez::engine
