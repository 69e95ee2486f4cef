// The block of CEPROPVAL in which values are handed out: the elements, then the texts and bytes that they point to, in
// one allocation.
#pragma once

#include <pimstore.h>

#include <optional>
#include <vector>

#include "platform/pocketoutlook/property_bag.h"

namespace kez::pocketoutlook {

// Neither kind of value: flagged as not found.
struct AnsweredProperty {
    CEPROPID id;
    std::optional<Value> made;      // calculated for the answer
    const Value* stored = nullptr;  // of the item; outlives the answer
    const Value* Get() const { return made ? &*made : stored; }
};

// Checks the arguments that GetProps takes everywhere: E_INVALIDARG for null pointers, no identifiers, flags other than
// CEDB_ALLOWREALLOC, a heap together with a caller's block.
HRESULT CheckBlockArguments(const CEPROPID* ids, ULONG flags, WORD count, CEPROPVAL** values, const ULONG* bytes,
                            HANDLE heap);

// With CEDB_ALLOWREALLOC the block comes from `heap` (null: the process heap), an earlier block in `*values` is
// replaced, and the caller frees it with HeapFree. Without, `*values` is the caller's block of `*bytes` bytes; where
// that is too small the result is that of error 122 and `*bytes` the size needed.
HRESULT WriteBlock(const std::vector<AnsweredProperty>& answers, ULONG flags, CEPROPVAL** values, ULONG* bytes,
                   HANDLE heap);

// The value of an element that is to be written, by the type half of its identifier; nothing for a type that no record
// holds. Texts and bytes are copied, a null pointer stands for none.
std::optional<Value> ValueOf(const CEPROPVAL& element);

}  // namespace kez::pocketoutlook
