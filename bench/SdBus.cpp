#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "bench/Subjects.h"

// The same command with sd-bus over a socket of its own, which one would otherwise use.

namespace bench {
namespace {

int answer(sd_bus_message* message, void*, sd_bus_error*) {
    int32_t command = 0;
    int32_t intValue = 0;
    int64_t longValue = 0;
    const char* text = nullptr;
    int boolValue = 0;
    require(sd_bus_message_read(message, "iixsb", &command, &intValue, &longValue, &text,
                                &boolValue) > 0,
            "sd_bus_message_read");
    return sd_bus_reply_method_return(message, "iixs", 0, -1, int64_t{-1}, ".");
}

sd_bus* open(int fd) {
    sd_bus* bus = nullptr;
    require(sd_bus_new(&bus) >= 0 && sd_bus_set_fd(bus, fd, fd) >= 0, "sd_bus_new");
    return bus;
}

void serve(int fd) {
    sd_bus* bus = open(fd);
    sd_id128_t id;
    require(sd_id128_from_string("b0240b1a5e7d4c119a3f6e20d1774bc5", &id) >= 0 &&
                sd_bus_set_server(bus, 1, id) >= 0 && sd_bus_set_trusted(bus, 1) >= 0 &&
                sd_bus_add_object(bus, nullptr, "/bench", answer, nullptr) >= 0 &&
                sd_bus_start(bus) >= 0,
            "sd_bus_start");
    for (;;) {
        const int done = sd_bus_process(bus, nullptr);
        require(done >= 0, "sd_bus_process");
        if (done == 0) require(sd_bus_wait(bus, UINT64_MAX) >= 0, "sd_bus_wait");
    }
}

void callOnce(sd_bus* bus) {
    sd_bus_message* reply = nullptr;
    require(sd_bus_call_method(bus, nullptr, "/bench", "bench.Bench", "Call", nullptr, &reply,
                               "iixsb", 1, -1, int64_t{-1}, ".", 0) >= 0,
            "sd_bus_call_method");
    int32_t result = 0;
    int32_t intValue = 0;
    int64_t longValue = 0;
    const char* text = nullptr;
    require(sd_bus_message_read(reply, "iixs", &result, &intValue, &longValue, &text) > 0,
            "sd_bus_message_read");
    sd_bus_message_unref(reply);
}

}  // namespace

Pair sdBusPair(Place place) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0, "socketpair");
    Pair pair;
    pair.service = std::make_unique<Process>(place.service, [&](int) { serve(ends[1]); });
    pair.client = std::make_unique<Client>(place.client, [&] {
        sd_bus* bus = open(ends[0]);
        require(sd_bus_start(bus) >= 0, "sd_bus_start");
        return Batch([bus](size_t calls) { return timeEach(calls, [bus] { callOnce(bus); }); });
    });
    close(ends[0]);
    close(ends[1]);
    return pair;
}

}  // namespace bench
