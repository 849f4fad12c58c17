#pragma once

#include <string>

namespace tool {

// The folder in which services and clients meet and, in brackets, how it was chosen:
// "/run/user/1000/service_framework (from XDG_RUNTIME_DIR)".
std::string servicePlace();

// Has this process meet the others in `folder`, as --dir asks for. Before it looks for a service.
void setServiceFolder(const std::string& folder);

}  // namespace tool
