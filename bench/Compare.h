#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/Floor.h"

namespace bench {

struct Candidate {
    std::string name;
    std::function<Pair()> make;
};

// One row of a comparison: medians over the rounds.
struct Row {
    double median;  // of the calls of a round; of their mean where calls overlap
    double p99;     // 0 where calls overlap
    double ratio;   // to the first candidate of the same round
    double low;     // a quarter of the rounds has a ratio below this,
    double high;    // and a quarter one above this
};

struct Plan {
    size_t rounds;
    size_t slices;  // of a round, in which the candidates take turns
    size_t calls;   // of a slice
};

// Runs all candidates in turn, with new processes in every round: two processes that do the same
// differ by some percent for as long as they live.
std::vector<Row> compare(const std::vector<Candidate>& candidates, const Plan& plan);

void printRows(const std::string& title, const std::vector<Candidate>& candidates,
               const std::vector<Row>& rows);

double quantile(std::vector<double> values, double part);

}  // namespace bench
