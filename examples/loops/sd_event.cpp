// A session in the event loop of libsystemd.

#include <sys/epoll.h>
#include <systemd/sd-event.h>

#include "head_unit.h"

static int dispatch(sd_event_source*, int, uint32_t, void* session) {
    static_cast<zrmirvo::Session*>(session)->dispatch();
    return 0;
}

int main() {
    sd_event* loop = nullptr;
    if (sd_event_default(&loop) < 0) return 1;
    {
        zrmirvo::Session session(ZRMIRVO_VERSION_TEXT);
        headUnit(session, [&] { sd_event_exit(loop, 0); });

        sd_event_source* source = nullptr;
        if (sd_event_add_io(loop, &source, session.fd(), EPOLLIN, dispatch, &session) < 0) return 1;
        sd_event_loop(loop);
        sd_event_source_unref(source);
    }
    sd_event_unref(loop);
}
