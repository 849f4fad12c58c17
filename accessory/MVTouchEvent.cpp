#include "accessory/MVTouchEvent.h"

#include <algorithm>
#include <memory>
#include <new>

namespace {

constexpr int32_t kTouchEventType = 2;

std::unique_ptr<uint32_t[]> copyOf(const uint32_t* values, int32_t count) {
    std::unique_ptr<uint32_t[]> copy(new uint32_t[static_cast<size_t>(count)]);
    std::copy_n(values, count, copy.get());
    return copy;
}

}  // namespace

MVTouchEvent::MVTouchEvent(unsigned long long timeStamp, int pointers, int actionCode,
                           int extraValue, const unsigned int* values1, const unsigned int* values2,
                           const unsigned int* values3)
    : time(timeStamp), count(pointers), action(actionCode), extra(extraValue) {
    if (count < 0) throw std::bad_array_new_length();
    auto copy1 = copyOf(values1, count);
    auto copy2 = copyOf(values2, count);
    auto copy3 = copyOf(values3, count);
    array1 = copy1.release();
    array2 = copy2.release();
    array3 = copy3.release();
}

MVTouchEvent::~MVTouchEvent() {
    delete[] array1;
    delete[] array2;
    delete[] array3;
}

int32_t MVTouchEvent::getEventType() {
    return kTouchEventType;
}
