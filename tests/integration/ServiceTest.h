#pragma once

#include <gtest/gtest.h>
#include <zrmirvo/ZRMirvoManager.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace integration {

using testing_support::entries;
using testing_support::eventually;
using testing_support::Process;
using zrmirvo::ZRMirvo;
using zrmirvo::ZRMirvoManager;

struct Release {
    void operator()(ZRMirvoManager* manager) const { ZRMirvoManager::ReleaseInstance(manager); }
};

// The process's manager, which this test is the only one to use.
using Manager = std::unique_ptr<ZRMirvoManager, Release>;

// Without a manager the test ends.
inline Manager obtainManager() {
    Manager manager(ZRMirvoManager::GetInstance("3.6"));
    if (manager == nullptr) throw std::runtime_error("no manager");
    return manager;
}

// Where the services of one test are found.
class ServiceTest : public testing::Test {
protected:
    // Starts the emulator, with accessories 7 and 8.
    void startEmulator() { startEmulator(mFolder.path()); }

    // Starts the emulator and puts the relay in front of it.
    void startRelay(const std::string& fault, int number) {
        mRelay = nullptr;
        const std::string behind = mFolder.path() + "/behind";
        startEmulator(behind);
        const Words words{FAULTY_RELAY, mFolder.path(), behind, fault, std::to_string(number)};
        mRelay = std::make_unique<Process>(words);
        mRelay->waitForLine("ready");
    }

private:
    using Words = std::vector<std::string>;

    void startEmulator(const std::string& directory) {
        mEmulator = nullptr;
        mEmulator = std::make_unique<Process>(Words{EMULATOR, "--dir", directory});
        mEmulator->type("attach 7\nattach 8");
        // It serves from before it reads its commands, and says when it has done one.
        mEmulator->waitForLine("> attach 8");
    }

    const testing_support::Folder mFolder;

protected:
    std::unique_ptr<Process> mEmulator;
    std::unique_ptr<Process> mRelay;
};

}  // namespace integration
