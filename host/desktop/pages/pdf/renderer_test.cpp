#include "host/desktop/pages/pdf/renderer.h"

#include <gtest/gtest.h>

#include "host/desktop/pages/testing/sample_files.h"

namespace pdf {
namespace {

using pages::WaitFor;

Tile Whole(const SourcePtr& source, int page, QSize size) {
    return {source, page, size, QRect({}, size)};
}

// Large pages that are all wanted at once.
struct WantedPages {
    explicit WantedPages(int count) : source(Source::Open(files.WriteNumbered("a.pdf", count))) {
        for (int page = 0; page < count; ++page) all.push_back(Whole(source, page, {1000, 1500}));
        renderer.Want(&renderer, 0, all);
    }
    pages::SampleFiles files;
    SourcePtr source;
    Renderer renderer;
    std::vector<Tile> all;
};

TEST(Renderer, DrawsOnWhiteWithAnnotations) {
    const pages::SampleFiles files;
    const SourcePtr source = Source::Open(files.Write("a.pdf", {{"A"}}, [](QPDF& document) {
        QPDFObjectHandle look = QPDFObjectHandle::newStream(&document, "0 0 1 rg 0 0 40 40 re f");
        look.getDict().replaceKey("/Type", QPDFObjectHandle::newName("/XObject"));
        look.getDict().replaceKey("/Subtype", QPDFObjectHandle::newName("/Form"));
        look.getDict().replaceKey("/BBox", QPDFObjectHandle::parse("[0 0 40 40]"));
        QPDFObjectHandle stamp =
            QPDFObjectHandle::parse("<< /Type /Annot /Subtype /Stamp /Rect [160 0 200 40] /F 4 >>");
        stamp.replaceKey("/AP", QPDFObjectHandle::newDictionary({{"/N", document.makeIndirectObject(look)}}));
        QPDFObjectHandle(document.getAllPages()[0])
            .replaceKey("/Annots", QPDFObjectHandle::newArray({document.makeIndirectObject(stamp)}));
    }));
    const QImage image = Renderer().Draw(Whole(source, 0, {200, 300}));
    EXPECT_EQ(image.pixelColor(100, 20), QColor(Qt::white));
    EXPECT_EQ(image.pixelColor(20, 20), QColor(Qt::red));
    EXPECT_EQ(image.pixelColor(180, 280), QColor(Qt::blue)) << "the annotation";
}

TEST(Renderer, DrawsTilesThatJoinToThePage) {
    const pages::SampleFiles files;
    const SourcePtr source = Source::Open(
        files.Write("a.pdf", {{"Upright"}, {"On its side", {200, 300}, 90}, {"Cropped"}}, [](QPDF& document) {
            QPDFObjectHandle(document.getAllPages()[2])
                .replaceKey("/CropBox", QPDFObjectHandle::parse("[10 30 190 290]"));
        }));
    Renderer renderer;
    for (int page = 0; page < 3; ++page) {
        const QSize size = (source->PageSize(page) * 3).toSize();
        const QImage whole = renderer.Draw(Whole(source, page, size));
        for (const QRect& part :
             {QRect(0, 0, 100, 100), QRect(50, 380, 300, 130), QRect(400, 100, 100, 200)}) {
            const QImage tile = renderer.Draw({source, page, size, part});
            int different = 0;
            for (int y = 0; y < part.height(); ++y) {
                for (int x = 0; x < part.width(); ++x) {
                    const int here = qGray(tile.pixel(x, y));
                    const int there = qGray(whole.pixel(part.x() + x, part.y() + y));
                    different += std::abs(here - there) > 64;
                }
            }
            EXPECT_LT(different, part.width() * part.height() / 200)
                << "page " << page << ", from " << part.x();
        }
    }
}

TEST(Renderer, NeverDrawsWhatWasScrolledAway) {
    WantedPages wanted(60);
    Renderer& renderer = wanted.renderer;
    const std::vector<Tile>& all = wanted.all;
    renderer.Want(&renderer, 0, {all.back()});
    ASSERT_TRUE(WaitFor([&] { return !renderer.Find(all.back()).isNull(); }));
    int drawn = 0;
    for (const Tile& tile : all) drawn += renderer.Find(tile).isNull() ? 0 : 1;
    EXPECT_LE(drawn, 3) << "the last one, and what was under way";
}

TEST(Renderer, DrawsForTheUrgentViewerFirst) {
    const pages::SampleFiles files;
    const SourcePtr source = Source::Open(files.WriteNumbered("a.pdf", 40));
    Renderer renderer;
    std::vector<Tile> idle;
    for (int page = 1; page < 40; ++page) idle.push_back(Whole(source, page, {1000, 1500}));
    const Tile urgent = Whole(source, 0, {1000, 1500});
    int viewers[2];
    renderer.Want(&viewers[0], 1, idle);
    renderer.Want(&viewers[1], 0, {urgent});
    ASSERT_TRUE(WaitFor([&] { return !renderer.Find(urgent).isNull(); }));
    EXPECT_TRUE(renderer.Find(idle.back()).isNull());
    EXPECT_TRUE(WaitFor([&] { return !renderer.Find(idle.back()).isNull(); })) << "the other's turn comes";
}

TEST(Renderer, KeepsNoMoreBytesThanAllowed) {
    const pages::SampleFiles files;
    const SourcePtr source = Source::Open(files.WriteNumbered("a.pdf", 12));
    constexpr qint64 kBytes = qint64{4} << 20;
    Renderer renderer(kBytes);
    for (int page = 0; page < 12; ++page) {
        const Tile tile = Whole(source, page, {400, 600});
        renderer.Want(&renderer, 0, {tile});
        ASSERT_TRUE(WaitFor([&] { return !renderer.Find(tile).isNull(); })) << page;
        EXPECT_LE(renderer.CachedBytes(), kBytes);
    }
    EXPECT_TRUE(renderer.Find(Whole(source, 0, {400, 600})).isNull());
}

TEST(Renderer, AnswersBeforeItDrawsAndNotToThoseWhoAreGone) {
    WantedPages wanted(40);
    Renderer& renderer = wanted.renderer;
    const std::vector<Tile>& all = wanted.all;
    auto gone = std::make_unique<QObject>();
    QObject here;
    int told = 0;
    int pages = 0;
    renderer.Ask(
        wanted.source, gone.get(), [](QPdfDocument*) { return 0; }, [&](int) { ++told; });
    renderer.Ask(
        wanted.source, &here, [](QPdfDocument* document) { return document->pageCount(); },
        [&](int count) { pages = count; });
    gone.reset();
    ASSERT_TRUE(WaitFor([&] { return pages != 0; }));
    EXPECT_EQ(pages, 40);
    EXPECT_EQ(told, 0);
    EXPECT_TRUE(renderer.Find(all.back()).isNull());
}

TEST(Renderer, LetsGoOfADocumentThatWasClosed) {
    const pages::SampleFiles files;
    Renderer renderer;
    SourcePtr source = Source::Open(files.WriteNumbered("a.pdf", 2));
    const std::weak_ptr<const SourceFile> file = source->File();
    renderer.Draw(Whole(source, 0, {20, 30}));
    source.reset();
    renderer.Forget(&renderer);
    EXPECT_TRUE(WaitFor([&] { return file.expired(); }));
}

}  // namespace
}  // namespace pdf
