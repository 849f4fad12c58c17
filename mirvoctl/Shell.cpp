#include "mirvoctl/Shell.h"

#include <algorithm>
#include <csignal>
#include <optional>
#include <string>
#include <vector>

#include "mirvoctl/Completion.h"
#include "mirvoctl/Interpreter.h"
#include "tool/LineReader.h"
#include "tool/Waker.h"

namespace mirvoctl {
namespace {

// What has become of waiting for a line.
struct Line {
    std::optional<std::string> text;
    int signal;
};

Line readLine(tool::LineReader& reader, const Output& output) {
    // Not longer than this: a signal that comes during a command ends the tool.
    tool::Waker waker(output.standard());
    std::optional<std::string> text = reader.next(waker);
    return {std::move(text), waker.signal()};
}

}  // namespace

Outcome runShell(Connection& connection, const Output& output) {
    tool::LineReader reader({"mirvoctl", [] { return "mirvoctl> "; },
                             [&](const std::vector<std::string>& words) {
                                 return complete(Grammar::Place::kShell, words,
                                                 [&] { return connection.idsIfQuick(); });
                             }});
    Outcome worst;
    worst.printed = true;
    while (!output.standard().failed()) {
        const Line line = readLine(reader, output);
        if (line.signal == SIGINT && reader.atTerminal()) continue;
        // As if the shell had not looked for it.
        if (line.signal != 0) raise(line.signal);
        if (!line.text) break;
        Interpreter interpreter(Grammar::Place::kShell, connection, output);
        auto words = tool::splitWords(*line.text);
        if (words && words->empty()) continue;
        if (!words) {
            interpreter.refuse("a quote stays open");
        } else if (interpreter.parse(std::move(*words))) {
            interpreter.perform();
        }
        worst.exit = std::max(worst.exit, interpreter.exitStatus());
        if (interpreter.quit()) break;
    }
    return worst;
}

}  // namespace mirvoctl
