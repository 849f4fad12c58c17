#include <cctype>
#include <cstring>

#include "doctor/Memory.h"
#include "doctor/Probe.h"
#include "doctor/Steps.h"

namespace doctor {
namespace {

using namespace accessory;

constexpr size_t kLongestText = 256;
constexpr int32_t kLargestBlock = 1 << 20;
// No accessory has this id, so the service has nothing to do but to refuse it.
constexpr int32_t kNobody = -2;

Verdict noService() {
    return bad(
        "ServiceDiscoverer::bindTo gives no client, so there is no service "
        "\"mirvo.accessory.manager\"");
}

std::string number(int64_t value) {
    return std::to_string(value);
}

// The next text. Ends the step when there is no text.
std::string textOf(DeserializationContent& content) {
    const char* text = content.readCString();
    if (text == nullptr)
        conclude(bad("DeserializationContent::readCString gives null where a text was written"));
    for (size_t length = 0; length < kLongestText; ++length) {
        if (!readable(text + length, 1))
            conclude(bad("DeserializationContent::readCString gives no text"));
        if (text[length] == '\0') return text;
        if (isprint(static_cast<unsigned char>(text[length])) == 0) break;
    }
    conclude(bad("DeserializationContent::readCString gives something that is no text"));
}

Verdict noReply(const Probe& probe, const char* what) {
    if (probe.observed.replyCode == 0) return bad(std::string("no answer to ") + what);
    return bad(std::string("the answer to ") + what + " has the code " +
               number(probe.observed.replyCode) + ", and nothing of it could be read");
}

}  // namespace

Verdict binding(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return noService();
    if (probe.observed.servicename == 0) {
        return bad("there is a client, but ServiceInfo::servicename was not called");
    }
    return good("ServiceDiscoverer::bindTo gives a client for \"mirvo.accessory.manager\"");
}

Verdict request(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return noService();
    const sp<ServiceReply> reply =
        probe.request(MVServiceItem::MANAGER_VERSION,
                      [](SerializationContent& content) { content.writeCString(""); });
    const Observed& observed = probe.observed;
    if (observed.item.type == 0)
        return bad("ServiceClient::request has not called ServiceItem::type");
    if (observed.item.serialization == 0) {
        return bad(std::string("ServiceItem::serialization was not called") +
                   (observed.item.deserialization > 0 ? ", but deserialization was" : ""));
    }
    if (observed.item.serialization > 1) {
        return bad("ServiceItem::serialization was called " + number(observed.item.serialization) +
                   " times instead of once");
    }
    if (reply == nullptr) {
        if (observed.replyCode == 0) return bad("ServiceClient::request gives null: no reply came");
        return bad("ServiceClient::request gives null, although a reply with the code " +
                   number(observed.replyCode) + " was made");
    }
    if (observed.replyFactory == 0 || observed.replyCode == 0) {
        return bad(
            "ServiceClient::request gives something that the ServiceReplyFactory has not made: "
            "ServiceProtocol::replyFactory was called " +
            number(observed.replyFactory) + " times");
    }
    if (reply != observed.made)
        return bad("ServiceClient::request gives another reply than the factory made");
    if (observed.replyCode != MVServiceReply::VERSION) {
        return bad("a request for the version is answered with the code " +
                   number(observed.replyCode));
    }
    if (observed.reply.deserialization != 1) {
        return bad("ServiceReply::deserialization was called " +
                   number(observed.reply.deserialization) + " times instead of once");
    }
    return good("a request for the service's version is answered");
}

Verdict readTexts(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return noService();
    probe.request(
        MVServiceItem::MANAGER_VERSION,
        [](SerializationContent& content) { content.writeCString(""); },
        [](DeserializationContent& content) {
            const std::string version = textOf(content);
            int numbers[3] = {};
            if (sscanf(version.c_str(), "%d.%d.%d", &numbers[0], &numbers[1], &numbers[2]) != 3) {
                conclude(bad("the service's version reads \"" + version + "\", not three numbers"));
            }
            conclude(good("the service's version reads \"" + version + "\""));
        });
    return noReply(probe, "a request for the version");
}

Verdict readIntegers(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return noService();
    probe.command(MV_COMMAND_GET_MIRVO, kNobody, [&](DeserializationContent& content) {
        if (probe.observed.replyCode != MVServiceReply::COMMON) {
            conclude(bad("a question for an accessory is answered with the code " +
                         number(probe.observed.replyCode)));
        }
        const int32_t result = content.readInt32();
        const int32_t first = content.readInt32();
        const int64_t second = content.readInt64();
        // The text comes after the integers, so it can only be read when these could be.
        textOf(content);
        conclude(good("the answer for an accessory that is not there reads " + number(result) +
                      ", " + number(first) + ", " + number(second) + " and a text"));
    });
    return noReply(probe, "a question for an accessory");
}

Verdict readBlocks(const Options& /*options*/) {
    Probe probe;
    if (!probe.bind()) return noService();
    probe.command(MV_COMMAND_GET_HID_DESCRIPTOR, -1, [&](DeserializationContent& content) {
        if (probe.observed.replyCode != MVServiceReply::RAW_DATA) {
            conclude(bad("a request for the HID descriptor is answered with the code " +
                         number(probe.observed.replyCode)));
        }
        const int32_t result = content.readInt32();
        const int32_t size = content.readInt32();
        if (size < 1) {
            conclude(notTried("the service has no HID descriptor (result " + number(result) +
                              "): try again when it has one"));
        }
        if (size > kLargestBlock)
            conclude(bad("DeserializationContent::readInt32 gives " + number(size) +
                         " for the size of a block"));
        constexpr char kUntouched = '\x5a';
        constexpr size_t kBehind = 16;
        const auto length = static_cast<size_t>(size);
        std::string block(length + kBehind, kUntouched);
        content.readBuffer(block.data(), size);
        if (block.find_first_not_of(kUntouched) == std::string::npos) {
            conclude(bad("DeserializationContent::readBuffer has not copied a block of " +
                         number(size) + " bytes"));
        }
        if (block.find_first_not_of(kUntouched, length) != std::string::npos) {
            conclude(bad("DeserializationContent::readBuffer has copied more than the " +
                         number(size) + " bytes asked for"));
        }
        conclude(good("a block of " + number(size) + " bytes was read"));
    });
    return noReply(probe, "a request for the HID descriptor");
}

}  // namespace doctor
