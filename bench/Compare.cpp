#include "bench/Compare.h"

#include <algorithm>
#include <cstdio>

namespace bench {
namespace {

// The calls of one candidate in one round.
struct Round {
    std::vector<double> each;
    std::vector<double> means;

    void add(const Sample& sample) {
        each.insert(each.end(), sample.each.begin(), sample.each.end());
        means.push_back(sample.mean);
    }
    double median() const { return quantile(each.empty() ? means : each, 0.5); }
    double p99() const { return each.empty() ? 0 : quantile(each, 0.99); }
};

std::vector<Round> runRound(const std::vector<Candidate>& candidates, const Plan& plan,
                            size_t turn) {
    const size_t count = candidates.size();
    std::vector<Pair> pairs(count);
    for (size_t i = 0; i < count; ++i) {
        pairs[i] = candidates[i].make();
        pairs[i].client->run(std::max<size_t>(plan.calls / 4, 1));
    }
    std::vector<Round> rounds(count);
    for (size_t slice = 0; slice < plan.slices; ++slice) {
        for (size_t i = 0; i < count; ++i) {
            const size_t place = (i + turn + slice) % count;
            rounds[place].add(pairs[place].client->run(plan.calls));
        }
    }
    return rounds;
}

}  // namespace

double quantile(std::vector<double> values, double part) {
    const auto place = values.begin() + static_cast<std::ptrdiff_t>(
                                            part * static_cast<double>(values.size() - 1) + 0.5);
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

std::vector<Row> compare(const std::vector<Candidate>& candidates, const Plan& plan) {
    struct Column {
        std::vector<double> median, p99, ratio;
    };
    std::vector<Column> columns(candidates.size());
    for (size_t turn = 0; turn < plan.rounds; ++turn) {
        const std::vector<Round> rounds = runRound(candidates, plan, turn);
        const double floor = rounds[0].median();
        for (size_t i = 0; i < columns.size(); ++i) {
            const double median = rounds[i].median();
            columns[i].median.push_back(median);
            columns[i].p99.push_back(rounds[i].p99());
            columns[i].ratio.push_back(median / floor);
        }
    }
    std::vector<Row> rows;
    for (const Column& column : columns) {
        rows.push_back({quantile(column.median, 0.5), quantile(column.p99, 0.5),
                        quantile(column.ratio, 0.5), quantile(column.ratio, 0.25),
                        quantile(column.ratio, 0.75)});
    }
    return rows;
}

void printRows(const std::string& title, const std::vector<Candidate>& candidates,
               const std::vector<Row>& rows) {
    printf("\n%s\n%-40s %10s %10s %7s  %s\n", title.c_str(), "", "median µs", "p99 µs", "ratio",
           "half of the rounds");
    for (size_t i = 0; i < rows.size(); ++i) {
        const Row& row = rows[i];
        char p99[16] = "-";
        if (row.p99 > 0) snprintf(p99, sizeof(p99), "%.3f", row.p99 / 1000);
        printf("%-40s %10.3f %10s %7.3f  %.3f to %.3f\n", candidates[i].name.c_str(),
               row.median / 1000, p99, row.ratio, row.low, row.high);
    }
    fflush(stdout);
}

}  // namespace bench
