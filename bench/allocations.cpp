#include <android/log.h>
#include <utils/String8.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdio>
#include <cstdlib>

#include "protocol/AccessoryMessages.h"
#include "protocol/ManagerMessages.h"

// Counts the allocations of one sendKeyEvent, and those of its parts: the four texts of its two
// call traces, the item and the reply. The environment says where the service is.

namespace {

thread_local bool counting = false;
thread_local int counted = 0;

void count() {
    if (counting) ++counted;
}

// The allocations that `work` makes on this thread.
template <typename Work>
int allocationsOf(Work work) {
    counted = 0;
    counting = true;
    work();
    counting = false;
    return counted;
}

void fail(const char* what) {
    fprintf(stderr, "benchmark: %s failed\n", what);
    exit(1);
}

}  // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* memory, size_t size);

__attribute__((visibility("default"))) void* malloc(size_t size) {
    count();
    return __libc_malloc(size);
}
__attribute__((visibility("default"))) void* calloc(size_t number, size_t size) {
    count();
    return __libc_calloc(number, size);
}
__attribute__((visibility("default"))) void* realloc(void* memory, size_t size) {
    count();
    return __libc_realloc(memory, size);
}

}  // extern "C"

int main() {
    // Hides the lines about versions.
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    zrmirvo::ZRMirvoManager* manager = zrmirvo::ZRMirvoManager::GetInstance("3.6");
    if (manager == nullptr) fail("GetInstance");
    zrmirvo::ZRMirvo* instance = manager->GetMirvoInstance(1);
    if (instance == nullptr) fail("GetMirvoInstance");
    const auto send = [&] {
        if (instance->sendKeyEvent(4, true) != 0) fail("sendKeyEvent");
    };
    send();
    __android_log_set_minimum_priority(ANDROID_LOG_DEFAULT);
    const int all = allocationsOf(send);

    const int traces = allocationsOf([] {
        for (const char* tag : {"ZRMirvo", "Mirvo[c]"}) {
            android::String8 ownTag;
            android::String8 function;
            ownTag.setTo(tag);
            function.setTo("sendKeyEvent");
        }
    });
    // All messages share one text, which the first message makes. The service answers with the same
    // text, so the library does not copy it.
    const auto makeItem = [] {
        const android::sp<accessory::MVSItemAccessoryCommon> message =
            new accessory::MVSItemAccessoryCommon(1, 2);
    };
    makeItem();
    const int item = allocationsOf(makeItem);
    const int reply = allocationsOf([] {
        const android::sp<accessory::MVSReplyCommon> message = new accessory::MVSReplyCommon;
    });
    printf(
        "allocations of one sendKeyEvent: %d; texts of its traces: %d, item: %d, reply: %d\n"
        "beyond: %d\n",
        all, traces, item, reply, all - traces - item - reply);
    return 0;
}
