#include <memory>
#include <string>
#include <vector>

#include "mirvoctl/Commands.h"

namespace mirvoctl {
namespace {

using zrmirvo::ZRMirvoManager;

void printIds(const Context& context) {
    unsigned int ids[10] = {};
    unsigned int count = 0;
    const int status = context.connection.manager().getIds(ids, &count);
    Json data = Json::object();
    if (status == 0) data["ids"] = std::vector<uint32_t>(ids, ids + count);
    context.output.result("getIds", status, data);
}

void printDescriptor(const Context& context) {
    Buffer buffer;
    const int status = context.connection.manager().getHidDescriptor(&buffer.data, &buffer.length);
    context.output.result("getHidDescriptor", status, buffer.shown());
}

void printVersion(const Context& context) {
    const std::string service = Connection::serviceVersion();
    const zrmirvo::ZRMirvoVersion version = ZRMirvoManager::getVersion();
    const std::string library = std::to_string(version.clientMajor) + "." +
                                std::to_string(version.clientMinor) + "." +
                                std::to_string(version.clientPatch);
    context.output.result("getVersion", 0, {{"library", library}, {"service", service}});
}

}  // namespace

void addManagerCommands(CLI::App& app, const Context& context) {
    const auto add = [&](const char* name, const char* description, const auto& run) {
        CLI::App* command = app.add_subcommand(name, description);
        command->callback(run);
        return command;
    };
    // One command runs at a time, so they share their arguments.
    const auto text = std::make_shared<std::string>();
    const auto value = std::make_shared<int>();

    add("version", "The versions of the library and of the service",
        [=] { printVersion(context); });
    add("startup", "Start the projection service",
        [=] { context.output.result("startup", context.connection.manager().startup()); });
    add("shutdown", "Stop the projection service",
        [=] { context.output.result("shutdown", context.connection.manager().shutdown()); });
    add("connect", "Connect", [=] {
        context.connection.manager().connect(text->c_str());
        context.output.sent("connect");
    })->add_option("TEXT", *text, "What the service is to connect to");
    add("disconnect", "Disconnect", [=] {
        context.connection.manager().disconnect(text->c_str());
        context.output.sent("disconnect");
    })->add_option("TEXT", *text, "What the service is to disconnect from");
    add("config-file", "Hand over the path of the configuration file",
        [=] {
            const int status = context.connection.manager().setConfigFile(text->c_str());
            context.output.result("setConfigFile", status);
        })
        ->add_option("PATH", *text, "As the service sees it")
        ->required();
    CLI::App* bluetooth = add("bluetooth", "Hand over a Bluetooth setting", [=] {
        const int status = context.connection.manager().setBluetoothConfig(text->c_str(), *value);
        context.output.result("setBluetoothConfig", status);
    });
    bluetooth->add_option("TEXT", *text, "At most 31 characters")->required();
    bluetooth->add_option("VALUE", *value, "A number")->required();
    add("ids", "The accessories that are attached", [=] { printIds(context); });
    add("hid-descriptor", "The HID descriptor", [=] { printDescriptor(context); });
}

}  // namespace mirvoctl
