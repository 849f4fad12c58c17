#pragma once

#include <string>

namespace accessory::standin {

// Writes one line to the log, at error priority and with the stand-in's tag. The code that finds a
// fault writes the line; code that learns of it by a status does not.
void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The meaning of an errno value, for such a line.
std::string errorText(int error);

}  // namespace accessory::standin
