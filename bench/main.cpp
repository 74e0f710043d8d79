// The benchmarks as a table: what an item costs ours and the baseline, and the ratio with its limit.

#include <cstdio>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

#include "instructions.h"

namespace {

class Table : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context &) override {
        std::printf("%-67s %10s %10s %6s %7s\n", bench::counts_instructions() ? "instructions, an item" : "ns, an item",
                    "ours", "baseline", "ratio", "at most");
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
        std::printf(" %10.0f %10.0f %6.2f %7.2f%s\n", value("ours") * unit, value("baseline") * unit, value("ratio"),
                    value("limit"), value("ratio") > value("limit") ? "  exceeded" : "");
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
