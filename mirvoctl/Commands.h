#pragma once

#include <CLI/CLI.hpp>

#include "mirvoctl/Connection.h"
#include "mirvoctl/Output.h"

namespace mirvoctl {

// What the commands need while they run; each keeps a copy.
struct Context {
    Connection& connection;
    const Output& output;
};

// These add the operations of the library as commands, which run at the end of App::parse and throw
// Failure.
void addManagerCommands(CLI::App& app, const Context& context);
void addDeviceCommands(CLI::App& app, const Context& context);

// Has `app` ask for one of its commands. CLI11's own way to do so complains about a missing command
// where the one given is unknown.
inline void requireCommand(CLI::App& app) {
    app.require_subcommand(0, 1);
    app.final_callback([&app] {
        if (app.get_subcommands().empty()) throw CLI::RequiredError("A command");
    });
}

// An array that the library has handed over.
class Buffer {
public:
    Buffer() = default;
    ~Buffer() { delete[] data; }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    Json shown() const {
        if (data == nullptr) return Json::object();
        return bytesAs("bytes", data, static_cast<size_t>(length));
    }

    char* data = nullptr;
    int length = 0;
};

}  // namespace mirvoctl
