#include "mirvoctl/Options.h"

#include <zrmirvo/Version.h>

#include "mirvoctl/Arguments.h"

namespace mirvoctl {

void Options::declare(CLI::App& parser) {
    parser.set_version_flag("--version", "mirvoctl " ZRMIRVO_VERSION_TEXT,
                            "Print the version of mirvoctl");
    parser.add_flag("--json", json, "Print JSON, one object a line");
    auto* quietFlag = parser.add_flag(
        "--quiet", quiet, "Print neither results without data nor the library's error lines");
    parser.add_flag("--verbose", verbose, "Show the library's call trace on standard error")
        ->excludes(quietFlag);
    parser.add_option("--dir", directory, "Look for the service in this folder")
        ->type_name("DIR")
        ->check([](const std::string& given) {
            // As by a variable of a shell that is not set. It would mean the usual folder.
            return given.empty() ? "the name is empty" : "";
        });
    declareNumber<uint32_t>(parser, "--timeout", "Give up a request after so many milliseconds",
                            [this](uint32_t given) {
                                if (given == 0) {
                                    throw CLI::ValidationError(
                                        "--timeout", "is 0, in which nothing can be answered");
                                }
                                timeout = given;
                            })
        ->type_name("MS");
    declareNumber(parser, "--wait", wait, "Wait so many milliseconds for a service to appear")
        ->type_name("MS");
}

}  // namespace mirvoctl
