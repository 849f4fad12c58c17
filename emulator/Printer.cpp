#include "emulator/Printer.h"

#include <cstdio>

namespace emulator {
namespace {

// What comes from a client need not be valid text.
std::string dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

// In one piece, so that what several processes write to one file stays readable.
void writeLine(std::string line) {
    line += '\n';
    fwrite(line.data(), 1, line.size(), stdout);
    fflush(stdout);
}

std::string pairs(const Json& values) {
    std::string line;
    for (const auto& [name, value] : values.items()) {
        line += ' ' + name + '=' + dump(value);
    }
    return line;
}

}  // namespace

void Printer::ready(const std::string& service) const {
    writeLine(mJson ? dump({{"ready", service}}) : "ready: " + service);
}

void Printer::request(const Request& request, const Json& answer) const {
    if (mQuiet) return;
    if (mJson) {
        Json line = {{"request", request.name}};
        if (request.accessory) line["accessory"] = *request.accessory;
        line["arguments"] = request.arguments;
        line["answer"] = answer;
        return writeLine(dump(line));
    }
    std::string line = request.name;
    if (request.accessory) line += " accessory=" + std::to_string(*request.accessory);
    line += pairs(request.arguments) + " ->";
    line += answer.contains("silent") ? " silent" : pairs(answer);
    writeLine(line);
}

void Printer::event(const std::string& command) const {
    if (mQuiet) return;
    writeLine(mJson ? dump({{"event", command}}) : "> " + command);
}

}  // namespace emulator
