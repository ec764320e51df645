// Runs the registered benchmarks and closes with one ratio for each pair NAME/ours and NAME/baseline, taken from the
// quickest repetition of each: what else the machine does only makes them slower. A benchmark may set the counter
// "bound": the ratio that the project promises.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        if (runs.empty() || runs.front().run_type == Run::RT_Aggregate) {
            return;
        }
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            const std::string name = run.run_name.function_name;
            const auto bound = run.counters.find("bound");
            if (bound != run.counters.end()) {
                bounds_[name.substr(0, name.rfind('/'))] = bound->second.value;
            }
            const double seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            const auto known = seconds_.emplace(name, seconds).first;
            known->second = std::min(known->second, seconds);
        }
    }

    void printRatios() const {
        for (const auto& [name, seconds] : seconds_) {
            const std::string::size_type cut = name.rfind("/ours");
            const std::string pair = name.substr(0, cut);
            const auto baseline = seconds_.find(pair + "/baseline");
            if (cut == std::string::npos || baseline == seconds_.end()) {
                continue;
            }
            std::printf("%s: %.2f times the baseline", pair.c_str(), seconds / baseline->second);
            const auto bound = bounds_.find(pair);
            if (bound != bounds_.end()) {
                std::printf(" (bound: %.1f)", bound->second);
            }
            std::printf("\n");
        }
    }

private:
    std::map<std::string, double> seconds_;
    std::map<std::string, double> bounds_;
};

}  // namespace

int main(int argc, char** argv) {
    // Both sides take turns, so that a busy disk or a slow spell of the machine meets both.
    std::string interleave = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments(argv, argv + argc);
    arguments.insert(arguments.begin() + 1, interleave.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios();
    return 0;
}
