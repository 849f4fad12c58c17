#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <ctime>

#include "doctor/Memory.h"
#include "doctor/Probe.h"
#include "doctor/Steps.h"

// A content of the framework cannot be asked what was written into it. So the doctor writes values
// that occur nowhere else, and looks for them in the process's memory. Nothing is sent: each step
// ends before the framework gets its content back.

namespace doctor {
namespace {

using namespace accessory;

// Eight bytes that occur nowhere else in memory. Each call computes them anew from a number that
// looks different, and they stay on the stack, where nobody looks for them.
class Mark {
public:
    explicit Mark(uint64_t number) {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        mNumber =
            (static_cast<uint64_t>(now.tv_nsec) << 20 ^ static_cast<uint64_t>(getpid())) + number;
    }

    uint64_t value() const {
        // Any reversible change of every byte would do, as long as none of them becomes zero.
        uint64_t mixed = mNumber * 0x9e3779b97f4a7c15ULL;
        mixed ^= mixed >> 29;
        return mixed | 0x0101010101010101ULL;
    }

    // In this byte order or in the other one.
    static bool found(uint64_t value, size_t size) {
        uint8_t bytes[sizeof(value)];
        uint8_t turned[sizeof(value)];
        memcpy(bytes, &value, sizeof(value));
        for (size_t i = 0; i < size; ++i)
            turned[i] = bytes[size - 1 - i];
        return inMemory(bytes, size) || inMemory(turned, size);
    }

private:
    uint64_t mNumber;
};

constexpr size_t kWhole = sizeof(uint64_t);
constexpr size_t kHalf = sizeof(uint32_t);

bool textArrives(SerializationContent& content, int32_t& status) {
    const uint64_t value = Mark(1).value();
    char text[kWhole + 1] = {};
    memcpy(text, &value, kWhole);
    calling("SerializationContent::writeCString");
    status = content.writeCString(text);
    return inMemory(text, kWhole);
}

bool int64Arrives(SerializationContent& content) {
    const uint64_t value = Mark(2).value();
    calling("SerializationContent::writeInt64");
    content.writeInt64(static_cast<int64_t>(value));
    return Mark::found(value, kWhole);
}

bool blockArrives(SerializationContent& content) {
    const uint64_t value = Mark(3).value();
    uint8_t block[kWhole];
    memcpy(block, &value, kWhole);
    calling("SerializationContent::writeBuffer");
    content.writeBuffer(block, kWhole);
    return inMemory(block, kWhole);
}

// Runs `look` with a content of the framework.
template <typename Look>
Verdict withContent(Look look) {
    Probe probe;
    if (!probe.bind()) return bad("bindTo gives no client");
    probe.request(MVServiceItem::MANAGER_VERSION,
                  [look](SerializationContent& content) { conclude(look(content)); });
    return bad("ServiceItem::serialization was not called");
}

// `others` says whether anything that was written can be seen at all.
Verdict missing(const char* operation, bool others) {
    if (others)
        return bad("SerializationContent::" + std::string(operation) +
                   " does not write what it is given");
    return notTried(std::string("what SerializationContent::") + operation +
                    " writes cannot be seen in this process's memory");
}

// A slot of an object, as the virtual table has it: behind the two of the destructor.
template <typename Function>
Function slot(SerializationContent& content, size_t number) {
    void** table = nullptr;
    memcpy(&table, static_cast<void*>(&content), sizeof(table));
    Function function = nullptr;
    memcpy(&function, &table[2 + number], sizeof(function));
    return function;
}

}  // namespace

Verdict writtenTexts(const Options& /*options*/) {
    return withContent([](SerializationContent& content) {
        int32_t status = 0;
        const bool arrived = textArrives(content, status);
        if (status != 0)
            return bad("SerializationContent::writeCString reports the error " +
                       std::to_string(status));
        if (!arrived) return missing("writeCString", int64Arrives(content));
        return good("SerializationContent::writeCString copies a text and reports no error");
    });
}

Verdict writtenIntegers(const Options& /*options*/) {
    return withContent([](SerializationContent& content) {
        // An operation that takes 32 bits does not use the upper half of the argument.
        using WriteInt32 = int32_t (*)(SerializationContent*, uint64_t);
        constexpr size_t kWriteInt32 = 1;
        const uint64_t value = Mark(4).value();
        calling("SerializationContent::writeInt32");
        slot<WriteInt32>(content, kWriteInt32)(&content, value);
        if (Mark::found(value, kWhole))
            return bad("SerializationContent::writeInt32 writes 64 bits");
        const bool half = Mark::found(value & UINT32_MAX, kHalf);
        const bool whole = int64Arrives(content);
        if (!half) return missing("writeInt32", whole);
        if (!whole) return missing("writeInt64", half);
        return good("SerializationContent::writeInt32 writes 32 bits and writeInt64 writes 64");
    });
}

Verdict writtenBlocks(const Options& /*options*/) {
    return withContent([](SerializationContent& content) {
        if (!blockArrives(content)) return missing("writeBuffer", int64Arrives(content));
        return good("SerializationContent::writeBuffer copies a block");
    });
}

}  // namespace doctor
