#pragma once

#include "ZRMirvo.h"
#include "ZRMirvoCallback.h"

namespace zrmirvo {

// The versions of this library (client) and of the service (server). A negative number is a value
// that is not known.
struct ZRMirvoVersion {
    int clientMajor;
    int clientMinor;
    int clientPatch;
    int serverMajor;
    int serverMinor;
    int serverPatch;
};

// The projection service as a whole. There is one manager in a process.
//
//     ZRMirvoManager* manager = ZRMirvoManager::GetInstance(ZRMIRVO_VERSION_TEXT);
//     if (manager != nullptr && manager->startup() == 0) { … }
//     ZRMirvoManager::ReleaseInstance(manager);
//
// Threads: thread-safe, and every operation may be called from inside any callback. No operation
// may begin after the manager has been released; one that is already under way then ends normally.
// An operation that asks the service waits for its answer, at most for the request timeout of the
// service framework, and holds no lock meanwhile; GetMirvoInstance asks twice and also waits for
// its new binding to be heard. A service that is gone, dead, hung or talking nonsense never does
// more harm than that: the operation fails, with one line in the log.
//
// Ownership: from GetInstance to ReleaseInstance; the application never deletes a manager.
// Callbacks stay the application's.
//
// Results: 0 is success. Any other value is the service's own code, or 1 when the library could not
// complete the request; one line in the log says why.
class ZRMirvoManager {
protected:
    // First, because its slots are.
    virtual ~ZRMirvoManager() = default;

public:
    // Returns the manager of this process and makes it on first use. `version` is the version that
    // the application was built for, "3.6": two decimal numbers with a point between them, and
    // whatever follows is ignored. Null, with a line in the log, when `version` is null or cannot
    // be read, when it is not this library's version, or when the service's is not; the manager
    // exists all the same and a later call may succeed. A service that is missing or silent is no
    // reason for null: then there is a manager on which every operation fails.
    //
    // May be called from any thread, several at once: there is one manager, and whoever comes later
    // waits, unlocked, until it has been constructed. Binds to the service and asks for its
    // version, each at most for the request timeout.
    __attribute__((visibility("default"))) static ZRMirvoManager* GetInstance(const char* version);

    // Releases the manager, with every instance that it still has. When this returns on an
    // application thread, none of their callbacks is running on any other thread and none will be
    // called again, nor is one of an instance that was released inside a callback before; so do not
    // hold a lock here that a callback takes. Inside any callback of this library it takes effect
    // at once and never waits; callbacks may then still be running on other threads. From the
    // moment of the call on, GetInstance makes a new manager, and on this one GetMirvoInstance
    // answers null and RegisterCallback false. A pointer that is null or not the current manager is
    // refused with a line in the log and never dereferenced.
    //
    // May be called from any thread. Makes no request.
    __attribute__((visibility("default"))) static void ReleaseInstance(ZRMirvoManager* instance);

    // The versions of library and service. Needs no manager. Asks the service, at most for the
    // request timeout, until it has once given a readable version, and never again after that.
    __attribute__((visibility("default"))) static ZRMirvoVersion getVersion();

    // Adds `cb`, which is not null, to the callbacks of the manager, behind those already there.
    // True, also when it is already registered; false, with a line in the log, for null, and on a
    // manager that is being released.
    virtual bool RegisterCallback(ZRMirvoManagerCallback* cb) = 0;

    // Removes `cb`, which is not null. When this returns on an application thread, `cb` is not
    // running on any other thread and will not be called again, so do not hold a lock here that the
    // callback takes. Inside any callback of this library it takes effect at once and never waits;
    // `cb` may then still be running on another thread and must not be destroyed yet. A callback
    // that is not registered is ignored, and waited for if it is still running. A callback that
    // unregisters itself makes the one behind it miss the event being delivered; a change made by
    // another thread never makes a delivery that is under way skip or repeat someone else.
    virtual void UnregisterCallback(ZRMirvoManagerCallback* cb) = 0;

    // Starts the projection service.
    virtual int startup() = 0;

    // Stops the projection service.
    virtual int shutdown() = 0;

    // Hands over the path of the configuration file, which is not null. The service reads the file.
    virtual int setConfigFile(const char* path) = 0;

    // Lists the accessories. `ids` has room for 10 and `count` is not null. Once the request is on
    // its way `*count` is 0, and it stays so when the request fails.
    virtual int getIds(unsigned int* ids, unsigned int* count) = 0;

    // Makes an instance for the accessory `accessoryId`, a new one for each call. Null, with a line
    // in the log, when the service does not know the accessory or does not answer. The instance
    // belongs to the manager, until ReleaseMirvoInstance.
    virtual ZRMirvo* GetMirvoInstance(unsigned int accessoryId) = 0;

    // Releases an instance. When this returns on an application thread, its callbacks are not
    // running on any other thread and will not be called again, so do not hold a lock here that
    // they take. Inside any callback of this library it takes effect at once and never waits. Null
    // and whatever is not an instance of this manager are ignored; but release each instance once,
    // since a newer one may live at the same address. Makes no request.
    virtual void ReleaseMirvoInstance(ZRMirvo* instance) = 0;

    // Hands over a Bluetooth setting: a text of at most 31 characters, not null, and a value, both
    // with the service's meaning.
    virtual int setBluetoothConfig(const char* text, int value) = 0;

    // Reads the HID descriptor; both arguments are not null. On success `*data` is a new array of
    // `*length` bytes, which the caller releases with delete[]. Once the request is on its way
    // `*length` is 0; on failure there are no bytes behind `*data`, whatever `*length` says.
    virtual int getHidDescriptor(char** data, int* length) = 0;

    // Connects; the meaning of `arg`, which is not null, is the service's.
    virtual void connect(const char* arg) = 0;

    // Disconnects; the meaning of `arg`, which is not null, is the service's.
    virtual void disconnect(const char* arg) = 0;
};

}  // namespace zrmirvo
