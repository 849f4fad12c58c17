#include "emulator/page/Page.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "emulator/page/Server.h"
#include "standin/ServiceFolder.h"

namespace emulator::page {
namespace {

// Returns the path of a file in the folder of the service's socket.
std::string fileOf(const char* name) {
    return accessory::standin::serviceFolder().path + "/" + name;
}

// Opens the page in the browser of this desktop. The address goes through a file, since every user
// can read the arguments of a process. Returns a sentence when this fails.
std::string openInBrowser(const std::string& address) {
    const std::string file = fileOf("mirvo-emulator.page.html");
    const std::string text =
        "<!doctype html><meta charset=\"utf-8\"><meta name=\"referrer\" content=\"no-referrer\">"
        "<title>mirvo-emulator</title><meta http-equiv=\"refresh\" content=\"0;url=" +
        address + "\"><a href=\"" + address + "\">The emulator's page</a>\n";
    if (!writePrivately(file, text)) {
        return "cannot write " + file + ": " + std::generic_category().message(errno);
    }
    std::array<char*, 3> command = {const_cast<char*>("xdg-open"), const_cast<char*>(file.c_str()),
                                    nullptr};
    // The browser must neither print between the emulator's lines nor read the commands.
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    pid_t process = -1;
    const int error =
        posix_spawnp(&process, command[0], &actions, nullptr, command.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == 0) return "";
    return std::string("cannot run ") + command[0] + ": " + std::generic_category().message(error);
}

}  // namespace

class Page::Served {
public:
    Served(const PageOptions& options, Script& script)
        : mOptions(options), mCommands(script), mServer(mFeed, script.service, mCommands) {
        script.service.tell(mFeed);
    }

    std::string start() {
        const std::string file = fileOf("mirvo-emulator.page");
        const int wanted = *tool::toNumber<uint16_t>(mOptions.port);
        Place place = Place::read(file).value_or(Place{0, makeSecret()});
        if (place.secret.empty()) return "the system gives no secret for the page";
        // For port 0, the port that open pages know is used if it is free.
        const int kept = std::exchange(place.port, wanted);
        bool good = wanted == 0 && kept != 0 && mServer.bind(Place{kept, place.secret});
        if (!good) good = mServer.bind(place);
        if (!good) {
            return "the page cannot be served at port " + mOptions.port +
                   ": it is not free, or not allowed";
        }
        if (!mServer.place().write(file)) {
            return "cannot write " + file + ": " + std::generic_category().message(errno);
        }
        return mOptions.open ? openInBrowser(address()) : "";
    }

    void serve() { mServer.serve(); }
    std::string address() const { return mServer.place().address(); }

private:
    const PageOptions mOptions;
    Feed mFeed;
    PageCommands mCommands;
    Server mServer;
};

void addOptions(CLI::App& app, PageOptions& options) {
    const auto isPort = [](const std::string& given) {
        return tool::toNumber<uint16_t>(given) ? "" : "not a port: " + given;
    };
    auto* port = app.add_option("--page", options.port,
                                "Serve a page that shows phones and requests; 0 is any port")
                     ->type_name("PORT")
                     ->check(isPort);
    app.add_flag("--page-open", options.open, "Show the page in this desktop's browser")
        ->needs(port);
}

Page::Page(const PageOptions& options, Script& script)
    : mServed(options.port.empty() ? nullptr : std::make_unique<Served>(options, script)) {}

Page::~Page() = default;

std::string Page::start() {
    return mServed == nullptr ? "" : mServed->start();
}

void Page::serve() {
    if (mServed != nullptr) mServed->serve();
}

std::string Page::address() const {
    return mServed == nullptr ? "" : mServed->address();
}

}  // namespace emulator::page
