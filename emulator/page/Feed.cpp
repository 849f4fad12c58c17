#include "emulator/page/Feed.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "protocol/AccessoryMessages.h"
#include "tool/EventTable.h"

namespace emulator::page {
namespace {

using android::AutoMutex;
using std::chrono::microseconds;

microseconds now() {
    // The times must not go back when the machine's date is changed, or the order would be lost.
    static const auto kBegin = std::chrono::system_clock::now().time_since_epoch();
    static const auto kStart = std::chrono::steady_clock::now();
    return std::chrono::duration_cast<microseconds>(kBegin +
                                                    (std::chrono::steady_clock::now() - kStart));
}

size_t bytesOf(const Happening& happening) {
    const auto* came = std::get_if<RequestCame>(&happening.what);
    return came == nullptr ? 0 : variableBytes(*came->item);
}

// Whether a request sets a state, as sendVideoFocus does, rather than reporting a key or a touch.
bool lasts(const Operation* operation) {
    static const Operation* const kLasting[] = {
        findOperation("sendDisplayConfiguration"), findOperation("sendForceLandscape"),
        findOperation("sendVideoFocus"), findOperation("sendOnReadyForPairing"),
        findOperation("setFeature")};
    return operation != nullptr &&
           std::count(std::begin(kLasting), std::end(kLasting), operation) != 0;
}

// Returns the number of the focus or of the feature that a request sets.
int32_t numberOf(const RequestCame& came) {
    using namespace accessory;
    const std::string_view name = came.request.name();
    if (name == "sendVideoFocus") return static_cast<MVSItemAccessoryCommon&>(*came.item).intValue;
    if (name == "setFeature") return static_cast<MVSItemAccessoryRawData&>(*came.item).intValue;
    return 0;
}

}  // namespace

uint64_t Feed::request(const Request& request, const accessory::sp<accessory::ServiceItem>& item,
                       const Asker& asker, const Reply& reply, const Rule& rule) {
    return put(RequestCame{request, item, asker, reply, rule});
}

void Feed::settled(uint64_t number) {
    const microseconds left = now();
    AnswerLeft answer = {number, microseconds(0)};
    {
        AutoMutex lock(mLock);
        // The answer to a request that was forgotten cannot be shown.
        if (number < oldest() || number > mNumber) return;
        answer.took = left - mKept[number - oldest()]->time;
    }
    put(answer);
}

void Feed::event(const Event& event) {
    put(EventSent{event});
}

uint64_t Feed::put(decltype(Happening::what) what) {
    const auto made = std::make_shared<Happening>(Happening{0, now(), std::move(what)});
    const size_t bytes = bytesOf(*made);
    AutoMutex lock(mLock);
    made->number = ++mNumber;
    mKept.push_back(made);
    mBytes += bytes;
    while (mKept.size() > kMaxKept || mBytes > kMaxBytes) {
        mBytes -= bytesOf(*mKept.front());
        mKept.pop_front();
    }
    remember(made);
    return made->number;
}

void Feed::remember(const Entry& entry) {
    Topic topic;
    if (const auto* came = std::get_if<RequestCame>(&entry->what)) {
        if (!lasts(came->request.operation) || bytesOf(*entry) > kMaxLatestBytes) return;
        topic = {came->request.accessory.value_or(0), came->request.operation, numberOf(*came)};
    } else if (const auto* sent = std::get_if<EventSent>(&entry->what)) {
        const tool::Json& shown = sent->event.shown;
        const auto* info = tool::findEvent(shown.value("event", std::string()));
        if (info == nullptr || !shown.contains("accessory")) return;
        topic = {shown["accessory"].get<uint32_t>(), info, 0};
    } else {
        return;
    }
    if (mLatest.size() < kMaxLatest || mLatest.count(topic) > 0) mLatest[topic] = entry;
}

Feed::Batch Feed::after(uint64_t number) {
    Batch batch;
    AutoMutex lock(mLock);
    // A number that is larger than the last one comes from another run of the emulator.
    if (number > mNumber) number = 0;
    if (number + 1 < oldest()) {
        batch.missed = oldest() - 1 - number;
        for (const auto& [topic, entry] : mLatest) {
            if (entry->number > number && entry->number < oldest()) batch.entries.push_back(entry);
        }
        const auto older = [](const Entry& a, const Entry& b) { return a->number < b->number; };
        std::sort(batch.entries.begin(), batch.entries.end(), older);
        number = oldest() - 1;
    }
    const auto begin = mKept.begin() + static_cast<ptrdiff_t>(number + 1 - oldest());
    const auto count = std::min<ptrdiff_t>(mKept.end() - begin, kBatch);
    batch.entries.insert(batch.entries.end(), begin, begin + count);
    batch.number = number + static_cast<uint64_t>(count);
    return batch;
}

bool Feed::sleep(std::chrono::milliseconds time) {
    const nsecs_t until = systemTime() + std::chrono::nanoseconds(time).count();
    AutoMutex lock(mLock);
    while (!mClosed) {
        const nsecs_t left = until - systemTime();
        if (left <= 0) return true;
        mClosing.waitRelative(mLock, left);
    }
    return false;
}

void Feed::close() {
    AutoMutex lock(mLock);
    mClosed = true;
    mClosing.broadcast();
}

}  // namespace emulator::page
