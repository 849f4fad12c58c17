#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "recording/Record.h"

namespace recording {

// Turns records into the bytes of a pcapng file, which has link type USER0, an interface for the
// process and one for each binding, and times in nanoseconds. Writes no file itself. One thread at
// a time.
class Writer {
public:
    // Begins a file: adds its section, and a record that says what follows.
    void begin(const Beginning& beginning, uint64_t wall, uint64_t monotonic);

    // Adds a record. Its content may be as long as a message can be. When the file does not have
    // the record's binding yet, the binding gets its interface first.
    void add(const Record& record);

    // The bytes that were made since the caller emptied this vector last.
    std::vector<uint8_t>& bytes() { return mBytes; }

private:
    template <typename Number>
    void number(Number value);
    void append(const void* data, size_t size);
    void pad();
    size_t open(uint32_t type);
    void option(uint16_t code, const void* data, size_t size);
    void option(uint16_t code, const std::string& text);
    void close(size_t block);
    void addInterface(const std::string& name);
    uint32_t interfaceOf(uint32_t binding);
    void addPart(const Record& record, uint32_t interface, uint32_t offset);

    std::vector<uint8_t> mBytes;
    std::map<uint32_t, uint32_t> mInterfaces;  // by binding
};

}  // namespace recording
