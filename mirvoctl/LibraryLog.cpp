#include "mirvoctl/LibraryLog.h"

#include <android/log.h>
#include <utils/Mutex.h>

#include <atomic>
#include <utility>

#include "protocol/LogPriority.h"

namespace mirvoctl {
namespace {

// The framework's line about a connection that the service has closed begins with this.
constexpr std::string_view kCutOff = "the service has cut this process off: ";

// How many characters of error lines are kept. The lines after them mostly say the same.
constexpr size_t kMaxErrorText = 300;

struct State {
    android::Mutex lock;
    std::string errors GUARDED_BY(lock);
    std::string cutOff GUARDED_BY(lock);
    std::atomic<LibraryLog::Shown> shown = LibraryLog::Shown::kErrors;
    // The least priority that is shown. Errors are noted even when they are not shown.
    std::atomic<int> least = ANDROID_LOG_ERROR;
    std::atomic<bool> muted = false;
};

// Never destroyed: the framework's threads may log while the process exits.
State& state() {
    static auto* const kState = new State;
    return *kState;
}

void note(std::string text) {
    text.erase(text.find_last_not_of(" \n") + 1);
    android::AutoMutex lock(state().lock);
    std::string& errors = state().errors;
    if (errors.size() < kMaxErrorText) errors += (errors.empty() ? "" : "; ") + text;
    if (text.compare(0, kCutOff.size(), kCutOff) == 0) state().cutOff = text.substr(kCutOff.size());
}

void log(const __android_logger_data* data, const char* text) {
    if (state().muted) return;
    if (data->priority >= ANDROID_LOG_ERROR) note(text);
    if (state().shown == LibraryLog::Shown::kNothing || data->priority < state().least) return;
    __android_log_stderr_logger(data, text);
}

}  // namespace

void LibraryLog::show(Shown shown) {
    state().shown = shown;
    __android_log_set_minimum_priority(shown == Shown::kEverything ? ANDROID_LOG_DEBUG
                                                                   : ANDROID_LOG_ERROR);
    if (shown == Shown::kErrors) accessory::setLogPriorityFromEnvironment();
    state().least = __android_log_get_minimum_priority();
    if (state().least > ANDROID_LOG_ERROR) __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    __android_log_set_logger(log);
}

void LibraryLog::mute(bool muted) {
    state().muted = muted;
}

std::string LibraryLog::takeErrors() {
    android::AutoMutex lock(state().lock);
    return std::exchange(state().errors, {});
}

std::string LibraryLog::takeCutOffReason() {
    android::AutoMutex lock(state().lock);
    return std::exchange(state().cutOff, {});
}

}  // namespace mirvoctl
