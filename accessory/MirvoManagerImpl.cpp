#include "accessory/MirvoManagerImpl.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "accessory/AutoTrace.h"
#include "accessory/CallbackScope.h"
#include "accessory/DetachablePointer.h"
#include "accessory/MirvoImpl.h"
#include "accessory/Request.h"
#include "protocol/MVCodes.h"

namespace accessory {
namespace {

constexpr const char* kLogTag = "MirvoManager[c]";
// A service that does not tell its version is taken for one of this version.
constexpr const char* kFallbackVersion = "3.6.3";

// One command, which is most often answered by a status.
template <typename Reply = MVSReplyCommon, typename Fill>
sp<Reply> command(const sp<ServiceClient>& client, int32_t code, Fill fill) {
    return requestIfBound<Reply>(kLogTag, client, [&] {
        sp<MVSItemManagerCommon> item = new MVSItemManagerCommon(code);
        fill(*item);
        return item;
    });
}

int simpleCommand(const sp<ServiceClient>& client, int32_t code) {
    return status(command(client, code, [](auto&) {}));
}

int textCommand(const sp<ServiceClient>& client, int32_t code, const char* text) {
    return status(command(client, code, [&](auto& item) { item.stringValue.setTo(text); }));
}

}  // namespace

// Receives the notifications of the manager's client, also after the manager is gone. The manager's
// operations reach its client and its notifier through here, too, because its lock guards both.
class MirvoManagerImpl::MVManagerNotifyListener final : public ServiceNotifyListener {
public:
    explicit MVManagerNotifyListener(MirvoManagerImpl* impl) : mImpl(impl) {}

    void onNotify(sp<ServiceNotify>& notify) override;

    // After this the manager is not used any more.
    void detach() { mImpl.detach(); }

    // Null when the service is lost or the manager is gone.
    sp<ServiceClient> client() {
        sp<ServiceClient> client;
        mImpl.withOwner([&](MirvoManagerImpl& impl) { client = impl.mServiceClient; });
        return client;
    }

    // Makes `notifier` the manager's, if there still is a manager.
    void install(sp<MirvoManagerNotifier> notifier) {
        // The previous notifier goes with the argument, after the lock.
        mImpl.withOwner([&](MirvoManagerImpl& impl) { std::swap(impl.mNotifier, notifier); });
    }

private:
    void onServiceNotify(const sp<ServiceNotify>& notify, const sp<MirvoManagerNotifier>& notifier);
    void onStatus(const ServiceStatusNotify& notify, MirvoManagerNotifier& notifier);

    DetachablePointer<MirvoManagerImpl> mImpl;
};

MirvoManagerImpl::MirvoManagerImpl() {
    AutoTrace trace(kLogTag, __func__, true);
    const Binding binding;
    mServiceClient = binding.client;
    mListener = new MVManagerNotifyListener(this);
    if (mServiceClient != nullptr) {
        sp<ServiceNotifyListener> listener = mListener;
        binding.client->setNotifyListener(listener);
    }
}

MirvoManagerImpl::~MirvoManagerImpl() {
    AutoTrace trace(kLogTag, __func__, true);
    mListener->detach();
    if (mServiceClient != nullptr) {
        sp<ServiceNotifyListener> listener = std::move(mListener);
        mServiceClient->removeNotifyListener(listener);
        listener.clear();
        mServiceClient.clear();
    }
}

sp<ServiceClient> MirvoManagerImpl::client() const {
    const sp<MVManagerNotifyListener> listener = mListener;
    return listener->client();
}

int MirvoManagerImpl::startup() {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    return simpleCommand(service, MV_COMMAND_STARTUP);
}

int MirvoManagerImpl::shutdown() {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    return simpleCommand(service, MV_COMMAND_SHUTDOWN);
}

int MirvoManagerImpl::connect(const char* arg) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(arg)) return illegalParameter(kLogTag);
    return textCommand(service, MV_COMMAND_CONNECT, arg);
}

int MirvoManagerImpl::disconnect(const char* arg) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(arg)) return illegalParameter(kLogTag);
    return textCommand(service, MV_COMMAND_DISCONNECT, arg);
}

int MirvoManagerImpl::setConfigFile(const char* path) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(path)) return illegalParameter(kLogTag);
    return textCommand(service, MV_COMMAND_SET_CONFIG_FILE, path);
}

int MirvoManagerImpl::setBluetoothConfig(MVBluetoothConfig* config) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(config)) return illegalParameter(kLogTag);
    return status(command(service, MV_COMMAND_SET_BLUETOOTH_CONFIG, [&](auto& item) {
        item.intValue = config->value;
        item.stringValue.setTo(config->text, strnlen(config->text, sizeof(config->text)));
    }));
}

