#include <android/log.h>
#include <utils/String8.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <cstdio>

#include "bench/CountedMalloc.h"
#include "protocol/AccessoryMessages.h"
#include "protocol/ManagerMessages.h"

// Counts the allocations of one sendKeyEvent, and those of its parts: the four texts of its two
// call traces, the item and the reply. The environment says where the service is.

namespace {

using bench::allocationsOf;
using bench::fail;

}  // namespace

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
