#include <dlfcn.h>

#include <cstdio>

// Loads the library so that nobody else sees its symbols, nor those of its framework.

int main(int, char** argv) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    void* symbol = library == nullptr
                       ? nullptr
                       : dlsym(library, "_ZN7zrmirvo14ZRMirvoManager11GetInstanceEPKc");
    if (symbol == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    using GetInstance = void* (*)(const char* version);
    return reinterpret_cast<GetInstance>(symbol)("3.6") == nullptr ? 1 : 0;
}
