#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>

#include <string>
#include <utility>
#include <vector>

#include "mirvoctl/Buffer.h"
#include "mirvoctl/Command.h"
#include "mirvoctl/Events.h"

namespace mirvoctl {
namespace {

using zrmirvo::ZRMirvo;
using Step = Outcome::Step;

// How long the answer to a time-and-date inquiry is waited for.
constexpr nsecs_t kTimeDateWait = 5'000'000'000;

ZRMirvo& deviceOf(Context& context, const Arguments& arguments) {
    return context.connection.device(arguments.accessory);
}

// A command that makes one call of the library, which returns a status.
template <int (*Call)(ZRMirvo& device, Arguments& arguments)>
Outcome once(Context& context, Arguments& arguments) {
    return {{{Call(deviceOf(context, arguments), arguments)}}};
}

// A command whose call turns an event into bytes.
template <int (*Call)(ZRMirvo& device, Arguments& arguments, Buffer& out)>
Outcome cooked(Context& context, Arguments& arguments) {
    Buffer out;
    const int status = Call(deviceOf(context, arguments), arguments, out);
    return {{{status, out.shown()}}};
}

// For a key that goes down, up, or both one after the other.
template <typename Call>
Outcome forKey(const Arguments& arguments, const Call& call) {
    Outcome outcome;
    for (const bool down : {true, false}) {
        if (arguments.direction == (down ? "up" : "down")) continue;
        outcome.steps.push_back(call(down));
        if (outcome.steps.back().status != 0) break;
    }
    return outcome;
}

Outcome sendKey(Context& context, Arguments& arguments) {
    ZRMirvo& device = deviceOf(context, arguments);
    return forKey(arguments,
                  [&](bool down) { return Step{device.sendKeyEvent(arguments.key, down)}; });
}

Outcome cookKey(Context& context, Arguments& arguments) {
    ZRMirvo& device = deviceOf(context, arguments);
    return forKey(arguments, [&](bool down) {
        Buffer out;
        const int status = device.cookKeyEvent(arguments.key, down, &out.data, &out.length);
        return Step{status, out.shown()};
    });
}

int sendTouch(ZRMirvo& device, Arguments& arguments) {
    const TouchEvent& t = arguments.touch;
    return device.sendTouchEvent(t.time, t.count(), t.array1.data(), t.array2.data(),
                                 t.array3.data(), t.action, t.extra);
}

int cookTouch(ZRMirvo& device, Arguments& arguments, Buffer& out) {
    const TouchEvent& t = arguments.touch;
    return device.cookTouchEvent(t.time, t.count(), t.array1.data(), t.array2.data(),
                                 t.array3.data(), t.action, t.extra, &out.data, &out.length);
}

int sendCalibrate(ZRMirvo& device, Arguments&) {
    return device.sendCalibrateEvent();
}

int cookCalibrate(ZRMirvo& device, Arguments&, Buffer& out) {
    return device.cookCalibrateEvent(&out.data, &out.length);
}

int sendLandscape(ZRMirvo& device, Arguments& arguments) {
    return device.sendForceLandscape(arguments.on());
}

int sendFocus(ZRMirvo& device, Arguments& arguments) {
    return device.sendVideoFocus(arguments.value, arguments.on());
}

int sendPairing(ZRMirvo& device, Arguments& arguments) {
    return device.sendOnReadyForPairing(arguments.on());
}

int sendDisplay(ZRMirvo& device, Arguments& arguments) {
    const std::vector<int>& v = arguments.values;
    return device.sendDisplayConfiguration(v[0], v[1], v[2], v[3], v[4]);
}

int setFeature(ZRMirvo& device, Arguments& arguments) {
    return device.setFeature(arguments.feature, arguments.data.data(),
                             static_cast<unsigned int>(arguments.data.size()));
}

// Asks, and waits for the event that brings the answer.
Outcome askTimeDate(Context& context, Arguments& arguments) {
    android::Mutex lock;
    android::Condition changed;
    Json answer;
    DeviceEvents events(arguments.accessory, [&](const std::string& name, const Json& fields) {
        if (name != "onTimeDateResponse") return;
        android::AutoMutex guard(lock);
        answer = fields;
        changed.signal();
    });
    ZRMirvo& device = deviceOf(context, arguments);
    device.RegisterCallback(&events);
    const int status = device.sendTimeDateInquiry();
    if (status == 0) {
        const nsecs_t until = systemTime() + kTimeDateWait;
        android::AutoMutex guard(lock);
        while (answer.is_null() && systemTime() < until)
            changed.waitRelative(lock, until - systemTime());
    }
    device.UnregisterCallback(&events);
    Outcome outcome;
    if (status == 0 && answer.is_null()) {
        outcome.exit = kRefused;
        outcome.error = "the accessory does not tell its date and time: ask again";
        answer = Json::object();
    }
    outcome.steps.push_back({status, std::move(answer)});
    return outcome;
}

// The arguments.

void declareKey(CLI::App& parser, Arguments& arguments) {
    const auto parse = [&](const std::string& key) { arguments.key = keyCode(key); };
    parser
        .add_option_function<std::string>("CODE", parse,
                                          "Android's, or one of " + listed(keyNames()))
        ->required();
    parser
        .add_option("DIRECTION", arguments.direction,
                    "down or up; without it, both one after the other")
        ->check(CLI::IsMember({"down", "up"}));
}

void declareTouch(CLI::App& parser, Arguments& arguments) {
    TouchEvent& touch = arguments.touch;
    const auto action = [&](const std::string& given) { touch.action = motionAction(given); };
    parser
        .add_option_function<std::string>("ACTION", action,
                                          "Android's, or one of " + listed(actionNames()))
        ->required();
    const auto pointers = [&](const std::vector<std::string>& given) {
        for (const std::string& pointer : given)
            touch.addPointer(pointer);
    };
    parser.add_option_function<std::vector<std::string>>(
        "POINTER", pointers, "Three numbers for each pointer, as 0,120,300");
    declareNumber(parser, "--time", touch.time,
                  "Of the event; without it, the milliseconds since the machine was started")
        ->type_name("N");
    declareNumber(parser, "--extra", touch.extra, "The last number of the event")->type_name("N");
}

void declareState(CLI::App& parser, Arguments& arguments) {
    parser.add_option("STATE", arguments.state, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
}

void declareFocus(CLI::App& parser, Arguments& arguments) {
    declareNumber(parser, "N", arguments.value, "A number of the service's")->required();
    declareState(parser, arguments);
}

void declareDisplay(CLI::App& parser, Arguments& arguments) {
    const auto parse = [&](const std::vector<std::string>& given) {
        for (const std::string& word : given) {
            const auto value = tool::toNumber<int>(word);
            if (!value) throw CLI::ValidationError("V", "not a number in range: " + word);
            arguments.values.push_back(*value);
        }
    };
    parser.add_option_function<std::vector<std::string>>("V", parse, "Numbers of the service's")
        ->expected(5)
        ->required();
}

void declareFeature(CLI::App& parser, Arguments& arguments) {
    const auto parse = [&](const std::string& data) { arguments.data = bytesOf(data); };
    declareNumber(parser, "N", arguments.feature, "A number of the service's")->required();
    parser.add_option_function<std::string>("DATA", parse, "Hexadecimal digits, or @FILE");
}

}  // namespace

const std::vector<Command>& deviceCommands() {
    static const std::vector<Command> kCommands = {
        {{"key", "CODE [down|up]", "Send a key; without a direction, down and up"},
         "sendKeyEvent",
         declareKey,
         sendKey},
        {{"touch", "ACTION [POINTER]...", "Send a touch"},
         "sendTouchEvent",
         declareTouch,
         once<sendTouch>},
        {{"calibrate", "", "Send a calibration event"},
         "sendCalibrateEvent",
         nullptr,
         once<sendCalibrate>},
        {{"cook-key", "CODE [down|up]", "Have a key turned into bytes"},
         "cookKeyEvent",
         declareKey,
         cookKey},
        {{"cook-touch", "ACTION [POINTER]...", "Have a touch turned into bytes"},
         "cookTouchEvent",
         declareTouch,
         cooked<cookTouch>},
        {{"cook-calibrate", "", "Have a calibration event turned into bytes"},
         "cookCalibrateEvent",
         nullptr,
         cooked<cookCalibrate>},
        {{"landscape", "on|off", "Force landscape orientation, or no longer"},
         "sendForceLandscape",
         declareState,
         once<sendLandscape>},
        {{"focus", "N on|off", "Give or take the video focus"},
         "sendVideoFocus",
         declareFocus,
         once<sendFocus>},
        {{"pairing", "on|off", "Say whether the head unit is ready for pairing"},
         "sendOnReadyForPairing",
         declareState,
         once<sendPairing>},
        {{"time-date", "", "Ask for the accessory's date and time"},
         "sendTimeDateInquiry",
         nullptr,
         askTimeDate},
        {{"display", "V V V V V", "Describe the display by five numbers"},
         "sendDisplayConfiguration",
         declareDisplay,
         once<sendDisplay>},
        {{"feature", "N [DATA]", "Set a feature to these bytes, or to those of a file"},
         "setFeature",
         declareFeature,
         once<setFeature>},
    };
    return kCommands;
}

}  // namespace mirvoctl
