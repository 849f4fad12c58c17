#pragma once

#include "ZRMirvo.h"
#include "ZRMirvoCallback.h"

namespace zrmirvo {

// The versions of this library (client) and of the service (server). A negative number is a value
// that is not known. When there is no service to ask, or it does not answer, the service counts as
// 3.6.3 for the rest of the process's life.
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
// Threads: thread-safe, and every operation may be called from inside any callback. An operation
// that asks the service waits for its answer, at most for the request timeout of the service
// framework, and holds no lock meanwhile. GetMirvoInstance asks twice, and also waits until the
// service has agreed to send events over the new binding. A service that is gone, dead, hung or
// talking nonsense never does more harm than that: the operation fails, with one line in the log.
//
// No operation may begin once the release of the manager has begun. One has begun when it has taken
// references to what it needs, in its first few instructions and before its first line in the log;
// it then ends normally, also when the manager is released meanwhile.
//
// Ownership: from GetInstance to ReleaseInstance; the application never deletes a manager.
// Callbacks stay the application's.
//
// Results: 0 is success. Any other value is the service's own code, or 1 when the library could not
// complete the request; one line in the log says why.
class ZRMirvoManager {
protected:
    // Declared first, because the slots of the destructor come first.
    virtual ~ZRMirvoManager() = default;

public:
    // Returns the manager of this process and makes it on first use. `version` is the version that
    // the application was built for, "3.6": two decimal numbers with a point between them, and
    // whatever follows is ignored. Null, with a line in the log, when `version` is null or cannot
    // be read, when it is not this library's version, or when the service's is not; the manager
    // exists all the same and a later call may succeed. A service that is missing or silent is no
    // reason for null: it counts as 3.6.3 from then on (see getVersion), and there is a manager on
    // which every operation fails.
    //
    // May be called from any thread, several at once: there is one manager, and whoever comes later
    // waits, unlocked, until it has been constructed. The manager that it returns is one whose
    // release had not begun at the end of this call. Binds to the service and asks for its version,
    // each at most for the request timeout.
    __attribute__((visibility("default"))) static ZRMirvoManager* GetInstance(const char* version);

    // Releases the manager, with every instance that it still has. On an application thread it
    // waits for the deliveries of all of them, also of instances that were released before, and
    // never inside a callback; ZRMirvoCallback.h says how, and which locks must not be held here.
    // From the moment of the call on, GetInstance makes a new manager, and on this one
    // GetMirvoInstance answers null and RegisterCallback false.
    //
    // A pointer that is null or not the current manager is refused with a line in the log and never
    // dereferenced. Unless it is null, the call first waits, on an application thread, for the
    // releases that had begun before it and for the deliveries of the managers that they released.
    // So an application may release inside onError or at its shutdown, whichever comes first, and
    // destroy its callbacks afterwards:
    //
    //     void onError() override { ZRMirvoManager::ReleaseInstance(mManager); }
    //
    //     // At the end, on the application's thread. When this returns, no callback is running.
    //     ZRMirvoManager::ReleaseInstance(mManager);
    //
    // That holds as long as nobody has called GetInstance in between, because a newer manager may
    // live at the same address and would be released here. An application that obtains a manager
    // again therefore changes its pointer under a lock that no callback takes, and uses it for its
    // releases only under that lock. Its callbacks leave the release to another thread.
    //
    // May be called from any thread. Makes no request.
    __attribute__((visibility("default"))) static void ReleaseInstance(ZRMirvoManager* instance);

    // The versions of library and service. Needs no manager. Asks the service, at most for the
    // request timeout, until a readable version is known, and never again in this process. When
    // there is no service, or it does not answer, that version is 3.6.3. An application that must
    // know the service's real version therefore starts after the service.
    __attribute__((visibility("default"))) static ZRMirvoVersion getVersion();

    // Adds `cb`, which is not null, to the callbacks of the manager, behind those already there.
    // True, also when it is already registered; false, with a line in the log, for null, and on a
    // manager that is being released.
    virtual bool RegisterCallback(ZRMirvoManagerCallback* cb) = 0;

    // Removes `cb`, which is not null, as ZRMirvo::UnregisterCallback does.
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
    // in the log, when the service does not know the accessory or does not answer, and when the
    // manager has been released meanwhile. When the service knows the accessory but refuses to send
    // its events, there is an instance that works but never receives an event, and a line in the
    // log. The instance belongs to the manager, until ReleaseMirvoInstance.
    virtual ZRMirvo* GetMirvoInstance(unsigned int accessoryId) = 0;

    // Releases an instance. On an application thread it waits for the deliveries of the instance,
    // and never inside a callback; ZRMirvoCallback.h says how, and which locks must not be held
    // here. Null, and whatever is not an instance of this manager, releases nothing; the call then
    // waits in the same way for the deliveries of all instances of this manager that have been
    // released. So onDetach can release an instance, and ReleaseMirvoInstance(nullptr) on an
    // application thread makes sure later that its callbacks may be destroyed. Release each
    // instance once, since a newer one may live at the same address. Makes no request.
    virtual void ReleaseMirvoInstance(ZRMirvo* instance) = 0;

    // Hands over a Bluetooth setting: a text of at most 31 characters, not null, and a value, both
    // with the service's meaning.
    virtual int setBluetoothConfig(const char* text, int value) = 0;

    // Reads the HID descriptor; both arguments are not null. Returns 0 when there are bytes and 1
    // otherwise, never the service's own code. On success `*data` is a new array of `*length`
    // bytes, which the caller releases with delete[]. Once the request is on its way `*length` is
    // 0. On failure there are no bytes behind `*data`, whatever `*length` says, and `*data` may
    // hold what it held before; so set it to null before the call.
    virtual int getHidDescriptor(char** data, int* length) = 0;

    // Connects; the meaning of `arg`, which is not null, is the service's.
    virtual void connect(const char* arg) = 0;

    // Disconnects; the meaning of `arg`, which is not null, is the service's.
    virtual void disconnect(const char* arg) = 0;
};

}  // namespace zrmirvo
