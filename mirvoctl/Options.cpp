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
    parser.add_option("--dir", directory, "Look for the service in this folder")->type_name("DIR");
    declareNumber(parser, "--timeout", timeout, "Give up a request after so many milliseconds")
        ->type_name("MS");
    declareNumber(parser, "--wait", wait, "Wait so many milliseconds for a service to appear")
        ->type_name("MS");
}

}  // namespace mirvoctl
