#include "emulator/World.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/ManagerMessages.h"

namespace emulator {
namespace {

using namespace accessory;

// A touch screen for one finger: in contact or not, and where.
constexpr uint8_t kTouchScreen[] = {
    0x05, 0x0D, 0x09, 0x04, 0xA1, 0x01, 0x09, 0x22, 0xA1, 0x02, 0x09, 0x42, 0x15, 0x00, 0x25,
    0x01, 0x75, 0x01, 0x95, 0x01, 0x81, 0x02, 0x95, 0x07, 0x81, 0x03, 0x05, 0x01, 0x09, 0x30,
    0x26, 0xFF, 0x0F, 0x75, 0x10, 0x95, 0x01, 0x81, 0x02, 0x09, 0x31, 0x81, 0x02, 0xC0, 0xC0,
};

// Little-endian numbers behind a letter that tells the kind of event.
class Cooked {
public:
    explicit Cooked(char kind) { bytes.push_back(static_cast<uint8_t>(kind)); }

    template <typename Number>
    void add(Number value) {
        for (size_t i = 0; i < sizeof(value); ++i) {
            bytes.push_back(static_cast<uint8_t>(static_cast<uint64_t>(value) >> (8 * i)));
        }
    }

    tool::Bytes bytes;
};

tool::Bytes cook(MVSItemAccessoryTouchEvent& touch) {
    Cooked cooked('T');
    cooked.add(touch.accessoryId());
    cooked.add(touch.time);
    cooked.add(touch.action);
    cooked.add(touch.extra);
    cooked.add(touch.count);
    for (int32_t i = 0; touch.array1 != nullptr && i < touch.count; ++i) {
        cooked.add(touch.array1[i]);
        cooked.add(touch.array2[i]);
        cooked.add(touch.array3[i]);
    }
    return cooked.bytes;
}

tool::Bytes cookKey(MVSItemAccessoryCommon& key) {
    Cooked cooked('K');
    cooked.add(key.accessoryId());
    cooked.add(key.intValue);
    cooked.add(static_cast<uint8_t>(key.boolValue ? 1 : 0));
    return cooked.bytes;
}

tool::Bytes cookCalibration(MVSItemAccessoryCommon& calibration) {
    Cooked cooked('C');
    cooked.add(calibration.accessoryId());
    return cooked.bytes;
}

Reply commonReply(int32_t result) {
    sp<MVSReplyCommon> reply = new MVSReplyCommon;
    reply->result = result;
    return reply;
}

Reply rawReply(int32_t result, const tool::Bytes& bytes) {
    sp<MVSReplyRawData> reply = new MVSReplyRawData;
    reply->result = result;
    reply->size = static_cast<int32_t>(bytes.size());
    if (!bytes.empty()) {
        reply->data = new uint8_t[bytes.size()];
        std::copy(bytes.begin(), bytes.end(), reply->data);
    }
    return reply;
}

Reply versionReply(const std::string& version) {
    sp<MVSReplyVersion> reply = new MVSReplyVersion;
    reply->version.setTo(version.c_str());
    return reply;
}

// The class that carries the answer: the operation's own, unless the rule gives what only another
// class can hold, or asks for a wrong one.
int32_t replyType(const Request& request, const Rule& rule) {
    using R = MVServiceReply;
    int32_t type = request.operation == nullptr ? R::COMMON : request.operation->reply;
    const bool holdsResult = type == R::COMMON || type == R::RAW_DATA;
    if (rule.bytes) {
        type = R::RAW_DATA;
    } else if (rule.result && !holdsResult) {
        type = R::COMMON;
    }
    if (rule.instead == Rule::Instead::kWrongClass)
        type = type == R::COMMON ? R::RAW_DATA : R::COMMON;
    return type;
}

}  // namespace

std::optional<int32_t> resultOf(const Reply& reply) {
    if (reply == nullptr) return {};
    if (reply->type() == MVServiceReply::COMMON) {
        return static_cast<MVSReplyCommon&>(*reply).result;
    }
    if (reply->type() == MVServiceReply::RAW_DATA) {
        return static_cast<MVSReplyRawData&>(*reply).result;
    }
    return {};
}

Json answerShown(const Reply& reply, const Rule& rule) {
    Json shown = Json::object();
    if (reply == nullptr) {
        shown[rule.instead == Rule::Instead::kSilence ? "silent" : "noReply"] = true;
        return shown;
    }
    if (const auto result = resultOf(reply)) shown["result"] = *result;
    if (reply->type() == MVServiceReply::RAW_DATA) {
        const auto& raw = static_cast<MVSReplyRawData&>(*reply);
        shown["bytes"] = tool::toHex(raw.data, static_cast<size_t>(raw.size));
    } else if (reply->type() == MVServiceReply::ACCESSORY_IDS) {
        const auto& ids = static_cast<MVSReplyAccessoryIds&>(*reply);
        shown["ids"] = std::vector<uint32_t>(ids.ids, ids.ids + ids.count);
    } else if (reply->type() == MVServiceReply::VERSION) {
        shown["version"] = static_cast<MVSReplyVersion&>(*reply).version.c_str();
    }
    if (rule.instead == Rule::Instead::kWrongClass) shown["mistype"] = replyName(reply->type());
    if (rule.delayMs > 0) shown["delay"] = rule.delayMs;
    return shown;
}

World::World() : descriptor(std::begin(kTouchScreen), std::end(kTouchScreen)) {}

void World::attach(uint32_t id) {
    if (!knows(id)) ids.push_back(id);
}

void World::detach(uint32_t id) {
    ids.erase(std::remove(ids.begin(), ids.end(), id), ids.end());
}

bool World::knows(uint32_t id) const {
    return std::find(ids.begin(), ids.end(), id) != ids.end();
}

int32_t World::normalResult(const Request& request) const {
    if (request.operation == nullptr) return kUnknownCommand;
    const bool refused = request.accessory && !knows(*request.accessory);
    return refused ? kUnknownAccessory : 0;
}

tool::Bytes World::normalBytes(const Request& request, ServiceItem& item) const {
    const std::string_view name = request.name();
    if (name == "getHidDescriptor") return descriptor;
    if (request.accessory && !knows(*request.accessory)) return {};
    if (name == "cookTouchEvent") return cook(static_cast<MVSItemAccessoryTouchEvent&>(item));
    if (name == "cookKeyEvent") return cookKey(static_cast<MVSItemAccessoryCommon&>(item));
    if (name == "cookCalibrateEvent") {
        return cookCalibration(static_cast<MVSItemAccessoryCommon&>(item));
    }
    return {};
}

Reply World::idsReply() const {
    sp<MVSReplyAccessoryIds> reply = new MVSReplyAccessoryIds;
    reply->count = static_cast<uint32_t>(std::min<size_t>(ids.size(), reply->kCapacity));
    std::copy_n(ids.begin(), reply->count, reply->ids);
    return reply;
}

Reply World::answer(const Request& request, ServiceItem& item, const Rule& rule) const {
    using Instead = Rule::Instead;
    if (rule.instead == Instead::kSilence || rule.instead == Instead::kNoReply) return nullptr;
    const int32_t type = replyType(request, rule);
    const int32_t result = rule.result.value_or(normalResult(request));
    switch (type) {
        case MVServiceReply::RAW_DATA:
            return rawReply(result, rule.bytes ? *rule.bytes : normalBytes(request, item));
        case MVServiceReply::ACCESSORY_IDS:
            return idsReply();
        case MVServiceReply::VERSION:
            return versionReply(version);
        default:
            return commonReply(result);
    }
}

}  // namespace emulator
