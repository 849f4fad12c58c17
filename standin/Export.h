#pragma once

// Everything else in the library is hidden.
#define SERVICE_FRAMEWORK_EXPORT __attribute__((visibility("default")))
