#pragma once

#include <nlohmann/json.hpp>
#include <string>

// Texts of which the tools make their lines.

namespace tool {

using Json = nlohmann::ordered_json;

// Returns `value` as one line of JSON. Bytes in texts that are not valid UTF-8 are replaced.
std::string dump(const Json& value);

// Returns the members of an object, each as " name=value".
std::string pairs(const Json& values);

// Returns `text`, which may quote what a user has typed, without the middle of each line that is
// too long to be read.
std::string shortened(const std::string& text);

}  // namespace tool
