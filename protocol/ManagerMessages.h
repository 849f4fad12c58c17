#pragma once

#include <utils/String8.h>

#include <cstdint>

#include "protocol/FieldArchive.h"
#include "protocol/MVServiceMessages.h"

// The messages that concern the service as a whole, and all replies. The field lists are the wire
// contract with the service. Where the members stand in another order than on the wire, that order
// is fixed, too.

namespace accessory {

// Asks the service for its version.
class MVSItemManagerVersion final
    : public MessageOf<MVSItemManagerVersion, MVServiceItem, MVServiceItem::MANAGER_VERSION> {
public:
    ~MVSItemManagerVersion() override;

    android::String8 version;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.text(version);
    }
};

// One service-wide command with generic arguments.
class MVSItemManagerCommon final
    : public MessageOf<MVSItemManagerCommon, MVServiceItem, MVServiceItem::MANAGER_COMMON> {
public:
    MVSItemManagerCommon() = default;
    explicit MVSItemManagerCommon(int32_t commandCode) : command(commandCode) {}
    ~MVSItemManagerCommon() override;

    int32_t command = 0;
    int32_t intValue = -1;
    int64_t longValue = -1;
    android::String8 stringValue{noText()};
    bool boolValue = false;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(command);
        archive.int32(intValue);
        archive.int64(longValue);
        archive.text(stringValue);
        archive.flag(boolValue, /*yes=*/1, /*no=*/0);
    }
};

// A service-wide event.
class MVSNotifyManagerCommon final
    : public MessageOf<MVSNotifyManagerCommon, MVServiceNotify, MVServiceNotify::MANAGER_COMMON> {
public:
    ~MVSNotifyManagerCommon() override;

    int32_t notifyType = 0;
    int32_t accessoryId = 0;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(notifyType);
        archive.int32(accessoryId);
    }
};

// kLogName is the name that the log uses when another reply came instead of this one.

// The answer to every request that returns only a status.
class MVSReplyCommon final
    : public MessageOf<MVSReplyCommon, MVServiceReply, MVServiceReply::COMMON> {
public:
    static constexpr const char* kLogName = "MVServiceReply::COMMON";

    ~MVSReplyCommon() override;

    int32_t result = -1;
    int32_t intValue = -1;
    int64_t longValue = -1;
    android::String8 stringValue{noText()};

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(result);
        archive.int32(intValue);
        archive.int64(longValue);
        archive.text(stringValue);
    }
};

class MVSReplyVersion final
    : public MessageOf<MVSReplyVersion, MVServiceReply, MVServiceReply::VERSION> {
public:
    static constexpr const char* kLogName = "MVServiceReply::VERSION";

    ~MVSReplyVersion() override;

    android::String8 version;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.text(version);
    }
};

// The accessories that the service knows. Neither direction lets more ids through than fit.
class MVSReplyAccessoryIds final
    : public MessageOf<MVSReplyAccessoryIds, MVServiceReply, MVServiceReply::ACCESSORY_IDS> {
public:
    static constexpr const char* kLogName = "MVServiceReply::ACCESSORY_IDS";
    static constexpr uint32_t kCapacity = 10;

    ~MVSReplyAccessoryIds() override;

    uint32_t ids[kCapacity] = {};
    uint32_t count = 0;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.ids(count, ids);
    }
};

// A status and a byte block, which belongs to the message. The block can be absent although `size`
// is positive, when it could not be had: look at `data`.
class MVSReplyRawData final
    : public MessageOf<MVSReplyRawData, MVServiceReply, MVServiceReply::RAW_DATA> {
public:
    static constexpr const char* kLogName = "MVServiceReply::RAW_DATA";

    MVSReplyRawData() = default;
    MVSReplyRawData(const MVSReplyRawData&) = delete;
    MVSReplyRawData& operator=(const MVSReplyRawData&) = delete;
    ~MVSReplyRawData() override;

    int32_t result = -1;
    uint8_t* data = nullptr;
    int32_t size = 0;

    template <typename Archive>
    void fields(Archive& archive) {
        archive.int32(result);
        archive.block(data, size, /*owned=*/true);
    }
};

}  // namespace accessory
