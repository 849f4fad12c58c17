#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "emulator/Events.h"
#include "emulator/LineQueue.h"
#include "emulator/Operations.h"
#include "emulator/World.h"
#include "standin/ServiceHost.h"
#include "tool/Clock.h"
#include "tool/OutputStream.h"

namespace emulator {

// Who asks.
struct Asker {
    pid_t process;
    uint32_t connection;
};

// A request and its answer as JSON: who asked what of whom.
Json shown(const Request& request, accessory::ServiceItem& item, const Asker& asker,
           const Reply& reply, const Rule& rule);

// How a command ended.
struct Outcome {
    // The command, or what of it is worth telling.
    std::string command;
    // Where it stands, as "FILE:LINE".
    std::string place;
    // Empty where all is well. Otherwise the sentence that standard error gets, too.
    std::string error;
    int exit = 0;
};

// Writes what happens to standard output, one line each: in words, or as JSON of which
// docs/schema/mirvo-emulator.schema.json describes every line. Thread-safe.
class Printer {
public:
    struct Options {
        bool json = false;
        bool quiet = false;
        bool timestamps = false;
        bool clients = false;
        // Standard output goes to a file that is to have the errors as well.
        bool errorsToo = false;
    };

    Printer(tool::OutputStream& output, tool::OutputStream& errors, const Options& options);

    // Not even --quiet hides these three: others wait for them.
    void ready(const std::string& service, const std::string& directory);
    void page(const std::string& address);
    void outcome(const Outcome& outcome);
    // Says why the emulator ends before its time. Answers `exit`.
    int refuse(int exit, const std::string& error);

    void request(const Request& request, accessory::ServiceItem& item, const Asker& asker,
                 const Reply& reply, const Rule& rule);
    void event(const Event& event);
    void clients(const std::vector<accessory::ServiceHost::Connection>& connections);
    void help(const std::string& text);
    // What has come of a replay.
    void replay(const Json& summary);
    // The last line: with which status the emulator ends, and what it could not do before.
    void end(int exit, size_t notTaken);

    // Waits until everything is written or the readers take nothing.
    void flush();
    // Waits while too much is not written, as LineQueue says.
    void waitForRoom(const std::function<bool()>& over);

private:
    void put(const std::string& line);
    // Says on standard error what has gone wrong.
    void complain(const std::string& sentence);
    // Adds the time as the first field.
    void put(const Json& fields);
    // The lines that stand for dropped ones, of standard output and of standard error.
    std::string dropped(size_t count) const;
    std::string droppedText(size_t count) const;

    const Options mOptions;
    const tool::Clock mClock;
    LineQueue mLines;
    LineQueue mErrors;
};

}  // namespace emulator
