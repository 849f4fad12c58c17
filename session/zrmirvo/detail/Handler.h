#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace zrmirvo::detail {

// A function of the application. It is set, called and destroyed on the loop's thread only. While
// it runs, it may replace itself and destroy the object that it belongs to.
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
