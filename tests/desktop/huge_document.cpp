// Measures how long the editor's main thread is held up by a document of 1 GiB and 2,000 pages from a slow
// server: desktop_huge [MIB]. Ends with 1 when a limit is missed.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QElapsedTimer>
#include <QScrollBar>
#include <QTest>
#include <cstdio>
#include <ctime>
#include <fstream>

#include "tests/desktop/editor_driver.h"

namespace desktop_tests {
namespace {

constexpr int kPages = 2000;
constexpr int kLongestBlockMs = 100;
constexpr int kFirstPageMs = 1000;
constexpr const char* kName = "huge.pdf";
constexpr std::size_t kMiB = 1 << 20;

// Each page has a stream of zeros, which take no space on the disk.
class HugePdf {
public:
    explicit HugePdf(const std::filesystem::path& path, std::size_t size)
        : m_out(path, std::ios::binary), m_blob(size / kPages) {
        m_out << "%PDF-1.7\n";
        Object("<< /Type /Catalog /Pages 2 0 R >>");
        std::string kids;
        for (int page = 0; page < kPages; ++page) kids += std::to_string(kFirstPage + 3 * page) + " 0 R ";
        Object("<< /Type /Pages /Count " + std::to_string(kPages) + " /Kids [" + kids + "] >>");
        Object("<< /Type /Font /Subtype /Type1 /BaseFont /Helvetica >>");
        for (int page = 0; page < kPages; ++page) AddPage(page);
        Finish();
    }

private:
    static constexpr int kFirstPage = 4;

    void Begin() {
        m_offsets.push_back(m_out.tellp());
        m_out << m_offsets.size() << " 0 obj\n";
    }
    void Object(const std::string& text) {
        Begin();
        m_out << text << "\nendobj\n";
    }
    void AddPage(int page) {
        const std::string contents = std::to_string(kFirstPage + 3 * page + 1) + " 0 R";
        const std::string blob = std::to_string(kFirstPage + 3 * page + 2) + " 0 R";
        Object(
            "<< /Type /Page /Parent 2 0 R /MediaBox [0 0 595 842] /Resources << /Font << /F 3 0 R >> >> "
            "/Contents " +
            contents + " /PieceInfo << /Blob << /Private " + blob + " >> >> >>");
        const std::string text =
            "0 0 595 200 re f BT /F 24 Tf 72 720 Td (Page " + std::to_string(page + 1) + ") Tj ET";
        Object("<< /Length " + std::to_string(text.size()) + " >>\nstream\n" + text + "\nendstream");
        Begin();
        m_out << "<< /Length " << m_blob << " >>\nstream\n";
        m_out.seekp(static_cast<std::streamoff>(m_blob), std::ios::cur);
        m_out << "\nendstream\nendobj\n";
    }
    void Finish() {
        const auto table = m_out.tellp();
        m_out << "xref\n0 " << m_offsets.size() + 1 << "\n0000000000 65535 f \n";
        for (const auto offset : m_offsets) {
            char line[32];
            std::snprintf(line, sizeof(line), "%010lld 00000 n \n", static_cast<long long>(offset));
            m_out << line;
        }
        m_out << "trailer\n<< /Size " << m_offsets.size() + 1 << " /Root 1 0 R >>\nstartxref\n"
              << table << "\n%%EOF\n";
    }

