#include "host/desktop/pages/pdf/source.h"

#include <gtest/gtest.h>

#include <QPdfDocument>
#include <QPdfSelection>
#include <filesystem>
#include <fstream>

#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/pdf/renderer.h"
#include "host/desktop/pages/pdf/writer.h"
#include "host/desktop/pages/testing/sample_files.h"

namespace pdf {
namespace {

using pages::SampleFiles;

State StateOf(const SourcePtr& source) {
    State state{.main = source, .pages = {}, .title = source->Title(), .author = source->Author()};
    for (int page = 0; page < source->PageCount(); ++page)
        state.pages.append({.source = source, .index = page});
    return state;
}

QString FailureOf(const std::function<void()>& work) {
    try {
        work();
    } catch (const Failure& failure) {
        return failure.Sentence();
    }
    return QStringLiteral("no failure");
}

TEST(Source, SeesPagesAsLargeAsTheReaderThatDrawsThem) {
    const SampleFiles files;
    const QString path = files.Write(
        "boxes.pdf",
        {{"plain"}, {"turned", {200, 300}, 90}, {"cropped"}, {"beyond"}, {"back", {200, 300}, -90}},
        [](QPDF& document) {
            auto page = document.getAllPages();
            page[2].replaceKey("/CropBox", QPDFObjectHandle::parse("[110 60 10 20]"));
            page[3].replaceKey("/CropBox", QPDFObjectHandle::parse("[-50 100 900 900]"));
        });
    const SourcePtr source = Source::Open(path);
    QPdfDocument reader;
    reader.load(path);
    ASSERT_EQ(source->PageCount(), 5);
    for (int page = 0; page < 5; ++page)
        EXPECT_EQ(source->PageSize(page), reader.pagePointSize(page)) << page;
}

struct Refusal {
    const char* name;
    QByteArray bytes;
    const char* sentence;
};
void PrintTo(const Refusal& refusal, std::ostream* out) {
    *out << refusal.name;
}

class Refusals : public testing::TestWithParam<Refusal> {};
TEST_P(Refusals, AreOneSentence) {
    const SampleFiles files;
    const QString path = files.WriteBytes("Plan.pdf", GetParam().bytes);
    EXPECT_EQ(FailureOf([&] { Source::Open(path); }).toStdString(), GetParam().sentence);
}
INSTANTIATE_TEST_SUITE_P(
    Source, Refusals,
    testing::Values(
        Refusal{"Empty", "", "Plan.pdf is empty. Get it again from where it came from."},
        Refusal{"ErrorPage", "<html>Not found</html>",
                "Plan.pdf is not a PDF document. Open it with another program."},
        Refusal{
            "NothingBehindTheMark", "%PDF-1.7\nnothing more",
            "Plan.pdf is damaged and can't be repaired (unable to find trailer dictionary while recovering "
            "damaged file). Get it again from where it came from."},
        Refusal{
            "NoPages",
            "%PDF-1.7\n1 0 obj\n<</Type/Catalog/Pages 2 0 R>>\nendobj\n2 0 obj\n<</Type/Pages/Kids[]/Count "
            "0>>\nendobj\ntrailer\n<</Root 1 0 R/Size 3>>\nstartxref\n0\n%%EOF\n",
            "Plan.pdf has no pages. Get it again from where it came from."}),
    [](const auto& refusal) { return std::string(refusal.param.name); });

TEST(Source, RefusesAFolderAndAMissingFile) {
    const SampleFiles files;
    EXPECT_TRUE(FailureOf([&] { Source::Open(files.Folder()); }).contains("is a folder"));
    EXPECT_EQ(FailureOf([&] { Source::Open(files.Path("gone.pdf")); }),
              "gone.pdf can't be opened: No such file or directory.");
}

TEST(Source, AsksForThePasswordUntilItIsRight) {
    const SampleFiles files;
    const QString path = files.Write("secret.pdf", {{"Hidden"}}, {}, [](QPDFWriter& writer) {
        pages::Encipher(writer, "größe", "owner", true);
    });
    std::vector<bool> wrong_before;
    const auto ask = [&](const PasswordQuestion& question) -> std::optional<QString> {
        wrong_before.push_back(question.last_was_wrong);
        return wrong_before.size() == 1 ? QStringLiteral("guess") : QStringLiteral("größe");
    };
    const SourcePtr source = Source::Open(path, {.ask_password = ask});
    EXPECT_EQ(wrong_before, (std::vector<bool>{false, true}));
    EXPECT_TRUE(source->IsEncrypted());
    EXPECT_FALSE(Renderer().Draw({source, 0, {20, 30}, {0, 0, 20, 30}}).isNull());

    EXPECT_EQ(Source::Open(path, {.ask_password = [](const auto&) { return std::nullopt; }}), nullptr);
    EXPECT_EQ(FailureOf([&] { Source::Open(path); }), "secret.pdf can't be opened without its password.");
}

// Revisions before 5 take passwords in an encoding of one byte a letter.
TEST(Source, TakesAPasswordOfLettersBeyondAsciiForAnOlderDocument) {
    const SampleFiles files;
    const QString path = files.Write("old.pdf", {{"Hidden"}}, {}, [](QPDFWriter& writer) {
        writer.setR3EncryptionParametersInsecure(
            "gr\xf6\xdf"
            "e",
            "owner", true, true, true, true, true, true, qpdf_r3p_full);
    });
    int questions = 0;
    const SourcePtr source = Source::Open(path, {.ask_password = [&](const auto&) -> std::optional<QString> {
                                              if (++questions > 1) return std::nullopt;
                                              return QStringLiteral("größe");
                                          }});
    ASSERT_TRUE(source);
    EXPECT_FALSE(Renderer().Draw({source, 0, {20, 30}, {0, 0, 20, 30}}).isNull());
}

TEST(Source, RepairsADamagedFile) {
    const SampleFiles files;
    files.WriteNumbered("Plan.pdf", 3);
    std::ifstream whole(files.Path("Plan.pdf").toStdString(), std::ios::binary);
    std::string bytes((std::istreambuf_iterator<char>(whole)), {});
    bytes.resize(bytes.rfind("startxref"));
    const QString path = files.WriteBytes("Damaged.pdf", QByteArray::fromStdString(bytes));
    const SourcePtr source = Source::Open(path, {.scratch_folder = files.Folder()});
    EXPECT_TRUE(source->WasRepaired());
    Write(StateOf(source), files.Path("Mended.pdf"));
    EXPECT_EQ(pages::PagesOf(files.Path("Mended.pdf")), QStringList({"Page 1", "Page 2", "Page 3"}));
    EXPECT_FALSE(Source::Open(files.Path("Mended.pdf"))->WasRepaired());
    EXPECT_FALSE(Renderer().Draw({source, 2, {20, 30}, {0, 0, 20, 30}}).isNull());
    const std::filesystem::path folder(files.Folder().toStdString());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder), {}), 3) << "no scratch file stays";
}

