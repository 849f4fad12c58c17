#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Target.h"

namespace emulator {

// A request as it is printed, without its answer.
std::string shown(const Request& request, const Json& arguments);

// The requests that an `expect` means.
struct Pattern {
    Target target;
    std::vector<std::pair<std::string, Json>> arguments;

    bool fits(const Json& given) const;
    // As the command has it.
    std::string shown() const;
};

// The requests that have come: how many, for `wait-for`, and each of them, for `expect`. One thread
// at a time. What it holds is bounded, whoever asks for what.
class RequestLog {
public:
    // The requests that are kept for `expect`, and the bytes of their texts and blocks. The oldest
    // go first.
    static constexpr size_t kMaxKept = 10'000;
    static constexpr size_t kMaxBytes = 32u << 20;
    // What is remembered of requests that were taken, to tell what came before a failure.
    static constexpr size_t kMaxTaken = 200;
    static constexpr size_t kMaxTakenBytes = 1u << 20;
    // The accessories whose requests are counted each for itself: those that asked last.
    static constexpr size_t kMaxAccessories = 1'000;

    // The two moments of a request: when it has come, and when its answer has left, or when it is
    // certain that none will.
    enum Moment { kArrived, kSettled };

    struct Kept {
        Request request;
        accessory::sp<accessory::ServiceItem> item;
        bool settled;
    };

    // Has requests kept from now on.
    void keep() { mKeeping = true; }
    bool keeps() const { return mKeeping; }

    // Notes a request that has come. The answer is its number.
    uint64_t arrived(const Request& request, const accessory::sp<accessory::ServiceItem>& item);
    void settled(uint64_t number, const Request& request);

    // Whether `count` requests of `target` have reached `moment` that no call has counted before.
    // Counts them if so.
    bool take(const Target& target, Moment moment, uint32_t count);
    // How many there are to be counted.
    uint32_t count(const Target& target, Moment moment);

    struct Found {
        // The oldest request that fits, or null.
        const Kept* match;
        // Where none fits: the oldest that has other arguments, or null.
        const Kept* other;
    };
    Found find(const Pattern& pattern) const;
    // From now on find() does not find it.
    void take(const Kept& kept);
    // The last requests of an accessory, or of all without one, in the order in which they came,
    // taken or not, shown in one line. Empty when there are none.
    std::string last(std::optional<uint32_t> accessory) const;

    // One request, shown in a line that is not too long.
    static std::string describe(const Kept& kept);
    // The requests that are left, shown in one line. Empty when there are none.
    std::string left() const;

private:
    using Counts = std::array<std::array<uint32_t, 2>, kOperationCount>;

    using ByNumber = std::map<uint64_t, Kept>;

    void forget(ByNumber::iterator kept);
    void note(const Request& request, Moment moment);
    uint32_t& counter(const Target& target, Moment moment);
    Counts& countsOf(uint32_t accessory);

    Counts mCounts = {};
    // Who asked last comes first.
    std::list<std::pair<uint32_t, Counts>> mAccessories;

    bool mKeeping = false;
    uint64_t mNumber = 0;
    ByNumber mKept;
    size_t mBytes = 0;
    ByNumber mTaken;
    size_t mTakenBytes = 0;
    size_t mForgotten = 0;
};

}  // namespace emulator
