#pragma once

#include <cstddef>
#include <string>

namespace doctor {

// Whether these bytes of this process can be read.
bool readable(const void* address, size_t size);

// Whether these bytes are anywhere in this process's writable memory but on the caller's stack.
bool inMemory(const void* bytes, size_t size);

// Why an object of another library is not of a class that derives virtually from android::RefBase,
// as the contract wants it. Empty when it is. The object is only looked at, and none of it is
// called.
std::string faultOfBase(const void* object);

}  // namespace doctor
