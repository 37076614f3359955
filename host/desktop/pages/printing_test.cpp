#include "host/desktop/pages/printing.h"

#include <gtest/gtest.h>

#include <QPdfDocument>
#include <QPrinter>

#include "host/desktop/pages/pdf/document.h"
#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/testing/sample_files.h"

namespace pages {
namespace {

class Prints : public testing::Test {
protected:
    Prints() {
        m_printer.setOutputFormat(QPrinter::PdfFormat);
        m_printer.setOutputFileName(m_files.Path("printed.pdf"));
        m_printer.setPageSize(QPageSize(QPageSize::A4));
    }
    // Which corner of a printed page is red: one of "tl", "tr", "bl", "br", or nothing.
    static QString RedCorner(const QImage& page) {
        QRect inked;
        for (int y = 0; y < page.height(); ++y) {
            for (int x = 0; x < page.width(); ++x) {
                const QColor color = page.pixelColor(x, y);
                if (color.red() > 200 && color.green() < 60) inked |= QRect(x, y, 1, 1);
            }
        }
        if (inked.isEmpty()) return {};
        return QString(inked.center().y() < page.height() / 2 ? "t" : "b") +
               (inked.center().x() < page.width() / 2 ? "l" : "r");
    }

    SampleFiles m_files;
    QPrinter m_printer{QPrinter::HighResolution};
    pdf::Renderer m_renderer;
};

TEST_F(Prints, HoldTheChosenPagesAsTheyAreTurned) {
    pdf::Document document(pdf::Source::Open(m_files.WriteNumbered("a.pdf", 4)));
    document.Rotate({2}, 180);
    document.Rotate({3}, 90);
    ASSERT_TRUE(Print(document.Snapshot(), {0, 2, 3}, m_printer, m_renderer));
    const pdf::SourcePtr printed = pdf::Source::Open(m_files.Path("printed.pdf"));
    ASSERT_EQ(printed->PageCount(), 3);
    QStringList corners;
    for (int page = 0; page < 3; ++page)
        corners.append(RedCorner(m_renderer.Draw({printed, page, {210, 297}, {0, 0, 210, 297}})));
    // A page on its side is turned once more, so that it fills the sheet.
    EXPECT_EQ(corners, QStringList({"tl", "br", "br"}));
}

TEST_F(Prints, EndWhenTheyAreCancelled) {
    const pdf::Document document(pdf::Source::Open(m_files.WriteNumbered("a.pdf", 4)));
    int last = 0;
    EXPECT_FALSE(Print(document.Snapshot(), {0, 1, 2, 3}, m_printer, m_renderer, [&](int done) {
        last = done;
        return done < 2;
    }));
    EXPECT_EQ(last, 2);
}

TEST_F(Prints, AreRefusedWhenTheAuthorForbidsThem) {
    const QString path =
        m_files.Write("a.pdf", {{"A"}}, {}, [](QPDFWriter& writer) { Encipher(writer, "", "owner", false); });
    const pdf::Document document(pdf::Source::Open(path));
    EXPECT_THROW(Print(document.Snapshot(), {0}, m_printer, m_renderer), pdf::Failure);
}

}  // namespace
}  // namespace pages
