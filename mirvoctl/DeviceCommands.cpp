#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>

#include <memory>
#include <string>
#include <vector>

#include "mirvoctl/Arguments.h"
#include "mirvoctl/Commands.h"
#include "mirvoctl/Events.h"

namespace mirvoctl {
namespace {

using zrmirvo::ZRMirvo;

// How long the answer to a time-and-date inquiry is waited for.
constexpr nsecs_t kTimeDateWait = 5'000'000'000;

// Of all commands to one accessory. One runs at a time, so they share them.
struct Arguments {
    uint32_t accessoryId = 0;
    uint32_t key = 0;
    std::string direction;
    TouchEvent touch;
    std::string state;
    int focus = 0;
    uint32_t feature = 0;
    std::vector<uint8_t> data;
    std::vector<int> values;

    bool on() const { return state == "on"; }
};

// Where a command runs.
struct Run {
    const Output& output;
    ZRMirvo& device;
    Arguments& arguments;

    // For a key that goes down, up, or both one after the other.
    template <typename Operation>
    void key(Operation operation) const {
        if (arguments.direction != "up") operation(true);
        if (arguments.direction != "down") operation(false);
    }
};

void sendKey(const Run& run) {
    run.key([&](bool down) {
        run.output.result("sendKeyEvent", run.device.sendKeyEvent(run.arguments.key, down));
    });
}

void cookKey(const Run& run) {
    run.key([&](bool down) {
        Buffer out;
        const int status = run.device.cookKeyEvent(run.arguments.key, down, &out.data, &out.length);
        run.output.result("cookKeyEvent", status, out.shown());
    });
}

void sendTouch(const Run& run) {
    const TouchEvent& t = run.arguments.touch;
    const int status = run.device.sendTouchEvent(
        t.time, t.count(), t.array1.data(), t.array2.data(), t.array3.data(), t.action, t.extra);
    run.output.result("sendTouchEvent", status);
}

void cookTouch(const Run& run) {
    const TouchEvent& t = run.arguments.touch;
    Buffer out;
    const int status =
        run.device.cookTouchEvent(t.time, t.count(), t.array1.data(), t.array2.data(),
                                  t.array3.data(), t.action, t.extra, &out.data, &out.length);
    run.output.result("cookTouchEvent", status, out.shown());
}

void sendCalibrate(const Run& run) {
    run.output.result("sendCalibrateEvent", run.device.sendCalibrateEvent());
}

void cookCalibrate(const Run& run) {
    Buffer out;
    const int status = run.device.cookCalibrateEvent(&out.data, &out.length);
    run.output.result("cookCalibrateEvent", status, out.shown());
}

void sendLandscape(const Run& run) {
    run.output.result("sendForceLandscape", run.device.sendForceLandscape(run.arguments.on()));
}

void sendFocus(const Run& run) {
    const int status = run.device.sendVideoFocus(run.arguments.focus, run.arguments.on());
    run.output.result("sendVideoFocus", status);
}

void sendPairing(const Run& run) {
    const int status = run.device.sendOnReadyForPairing(run.arguments.on());
    run.output.result("sendOnReadyForPairing", status);
}

// Asks and waits for the event that brings the answer.
void askTimeDate(const Run& run) {
    android::Mutex lock;
    android::Condition changed;
    bool answered = false;
    DeviceEvents events(run.arguments.accessoryId,
                        [&](const std::string& name, const Json& values) {
                            if (name != "onTimeDateResponse") return;
                            run.output.event(name, values);
                            android::AutoMutex guard(lock);
                            answered = true;
                            changed.signal();
                        });
    run.device.RegisterCallback(&events);
    const int status = run.device.sendTimeDateInquiry();
    if (status == 0) {
        const nsecs_t until = systemTime() + kTimeDateWait;
        android::AutoMutex guard(lock);
        while (!answered && systemTime() < until)
            changed.waitRelative(lock, until - systemTime());
    }
    run.device.UnregisterCallback(&events);
    run.output.result("sendTimeDateInquiry", status);
    if (!answered) {
        throw Failure(kRefused, "the accessory does not tell its date and time: ask again");
    }
}

void sendDisplay(const Run& run) {
    const std::vector<int>& v = run.arguments.values;
    const int status = run.device.sendDisplayConfiguration(v[0], v[1], v[2], v[3], v[4]);
    run.output.result("sendDisplayConfiguration", status);
}

void setFeature(const Run& run) {
    std::vector<uint8_t>& data = run.arguments.data;
    const int status = run.device.setFeature(run.arguments.feature, data.data(),
                                             static_cast<unsigned int>(data.size()));
    run.output.result("setFeature", status);
}

// These describe arguments that several commands have.

void takeKey(CLI::App& command, Arguments& arguments) {
    const auto parse = [&](const std::string& key) { arguments.key = keyCode(key); };
    command.add_option_function<std::string>("CODE", parse, "Android's, or one of " + keyNames())
        ->required();
    command
        .add_option("DIRECTION", arguments.direction,
                    "down or up; without it, both one after the other")
        ->check(CLI::IsMember({"down", "up"}));
}

void takeTouch(CLI::App& command, Arguments& arguments) {
    TouchEvent& touch = arguments.touch;
    const auto action = [&](const std::string& given) { touch.action = motionAction(given); };
    command
        .add_option_function<std::string>("ACTION", action,
                                          "Android's, or down, move, up, pointer-down")
        ->required();
    const auto pointers = [&](const std::vector<std::string>& given) {
        for (const std::string& pointer : given)
            touch.addPointer(pointer);
    };
    command.add_option_function<std::vector<std::string>>(
        "POINTER", pointers, "Three numbers for each pointer, as 0,120,300");
    command.add_option("--time", touch.time,
                       "Of the event; without it, the milliseconds since the machine was started");
    command.add_option("--extra", touch.extra, "The last number of the event");
}

void takeState(CLI::App& command, Arguments& arguments) {
    command.add_option("STATE", arguments.state, "on or off")
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
}

void takeFocus(CLI::App& command, Arguments& arguments) {
    command.add_option("N", arguments.focus, "A number of the service's")->required();
    takeState(command, arguments);
}

void takeDisplay(CLI::App& command, Arguments& arguments) {
    command.add_option("V", arguments.values, "Five numbers of the service's")
        ->expected(5)
        ->required();
}

void takeFeature(CLI::App& command, Arguments& arguments) {
    const auto parse = [&](const std::string& data) { arguments.data = bytesOf(data); };
    command.add_option("N", arguments.feature, "A number of the service's")->required();
    command.add_option_function<std::string>("DATA", parse, "Hexadecimal digits, or @FILE");
}

void takeNothing(CLI::App&, Arguments&) {}

struct DeviceCommand {
    const char* name;
    const char* description;
    void (*take)(CLI::App& command, Arguments& arguments);
    void (*run)(const Run& run);
};

constexpr DeviceCommand kCommands[] = {
    {"key", "Send a key", takeKey, sendKey},
    {"touch", "Send a touch", takeTouch, sendTouch},
    {"calibrate", "Send a calibration event", takeNothing, sendCalibrate},
    {"cook-key", "Have a key turned into bytes", takeKey, cookKey},
    {"cook-touch", "Have a touch turned into bytes", takeTouch, cookTouch},
    {"cook-calibrate", "Have a calibration event turned into bytes", takeNothing, cookCalibrate},
    {"landscape", "Force landscape orientation, or no longer", takeState, sendLandscape},
    {"focus", "Give or take the video focus", takeFocus, sendFocus},
    {"pairing", "Be ready for pairing, or no longer", takeState, sendPairing},
    {"time-date", "Ask for the accessory's date and time", takeNothing, askTimeDate},
    {"display", "Describe the display", takeDisplay, sendDisplay},
    {"feature", "Set a feature", takeFeature, setFeature},
};

}  // namespace

void addDeviceCommands(CLI::App& app, const Context& context) {
    const auto arguments = std::make_shared<Arguments>();
    CLI::App* device = app.add_subcommand("device", "Commands to one accessory");
    device->add_option("ID", arguments->accessoryId, "Of the accessory")->required();
    requireCommand(*device);
    for (const DeviceCommand& row : kCommands) {
        CLI::App* command = device->add_subcommand(row.name, row.description);
        row.take(*command, *arguments);
        command->callback([context, arguments, run = row.run] {
            ZRMirvo& instance = context.connection.device(arguments->accessoryId);
            run({context.output, instance, *arguments});
        });
    }
}

}  // namespace mirvoctl
