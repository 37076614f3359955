// What sphost needs at most for a big document, against a small one: the peak of the child as the kernel saw
// it.
#include <stdexcept>

#include "bench/report.h"
#include "tests/support/sphost.h"

namespace {

constexpr double kLimitMib = 32;

using namespace testing_support;

// Peak resident memory in MiB of sphost with these arguments; throws when it fails. A parent's own size
// counts towards a child's peak, so this program stays small.
double PeakOf(const TempFolder& folder, const std::vector<std::string>& arguments) {
    Process sphost(ProcessOptions{arguments, {}, {}, folder / "out", folder / "err"});
    if (sphost.Wait(600) != 0) throw std::runtime_error("sphost failed: " + ReadText(folder / "err"));
    return static_cast<double>(sphost.PeakKib()) / 1024;
}

bool Report(const char* what, double big, double small) {
    return bench::Line(what, bench::Fixed(big, 1, "MiB"), bench::Fixed(small, 1, "MiB"),
                       bench::Fixed(big - small, 1, "MiB"), "< 32 MiB", big - small < kLimitMib);
}

bool Run(const std::string& generation, unsigned mebibytes) {
    const TempFolder folder;
    const DevServer server({"--generation", generation});
    const Sphost sphost;
    sphost.AddPlace(server, "alice");
    WriteText(folder / "small", std::string(1024, 's'));
    WriteText(folder / "big", "");
    std::filesystem::resize_file(folder / "big", std::uint64_t{mebibytes} << 20);
    double peaks[2][2] = {};
    const char* const names[] = {"small", "big"};
    for (int i = 0; i < 2; ++i) {
        const std::string local = folder / names[i];
        const std::vector<std::string> start = {ProgramPath("sphost"), "--profile", sphost.Profile(),
                                                "--yes"};
        auto put = start, get = start;
        put.insert(put.end(), {"put", local, server.Url(names[i])});
        get.insert(get.end(), {"get", server.Url(names[i]), local + ".down"});
        peaks[0][i] = PeakOf(folder, put);
        // The local copy of the upload would serve the download.
        std::filesystem::remove_all(sphost.Profile() / "cache");
        peaks[1][i] = PeakOf(folder, get);
        if (std::filesystem::file_size(local) != std::filesystem::file_size(local + ".down"))
            throw std::runtime_error("another size came back");
    }
    const bool put = Report("peak memory of sphost put, 1 KiB as floor", peaks[0][1], peaks[0][0]);
    const bool get = Report("peak memory of sphost get, 1 KiB as floor", peaks[1][1], peaks[1][0]);
    return put && get;
}

}  // namespace

int main(int argc, char** argv) {
    return bench::ExitStatus("memory_bench", [&] {
        return Run(bench::Generation(argc, argv), bench::Option(argc, argv, "--mib", 1024));
    });
}
