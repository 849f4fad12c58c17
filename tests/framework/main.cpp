#include <gtest/gtest.h>

#include <cstring>

#include "tests/framework/TestService.h"

// The program is the tests and, started by them with an argument, the service that they talk to.
int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--serve") == 0) return accessory::serve(argv[2]);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
