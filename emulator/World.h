#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "emulator/Answers.h"
#include "emulator/Operations.h"
#include "tool/Text.h"

namespace emulator {

// The results with which the emulated service refuses.
constexpr int32_t kUnknownAccessory = 2;
constexpr int32_t kUnknownCommand = 3;

using Reply = accessory::sp<accessory::ServiceReply>;

// The result that a reply carries. Nothing where it carries none.
std::optional<int32_t> resultOf(const Reply& reply);

// What of an answer is printed.
Json answerShown(const Reply& reply, const Rule& rule);

// What the emulated service knows, and how it answers out of that. One thread at a time.
class World {
public:
    // In the order in which they were attached; each once.
    std::vector<uint32_t> ids;
    tool::Bytes descriptor;
    std::string version;

    World();

    void attach(uint32_t id);
    void detach(uint32_t id);
    bool knows(uint32_t id) const;

    // Null where the rule is that there is no reply.
    Reply answer(const Request& request, accessory::ServiceItem& item, const Rule& rule) const;

private:
    int32_t normalResult(const Request& request) const;
    tool::Bytes normalBytes(const Request& request, accessory::ServiceItem& item) const;
    Reply idsReply() const;
};

}  // namespace emulator
