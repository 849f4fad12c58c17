#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "protocol/MirvoServiceInfo.h"
#include "protocol/ServiceFramework.h"

// Applications that end, multiply or work in ways that a recording must not mind. Each prints what
// its operations answer.

namespace {

using namespace zrmirvo;

class Callback final : public ZRMirvoManagerCallback {
public:
    void onError() override {
        const std::lock_guard<std::mutex> lock(mMutex);
        mLost = true;
        mChanged.notify_all();
    }
    void onAttach(unsigned int) override {}
    void onDetach(unsigned int) override {}

    void awaitLoss() {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [this] { return mLost; });
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mLost = false;
};

ZRMirvoManager* manager() {
    ZRMirvoManager* instance = ZRMirvoManager::GetInstance("3.6");
    if (instance != nullptr) return instance;
    puts("no manager");
    exit(3);
}

// Step by step, for an emulator that dies at one of them.
int session(ZRMirvoManager* instance) {
    static Callback callback;
    instance->RegisterCallback(&callback);
    printf("startup %d\n", instance->startup());
    unsigned int ids[10];
    unsigned int count = 0;
    printf("getIds %d\n", instance->getIds(ids, &count));
    ZRMirvo* device = instance->GetMirvoInstance(7);
    printf("getMirvo %d\n", device != nullptr);
    printf("sendKeyEvent %d\n", device == nullptr ? 1 : device->sendKeyEvent(4, true));
    printf("shutdown %d\n", instance->shutdown());
    return 0;
}

int tour(ZRMirvoManager* instance) {
    unsigned int ids[10];
    unsigned int count = 0;
    char bytes[] = {'\x0a', '\x0b'};
    ZRMirvo* device = nullptr;
    const bool good =
        instance->setConfigFile("/etc/a") == 0 && instance->getIds(ids, &count) == 0 &&
        (device = instance->GetMirvoInstance(7)) != nullptr && device->sendKeyEvent(4, true) == 0 &&
        device->setFeature(9, bytes, sizeof(bytes)) == 0 &&
        instance->GetMirvoInstance(8) == nullptr;
    return good ? 0 : 1;
}

int awaitLoss(ZRMirvoManager* instance) {
    static Callback callback;
    instance->RegisterCallback(&callback);
    puts("waiting");
    fflush(stdout);
    callback.awaitLoss();
    return 0;
}

int keys(ZRMirvoManager* instance, unsigned int count) {
    ZRMirvo* device = instance->GetMirvoInstance(7);
    int failures = 0;
    for (unsigned int i = 0; i < count; ++i)
        failures += device->sendKeyEvent(4, true);
    printf("failures %d\n", failures);
    return failures;
}

// No file may become longer than this, which a signal tells whoever does not block it.
void limitFiles(rlim_t size) {
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(size, limit.rlim_max);
    setrlimit(RLIMIT_FSIZE, &limit);
}

// So many accessories, each with a thread of its own.
int threads(ZRMirvoManager* instance, unsigned int count) {
    std::atomic<int> failures{0};
    std::vector<std::thread> all;
    for (unsigned int id = 1; id <= count; ++id) {
        all.emplace_back([&, id] {
            ZRMirvo* device = instance->GetMirvoInstance(id);
            // There is none when the service was lost before.
            for (int i = 0; i < 100; ++i)
                failures += device == nullptr || device->sendKeyEvent(4, i % 2 == 0) != 0 ? 1 : 0;
        });
    }
    for (std::thread& one : all)
        one.join();
    printf("failures %d\n", failures.load());
    return failures;
}

int feature(ZRMirvoManager* instance, unsigned int size) {
    std::vector<char> bytes(size, 'x');
    const int result = instance->GetMirvoInstance(7)->setFeature(9, bytes.data(), size);
    printf("setFeature %d\n", result);
    return result;
}

bool gForked = false;

int forked(ZRMirvoManager* instance) {
    printf("startup %d\n", instance->startup());
    fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        gForked = true;
        printf("startup in the child %d\n", instance->startup());
        fflush(stdout);
        // As a process does that lets its descriptors and its memory go.
        exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    printf("child %d, startup %d\n", WEXITSTATUS(status), instance->startup());
    return 0;
}

// A client library of something else, over the same framework.
class OtherInfo final : public accessory::ServiceInfo {
public:
    const char* servicename() override { return "other.service"; }
    accessory::sp<accessory::ServiceProtocol> protocol() override { return nullptr; }
};

int otherService() {
    accessory::sp<accessory::ServiceInfo> info = new OtherInfo;
    return accessory::ServiceDiscoverer::self()->bindTo(info) == nullptr ? 1 : 0;
}

// What is for the framework to refuse.
int nulls() {
    accessory::sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
    const auto client = accessory::ServiceDiscoverer::self()->bindTo(info);
    if (client == nullptr) return 1;
    accessory::sp<accessory::ServiceItem> item;
    accessory::sp<accessory::ServiceNotifyListener> listener;
    const bool isAnswered = client->request(item) != nullptr;
    const int set = client->setNotifyListener(listener);
    const int removed = client->removeNotifyListener(listener);
    printf("answered %d, set %d, removed %d\n", isAnswered, set, removed);
    return 0;
}

}  // namespace

// In a forked process, the leak checker takes what threads of the parent hold for lost.
extern "C" __attribute__((visibility("default"))) int __lsan_is_turned_off();
extern "C" int __lsan_is_turned_off() {
    return gForked ? 1 : 0;
}

int main(int argc, char** argv) {
    const std::string role = argc > 1 ? argv[1] : "";
    const auto number = static_cast<unsigned int>(argc > 2 ? strtoul(argv[2], nullptr, 10) : 0);
    if (role == "other-service") return otherService();
    if (role == "nulls") return nulls();
    if (role == "no-disk") {
        // In the tests these two are files.
        if (freopen("/dev/null", "w", stdout) == nullptr) return 1;
        if (freopen("/dev/null", "w", stderr) == nullptr) return 1;
        limitFiles(0);
    }
    ZRMirvoManager* instance = manager();
    int status = 2;
    if (role == "session") status = session(instance);
    if (role == "tour") status = tour(instance);
    if (role == "await-loss") status = awaitLoss(instance);
    if (role == "keys") status = keys(instance, number);
    if (role == "full-disk") limitFiles(100 << 10);
    if (role == "full-disk" || role == "no-disk") status = keys(instance, 5000);
    if (role == "threads") status = threads(instance, number);
    if (role == "feature") status = feature(instance, number);
    if (role == "fork") status = forked(instance);
    if (role == "leave") {
        session(instance);
        exit(0);
    }
    if (role == "exec") {
        session(instance);
        fflush(stdout);
        execl("/proc/self/exe", argv[0], "session", nullptr);
    }
    ZRMirvoManager::ReleaseInstance(instance);
    // A build that counts lines writes the counts when it ends.
    if (role == "no-disk") limitFiles(RLIM_INFINITY);
    return status;
}
