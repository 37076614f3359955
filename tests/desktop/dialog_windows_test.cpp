// Windows made from templates, as Qt shows them: whether texts fit, what keys and clicks come to, which rows
// are asked for.
#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProcess>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QTimer>
#include <QToolButton>
#include <QTreeView>
#include <set>
#include <thread>

#include "host/core/host.h"
#include "host/desktop/dialogs/dialog_views.h"
#include "host/desktop/front_end/desktop_front_end.h"
#include "host/desktop/front_end/text.h"
#include "host/dialogs/controls.h"
#include "host/dialogs/dialog_window.h"
#include "host/dialogs/list_control.h"
#include "host/testing/test_dialog.h"
#include "platform/window_messages.h"
#include "tests/support/temp_folder.h"

namespace {

using desktop::ToQt;
using testing_support::ReadText;
using testing_support::TempFolder;

struct CountedRows final : host::Object<TMK::IUIX_ListCallbacks> {
    HRESULT List_OnGetItemText(const TMK::UIX_ListItemID* id, LPCWSTR* text, UINT* length,
                               DWORD* flags) override {
        asked.insert(id->nItem);
        m_text = desktop::FromQt(QString("row %1 of column %2").arg(id->nItem).arg(id->nColumn));
        *text = m_text.c_str();
        *length = static_cast<UINT>(m_text.size());
        *flags = 0;
        return S_OK;
    }
    HRESULT List_OnGetItemImageSize(const TMK::UIX_ListItemID*, TMK::SIZE*) override { return S_FALSE; }
    HRESULT List_OnGetItemImage(const TMK::UIX_ListItemID*, TMK::IUIX_Icon**, BYTE*) override {
        return S_FALSE;
    }
    HRESULT List_OnHdrItemClicked(LONG column, LONG) override {
        said.push_back("header " + std::to_string(column));
        return S_OK;
    }
    HRESULT List_OnItemClick(LONG row, VARIANT_BOOL is_double) override {
        said.push_back((is_double ? "open " : "click ") + std::to_string(row));
        return S_OK;
    }
    std::set<LONG> asked;
    std::vector<std::string> said;

private:
    std::u16string m_text;
};

class DialogWindows : public ::testing::Test {
protected:
    ~DialogWindows() override {
        QApplication::setFont(m_font);
        if (m_dialog->window) ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
    }
    ComPtr<TMK::IUIX_Inst> Maker() {
        ComPtr<IUnknown> extension;
        m_host.instance()->GetExtension(u"UIX", extension.put());
        return extension.as<TMK::IUIX_Inst>();
    }
    void LoadTexts(const std::string& xml) { m_host.catalogue().Load(xml); }
    // Shows a dialog of the plug-in; `act` is a person in front of it.
    void Run(LPCWSTR id, const std::function<void()>& act) {
        ASSERT_EQ(m_dialog->Create(*Maker(), m_templates, id), S_OK);
        m_model = dynamic_cast<host::DialogWindow*>(m_dialog->window.get());
        if (prepare) prepare();
        bool has_acted = false;
        m_dialog->on[TMK::UIX_Event_ShowModal] = [&](auto&) {
            QTimer::singleShot(20, [&] {
                has_acted = true;
                act();
                if (m_model) m_model->EndModal(0);
            });
            return S_OK;
        };
        LONGLONG result = 0;
        EXPECT_EQ(m_dialog->window->DoModal(TMK::UIX_ObjModal_AppModal, &result), S_OK);
        EXPECT_TRUE(has_acted);
        m_model = nullptr;
        ComPtr<TMK::IUIX_Obj>(m_dialog->window)->Destroy();
    }
    QWidget* Window() {
        for (QWidget* const window : QApplication::topLevelWidgets())
            if (m_model && window->objectName() == ToQt(m_model->shape().id)) return window;
        return nullptr;
    }
    template <class Widget = QWidget>
    Widget* Find(const QString& name) {
        return Window()->findChild<Widget*>(name);
    }
    void Hide(const std::vector<std::u16string>& ids) {
        for (const auto& id : ids) m_model->Find(id)->Show(0);
    }
    // What the dialog of files hides when it is shown.
    void HideUnused() { Hide({u"cb.url", u"btn.navigate", u"btn.signOut", u"btn.settings"}); }
    ComPtr<CountedRows> FillList(int rows) {
        auto* const list = m_model->Find<host::ListControl>(u"lst.files");
        const auto callbacks = host::Make<CountedRows>();
        list->put_Callbacks(callbacks.get());
        for (const LPCWSTR title : {u"Name", u"Size"})
            list->InsertColumn(-1, title, nullptr, nullptr, 300, 0);
        for (int i = 0; i < rows; ++i) list->InsertItem(-1, 0, 0);
        return callbacks;
    }

