#pragma once

#include <string>

namespace accessory::standin {

// One line in the log, at error priority and with the stand-in's tag. Whoever finds a fault writes
// the line; whoever is told of it by a status does not.
void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// What an errno value means, for such a line.
std::string errorText(int error);

}  // namespace accessory::standin
