#pragma once

// Marks what the library exports. Everything else is hidden.
#define SERVICE_FRAMEWORK_EXPORT __attribute__((visibility("default")))
