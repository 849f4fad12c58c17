#pragma once

#include <string>

namespace recorder {

// One line in the log, at error priority and with the recorder's tag.
void logError(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The text of an errno value, for such a line.
std::string errorText(int error);

}  // namespace recorder
