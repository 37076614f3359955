#include "host/desktop/pages/page_view.h"

#include <gtest/gtest.h>

#include <QAccessible>
#include <QClipboard>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

#include "host/desktop/pages/find_bar.h"
#include "host/desktop/pages/finder.h"
#include "host/desktop/pages/testing/sample_files.h"

namespace pages {
namespace {

class PageViews : public testing::Test {
protected:
    PageView& Show(const QString& path, QSize size = {600, 500}) {
        m_view.reset();
        m_document = std::make_unique<pdf::Document>(pdf::Source::Open(path));
        m_view = std::make_unique<PageView>(*m_document, nullptr, m_renderer);
        m_view->resize(size);
        m_view->show();
        return *m_view;
    }
    // A place of a page as the source shows it (200 x 300 points), in the viewport, for an unturned page.
    QPoint At(int page, double x, double y) {
        const QRectF rect = m_view->PageRect(page);
        return QPointF(rect.left() + x / 200 * rect.width(), rect.top() + y / 300 * rect.height()).toPoint();
    }
    QColor ColorAt(QPoint point) { return m_view->viewport()->grab().toImage().pixelColor(point); }
    bool HasColor(const QRect& part, QColor color) {
        const QImage image = m_view->viewport()->grab(part).toImage();
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                if (image.pixelColor(x, y) == color) return true;
            }
        }
        return false;
    }
    void Press(int key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(m_view.get(), Qt::Key(key), modifiers);
    }
    void Drag(QPoint from, QPoint to) {
        QTest::mousePress(m_view->viewport(), Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, m_view->viewport()->mapToGlobal(to), Qt::NoButton,
                         Qt::LeftButton, {});
        QApplication::sendEvent(m_view->viewport(), &move);
        QTest::mouseRelease(m_view->viewport(), Qt::LeftButton, {}, to);
    }
    void FindText(const QString& text) {
        m_view->OpenFindBar();
        auto* const edit = m_view->findChild<QLineEdit*>("findBar.text");
        edit->clear();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
        ASSERT_TRUE(WaitFor([&] { return m_view->Find().Text() == text && !m_view->Find().IsRunning(); }));
    }
    QString Count() { return m_view->findChild<QLabel*>("findBar.count")->text(); }

    SampleFiles m_files;
    std::shared_ptr<pdf::Renderer> m_renderer = std::make_shared<pdf::Renderer>();
    std::unique_ptr<pdf::Document> m_document;
    std::unique_ptr<PageView> m_view;
};

// The red square of the sample pages stands in the upper left corner of an unturned page.
TEST_F(PageViews, TurnAPageWhereItStands) {
    Show(m_files.WriteNumbered("a.pdf", 1), {600, 600});
    EXPECT_TRUE(WaitFor([&] { return ColorAt(At(0, 20, 20)) == QColor(Qt::red); }));
    for (const int corner : {1, 2, 3}) {
        m_document->Rotate({0}, 90);
        const QRect page = m_view->PageRect(0);
        const QPoint corners[] = {page.topLeft(), page.topRight(), page.bottomRight(), page.bottomLeft()};
        const QPoint inward = (page.center() - corners[corner]) / 10;
        EXPECT_TRUE(WaitFor([&] { return ColorAt(corners[corner] + inward) == QColor(Qt::red); })) << corner;
        EXPECT_EQ(page.width() > page.height(), corner % 2 == 1);
    }
}

TEST_F(PageViews, ShowLargeZoomsInPiecesThatFit) {
    Show(m_files.WriteNumbered("a.pdf", 1));
    m_view->SetZoom(12);
    m_view->horizontalScrollBar()->setValue(300);
    m_view->verticalScrollBar()->setValue(0);
    EXPECT_TRUE(WaitFor([&] { return ColorAt(At(0, 39, 20)) == QColor(Qt::red); }));
    EXPECT_EQ(ColorAt(At(0, 41, 20)), QColor(Qt::white));
    m_view->verticalScrollBar()->setValue(At(0, 0, 140).y());
    EXPECT_TRUE(WaitFor([&] { return m_renderer->CachedBytes() > 0; }));
    EXPECT_LT(m_renderer->CachedBytes(), qint64{60} << 20) << "only what is in view is drawn";
}

TEST_F(PageViews, GoByKeysAndTellTheCurrentPage) {
    Show(m_files.WriteNumbered("a.pdf", 20));
    QSignalSpy told(m_view.get(), &PageView::CurrentPageChanged);
    Press(Qt::Key_End);
    EXPECT_EQ(m_view->CurrentPage(), 19);
    Press(Qt::Key_Home);
    EXPECT_EQ(m_view->CurrentPage(), 0);
    Press(Qt::Key_PageDown);
    Press(Qt::Key_PageDown);
    EXPECT_EQ(m_view->CurrentPage(), 2);
    Press(Qt::Key_PageUp);
    Press(Qt::Key_PageUp);
    EXPECT_EQ(m_view->CurrentPage(), 0);
    m_view->GoToPage(7);
    EXPECT_EQ(m_view->CurrentPage(), 7);
    EXPECT_EQ(told.last().first().toInt(), 7);
    EXPECT_TRUE(m_view->viewport()->rect().contains(m_view->PageRect(7).topLeft()));
    m_view->GoToPage(20);
    EXPECT_EQ(m_view->CurrentPage(), 7);
}

