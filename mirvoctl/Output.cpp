#include "mirvoctl/Output.h"

#include <cctype>
#include <cstdio>

#include "mirvoctl/LibraryLog.h"
#include "tool/Text.h"

namespace mirvoctl {
namespace {

// The library gives the status 1 for each failure of its own, and logs a line. The service may give
// it, too.
std::string reasonOf(int status) {
    const std::string logged = status == 1 ? LibraryLog::takeErrors() : "";
    return logged.empty() ? "the service refused it" : logged;
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

Json statusOf(const Outcome::Step& step) {
    return step.status ? Json(*step.status) : Json();
}

}  // namespace

ExitStatus Output::outcome(const std::string& operation, Outcome outcome) const {
    if (!outcome.steps.empty() && outcome.exit == kDone) {
        const int status = outcome.steps.back().status.value_or(0);
        if (status != 0) {
            outcome.exit = kRefused;
            outcome.error = operation + " failed with status " + std::to_string(status) + ": " +
                            reasonOf(status);
        }
    }
    outcome.error = tool::shortened(outcome.error);
    if (json) {
        outcomeAsJson(operation, outcome);
    } else {
        outcomeAsText(operation, outcome);
    }
    if (!outcome.error.empty()) fprintf(stderr, "mirvoctl: %s\n", outcome.error.c_str());
    return outcome.exit;
}

void Output::outcomeAsJson(const std::string& operation, const Outcome& outcome) const {
    if (outcome.printed) return;
    Json line = {{"time", mClock.milliseconds()},
                 {"operation", orNull(operation)},
                 {"ok", outcome.exit == kDone},
                 {"status", outcome.steps.empty() ? Json() : statusOf(outcome.steps.back())},
                 {"error", orNull(outcome.error)},
                 {"exit", static_cast<int>(outcome.exit)}};
    line.update(outcome.data);
    if (outcome.steps.size() == 1) line.update(outcome.steps.front().data);
    if (outcome.steps.size() > 1) {
        for (const Outcome::Step& step : outcome.steps) {
            line["steps"].push_back({{"status", statusOf(step)}});
            line["steps"].back().update(step.data);
        }
    }
    mStandard.writeLine(tool::dump(line));
}

void Output::outcomeAsText(const std::string& operation, const Outcome& outcome) const {
    for (const Outcome::Step& step : outcome.steps) {
        if (quiet && step.data.empty()) continue;
        const std::string shown = !step.status        ? "sent"
                                  : *step.status == 0 ? "ok"
                                                      : "status " + std::to_string(*step.status);
        mStandard.writeLine(
            std::string(operation).append(": ").append(shown).append(tool::pairs(step.data)));
    }
    mStandard.write(outcome.text);
}

void Output::event(const std::string& name, const Json& fields, int64_t time, bool showTime) const {
    if (json) {
        Json line = {{"time", time}, {"event", name}};
        line.update(fields);
        mStandard.writeLine(tool::dump(line));
    } else {
        mStandard.writeLine((showTime ? tool::Clock::prefix(time) : "") + name +
                            tool::pairs(fields));
    }
}

std::string printable(const void* data, size_t length) {
    std::string text;
    for (size_t i = 0; i < length; ++i) {
        const unsigned char byte = static_cast<const unsigned char*>(data)[i];
        text += byte < 0x80 && std::isprint(byte) != 0 ? static_cast<char>(byte) : '.';
    }
    return text;
}

Json bytesAs(const char* name, const void* data, size_t length) {
    return {{name, tool::toHex(data, length)}, {"text", printable(data, length)}};
}

}  // namespace mirvoctl
