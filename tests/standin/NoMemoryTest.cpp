#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <vector>

#include "standin/Assembly.h"
#include "standin/ReadContent.h"
#include "tests/support/LogCapture.h"

// What the other side says is long, where there is no memory for it. The address sanitizer wants
// to allocate by itself.
#ifndef __SANITIZE_ADDRESS__

namespace {

constexpr size_t kLong = size_t{1} << 20;
thread_local bool gScarce = false;

}  // namespace

void* operator new(size_t size) {
    void* const memory = gScarce && size > kLong ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace accessory::standin {
namespace {

using testing_support::LogCapture;

class NoMemoryTest : public testing::Test {
protected:
    void TearDown() override {
        gScarce = false;
        EXPECT_EQ(mLog.take("ServiceFramework").size(), 1u);
    }
    LogCapture mLog;
};

TEST_F(NoMemoryTest, noMessageIsAssembled) {
    const FrameHeader header = {kWireVersion, FrameKind::kNotify, 1, 0, kMaxContent, 0};
    Assembly assembly;
    gScarce = true;
    EXPECT_EQ(assembly.place(header), nullptr);
    gScarce = false;
    EXPECT_NE(assembly.place(header), nullptr);
}

// A text without an end, in parts.
class Endless final : public ContentRest {
public:
    size_t missing() const override { return nextPart(); }
    size_t nextPart() const override { return mPart.size(); }
    bool receivePart(uint8_t*) override { return false; }
    const uint8_t* bufferPart() override { return mPart.data(); }

private:
    const std::vector<uint8_t> mPart = std::vector<uint8_t>(kLong / 4, 'x');
};

TEST_F(NoMemoryTest, aTextIsMissing) {
    Endless rest;
    ReadContent content;
    content.reset(nullptr, 0, &rest);
    gScarce = true;
    EXPECT_EQ(content.readCString(), nullptr);
    EXPECT_EQ(content.readInt32(), 0);
    EXPECT_TRUE(content.endedEarly());
}

}  // namespace
}  // namespace accessory::standin

#endif
