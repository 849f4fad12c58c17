#pragma once

#include <string>
#include <vector>

namespace tool {

// The files and folders whose paths begin with `beginning`, in order, for completion. Folders end
// with a slash. Hidden ones are left out unless `beginning` asks for them.
std::vector<std::string> fileNames(const std::string& beginning);

}  // namespace tool
