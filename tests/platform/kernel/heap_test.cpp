// The two names of the process heap.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "platform/control/control.h"
#include "tests/support/live_counts_check.h"

namespace {

using kez::tests::LiveCountsCheck;

constexpr DWORD kUnchanged = 4711;
constexpr SIZE_T kTooLarge = std::numeric_limits<SIZE_T>::max();

class Heap : public testing::Test {
 protected:
    Heap() { SetLastError(kUnchanged); }
    ~Heap() override { kez::control::ClearFaults(); }

    static bool AllZero(const void* block, SIZE_T from, SIZE_T to) {
        const auto* bytes = static_cast<const BYTE*>(block);
        return std::all_of(bytes + from, bytes + to, [](BYTE byte) { return byte == 0; });
    }

    LiveCountsCheck m_live;
};

TEST_F(Heap, LocalAllocGivesZeroedAlignedBlocksOfExactSize) {
    for (const SIZE_T size : {0u, 1u, 7u, 8u, 15u, 16u, 17u, 100u, 4'096u, 100'001u}) {
        HLOCAL block = LocalAlloc(LPTR, size);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(LocalSize(block), size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 16, 0u) << size;
        EXPECT_TRUE(AllZero(block, 0, size)) << size;
        EXPECT_EQ(LocalFree(block), nullptr) << size;
    }
    EXPECT_EQ(GetLastError(), kUnchanged);
}

TEST_F(Heap, LocalReAllocKeepsTheContentAndZeroesTheGrowth) {
    for (const UINT flags : {UINT{LMEM_ZEROINIT | LMEM_MOVEABLE}, LMEM_ZEROINIT}) {
        HLOCAL block = LocalAlloc(LPTR, 100);
        std::memset(block, 0x5A, 100);
        for (const SIZE_T size : {300u, 40u, 200'000u}) {  // grow, shrink, grow again
            block = LocalReAlloc(block, size, flags);
            ASSERT_NE(block, nullptr);
            EXPECT_EQ(LocalSize(block), size);
            EXPECT_EQ(static_cast<BYTE*>(block)[39], 0x5A);
            EXPECT_TRUE(AllZero(block, size == 300 ? 100 : 40, size)) << "flags " << flags << ", size " << size;
        }
        LocalFree(block);
    }
}

TEST_F(Heap, LocalReAllocToNothingKeepsAValidBlock) {
    HLOCAL block = LocalAlloc(LPTR, 10);
    block = LocalReAlloc(block, 0, LMEM_ZEROINIT | LMEM_MOVEABLE);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(LocalSize(block), 0u);
    EXPECT_EQ(LocalFree(block), nullptr);
}

TEST_F(Heap, EveryGrowthCanBeMadeToFailAndTheOldBlockStays) {
    HLOCAL block = LocalAlloc(LPTR, 10);
    std::memset(block, 0x5A, 10);
    kez::control::PlanFault({"LocalReAlloc", 1, 0xFFFFFFFF, ERROR_NOT_ENOUGH_MEMORY});
    for (int i = 0; i < 3; ++i) {
        SetLastError(kUnchanged);
        EXPECT_EQ(LocalReAlloc(block, 20, LMEM_ZEROINIT), nullptr);
        EXPECT_EQ(GetLastError(), ERROR_NOT_ENOUGH_MEMORY);
    }
    EXPECT_EQ(LocalSize(block), 10u);
    EXPECT_EQ(static_cast<BYTE*>(block)[9], 0x5A);
    EXPECT_EQ(LocalFree(block), nullptr);
}

TEST_F(Heap, FailuresAreThePlatforms) {
    HLOCAL local = LocalAlloc(LPTR, 1);
    LPVOID heap = HeapAlloc(GetProcessHeap(), 0, 1);
    struct Row {
        const char* call;
        std::function<bool()> fails;
        DWORD error;
    };
    const Row rows[] = {
        {"LocalSize(NULL)", [] { return LocalSize(nullptr) == 0; }, 6},
        {"LocalReAlloc(NULL)", [] { return LocalReAlloc(nullptr, 10, LMEM_ZEROINIT) == nullptr; }, 6},
        {"LocalAlloc of too much", [] { return LocalAlloc(LPTR, kTooLarge) == nullptr; }, 8},
        {"LocalAlloc of 2 GB", [] { return LocalAlloc(LPTR, 0x80000000) == nullptr; }, 8},
        {"LocalReAlloc to too much", [&] { return LocalReAlloc(local, kTooLarge, LMEM_MOVEABLE) == nullptr; }, 8},
        {"LocalFree of a heap block", [&] { return LocalFree(heap) == heap; }, 6},
        {"LocalSize of a heap block", [&] { return LocalSize(heap) == 0; }, 6},
        {"HeapFree of a local block", [&] { return !HeapFree(GetProcessHeap(), 0, local); }, 6},
        {"HeapAlloc of too much", [] { return HeapAlloc(GetProcessHeap(), 0, kTooLarge) == nullptr; }, 8},
        {"HeapAlloc without a heap", [] { return HeapAlloc(nullptr, 0, 1) == nullptr; }, 6},
        {"HeapFree without a heap", [&] { return !HeapFree(nullptr, 0, heap); }, 6},
        {"HeapReAlloc(NULL)", [] { return HeapReAlloc(GetProcessHeap(), 0, nullptr, 9) == nullptr; }, 6},
        {"HeapReAlloc without a heap", [&] { return HeapReAlloc(nullptr, 0, heap, 9) == nullptr; }, 6},
        {"HeapReAlloc to too much", [&] { return HeapReAlloc(GetProcessHeap(), 0, heap, kTooLarge) == nullptr; }, 8},
        {"HeapSize(NULL)", [] { return HeapSize(GetProcessHeap(), 0, nullptr) == kTooLarge; }, 6},
        {"HeapSize without a heap", [&] { return HeapSize(nullptr, 0, heap) == kTooLarge; }, 6},
    };
    for (const Row& row : rows) {
        SetLastError(kUnchanged);
        EXPECT_TRUE(row.fails()) << row.call;
        EXPECT_EQ(GetLastError(), row.error) << row.call;
    }
    LocalFree(local);
    HeapFree(GetProcessHeap(), 0, heap);
}

TEST_F(Heap, FreeingNothingIsHarmless) {
    EXPECT_EQ(LocalFree(nullptr), nullptr);
    EXPECT_EQ(HeapFree(GetProcessHeap(), 0, nullptr), TRUE);
    EXPECT_EQ(GetLastError(), kUnchanged);
}

TEST_F(Heap, HeapBlocksHaveExactSizesAndAreZeroedOnRequest) {
    const HANDLE heap = GetProcessHeap();
    for (const SIZE_T size : {0u, 1u, 33u, 70'000u}) {
        LPVOID block = HeapAlloc(heap, HEAP_ZERO_MEMORY, size);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(HeapSize(heap, 0, block), size);
        EXPECT_TRUE(AllZero(block, 0, size));
        std::memset(block, 0x5A, size);
        block = HeapReAlloc(heap, HEAP_ZERO_MEMORY, block, size + 50);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(HeapSize(heap, 0, block), size + 50);
        EXPECT_TRUE(AllZero(block, size, size + 50));
        EXPECT_TRUE(size == 0 || static_cast<BYTE*>(block)[size - 1] == 0x5A) << size;
        EXPECT_EQ(HeapFree(heap, 0, block), TRUE);
    }
}

TEST_F(Heap, LiveBlocksAreCountedByTheirName) {
    const auto start = kez::control::Live();
    HLOCAL local = LocalAlloc(LMEM_FIXED, 5);
    LPVOID heap = HeapAlloc(GetProcessHeap(), 0, 5);
    HLOCAL second = LocalAlloc(LPTR, 0);
    EXPECT_EQ(kez::control::Live().localBlocks, start.localBlocks + 2);
    EXPECT_EQ(kez::control::Live().heapBlocks, start.heapBlocks + 1);
    local = LocalReAlloc(local, 500, LMEM_ZEROINIT | LMEM_MOVEABLE);
    EXPECT_EQ(kez::control::Live().localBlocks, start.localBlocks + 2);
    LocalFree(local);
    LocalFree(second);
    HeapFree(GetProcessHeap(), 0, heap);
    EXPECT_EQ(kez::control::Live(), start);
}

TEST_F(Heap, PlannedFaultsFailEachCall) {
    HLOCAL local = LocalAlloc(LPTR, 1);
    LPVOID heap = HeapAlloc(GetProcessHeap(), 0, 1);
    struct Row {
        const char* call;
        std::function<bool()> fails;
    };
    const Row rows[] = {
        {"LocalAlloc", [] { return LocalAlloc(LPTR, 1) == nullptr; }},
        {"LocalReAlloc", [&] { return LocalReAlloc(local, 2, LMEM_MOVEABLE) == nullptr; }},
        {"LocalFree", [&] { return LocalFree(local) == local; }},
        {"HeapAlloc", [] { return HeapAlloc(GetProcessHeap(), 0, 1) == nullptr; }},
        {"HeapReAlloc", [&] { return HeapReAlloc(GetProcessHeap(), 0, heap, 2) == nullptr; }},
        {"HeapFree", [&] { return !HeapFree(GetProcessHeap(), 0, heap); }},
    };
    for (const Row& row : rows) {
        kez::control::PlanFault({row.call, 1, 1, 77});
        EXPECT_TRUE(row.fails()) << row.call;
        EXPECT_EQ(GetLastError(), 77u) << row.call;
    }
    LocalFree(local);
    HeapFree(GetProcessHeap(), 0, heap);
}

}  // namespace
