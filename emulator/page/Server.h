#pragma once

#include <memory>

#include "emulator/page/Feed.h"
#include "emulator/page/Guard.h"
#include "emulator/page/PageCommands.h"

namespace emulator::page {

// Serves the page to browsers of this machine: its files, a stream of what happens, and what is
// typed there. One thread at a time.
class Server {
public:
    // The pages that may be open at the same time. Browsers have six connections to one server, and
    // commands need one of them.
    static constexpr int kMaxStreams = 5;

    // All three stay as long as the server.
    Server(Feed& feed, Service& service, PageCommands& commands);
    // Ends the streams, and waits for the commands that are running.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Takes a port, any free one for 0. False when that cannot be.
    bool bind(const Place& place);
    const Place& place() const { return mPlace; }
    // Begins to serve.
    void serve();

private:
    class Web;
    Place mPlace;
    std::unique_ptr<Web> mWeb;
};

}  // namespace emulator::page
