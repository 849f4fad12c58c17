#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "emulator/Answers.h"
#include "emulator/Operations.h"
#include "tool/Text.h"

namespace emulator {

// A line that cannot be understood; what() says why.
class SyntaxError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The words of one command, taken one after the other.
class Words {
public:
    explicit Words(std::vector<std::string> words) : mWords(std::move(words)) {}

    bool more() const { return mNext < mWords.size(); }

    // Takes the next word if it is `word`.
    bool take(const char* word) {
        if (!more() || mWords[mNext] != word) return false;
        ++mNext;
        return true;
    }

    const std::string& word(const char* what) {
        if (!more()) throw SyntaxError(std::string(what) + " is missing");
        return mWords[mNext++];
    }

    template <typename Number = int32_t>
    Number number(const char* what) {
        const std::string& given = word(what);
        const auto value = tool::toNumber<Number>(given);
        if (!value) throw SyntaxError(std::string(what) + " is not a number in range: " + given);
        return *value;
    }

    uint32_t id() { return number<uint32_t>("accessory id"); }

    std::string rest() {
        std::string joined = join(mNext);
        mNext = mWords.size();
        return joined;
    }

    // The remaining words together; no byte at all is fine.
    tool::Bytes bytes() {
        const std::string given = rest();
        const auto value = tool::fromHex(given);
        if (!value) throw SyntaxError("bytes are not pairs of hexadecimal digits: " + given);
        return *value;
    }

    // OP or OP@ID, as Answers names it.
    std::string target() {
        const std::string& given = word("operation");
        const size_t at = given.find('@');
        const std::string operation = given.substr(0, at);
        if (findOperation(operation) == nullptr) {
            throw SyntaxError("no such operation: " + operation);
        }
        if (at == std::string::npos) return given;
        const auto id = tool::toNumber<uint32_t>(given.substr(at + 1));
        if (!id) throw SyntaxError("accessory id is not a number in range: " + given);
        return Answers::target(operation, id);
    }

    // The whole command again.
    std::string line() const { return join(0); }

private:
    std::string join(size_t from) const {
        std::string joined;
        for (size_t i = from; i < mWords.size(); ++i)
            joined += (i == from ? "" : " ") + mWords[i];
        return joined;
    }

    std::vector<std::string> mWords;
    size_t mNext = 0;
};

}  // namespace emulator
