// Stands for the page in an emulator that was built without it.

#include "emulator/page/Page.h"

namespace emulator::page {

class Page::Served {};

void addOptions(CLI::App& /*app*/, PageOptions& /*options*/) {}

Page::Page(const PageOptions& /*options*/, Script& /*script*/) {}
Page::~Page() = default;

std::string Page::start() {
    return "";
}

void Page::serve() {}

std::string Page::address() const {
    return "";
}

}  // namespace emulator::page
