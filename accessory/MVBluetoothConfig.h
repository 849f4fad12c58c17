#pragma once

#include <cstdint>

// A Bluetooth setting on its way to the service. It belongs to the caller of the operation that
// sends it and is not kept.
struct MVBluetoothConfig {
    // At most 31 characters and the terminator.
    char text[32];
    // The bytes of `text` with the terminator. This is not sent.
    int32_t textLength;
    int32_t value;
};
