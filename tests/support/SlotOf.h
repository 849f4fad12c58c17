#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <numeric>
#include <vector>

namespace testing_support {

// The place of a virtual operation in its class's table. A pointer to a member is two words: the
// operation's offset in the table and an adjustment; one bit, in the one or the other word as the
// architecture has it, says that it is virtual.
template <typename Operation>
size_t slotOf(Operation operation) {
    size_t words[2];
    static_assert(sizeof(words) == sizeof(operation));
    memcpy(words, &operation, sizeof(words));
#ifdef __aarch64__
    EXPECT_EQ(words[1], 1u);
#else
    EXPECT_EQ(words[1], 0u);
    EXPECT_EQ(words[0] % sizeof(void*), 1u);
#endif
    return words[0] / sizeof(void*);
}

// A list typed in by hand, to be compared with numbered().
template <typename... Operations>
std::vector<size_t> slotsOf(Operations... operations) {
    return {slotOf(operations)...};
}

inline std::vector<size_t> numbered(size_t first, size_t count) {
    std::vector<size_t> slots(count);
    std::iota(slots.begin(), slots.end(), first);
    return slots;
}

}  // namespace testing_support