    const QFont m_font = QApplication::font();
    TempFolder m_folder;
    desktop::DesktopFrontEnd m_front_end{{{}, desktop::MakeDialogViews}};
    host::Host m_host{m_front_end, m_folder.Path()};
    std::string m_templates = ReadText(RESOURCES_FOLDER "/dialogs.xml");
    ComPtr<host::testing::TestDialog> m_dialog = host::Make<host::testing::TestDialog>();
    host::DialogWindow* m_model = nullptr;
    std::function<void()> prepare;
};

// Whether the widget shows all of its text.
bool Fits(const QWidget& widget) {
    if (const auto* const label = qobject_cast<const QLabel*>(&widget)) {
        if (!label->wordWrap()) return true;  // cut in its middle, with the whole text as its tip
        const QRect room = label->fontMetrics().boundingRect(
            QRect(0, 0, label->width(), 10000), Qt::TextWordWrap | Qt::TextShowMnemonic, label->text());
        return room.height() <= label->height() && room.width() <= label->width();
    }
    if (const auto* const button = qobject_cast<const QAbstractButton*>(&widget)) {
        const QSize text = button->fontMetrics().size(Qt::TextShowMnemonic, button->text());
        const int beside = qobject_cast<const QCheckBox*>(button) ? 16 : 4;
        return text.width() + beside <= button->width() && text.height() <= button->height();
    }
    if (const auto* const group = qobject_cast<const QGroupBox*>(&widget))
        return group->fontMetrics().horizontalAdvance(group->title()) + 16 <= group->width();
    if (qobject_cast<const QLineEdit*>(&widget) || qobject_cast<const QComboBox*>(&widget))
        return widget.fontMetrics().height() + 4 <= widget.height();
    return true;
}

// Pairs of visible widgets, side by side in one parent, of which one covers the other.
QStringList Overlaps(const QWidget& window) {
    QStringList found;
    const auto widgets = window.findChildren<QWidget*>();
    for (const QWidget* const a : widgets) {
        for (const QWidget* const b : widgets) {
            if (a >= b || a->parent() != b->parent() || a->objectName().contains('.') == false ||
                b->objectName().contains('.') == false || !a->isVisible() || !b->isVisible() ||
                qobject_cast<const QGroupBox*>(a) || qobject_cast<const QGroupBox*>(b))
                continue;
            if (a->geometry().intersects(b->geometry()))
                found.append(a->objectName() + " and " + b->objectName());
        }
    }
    return found;
}

struct Look {
    const char* name;
    double font;
    bool is_german;
    bool is_long;  // texts half as long again
};

class DialogTexts : public DialogWindows, public ::testing::WithParamInterface<Look> {
protected:
    void Prepare(std::u16string_view id) {
        if (id == u"OpenDialog" || id == u"SaveDialog") HideUnused();
        if (!GetParam().is_long) return;
        for (const auto& control : m_model->controls()) {
            const std::u16string text = control->Text();
            if (!text.empty()) control->put_Text((text + u" " + text.substr(0, text.size() / 2)).c_str());
        }
    }
    void ExpectAllTextsInView(const char* size) {
        SCOPED_TRACE(size);
        for (const QWidget* const widget : Window()->findChildren<QWidget*>())
            if (widget->isVisible() && !Fits(*widget))
                ADD_FAILURE() << widget->objectName().toStdString() << " in " << widget->width() << " x "
                              << widget->height();
        EXPECT_EQ(Overlaps(*Window()).join(", ").toStdString(), "");
    }
};

TEST_P(DialogTexts, AreNotCutOff) {
    LoadTexts(ReadText(RESOURCES_FOLDER "/localization.xml"));
    if (GetParam().is_german) LoadTexts(ReadText(LANGUAGE_FOLDER "/de.xml"));
    QFont font = m_font;
    font.setPointSizeF(font.pointSizeF() * GetParam().font);
    QApplication::setFont(font);
    const std::vector<LPCWSTR> ids{u"OpenDialog",
                                   u"SaveDialog",
                                   u"CreateAccountDlg",
                                   u"FilePropertiesDlg",
                                   u"AdvancedPreferencesDialog",
                                   u"DlgAppPrefs.SharePoint.Name"};
    for (const LPCWSTR id : ids) {
        SCOPED_TRACE(desktop::ToQt(std::u16string_view(id)).toStdString());
        prepare = [&] { Prepare(id); };
        Run(id, [&] {
            ASSERT_TRUE(Window());
            ExpectAllTextsInView("as it is shown");
            const QSize screen = Window()->screen()->availableSize();
            EXPECT_LE(Window()->width(), screen.width());
            EXPECT_LE(Window()->height(), screen.height());
            Window()->resize(Window()->minimumSize());
            QTest::qWait(5);
            ExpectAllTextsInView("as small as it gets");
        });
    }
}

INSTANTIATE_TEST_SUITE_P(, DialogTexts,
                         ::testing::Values(Look{"Plain", 1, false, false}, Look{"German", 1, true, false},
                                           Look{"Long", 1, false, true}, Look{"LargeFont", 2, false, false},
                                           Look{"GermanInALargeFont", 2, true, false},
                                           Look{"LongInALargeFont", 2, false, true}),
                         [](const auto& tested) { return tested.param.name; });

// The same on screens of more points: Qt takes the factor at the start of a program.
TEST(DialogTextsOnALargeScreen, AreNotCutOff) {
    TempFolder folder;
    const std::string screen = (folder / "screen.json").string();
    testing_support::WriteText(screen, R"({"screens": [{"x": 0, "y": 0, "width": 1600, "height": 1600}]})");
    for (const char* const factor : {"1.5", "2"}) {
        SCOPED_TRACE(factor);
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert("QT_SCALE_FACTOR", factor);
        environment.insert("QT_QPA_PLATFORM", QString::fromStdString("offscreen:configfile=" + screen));
        process.setProcessEnvironment(environment);
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(QCoreApplication::applicationFilePath(),
                      {"--gtest_filter=*DialogTexts.*", "--gtest_brief=1"});
        ASSERT_TRUE(process.waitForFinished(120'000));
        EXPECT_EQ(process.exitCode(), 0) << process.readAll().toStdString();
    }
}

TEST_F(DialogWindows, AskForTheRowsInViewAlone) {
    constexpr int kRows = 100'000;
    ComPtr<CountedRows> rows;
    prepare = [&] {
        HideUnused();
        rows = FillList(kRows);
    };
    Run(u"OpenDialog", [&] {
        auto* const list = Find<QTreeView>("lst.files");
        QTest::qWait(50);
        const int in_view = list->viewport()->height() / list->sizeHintForRow(0) + 2;
        EXPECT_GT(rows->asked.size(), 5u);
        EXPECT_LE(rows->asked.size(), static_cast<std::size_t>(in_view));
        rows->asked.clear();
        list->verticalScrollBar()->setValue(list->verticalScrollBar()->maximum());
        QTest::qWait(50);
        EXPECT_TRUE(rows->asked.contains(kRows - 1));
        EXPECT_LE(rows->asked.size(), static_cast<std::size_t>(2 * in_view));
    });
}

TEST_F(DialogWindows, TakeKeysAndClicksInAList) {
    ComPtr<CountedRows> rows;
    prepare = [&] {
        HideUnused();
        m_model->Find(u"lst.files")->SetStyle(TMK::UIX_List_MultiSelect, TMK::UIX_List_MultiSelect);
        rows = FillList(20);
    };
    Run(u"OpenDialog", [&] {
        auto* const list = Find<QTreeView>("lst.files");
        const auto place = [&](int row) { return list->visualRect(list->model()->index(row, 0)).center(); };
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place(2));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, Qt::ControlModifier, place(4));
        const auto& model = *m_model->Find<host::ListControl>(u"lst.files");
        EXPECT_EQ(model.selected(), (std::set<LONG>{2, 4}));
        QTest::keyClick(list, Qt::Key_Down, Qt::ShiftModifier);
        EXPECT_EQ(model.selected(), (std::set<LONG>{2, 4, 5}));
        list->setFocus();
        QTest::keyClick(list, Qt::Key_Return);
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, place(1));
        QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, place(1));
        QTest::mouseClick(list->header()->viewport(), Qt::LeftButton, {},
                          QPoint(list->header()->sectionViewportPosition(1) + 9, 5));
        EXPECT_EQ(rows->said, (std::vector<std::string>{"click 2", "click 4", "open 5", "click 1", "open 1",
                                                        "header 1"}));
        m_model->Find<host::ListControl>(u"lst.files")
            ->SetColumn(1, TMK::UIX_ListColumn_Style, nullptr, nullptr, nullptr, 0,
                        TMK::UIX_ListColumn_Descending, TMK::UIX_ListColumn_SortMask, 0);
        QTest::qWait(20);
        EXPECT_EQ(list->header()->sortIndicatorSection(), 1);
        EXPECT_EQ(list->header()->sortIndicatorOrder(), Qt::DescendingOrder);

        m_model->Find<host::ListControl>(u"lst.files")->SetNotice(u"It can't be read.", u"Try again");
        m_dialog->notes.clear();
        auto* const again = Find<QPushButton>("notice.button");
        ASSERT_TRUE(again && again->isVisible());
        again->click();
        ASSERT_EQ(m_dialog->notes.size(), 1u);
        EXPECT_EQ(m_dialog->notes[0].second, TMK::UIX_Control_NoticeClicked);
    });
}

