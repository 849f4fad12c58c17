#include "protocol/ManagerMessages.h"

namespace accessory {

// The destructors stand here so that each class has one place for its virtual table.
MVSItemManagerVersion::~MVSItemManagerVersion() = default;
MVSItemManagerCommon::~MVSItemManagerCommon() = default;
MVSNotifyManagerCommon::~MVSNotifyManagerCommon() = default;
MVSReplyCommon::~MVSReplyCommon() = default;
MVSReplyVersion::~MVSReplyVersion() = default;
MVSReplyAccessoryIds::~MVSReplyAccessoryIds() = default;

MVSReplyRawData::~MVSReplyRawData() {
    delete[] data;
}

}  // namespace accessory
