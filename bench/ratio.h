// Ours beside a baseline, in slices that alternate, so that whatever else the machine does falls on both alike.
#pragma once

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

#include "instructions.h"

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

using Work = std::function<void()>;
inline void nothing() {}

// What one side does, and before it what is not measured.
struct Side {
    template <class Run>
    Side(Run work, Work preparation = nothing) : run(std::move(work)), prepare(std::move(preparation)) {}

    Work run;
    Work prepare;
};

struct Comparison {
    std::function<double()> time;
    double items;  // that either side handles
    double limit;  // of the ratio
    Side baseline;
    Side ours;
    Work prepare;  // for all, before the baseline has its turn
    Work peer;     // the same as ours by a program of its own, on hiredis and protobuf-c; may be empty
};

// Of an item, by the measure of the moment: seconds or instructions.
struct Costs {
    double baseline;
    double ours;
    double peer;  // 0: there is none
    double ratio() const { return ours / baseline; }
    double peer_ratio() const { return peer / baseline; }
};

// Each side once.
template <class Measure>
Costs slice_of(const Comparison &compared, Measure measure) {
    const auto cost_of = [&](const Side &side) {
        side.prepare();
        return measure(side.run) / compared.items;
    };
    compared.prepare();
    const double baseline = cost_of(compared.baseline);
    const double ours = cost_of(compared.ours);
    return {baseline, ours, compared.peer ? cost_of(compared.peer) : 0.0};
}

inline void report(benchmark::State &state, Costs costs, double ratio, double peer_ratio, double limit) {
    state.counters["ours"] = costs.ours;
    state.counters["baseline"] = costs.baseline;
    state.counters["ratio"] = ratio;
    state.counters["peer_ratio"] = peer_ratio;
    state.counters["limit"] = limit;
}

inline void compare_times(benchmark::State &state, const Comparison &compared) {
    std::vector<double> ratios;
    std::vector<double> peer_ratios;
    std::vector<double> baselines;
    std::vector<double> ours;
    const auto time_of = [&](const Work &work) {
        const double begin = compared.time();
        work();
        return compared.time() - begin;
    };
    slice_of(compared, time_of);
    for ([[maybe_unused]] auto slice : state) {
        const Costs costs = slice_of(compared, time_of);
        ratios.push_back(costs.ratio());
        peer_ratios.push_back(costs.peer_ratio());
        baselines.push_back(costs.baseline);
        ours.push_back(costs.ours);
        state.SetIterationTime(costs.ours * compared.items);
    }
    report(state, {median(baselines), median(ours), 0}, median(ratios), median(peer_ratios), compared.limit);
}

// Nothing disturbs them: one slice is enough.
inline void compare_instructions(benchmark::State &state, const Comparison &compared) {
    slice_of(compared, [](const Work &work) {
        work();
        return 0.0;
    });
    const Costs costs = slice_of(compared, instructions_of);
    for ([[maybe_unused]] auto slice : state) {
        state.SetIterationTime(1);
    }
    report(state, costs, costs.ratio(), costs.peer_ratio(), compared.limit);
}

// One iteration is a slice of each side. The limit is that of the ratio, in time or in instructions.
inline void compare(benchmark::State &state, const std::function<double()> &time, double items, double limit,
                    const Side &baseline, const Side &ours, const Work &prepare = nothing, const Work &peer = {}) {
    const Comparison compared{time, items, limit, baseline, ours, prepare, peer};
    if (counts_instructions()) {
        compare_instructions(state, compared);
    } else {
        compare_times(state, compared);
    }
}

}  // namespace bench
