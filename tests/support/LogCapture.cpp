#include "tests/support/LogCapture.h"

#include <utils/Mutex.h>

#include <cstdarg>
#include <utility>

namespace testing_support {
namespace {

struct Line {
    int priority;
    std::string tag;
    std::string text;
};

android::Mutex gLock;
std::vector<Line> gLines GUARDED_BY(gLock);
std::function<void(const std::string&)> gOnLine GUARDED_BY(gLock);

// liblog gives its logger the program's name where the tag is null, so the logger cannot see that.
thread_local bool gTagIsNull = false;

void collect(const __android_logger_data* data, const char* message) {
    if (Muted::active()) return;
    static thread_local bool inside = false;
    std::function<void(const std::string&)> call;
    {
        android::AutoMutex lock(gLock);
        gLines.push_back({data->priority, gTagIsNull ? "(null)" : data->tag, message});
        call = gOnLine;
    }
    if (!call || std::exchange(inside, true)) return;
    call(message);
    inside = false;
}

}  // namespace

LogCapture::LogCapture()
    : mPreviousMinimum(__android_log_set_minimum_priority(ANDROID_LOG_VERBOSE)) {
    take();
    __android_log_set_logger(collect);
}

LogCapture::~LogCapture() {
    __android_log_set_logger(__android_log_stderr_logger);
    __android_log_set_minimum_priority(mPreviousMinimum);
    onLine(nullptr);
}

void LogCapture::onLine(std::function<void(const std::string& text)> call) {
    android::AutoMutex lock(gLock);
    gOnLine = std::move(call);
}

std::vector<std::string> LogCapture::take(const std::string& tag, android_LogPriority minimum) {
    std::vector<Line> lines;
    {
        android::AutoMutex lock(gLock);
        std::swap(lines, gLines);
    }
    std::vector<std::string> result;
    for (const Line& line : lines) {
        if (line.priority < minimum || (!tag.empty() && line.tag != tag)) continue;
        result.push_back("??VDIWEFS"[line.priority] + ("/" + line.tag) + ": " + line.text);
    }
    return result;
}

std::vector<std::string> traced(const std::string& tag, const std::string& name,
                                const std::vector<std::vector<std::string>>& inside) {
    const std::string begin = "D/" + tag + ": [" + tag + "][" + name;
    std::vector<std::string> lines = {begin + "] [--IN--]"};
    for (const std::vector<std::string>& part : inside)
        lines.insert(lines.end(), part.begin(), part.end());
    lines.push_back(begin + "] [--OUT--]");
    return lines;
}

}  // namespace testing_support

// In every test program, this function takes the place of liblog's own.
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    testing_support::gTagIsNull = tag == nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int result = __android_log_vprint(priority, tag, format, arguments);
    va_end(arguments);
    testing_support::gTagIsNull = false;
    return result;
}
