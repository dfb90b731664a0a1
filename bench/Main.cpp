// What the product costs beyond what it must do, as ratios to floors of the same run.
//
//     bench [--json] [--check] [<name>]
//
// <name>: only what begins so. --json: one JSON object instead of the table. --check: exit code 1 when a
// ratio is above its bar.
#include "Comparison.h"

#include "e2e/Machine.h"
#include "util/Log.h"

#include "traceSink.h"

#include <benchmark/benchmark.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>
#include <limits>
#include <map>

namespace steward::bench {

namespace {

constexpr double kShortestMeasurement = 0.02; // seconds: many short ones, so that some are undisturbed

struct Figure {
    std::string name;
    double bar;
    double seconds;
    double floorSeconds;

    [[nodiscard]] double Ratio() const { return seconds / floorSeconds; }
    [[nodiscard]] bool IsMet() const { return Ratio() <= bar; }
};

// Keeps the quickest repetition of each: what disturbs a run only ever slows it down.
class Quickest : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.run_name.function_name.c_str(),
                             run.error_message.c_str());
            } else if (run.run_type == Run::RT_Iteration) {
                const double time = run.real_accumulated_time / static_cast<double>(run.iterations);
                const auto [entry, isNew] = seconds_.try_emplace(run.run_name.function_name, time);
                entry->second = std::min(entry->second, time);
            }
        }
    }

    [[nodiscard]] double Of(const std::string& name) const {
        const auto found = seconds_.find(name);
        return found == seconds_.end() ? std::numeric_limits<double>::quiet_NaN() : found->second;
    }

  private:
    std::map<std::string, double> seconds_;
};

void Repeat(benchmark::State& state, const Operation& operation) {
    for ([[maybe_unused]] auto _ : state) {
        try {
            if (operation.prepare) {
                state.PauseTiming();
                operation.prepare();
                state.ResumeTiming();
            }
            operation.run();
        } catch (const std::exception& problem) {
            state.SkipWithError(problem.what());
            break;
        }
    }
}

void Register(const std::string& name, const Operation& operation, int repetitions) {
    auto* const registered = benchmark::RegisterBenchmark(
        name.c_str(), [operation](benchmark::State& state) { Repeat(state, operation); });
    registered->Repetitions(repetitions);
    if (operation.prepare) {
        registered->Iterations(1);
    } else {
        registered->MinTime(kShortestMeasurement);
    }
}

void Measure(std::vector<Comparison> comparisons, const std::string& name, std::vector<Figure>& figures) {
    Quickest quickest;
    std::erase_if(comparisons, [&](const Comparison& each) { return !each.name.starts_with(name); });
    for (const Comparison& each : comparisons) {
        Register(each.name, each.measured, each.repetitions);
        Register(each.name + " (floor)", each.floor, each.repetitions);
    }
    if (comparisons.empty()) {
        return;
    }
    benchmark::RunSpecifiedBenchmarks(&quickest, ".*");
    benchmark::ClearRegisteredBenchmarks();
    for (const Comparison& each : comparisons) {
        figures.push_back({each.name, each.bar, quickest.Of(each.name), quickest.Of(each.name + " (floor)")});
    }
}

void PrintTable(const std::vector<Figure>& figures) {
    std::printf("%-28s %12s %12s %8s %6s\n", "", "time (us)", "floor (us)", "ratio", "bar");
    for (const Figure& figure : figures) {
        std::printf("%-28s %12.1f %12.1f %8.3f %6.2f%s\n", figure.name.c_str(), figure.seconds * 1e6,
                    figure.floorSeconds * 1e6, figure.Ratio(), figure.bar, figure.IsMet() ? "" : "  MISSED");
    }
}

void PrintJson(const std::vector<Figure>& figures) {
    nlohmann::json list = nlohmann::json::array();
    for (const Figure& figure : figures) {
        list.push_back({{"name", figure.name},
                        {"seconds", figure.seconds},
                        {"floorSeconds", figure.floorSeconds},
                        {"ratio", figure.Ratio()},
                        {"bar", figure.bar},
                        {"met", figure.IsMet()}});
    }
    std::puts(nlohmann::json{{"benchmarks", list}}.dump(2).c_str());
}

int Main(bool json, bool check, const std::string& name) {
    std::vector<Figure> figures;
    test::RemoveDrivers();
    Measure(LoadingAndChecking(), name, figures);
    Measure(Lifecycle(), name, figures);
    Measure(Reporting(), name, figures);
    Measure(Configuration(), name, figures);
    test::RemoveDrivers();
    json ? PrintJson(figures) : PrintTable(figures);
    return check && !std::all_of(figures.begin(), figures.end(), [](auto& each) { return each.IsMet(); });
}

} // namespace

} // namespace steward::bench

int main(int argc, char** argv) try {
    bool json = false;
    bool check = false;
    std::string name;
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        if (argument.starts_with("-") && argument != "--json" && argument != "--check") {
            std::fprintf(stderr, "bench: unknown option %s; there are --json and --check\n", argv[i]);
            return 2;
        }
        json = json || argument == "--json";
        check = check || argument == "--check";
        name = argument.starts_with("-") ? name : argument;
    }
    if (Log_GetLogLevel(Log_GetDefaultHandle(), steward::kDriverModule) <= 2) {
        std::fputs("bench: set TRACESINK_LEVEL=5, failures only, as in service; ./dev bench does\n", stderr);
        return 2;
    }
    // Interleaved, so that a slow spell of the machine does not hit one side alone.
    char program[] = "bench";
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {program, interleaved, nullptr};
    int count = 2;
    benchmark::Initialize(&count, arguments);
    return steward::bench::Main(json, check, name);
} catch (const std::exception& problem) {
    std::fprintf(stderr, "bench: %s\n", problem.what());
    return 1;
}
