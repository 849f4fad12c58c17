#include "tool/Lines.h"

namespace tool {

std::string dump(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string pairs(const Json& values) {
    std::string line;
    for (const auto& [name, value] : values.items())
        line += ' ' + name + '=' + dump(value);
    return line;
}

}  // namespace tool
