#include "tool/ServicePlace.h"

#include <cstdlib>

#include "standin/ServiceFolder.h"

namespace tool {
namespace {

bool gGiven = false;

}  // namespace

std::string servicePlace() {
    const auto [path, variable] = accessory::standin::serviceFolder();
    const std::string chosen = gGiven                ? "from --dir"
                               : variable != nullptr ? std::string("from ") + variable
                                                     : "the default";
    return path + " (" + chosen + ")";
}

void setServiceFolder(const std::string& folder) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe)
    setenv("SERVICE_FRAMEWORK_DIR", folder.c_str(), 1);
    gGiven = true;
}

}  // namespace tool
