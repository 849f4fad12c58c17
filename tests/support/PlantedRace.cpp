// Shows that ReferenceCounts.cpp does not hide races. Two threads write to one object without an
// order between them. Each holds a reference of its own, and the last reference is given up
// properly. The thread sanitizer must report the race.

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
