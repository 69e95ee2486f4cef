// COM: the models of threads, and making objects of registered classes.
#include <gtest/gtest.h>

#include <thread>

#include "platform/automation/class_table.h"
#include "platform/control/control.h"

namespace {

constexpr CLSID kCounter = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr CLSID kUnknownClass = {0x99999999, 0, 0, {}};
constexpr IID kUnknownInterface = {0x77777777, 0, 0, {}};

class Thing final : public IUnknown {
 public:
    HRESULT QueryInterface(REFIID riid, void** out) override {
        *out = nullptr;
        if (riid != IID_IUnknown) return E_NOINTERFACE;
        *out = this;
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_count; }
    ULONG Release() override {
        const ULONG left = --m_count;
        if (left == 0) delete this;
        return left;
    }

    static HRESULT Create(REFIID riid, void** out) {
        auto* thing = new Thing;
        const HRESULT result = thing->QueryInterface(riid, out);
        thing->Release();
        return result;
    }

 private:
    ~Thing() = default;
    ULONG m_count = 1;
};

HRESULT LeaveDirt(REFIID, void** out) {
    static int dirt;
    *out = &dirt;
    return E_OUTOFMEMORY;
}

// Everything runs in a thread of its own, because a thread keeps its model.
void InThread(const std::function<void()>& body) { std::thread(body).join(); }

TEST(ComRuntime, AThreadChoosesItsModelOnce) {
    InThread([] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_FALSE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize();
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), RPC_E_CHANGED_MODE) << "one is left to balance";
        CoUninitialize();
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | 0x4 | 0x8), S_FALSE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
        CoUninitialize();  // once too often: nothing
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
    });
}

TEST(ComRuntime, BadArgumentsAreRefused) {
    InThread([] {
        int reserved = 0;
        EXPECT_EQ(CoInitializeEx(&reserved, COINIT_MULTITHREADED), E_INVALIDARG);
        EXPECT_EQ(CoInitializeEx(nullptr, 0x1), E_INVALIDARG);
        EXPECT_EQ(CoInitializeEx(nullptr, 0x100), E_INVALIDARG);
    });
}

TEST(ComRuntime, EachThreadHasToInitialize) {
    InThread([] {
        kez::automation::RegisterClass(kCounter, Thing::Create);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        InThread([] {
            void* out = &out;
            EXPECT_EQ(CoCreateInstance(kCounter, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out),
                      CO_E_NOTINITIALIZED);
            EXPECT_EQ(out, nullptr);
        });
    });
}

TEST(ComRuntime, MakesObjectsOfRegisteredClasses) {
    InThread([] {
        kez::automation::RegisterClass(kCounter, Thing::Create);
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        IUnknown* thing = nullptr;
        EXPECT_EQ(
            CoCreateInstance(kCounter, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, reinterpret_cast<void**>(&thing)),
            S_OK);
        ASSERT_NE(thing, nullptr);
        EXPECT_EQ(thing->AddRef(), 2u);
        EXPECT_EQ(thing->Release(), 1u);
        EXPECT_EQ(thing->Release(), 0u);
        CoUninitialize();
    });
}

TEST(ComRuntime, FailuresLeaveNoPointer) {
    InThread([] {
        kez::automation::RegisterClass(kCounter, Thing::Create);
        CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        constexpr CLSID kDirty = {0x12341234, 0, 0, {}};
        kez::automation::RegisterClass(kDirty, LeaveDirt);
        Thing* outer = reinterpret_cast<Thing*>(&outer);
        struct Row {
            const char* situation;
            const CLSID& clsid;
            IUnknown* outer;
            DWORD context;
            const IID& riid;
            HRESULT result;
        };
        const Row rows[] = {
            {"class not registered", kUnknownClass, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, REGDB_E_CLASSNOTREG},
            {"no such interface", kCounter, nullptr, CLSCTX_INPROC_SERVER, kUnknownInterface, E_NOINTERFACE},
            {"aggregation", kCounter, outer, CLSCTX_INPROC_SERVER, IID_IUnknown, CLASS_E_NOAGGREGATION},
            {"another context", kCounter, nullptr, 4, IID_IUnknown, REGDB_E_CLASSNOTREG},
            {"a class that fails", kDirty, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, E_OUTOFMEMORY},
        };
        for (const Row& row : rows) {
            void* out = &out;
            EXPECT_EQ(CoCreateInstance(row.clsid, row.outer, row.context, row.riid, &out), row.result) << row.situation;
            EXPECT_EQ(out, nullptr) << row.situation;
        }
        EXPECT_EQ(CoCreateInstance(kCounter, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, nullptr), E_POINTER);
        CoUninitialize();
    });
}

TEST(ComRuntime, CallsCanBeMadeToFail) {
    InThread([] {
        kez::automation::RegisterClass(kCounter, Thing::Create);
        kez::control::PlanFault({"CoInitializeEx", 1, 1, static_cast<std::uint32_t>(E_UNEXPECTED)});
        kez::control::PlanFault({"CoCreateInstance", 1, 1, static_cast<std::uint32_t>(E_OUTOFMEMORY)});
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), E_UNEXPECTED);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK) << "the failed one did not count";
        void* out = &out;
        EXPECT_EQ(CoCreateInstance(kCounter, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown, &out), E_OUTOFMEMORY);
        EXPECT_EQ(out, nullptr);
        kez::control::ClearFaults();
    });
}

TEST(ClassTable, ALaterRegistrationReplacesTheFirst) {
    constexpr CLSID kClass = {0x5555, 0, 0, {}};
    EXPECT_EQ(kez::automation::FindClass(kClass), nullptr);
    kez::automation::RegisterClass(kClass, Thing::Create);
    kez::automation::RegisterClass(kClass, LeaveDirt);
    EXPECT_EQ(kez::automation::FindClass(kClass), LeaveDirt);
}

}  // namespace
