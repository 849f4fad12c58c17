#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/FakeFramework.h"
#include "tests/support/LogCapture.h"

namespace accessory {

using Lines = std::vector<std::string>;

// One operation of a proxy: what it is called, sends and expects. Everything that can go wrong with
// it is made from this.
template <typename Proxy>
struct Operation {
    using Call = std::function<int(Proxy&)>;

    Operation(const char* itsName, Call itsCall, const char* itsRequest, int itsReply)
        : name(itsName), call(std::move(itsCall)), request(itsRequest), reply(itsReply) {}

    // What the call returns, and the line that it writes, when the service's result is 77.
    Operation&& whenRefused(int result, const std::string& line = {}) && {
        refused = result;
        refusedLine = line;
        return std::move(*this);
    }
    // Calls with arguments that it cannot take.
    Operation&& rejects(std::vector<Call> calls) && {
        illegal = std::move(calls);
        return std::move(*this);
    }
    Operation&& untraced() && {
        traced = false;
        return std::move(*this);
    }

    const char* name;
    Call call;
    const char* request;
    int reply;
    int refused = 77;
    std::string refusedLine;
    std::vector<Call> illegal;
    bool traced = true;
};

class ProxyTest : public testing::Test {
protected:
    ProxyTest() { framework.answer(reply(129)); }

    // A reply of every class.
    static std::string reply(int code, int result = 0) {
        const std::map<int, std::string> kReplies = {
            {129, "129: " + std::to_string(result) + R"(, 5, 6L, "text")"},
            {130, "130: 2, 11, 12"},
            {131, "131: " + std::to_string(result) + ", 2, {0a 0b}"},
            {133, R"(133: "3.6.1")"},
        };
        return kReplies.at(code);
    }

    // Calls every operation of `proxies`, of which one is bound and one is not, under every fault.
    template <typename Proxy>
    void checkOperations(const std::vector<Operation<Proxy>>& operations, const std::string& tag,
                         Proxy& bound, Proxy& unbound) {
        const std::map<int, std::string> kNames = {
            {129, "COMMON"}, {130, "ACCESSORY_IDS"}, {131, "RAW_DATA"}, {133, "VERSION"}};
        for (const auto& operation : operations) {
            SCOPED_TRACE(operation.name);
            const Lines sent = {operation.request};
            const auto check = [&](const typename Operation<Proxy>::Call& call, Proxy& proxy,
                                   int result, const std::string& line, const Lines& requests) {
                framework.takeEvents();
                log.take();
                EXPECT_EQ(call(proxy), result);
                EXPECT_EQ(framework.requests(), requests);
                EXPECT_EQ(log.take(tag), traced(operation, tag, line));
            };
            framework.answer(reply(operation.reply, 0));
            check(operation.call, bound, 0, "", sent);
            framework.answer(reply(operation.reply, 77));
            check(operation.call, bound, operation.refused, operation.refusedLine, sent);

            for (const auto& [code, name] : kNames) {
                if (code == operation.reply) continue;
                framework.answer(reply(code));
                check(operation.call, bound, 1,
                      "reply  type error target :MVServiceReply::" + kNames.at(operation.reply) +
                          " curr: " + std::to_string(code) + " \n",
                      sent);
            }
            framework.answer("");
            check(operation.call, bound, 1, "reply is null return\n", sent);
            check(operation.call, unbound, 1, "mServiceClient is null return\n", {});
            for (const auto& illegal : operation.illegal) {
                check(illegal, bound, 1, "illegal parameter!\n", {});
                check(illegal, unbound, 1, "illegal parameter!\n", {});
            }
        }
    }

    // Calls an operation that answers with bytes, and checks that it hands out the two of reply()
    // or, failing, leaves `*out` alone.
    template <typename Cook>
    int checkBytes(Cook cook, int* length) {
        unsigned char untouched = 0;
        unsigned char* out = &untouched;
        const int result = cook(&out);
        if (result == 1) {
            EXPECT_EQ(out, &untouched);
            return result;
        }
        EXPECT_EQ(*length, 2);
        EXPECT_EQ(out[0], 0x0a);
        EXPECT_EQ(out[1], 0x0b);
        delete[] out;
        return result;
    }

    testing_support::FakeFramework framework;
    testing_support::LogCapture log;

private:
    template <typename Proxy>
    static Lines traced(const Operation<Proxy>& operation, const std::string& tag,
                        const std::string& line) {
        const std::string trace = "D/" + tag + ": [" + tag + "][" + operation.name + "] [--";
        Lines lines;
        if (operation.traced) lines.push_back(trace + "IN--]");
        if (!line.empty()) lines.push_back("E/" + tag + ": " + line);
        if (operation.traced) lines.push_back(trace + "OUT--]");
        return lines;
    }
};

// The lines of traces that nest, from the outermost inwards, with what was logged inside.
inline Lines nested(const std::string& tag, const Lines& names, const Lines& inside = {}) {
    Lines lines;
    const std::string begin = "D/" + tag + ": [" + tag + "][";
    for (const auto& name : names)
        lines.push_back(begin + name + "] [--IN--]");
    lines.insert(lines.end(), inside.begin(), inside.end());
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        lines.push_back(begin + *name + "] [--OUT--]");
    return lines;
}

}  // namespace accessory
