#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

// Gives every file of a corpus to a fuzzer once; this builds with any compiler. A failure ends the
// process.

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s CORPUS-FOLDER\n", argv[0]);
        return 2;
    }
    LLVMFuzzerInitialize(&argc, &argv);
    size_t inputs = 0;
    for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
        std::ifstream stream(file.path(), std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        printf("%s\n", file.path().filename().c_str());
        fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        ++inputs;
    }
    printf("%zu inputs\n", inputs);
    return inputs == 0 ? 1 : 0;
}
