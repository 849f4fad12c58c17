#pragma once

#include <utils/String8.h>

#include <cstdint>

#include "protocol/FieldArchive.h"
#include "protocol/MVServiceMessages.h"

// The messages to and from one accessory. Each begins with the accessory's id.

namespace accessory {

class MVSItemAccessoryBase : public MVServiceItem {
public:
    virtual int32_t accessoryId() = 0;
};

class MVSNotifyAccessoryBase : public MVServiceNotify {
public:
    virtual int32_t accessoryId() = 0;
};

// One device command with generic arguments.
class MVSItemAccessoryCommon final : public MessageOf<MVSItemAccessoryCommon, MVSItemAccessoryBase,
                                                      MVServiceItem::ACCESSORY_COMMON> {
public:
    MVSItemAccessoryCommon() = default;
    MVSItemAccessoryCommon(int32_t accessoryId, int32_t commandCode)
        : mAccessoryId(accessoryId), command(commandCode) {}
    ~MVSItemAccessoryCommon() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t command = 0;
    int32_t intValue = -1;
    int64_t longValue = -1;
    android::String8 stringValue{noText()};
    bool boolValue = false;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(command);
        archive.int32(intValue);
        archive.int64(longValue);
        archive.text(stringValue);
        archive.flag(boolValue, /*yes=*/1, /*no=*/0);
    }
};

// A device command with a byte block. One that a factory made owns the block that it reads. One
// that was made with arguments borrows the block that `data` is set to, which must stay until the
// request has returned. Reading does not change which of the two it is.
class MVSItemAccessoryRawData final
    : public MessageOf<MVSItemAccessoryRawData, MVSItemAccessoryBase,
                       MVServiceItem::ACCESSORY_RAW_DATA> {
public:
    MVSItemAccessoryRawData() = default;
    MVSItemAccessoryRawData(int32_t accessoryId, int32_t commandCode)
        : mAccessoryId(accessoryId), command(commandCode), ownsData(0) {}
    MVSItemAccessoryRawData(const MVSItemAccessoryRawData&) = delete;
    MVSItemAccessoryRawData& operator=(const MVSItemAccessoryRawData&) = delete;
    ~MVSItemAccessoryRawData() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t command = 0;
    int32_t intValue = 0;
    int32_t size = 0;
    uint8_t* data = nullptr;
    int32_t ownsData = 1;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(command);
        archive.int32(intValue);
        archive.block(data, size, ownsData == 1);
    }
};

// One touch event. Owns its three arrays of `count` values each, which travel interleaved.
class MVSItemAccessoryTouchEvent final
    : public MessageOf<MVSItemAccessoryTouchEvent, MVSItemAccessoryBase,
                       MVServiceItem::ACCESSORY_TOUCH_EVENT> {
public:
    MVSItemAccessoryTouchEvent() = default;
    // Copies `pointers` values of each array. A negative count, an array that is null, and arrays
    // for which there is no memory, make an event without any pointer.
    MVSItemAccessoryTouchEvent(int32_t accessoryId, int32_t commandCode,
                               unsigned long long timeStamp, int32_t pointers, int32_t actionCode,
                               int32_t extraValue, const int32_t* values1, const int32_t* values2,
                               const int32_t* values3);
    MVSItemAccessoryTouchEvent(const MVSItemAccessoryTouchEvent&) = delete;
    MVSItemAccessoryTouchEvent& operator=(const MVSItemAccessoryTouchEvent&) = delete;
    ~MVSItemAccessoryTouchEvent() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t command = 0;
    uint64_t time = 0;
    int32_t count = 0;
    int32_t action = -1;
    int32_t extra = 0;
    int32_t* array1 = nullptr;
    int32_t* array2 = nullptr;
    int32_t* array3 = nullptr;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(command);
        archive.int64(time);
        archive.tripletCount(count, array1, array2, array3);
        archive.int32(action);
        archive.int32(extra);
        archive.triplets(count, array1, array2, array3);
    }
};

class MVSItemAccessoryDisplayConfiguration final
    : public MessageOf<MVSItemAccessoryDisplayConfiguration, MVSItemAccessoryBase,
                       MVServiceItem::ACCESSORY_DISPLAY_CONFIGURATION> {
public:
    MVSItemAccessoryDisplayConfiguration() = default;
    MVSItemAccessoryDisplayConfiguration(int32_t accessoryId, int32_t commandCode)
        : mAccessoryId(accessoryId), command(commandCode) {}
    ~MVSItemAccessoryDisplayConfiguration() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t command = 0;
    int32_t value1 = 0;
    int32_t value2 = 0;
    int32_t value3 = 0;
    int32_t value4 = 0;
    int32_t value5 = 0;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(command);
        archive.int32(value1);
        archive.int32(value2);
        archive.int32(value3);
        archive.int32(value4);
        archive.int32(value5);
    }
};

// One device event with generic values. Its flag travels as 1 or 2, and only 1 means true.
class MVSNotifyAccessoryCommon final
    : public MessageOf<MVSNotifyAccessoryCommon, MVSNotifyAccessoryBase,
                       MVServiceNotify::ACCESSORY_COMMON> {
public:
    ~MVSNotifyAccessoryCommon() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t notifyType = 0;
    int32_t intValue = -1;
    int32_t intValue2 = -1;
    int64_t longValue = -1;
    android::String8 stringValue{noText()};
    bool boolValue = false;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(notifyType);
        archive.int32(intValue);
        archive.int32(intValue2);
        archive.int64(longValue);
        archive.text(stringValue);
        archive.flag(boolValue, /*yes=*/1, /*no=*/2);
    }
};

// One device event with a byte block. The block can be absent although `size` is positive.
class MVSNotifyAccessoryRawData final
    : public MessageOf<MVSNotifyAccessoryRawData, MVSNotifyAccessoryBase,
                       MVServiceNotify::ACCESSORY_RAW_DATA> {
public:
    MVSNotifyAccessoryRawData() = default;
    MVSNotifyAccessoryRawData(const MVSNotifyAccessoryRawData&) = delete;
    MVSNotifyAccessoryRawData& operator=(const MVSNotifyAccessoryRawData&) = delete;
    ~MVSNotifyAccessoryRawData() override;

    int32_t accessoryId() override { return mAccessoryId; }

    int32_t mAccessoryId = 0;
    int32_t notifyType = 0;
    int32_t size = 0;
    uint8_t* data = nullptr;
    int32_t ownsData = 1;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(mAccessoryId);
        archive.int32(notifyType);
        archive.block(data, size, ownsData == 1);
    }
};

}  // namespace accessory
