#pragma once

#include <zrmirvo/ZRMirvoCallback.h>

#include <chrono>
#include <cstddef>
#include <vector>

namespace zrmirvo {

// The keys that have a meaning of their own, by Android's KeyEvent codes.
enum class Key : unsigned int {
    Back = 4,
    VolumeUp = 24,
    VolumeDown = 25,
    Power = 26,
    Menu = 82,
    MediaPlayPause = 85,
    MediaStop = 86,
    MediaNext = 87,
    MediaPrevious = 88,
    MediaRewind = 89,
    MediaFastForward = 90,
    MediaPlay = 126,
    MediaPause = 127,
};

// A key by its name or by any other KeyEvent code, which is sent as the service's general key.
class KeyCode {
public:
    // By its name.
    KeyCode(Key key) : mValue(static_cast<unsigned int>(key)) {}
    // By its number.
    KeyCode(unsigned int code) : mValue(code) {}
    // The number.
    unsigned int value() const { return mValue; }

private:
    unsigned int mValue;
};

// What happens to a key.
enum class Press : bool { Up = false, Down = true };

// Android's MotionEvent actions.
enum class TouchAction : int {
    Down = 0,
    Up = 1,
    Move = 2,
    Cancel = 3,
    PointerDown = 5,
    PointerUp = 6,
};

// The action of a touch, by its name or by its number. Any number without a name lifts.
class ActionCode {
public:
    // By its name.
    ActionCode(TouchAction action) : mValue(static_cast<int>(action)) {}
    // By its number.
    ActionCode(int code) : mValue(code) {}
    // The number.
    int value() const { return mValue; }

private:
    int mValue;
};

// A pointer of a touch, such as a finger, and its place on the phone's screen. The service decides
// on the unit of `x` and `y`. This project's emulator takes them for pixels of a screen whose width
// and height are the first two values of displayConfiguration().
struct Point {
    unsigned int id;  ///< The same from press to lift.
    unsigned int x;   ///< From the left edge to the right.
    unsigned int y;   ///< From the top edge down.
};

// A date and time as a phone reports it.
using TimeDate = ZRMirvoTimeDate;

// Bytes that belong to whoever has the vector.
using Bytes = std::vector<std::byte>;

// Refers to bytes that belong to somebody else. Those of an event are valid while its handler runs;
// a Bytes that is made of them is a copy.
class ByteSpan {
public:
    // `data` may be null when `size` is 0.
    ByteSpan(const void* data, size_t size)
        : mData(static_cast<const std::byte*>(data)), mSize(size) {}
    // Valid as long as the vector is unchanged.
    ByteSpan(const Bytes& bytes) : ByteSpan(bytes.data(), bytes.size()) {}
    // A copy.
    operator Bytes() const { return Bytes(begin(), end()); }

    // The first byte; may be null when there is none.
    const std::byte* data() const { return mData; }
    // How many bytes.
    size_t size() const { return mSize; }
    // For loops.
    const std::byte* begin() const { return mData; }
    // For loops.
    const std::byte* end() const { return mData + mSize; }

private:
    const std::byte* mData;
    size_t mSize;
};

// How long a session waits, and how much it keeps.
struct SessionOptions {
    // The first pause between two attempts to reach the service. Each is twice the one before,
    // until a service has been there for `longestPause`.
    std::chrono::milliseconds firstPause{100};
    // The longest such pause, 1 ms at least.
    std::chrono::milliseconds longestPause{2000};
    // A request that could not be sent within this time is dropped.
    std::chrono::milliseconds longestWait{5000};
    // How many requests may wait.
    size_t requests = 256;
    // How many events of phones may wait.
    size_t events = 16384;
    // How many bytes of data these events may have together.
    size_t eventBytes = size_t{8} << 20;
    // Whether a move of a touch replaces one that has not been sent yet.
    bool mergeMoves = true;
};

}  // namespace zrmirvo
