#include "doctor/Steps.h"

namespace doctor {
namespace {

#define COMPARE "Compare the slots of "
#define PORTING " with the table in docs/porting.md"

}  // namespace

const std::vector<Step>& steps() {
    static const std::vector<Step> kSteps = {
        {"libraries", libraries, nullptr,
         "Leave one copy of each library where the loader looks: LD_DEBUG=libs shows where that "
         "is"},
        {"functions", functions, nullptr,
         "Install one framework with the name libservice_framework_1_0.so.1, and no other"},
        {"binding", binding, "functions",
         "If the service does not run, start it, as the user that runs the doctor. If it "
         "does: " COMPARE "ServiceInfo and ServiceClient and their base" PORTING},
        {"request", request, "binding",
         "If the service hangs, start it anew. If it does not: " COMPARE
         "ServiceClient, ServiceItem, ServiceReply, ServiceProtocol and the factories" PORTING},
        {"written-texts", writtenTexts, "request",
         COMPARE "SerializationContent and its base" PORTING},
        {"written-integers", writtenIntegers, "request",
         COMPARE "SerializationContent and its base" PORTING},
        {"written-blocks", writtenBlocks, "request",
         COMPARE "SerializationContent and its base" PORTING},
        {"read-texts", readTexts, "request", COMPARE "DeserializationContent and its base" PORTING},
        {"read-integers", readIntegers, "written-integers",
         COMPARE "DeserializationContent and its base" PORTING},
        {"read-blocks", readBlocks, "read-integers",
         COMPARE "DeserializationContent and its base" PORTING},
        {"listener", listener, "binding",
         COMPARE "ServiceClient and ServiceNotifyListener" PORTING},
        {"notification", notification, "binding",
         COMPARE "ServiceNotifyListener, ServiceNotify and ServiceProtocol" PORTING},
        {"removal", removal, "listener", COMPARE "ServiceClient" PORTING},
        {"library", library, nullptr,
         "Run it again with --verbose: the library's log says what it did not get"},
        {"lost", lost, "listener",
         "Look at the chapter about the framework's own notification in docs/porting.md"},
        {"late", late, "binding",
         "Ask the framework's maker how a service that starts late is found"},
    };
    return kSteps;
}

#undef COMPARE
#undef PORTING

}  // namespace doctor