TEST_F(PageViews, TellAScreenReaderWhereItIs) {
    Show(m_files.WriteNumbered("a.pdf", 20));
    QAccessibleInterface* const told = QAccessible::queryAccessibleInterface(m_view.get());
    EXPECT_EQ(told->role(), QAccessible::Document);
    EXPECT_EQ(told->text(QAccessible::Name), "Pages of a.pdf");
    EXPECT_EQ(told->text(QAccessible::Description), "Page 1 of 20");
    m_view->GoToPage(7);
    m_document->Delete({19});
    EXPECT_EQ(told->text(QAccessible::Description), "Page 8 of 19");
}

TEST_F(PageViews, FitAndKeepFitting) {
    Show(m_files.Write("a.pdf", {{"A"}, {"Wide", {400, 300}}}));
    m_view->SetFit(Fit::Width);
    EXPECT_EQ(m_view->PageRect(1).width(), m_view->viewport()->width() - 2 * PageLayout::kMargin);
    m_view->resize(900, 500);
    EXPECT_EQ(m_view->PageRect(1).width(), m_view->viewport()->width() - 2 * PageLayout::kMargin);
    m_view->SetFit(Fit::Page);
    EXPECT_LE(m_view->PageRect(0).height(), m_view->viewport()->height());
    EXPECT_GT(m_view->PageRect(0).height(), m_view->viewport()->height() * 9 / 10);
    m_view->ZoomIn();
    EXPECT_EQ(m_view->FitMode(), Fit::None);
}

TEST_F(PageViews, ZoomAroundTheMouse) {
    Show(m_files.WriteNumbered("a.pdf", 9));
    m_view->SetZoom(2);
    m_view->GoToPage(4);
    const QPoint mouse = At(4, 60, 100);
    QWheelEvent wheel(mouse, m_view->viewport()->mapToGlobal(mouse), {}, {0, 240}, {}, Qt::ControlModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(m_view->viewport(), &wheel);
    EXPECT_NEAR(m_view->Zoom(), 2.88, 0.001);
    EXPECT_LE((At(4, 60, 100) - mouse).manhattanLength(), 3);
    m_view->SetZoom(1000);
    EXPECT_EQ(m_view->Zoom(), PageView::kMostZoom);
    m_view->ZoomIn();
    m_view->SetZoom(0);
    EXPECT_EQ(m_view->Zoom(), PageView::kLeastZoom);
}

TEST_F(PageViews, StayAtTheirPageWhenOthersComeAndGo) {
    Show(m_files.WriteNumbered("a.pdf", 20));
    m_view->GoToPage(10);
    const QRect before = m_view->PageRect(10);
    m_document->Delete({2, 3});
    EXPECT_EQ(m_view->CurrentPage(), 8);
    EXPECT_EQ(m_view->PageRect(8), before);
    m_document->Undo().undo();
    EXPECT_EQ(m_view->PageRect(10), before);
    Press(Qt::Key_End);
    m_document->Delete({12, 13, 14, 15, 16, 17, 18, 19});
    EXPECT_EQ(m_view->CurrentPage(), 11);
}

TEST_F(PageViews, SelectByDraggingAndCopy) {
    Show(m_files.Write("a.pdf", {{"First line"}, {"Second line"}}), {600, 1000});
    Drag(At(0, 19, 145), At(0, 190, 145));
    ASSERT_TRUE(WaitFor([&] { return m_view->SelectedText() == "First line"; }))
        << m_view->SelectedText().toStdString();
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "First line");
    Drag(At(0, 5, 5), At(1, 195, 295));
    EXPECT_TRUE(WaitFor([&] { return m_view->SelectedText() == "First line\nSecond line"; }))
        << "over two pages";
    Drag(At(1, 195, 295), At(0, 195, 295));
    EXPECT_TRUE(WaitFor([&] { return m_view->SelectedText().endsWith("Second line"); })) << "upwards";
    QTest::mouseDClick(m_view->viewport(), Qt::LeftButton, {}, At(1, 30, 145));
    EXPECT_TRUE(WaitFor([&] { return m_view->SelectedText() == "Second"; }))
        << m_view->SelectedText().toStdString();
    Press(Qt::Key_Escape);
    EXPECT_FALSE(m_view->HasSelection());
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "First line")
        << "nothing is selected, so the clipboard stays";
}

