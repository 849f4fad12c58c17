#pragma once

namespace accessory::standin {

// A forked child shares the sockets and the epoll set of its parent, and none of its threads. Were
// it to use them, the parent would lose replies and notifications. So the child only closes its
// copies of the descriptors; everything else fails there.

// Has children noticed that are forked from now on. Called before there is anything to share.
void noticeForks();

// Whether this process is such a child. Takes no lock, because a lock may have been held by another
// thread of the parent when it was forked, and is never released in the child then.
bool inForkedChild();

// As inForkedChild(), with one line in the log that says what fails.
bool failsInForkedChild(const char* what);

}  // namespace accessory::standin
