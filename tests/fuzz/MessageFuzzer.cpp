#include <cstdlib>
#include <vector>

#include "protocol/FieldArchive.h"
#include "protocol/MirvoServiceInfo.h"
#include "standin/ReadContent.h"
#include "standin/WriteContent.h"
#include "tests/fuzz/Input.h"

// Reads arbitrary bytes as the content of any message. What the message then writes must be the
// same after it has been read and written once more.

namespace {

using namespace accessory;
using standin::ReadContent;
using standin::WriteContent;

constexpr int32_t kLarge = 128;

// A content that announces no large block, because making one takes milliseconds and shows nothing
// that a smaller one does not. Sizes above the limit for blocks stay as they are.
class SmallBlocks final : public DeserializationContent {
public:
    explicit SmallBlocks(const std::vector<uint8_t>& bytes) {
        mContent->reset(bytes.data(), bytes.size());
    }
    int32_t readBuffer(void* dest, int64_t length) override {
        return mContent->readBuffer(dest, length);
    }
    int32_t readInt32() override {
        const int32_t value = mContent->readInt32();
        return value > kLarge && value <= kMaxBlockBytes ? value % kLarge : value;
    }
    int64_t readInt64() override { return mContent->readInt64(); }
    int32_t reserved1() override { return mContent->reserved1(); }
    int32_t reserved2() override { return mContent->reserved2(); }
    const char* readCString() override { return mContent->readCString(); }

private:
    const sp<ReadContent> mContent = new ReadContent;
};

std::vector<uint8_t> rewrite(SerializationBase& message, const std::vector<uint8_t>& bytes) {
    sp<DeserializationContent> from = new SmallBlocks(bytes);
    message.deserialization(from);
    sp<WriteContent> writer = new WriteContent;
    sp<SerializationContent> to = writer;
    message.serialization(to);
    iovec pieces[WriteContent::kMaxPieces];
    const size_t count = writer->pieces(0, writer->size(), pieces);
    std::vector<uint8_t> written;
    for (size_t i = 0; i < count; ++i) {
        const auto* piece = static_cast<const uint8_t*>(pieces[i].iov_base);
        written.insert(written.end(), piece, piece + pieces[i].iov_len);
    }
    return written;
}

template <typename Factory>
void tryOne(const sp<Factory>& factory, int type, const std::vector<uint8_t>& bytes) {
    const auto first = factory->create(type);
    if (first == nullptr) return;
    const std::vector<uint8_t> written = rewrite(*first, bytes);
    if (rewrite(*factory->create(type), written) != written) abort();
    // Also reads into a message that already holds something.
    if (rewrite(*first, written) != written) abort();
}

}  // namespace

void fuzz(Input& input) {
    static const sp<ServiceInfo> kInfo = new MirvoServiceInfo;
    const sp<ServiceProtocol> protocol = kInfo->protocol();
    const int type = input.number<uint8_t>();
    const int family = input.number<uint8_t>() % 3;
    const std::vector<uint8_t> bytes = input.rest();
    if (family == 0) tryOne(protocol->itemFactory(), type, bytes);
    if (family == 1) tryOne(protocol->notifyFactory(), type, bytes);
    if (family == 2) tryOne(protocol->replyFactory(), type, bytes);
}
