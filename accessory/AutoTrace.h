#pragma once

#include <utils/String8.h>

namespace accessory {

// Writes one debug line when a scope is entered and one when it is left, so that the log reads as a
// call trace. It stands first in a traced function, behind the references that the function takes
// to what its object holds. Whatever else the function does then falls between the two lines.
class AutoTrace {
public:
    // Copies both texts, which are not null. With `enabled` false nothing is written.
    AutoTrace(const char* tag, const char* function, bool enabled);
    ~AutoTrace();

    AutoTrace(const AutoTrace&) = delete;
    AutoTrace& operator=(const AutoTrace&) = delete;

private:
    android::String8 mTag;
    android::String8 mFunction;
    bool mEnabled;
};

}  // namespace accessory
