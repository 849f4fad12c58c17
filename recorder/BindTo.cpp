#include <dlfcn.h>

#include <cstring>

#include "recorder/Client.h"
#include "recorder/Log.h"

// This library replaces one symbol of the framework. The client that bindTo returns leads to
// everything else that is recorded.

namespace recorder {
namespace {

// A member function that is not virtual is called like a function whose first argument is the
// object.
using BindTo = sp<ServiceClient> (*)(accessory::ServiceDiscoverer*, sp<accessory::ServiceInfo>&);

constexpr const char* kService = "mirvo.accessory.manager";
constexpr const char* kFramework = "libservice_framework_1_0.so.1";
constexpr const char* kSymbol =
    "_ZN9accessory17ServiceDiscoverer6bindToERN7android2spINS_11ServiceInfoEEE";

BindTo findReal() {
    void* symbol = dlsym(RTLD_NEXT, kSymbol);
    if (symbol == nullptr) {
        // RTLD_NEXT does not find a framework that dlopen loaded without RTLD_GLOBAL.
        void* framework = dlopen(kFramework, RTLD_LAZY | RTLD_NOLOAD);
        if (framework != nullptr) symbol = dlsym(framework, kSymbol);
    }
    if (symbol == nullptr) logError("there is no framework behind the recorder");
    return reinterpret_cast<BindTo>(symbol);
}

}  // namespace
}  // namespace recorder

namespace accessory {

__attribute__((visibility("default"))) sp<ServiceClient> ServiceDiscoverer::bindTo(
    sp<ServiceInfo>& info) {
    static const recorder::BindTo kReal = recorder::findReal();
    if (kReal == nullptr) return nullptr;
    // Other client libraries may use the same framework. Their messages are not recorded.
    const bool ours = info != nullptr && std::strcmp(info->servicename(), recorder::kService) == 0;
    recorder::Recorder* recorder = ours ? recorder::Recorder::instance() : nullptr;
    sp<ServiceClient> client = kReal(this, info);
    if (recorder == nullptr || !recorder->recording()) return client;
    if (client == nullptr) {
        recorder->add(recorder::FrameKind::kNotBound, {});
        return client;
    }
    return new recorder::Client(recorder, client);
}

}  // namespace accessory
