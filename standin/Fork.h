#pragma once

namespace accessory::standin {

// A forked child shares the sockets and the epoll set of its parent, and none of its threads. If it
// used them, the parent would lose replies and notifications. So the child only closes its copies
// of the descriptors, and everything else fails there.

// Makes inForkedChild() true in children that are forked from now on. Called before there is
// anything to share.
void noticeForks();

// Whether this process is such a child. Takes no lock: a lock that another thread of the parent
// held at the fork stays locked in the child.
bool inForkedChild();

// As inForkedChild(), with one line in the log that says what fails.
bool failsInForkedChild(const char* what);

}  // namespace accessory::standin
