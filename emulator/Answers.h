#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "emulator/Target.h"
#include "tool/Text.h"

namespace emulator {

// How one request is answered. Without anything set, as a healthy service does.
struct Rule {
    // What comes instead of a reply with a result.
    enum class Instead { kNothing, kSilence, kNoReply, kWrongClass };

    Instead instead = Instead::kNothing;
    std::optional<int32_t> result;
    std::shared_ptr<const tool::Bytes> bytes;  // null where none are set
    uint32_t delayMs = 0;
};

// Changes a rule as one command asks for.
using RuleChange = std::function<void(Rule&)>;

using Answers = ByTarget<Rule>;

}  // namespace emulator
