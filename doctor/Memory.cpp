#include "doctor/Memory.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace doctor {
namespace {

struct Range {
    uintptr_t begin;
    uintptr_t end;
    bool writable;

    bool holds(uintptr_t address, size_t size) const {
        return address >= begin && address < end && size <= end - address;
    }
};

std::vector<Range> readableRanges() {
    std::vector<Range> ranges;
    FILE* maps = fopen("/proc/self/maps", "re");
    if (maps == nullptr) return ranges;
    char line[4096];
    while (fgets(line, sizeof(line), maps) != nullptr) {
        Range range = {};
        char permissions[5] = {};
        if (sscanf(line, "%lx-%lx %4s", &range.begin, &range.end, permissions) != 3) continue;
        // Some memory that the kernel maps into a process cannot be read.
        if (permissions[0] != 'r' || strstr(line, "[v") != nullptr) continue;
        range.writable = permissions[1] == 'w';
        ranges.push_back(range);
    }
    fclose(maps);
    return ranges;
}

const void* pointer(uintptr_t address) {
    return reinterpret_cast<const void*>(address);  // NOLINT(performance-no-int-to-ptr)
}

template <typename T>
bool load(uintptr_t address, T& value) {
    if (address % alignof(T) != 0 || !readable(pointer(address), sizeof(T))) return false;
    memcpy(&value, pointer(address), sizeof(T));
    return true;
}

// A slot of an object's virtual table, counted from the place to which the object's pointer points.
bool loadSlot(uintptr_t object, ptrdiff_t slot, ptrdiff_t& value) {
    uintptr_t table = 0;
    return load(object, table) &&
           load(table + static_cast<uintptr_t>(slot * ptrdiff_t{sizeof(void*)}), value);
}

// The places of these values in a virtual table, by the platform's C++ ABI.
constexpr ptrdiff_t kOffsetToTop = -2;
constexpr ptrdiff_t kOffsetOfVirtualBase = -3;

}  // namespace

bool readable(const void* address, size_t size) {
    const std::vector<Range> ranges = readableRanges();
    return std::any_of(ranges.begin(), ranges.end(), [=](const Range& range) {
        return range.holds(reinterpret_cast<uintptr_t>(address), size);
    });
}

bool inMemory(const void* bytes, size_t size) {
    // The caller's own copy is on its stack, and so is this function's.
    const auto own = reinterpret_cast<uintptr_t>(__builtin_frame_address(0));
    const std::vector<Range> ranges = readableRanges();
    return std::any_of(ranges.begin(), ranges.end(), [=](const Range& range) {
        if (!range.writable || range.holds(own, 1)) return false;
        return memmem(pointer(range.begin), range.end - range.begin, bytes, size) != nullptr;
    });
}

std::string faultOfBase(const void* object) {
    const auto address = reinterpret_cast<uintptr_t>(object);
    ptrdiff_t top = 0;
    ptrdiff_t offset = 0;
    if (!loadSlot(address, kOffsetToTop, top) || !loadSlot(address, kOffsetOfVirtualBase, offset)) {
        return "it has no virtual table";
    }
    const uintptr_t base = address + static_cast<uintptr_t>(offset);
    ptrdiff_t topOfBase = 0;
    // The way from the base has to lead to the same whole object.
    if (offset == 0 || !loadSlot(base, kOffsetToTop, topOfBase) || offset + topOfBase != top) {
        return "its class does not derive virtually from android::RefBase";
    }
    return {};
}

}  // namespace doctor
