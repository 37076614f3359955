// What sphost needs at most for a big document, against a small one: the peak of the child as the kernel saw
// it.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <stdexcept>

#include "harness.h"
#include "report.h"

namespace {

constexpr double kLimitMib = 32;

// Peak resident memory in MiB of sphost with these arguments; throws when it fails. A parent's own size
// counts towards a child's peak, so this program stays small.
double PeakOf(const std::vector<std::string>& arguments) {
    std::vector<char*> list;
    for (const std::string& argument : arguments) list.push_back(const_cast<char*>(argument.c_str()));
    list.push_back(nullptr);
    pid_t child = -1;
    if (posix_spawn(&child, list[0], nullptr, nullptr, list.data(), environ) != 0)
        throw std::runtime_error("can't start " + arguments[0]);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    if (status != 0) throw std::runtime_error("sphost failed");
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

bool Report(const char* what, double big, double small) {
    return bench::Line(what, bench::Fixed(big, 1, "MiB"), bench::Fixed(small, 1, "MiB"),
                       bench::Fixed(big - small, 1, "MiB"), "< 32 MiB", big - small < kLimitMib);
}

bool Run(const std::string& generation, unsigned mebibytes) {
    const e2e::TempFolder folder;
    const e2e::DevServer server({"--generation", generation});
    const e2e::Sphost sphost;
    sphost.AddPlace(server, "alice");
    e2e::WriteFile(folder / "small", std::string(1024, 's'));
    e2e::WriteFile(folder / "big", "");
    std::filesystem::resize_file(folder / "big", std::uint64_t{mebibytes} << 20);
    double peaks[2][2] = {};
    const char* const names[] = {"small", "big"};
    for (int i = 0; i < 2; ++i) {
        const std::string local = folder / names[i];
        const std::vector<std::string> start = {BIN_FOLDER "/sphost", "--profile", sphost.Profile(), "--yes"};
        auto put = start, get = start;
        put.insert(put.end(), {"put", local, server.Url(names[i])});
        get.insert(get.end(), {"get", server.Url(names[i]), local + ".down"});
        peaks[0][i] = PeakOf(put);
        // The local copy of the upload would serve the download.
        std::filesystem::remove_all(sphost.Profile() / "cache");
        peaks[1][i] = PeakOf(get);
        if (std::filesystem::file_size(local) != std::filesystem::file_size(local + ".down"))
            throw std::runtime_error("another size came back");
    }
    const bool put = Report("peak memory of sphost put, 1 KiB as floor", peaks[0][1], peaks[0][0]);
    const bool get = Report("peak memory of sphost get, 1 KiB as floor", peaks[1][1], peaks[1][0]);
    return put && get;
}

}  // namespace

int main(int argc, char** argv) try {
    return Run(bench::Generation(argc, argv), bench::Option(argc, argv, "--mib", 1024)) ? 0 : 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "memory_bench: %s\n", failure.what());
    return 2;
}
