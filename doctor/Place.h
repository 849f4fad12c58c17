#pragma once

// Where the doctor is: in which operation of the framework's, and which operation of the doctor's
// own the framework has called last. A step that crashes can so name the class and the place.

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

// The doctor is about to call an operation of the framework's, which is given as
// "Class::operation".
void calling(const char* operation);

// The framework has called this operation of a class.
void entered(Side side, const char* operation);

// Memory that cannot be accessed. Each object of the doctor's has the address for its class where a
// framework finds the counters of references that takes the base of this class for not virtual.
const void* forbidden(Side side);

// From here on a crash is concluded with the place.
void concludeCrashes();

}  // namespace doctor
