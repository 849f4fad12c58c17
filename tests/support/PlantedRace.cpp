// Must be reported by the thread sanitizer: two threads write to one object without an order
// between them, although each holds a reference of its own and the last of these is given up
// properly. Shows that ReferenceCounts.cpp does not hide races.

#include <utils/RefBase.h>

#include <thread>

namespace {

struct Shared : virtual android::RefBase {
    int value = 0;
};

void plantedRace(const android::sp<Shared>& shared) {
    const android::sp<Shared> mine = shared;
    ++mine->value;
}

}  // namespace

int main() {
    android::sp<Shared> shared = new Shared;
    std::thread other([shared] { plantedRace(shared); });
    plantedRace(shared);
    shared.clear();
    other.join();
    return 0;
}
