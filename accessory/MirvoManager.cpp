#include "accessory/MirvoManager.h"

#include "accessory/MirvoManagerImpl.h"

namespace accessory {

MirvoManager::MirvoManager() : mImpl(new MirvoManagerImpl) {}

MirvoManager::~MirvoManager() {
    delete mImpl;
    mImpl = nullptr;
}

int MirvoManager::startup() {
    return mImpl->startup();
}

int MirvoManager::shutdown() {
    return mImpl->shutdown();
}

int MirvoManager::connect(const char* arg) {
    return mImpl->connect(arg);
}

int MirvoManager::disconnect(const char* arg) {
    return mImpl->disconnect(arg);
}

int MirvoManager::setConfigFile(const char* path) {
    return mImpl->setConfigFile(path);
}

int MirvoManager::setBluetoothConfig(MVBluetoothConfig* config) {
    return mImpl->setBluetoothConfig(config);
}

int MirvoManager::getHidDescriptor(unsigned char** data, int* length) {
    return mImpl->getHidDescriptor(data, length);
}

int MirvoManager::getIds(unsigned int* ids, unsigned int* count) {
    return mImpl->getIds(ids, count);
}

sp<Mirvo> MirvoManager::getMirvo(unsigned int accessoryId) {
    return mImpl->getMirvo(accessoryId);
}

int MirvoManager::setNotifier(const sp<MirvoManagerNotifier>& notifier) {
    return mImpl->setNotifier(notifier);
}

android::String8 MirvoManager::getVersion() {
    return MirvoManagerImpl::getVersion();
}

}  // namespace accessory
