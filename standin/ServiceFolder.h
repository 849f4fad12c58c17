#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace accessory::standin {

// The folder in which services and clients of this user meet.
struct ServiceFolder {
    std::string path;
    // The environment variable that it comes from; null when none of them is set.
    const char* variable;
};

// SERVICE_FRAMEWORK_DIR, else below XDG_RUNTIME_DIR, else below the temporary directory. Inline, so
// that a tool that runs over another framework can name the folder, too.
inline ServiceFolder serviceFolder() {
    const auto value = [](const char* variable) {
        // NOLINTNEXTLINE(concurrency-mt-unsafe)
        const char* text = std::getenv(variable);
        return std::string(text != nullptr ? text : "");
    };
    constexpr const char* kOwn = "SERVICE_FRAMEWORK_DIR";
    constexpr const char* kRuntime = "XDG_RUNTIME_DIR";
    constexpr const char* kTemporary = "TMPDIR";
    if (std::string own = value(kOwn); !own.empty()) return {own, kOwn};
    if (const std::string runtime = value(kRuntime); !runtime.empty()) {
        return {runtime + "/service_framework", kRuntime};
    }
    const std::string temporary = value(kTemporary);
    return {(temporary.empty() ? "/tmp" : temporary) + "/service_framework-" +
                std::to_string(geteuid()),
            temporary.empty() ? nullptr : kTemporary};
}

}  // namespace accessory::standin
