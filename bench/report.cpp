// Rounds, medians and the table's lines.
#include "bench/report.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace bench {

double Time(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Pair Alternate(unsigned rounds, const std::function<double()>& measured,
               const std::function<double()>& floor) {
    std::vector<double> measured_times, floor_times;
    for (unsigned round = 0; round <= rounds; ++round) {
        double floor_time = 0, measured_time = 0;
        if (round % 2) {
            measured_time = measured();
            floor_time = floor();
        } else {
            floor_time = floor();
            measured_time = measured();
        }
        if (round == 0) continue;
        floor_times.push_back(floor_time);
        measured_times.push_back(measured_time);
        std::fprintf(stderr, "  round %u: %.4f s, floor %.4f s\n", round, measured_time, floor_time);
    }
    return {Median(measured_times), Median(floor_times)};
}

bool Line(const std::string& what, const std::string& measured, const std::string& floor,
          const std::string& result, const std::string& limit, bool holds) {
    std::printf("%-44s %14s %14s %14s %14s  %s\n", what.c_str(), measured.c_str(), floor.c_str(),
                result.c_str(), limit.c_str(), holds ? "holds" : "MISSED");
    std::fflush(stdout);
    return holds;
}

std::string Fixed(double value, int digits, const std::string& unit) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f%s%s", digits, value, unit.empty() ? "" : " ", unit.c_str());
    return text;
}

unsigned Option(int argc, char** argv, const std::string& name, unsigned otherwise) {
    for (int i = 1; i + 1 < argc; ++i)
        if (argv[i] == name) return static_cast<unsigned>(std::strtoul(argv[i + 1], nullptr, 10));
    return otherwise;
}

std::string Generation(int argc, char** argv) {
    const unsigned year = Option(argc, argv, "--generation", 0);
    return year == 0 ? "modern" : std::to_string(year);
}

int ExitStatus(const char* program, const std::function<bool()>& run) try {
    return run() ? 0 : 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", program, failure.what());
    return 2;
}

}  // namespace bench
