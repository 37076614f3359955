#include "host/desktop/window/main_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStatusBar>
#include <QTabBar>
#include <QTabWidget>
#include <QToolBar>
#include <QToolButton>
#include <QVBoxLayout>

#include "host/desktop/bars/icons.h"
#include "host/desktop/bars/ribbon.h"
#include "host/desktop/bars/theme.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/language/translated.h"
#include "host/desktop/window/editor_commands.h"
#include "host/desktop/window/places_pane.h"
#include "host/desktop/window/start_page.h"

namespace desktop {

namespace {

constexpr int kMessageMs = 8000;
constexpr int kPlacesWidth = 240;
constexpr int kContentWidth = 960;
constexpr QSize kFirstSize{1200, 800};

void NameCloseButton(QWidget& button, const DocumentTab& tab) {
    button.setToolTip(QObject::tr("Close %1").arg(tab.Name()));
    button.setAccessibleName(button.toolTip());
}

}  // namespace

MainWindow::MainWindow(Editor& editor, Bars bars)
    : m_editor(editor), m_actions(editor.host.workbench()), m_bars(bars) {
    setObjectName("mainWindow");
    setAcceptDrops(true);
    m_is_dark =
        editor.state.Text("look") == "dark" || (editor.state.Text("look").isEmpty() && IsDesktopDark());
    m_is_dark ? UseDarkLook() : UseLightLook();
    BuildContent();
    BuildStatusBar();
    ConnectActions();
    m_commands = std::make_unique<EditorCommands>(*this);
    SetBars(bars);
    m_places->Reload();
    RestoreState();
    ShowCurrent();
    connect(&editor.language, &UiLanguage::Changed, this, &MainWindow::ShowLanguage);
    editor.front_end.SetWindow(this);
    editor.front_end.SetWarningListener([this](const QString& line) { ShowMessage(line); });
}

MainWindow::~MainWindow() {
    m_editor.front_end.SetWarningListener({});
    m_editor.worker.CancelAll();
    // Also those that wait for their deletion.
    m_tabs->disconnect(this);
    qDeleteAll(findChildren<DocumentTab*>());
}

void MainWindow::BuildContent() {
    auto* const content = new QWidget;
    auto* const rows = new QVBoxLayout(content);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(0);
    m_ribbon = new RibbonView;
    rows->addWidget(m_ribbon);
    auto* const address_row = new QHBoxLayout;
    address_row->setContentsMargins(8, 6, 8, 6);
    m_address = new QLineEdit;
    m_address->setObjectName("address");
    SetTranslated(m_address, "accessibleName", "Address");
    SetTranslated(m_address, "placeholderText", "Address of a SharePoint document, or a file");
    m_address->setClearButtonEnabled(true);
    m_address->addAction(LineIcon("site"), QLineEdit::LeadingPosition);
    address_row->addWidget(m_address);
    rows->addLayout(address_row);
    m_busy = new BusyStrip;
    rows->addWidget(m_busy);
    m_splitter = new QSplitter;
    m_splitter->setObjectName("splitter");
    m_places = new PlacesPane(m_editor.host, m_editor.worker);
    m_stack = new QStackedWidget;
    m_start = new StartPage;
    m_tabs = new QTabWidget;
    m_tabs->setObjectName("documents");
    SetTranslated(m_tabs, "accessibleName", "Documents");
    m_tabs->setDocumentMode(true);
    m_tabs->setMovable(true);
    m_tabs->setElideMode(Qt::ElideMiddle);
    m_stack->addWidget(m_start);
    m_stack->addWidget(m_tabs);
    m_splitter->addWidget(m_places);
    m_splitter->addWidget(m_stack);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({kPlacesWidth, kContentWidth});
    rows->addWidget(m_splitter, 1);
    setCentralWidget(content);
    connect(m_address, &QLineEdit::returnPressed, this, [this] { OpenAddress(m_address->text()); });
    connect(m_places, &PlacesPane::OpenRequested, this, &MainWindow::OpenAddress);
    connect(m_places, &PlacesPane::AddRequested, this, &MainWindow::AddPlaceByWindow);
    connect(m_places, &PlacesPane::OpenFromRequested, this, &MainWindow::OpenFrom);
    connect(m_places, &PlacesPane::RemoveRequested, this, &MainWindow::RemovePlace);
    connect(m_start, &StartPage::OpenRequested, this, &MainWindow::OpenAddress);
    connect(m_start, &StartPage::BrowseRequested, this, &MainWindow::OpenFromAnywhere);
    connect(m_start, &StartPage::AddPlaceRequested, this, &MainWindow::AddPlaceByWindow);
    connect(m_tabs, &QTabWidget::currentChanged, this, &MainWindow::ShowCurrent);
}

void MainWindow::BuildStatusBar() {
    m_page = new QLabel;
    m_page->setObjectName("page");
    m_zoom = new QLabel;
    m_zoom->setObjectName("zoom");
    for (QLabel* const label : {m_page, m_zoom}) label->setContentsMargins(8, 0, 8, 0);
    statusBar()->addPermanentWidget(m_page);
    statusBar()->addPermanentWidget(m_zoom);
}

void MainWindow::ConnectActions() {
    m_actions.SetBusy([this] {
        const DocumentTab* const tab = CurrentTab();
        return m_is_executing || (tab && tab->IsBusy());
    });
    m_actions.SetRunner([this](const std::function<void()>& command) { Run(command); });
    connect(&m_actions, &CommandActions::LayoutChanged, this, &MainWindow::ShowBars, Qt::QueuedConnection);
    connect(&m_actions, &CommandActions::SpansChanged, this, [this](host::InfoBar* bar) {
        for (int i = 0; i < m_tabs->count(); ++i) {
            DocumentTab* const tab = TabAt(i);
            if (tab->document() && tab->document()->info_bar() == bar) tab->info_bar().Show(bar);
        }
    });
    connect(&m_actions, &CommandActions::PermissionsChanged, this, [this](host::Document* document) {
        for (int i = 0; i < m_tabs->count(); ++i)
            if (TabAt(i)->document() == document) TabAt(i)->UpdateRestriction();
    });
}

void MainWindow::SetBars(Bars bars) {
    m_bars = bars;
    host::Workbench& workbench = m_editor.host.workbench();
    workbench.MakeView(bars == Bars::ribbon ? host::Workbench::Layout::ribbon
                                            : host::Workbench::Layout::menus);
    m_commands->Fill(*workbench.view());
    workbench.OpenedView();
    ShowBars();
}

void MainWindow::ShowBars() {
    const host::MainView& view = *m_editor.host.workbench().view();
    menuBar()->clear();
    for (QToolBar* const bar : findChildren<QToolBar*>()) delete bar;
    m_ribbon->setVisible(view.ribbon() != nullptr);
    menuBar()->setVisible(view.ribbon() == nullptr);
    if (view.ribbon()) {
        m_ribbon->Fill(*view.ribbon(), m_actions);
        // Keys work without a menu that shows the command.
        for (const auto& command : m_editor.host.workbench().commands().all()) {
            QAction* const action = m_actions.ActionOf(command);
            if (!action->shortcuts().isEmpty()) addAction(action);
        }
        return;
    }
    for (const auto& bar : view.bars()) {
        if (bar->name() == u"cmdbar.menubar") {
            for (const host::BarItem& item : bar->items()) {
                if (!item.command || !item.command->sub_menu()) continue;
                QMenu* const menu = menuBar()->addMenu(ToQt(item.command->Title()));
                menu->setObjectName(ToQt(item.command->name()));
                FillMenu(*menu, *item.command->sub_menu(), m_actions);
            }
            continue;
        }
        QToolBar* const tool_bar = addToolBar(tr(ToQt(bar->Title()).toUtf8().constData()));
        tool_bar->setObjectName(ToQt(bar->name()));
        tool_bar->setMovable(false);
        FillToolBar(*tool_bar, *bar, m_actions);
    }
}

// Commands of plug-ins run on the main thread, which shows that it is busy.
void MainWindow::Run(const std::function<void()>& command) {
    if (m_is_executing) return;
    const QPointer<MainWindow> alive(this);
    if (DocumentTab* const tab = CurrentTab()) tab->UseSite();
    m_is_executing = true;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    command();
    QApplication::restoreOverrideCursor();
    if (alive) m_is_executing = false;
}

DocumentTab* MainWindow::TabAt(int index) const {
    return qobject_cast<DocumentTab*>(m_tabs->widget(index));
}

DocumentTab* MainWindow::CurrentTab() const {
    return TabAt(m_tabs->currentIndex());
}

void MainWindow::AddTab(DocumentTab* tab) {
    connect(tab, &DocumentTab::Message, this, &MainWindow::ShowMessage);
    connect(tab, &DocumentTab::Gone, this, [this, tab] { RemoveTab(tab); });
    connect(tab, &DocumentTab::SavedAs, this, [this, tab](const QString& to) { GoOnAs(tab, to); });
    connect(tab, &DocumentTab::PageChanged, this, &MainWindow::ShowPage);
    connect(tab, &DocumentTab::Changed, this, [this, tab] { ShowTab(tab); });
    connect(tab, &DocumentTab::Opened, this, [this, tab] {
        m_editor.state.AddRecent(tab->address());
        tab->ShowThumbnails(m_shows_thumbnails);
        tab->info_bar().Show(tab->document()->info_bar());
        if (tab == CurrentTab()) ShowCurrent();
    });
    const int index = m_tabs->addTab(tab, tab->Name());
    m_tabs->setTabToolTip(index, tab->address());
    auto* const close = new QToolButton;
    close->setObjectName("closeTab");
    close->setIcon(LineIcon("close"));
    close->setIconSize({12, 12});
    close->setAutoRaise(true);
    NameCloseButton(*close, *tab);
    connect(close, &QToolButton::clicked, this, [this, tab] { CloseTab(tab); });
    m_tabs->tabBar()->setTabButton(index, QTabBar::RightSide, close);
    m_tabs->setCurrentIndex(index);
    tab->Open();
    ShowCurrent();
}

void MainWindow::RemoveTab(DocumentTab* tab) {
    const int index = m_tabs->indexOf(tab);
    if (index < 0) return;
    m_tabs->removeTab(index);
    tab->deleteLater();
    if (m_tabs->count() == 0) m_start->Show(m_editor.state.recent());
    ShowCurrent();
}

void MainWindow::CloseTab(DocumentTab* tab) {
    if (!tab || m_is_executing) return;
    tab->RequestClose([this, tab = QPointer(tab)](bool is_closed) {
        if (is_closed && tab) RemoveTab(tab);
    });
}

void MainWindow::ShowTab(DocumentTab* tab) {
    const int index = m_tabs->indexOf(tab);
    if (index < 0) return;
    m_tabs->setTabText(index, (tab->IsModified() ? "● " : "") + tab->Name().replace("&", "&&"));
    if (tab != CurrentTab()) return;
    setWindowModified(tab->IsModified());
    m_actions.Update();
}

void MainWindow::ShowCurrent() {
    DocumentTab* const tab = CurrentTab();
    m_stack->setCurrentWidget(tab ? static_cast<QWidget*>(m_tabs) : m_start);
    if (!tab) m_start->Show(m_editor.state.recent());
    m_editor.host.workbench().Activate(tab ? tab->document_view() : nullptr);
    setWindowTitle(tab ? tab->Name() + "[*]" : QString());
    m_address->setText(tab ? tab->address() : QString());
    m_address->setCursorPosition(0);
    if (tab) {
        tab->UseSite();
        ShowTab(tab);
    }
    ShowPage();
    m_actions.Update();
}

void MainWindow::ShowPage() {
    const DocumentTab* const tab = CurrentTab();
    const bool is_shown = tab && tab->pdf();
    m_page->setVisible(is_shown);
    m_zoom->setVisible(is_shown);
    if (!is_shown) return;
    m_page->setText(tr("Page %1 of %2").arg(tab->view()->CurrentPage() + 1).arg(tab->pdf()->PageCount()));
    m_zoom->setText(tr("%1 %").arg(qRound(tab->view()->Zoom() * 100)));
}

// Commands, bars and spans hear of it from the workbench.
void MainWindow::ShowLanguage() {
    QApplication::setApplicationDisplayName(tr("PDF Editor"));
    Retranslate(*this);
    m_places->ShowLanguage();
    for (int i = 0; i < m_tabs->count(); ++i) {
        QWidget* const close = m_tabs->tabBar()->tabButton(i, QTabBar::RightSide);
        NameCloseButton(*close, *TabAt(i));
    }
    ShowPage();
    m_actions.Update();
}

void MainWindow::ShowMessage(const QString& text) {
    statusBar()->showMessage(text, kMessageMs);
}

void MainWindow::closeEvent(QCloseEvent* event) {
    if (m_is_executing) return event->ignore();
    if (m_tabs->count() == 0) {
        SaveState();
        return event->accept();
    }
    event->ignore();
    if (!std::exchange(m_is_closing, true)) CloseNext();
}

void MainWindow::CloseNext() {
    DocumentTab* const tab = TabAt(0);
    if (!tab) {
        m_is_closing = false;
        close();
        return;
    }
    m_tabs->setCurrentWidget(tab);
    tab->RequestClose([this, tab = QPointer(tab)](bool is_closed) {
        if (!is_closed) {
            m_is_closing = false;
            return;
        }
        if (tab) RemoveTab(tab);
        CloseNext();
    });
}

void MainWindow::SaveState() {
    m_editor.state.SetText("window", QString::fromLatin1(saveGeometry().toBase64()));
    m_editor.state.SetText("panes", QString::fromLatin1(m_splitter->saveState().toBase64()));
    m_editor.state.SetFlag("menus", m_bars == Bars::menus);
    m_editor.state.SetFlag("pages", m_shows_thumbnails);
    m_editor.state.SetFlag("places", !m_places->isHidden());
}

void MainWindow::RestoreState() {
    resize(kFirstSize.boundedTo(screen()->availableSize()));
    restoreGeometry(QByteArray::fromBase64(m_editor.state.Text("window").toLatin1()));
    m_splitter->restoreState(QByteArray::fromBase64(m_editor.state.Text("panes").toLatin1()));
    m_shows_thumbnails = m_editor.state.Flag("pages", true);
    m_places->setVisible(m_editor.state.Flag("places", true));
}

}  // namespace desktop