TEST_F(DialogWindows, TakeWhatIsTypedAndChosen) {
    Run(u"CreateAccountDlg", [&] {
        auto* const address = Find<QLineEdit>("ed.url");
        EXPECT_TRUE(address->hasFocus());
        QTest::keyClicks(address, "https://site");
        EXPECT_EQ(m_model->Find(u"ed.url")->Text(), u"https://site");
        m_model->Find<host::EditControl>(u"ed.url")->put_AllowedChars(u"12");
        QTest::keyClicks(address, "3");
        EXPECT_EQ(address->text(), "");  // nothing of it is allowed now
        QTest::keyClicks(address, "142");
        EXPECT_EQ(address->text(), "12");
        EXPECT_EQ(address->cursorPosition(), 2);

        auto& kinds = *m_model->Find<host::ComboControl>(u"cb.APIVer");
        for (const LPCWSTR text : {u"Compatible", u"Modern"})
            kinds.InsertItem(-1, text, nullptr, nullptr, 0, 0);
        kinds.put_SelItem(0);
        m_dialog->notes.clear();
        QTest::keyClick(Find<QComboBox>("cb.APIVer"), Qt::Key_Down);
        EXPECT_EQ(kinds.selected(), 1);
        EXPECT_EQ(m_dialog->notes.size(), 1u);

        m_dialog->notes.clear();
        QTest::keyClick(address, Qt::Key_Return);
        ASSERT_EQ(m_dialog->notes.size(), 1u);
        EXPECT_EQ(m_dialog->notes[0].first, m_model->Find(u"btn.ok")->id());
        m_model->Find(u"btn.ok")->put_Enabled(VARIANT_FALSE);
        QTest::keyClick(address, Qt::Key_Return);
        EXPECT_EQ(m_dialog->notes.size(), 1u);
    });
}

