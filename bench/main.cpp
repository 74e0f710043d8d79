// The benchmarks as a table: what an item costs ours and the baseline, the ratio with its limit, and the ratio that a
// program of its own on hiredis and protobuf-c comes to.

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "instructions.h"

namespace {

class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override {
        std::printf("%-67s %10s %10s %6s %7s %10s\n",
                    bench::counts_instructions() ? "instructions, an item" : "ns, an item", "ours", "baseline", "ratio",
                    "at most", "protobuf-c");
        return true;
    }

    void ReportRuns(const std::vector<Run> &runs) override {
        for (const Run &run : runs) {
            const std::string name =
                run.run_name.function_name + (run.run_name.args.empty() ? "" : ", " + run.run_name.args);
            std::printf("%-67s", name.c_str());
            print(run);
            std::fflush(stdout);
        }
    }

private:
    static void print(const Run &run) {
        const auto value = [&](const char *counter) { return run.counters.at(counter).value; };
        const double unit = bench::counts_instructions() ? 1 : 1e9;
        std::printf(" %10.0f %10.0f %6.2f %7.2f", value("ours") * unit, value("baseline") * unit, value("ratio"),
                    value("limit"));
        if (value("peer_ratio") > 0) {
            std::printf(" %10.2f", value("peer_ratio"));
        }
        std::printf("%s\n", value("ratio") > value("limit") ? "  exceeded" : "");
    }
};

}  // namespace

int main(int argc, char **argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
    return 0;
}
