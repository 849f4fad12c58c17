#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "emulator/Script.h"

namespace emulator::page {

struct PageOptions {
    // The port as it was typed; empty for no page.
    std::string port;
    bool open = false;
};

// Adds the options of the page. Adds none when the emulator was built without it.
void addOptions(CLI::App& app, PageOptions& options);

// The page that shows what the phones would show, and on which a person plays the phone. It is
// served on its own threads until it is destroyed. Destroy it after Service::stop().
class Page {
public:
    // Makes the service report to the page. Call it before the service starts. Without --page it
    // does nothing.
    Page(const PageOptions& options, Script& script);
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    // Takes the port. Call it after the service has started. Returns a sentence when this fails,
    // otherwise an empty text. From then on browsers can connect, and wait for serve().
    std::string start();
    // Serves the page. Call it after this process has started its last child, since a child would
    // inherit the connections.
    void serve();
    // Returns the address for a browser; empty when there is no page.
    std::string address() const;

private:
    class Served;
    std::unique_ptr<Served> mServed;
};

}  // namespace emulator::page
