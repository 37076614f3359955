#include "host/desktop/pages/thumbnail_pane.h"

#include <gtest/gtest.h>

#include <QDropEvent>
#include <QMimeData>
#include <QSignalSpy>
#include <QTest>

#include "host/desktop/pages/page_actions.h"
#include "host/desktop/pages/testing/sample_files.h"

namespace pages {
namespace {

class ThumbnailPanes : public testing::Test {
protected:
    ThumbnailPanes() : m_document(pdf::Source::Open(m_files.WriteNumbered("a.pdf", 6))), m_pane(m_document) {
        m_pane.resize(200, 900);
        m_pane.show();
        m_pane.setFocus();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&m_pane));
    }
    // The pages by the numbers that they had when the document was opened.
    std::string Order() const {
        std::string order;
        for (const pdf::Page& page : m_document.Pages()) order += std::to_string(page.index + 1);
        return order;
    }
    void Press(int key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(&m_pane, Qt::Key(key), modifiers);
    }
    QMimeData* Taken() { return m_pane.model()->mimeData(m_pane.selectionModel()->selectedIndexes()); }

    SampleFiles m_files;
    pdf::Document m_document;
    ThumbnailPane m_pane;
};

TEST_F(ThumbnailPanes, MoveAndDeleteByKeys) {
    m_pane.SelectPages({1, 2});
    Press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(Order(), "142356");
    Press(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(Order(), "145236") << "the moved pages stay selected";
    Press(Qt::Key_Up, Qt::ControlModifier);
    EXPECT_EQ(Order(), "142356");
    Press(Qt::Key_Delete);
    EXPECT_EQ(Order(), "1456");
    m_document.Undo().undo();
    EXPECT_EQ(Order(), "142356");
}

TEST_F(ThumbnailPanes, SelectThePageThatTakesADeletedOnesPlace) {
    m_pane.SelectPages({2});
    Press(Qt::Key_Delete);
    Press(Qt::Key_Delete);
    EXPECT_EQ(Order(), "1256");
    m_pane.SelectPages({3});
    Press(Qt::Key_Delete);
    EXPECT_EQ(m_pane.SelectedPages(), QList<int>{2});
}

TEST_F(ThumbnailPanes, TakeADropAsAMove) {
    m_pane.SelectPages({0, 3});
    const QPoint below = m_pane.visualRect(m_pane.model()->index(4, 0)).bottomLeft() + QPoint(40, 0);
    const std::unique_ptr<QMimeData> taken(Taken());
    QDragEnterEvent enter(below, Qt::MoveAction, taken.get(), Qt::LeftButton, {});
    QApplication::sendEvent(m_pane.viewport(), &enter);
    ASSERT_TRUE(enter.isAccepted());
    QDragMoveEvent move(below, Qt::MoveAction, taken.get(), Qt::LeftButton, {});
    QApplication::sendEvent(m_pane.viewport(), &move);
    QDropEvent drop(below, Qt::MoveAction, taken.get(), Qt::LeftButton, {});
    QApplication::sendEvent(m_pane.viewport(), &drop);
    EXPECT_TRUE(WaitFor([&] { return Order() == "235146"; })) << Order();
    EXPECT_EQ(m_pane.SelectedPages(), (QList<int>{3, 4}));
}

TEST_F(ThumbnailPanes, RefuseTheDropOfAnotherDocument) {
    pdf::Document other(pdf::Source::Open(m_files.Path("a.pdf")));
    const ThumbnailPane other_pane(other);
    const std::unique_ptr<QMimeData> taken(other_pane.model()->mimeData({other_pane.model()->index(0, 0)}));
    EXPECT_FALSE(m_pane.model()->canDropMimeData(taken.get(), Qt::MoveAction, 3, 0, {}));
    const std::unique_ptr<QMimeData> own(m_pane.model()->mimeData({m_pane.model()->index(0, 0)}));
    EXPECT_TRUE(m_pane.model()->canDropMimeData(own.get(), Qt::MoveAction, 3, 0, {}));
}

TEST_F(ThumbnailPanes, DisableWhatCantBeDone) {
    const auto enabled = [&] {
        std::string names;
        for (const QAction* const action : m_pane.Actions().All()) {
            if (action && action->isEnabled()) names += action->objectName().mid(5).toStdString() + " ";
        }
        return names;
    };
    m_pane.SelectPages({0});
    EXPECT_EQ(enabled(), "rotateLeft rotateRight rotateHalf moveDown duplicate insert delete ");
    m_pane.selectAll();
    EXPECT_EQ(enabled(), "rotateLeft rotateRight rotateHalf duplicate insert ");
    m_document.SetRestricted(true);
    EXPECT_EQ(enabled(), "");
    m_pane.SelectPages({1});
    Press(Qt::Key_Delete);
    EXPECT_EQ(Order(), "123456");
    EXPECT_FALSE(m_pane.model()->flags(m_pane.model()->index(1, 0)) & Qt::ItemIsDragEnabled);
}

TEST_F(ThumbnailPanes, FollowTheViewWithoutLeadingIt) {
    QSignalSpy activated(&m_pane, &ThumbnailPane::PageActivated);
    m_pane.ShowCurrent(4);
    EXPECT_EQ(m_pane.SelectedPages(), QList<int>{4});
    EXPECT_EQ(activated.size(), 0);
    m_pane.SelectPages({1, 2});
    activated.clear();
    m_pane.ShowCurrent(5);
    EXPECT_EQ(m_pane.SelectedPages(), (QList<int>{1, 2})) << "several pages were selected on purpose";
    QTest::mouseClick(m_pane.viewport(), Qt::LeftButton, {},
                      m_pane.visualRect(m_pane.model()->index(3, 0)).center());
    ASSERT_EQ(activated.size(), 1);
    EXPECT_EQ(activated[0][0].toInt(), 3);
}

TEST_F(ThumbnailPanes, ShowPagesAsTheyAreTurned) {
    const auto corner = [&] {
        const QImage image = m_pane.viewport()->grab().toImage();
        const QPoint center = m_pane.visualRect(m_pane.model()->index(1, 0)).center();
        QString corners;
        for (const auto& [name, x, y] : {std::tuple("left", -1, -1), std::tuple("right", 1, -1)}) {
            // The picture stands above the number.
            const bool turned = m_document.Pages()[1].IsOnItsSide();
            const QPoint at = center + QPoint(x * (turned ? 54 : 36), -14 + y * (turned ? 36 : 54));
            if (image.pixelColor(at) == QColor(Qt::red)) corners += name;
        }
        return corners;
    };
    EXPECT_TRUE(WaitFor([&] { return corner() == "left"; }));
    m_pane.SelectPages({1});
    m_pane.Actions().Named("page.rotateRight")->trigger();
    EXPECT_TRUE(WaitFor([&] { return corner() == "right"; }));
}

}  // namespace
}  // namespace pages
