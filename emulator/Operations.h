#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "protocol/ServiceContract.h"
#include "recording/Decoder.h"
#include "tool/Lines.h"

// What the service can be asked, under the names that the library gives it.

namespace emulator {

using tool::Json;

using Operation = accessory::Usage;
using recording::findOperation;

std::vector<std::string> operationNames();

// Whether each request of the operation concerns one accessory.
bool concernsAccessory(const Operation& operation);

// The arguments of a request that was made empty: their names, and the kinds of their values.
Json emptyArguments(const Operation& operation);

// The name of a reply class, as the library's log has it.
const char* replyName(int32_t type);

// What a request is.
struct Request {
    // Null for a command that no operation has.
    const Operation* operation = nullptr;
    // Whom it concerns, when that is one accessory.
    std::optional<uint32_t> accessory;

    const char* name() const { return operation == nullptr ? "unknown" : operation->name; }
};

// Looks at the class and the command only, which costs nothing.
Request identify(accessory::ServiceItem& item);

// The arguments of a request by name.
Json argumentsOf(accessory::ServiceItem& item);

// The bytes that a request holds besides its numbers: texts and blocks.
size_t variableBytes(accessory::ServiceItem& item);

// The number of an operation, for arrays with kOperationCount places. Null has the last.
size_t indexOf(const Operation* operation);
constexpr size_t kOperationCount = 24;

}  // namespace emulator
