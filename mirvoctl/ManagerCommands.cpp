#include <string>
#include <vector>

#include "mirvoctl/Buffer.h"
#include "mirvoctl/Command.h"

namespace mirvoctl {
namespace {

Outcome returned(int status, Json data = Json::object()) {
    return {{{status, std::move(data)}}};
}

// Of an operation that returns nothing.
Outcome sent() {
    return {{{std::nullopt}}};
}

void declareText(CLI::App& parser, Arguments& arguments) {
    parser.add_option("TEXT", arguments.text, "What the text means is the service's");
}

void declarePath(CLI::App& parser, Arguments& arguments) {
    parser.add_option("PATH", arguments.text, "As the service sees it")->required();
}

void declareBluetooth(CLI::App& parser, Arguments& arguments) {
    parser.add_option("TEXT", arguments.text, "At most 31 characters")->required();
    declareNumber(parser, "VALUE", arguments.value, "A number of the service's")->required();
}

Outcome printVersion(Context& context, Arguments&) {
    const std::string service = context.connection.serviceVersion();
    return returned(0, {{"library", Connection::libraryVersion(service)}, {"service", service}});
}

Outcome startup(Context& context, Arguments&) {
    return returned(context.connection.manager().startup());
}

Outcome shutdown(Context& context, Arguments&) {
    return returned(context.connection.manager().shutdown());
}

Outcome connect(Context& context, Arguments& arguments) {
    context.connection.manager().connect(arguments.text.c_str());
    return sent();
}

Outcome disconnect(Context& context, Arguments& arguments) {
    context.connection.manager().disconnect(arguments.text.c_str());
    return sent();
}

Outcome setConfigFile(Context& context, Arguments& arguments) {
    return returned(context.connection.manager().setConfigFile(arguments.text.c_str()));
}

Outcome setBluetooth(Context& context, Arguments& arguments) {
    return returned(
        context.connection.manager().setBluetoothConfig(arguments.text.c_str(), arguments.value));
}

Outcome printIds(Context& context, Arguments&) {
    unsigned int ids[10] = {};
    unsigned int count = 0;
    const int status = context.connection.manager().getIds(ids, &count);
    if (status != 0) return returned(status);
    return returned(status, {{"ids", std::vector<uint32_t>(ids, ids + count)}});
}

Outcome printDescriptor(Context& context, Arguments&) {
    Buffer buffer;
    const int status = context.connection.manager().getHidDescriptor(&buffer.data, &buffer.length);
    return returned(status, buffer.shown());
}

}  // namespace

const std::vector<Command>& managerCommands() {
    static const std::vector<Command> kCommands = {
        {{"version", "", "Show the versions of the library and of the service"},
         "getVersion",
         nullptr,
         printVersion},
        {{"startup", "", "Start the projection service"}, "startup", nullptr, startup},
        {{"shutdown", "", "Stop the projection service"}, "shutdown", nullptr, shutdown},
        {{"connect", "[TEXT]", "Connect; what the text means is the service's"},
         "connect",
         declareText,
         connect},
        {{"disconnect", "[TEXT]", "Disconnect; what the text means is the service's"},
         "disconnect",
         declareText,
         disconnect},
        {{"config-file", "PATH", "Hand over the path of the configuration file"},
         "setConfigFile",
         declarePath,
         setConfigFile},
        {{"bluetooth", "TEXT VALUE", "Hand over a Bluetooth setting"},
         "setBluetoothConfig",
         declareBluetooth,
         setBluetooth},
        {{"ids", "", "List the accessories that are attached, ten at most"},
         "getIds",
         nullptr,
         printIds},
        {{"hid-descriptor", "", "Show the HID descriptor"},
         "getHidDescriptor",
         nullptr,
         printDescriptor},
    };
    return kCommands;
}

}  // namespace mirvoctl
