#pragma once

#include <string>

#include "standin/Connector.h"

namespace accessory::standin {

// One running instance of a service, found by the path of its socket. A host makes its socket under
// a random name and then renames it; getpeername() goes on telling the random name. So a client
// knows whether it has reached the instance that it is bound to or a successor, without asking it.
class ServiceAddress final : public Connector {
public:
    explicit ServiceAddress(std::string path) : mPath(std::move(path)) {}

    // Connects for the first time, which decides to which instance the client is bound. Does not
    // wait.
    UniqueFd bind();
    UniqueFd connect(const Deadline& deadline, bool& lost) override;

private:
    const std::string mPath;
    std::string mInstance;
};

}  // namespace accessory::standin
