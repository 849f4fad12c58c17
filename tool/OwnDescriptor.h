#pragma once

namespace tool {

// A way of our own to a terminal or pipe that other programs use as well. Reading and writing here
// never block, which must not be set where they would find it, too: they share the descriptors 0
// to 2. poll() alone does not do, since it promises no room for more than one byte at a terminal,
// and another program may read first what it has reported.
//
// Threads: one at a time.
class OwnDescriptor {
public:
    // `access` is O_RDONLY or O_WRONLY.
    OwnDescriptor(int shared, int access);
    ~OwnDescriptor();
    OwnDescriptor(const OwnDescriptor&) = delete;
    OwnDescriptor& operator=(const OwnDescriptor&) = delete;

    // Looks again at what is behind the shared descriptor.
    void renew();
    // The shared one, for what is neither terminal nor pipe, or cannot be opened.
    int get() const { return mOwn >= 0 ? mOwn : mShared; }

private:
    const int mShared;
    const int mAccess;
    int mOwn = -1;
};

}  // namespace tool