TEST(Source, IsReadFromWhatWasOpenedWhenItsNameIsTaken) {
    const SampleFiles files;
    const QString path = files.WriteNumbered("Plan.pdf", 2);
    const SourcePtr source = Source::Open(path);
    std::filesystem::rename(files.WriteNumbered("Other.pdf", 5).toStdString(), path.toStdString());
    Write(StateOf(source), files.Path("Mine.pdf"));
    EXPECT_EQ(pages::PagesOf(files.Path("Mine.pdf")), QStringList({"Page 1", "Page 2"}));
}

TEST(Source, NoticesWhenItsFileIsOverwritten) {
    const SampleFiles files;
    const QString path = files.WriteNumbered("Plan.pdf", 2);
    const SourcePtr source = Source::Open(path);
    const SourcePtr copy = Source::Open(path, {.copy = true, .scratch_folder = files.Folder()});
    files.WriteBytes("Plan.pdf", "overwritten");
    EXPECT_EQ(FailureOf([&] { Write(StateOf(source), files.Path("Mine.pdf")); }),
              "Mine.pdf could not be saved: Plan.pdf was changed by another program while it was open. Close "
              "it and "
              "open it again.");
    Write(StateOf(copy), files.Path("Mine.pdf"));
    EXPECT_EQ(pages::PagesOf(files.Path("Mine.pdf")).size(), 2);
}

}  // namespace
}  // namespace pdf
