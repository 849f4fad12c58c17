#pragma once

#include <cstdint>
#include <string>

#include "doctor/Place.h"
#include "doctor/Steps.h"

namespace doctor {

// A class of the contract that notices when a call was meant for another slot. The framework may
// call a slot behind the last one, or one in front of the first, which destroys the object. It may
// also call an operation with the arguments of another one, so that `this` is no such object.
template <typename Base, Side kSide>
class Guarded : public Base {
public:
    ~Guarded() override {
        mMark = 0;
        // A framework that takes other memory for the reference count crashes before it comes here.
        if (this->getStrongCount() > 0) {
            conclude(
                bad(std::string("the framework calls the destructor of a ") + className(kSide) +
                    " that is in use: its declaration has a slot less, in front of the others"));
        }
    }

    // NOLINTBEGIN(readability-convert-member-functions-to-static)
    virtual void behind1() { isBehind(); }
    virtual void behind2() { isBehind(); }
    virtual void behind3() { isBehind(); }
    virtual void behind4() { isBehind(); }
    virtual void behind5() { isBehind(); }
    // NOLINTEND(readability-convert-member-functions-to-static)

protected:
    // Each operation calls this first.
    void enter(const char* operation) {
        entered(kSide, operation);
        if (mMark == kMark) return;
        conclude(bad(std::string("the framework calls ") + className(kSide) + "::" + operation +
                     " with the arguments of another operation: the slots are in another order, or "
                     "there is one more or one less"));
    }

private:
    static void isBehind() {
        conclude(bad(std::string("the framework calls a slot behind the last one of ") +
                     className(kSide) +
                     ": its declaration has a slot more, or a base that is not virtual"));
    }

    static constexpr uint64_t kMark = 0x6d6972766f646f63;

    // This has to be the first field.
    const void* volatile mForbidden = forbidden(kSide);
    volatile uint64_t mMark = kMark;
};

}  // namespace doctor