    std::ofstream m_out;
    const std::size_t m_blob;
    std::vector<std::streamoff> m_offsets;
};

// Takes the time of every event on the main thread.
class TimedApplication final : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject* receiver, QEvent* event) override {
        if (m_depth > 0) return QApplication::notify(receiver, event);
        const std::string what =
            std::string(receiver->metaObject()->className()) + ", event " + std::to_string(event->type());
        QElapsedTimer time;
        time.start();
        const double work = WorkMs();
        ++m_depth;
        const bool is_accepted = QApplication::notify(receiver, event);
        --m_depth;
        if (time.elapsed() > m_longest_ms) {
            m_longest_ms = time.elapsed();
            m_what = what + ", " + std::to_string(static_cast<int>(WorkMs() - work)) + " ms of it work";
        }
        return is_accepted;
    }
    // Prints and forgets the longest one; false when that is over the limit.
    bool Report(const char* when) {
        const bool is_good = m_longest_ms < kLongestBlockMs;
        std::printf("%-28s %5lld ms  (limit %d; %s)\n", when, m_longest_ms, kLongestBlockMs, m_what.c_str());
        std::fflush(stdout);
        m_longest_ms = 0;
        m_what.clear();
        return is_good;
    }

private:
    // What the processor did for this thread so far.
    static double WorkMs() {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    int m_depth = 0;
    long long m_longest_ms = 0;
    std::string m_what;
};

bool Comes(const std::function<bool()>& event) {
    constexpr int kMostMs = 300'000;
    return QTest::qWaitFor(event, kMostMs);
}

// Whether the black bar at the foot of the first page is on the screen.
bool ShowsFirstPage(desktop::DocumentTab& tab) {
    const QImage picture = tab.view()->viewport()->grab().toImage();
    for (int y = 0; y < picture.height(); y += 4)
        if (qGray(picture.pixel(picture.width() / 2, y)) < 40) return true;
    return false;
}

int Measure(TimedApplication& application, std::size_t mib) {
    TempFolder seed;
    HugePdf(seed / kName, mib * kMiB);
    const auto size = std::filesystem::file_size(seed / kName);
    DevServer server({}, seed.Path());
    server.SetFaults(R"([{"match":{"method":"GET","path":"$value","times":0},"fault":{"kind":"slow",)"
                     R"("bytes_per_second":150000000}}])");
    Sphost sphost;
    sphost.AddPlace(server, "alice");
    EditorDriver editor(sphost.Profile());
    bool is_good = application.Report("start");
    editor.window().OpenAddress(QString::fromStdString(server.Url(kName)));
    // The last byte is here when the local copy is whole.
    const auto has_come = [&] {
        for (const auto& file : std::filesystem::recursive_directory_iterator(sphost.Profile() / "cache"))
            if (file.is_regular_file() && file.file_size() == size) return true;
        return false;
    };
    if (!Comes(has_come)) return 1;
    is_good &= application.Report("fetching");
    QElapsedTimer time;
    time.start();
    if (!Comes([&] { return editor.IsOpen(); })) return 1;
    editor.tab()->view()->SetFit(pages::Fit::Page);
    if (!Comes([&] { return ShowsFirstPage(*editor.tab()); })) return 1;
    const bool is_prompt = time.elapsed() < kFirstPageMs;
    std::printf("%-28s %5lld ms  (limit %d)\n", "last byte to first page",
                static_cast<long long>(time.elapsed()), kFirstPageMs);
    is_good &= application.Report("opening") && is_prompt;
    for (int step = 0; step < 100; ++step) {
        auto* const bar = editor.tab()->view()->verticalScrollBar();
        bar->setValue(bar->maximum() / 100 * step);
        QTest::qWait(10);
    }
    is_good &= application.Report("scrolling");
    editor.Click("sp.cmd.enableEditing");
    Comes([&] { return editor.Action("cmd.page.rotateRight")->isEnabled(); });
    application.Report("enabling (the plug-in's)");
    editor.Trigger("cmd.page.rotateRight");
    QTest::qWait(200);
    is_good &= application.Report("turning a page");
    editor.Trigger("cmd.save");
    if (!Comes([&] { return editor.IsOpen() && !editor.tab()->IsModified(); })) return 1;
    is_good &= application.Report("saving");
    return is_good ? 0 : 1;
}

}  // namespace
}  // namespace desktop_tests

int main(int count, char** words) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qunsetenv("DISPLAY");
    desktop_tests::TimedApplication application(count, words);
    ::testing::InitGoogleTest(&count, words);
    return desktop_tests::Measure(application, count > 1 ? std::stoul(words[1]) : 1024);
}
