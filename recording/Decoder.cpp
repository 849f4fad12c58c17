#include "recording/Decoder.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "protocol/MVDeviceRecords.h"

namespace recording {
namespace {

using namespace accessory;

std::string toHex(const uint8_t* data, size_t size) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(2 * size);
    for (size_t i = 0; i < size; ++i) {
        text += kDigits[data[i] >> 4];
        text += kDigits[data[i] & 15];
    }
    return text;
}

// Reads one value after the other. Past the end each value is 0 or empty.
class Values {
public:
    Values(const uint8_t* data, size_t size) : mNext(data), mEnd(data + size) {}

    template <typename Number>
    Number number() {
        Number value = 0;
        const uint8_t* bytes = take(sizeof(value));
        if (bytes != nullptr) std::memcpy(&value, bytes, sizeof(value));
        return value;
    }

    std::string text() {
        const size_t size = left();
        const void* zero = size == 0 ? nullptr : std::memchr(mNext, 0, size);
        if (zero == nullptr) {
            take(size + 1);
            return {};
        }
        std::string value(reinterpret_cast<const char*>(mNext));
        mNext = static_cast<const uint8_t*>(zero) + 1;
        return value;
    }

    // Null when fewer bytes are left; nothing is left then.
    const uint8_t* take(size_t size) {
        const uint8_t* bytes = mNext;
        mGood = mGood && size <= left();
        if (!mGood) return nullptr;
        mNext += size;
        return bytes;
    }

    size_t left() const { return mGood ? static_cast<size_t>(mEnd - mNext) : 0; }
    bool good() const { return mGood; }
    bool whole() const { return mGood && mNext == mEnd; }

private:
    const uint8_t* mNext;
    const uint8_t* const mEnd;
    bool mGood = true;
};

void readTouch(Values& values, Json& message) {
    const auto count = values.number<int32_t>();
    message["count"] = count;
    message["action"] = values.number<int32_t>();
    message["extra"] = values.number<int32_t>();
    constexpr const char* kArrays[] = {"array1", "array2", "array3"};
    for (const char* array : kArrays)
        message[array] = Json::array();
    for (int32_t i = 0; i < count && values.good(); ++i) {
        for (const char* array : kArrays) {
            const auto value = values.number<uint32_t>();
            if (values.good()) message[array].push_back(value);
        }
    }
}

void readBytes(const char* name, Values& values, Json& message) {
    const auto size = static_cast<size_t>(std::max(values.number<int32_t>(), 0));
    const uint8_t* bytes = values.take(size);
    message[name] = bytes == nullptr ? std::string() : toHex(bytes, size);
}

void readIds(const char* name, Values& values, Json& message) {
    message[name] = Json::array();
    const auto count = values.number<uint32_t>();
    for (uint32_t i = 0; i < count && values.good(); ++i) {
        const auto id = values.number<uint32_t>();
        if (values.good()) message[name].push_back(id);
    }
}

void readField(const Field& field, Values& values, Json& message) {
    switch (field.kind) {
        case FieldKind::kInt32:
            message[field.name] = values.number<int32_t>();
            break;
        case FieldKind::kUInt32:
            message[field.name] = values.number<uint32_t>();
            break;
        case FieldKind::kInt64:
            message[field.name] = values.number<int64_t>();
            break;
        case FieldKind::kUInt64:
            message[field.name] = values.number<uint64_t>();
            break;
        case FieldKind::kText:
            message[field.name] = values.text();
            break;
        case FieldKind::kFlag:
            message[field.name] = values.number<int32_t>() != 0;
            break;
        case FieldKind::kNotifyFlag:
            message[field.name] = values.number<int32_t>() == 1;
            break;
        case FieldKind::kBytes:
            return readBytes(field.name, values, message);
        case FieldKind::kIds:
            return readIds(field.name, values, message);
        case FieldKind::kTouch:
            return readTouch(values, message);
        case FieldKind::kNone:
            break;
    }
}

template <size_t Count>
const Usage* findUsage(const Usage (&usages)[Count], int32_t type, int32_t code) {
    const auto* found = std::find_if(std::begin(usages), std::end(usages), [=](const auto& usage) {
        return usage.type == type && (usage.code == code || usage.code == kAnyCode);
    });
    return found == std::end(usages) ? nullptr : found;
}

Json argumentsOf(const Usage& usage, const Json& message) {
    Json arguments = Json::object();
    for (const Argument* next = usage.arguments; next->name != nullptr; ++next) {
        const Json& value = message[next->field];
        if (next->isUnsigned) {
            arguments[next->name] = static_cast<uint32_t>(value.get<int32_t>());
        } else {
            arguments[next->name] = value;
        }
    }
    return arguments;
}

void decodeRequest(Decoded& decoded, int32_t type) {
    const Json& message = decoded.message;
    const int32_t command = message.value("command", 0);
    decoded.usage = findUsage(kOperations, type, command);
    if (message.contains("accessoryId")) {
        decoded.accessory = message["accessoryId"].get<uint32_t>();
    } else if (type == MVServiceItem::MANAGER_COMMON && command == MV_COMMAND_GET_MIRVO) {
        decoded.accessory = static_cast<uint32_t>(message["intValue"].get<int32_t>());
    }
    if (decoded.usage == nullptr) decoded.arguments = {{"item", type}, {"command", command}};
}

// Shows bytes that hold a record as the fields of this record. Bytes that hold none are shown as
// "raw"; the library drops such a notification.
void decodeRecord(Decoded& decoded, const uint8_t* bytes, size_t size) {
    MVDeviceRequest request = {};
    MVDeviceResponse response = {};
    const int32_t code = decoded.usage->code;
    if (code == MV_DEVICE_REQUEST && size >= sizeof(request)) {
        std::memcpy(&request, bytes, sizeof(request));
        const int32_t length = request.dataLength;
        if (request.type == MVDeviceRequest::kNumbers) {
            decoded.arguments = {{"param1", request.param1}, {"param2", request.param2}};
            return;
        }
        if (request.type == MVDeviceRequest::kBytes && length >= 0 &&
            length <= MVDeviceRequest::kMaxData) {
            decoded.name = "request-data";
            decoded.arguments = {{"data", toHex(request.data, static_cast<size_t>(length))}};
            return;
        }
    }
    if (code == MV_DEVICE_RESPONSE && size >= sizeof(response)) {
        std::memcpy(&response, bytes, sizeof(response));
        if (response.type == MVDeviceResponse::kPlain) {
            decoded.arguments = Json::object();
            return;
        }
        if (response.type == MVDeviceResponse::kTimeDate) {
            decoded.name = "time-date";
            decoded.arguments = {{"date1", response.date1},        {"date2", response.date2},
                                 {"date3", response.date3},        {"hour", response.hour},
                                 {"minute", response.minute},      {"second", response.second},
                                 {"fraction", response.fraction},  {"week", response.week},
                                 {"dayOfWeek", response.dayOfWeek}};
            return;
        }
    }
    decoded.name = "raw";
    decoded.arguments = {{"subCode", code}, {"data", toHex(bytes, size)}};
}

void decodeReply(Decoded& decoded, const MessageLayout& layout) {
    decoded.name = layout.name + std::char_traits<char>::length("MVSReply");
    constexpr const char* kRead[][2] = {
        {"result", "result"}, {"data", "bytes"}, {"ids", "ids"}, {"version", "version"}};
    for (const auto& [field, name] : kRead) {
        if (decoded.message.contains(field)) decoded.arguments[name] = decoded.message[field];
    }
}

}  // namespace

