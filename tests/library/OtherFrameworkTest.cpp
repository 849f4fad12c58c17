#include <zrmirvo/ZRMirvoManager.h>

#include <cstdio>

// This program is linked with the library as any application is. When it runs, the loader finds the
// other framework first.

int main() {
    using zrmirvo::ZRMirvoManager;
    ZRMirvoManager* manager = ZRMirvoManager::GetInstance("3.6");
    if (manager == nullptr) {
        std::puts("no manager");
        return 1;
    }
    const int patch = ZRMirvoManager::getVersion().serverPatch;
    const int status = manager->startup();
    ZRMirvoManager::ReleaseInstance(manager);
    std::printf("service version 3.6.%d, startup %d\n", patch, status);
    return patch == 44 && status == 42 ? 0 : 1;
}
