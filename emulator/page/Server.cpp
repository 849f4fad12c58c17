#include "emulator/page/Server.h"

#include <httplib.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "emulator/page/Assets.h"
#include "emulator/page/Rendering.h"
#include "standin/ServiceFolder.h"

namespace emulator::page {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// What happens within this time is told at once.
constexpr milliseconds kGather(40);
// How often a page is told that the service lives.
constexpr milliseconds kBeat(1000);
// How long a browser may take to send or to take the next bytes.
constexpr time_t kPatienceSeconds = 2;
// Streams, commands, and a few for files.
constexpr size_t kThreads = Server::kMaxStreams + PageCommands::kMaxRunning + 3;

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

std::string message(const char* event, const Json& data) {
    return std::string("event: ") + event + "\ndata: " + tool::dump(data) + "\n\n";
}

// The command line of this process, as a shell would take it.
std::string ownCommand() {
    std::ifstream file("/proc/self/cmdline");
    std::string command;
    for (std::string word; std::getline(file, word, '\0');) {
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

// The whole body. Nothing when it is longer, or does not come.
std::optional<std::string> bodyOf(const httplib::ContentReader& reader, size_t limit) {
    std::string body;
    const bool whole = reader([&](const char* data, size_t size) {
        if (body.size() + size > limit) return false;
        body.append(data, size);
        return true;
    });
    return whole ? std::optional(body) : std::nullopt;
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

// What one page has been told. On the thread of its connection.
class Stream {
public:
    Stream(Feed& feed, Service& service, std::atomic<int>& streams, uint64_t from)
        : mFeed(feed), mService(service), mStreams(streams), mNumber(from) {}
    ~Stream() { --mStreams; }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    // Begins the stream with `hello`, and then tells what is new. False when the page has gone.
    bool tell(httplib::DataSink& sink, const Json& hello) {
        std::string text;
        if (mBegun) {
            if (!mMore && !mFeed.sleep(kGather)) {
                sink.done();
                return true;
            }
        } else {
            text = message("hello", hello);
            mBegun = true;
        }
        addNews(text);
        const std::string now = message("situation", situation(mService));
        if (now != mSituation) text += mSituation = now;
        if (steady_clock::now() >= mNextBeat) {
            mNextBeat = steady_clock::now() + kBeat;
            text += message("heartbeat", mNumber);
        }
        return text.empty() || sink.write(text.data(), text.size());
    }

private:
    void addNews(std::string& text) {
        const Feed::Batch batch = mFeed.after(mNumber);
        mMore = batch.entries.size() >= Feed::kBatch;
        mNumber = batch.number;
        if (batch.entries.empty() && batch.missed == 0) return;
        Json news = Json::array();
        for (const Feed::Entry& entry : batch.entries)
            news.push_back(shown(*entry));
        text += message("news", {{"n", mNumber}, {"missed", batch.missed}, {"news", news}});
    }

    Feed& mFeed;
    Service& mService;
    std::atomic<int>& mStreams;
    uint64_t mNumber;
    bool mBegun = false;
    bool mMore = false;
    std::string mSituation;
    steady_clock::time_point mNextBeat;
};

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
        if (mThread.joinable()) mThread.join();
    }

    int bind(int port) {
        // Without SO_REUSEPORT, by which two services would share the port.
        mServer.set_socket_options([](socket_t socket) {
            const int yes = 1;
            setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
        });
        if (port == 0) return mServer.bind_to_any_port("127.0.0.1");
        return mServer.bind_to_port("127.0.0.1", port) ? port : -1;
    }

    void serve(const Place& place) {
        // A connection that is kept for the next request would keep a thread.
        mServer.set_keep_alive_max_count(1);
        mServer.set_read_timeout(kPatienceSeconds);
        mServer.set_write_timeout(kPatienceSeconds);
        mServer.set_tcp_nodelay(true);
        mServer.set_payload_max_length(PageCommands::kMaxBytes);
        mServer.set_default_headers(kHeaders);
        mServer.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
        mServer.set_pre_routing_handler([place](const auto& request, auto& response) {
            const Visit visit = {request.method != "GET", request.path, onlyHeader(request, "Host"),
                                 request.has_header("Origin"), onlyHeader(request, "Origin")};
            if (admits(place, visit)) return httplib::Server::HandlerResponse::Unhandled;
            response.status = 403;
            return httplib::Server::HandlerResponse::Handled;
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
            response.set_content(tool::dump(vocabulary()), "application/json");
        });
        mServer.Get(base + "stream",
                    [this](const auto& request, auto& response) { stream(request, response); });
        mServer.Post(base + "command",
                     [this](const auto& /*request*/, auto& response, const auto& reader) {
                         const auto lines = bodyOf(reader, PageCommands::kMaxBytes);
                         if (!lines) {
                             response.status = 413;
                             return;
                         }
                         const std::string error = mCommands.run(*lines);
                         response.set_content(tool::dump({{"error", error}}), "application/json");
                     });
        mServer.Post(
            base + "complete", [this](const auto& /*request*/, auto& response, const auto& reader) {
                const auto line = bodyOf(reader, PageCommands::kMaxBytes);
                response.set_content(tool::dump(mCommands.completionsOf(line.value_or(""))),
                                     "application/json");
            });
        mThread = std::thread([this] { mServer.listen_after_bind(); });
        // The library cannot be stopped before.
        while (!mServer.is_running())
            std::this_thread::yield();
    }

private:
    void stream(const httplib::Request& request, httplib::Response& response) {
        constexpr const char* kType = "text/event-stream";
        if (++mStreams > kMaxStreams) {
            --mStreams;
            response.set_content(message("full", kMaxStreams), kType);
            return;
        }
        // What a page has read of another run says nothing about this one.
        uint64_t from = 0;
        if (request.get_param_value("run") == mHello["run"].get<std::string>()) {
            from = tool::toNumber<uint64_t>(request.get_param_value("after")).value_or(0);
        }
        const auto stream = std::make_shared<Stream>(mFeed, mService, mStreams, from);
        response.set_chunked_content_provider(
            kType, [this, stream](size_t /*offset*/, httplib::DataSink& sink) {
                return stream->tell(sink, mHello);
            });
    }

    Feed& mFeed;
    Service& mService;
    PageCommands& mCommands;
    const Json mHello;
    std::atomic<int> mStreams = 0;
    httplib::Server mServer;
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
