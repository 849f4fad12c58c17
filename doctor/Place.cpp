#include "doctor/Place.h"

#include <sys/mman.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>

#include "doctor/Steps.h"

namespace doctor {
namespace {

constexpr const char* kClassNames[] = {
    "ServiceInfo",        "ServiceProtocol",     "ServiceNotifyFactory",
    "ServiceItemFactory", "ServiceReplyFactory", "ServiceItem",
    "ServiceNotify",      "ServiceReply",        "ServiceNotifyListener"};
constexpr size_t kClasses = sizeof(kClassNames) / sizeof(kClassNames[0]);
constexpr size_t kBytesOfClass = 4096;

struct Entry {
    std::atomic<Side> side{Side::kInfo};
    std::atomic<const char*> operation{nullptr};
};

std::atomic<const char*> sCalling{nullptr};
Entry sEntered;

const uint8_t* forbiddenMemory() {
    static void* const kMemory = mmap(nullptr, kClasses * kBytesOfClass, PROT_NONE,
                                      MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return static_cast<const uint8_t*>(kMemory);
}

// A signal handler must not take memory, but here the process cannot go on anyway. If this crashes,
// too, the parent reports that the step has crashed.
void concludeCrash(int number, siginfo_t* information, void* /*context*/) {
    const auto offset =
        static_cast<size_t>(static_cast<const uint8_t*>(information->si_addr) - forbiddenMemory());
    if (number == SIGSEGV && offset < kClasses * kBytesOfClass) {
        conclude(bad(std::string("the framework counts references of a ") +
                     kClassNames[offset / kBytesOfClass] +
                     " as if its class did not derive virtually from android::RefBase"));
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    std::string text = std::string("the step crashed (") + strsignal(number) + ")";
    if (const char* operation = sCalling) text += std::string(" in ") + operation;
    if (const char* operation = sEntered.operation) {
        text += std::string(", after the framework had called ") + className(sEntered.side) +
                "::" + operation;
    }
    conclude(bad(text));
}

}  // namespace

const char* className(Side side) {
    return kClassNames[static_cast<size_t>(side)];
}

void calling(const char* operation) {
    sCalling = operation;
}

void entered(Side side, const char* operation) {
    sEntered.side = side;
    sEntered.operation = operation;
}

const void* forbidden(Side side) {
    return forbiddenMemory() + static_cast<size_t>(side) * kBytesOfClass;
}

void concludeCrashes() {
    forbiddenMemory();
    struct sigaction action = {};
    action.sa_sigaction = concludeCrash;
    action.sa_flags = SA_SIGINFO | SA_RESETHAND;
    for (const int number : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
        sigaction(number, &action, nullptr);
}

}  // namespace doctor
