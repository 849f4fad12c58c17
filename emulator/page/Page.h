#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "emulator/Script.h"

namespace emulator::page {

struct PageOptions {
    // As it was given; empty for no page.
    std::string port;
    bool open = false;
};

// Adds the options of an emulator that was built with a page.
void addOptions(CLI::App& app, PageOptions& options);

// The page that shows what the phones would show, and on which a person plays the phone. It is
// served on threads of its own until it is destroyed, which is to be after Service::stop().
class Page {
public:
    // Has the service tell it what happens. Before the service starts. The page of an emulator
    // without --page does nothing.
    Page(const PageOptions& options, Script& script);
    ~Page();
    Page(const Page&) = delete;
    Page& operator=(const Page&) = delete;

    // When the service has started. Answers a sentence when the page cannot be served. Browsers
    // find the page then, and wait for serve().
    std::string start();
    // When this process starts no other one any more, which would inherit the connections.
    void serve();
    // What a browser is told. Empty where there is no page.
    std::string address() const;

private:
    class Served;
    std::unique_ptr<Served> mServed;
};

}  // namespace emulator::page