Decoded decode(FrameKind kind, int32_t type, const uint8_t* content, size_t size) {
    Decoded decoded;
    const MessageLayout* layout = findLayout(kind, type);
    if (layout == nullptr) {
        decoded.arguments = {{"type", type}, {"data", toHex(content, size)}};
        return decoded;
    }
    Values values(content, size);
    for (const Field& field : layout->fields) {
        if (field.kind != FieldKind::kNone) readField(field, values, decoded.message);
    }
    decoded.whole = values.whole();

    if (kind == FrameKind::kReply) {
        decodeReply(decoded, *layout);
        return decoded;
    }
    if (kind == FrameKind::kRequest) {
        decodeRequest(decoded, type);
    } else {
        const auto code = decoded.message["notifyType"].get<int32_t>();
        decoded.accessory = decoded.message["accessoryId"].get<uint32_t>();
        decoded.usage = findUsage(kEvents, type, code);
        if (decoded.usage == nullptr) decoded.arguments = {{"type", type}, {"notifyType", code}};
    }
    if (decoded.usage == nullptr) return decoded;
    decoded.name = decoded.usage->name;
    decoded.arguments = argumentsOf(*decoded.usage, decoded.message);
    if (decoded.name == "request" || decoded.name == "response") {
        const size_t length = decoded.message["data"].get_ref<std::string&>().size() / 2;
        // The bytes begin behind accessory, type and size.
        decodeRecord(decoded, length == 0 ? content : content + 12, length);
    }
    return decoded;
}

const Usage* findOperation(const std::string& name) {
    const auto* found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                     [&](const auto& operation) { return operation.name == name; });
    return found == std::end(kOperations) ? nullptr : found;
}

int32_t statusOf(const Record& record) {
    return Values(record.content, record.size).number<int32_t>();
}

uint64_t missingRecords(const Record& record) {
    return Values(record.content, record.size).number<uint64_t>();
}

}  // namespace recording
