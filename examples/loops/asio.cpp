// A session in an io_context of Boost.Asio.

#include <unistd.h>

#include <boost/asio.hpp>

#include "head_unit.h"

using Descriptor = boost::asio::posix::stream_descriptor;

static void wait(Descriptor& descriptor, zrmirvo::Session& session) {
    descriptor.async_wait(Descriptor::wait_read, [&](const boost::system::error_code& error) {
        if (error) return;
        session.dispatch();
        wait(descriptor, session);
    });
}

int main() {
    boost::asio::io_context context;
    zrmirvo::Session session(ZRMIRVO_VERSION_TEXT);
    headUnit(session, [&] { context.stop(); });

    // A duplicate, since the session closes its own.
    Descriptor descriptor(context, dup(session.fd()));
    wait(descriptor, session);
    context.run();
}
