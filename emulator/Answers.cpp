#include "emulator/Answers.h"

namespace emulator {

std::string Answers::target(const std::string& operation, std::optional<uint32_t> accessory) {
    return accessory ? operation + "@" + std::to_string(*accessory) : operation;
}

void Answers::always(const std::string& target, const Change& change) {
    change(mAlways[target]);
}

void Answers::once(const std::string& target, const Change& change) {
    change(mOnce[target].emplace_back());
}

void Answers::normal(const std::string& target) {
    // Kept as a rule, so that one accessory can be normal while the others are not.
    mAlways[target] = Rule();
    mOnce.erase(target);
}

Rule Answers::take(const Request& request) {
    const std::string targets[] = {target(request.name, request.accessory), request.name};
    for (const std::string& key : targets) {
        const auto found = mOnce.find(key);
        if (found == mOnce.end() || found->second.empty()) continue;
        Rule rule = found->second.front();
        found->second.pop_front();
        return rule;
    }
    for (const std::string& key : targets) {
        const auto found = mAlways.find(key);
        if (found != mAlways.end()) return found->second;
    }
    return Rule();
}

}  // namespace emulator
