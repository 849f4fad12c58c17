#include <android/log.h>
#include <unistd.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

// An application that makes every kind of call, whose system calls somebody makes fail. It says
// "bound", waits for a line, makes its calls, releases all, and says how many descriptors are open
// then. A call that failed without a line in the log is "SILENT".

namespace {

std::atomic<int> gErrors{0};

// Makes one call after the other and knows which lines were logged meanwhile.
class Calls {
public:
    // True when the call succeeded.
    bool check(const char* name, bool done) {
        const int errors = gErrors.exchange(0);
        const bool silent = !done && errors == 0;
        std::cout << name << (done ? " done" : silent ? " SILENT" : " failed") << std::endl;
        return done;
    }
};

long descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

// How many are open at the end. A thread that was delivering closes its own a moment later.
long descriptorsLeft() {
    // The three of every process, the one on which threads wait, and the folder that is read.
    constexpr long kKept = 5;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (descriptors() > kKept && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return descriptors();
}

void phone(Calls& calls, zrmirvo::ZRMirvoManager& manager, unsigned int id) {
    zrmirvo::ZRMirvo* const instance = manager.GetMirvoInstance(id);
    if (!calls.check("GetMirvoInstance", instance != nullptr)) return;
    gErrors = 0;
    const unsigned int values[] = {1};
    std::vector<char> large(200000, 'x');
    char* bytes = nullptr;
    int length = 0;
    calls.check("sendKeyEvent", instance->sendKeyEvent(4, true) == 0);
    calls.check("sendTouchEvent",
                instance->sendTouchEvent(1, 1, values, values, values, 0, 0) == 0);
    calls.check("sendTimeDateInquiry", instance->sendTimeDateInquiry() == 0);
    calls.check("setFeature",
                instance->setFeature(1, large.data(), static_cast<unsigned>(large.size())) == 0);
    calls.check("cookKeyEvent", instance->cookKeyEvent(4, true, &bytes, &length) == 0);
    delete[] bytes;
    manager.ReleaseMirvoInstance(instance);
}

}  // namespace

// Sees every line of the library and of the framework before liblog does.
extern "C" int __android_log_print(int priority, const char* tag, const char* format, ...) {
    if (priority < ANDROID_LOG_WARN) return 0;
    ++gErrors;
    va_list arguments;
    va_start(arguments, format);
    fprintf(stderr, "%s: ", tag);
    vfprintf(stderr, format, arguments);
    fprintf(stderr, "\n");
    va_end(arguments);
    return 1;
}

int main() {
    using zrmirvo::ZRMirvoManager;
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    if (manager == nullptr || manager->startup() != 0) return 1;
    gErrors = 0;
    std::cout << "bound" << std::endl;
    std::string line;
    std::getline(std::cin, line);
    Calls calls;
    for (int round = 0; round < 2; ++round) {
        unsigned int ids[10];
        unsigned int count = 0;
        calls.check("startup", manager->startup() == 0);
        calls.check("getIds", manager->getIds(ids, &count) == 0);
        phone(calls, *manager, 7);
        phone(calls, *manager, 8);
        ZRMirvoManager::ReleaseInstance(manager);
        gErrors = 0;
        manager = ZRMirvoManager::GetInstance("3.6");
    }
    ZRMirvoManager::ReleaseInstance(manager);
    std::cout << "descriptors " << descriptorsLeft() << std::endl;
}
