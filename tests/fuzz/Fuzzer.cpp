#include <android/log.h>

#include "tests/fuzz/Input.h"

// Nobody reads the log of a million inputs.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger([](const __android_logger_data*, const char*) {});
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Input input(data, size);
    fuzz(input);
    return 0;
}
