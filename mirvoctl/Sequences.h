#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace mirvoctl {

// Which elements of two sequences belong together, so that few are left over: pairs of places, both
// ascending. `same(i, j)` compares an element of the first with one of the second.
template <typename Same>
std::vector<std::pair<size_t, size_t>> aligned(size_t first, size_t second, Same same) {
    // The shortest edit script by Myers. What would take more steps than this is not looked for,
    // since it would be no use to a reader.
    constexpr ptrdiff_t kMaxSteps = 2000;
    const auto n = static_cast<ptrdiff_t>(first);
    const auto m = static_cast<ptrdiff_t>(second);
    // How far each diagonal has been followed, for each number of steps.
    std::vector<std::vector<ptrdiff_t>> history;
    const auto at = [](const std::vector<ptrdiff_t>& reached, ptrdiff_t diagonal) {
        return reached[static_cast<size_t>(diagonal + static_cast<ptrdiff_t>(reached.size() / 2))];
    };
    const auto comesDown = [&](const std::vector<ptrdiff_t>& before, ptrdiff_t d, ptrdiff_t k) {
        return k == -d || (k != d && at(before, k - 1) < at(before, k + 1));
    };
    ptrdiff_t steps = -1;
    for (ptrdiff_t d = 0; d <= kMaxSteps && steps < 0; ++d) {
        std::vector<ptrdiff_t> reached(static_cast<size_t>(2 * d + 3), 0);
        for (ptrdiff_t k = -d; k <= d; k += 2) {
            ptrdiff_t x = 0;
            if (d > 0) {
                const auto& before = history.back();
                x = comesDown(before, d, k) ? at(before, k + 1) : at(before, k - 1) + 1;
            }
            while (x < n && x - k < m && x >= k &&
                   same(static_cast<size_t>(x), static_cast<size_t>(x - k))) {
                ++x;
            }
            reached[static_cast<size_t>(k + d + 1)] = x;
            if (k == n - m && x >= n) steps = d;
        }
        history.push_back(std::move(reached));
    }
    std::vector<std::pair<size_t, size_t>> pairs;
    if (steps < 0) {
        // Too different: only their common beginning.
        for (size_t i = 0; i < first && i < second && same(i, i); ++i)
            pairs.emplace_back(i, i);
        return pairs;
    }
    ptrdiff_t x = n;
    ptrdiff_t k = n - m;
    for (ptrdiff_t d = steps; d >= 0; --d) {
        ptrdiff_t from = 0;
        bool down = false;
        if (d > 0) {
            const auto& before = history[static_cast<size_t>(d - 1)];
            down = comesDown(before, d, k);
            from = down ? at(before, k + 1) : at(before, k - 1) + 1;
        }
        for (; x > from; --x)
            pairs.emplace_back(static_cast<size_t>(x - 1), static_cast<size_t>(x - 1 - k));
        if (d > 0) {
            x = down ? from : from - 1;
            k += down ? 1 : -1;
        }
    }
    return {pairs.rbegin(), pairs.rend()};
}

}  // namespace mirvoctl
