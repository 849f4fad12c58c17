#include "emulator/Printer.h"

namespace emulator {

using tool::dump;
using tool::pairs;

void Printer::ready(const std::string& service) const {
    mOutput.writeLine(mJson ? dump({{"ready", service}}) : "ready: " + service);
}

void Printer::request(const Request& request, const Json& answer) const {
    if (mQuiet) return;
    if (mJson) {
        Json line = {{"request", request.name}};
        if (request.accessory) line["accessory"] = *request.accessory;
        line["arguments"] = request.arguments;
        line["answer"] = answer;
        mOutput.writeLine(dump(line));
        return;
    }
    std::string line = request.name;
    if (request.accessory) line += " accessory=" + std::to_string(*request.accessory);
    line += pairs(request.arguments) + " ->";
    line += answer.contains("silent") ? " silent" : pairs(answer);
    mOutput.writeLine(line);
}

void Printer::event(const std::string& command) const {
    if (mQuiet) return;
    mOutput.writeLine(mJson ? dump({{"event", command}}) : "> " + command);
}

}  // namespace emulator
