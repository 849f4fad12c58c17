#include "emulator/page/Server.h"

#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "emulator/page/Assets.h"
#include "emulator/page/BoundedServer.h"
#include "emulator/page/Connections.h"
#include "emulator/page/Counted.h"
#include "emulator/page/Rendering.h"
#include "emulator/page/Stream.h"
#include "emulator/page/Viewer.h"
#include "standin/ServiceFolder.h"

namespace emulator::page {
namespace {

using std::chrono::steady_clock;

// How long a browser may take to send a command, and a recording.
constexpr std::chrono::seconds kCommandTime(10);
constexpr std::chrono::seconds kRecordingTime(60);
// The threads: for streams, for commands, for a recording, and a few for files.
constexpr size_t kThreads = Server::kMaxStreams + PageCommands::kMaxRunning + 1 + 3;

constexpr const char* kJson = "application/json";

const httplib::Headers kHeaders = {
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; "
     "img-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
};

// Returns the command line of this process, quoted for a shell. It begins with the folder of the
// service when that was chosen by a variable.
std::string ownCommand() {
    std::ifstream file("/proc/self/cmdline");
    std::vector<std::string> words;
    for (std::string word; std::getline(file, word, '\0');)
        words.push_back(word);
    const auto [folder, variable] = accessory::standin::serviceFolder();
    if (variable != nullptr && std::string_view(variable) == "SERVICE_FRAMEWORK_DIR") {
        words.insert(words.begin(), {"env", variable + ("=" + folder)});
    }
    std::string command;
    for (const std::string& word : words) {
        const bool plain = word.find_first_not_of(
                               "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUV"
                               "WXYZ0123456789_-./=:,@+") == std::string::npos;
        std::string quoted;
        for (const char c : word)
            quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
        command +=
            (command.empty() ? "" : " ") + (plain && !word.empty() ? word : "'" + quoted + "'");
    }
    return command;
}

std::optional<std::string> onlyHeader(const httplib::Request& request, const char* name) {
    if (request.get_header_value_count(name) != 1) return {};
    return request.get_header_value(name);
}

// Passes a body on, piece by piece. Returns false when it is longer than `limit`, or does not come
// within this time.
template <typename Body>
bool read(const httplib::ContentReader& reader, size_t limit, std::chrono::seconds time,
          Body&& body) {
    const auto until = steady_clock::now() + time;
    return reader([&](const char* data, size_t size) {
        if (size > limit || steady_clock::now() > until) return false;
        limit -= size;
        body(data, size);
        return true;
    });
}

// Reads a whole command. Returns nothing when it is too long or does not come.
std::optional<std::string> commandOf(const httplib::ContentReader& reader) {
    std::string text;
    const auto take = [&](const char* data, size_t size) { text.append(data, size); };
    if (!read(reader, PageCommands::kMaxBytes, kCommandTime, take)) return {};
    return text;
}

void answer(httplib::Response& response, const Json& data) {
    response.set_content(tool::dump(data), kJson);
}

// Returns the status of a request that no handler may see, and 0 for all others. A body whose
// header says that it is too long is refused here, since the library would read all of it.
int refusal(const Place& place, const httplib::Request& request) {
    const Visit visit = {request.method != "GET", request.path, onlyHeader(request, "Host"),
                         request.has_header("Origin"), onlyHeader(request, "Origin")};
    if (!admits(place, visit)) return 403;
    if (request.method != "GET" && request.method != "POST") return 405;
    if (request.is_multipart_form_data()) return 415;
    const auto length = onlyHeader(request, "Content-Length");
    if (!length) return request.has_header("Content-Length") ? 400 : 0;
    const auto bytes = tool::toNumber<uint64_t>(*length);
    if (!bytes) return 400;
    return *bytes <= Viewer::kMaxBytes ? 0 : 413;
}

const char* typeOf(std::string_view name) {
    const auto ends = [&](std::string_view with) {
        return name.size() > with.size() && name.substr(name.size() - with.size()) == with;
    };
    if (ends(".html")) return "text/html; charset=utf-8";
    if (ends(".css")) return "text/css; charset=utf-8";
    if (ends(".svg")) return "image/svg+xml";
    return "text/javascript; charset=utf-8";
}

}  // namespace

class Server::Web {
public:
    Web(Feed& feed, Service& service, PageCommands& commands)
        : mFeed(feed),
          mService(service),
          mCommands(commands),
          mHello({{"run", makeSecret()},
                  {"pid", getpid()},
                  {"command", ownCommand()},
                  {"folder", accessory::standin::serviceFolder().path}}) {}

    ~Web() {
        mFeed.close();
        mServer.stop();
        mServer.cutOff();
        if (mThread.joinable()) mThread.join();
    }

    int bind(int port) {
        // SO_REUSEPORT is not set, since two services would share the port with it.
        mServer.set_socket_options([](socket_t socket) {
            const int yes = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        });
        if (port == 0) return mServer.bind_to_any_port("127.0.0.1");
        return mServer.bind_to_port("127.0.0.1", port) ? port : -1;
    }

