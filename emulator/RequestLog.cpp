#include "emulator/RequestLog.h"

#include <algorithm>

namespace emulator {
namespace {

// How many requests, and how much of each, a sentence lists.
constexpr size_t kListed = 5;
constexpr size_t kListedLength = 200;

std::string cut(std::string text) {
    if (text.size() > kListedLength) text = text.substr(0, kListedLength) + "...";
    return text;
}

}  // namespace

std::string shown(const Request& request, const Json& arguments) {
    std::string line = request.name();
    if (request.accessory) line += " accessory=" + std::to_string(*request.accessory);
    return line + tool::pairs(arguments);
}

bool Pattern::fits(const Json& given) const {
    return std::all_of(arguments.begin(), arguments.end(), [&](const auto& argument) {
        return given.value(argument.first, Json()) == argument.second;
    });
}

std::string Pattern::shown() const {
    std::string line = target.name();
    for (const auto& [name, value] : arguments)
        line += " " + name + "=" + tool::dump(value);
    return line;
}

uint64_t RequestLog::arrived(const Request& request,
                             const accessory::sp<accessory::ServiceItem>& item) {
    note(request, kArrived);
    if (!mKeeping) return 0;
    mKept.emplace_hint(mKept.end(), ++mNumber, Kept{request, item, false});
    mBytes += variableBytes(*item);
    while (mKept.size() > kMaxKept || mBytes > kMaxBytes) {
        forget(mKept.begin());
        ++mForgotten;
    }
    return mNumber;
}

void RequestLog::settled(uint64_t number, const Request& request) {
    note(request, kSettled);
    const auto kept = mKept.find(number);
    if (kept != mKept.end()) kept->second.settled = true;
}

void RequestLog::forget(ByNumber::iterator kept) {
    mBytes -= variableBytes(*kept->second.item);
    mKept.erase(kept);
}

void RequestLog::note(const Request& request, Moment moment) {
    const size_t index = indexOf(request.operation);
    ++mCounts[index][moment];
    if (request.accessory) ++countsOf(*request.accessory)[index][moment];
}

RequestLog::Counts& RequestLog::countsOf(uint32_t accessory) {
    const auto found = std::find_if(mAccessories.begin(), mAccessories.end(),
                                    [=](const auto& each) { return each.first == accessory; });
    if (found != mAccessories.end()) {
        mAccessories.splice(mAccessories.begin(), mAccessories, found);
    } else {
        mAccessories.emplace_front(accessory, Counts());
        if (mAccessories.size() > kMaxAccessories) mAccessories.pop_back();
    }
    return mAccessories.front().second;
}

uint32_t& RequestLog::counter(const Target& target, Moment moment) {
    Counts& counts = target.accessory ? countsOf(*target.accessory) : mCounts;
    return counts[indexOf(target.operation)][moment];
}

uint32_t RequestLog::count(const Target& target, Moment moment) {
    return counter(target, moment);
}

bool RequestLog::take(const Target& target, Moment moment, uint32_t count) {
    uint32_t& counted = counter(target, moment);
    if (counted < count) return false;
    counted -= count;
    return true;
}

RequestLog::Found RequestLog::find(const Pattern& pattern) const {
    Found found = {nullptr, nullptr};
    for (const auto& [number, kept] : mKept) {
        if (!pattern.target.covers(kept.request)) continue;
        if (pattern.arguments.empty() || pattern.fits(argumentsOf(*kept.item))) {
            return {&kept, nullptr};
        }
        if (found.other == nullptr) found.other = &kept;
    }
    return found;
}

void RequestLog::take(const Kept& kept) {
    const auto found = std::find_if(mKept.begin(), mKept.end(),
                                    [&](const auto& each) { return &each.second == &kept; });
    if (found == mKept.end()) return;
    mTaken.insert(*found);
    mTakenBytes += variableBytes(*found->second.item);
    forget(found);
    while (mTaken.size() > kMaxTaken || mTakenBytes > kMaxTakenBytes) {
        mTakenBytes -= variableBytes(*mTaken.begin()->second.item);
        mTaken.erase(mTaken.begin());
    }
}

std::string RequestLog::last(std::optional<uint32_t> accessory) const {
    std::map<uint64_t, const Kept*> all;
    for (const ByNumber* some : {&mKept, &mTaken}) {
        size_t found = 0;
        for (auto kept = some->rbegin(); kept != some->rend() && found < kListed; ++kept) {
            if (accessory && kept->second.request.accessory != accessory) continue;
            all[kept->first] = &kept->second;
            ++found;
        }
    }
    while (all.size() > kListed)
        all.erase(all.begin());
    std::string line;
    for (const auto& [number, kept] : all)
        line += (line.empty() ? "" : ", ") + describe(*kept);
    return line;
}

std::string RequestLog::left() const {
    std::string line;
    size_t listed = 0;
    for (const auto& [number, kept] : mKept) {
        if (listed == kListed) break;
        line += (listed++ == 0 ? "" : ", ") + describe(kept);
    }
    const size_t more = mKept.size() - listed + mForgotten;
    if (more > 0) line += " and " + std::to_string(more) + " more";
    return line;
}

std::string RequestLog::describe(const Kept& kept) {
    return cut(shown(kept.request, argumentsOf(*kept.item)));
}

}  // namespace emulator
