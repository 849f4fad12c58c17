#include <cstdlib>
#include <vector>

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

constexpr size_t kLarge = 64 << 10;

std::vector<uint8_t> rewrite(SerializationBase& message, const std::vector<uint8_t>& bytes) {
    sp<ReadContent> reader = new ReadContent;
    reader->reset(bytes.data(), bytes.size());
    sp<DeserializationContent> from = reader;
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
    // Reading a large block again would show nothing new, and takes time.
    if (written.size() > kLarge) return;
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
