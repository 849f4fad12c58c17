#pragma once

namespace accessory {

// Marks the calling thread as being inside a call to a notifier, and so perhaps inside a callback
// of the application. Whoever would wait for callbacks to end asks active() first: a thread that is
// inside one must never wait for another, or two callbacks could wait for each other.
class CallbackScope {
public:
    CallbackScope();
    ~CallbackScope();

    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

    static bool active();
};

}  // namespace accessory
