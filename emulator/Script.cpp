#include "emulator/Script.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <system_error>

namespace emulator {
namespace {

void complain(const std::string& file, size_t line, const char* why) {
    fprintf(stderr, "%s:%zu: %s\n", file.c_str(), line, why);
}

// Lines of a file descriptor on which the main thread may wait.
class LineReader {
public:
    LineReader(int fd, tool::Waker& waker) : mFd(fd), mWaker(waker) {}

    // The next line. False at the end of the input and when a signal has come.
    bool next(std::string& line) {
        size_t end = mBuffer.find('\n');
        while (end == std::string::npos && fill())
            end = mBuffer.find('\n');
        if (mWaker.interrupted() || mBuffer.empty()) return false;
        line = mBuffer.substr(0, end);
        mBuffer.erase(0, end == std::string::npos ? end : end + 1);
        return true;
    }

private:
    bool fill() {
        if (!mWaker.waitReadable(mFd)) return false;
        char bytes[4096];
        const ssize_t count = read(mFd, bytes, sizeof(bytes));
        if (count > 0) mBuffer.append(bytes, static_cast<size_t>(count));
        return count > 0;
    }

    int mFd;
    tool::Waker& mWaker;
    std::string mBuffer;
};

}  // namespace

bool readScript(const std::string& path, std::vector<Command>& commands) {
    std::ifstream file(path);
    if (!file) {
        fprintf(stderr, "%s: %s\n", path.c_str(), std::generic_category().message(errno).c_str());
        return false;
    }
    Parser parser;
    bool good = true;
    size_t number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        try {
            if (Command command = parser.feed(line)) commands.push_back(std::move(command));
        } catch (const SyntaxError& error) {
            complain(path, number, error.what());
            good = false;
        }
    }
    if (file.bad()) {
        fprintf(stderr, "%s: %s\n", path.c_str(), std::generic_category().message(errno).c_str());
        return false;
    }
    if (!parser.open()) return good;
    complain(path, number, "repeat without end");
    return false;
}

bool runStandardInput(Session& session) {
    const bool terminal = isatty(STDIN_FILENO) == 1;
    LineReader reader(STDIN_FILENO, session.waker);
    Parser parser;
    size_t number = 0;
    for (std::string line; !session.over() && reader.next(line);) {
        ++number;
        try {
            if (const Command command = parser.feed(line)) command(session);
        } catch (const SyntaxError& error) {
            complain("<stdin>", number, error.what());
            if (!terminal) return false;
        }
    }
    if (!parser.open() || session.over()) return true;
    complain("<stdin>", number, "repeat without end");
    return false;
}

}  // namespace emulator
