#pragma once

#include "mirvoctl/Output.h"

namespace mirvoctl {

// An array that the library has handed over.
class Buffer {
public:
    Buffer() = default;
    ~Buffer() { delete[] data; }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    Json shown() const {
        if (data == nullptr) return Json::object();
        return bytesAs("bytes", data, static_cast<size_t>(length));
    }

    char* data = nullptr;
    int length = 0;
};

}  // namespace mirvoctl
