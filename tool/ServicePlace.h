#pragma once

#include <string>

namespace tool {

// Returns the folder in which services and clients meet and, in brackets, how it was chosen:
// "/run/user/1000/service_framework (from XDG_RUNTIME_DIR)".
std::string servicePlace();

// Makes this process use `folder`, as --dir asks. Call it before anything looks for a service.
void setServiceFolder(const std::string& folder);

}  // namespace tool