int MirvoManagerImpl::getHidDescriptor(unsigned char** data, int* length) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(data, length)) return illegalParameter(kLogTag);
    const auto reply = command<MVSReplyRawData>(service, MV_COMMAND_GET_HID_DESCRIPTOR,
                                                [&](auto&) { *length = 0; });
    if (reply == nullptr) return kFailed;
    *data = reply->size > 0 ? copyBytes(*reply) : nullptr;
    // A size without bytes counts as none.
    *length = *data == nullptr ? std::min(reply->size, 0) : reply->size;
    if (*data != nullptr) return 0;
    __android_log_print(ANDROID_LOG_ERROR, kLogTag, "failed to get HID descriptor.\n");
    return kFailed;
}

int MirvoManagerImpl::getIds(unsigned int* ids, unsigned int* count) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    if (anyNull(ids, count)) return illegalParameter(kLogTag);
    const auto reply =
        command<MVSReplyAccessoryIds>(service, MV_COMMAND_GET_IDS, [&](auto&) { *count = 0; });
    if (reply == nullptr) return kFailed;
    *count = std::min(reply->count, MVSReplyAccessoryIds::kCapacity);
    std::copy_n(reply->ids, *count, ids);
    return 0;
}

sp<Mirvo> MirvoManagerImpl::getMirvo(unsigned int accessoryId) {
    const sp<ServiceClient> service = client();
    AutoTrace trace(kLogTag, __func__, true);
    const auto reply = command(service, MV_COMMAND_GET_MIRVO, [&](auto& item) {
        item.intValue = static_cast<int32_t>(accessoryId);
    });
    if (reply == nullptr) return nullptr;
    if (reply->result != 0) {
        __android_log_print(ANDROID_LOG_ERROR, kLogTag, "failed to get Mirvo device.\n");
        return nullptr;
    }
    return new MirvoImpl(accessoryId);
}

int MirvoManagerImpl::setNotifier(const sp<MirvoManagerNotifier>& notifier) {
    const sp<MVManagerNotifyListener> listener = mListener;
    AutoTrace trace(kLogTag, __func__, true);
    if (notifier == nullptr) return kFailed;
    listener->install(notifier);
    return 0;
}

android::String8 MirvoManagerImpl::getVersion() {
    const Binding binding;
    if (binding.client == nullptr) return android::String8(kFallbackVersion);
    const sp<MVSItemManagerVersion> item = new MVSItemManagerVersion;
    const auto reply = request<MVSReplyVersion>(kLogTag, binding.client, item);
    return reply == nullptr ? android::String8(kFallbackVersion) : reply->version;
}

void MirvoManagerImpl::MVManagerNotifyListener::onNotify(sp<ServiceNotify>& notify) {
    // The framework may let the listener go from here on.
    const sp<MVManagerNotifyListener> self = this;
    AutoTrace trace(kLogTag, __func__, true);
    sp<MirvoManagerNotifier> notifier;
    const bool attached =
        mImpl.withOwner([&](MirvoManagerImpl& impl) { notifier = impl.mNotifier; });
    if (attached) onServiceNotify(notify, notifier);
}

void MirvoManagerImpl::MVManagerNotifyListener::onServiceNotify(
    const sp<ServiceNotify>& notify, const sp<MirvoManagerNotifier>& notifier) {
    AutoTrace trace(kLogTag, __func__, true);
    if (notifier == nullptr) {
        __android_log_print(ANDROID_LOG_WARN, kLogTag, "[MirvoManagerImpl] listener is null");
        return;
    }
    // The framework delivers null when its factory could not make the notification.
    if (notify == nullptr) return;
    const int32_t type = notify->type();
    CallbackScope scope;
    if (type == ServiceStatusNotify::kType) {
        return onStatus(static_cast<ServiceStatusNotify&>(*notify), *notifier);
    }
    if (type != MVServiceNotify::MANAGER_COMMON) return;
    const auto& event = static_cast<MVSNotifyManagerCommon&>(*notify);
    const auto accessoryId = static_cast<unsigned int>(event.accessoryId);
    if (event.notifyType == MV_ATTACHED) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "[MirvoManagerImpl]  MV_ATTACHED");
        notifier->attach(accessoryId);
    } else if (event.notifyType == MV_DETACHED) {
        __android_log_print(ANDROID_LOG_INFO, kLogTag, "[MirvoManagerImpl]  MV_DETACHED");
        notifier->detach(accessoryId);
    }
}

void MirvoManagerImpl::MVManagerNotifyListener::onStatus(const ServiceStatusNotify& notify,
                                                         MirvoManagerNotifier& notifier) {
    if (notify.status != ServiceStatusNotify::kServiceLost) return;
    notifier.error(kServiceLostError);
    // The notifier may have released the manager, so it is looked up again.
    sp<ServiceClient> lost;
    mImpl.withOwner([&](MirvoManagerImpl& impl) { lost = std::move(impl.mServiceClient); });
    if (lost == nullptr) return;
    sp<ServiceNotifyListener> self = this;
    lost->removeNotifyListener(self);
}

}  // namespace accessory
