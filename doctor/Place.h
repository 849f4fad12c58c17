#pragma once

// Remembers which operation of the framework the doctor calls, and which operation of the doctor's
// classes the framework has called last. A step that crashes can thereby name class and operation.

namespace doctor {

// The classes of the contract that the doctor implements.
enum class Side {
    kInfo,
    kProtocol,
    kNotifyFactory,
    kItemFactory,
    kReplyFactory,
    kItem,
    kNotify,
    kReply,
    kListener
};
const char* className(Side side);

// The doctor is about to call this operation of the framework, given as "Class::operation".
void calling(const char* operation);

// The framework has called this operation of a class.
void entered(Side side, const char* operation);

// Memory that cannot be accessed. Each of the doctor's objects holds the address for its class. It
// holds it at the place where a framework looks for the reference counters if it believes that the
// base of this class is not virtual.
const void* forbidden(Side side);

// From now on, the verdict of a crash names the place.
void concludeCrashes();

}  // namespace doctor
