#include <gtest/gtest.h>

#include <string>

#include "tests/standin/TestService.h"

// The program is the tests and, started by them with a role, the process that they talk to.
int main(int argc, char** argv) {
    const std::string role = argc == 3 ? argv[1] : "";
    if (role == "--serve") return accessory::serve(argv[2]);
    if (role == "--leave") return accessory::leave(argv[2]);
    if (role == "--print") return accessory::print(argv[2]);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
