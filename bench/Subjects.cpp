#include "bench/Subjects.h"

#include <android/log.h>
#include <semaphore.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdlib>
#include <fstream>
#include <utility>

#include "protocol/AccessoryMessages.h"
#include "protocol/MVCodes.h"
#include "protocol/ManagerMessages.h"
#include "protocol/MirvoServiceInfo.h"
#include "standin/ServiceHost.h"

namespace bench {
namespace {

using accessory::ServiceClient;
using accessory::ServiceHost;
using accessory::ServiceItem;
using accessory::ServiceReply;
using android::sp;

constexpr int32_t kAccessory = 1;

sp<ServiceReply> sendBack(accessory::MVSItemAccessoryRawData& item) {
    sp<accessory::MVSReplyRawData> reply = new accessory::MVSReplyRawData;
    reply->result = 0;
    reply->size = std::exchange(item.size, 0);
    reply->data = std::exchange(item.data, nullptr);
    return reply;
}

sp<ServiceReply> answer(ServiceItem& item) {
    switch (item.type()) {
        case accessory::MVSItemManagerVersion::kType: {
            sp<accessory::MVSReplyVersion> reply = new accessory::MVSReplyVersion;
            reply->version.setTo("3.6.6");
            return reply;
        }
        case accessory::MVSItemAccessoryRawData::kType:
            return sendBack(static_cast<accessory::MVSItemAccessoryRawData&>(item));
        default: {
            sp<accessory::MVSReplyCommon> reply = new accessory::MVSReplyCommon;
            reply->result = 0;
            return reply;
        }
    }
}

// `work` runs in the service's process until this process ends.
std::unique_ptr<Process> startService(int processor, const std::string& folder,
                                      const std::function<void(ServiceHost&)>& work) {
    auto process = std::make_unique<Process>(processor, [&](int control) {
        useFolder(folder);
        const sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
        ServiceHost host(info, [](ServiceHost::Request& request) { return answer(*request.item); });
        require(host.start(), "the service");
        ready(control);
        work(host);
    });
    process->awaitReady();
    return process;
}

sp<ServiceClient> bindClient() {
    sp<accessory::ServiceInfo> info = new accessory::MirvoServiceInfo;
    sp<ServiceClient> client = accessory::ServiceDiscoverer::self()->bindTo(info);
    require(client != nullptr, "bindTo");
    return client;
}

// Each thread needs its own item, because only one thread at a time may use one.
sp<ServiceItem> makeItem(size_t bytes) {
    if (bytes == 0) return new accessory::MVSItemManagerCommon(accessory::MV_COMMAND_STARTUP);
    sp<accessory::MVSItemAccessoryRawData> item = new accessory::MVSItemAccessoryRawData;
    item->size = static_cast<int32_t>(bytes);
    item->data = new uint8_t[bytes]();
    return item;
}

void dropLine(const __android_logger_data*, const char*) {}

void traceEverything() {
    __android_log_set_minimum_priority(ANDROID_LOG_VERBOSE);
    __android_log_set_logger(dropLine);
}

std::vector<zrmirvo::ZRMirvo*> instances(size_t count) {
    // Hides the lines about versions.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    zrmirvo::ZRMirvoManager* manager = zrmirvo::ZRMirvoManager::GetInstance("3.6");
    require(manager != nullptr, "GetInstance");
    std::vector<zrmirvo::ZRMirvo*> all;
    for (size_t i = 0; i < count; ++i) {
        all.push_back(manager->GetMirvoInstance(kAccessory + static_cast<unsigned int>(i)));
        require(all.back() != nullptr, "GetMirvoInstance");
    }
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
    return all;
}

void sendKey(zrmirvo::ZRMirvo& instance) {
    require(instance.sendKeyEvent(/*back*/ 4, true) == 0, "sendKeyEvent");
}

std::unique_ptr<Client> keyEventClient(int processor, const std::string& folder, size_t count,
                                       bool traced) {
    return std::make_unique<Client>(processor, [&] {
        useFolder(folder);
        const std::vector<zrmirvo::ZRMirvo*> made = instances(count);
        if (traced) traceEverything();
        return Batch([made](size_t calls) {
            return timeInTurn(calls, made.size(), [&](size_t which) { sendKey(*made[which]); });
        });
    });
}

// Checks the order of the notifications, and wakes the waiting thread when the last one has come.
class Receiver final : public zrmirvo::ZRMirvoCallback {
public:
    Receiver() { require(sem_init(&mDone, 0, 0) == 0, "sem_init"); }

    void expect(size_t count) {
        mNext = 0;
        mCount = static_cast<int>(count);
    }
    void await() { require(sem_wait(&mDone) == 0, "sem_wait"); }
    uint32_t tookNs() const { return mTook; }

