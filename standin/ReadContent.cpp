#include "standin/ReadContent.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "standin/Log.h"

namespace accessory::standin {

// False when the bytes lie past the end.
inline bool ReadContent::take(void* dest, size_t length) {
    if (length > left()) {
        mEndedEarly = !takeAcross(static_cast<uint8_t*>(dest), length);
        return !mEndedEarly;
    }
    std::memcpy(dest, mNext, length);
    mNext += length;
    return true;
}

// Everything that is read from now on lies past the end.
bool ReadContent::end() {
    mNext = mEnd;
    mRest = nullptr;
    return false;
}

bool ReadContent::bufferNext() {
    const size_t size = mRest == nullptr ? 0 : mRest->nextPart();
    mNext = size == 0 ? nullptr : mRest->bufferPart();
    mEnd = mNext == nullptr ? nullptr : mNext + size;
    return mNext != nullptr || end();
}

bool ReadContent::takeAcross(uint8_t* dest, size_t length) {
    if (mRest == nullptr || length > left() + mRest->missing()) return end();
    while (length > 0) {
        if (left() == 0 && length < mRest->nextPart() && !bufferNext()) return false;
        size_t taken = std::min(length, left());
        if (taken > 0) {
            std::memcpy(dest, mNext, taken);
            mNext += taken;
        } else {
            taken = mRest->nextPart();
            if (!mRest->receivePart(dest)) return end();
        }
        dest += taken;
        length -= taken;
    }
    return true;
}

int32_t ReadContent::readBuffer(void* dest, int64_t length) {
    if (length < 0 || (dest == nullptr && length > 0)) return EINVAL;
    return length == 0 || take(dest, static_cast<size_t>(length)) ? 0 : ENODATA;
}

int32_t ReadContent::readInt32() {
    int32_t value = 0;
    return take(&value, sizeof(value)) ? value : 0;
}

int64_t ReadContent::readInt64() {
    int64_t value = 0;
    return take(&value, sizeof(value)) ? value : 0;
}

int32_t ReadContent::reserved1() {
    return ENOSYS;
}

int32_t ReadContent::reserved2() {
    return ENOSYS;
}

// The other side says how long the text is, so without memory for it there is no text.
const char* ReadContent::textAcross() {
    try {
        mText.assign(mNext, mEnd);
        while (bufferNext()) {
            const void* zero = std::memchr(mNext, 0, left());
            const uint8_t* next = zero == nullptr ? mEnd : static_cast<const uint8_t*>(zero) + 1;
            mText.insert(mText.end(), mNext, next);
            mNext = next;
            if (zero != nullptr) return mText.data();
        }
    } catch (const std::bad_alloc&) {
        logError("there is no memory for a text of more than %zu bytes", mText.size());
        end();
    }
    return nullptr;
}

const char* ReadContent::readCString() {
    const void* zero = left() == 0 ? nullptr : std::memchr(mNext, 0, left());
    if (zero == nullptr) return textAcross();
    const uint8_t* text = mNext;
    mNext = static_cast<const uint8_t*>(zero) + 1;
    return reinterpret_cast<const char*>(text);
}

}  // namespace accessory::standin
