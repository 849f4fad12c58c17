#include "standin/NotifyQueue.h"

#include <utility>

namespace accessory::standin {

void NotifyQueue::append(FrameHeader header, const WriteContent& content) {
    if (mBytes == 0) mLastProgress = systemTime();
    do {
        const size_t length = partLength(header);
        std::vector<uint8_t>& bytes = lastWithRoom(kHeaderSize + length).bytes;
        const auto* from = reinterpret_cast<const uint8_t*>(&header);
        bytes.insert(bytes.end(), from, from + kHeaderSize);
        iovec pieces[WriteContent::kMaxPieces];
        const size_t count = length == 0 ? 0 : content.pieces(header.offset, length, pieces);
        for (size_t i = 0; i < count; ++i) {
            from = static_cast<const uint8_t*>(pieces[i].iov_base);
            bytes.insert(bytes.end(), from, from + pieces[i].iov_len);
        }
        mBytes += kHeaderSize + length;
        header.offset += static_cast<uint32_t>(length);
    } while (header.offset < header.length);
    ++mDatagrams.back().ends;
    ++mNotifications;
}

NotifyQueue::Datagram& NotifyQueue::lastWithRoom(size_t size) {
    if (mDatagrams.empty() || mDatagrams.back().bytes.size() + size > kMaxDatagram) {
        mDatagrams.push_back(std::exchange(mSpare, {}));
    }
    return mDatagrams.back();
}

NotifyQueue::Datagram NotifyQueue::take() {
    Datagram datagram = std::move(mDatagrams.front());
    mDatagrams.pop_front();
    return datagram;
}

void NotifyQueue::putBack(Datagram datagram) {
    mDatagrams.push_front(std::move(datagram));
}

void NotifyQueue::sent(Datagram datagram) {
    mLastProgress = systemTime();
    mBytes -= datagram.bytes.size();
    mNotifications -= datagram.ends;
    mSpare = std::move(datagram);
    mSpare.bytes.clear();
    mSpare.ends = 0;
}

}  // namespace accessory::standin
