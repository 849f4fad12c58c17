#pragma once

#include <android/log.h>
#include <utils/String8.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <new>

#include "protocol/ServiceFramework.h"

// One list of fields serves both directions: a message names its fields once, in wire order, in a
// template that a FieldWriter and a FieldReader both walk. What differs between the directions is a
// separate operation of the two classes, such as triplets().

namespace accessory {

// No block that a message reads, and no set of arrays, is larger than this. The size comes from the
// other side and is not to be trusted with the memory of the head unit.
constexpr int64_t kMaxBlockBytes = 16 << 20;

// The text of a message that was given none. All messages share it, so that none is made or freed
// with a message. It is never destroyed, since messages may outlive the static objects.
inline const android::String8& noText() {
    static const auto* text = new android::String8(".");
    return *text;
}

// An array that is full of zeros. Null when it cannot be had.
template <typename T>
T* newArray(int32_t count) {
    return new (std::nothrow) T[static_cast<size_t>(count)]();
}

// The three parallel arrays of a touch event: all of them or none.
struct Triplets {
    static void release(int32_t*& a, int32_t*& b, int32_t*& c) {
        for (int32_t** array : {&a, &b, &c}) {
            delete[] * array;
            *array = nullptr;
        }
    }

    // Returns false, and leaves the arrays null, when they cannot be had.
    static bool allocate(int32_t count, int32_t*& a, int32_t*& b, int32_t*& c) {
        a = newArray<int32_t>(count);
        if (a != nullptr) b = newArray<int32_t>(count);
        if (b != nullptr) c = newArray<int32_t>(count);
        if (c != nullptr) return true;
        release(a, b, c);
        return false;
    }
};

class FieldWriter {
public:
    explicit FieldWriter(SerializationContent& content) : mContent(content) {}

    void int32(int32_t value) { mContent.writeInt32(value); }
    void int32(uint32_t value) { mContent.writeInt32(static_cast<int32_t>(value)); }
    void int64(int64_t value) { mContent.writeInt64(value); }
    void int64(uint64_t value) { mContent.writeInt64(static_cast<int64_t>(value)); }

    void flag(bool value, int32_t yes, int32_t no) { mContent.writeInt32(value ? yes : no); }

    void text(const android::String8& value) {
        const int32_t status = mContent.writeCString(value.c_str());
        if (status != 0) {
            __android_log_print(ANDROID_LOG_WARN, nullptr, "writeCString ret error=%d", status);
        }
    }

    // A block whose bytes are absent goes out with size 0, so that both sides agree on what
    // follows.
    void block(const uint8_t* data, int32_t size, bool /*owned*/) {
        const bool absent = data == nullptr && size > 0;
        mContent.writeInt32(absent ? 0 : size);
        if (data != nullptr && size > 0) mContent.writeBuffer(data, size);
    }

    template <size_t Capacity>
    void ids(uint32_t& count, const uint32_t (&values)[Capacity]) {
        count = std::min<uint32_t>(count, Capacity);
        int32(count);
        for (uint32_t i = 0; i < count; ++i)
            int32(values[i]);
    }

    // The number of triplets that triplets() will write. Arrays that are absent hold none.
    void tripletCount(int32_t count, const int32_t* a, const int32_t* b, const int32_t* c) {
        const bool absent = a == nullptr || b == nullptr || c == nullptr;
        int32(absent ? std::min(count, 0) : count);
    }

    void triplets(int32_t count, const int32_t* a, const int32_t* b, const int32_t* c) {
        if (a == nullptr || b == nullptr || c == nullptr) return;
        for (int32_t i = 0; i < count; ++i) {
            int32(a[i]);
            int32(b[i]);
            int32(c[i]);
        }
    }

private:
    SerializationContent& mContent;
};

class FieldReader {
public:
    explicit FieldReader(DeserializationContent& content) : mContent(content) {}

    void int32(int32_t& value) { value = mContent.readInt32(); }
    void int32(uint32_t& value) { value = static_cast<uint32_t>(mContent.readInt32()); }
    void int64(int64_t& value) { value = mContent.readInt64(); }
    void int64(uint64_t& value) { value = static_cast<uint64_t>(mContent.readInt64()); }

    // Where only one value means yes, every other one means no; where no is 0, every other one
    // means yes.
    void flag(bool& value, int32_t yes, int32_t no) {
        const int32_t received = mContent.readInt32();
        value = no == 0 ? received != 0 : received == yes;
    }

    void text(android::String8& value) {
        const char* received = mContent.readCString();
        if (received == nullptr) {
            __android_log_print(ANDROID_LOG_WARN, nullptr, "readCString ret null.");
            return;
        }
        // Most texts equal the one that the message was made with, so nothing has to be allocated.
        if (strcmp(value.c_str(), received) != 0) value.setTo(received);
    }

    void block(uint8_t*& data, int32_t& size, bool owned) {
        if (owned) delete[] data;
        data = nullptr;
        int32(size);
        if (size < 1) return;
        if (size <= kMaxBlockBytes) data = newArray<uint8_t>(size);
        if (data == nullptr) return logNoMemory(size, sizeof(*data));
        // The status of readBuffer differs between frameworks, so it cannot be used here. Where the
        // content is too short, the block holds zeros.
        mContent.readBuffer(data, size);
    }

    // A count above the capacity, or below 0, is the sender's mistake. Reading on for as long as it
    // says would take for ever.
    template <size_t Capacity>
    void ids(uint32_t& count, uint32_t (&values)[Capacity]) {
        const int32_t received = mContent.readInt32();
        count = static_cast<uint32_t>(std::clamp<int32_t>(received, 0, Capacity));
        for (uint32_t i = 0; i < count; ++i)
            int32(values[i]);
    }

    void tripletCount(int32_t& count, const int32_t*, const int32_t*, const int32_t*) {
        int32(count);
    }

    void triplets(int32_t& count, int32_t*& a, int32_t*& b, int32_t*& c) {
        Triplets::release(a, b, c);
        if (count <= 0) return;
        const bool fits = count <= kMaxBlockBytes / 3 / static_cast<int64_t>(sizeof(*a));
        if (!fits || !Triplets::allocate(count, a, b, c)) {
            logNoMemory(count, sizeof(*a));
            count = 0;
        }
        for (int32_t i = 0; i < count; ++i) {
            int32(a[i]);
            int32(b[i]);
            int32(c[i]);
        }
    }

private:
    static void logNoMemory(int32_t count, size_t size) {
        __android_log_print(ANDROID_LOG_WARN, nullptr, "no memory for %d elements of %zu bytes",
                            count, size);
    }

    DeserializationContent& mContent;
};

// What every message class is made of: its code, and the two directions of its field list, which it
// gives as `template <typename Archive> void fields(Archive& archive)`.
template <typename Message, typename Family, int32_t Code>
class MessageOf : public Family {
public:
    static constexpr int32_t kType = Code;

    void serialization(sp<SerializationContent>& content) override {
        FieldWriter writer(*content);
        static_cast<Message*>(this)->fields(writer);
    }
    void deserialization(sp<DeserializationContent>& content) override {
        FieldReader reader(*content);
        static_cast<Message*>(this)->fields(reader);
    }
    int32_t type() override { return Code; }
};

}  // namespace accessory
