#include <android/log.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <chrono>
#include <cstdio>
#include <sstream>
#include <string>

#include "tests/explore/Framework.h"
#include "tests/explore/Scenarios.h"

// explore [--order 0,1,…] [SCENARIO…]: every order of the scenarios named, or of all; with --order
// the one order of the one scenario named.

namespace {

explorer::Order orderFrom(const std::string& text) {
    explorer::Order order;
    std::istringstream stream(text);
    for (std::string choice; std::getline(stream, choice, ',');)
        order.push_back(std::stoi(choice));
    return order;
}

// The library keeps the service's version for the life of the process, and what it knows of
// released managers until the next release.
void prepare() {
    explorer::Framework::self().reset();
    zrmirvo::ZRMirvoManager::ReleaseInstance(zrmirvo::ZRMirvoManager::GetInstance("3.6"));
    explorer::Framework::self().reset();
}

bool named(const char* name, int count, char** names) {
    for (int i = 0; i < count; ++i) {
        if (std::string(names[i]) == name) return true;
    }
    return count == 0;
}

}  // namespace

// The lines that the library logs are not what is looked at here.
extern "C" int __android_log_print(int, const char*, const char*, ...) {
    return 0;
}

int main(int argc, char** argv) {
    const bool ordered = argc > 2 && std::string(argv[1]) == "--order";
    const int first = ordered ? 3 : 1;
    auto scenarios = explorer::facadeScenarios();
    for (const auto& more : {explorer::proxyScenarios(), explorer::sessionScenarios()})
        scenarios.insert(scenarios.end(), more.begin(), more.end());
    int ran = 0;
    for (const explorer::Scenario& scenario : scenarios) {
        if (!named(scenario.name, argc - first, argv + first)) continue;
        ++ran;
        if (ordered) {
            prepare();
            explorer::replay(scenario.run, scenario.limits, orderFrom(argv[2]));
            continue;
        }
        fprintf(stderr, "%s\n", scenario.name);
        const auto begin = std::chrono::steady_clock::now();
        const explorer::Result result = explorer::explore(prepare, scenario.run, scenario.limits);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
        printf("%-40s %8llu orders %s in %.1f s\n", scenario.name,
               static_cast<unsigned long long>(result.runs),
               result.complete ? "(all)" : "(not all)", time.count());
        fflush(stdout);
    }
    if (ran == 0) fprintf(stderr, "there is no such scenario\n");
    return ran == 0 ? 2 : 0;
}