TEST_F(PageViews, SelectOnATurnedPage) {
    Show(m_files.Write("a.pdf", {{"Turned twice", {200, 300}, 90}}), {600, 600});
    m_document->Rotate({0}, 180);
    // The text starts 20 points from the page's foot and runs upwards there, so now it runs downwards.
    const QRect page = m_view->PageRect(0);
    Drag({page.center().x(), page.top() + 1}, {page.center().x(), page.bottom() - 1});
    EXPECT_TRUE(WaitFor([&] { return m_view->SelectedText() == "Turned twice"; }))
        << m_view->SelectedText().toStdString();
}

TEST_F(PageViews, MarkTextWhereItIsShownOnTurnedAndCroppedPages) {
    const auto crop = [](QPDF& document) {
        for (QPDFObjectHandle page : document.getAllPages())
            page.replaceKey("/CropBox", QPDFObjectHandle::parse("[10 20 190 260]"));
    };
    for (const int rotate : {0, 90, 180, 270}) {
        Show(m_files.Write("a.pdf", {{"Mark", {200, 300}, rotate}}, crop));
        FindText("Mark");
        ASSERT_EQ(m_view->Find().On(0).size(), 1);
        const QRect area = m_view->Find().On(0)[0][0].toAlignedRect();
        const QImage page =
            m_renderer->Draw({m_document->Pages()[0].source, 0, m_document->Pages()[0].Size().toSize(),
                              QRect({}, m_document->Pages()[0].Size().toSize())});
        int inside = 0;
        int outside = 0;
        for (int y = 0; y < page.height(); ++y) {
            for (int x = 0; x < page.width(); ++x) {
                if (page.pixelColor(x, y).red() < 100) ++(area.contains(x, y) ? inside : outside);
            }
        }
        EXPECT_GT(inside, 50) << rotate;
        EXPECT_EQ(outside, 0) << rotate;
    }
}

TEST_F(PageViews, FindTextOnAllPages) {
    std::vector<SamplePage> pages;
    for (int page = 0; page < 30; ++page) pages.push_back({page % 10 == 5 ? "Needle needle" : "Hay"});
    Show(m_files.Write("a.pdf", pages));
    m_view->GoToPage(12);
    FindText("needle");
    EXPECT_EQ(Count(), "3 of 6") << "the first match behind the page in view";
    EXPECT_EQ(m_view->CurrentPage(), 15);
    EXPECT_TRUE(WaitFor([&] {
        return HasColor(QRect(At(15, 20, 130), At(15, 40, 152)), QColor(255, 150, 50));
    })) << "the match is marked";
    Press(Qt::Key_F3);
    Press(Qt::Key_F3);
    EXPECT_EQ(Count(), "5 of 6");
    EXPECT_EQ(m_view->CurrentPage(), 25);
    Press(Qt::Key_F3);
    Press(Qt::Key_F3);
    EXPECT_EQ(Count(), "1 of 6") << "from the last to the first";
    Press(Qt::Key_F3, Qt::ShiftModifier);
    EXPECT_EQ(Count(), "6 of 6");
    FindText("straw");
    EXPECT_EQ(Count(), "No matches");
    QTest::keyClick(m_view->findChild<QLineEdit*>("findBar.text"), Qt::Key_Escape);
    EXPECT_FALSE(m_view->findChild<FindBar*>()->isVisible());
    EXPECT_EQ(m_view->Find().Text(), QString());
}

TEST_F(PageViews, FindInPagesThatWereInserted) {
    Show(m_files.Write("a.pdf", {{"Needle"}, {"Hay"}}));
    FindText("needle");
    m_document->Insert(pdf::Source::Open(m_files.Write("b.pdf", {{"A needle"}})), 0);
    EXPECT_TRUE(WaitFor([&] { return Count() == "2 of 2"; })) << Count().toStdString();
    m_document->Delete({1});
    EXPECT_TRUE(WaitFor([&] { return Count() == "0 of 1"; })) << Count().toStdString();
    Press(Qt::Key_F3);
    EXPECT_EQ(Count(), "1 of 1");
}

TEST_F(PageViews, DrawOfALongDocumentOnlyWhatIsSeen) {
    Show(m_files.WriteNumbered("a.pdf", 500));
    for (int page = 0; page < 500; page += 5) {
        m_view->GoToPage(page);
        QCoreApplication::sendPostedEvents();
        m_view->viewport()->repaint();
    }
    EXPECT_TRUE(WaitFor([&] { return ColorAt(At(495, 20, 20)) == QColor(Qt::red); }));
    const qint64 bytes_of_a_page = qint64{4} * m_view->PageRect(0).width() * m_view->PageRect(0).height();
    EXPECT_LT(m_renderer->CachedBytes(), 150 * bytes_of_a_page);
}

}  // namespace
}  // namespace pages
