#pragma once

#include <cstdint>

#include "emulator/Printer.h"

namespace emulator {

// Who is told what happens, besides standard output. It is called on the threads of requests and of
// commands, several at once, and never waits.
class Audience {
public:
    virtual ~Audience() = default;

    // A request whose answer is known. Answers a number for settled().
    virtual uint64_t request(const Request& request,
                             const accessory::sp<accessory::ServiceItem>& item, const Asker& asker,
                             const Reply& reply, const Rule& rule) = 0;
    // Its answer has left, or it is certain that none will.
    virtual void settled(uint64_t number) = 0;
    virtual void event(const Event& event) = 0;
};

}  // namespace emulator
