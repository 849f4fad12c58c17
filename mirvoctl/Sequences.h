#pragma once

#include <cstddef>
#include <utility>
#include <vector>

namespace mirvoctl {

// Finds which elements of two sequences belong together, so that few are left over: the shortest
// edit script by Myers. `Same` is called with a place in the first sequence and one in the second.
template <typename Same>
class Alignment {
public:
    Alignment(size_t first, size_t second, Same same)
        : mFirst(static_cast<ptrdiff_t>(first)),
          mSecond(static_cast<ptrdiff_t>(second)),
          mSame(std::move(same)) {}

    // Pairs of places, both ascending.
    std::vector<std::pair<size_t, size_t>> pairs() {
        for (ptrdiff_t steps = 0; steps <= kMaxSteps; ++steps) {
            if (follow(steps)) return goBack(steps);
        }
        // They are too different for an alignment to help a reader: only their common beginning.
        std::vector<std::pair<size_t, size_t>> common;
        for (ptrdiff_t i = 0; same(i, i); ++i)
            common.emplace_back(i, i);
        return common;
    }

private:
    static constexpr ptrdiff_t kMaxSteps = 2000;
    // How far into the first sequence each diagonal has been followed. A diagonal is the difference
    // between the places in both.
    using Reached = std::vector<ptrdiff_t>;

    static ptrdiff_t& at(Reached& reached, ptrdiff_t diagonal) {
        return reached[static_cast<size_t>(diagonal + static_cast<ptrdiff_t>(reached.size() / 2))];
    }

    bool same(ptrdiff_t i, ptrdiff_t j) {
        return i < mFirst && j >= 0 && j < mSecond &&
               mSame(static_cast<size_t>(i), static_cast<size_t>(j));
    }

    // Whether the best way to a diagonal leaves an element of the second sequence over, otherwise
    // one of the first; and where it then begins to follow the diagonal.
    std::pair<bool, ptrdiff_t> wayTo(ptrdiff_t diagonal, ptrdiff_t steps) {
        if (steps == 0) return {false, 0};
        Reached& before = mHistory[static_cast<size_t>(steps - 1)];
        const bool second =
            diagonal == -steps ||
            (diagonal != steps && at(before, diagonal - 1) < at(before, diagonal + 1));
        return {second, second ? at(before, diagonal + 1) : at(before, diagonal - 1) + 1};
    }

    // Whether both sequences end after so many elements that are left over.
    bool follow(ptrdiff_t steps) {
        Reached reached(static_cast<size_t>(2 * steps + 3), 0);
        bool ends = false;
        for (ptrdiff_t diagonal = -steps; diagonal <= steps; diagonal += 2) {
            ptrdiff_t i = wayTo(diagonal, steps).second;
            while (same(i, i - diagonal))
                ++i;
            at(reached, diagonal) = i;
            ends = ends || (diagonal == mFirst - mSecond && i >= mFirst);
        }
        mHistory.push_back(std::move(reached));
        return ends;
    }

    std::vector<std::pair<size_t, size_t>> goBack(ptrdiff_t steps) {
        std::vector<std::pair<size_t, size_t>> pairs;
        ptrdiff_t i = mFirst;
        ptrdiff_t diagonal = mFirst - mSecond;
        for (; steps >= 0; --steps) {
            const auto [second, from] = wayTo(diagonal, steps);
            for (; i > from; --i)
                pairs.emplace_back(i - 1, i - 1 - diagonal);
            i = second ? from : from - 1;
            diagonal += second ? 1 : -1;
        }
        return {pairs.rbegin(), pairs.rend()};
    }

    const ptrdiff_t mFirst;
    const ptrdiff_t mSecond;
    Same mSame;
    std::vector<Reached> mHistory;
};

}  // namespace mirvoctl
