#include "protocol/AccessoryMessages.h"

#include <algorithm>

namespace accessory {

MVSItemAccessoryCommon::~MVSItemAccessoryCommon() = default;
MVSItemAccessoryDisplayConfiguration::~MVSItemAccessoryDisplayConfiguration() = default;
MVSNotifyAccessoryCommon::~MVSNotifyAccessoryCommon() = default;

MVSItemAccessoryRawData::~MVSItemAccessoryRawData() {
    if (ownsData == 1) delete[] data;
}

MVSNotifyAccessoryRawData::~MVSNotifyAccessoryRawData() {
    if (ownsData == 1) delete[] data;
}

MVSItemAccessoryTouchEvent::MVSItemAccessoryTouchEvent(int32_t accessoryId, int32_t commandCode,
                                                       unsigned long long timeStamp,
                                                       int32_t pointers, int32_t actionCode,
                                                       int32_t extraValue, const int32_t* values1,
                                                       const int32_t* values2,
                                                       const int32_t* values3)
    : mAccessoryId(accessoryId),
      command(commandCode),
      time(timeStamp),
      count(std::max(pointers, 0)),
      action(actionCode),
      extra(extraValue) {
    if (values1 == nullptr || values2 == nullptr || values3 == nullptr) count = 0;
    if (!Triplets::allocate(count, array1, array2, array3)) count = 0;
    std::copy_n(values1, count, array1);
    std::copy_n(values2, count, array2);
    std::copy_n(values3, count, array3);
}

MVSItemAccessoryTouchEvent::~MVSItemAccessoryTouchEvent() {
    Triplets::release(array1, array2, array3);
}

}  // namespace accessory