    void serve(const Place& place) {
        mServer.set_tcp_nodelay(true);
        mServer.set_payload_max_length(Viewer::kMaxBytes);
        mServer.set_default_headers(kHeaders);
        mServer.new_task_queue = [] { return new Connections(kThreads); };
        mServer.set_pre_routing_handler([place](const auto& request, auto& response) {
            response.status = refusal(place, request);
            if (response.status != 0) return httplib::Server::HandlerResponse::Handled;
            response.status = -1;
            return httplib::Server::HandlerResponse::Unhandled;
        });
        const std::string base = "/" + place.secret + "/";
        for (const Asset& asset : assets()) {
            const bool index = asset.name == "index.html";
            mServer.Get(base + (index ? "" : std::string(asset.name)),
                        [&asset](const auto& /*request*/, auto& response) {
                            response.set_content(asset.content.data(), asset.content.size(),
                                                 typeOf(asset.name));
                        });
        }
        mServer.Get(base + "vocabulary", [](const auto& /*request*/, auto& response) {
            answer(response, vocabulary());
        });
        mServer.Get(base + "stream",
                    [this](const auto& request, auto& response) { stream(request, response); });
        const auto post = [&](const std::string& path, const auto& handle) {
            mServer.Post(base + path, [handle](const auto& /*request*/, auto& response,
                                               const auto& reader) { handle(response, reader); });
        };
        const auto postCommand = [&](const std::string& path, const auto& handle) {
            post(path, [handle](auto& response, const auto& reader) {
                const auto text = commandOf(reader);
                if (!text) {
                    response.status = 413;
                    return;
                }
                answer(response, handle(*text));
            });
        };
        postCommand("command", [this](const std::string& lines) {
            return Json{{"error", mCommands.run(lines)}};
        });
        postCommand("complete", [this](const std::string& line) {
            return Json(mCommands.completionsOf(line));
        });
        post("recording", [this](auto& response, const auto& reader) { view(response, reader); });
        // Without this handler, the library would read the whole body of such a request.
        post(".*", [](auto& response, const auto& /*reader*/) { response.status = 404; });
        mThread = std::thread([this] { mServer.listen_after_bind(); });
        // The HTTP library cannot be stopped before it runs.
        while (!mServer.is_running())
            std::this_thread::yield();
    }

private:
    void stream(const httplib::Request& request, httplib::Response& response) {
        constexpr const char* kType = "text/event-stream";
        const auto place = std::make_shared<const Counted>(mStreams);
        if (place->number > kMaxStreams) {
            response.set_content(message("full", kMaxStreams), kType);
            return;
        }
        // The number that a page has read in another run means nothing in this one.
        uint64_t from = 0;
        if (request.get_param_value("run") == mHello["run"].get<std::string>()) {
            from = tool::toNumber<uint64_t>(request.get_param_value("after")).value_or(0);
        }
        const auto stream = std::make_shared<Stream>(mFeed, mService, place, from);
        response.set_chunked_content_provider(
            kType, [this, stream](size_t /*offset*/, httplib::DataSink& sink) {
                return stream->tell(sink, mHello);
            });
    }

    // Shows a recording to the page that sends it. Only one is read at a time, since each needs
    // much memory.
    void view(httplib::Response& response, const httplib::ContentReader& reader) {
        auto turn = std::make_shared<const Counted>(mViewing);
        const bool busy = turn->number > 1;
        auto file = std::make_unique<std::stringstream>();
        const auto take = [&](const char* data, size_t size) {
            if (!busy) file->write(data, static_cast<std::streamsize>(size));
        };
        if (!read(reader, Viewer::kMaxBytes, kRecordingTime, take)) {
            response.status = 413;
            return;
        }
        if (busy) {
            return answer(response,
                          {{"error", "Another recording is being read. Try again later."}});
        }
        const auto viewer = std::make_shared<Viewer>(std::move(file));
        response.set_chunked_content_provider(
            "application/x-ndjson",
            [turn = std::move(turn), viewer](size_t /*offset*/, httplib::DataSink& sink) mutable {
                const std::string line = viewer->next();
                if (!line.empty()) return sink.write(line.data(), line.size());
                // First, so that the page can send the next recording as soon as this one is over.
                turn.reset();
                sink.done();
                return true;
            });
    }

    Feed& mFeed;
    Service& mService;
    PageCommands& mCommands;
    const Json mHello;
    std::atomic<int> mStreams = 0;
    std::atomic<int> mViewing = 0;
    BoundedServer mServer;
    std::thread mThread;
};

Server::Server(Feed& feed, Service& service, PageCommands& commands)
    : mWeb(std::make_unique<Web>(feed, service, commands)) {}

Server::~Server() = default;

bool Server::bind(const Place& place) {
    mPlace = place;
    mPlace.port = mWeb->bind(place.port);
    return mPlace.port > 0;
}

void Server::serve() {
    mWeb->serve(mPlace);
}

}  // namespace emulator::page
