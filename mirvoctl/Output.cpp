#include "mirvoctl/Output.h"

#include <cctype>

#include "tool/Text.h"

namespace mirvoctl {
namespace {

// The library's own failures and one code of the service look the same.
const char* reason(int status, bool quiet) {
    if (status != 1) return "the service refused it";
    if (quiet) {
        return "without --quiet a line of the library tells why, if not the service refused it";
    }
    return "look for a line of the library above, which tells why it could not complete the"
           " request; without one the service refused it";
}

}  // namespace

void Output::result(const std::string& operation, int status, const Json& data) const {
    if (json) {
        Json line = {{"operation", operation}, {"status", status}};
        line.update(data);
        mStandard.writeLine(tool::dump(line));
    } else if (!quiet || !data.empty()) {
        const std::string shown = status == 0 ? "ok" : "status " + std::to_string(status);
        mStandard.writeLine(operation + ": " + shown + tool::pairs(data));
    }
    if (status == 0) return;
    throw Failure(kRefused, operation + " failed with status " + std::to_string(status) + ": " +
                                reason(status, quiet));
}

void Output::sent(const std::string& operation) const {
    if (json) {
        mStandard.writeLine(tool::dump({{"operation", operation}}));
    } else if (!quiet) {
        mStandard.writeLine(operation + ": sent");
    }
}

void Output::event(const std::string& name, const Json& values) const {
    if (!json) {
        mStandard.writeLine(name + tool::pairs(values));
        return;
    }
    Json line = {{"event", name}};
    line.update(values);
    mStandard.writeLine(tool::dump(line));
}

Json bytesAs(const char* name, const void* data, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        const unsigned char byte = static_cast<const unsigned char*>(data)[i];
        text += byte < 0x80 && std::isprint(byte) != 0 ? static_cast<char>(byte) : '.';
    }
    return {{name, tool::toHex(data, length)}, {"text", text}};
}

}  // namespace mirvoctl
