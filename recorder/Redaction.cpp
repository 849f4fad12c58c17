#include "recorder/Redaction.h"

#include <algorithm>
#include <cstring>

#include "protocol/MessageTable.h"

namespace recorder {
namespace {

using namespace accessory;
using namespace recording;

// Goes through the bytes of a message, one field after the other.
class Fields {
public:
    Fields(std::vector<uint8_t>& bytes, uint16_t leftOut, bool input)
        : mNext(bytes.data()), mEnd(mNext + bytes.size()), mLeftOut(leftOut), mInput(input) {}

    // What has been replaced, as a sum of LeftOut.
    uint16_t replaced() const { return mReplaced; }

    void take(const Field& field) {
        switch (field.kind) {
            case FieldKind::kInt32:
            case FieldKind::kUInt32:
            case FieldKind::kFlag:
            case FieldKind::kNotifyFlag:
                return takeNumber(field, sizeof(int32_t));
            case FieldKind::kInt64:
            case FieldKind::kUInt64:
                return takeNumber(field, sizeof(int64_t));
            case FieldKind::kText:
                return takeText();
            case FieldKind::kBytes:
                return takeBytes();
            case FieldKind::kTouch:
                number();
                return replace(left(), 0, kLeftOutInput, mInput);
            case FieldKind::kIds:
            case FieldKind::kNone:
                break;
        }
    }

private:
    size_t left() const { return static_cast<size_t>(mEnd - mNext); }

    int32_t number() {
        int32_t value = 0;
        std::memcpy(&value, mNext, std::min(sizeof(value), left()));
        mNext += std::min(sizeof(value), left());
        return value;
    }

    void replace(size_t size, uint8_t with, uint16_t what, bool wanted) {
        size = std::min(size, left());
        if (wanted && size > 0) {
            std::memset(mNext, with, size);
            mReplaced |= what;
        }
        mNext += size;
    }

    // In such a request, key and flag are the input. The other numbers are accessory and command.
    void takeNumber(const Field& field, size_t size) {
        const bool isKey =
            std::strcmp(field.name, "intValue") == 0 || std::strcmp(field.name, "boolValue") == 0;
        replace(size, 0, kLeftOutInput, mInput && isKey);
    }

    void takeText() {
        const void* zero = left() == 0 ? nullptr : std::memchr(mNext, 0, left());
        const size_t size = zero == nullptr
                                ? left()
                                : static_cast<size_t>(static_cast<const uint8_t*>(zero) - mNext);
        // A single point means that there is no text.
        const bool isNone = size == 1 && *mNext == '.';
        replace(size, '*', kLeftOutText, (mLeftOut & kLeftOutText) != 0 && !isNone);
        replace(1, 0, 0, false);
    }

    void takeBytes() {
        const int32_t size = std::max(number(), 0);
        const bool all = (mLeftOut & kLeftOutBytes) != 0;
        replace(static_cast<size_t>(size), 0, all ? kLeftOutBytes : kLeftOutInput, all || mInput);
    }

    uint8_t* mNext;
    uint8_t* const mEnd;
    const uint16_t mLeftOut;
    const bool mInput;
    uint16_t mReplaced = 0;
};

template <typename Number>
Number at(const Record& record, size_t place) {
    Number value = 0;
    if (record.size >= place + sizeof(value)) {
        std::memcpy(&value, record.content + place, sizeof(value));
    }
    return value;
}

}  // namespace

// True for keys, for touches, and for the replies in which the service returns them as bytes.
bool Redaction::isInput(const Record& record) {
    if (record.frame.kind != FrameKind::kRequest) return mCooking.erase(record.frame.sequence) > 0;
    const int32_t type = record.frame.type;
    const auto command = at<int32_t>(record, sizeof(int32_t));
    const bool isTouch = type == MVServiceItem::ACCESSORY_TOUCH_EVENT;
    const bool isKey = type == MVServiceItem::ACCESSORY_COMMON &&
                       (command == MV_COMMON_SEND_KEY_EVENT || command == MV_COMMON_COOK_KEY_EVENT);
    if ((isTouch && command == MV_TOUCH_COOK) || (isKey && command == MV_COMMON_COOK_KEY_EVENT)) {
        mCooking.insert(record.frame.sequence);
    }
    return isTouch || isKey;
}

void Redaction::apply(Record& record) {
    if (mLeftOut == 0) return;
    const bool input = (mLeftOut & kLeftOutInput) != 0 && isInput(record);
    const MessageLayout* layout = findLayout(record.frame.kind, record.frame.type);
    if (layout == nullptr) return;
    mCopy.assign(record.content, record.content + record.size);
    Fields fields(mCopy, mLeftOut, input);
    for (const Field& field : layout->fields)
        fields.take(field);
    record.header.leftOut = fields.replaced();
    record.content = mCopy.data();
}

}  // namespace recorder
