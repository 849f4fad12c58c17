#include <dlfcn.h>
#include <link.h>

#include <cstring>
#include <map>
#include <set>
#include <vector>

#include "doctor/Steps.h"

namespace doctor {
namespace {

constexpr const char* kLibraries[] = {"libzrmirvo.so", "libservice_framework_1_0.so", "libutils.so",
                                      "liblog.so"};

// The only functions that the library needs of the framework by name.
constexpr const char* kFunctions[] = {
    "_ZN9accessory17ServiceDiscoverer4selfEv",
    "_ZN9accessory17ServiceDiscoverer6bindToERN7android2spINS_11ServiceInfoEEE",
    "_ZN7android12ProcessState4selfEv",
    "_ZN7android12ProcessState15startThreadPoolEv",
};

std::vector<std::string> loadedFiles() {
    std::vector<std::string> files;
    dl_iterate_phdr(
        [](dl_phdr_info* info, size_t, void* list) {
            static_cast<std::vector<std::string>*>(list)->emplace_back(info->dlpi_name);
            return 0;
        },
        &files);
    return files;
}

std::string baseName(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

}  // namespace

Verdict libraries(const Options& /*options*/) {
    std::map<std::string, std::set<std::string>> found;
    for (const std::string& file : loadedFiles()) {
        for (const char* library : kLibraries) {
            if (baseName(file).rfind(library, 0) == 0) found[library].insert(file);
        }
    }
    std::string text;
    for (const char* library : kLibraries) {
        const std::set<std::string>& files = found[library];
        if (files.empty()) return bad(std::string("there is no ") + library);
        if (files.size() > 1) {
            return bad("two copies are loaded: " + *files.begin() + " and " + *files.rbegin());
        }
        text += (text.empty() ? "" : ", ") + *files.begin();
    }
    return good("loaded: " + text);
}

Verdict functions(const Options& /*options*/) {
    std::string file;
    for (const char* name : kFunctions) {
        Dl_info info = {};
        void* function = dlsym(RTLD_DEFAULT, name);
        if (function == nullptr || dladdr(function, &info) == 0) {
            return bad(std::string("nobody has ") + name);
        }
        if (file.empty()) file = info.dli_fname;
        if (file != info.dli_fname) return bad("they come from " + file + " and " + info.dli_fname);
    }
    if (baseName(file).rfind("libservice_framework_1_0.so", 0) != 0) {
        return bad("the four functions come from " + file);
    }
    const bool standin = dlsym(RTLD_DEFAULT, "_ZN9accessory11ServiceHost5startEv") != nullptr;
    return good(
        "the four functions come from " + file +
        (standin ? ", which is the stand-in: on the target, the maker's takes its place" : ""));
}

}  // namespace doctor
