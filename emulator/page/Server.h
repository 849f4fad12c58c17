#pragma once

#include <memory>

#include "emulator/page/Feed.h"
#include "emulator/page/Guard.h"
#include "emulator/page/PageCommands.h"

namespace emulator::page {

// Serves the page to browsers of this machine: its files, and a stream of what happens. Runs the
// commands that are typed there. One thread at a time.
class Server {
public:
    // How many pages may be open at the same time. Browsers make at most six connections to one
    // server, and commands need one of them.
    static constexpr int kMaxStreams = 5;

    // All three objects must live as long as the server.
    Server(Feed& feed, Service& service, PageCommands& commands);
    // Ends the streams, and waits for the commands that are running.
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    // Takes this port, or any free one for 0. Returns false when it cannot be taken.
    bool bind(const Place& place);
    const Place& place() const { return mPlace; }
    // Begins to serve the connections of this port.
    void serve();

private:
    class Web;
    Place mPlace;
    std::unique_ptr<Web> mWeb;
};

}  // namespace emulator::page
