#pragma once

#include <functional>
#include <vector>

#include "tests/explore/Explorer.h"

namespace explorer {

struct Scenario {
    const char* name;
    std::function<void()> run;
    Limits limits;
};

// Of the facade and the proxies, and of what is built on the facade.
std::vector<Scenario> facadeScenarios();
std::vector<Scenario> proxyScenarios();
std::vector<Scenario> sessionScenarios();

}  // namespace explorer
