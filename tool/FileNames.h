#pragma once

#include <string>
#include <vector>

namespace tool {

// Returns the files and folders whose paths begin with `beginning`, in order, for completion.
// Folders end with a slash. Hidden files are left out unless `beginning` asks for them.
std::vector<std::string> fileNames(const std::string& beginning);

}  // namespace tool
