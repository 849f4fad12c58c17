// A session in a loop of poll().

#include <poll.h>

#include "head_unit.h"

int main() {
    bool ends = false;
    zrmirvo::Session session(ZRMIRVO_VERSION_TEXT);
    headUnit(session, [&] { ends = true; });

    pollfd entry{session.fd(), POLLIN, 0};
    while (!ends) {
        if (poll(&entry, 1, -1) > 0) session.dispatch();
    }
}
