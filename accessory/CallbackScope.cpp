#include "accessory/CallbackScope.h"

namespace accessory {
namespace {

thread_local int gDepth = 0;

}  // namespace

CallbackScope::CallbackScope() {
    ++gDepth;
}

CallbackScope::~CallbackScope() {
    --gDepth;
}

bool CallbackScope::active() {
    return gDepth > 0;
}

}  // namespace accessory
