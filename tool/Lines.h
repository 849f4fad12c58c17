#pragma once

#include <nlohmann/json.hpp>
#include <string>

// What the lines of the tools are made of.

namespace tool {

using Json = nlohmann::ordered_json;

// One line of JSON. What comes from a client or a service need not be valid text.
std::string dump(const Json& value);

// The members of an object as " name=value" each.
std::string pairs(const Json& values);

}  // namespace tool
