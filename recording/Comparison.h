#pragma once

#include <string>
#include <utility>
#include <vector>

#include "recording/Timeline.h"

namespace recording {

// What of a message is compared when two runs of an application are: everything but the time of a
// touch and what the user names.
class Comparison {
public:
    explicit Comparison(std::vector<std::string> ignored) : mIgnored(std::move(ignored)) {
        mIgnored.emplace_back("time");
    }

    // The message without what is not compared.
    Decoded operator()(Decoded decoded) const {
        for (const std::string& name : mIgnored)
            decoded.arguments.erase(name);
        return decoded;
    }
    Json operator()(Json answer) const {
        for (const std::string& name : mIgnored)
            answer.erase(name);
        return answer;
    }

private:
    std::vector<std::string> mIgnored;
};

}  // namespace recording
