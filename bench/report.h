// Rounds, medians and the table's lines. One thread.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Seconds that `work` takes.
double Time(const std::function<void()>& work);

double Median(std::vector<double> values);

// Times two works in turns, after one round that doesn't count.
struct Pair {
    double measured = 0, floor = 0;  // medians, in seconds
};
Pair Alternate(unsigned rounds, const std::function<double()>& measured,
               const std::function<double()>& floor);

// One line of the table; returns whether `holds`.
bool Line(const std::string& what, const std::string& measured, const std::string& floor,
          const std::string& result, const std::string& limit, bool holds);

std::string Fixed(double value, int digits, const std::string& unit = {});

// The number behind an option such as "--rounds", or `otherwise`.
unsigned Option(int argc, char** argv, const std::string& name, unsigned otherwise);
// The server's generation behind "--generation", "modern" when there is none.
std::string Generation(int argc, char** argv);

// The exit status of a benchmark: 0 when `run` says that all limits hold, 2 when it throws.
int ExitStatus(const char* program, const std::function<bool()>& run);

}  // namespace bench