    void onRunningStateChange(int state) override {
        require(state == mNext++, "the order of the notifications");
        if (mNext == mCount) sem_post(&mDone);
    }
    void onScreenOrientationChange(int sent) override {
        mTook = static_cast<uint32_t>(now()) - static_cast<uint32_t>(sent);
        sem_post(&mDone);
    }
    void onControlUnavailable() override {}
    void onDeviceRequestData(unsigned char*, int) override {}
    void onDeviceRequest(int, int) override {}
    void onTimeDateResponse(const zrmirvo::ZRMirvoTimeDate*) override {}
    void onHidReportDescriptor(unsigned char*, unsigned int) override {}
    void onHidEvent(unsigned char*, unsigned int) override {}
    void onDeviceResponse() override {}

private:
    sem_t mDone;
    int mNext = 0;
    int mCount = 0;
    uint32_t mTook = 0;
};

sp<accessory::MVSNotifyAccessoryCommon> event(int32_t type, int32_t value) {
    sp<accessory::MVSNotifyAccessoryCommon> notify = new accessory::MVSNotifyAccessoryCommon;
    notify->mAccessoryId = kAccessory;
    notify->notifyType = type;
    notify->intValue = value;
    return notify;
}

void notifyInOrder(ServiceHost& host, size_t count) {
    for (size_t i = 0; i < count; ++i)
        host.notify(event(accessory::MV_RUNNING_STATE_CHANGE, static_cast<int32_t>(i)));
}

void notifyOnce(ServiceHost& host) {
    host.notify(event(accessory::MV_SCREEN_ORIENTATION_CHANGE, static_cast<int32_t>(now())));
}

// A service that sends notifications when it is told to over a socket, and a client that gets them.
Pair notifyingPair(Place place, const std::string& folder,
                   const std::function<void(ServiceHost&, size_t)>& notify,
                   const std::function<Sample(Receiver&, int tell, size_t calls)>& measure) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    Pair pair;
    pair.service = startService(place.service, folder, [&](ServiceHost& host) {
        for (;;) {
            size_t count = 0;
            require(recv(ends[1], &count, sizeof(count), 0) > 0, "recv");
            notify(host, count);
        }
    });
    pair.client = std::make_unique<Client>(place.client, [&] {
        useFolder(folder);
        auto* receiver = new Receiver;
        require(instances(1)[0]->RegisterCallback(receiver), "RegisterCallback");
        __android_log_set_minimum_priority(ANDROID_LOG_WARN);
        return Batch([=](size_t calls) { return measure(*receiver, ends[0], calls); });
    });
    close(ends[0]);
    close(ends[1]);
    return pair;
}

void tell(int fd, size_t count) {
    require(send(fd, &count, sizeof(count), 0) > 0, "send");
}

}  // namespace

void useFolder(const std::string& folder) {
    setenv("SERVICE_FRAMEWORK_DIR", folder.c_str(), 1);
}

std::unique_ptr<Process> startService(int processor, const std::string& folder) {
    return startService(processor, folder, [](ServiceHost&) { sleepForever(); });
}

Pair requestPair(Place place, const std::string& folder, size_t bytes, size_t threads) {
    Pair pair;
    pair.service = startService(place.service, folder);
    pair.client = std::make_unique<Client>(place.client, [&] {
        useFolder(folder);
        std::vector<sp<ServiceItem>> items;
        for (size_t i = 0; i < threads; ++i)
            items.push_back(makeItem(bytes));
        return Batch([=, client = bindClient()](size_t calls) mutable {
            const auto call = [&](size_t thread) {
                require(client->request(items[thread]) != nullptr, "request");
            };
            return threads > 1 ? timeThreads(calls, threads, call) : timeInTurn(calls, 1, call);
        });
    });
    return pair;
}

Pair keyEventPair(Place place, const std::string& folder, size_t count, bool traced) {
    Pair pair;
    pair.service = startService(place.service, folder);
    pair.client = keyEventClient(place.client, folder, count, traced);
    return pair;
}

Pair emulatorPair(Place place, const std::string& folder, const std::string& emulator) {
    const std::string script = folder + "/script";
    require(static_cast<bool>(std::ofstream(script) << "ids " << kAccessory << std::endl),
            "the script");
    Pair pair;
    pair.service = std::make_unique<Process>(place.service, [&](int control) {
        useFolder(folder);
        // The line with which it begins says that it is ready.
        require(dup2(control, STDOUT_FILENO) >= 0, "dup2");
        execl(emulator.c_str(), "mirvo-emulator", "--quiet", "--script", script.c_str(), nullptr);
        require(false, emulator.c_str());
    });
    pair.service->awaitReady();
    pair.client = keyEventClient(place.client, folder, 1, /*traced=*/false);
    return pair;
}

Pair notifyPair(Place place, const std::string& folder) {
    return notifyingPair(
        place, folder, notifyInOrder, [](Receiver& receiver, int fd, size_t calls) {
            receiver.expect(calls);
            const int64_t begin = now();
            tell(fd, calls);
            receiver.await();
            Sample sample;
            sample.mean = static_cast<double>(now() - begin) / static_cast<double>(calls);
            return sample;
        });
}

Pair singleNotifyPair(Place place, const std::string& folder) {
    return notifyingPair(
        place, folder, [](ServiceHost& host, size_t) { notifyOnce(host); },
        [](Receiver& receiver, int fd, size_t calls) {
            Sample sample;
            for (size_t i = 0; i < calls; ++i) {
                tell(fd, 1);
                receiver.await();
                sample.each.push_back(receiver.tookNs());
            }
            return sample;
        });
}

std::function<void()> call(const std::string& name) {
    if (name == "request") {
        return [client = bindClient(), item = makeItem(0)]() mutable {
            require(client->request(item) != nullptr, "request");
        };
    }
    require(name == "sendKeyEvent" || name == "sendKeyEvent-traced", "no such call");
    zrmirvo::ZRMirvo* instance = instances(1)[0];
    if (name == "sendKeyEvent-traced") traceEverything();
    return [instance] { sendKey(*instance); };
}

void makeInstances(size_t count) {
    instances(count);
}

}  // namespace bench
