// libutils is not instrumented, so the thread sanitizer does not see its atomic counts. It takes
// the last release of an object for a race with the earlier ones. Here we tell the sanitizer of
// each release: what a thread does before it gives up its reference happens before what the last
// thread does after it has given up the last one. This orders nothing else. A real race is still
// reported, as PlantedRace.cpp shows.

#ifdef __SANITIZE_THREAD__

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>
#include <utils/RefBase.h>

#define UNINSTRUMENTED __attribute__((no_sanitize("thread")))

namespace android {

// Holds the characters of a String8. libutils does not install its header.
class SharedBuffer {
public:
    enum : uint32_t { eKeepStorage = 1 };

    static void dealloc(const SharedBuffer* released);
    int32_t release(uint32_t flags) const;
};

namespace {

// Finds libutils' own function, whose place a function of this file takes.
template <typename Function>
UNINSTRUMENTED Function next(const char* symbol) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, symbol));
}

UNINSTRUMENTED void* address(const void* object) {
    return const_cast<void*>(object);
}

}  // namespace

UNINSTRUMENTED void RefBase::decStrong(const void* id) const {
    using Function = void (*)(const RefBase*, const void*);
    static const auto real = next<Function>("_ZNK7android7RefBase9decStrongEPKv");
    __tsan_release(address(this));
    real(this, id);
}

UNINSTRUMENTED void RefBase::onLastStrongRef(const void* /*id*/) {
    __tsan_acquire(this);
}

UNINSTRUMENTED void RefBase::weakref_type::decWeak(const void* id) {
    using Function = void (*)(weakref_type*, const void*);
    static const auto real = next<Function>("_ZN7android7RefBase12weakref_type7decWeakEPKv");
    __tsan_release(this);
    real(this, id);
}

UNINSTRUMENTED void RefBase::onLastWeakRef(const void* /*id*/) {
    __tsan_acquire(getWeakRefs());
}

UNINSTRUMENTED int32_t SharedBuffer::release(uint32_t flags) const {
    using Function = int32_t (*)(const SharedBuffer*, uint32_t);
    static const auto real = next<Function>("_ZNK7android12SharedBuffer7releaseEj");
    __tsan_release(address(this));
    const int32_t before = real(this, flags | eKeepStorage);
    if (before == 1) {
        __tsan_acquire(address(this));
        if ((flags & eKeepStorage) == 0) dealloc(this);
    }
    return before;
}

}  // namespace android

#endif
