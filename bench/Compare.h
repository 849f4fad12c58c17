#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/Pair.h"

namespace bench {

struct Candidate {
    std::string name;
    std::function<Pair()> make;
};

// One row of a comparison. Each figure is the median of all rounds.
struct Row {
    double median;  // of a round's calls; where calls overlap, of their means
    double p99;     // the time that 99 % of a round's calls stay below; 0 where calls overlap
    double ratio;   // of the median to that of the first candidate in the same round
    double low;     // a quarter of the rounds has a ratio below this
    double high;    // a quarter of the rounds has a ratio above this
};

struct Plan {
    size_t rounds;
    size_t slices;  // the parts of a round, in which the candidates take turns
    size_t calls;   // in each slice
};

// Runs all candidates in turn. Every round has new processes, because two processes that do the
// same work differ by a few percent as long as they live.
std::vector<Row> compare(const std::vector<Candidate>& candidates, const Plan& plan);

void printRows(const std::string& title, const std::vector<Candidate>& candidates,
               const std::vector<Row>& rows);

double quantile(std::vector<double> values, double part);

}  // namespace bench
