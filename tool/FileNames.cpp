#include "tool/FileNames.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace tool {

std::vector<std::string> fileNames(const std::string& beginning) {
    const size_t slash = beginning.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : beginning.substr(0, slash + 1);
    const std::string name = beginning.substr(folder.size());
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder.empty() ? "." : folder, error);
    for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
        const std::string found = entry->path().filename().string();
        if (found.compare(0, name.size(), name) != 0 || (name.empty() && found[0] == '.')) continue;
        std::error_code unknown;
        names.push_back(folder + found + (entry->is_directory(unknown) ? "/" : ""));
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace tool
