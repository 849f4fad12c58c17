#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "emulator/Operations.h"

namespace emulator {

// The requests that a command means: those of an operation, "sendKeyEvent", or of that and one
// accessory, "sendKeyEvent@7".
struct Target {
    const Operation* operation = nullptr;
    std::optional<uint32_t> accessory;

    bool covers(const Request& request) const {
        return request.operation == operation && (!accessory || request.accessory == accessory);
    }

    std::string name() const {
        return operation->name + (accessory ? "@" + std::to_string(*accessory) : std::string());
    }

    bool operator<(const Target& other) const {
        return std::pair(operation, accessory) < std::pair(other.operation, other.accessory);
    }
};

// What is set for targets: for every request or for one. What is set for one accessory goes before
// what is set for all, and what is set once before what is set for good. One thread at a time.
template <typename Value>
class ByTarget {
public:
    // What every request of `target` gets; a new Value when nothing is set.
    Value& always(const Target& target) { return mAlways[target]; }
    // Gives the next request of `target`, behind those that already have one, a value of its own.
    void once(const Target& target, Value value) { mOnce[target].push_back(std::move(value)); }

    void forget(const Target& target) {
        mAlways.erase(target);
        mOnce.erase(target);
    }

    // What a request that has come gets. Nothing when nothing is set for it.
    std::optional<Value> take(const Request& request) {
        if (request.operation == nullptr || (mAlways.empty() && mOnce.empty())) return {};
        const Target targets[] = {{request.operation, request.accessory}, {request.operation, {}}};
        for (const Target& target : targets) {
            const auto found = mOnce.find(target);
            if (found == mOnce.end()) continue;
            Value value = std::move(found->second.front());
            found->second.pop_front();
            if (found->second.empty()) mOnce.erase(found);
            return value;
        }
        for (const Target& target : targets) {
            const auto found = mAlways.find(target);
            if (found != mAlways.end()) return found->second;
        }
        return {};
    }

    // What is set, for those who list it.
    const std::map<Target, Value>& everyAlways() const { return mAlways; }
    const std::map<Target, std::deque<Value>>& everyOnce() const { return mOnce; }

private:
    std::map<Target, Value> mAlways;
    std::map<Target, std::deque<Value>> mOnce;
};

}  // namespace emulator
