#include "emulator/Printer.h"

#include <sys/stat.h>
#include <unistd.h>

#include <map>

#include "emulator/RequestLog.h"

namespace emulator {

using accessory::ServiceHost;

Json shown(const Request& request, accessory::ServiceItem& item, const Asker& asker,
           const Reply& reply, const Rule& rule) {
    Json fields = {{"request", request.name()}};
    if (request.accessory) fields["accessory"] = *request.accessory;
    fields.update({{"pid", asker.process}, {"connection", asker.connection}});
    fields["arguments"] = argumentsOf(item);
    fields["answer"] = answerShown(reply, rule);
    return fields;
}

Printer::Printer(tool::OutputStream& output, tool::OutputStream& errors, const Options& options)
    : mOptions(options),
      mLines(output, LineQueue::Writes::kLater, [this](size_t count) { return dropped(count); }),
      mErrors(errors, LineQueue::Writes::kNowIfTaken,
              [this](size_t count) { return droppedText(count); }) {}

void Printer::flush() {
    mLines.flush();
    mErrors.flush();
}

void Printer::waitForRoom(const std::function<bool()>& over) {
    mLines.waitForRoom(over);
    mErrors.waitForRoom(over);
}

void Printer::put(const std::string& line) {
    mLines.put(mOptions.timestamps ? tool::Clock::prefix(mClock.milliseconds()) + line : line);
}

void Printer::complain(const std::string& sentence) {
    if (mOptions.json || !mOptions.errorsToo) {
        mErrors.put(sentence);
        return;
    }
    // In the background standard error is the same file, in which everything is to be in order.
    struct stat output = {};
    struct stat errors = {};
    const bool same = fstat(STDOUT_FILENO, &output) == 0 && fstat(STDERR_FILENO, &errors) == 0 &&
                      output.st_dev == errors.st_dev && output.st_ino == errors.st_ino;
    if (!same) mErrors.put(sentence);
    put(sentence);
}

void Printer::put(const Json& fields) {
    Json line = {{"time", mClock.milliseconds()}};
    line.update(fields);
    mLines.put(tool::dump(line));
}

std::string Printer::dropped(size_t count) const {
    if (mOptions.json) {
        return tool::dump({{"time", mClock.milliseconds()}, {"dropped", count}});
    }
    return droppedText(count);
}

std::string Printer::droppedText(size_t count) const {
    const std::string time = mOptions.timestamps ? tool::Clock::prefix(mClock.milliseconds()) : "";
    return time + "dropped " + std::to_string(count) + " lines that nobody read in time";
}

void Printer::ready(const std::string& service, const std::string& directory) {
    if (!mOptions.json) return put("ready: " + service + " in " + directory);
    put({{"ready", service}, {"directory", directory}, {"pid", getpid()}});
}

void Printer::page(const std::string& address) {
    if (!mOptions.json) return put("page: " + address);
    put({{"page", address}});
}

void Printer::outcome(const Outcome& outcome) {
    const bool good = outcome.error.empty();
    const std::string error = tool::shortened(outcome.error);
    if (mOptions.json) {
        Json fields = {{"command", good ? outcome.command : tool::shortened(outcome.command)},
                       {"ok", good}};
        if (!outcome.place.empty()) fields["place"] = outcome.place;
        if (!good) fields.update({{"error", error}, {"exit", outcome.exit}});
        put(fields);
    }
    if (good) return;
    const std::string place = outcome.place.empty() ? "mirvo-emulator" : outcome.place;
    complain(place + ": " + error);
}

int Printer::refuse(int exit, const std::string& error) {
    Outcome refusal;
    refusal.error = error;
    refusal.exit = exit;
    outcome(refusal);
    return exit;
}

void Printer::request(const Request& request, accessory::ServiceItem& item, const Asker& asker,
                      const Reply& reply, const Rule& rule) {
    if (mOptions.quiet) return;
    const Json fields = shown(request, item, asker, reply, rule);
    if (mOptions.json) return put(fields);
    std::string line = shown(request, fields["arguments"]) + " ->";
    if (reply != nullptr) {
        line += tool::pairs(fields["answer"]);
    } else {
        line += rule.instead == Rule::Instead::kSilence ? " silent" : " no-reply";
    }
    if (mOptions.clients) {
        line += " (process " + std::to_string(asker.process) + ", connection " +
                std::to_string(asker.connection) + ")";
    }
    put(line);
}

void Printer::event(const Event& event) {
    if (mOptions.quiet) return;
    if (!mOptions.json) return put("> " + event.command);
    Json fields = event.shown;
    fields["command"] = event.command;
    put(fields);
}

void Printer::clients(const std::vector<ServiceHost::Connection>& connections) {
    // One client is one process, whatever connections it has.
    std::map<pid_t, Json> clients;
    for (const ServiceHost::Connection& connection : connections) {
        Json& client = clients[connection.process];
        if (client.is_null()) {
            client = {{"pid", connection.process}, {"connections", Json::array()}, {"listens", 0}};
        }
        client["connections"].push_back(connection.number);
        if (connection.listens) client["listens"] = client["listens"].get<int>() + 1;
    }
    if (mOptions.json) {
        Json list = Json::array();
        for (const auto& [pid, client] : clients)
            list.push_back(client);
        return put({{"clients", list}});
    }
    if (clients.empty()) put(std::string("no clients"));
    for (const auto& [pid, client] : clients)
        put("client" + tool::pairs(client));
}

void Printer::help(const std::string& text) {
    if (mOptions.json) return put({{"help", text}});
    mLines.put(text.substr(0, text.rfind('\n')));
}

void Printer::replay(const Json& summary) {
    if (mOptions.json) return put({{"replay", summary}});
    put("replay:" + tool::pairs(summary));
}

void Printer::end(int exit, size_t notTaken) {
    if (notTaken > 0) {
        complain("mirvo-emulator: " + std::to_string(notTaken) +
                 " notifications were not taken by their clients");
    }
    if (!mOptions.json) return;
    put({{"end", true}, {"exit", exit}, {"notTaken", notTaken}});
}

}  // namespace emulator
