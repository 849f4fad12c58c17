#pragma once

namespace accessory {

// The status of whatever fails inside this library.
constexpr int kFailed = 1;

}  // namespace accessory
