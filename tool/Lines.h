#pragma once

#include <nlohmann/json.hpp>
#include <string>

// The lines that the tools read and write.

namespace tool {

using Json = nlohmann::ordered_json;

// `line` on standard output, at once and in one piece, so that what several processes write to one
// file stays readable.
void writeLine(std::string line);

// One line of JSON. What comes from a client or a service need not be valid text.
std::string dump(const Json& value);

// The members of an object as " name=value" each.
std::string pairs(const Json& values);

}  // namespace tool
