#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "emulator/Operations.h"
#include "tool/Text.h"

namespace emulator {

// How one request is answered. Without anything set, as a healthy service does.
struct Rule {
    bool silent = false;
    bool mistype = false;
    std::optional<int32_t> result;
    std::optional<tool::Bytes> bytes;
    int64_t delayMs = 0;
};

// The rules that depart from the normal answers, by target: the name of an operation, or that and
// an accessory as "startup" and "sendKeyEvent@7". One thread at a time.
class Answers {
public:
    using Change = std::function<void(Rule&)>;

    static std::string target(const std::string& operation, std::optional<uint32_t> accessory);

    // Changes the rule of `target` until it is changed again.
    void always(const std::string& target, const Change& change);
    // Gives the next request of `target`, behind those that already have one, a rule of its own.
    void once(const std::string& target, const Change& change);
    // Back to normal answers, waiting single ones included.
    void normal(const std::string& target);

    // The rule for a request that has come. One accessory goes before all, once before always.
    Rule take(const Request& request);

private:
    std::map<std::string, Rule> mAlways;
    std::map<std::string, std::deque<Rule>> mOnce;
};

}  // namespace emulator
