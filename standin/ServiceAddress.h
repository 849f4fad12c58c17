#pragma once

#include <string>

#include "standin/Connector.h"

namespace accessory::standin {

// One running instance of a service, found by name. A host makes its socket under a random name and
// then renames it, and a connected socket keeps telling the name that it was made under. So a
// client sees at once, without a word from the service, whether it has reached the instance that it
// is bound to or a successor.
class ServiceAddress final : public Connector {
public:
    explicit ServiceAddress(std::string path) : mPath(std::move(path)) {}

    // Connects for the first time, and without waiting: this fixes the instance.
    UniqueFd bind();
    UniqueFd connect(const Deadline& deadline, bool& lost) override;

private:
    const std::string mPath;
    std::string mInstance;
};

}  // namespace accessory::standin
