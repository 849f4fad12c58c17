#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace zrmirvo::detail {

// A function of the application that is called on the loop's thread, and only set, called and
// destroyed there. It may replace itself and clear what it belongs to while it runs.
template <typename... Arguments>
class Handler {
public:
    void set(std::function<void(Arguments...)> function) {
        Function before;
        if (function) before = std::make_shared<Plain>(std::move(function));
        std::swap(before, mFunction);
    }

    template <typename... Given>
    void operator()(Given&&... given) const {
        const Function kept = mFunction;
        if (kept != nullptr) (*kept)(std::forward<Given>(given)...);
    }

private:
    using Plain = std::function<void(Arguments...)>;
    using Function = std::shared_ptr<Plain>;

    Function mFunction;
};

}  // namespace zrmirvo::detail
