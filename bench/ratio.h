// Ours beside a baseline, in slices that alternate, so that whatever else the machine does falls on both alike.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <vector>

#include <benchmark/benchmark.h>

namespace bench {

using Seconds = std::chrono::duration<double>;

// Time that passes, for what waits for a server; time of this thread on a processor, for what must not waste any.
inline double wall_time() { return Seconds(std::chrono::steady_clock::now().time_since_epoch()).count(); }

inline double thread_time() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// One iteration is a slice of each; `items` is how much either handles. Reported: the median ratio, and the limit that
// it is to keep.
// What both then handle is made by prepare(), untimed.
template <class Time, class Baseline, class Ours, class Prepare>
void compare(benchmark::State &state, Time time, double items, double limit, Baseline baseline, Ours ours,
             Prepare prepare) {
    std::vector<double> ratios;
    std::vector<double> baseline_times;
    prepare();
    baseline();
    ours();
    for ([[maybe_unused]] auto slice : state) {
        prepare();
        const double begin = time();
        baseline();
        const double between = time();
        ours();
        const double end = time();
        state.SetIterationTime(end - between);
        ratios.push_back((end - between) / (between - begin));
        baseline_times.push_back(between - begin);
    }
    state.counters["ratio"] = median(ratios);
    state.counters["limit"] = limit;
    state.counters["baseline_us_each"] = median(baseline_times) / items * 1e6;
}

template <class Time, class Baseline, class Ours>
void compare(benchmark::State &state, Time time, double items, double limit, Baseline baseline, Ours ours) {
    compare(state, time, items, limit, baseline, ours, [] {});
}

}  // namespace bench