TEST_F(DialogWindows, CloseByEscapeUnlessTheirMakerRefuses) {
    int asked = 0;
    m_dialog->on[TMK::UIX_Event_PreEndModal] = [&](TMK::UIX_Event& event) {
        event.bHandled = ++asked == 1 ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    Run(u"CreateAccountDlg", [&] {
        QTest::keyClick(Window(), Qt::Key_Escape);
        EXPECT_TRUE(Window()->isVisible());
        Window()->close();
        EXPECT_EQ(asked, 2);
        EXPECT_FALSE(m_model->IsModal());
    });
}

// A list of files in a window that is as wide as half a screen.
TEST_F(DialogWindows, ShrinkListsAndFieldsInsteadOfScrolling) {
    LoadTexts(ReadText(RESOURCES_FOLDER "/localization.xml"));
    QFont large = m_font;
    large.setPointSizeF(large.pointSizeF() * 1.5);
    QApplication::setFont(large);
    prepare = [&] { HideUnused(); };
    Run(u"OpenDialog", [&] {
        Window()->resize(700, 480);
        QTest::qWait(20);
        EXPECT_EQ(Window()->size(), QSize(700, 480));
        const auto* const area = Window()->findChild<QScrollArea*>();
        EXPECT_FALSE(area->horizontalScrollBar()->isVisible() || area->verticalScrollBar()->isVisible());
        const auto right = [&](const char* name) {
            const auto* const widget = Find(name);
            return widget->mapTo(Window(), QPoint(widget->width(), 0)).x();
        };
        EXPECT_GT(right("lst.files"), 680);
        EXPECT_EQ(right("btn.cancel"), right("lst.files"));
        EXPECT_EQ(right("cb.filter"), right("lst.files"));
        Find("lst.files")->setFocus();
        m_model->Find(u"lb.name")->put_Text(u"Name of the file");
        EXPECT_EQ(Window()->size(), QSize(700, 480)) << "a text makes the window large again";
    });
}

TEST_F(DialogWindows, KeepDistancesWhenMadeLarger) {
    QFont small = m_font;
    small.setPointSizeF(6);  // the whole window has room on the screen of the tests
    QApplication::setFont(small);
    prepare = [&] { HideUnused(); };
    Run(u"OpenDialog", [&] {
        const auto rect = [&](const char* name) { return Find(name)->geometry(); };
        const QSize before = Window()->size();
        const QRect list = rect("lst.files");
        const QRect ok = rect("btn.ok");
        const QRect name = rect("ed.name");
        const QRect label = rect("lb.name");
        Window()->resize(before + QSize(20, 90));
        QTest::qWait(20);
        EXPECT_EQ(rect("lst.files").size(), list.size() + QSize(20, 90));
        EXPECT_EQ(rect("btn.ok"), ok.translated(20, 90));
        EXPECT_EQ(rect("ed.name"), name.translated(0, 90).adjusted(0, 0, 20, 0));
        EXPECT_EQ(rect("lb.name"), label.translated(0, 90));
    });
}

TEST_F(DialogWindows, KeepTheirButtonsInViewWhenScrolled) {
    Run(u"FilePropertiesDlg", [&] {
        Window()->resize(Window()->minimumSize());
        QTest::qWait(20);
        const auto* const ok = Find("btn.ok");
        const QRect place(ok->mapTo(Window(), QPoint()), ok->size());
        EXPECT_TRUE(Window()->rect().contains(place));
        EXPECT_LT(Window()->height() - place.bottom(), 30);
    });
}

TEST_F(DialogWindows, HandlePostedMessagesAtOnce) {
    Run(u"CreateAccountDlg", [&] {
        std::chrono::steady_clock::time_point sent;
        std::chrono::steady_clock::duration took{};
        m_dialog->on[6551] = [&](auto&) {
            took = std::chrono::steady_clock::now() - sent;
            return S_OK;
        };
        std::thread([&] {
            sent = std::chrono::steady_clock::now();
            EXPECT_TRUE(PostMessageW(m_model->handle(), 6551, 0, 0));
        }).join();
        QTest::qWait(100);
        EXPECT_GT(took.count(), 0);
        EXPECT_LT(took, std::chrono::milliseconds(100));
    });
}

TEST_F(DialogWindows, ShowACommandBarInTheRoomOfTheTemplate) {
    int created = 0;
    prepare = [&] {
        HideUnused();
        const auto bar = m_host.workbench().manager().MakeBar(u"", u"");
        bar->Add(m_host.workbench().commands().Add({.name = u"x.createFolder",
                                                    .title = u"&New folder",
                                                    .execute =
                                                        [&](IUnknown*) {
                                                            ++created;
                                                            return S_OK;
                                                        },
                                                    .state =
                                                        [&created](IUnknown*) {
                                                            return created == 0
                                                                       ? TMK::UIX_CmdItemState_Enabled
                                                                       : TMK::UIX_CmdItemState_Disabled;
                                                        }}));
        ComPtr<TMK::IUIX_CmdPane> pane;
        m_model->get_CmdPaneTop(pane.put());
        pane->InsertBar(bar.get(), -1, -1, VARIANT_TRUE);
    };
    Run(u"OpenDialog", [&] {
        auto* const button = Find<QToolButton>("x.createFolder");
        ASSERT_TRUE(button);
        EXPECT_TRUE(button->isVisible());
        QTest::mouseClick(button, Qt::LeftButton);
        EXPECT_EQ(created, 1);
        EXPECT_FALSE(button->isEnabled());
        const QRect bar = Find("commandBar")->geometry();
        EXPECT_FALSE(bar.intersects(Find("lst.files")->geometry()));
        EXPECT_FALSE(bar.intersects(Find("lb.url")->geometry()));
        EXPECT_GE(bar.height(), button->sizeHint().height());
    });
}

}  // namespace
