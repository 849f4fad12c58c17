#pragma once

#include <cstddef>
#include <string>

namespace doctor {

// Whether these bytes of this process can be read.
bool readable(const void* address, size_t size);

// Whether these bytes are anywhere in this process's writable memory, the caller's stack excepted.
bool inMemory(const void* bytes, size_t size);

// The contract wants each class to derive virtually from android::RefBase. Says why the class of
// this object does not; empty when it does. Only reads the object, and calls none of its
// operations.
std::string faultOfBase(const void* object);

}  // namespace doctor
