#include "host/desktop/window/editor_commands.h"

#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFormLayout>
#include <QInputDialog>
#include <QLineEdit>
#include <QPointer>
#include <QPrintDialog>
#include <QPrinter>
#include <QStatusBar>
#include <QTabWidget>

#include "host/desktop/front_end/text.h"
#include "host/desktop/pages/page_actions.h"
#include "host/desktop/pages/pdf/failure.h"
#include "host/desktop/pages/printing.h"
#include "host/desktop/window/main_window.h"
#include "host/desktop/window/places_pane.h"
#include "host/desktop/window/questions.h"

namespace desktop {

struct EditorCommands::Definition {
    const char16_t* name;
    const char16_t* title;
    const char* icon;
    QList<QKeySequence> keys = {};
    std::function<void()> execute = {};
    std::function<LONG()> state = {};
};

namespace {

constexpr LONG kOn = TMK::UIX_CmdItemState_Enabled;
constexpr LONG kOff = TMK::UIX_CmdItemState_Disabled;

LONG Checked(bool is_checked) {
    return is_checked ? LONG{TMK::UIX_CmdItemState_Checked} : kOn;
}

}  // namespace

EditorCommands::EditorCommands(MainWindow& window)
    : m_window(window), m_workbench(window.m_editor.host.workbench()) {
    AddFileCommands();
    AddEditCommands();
    AddPageCommands();
    AddZoomCommands();
    AddViewCommands();
    AddLanguageCommands();
}

void EditorCommands::Add(Definition definition) {
    m_window.m_actions.SetKeys(definition.name, definition.keys);
    m_window.m_actions.SetIcon(definition.name, definition.icon);
    m_workbench.commands().Add(
        {.name = definition.name,
         .title = definition.title,
         .execute =
             [work = definition.execute](IUnknown*) {
                 if (work) work();
                 return S_OK;
             },
         .state = [test = definition.state](IUnknown*) { return test ? test() : kOn; }});
}

void EditorCommands::AddForTab(Definition definition, TabWork work, TabTest test) {
    definition.execute = [this, work = std::move(work)] {
        if (DocumentTab* const tab = m_window.CurrentTab(); tab && tab->pdf()) work(*tab);
    };
    definition.state = [this, test = std::move(test)] {
        DocumentTab* const tab = m_window.CurrentTab();
        return tab && tab->pdf() && (!test || test(*tab)) ? kOn : kOff;
    };
    Add(std::move(definition));
}

void EditorCommands::AddFileCommands() {
    Add({u"cmd.open", u"&Open…", "open", {QKeySequence("Ctrl+O")}, [this] { m_window.OpenFromAnywhere(); }});
    Add({u"cmd.openAddress", u"Open &Address", "site", {QKeySequence("Ctrl+L")}, [this] {
             m_window.m_address->setFocus();
             m_window.m_address->selectAll();
         }});
    AddForTab(
        {u"cmd.save", u"&Save", "save", {QKeySequence("Ctrl+S")}}, [](DocumentTab& tab) { tab.Save(); },
        [](DocumentTab& tab) { return !tab.IsBusy() && tab.IsModified(); });
    AddForTab(
        {u"cmd.saveAs", u"Save &As…", "save-copy", {QKeySequence("Ctrl+Shift+S")}},
        [this](DocumentTab&) { m_window.SaveAs(); }, [](DocumentTab& tab) { return !tab.IsBusy(); });
    AddForTab({u"cmd.saveCopy", u"Save a &Copy…", "save-copy", {QKeySequence("Ctrl+Shift+E")}},
              [this](DocumentTab& tab) { SaveCopy(tab); });
    AddForTab(
        {u"cmd.print", u"&Print…", "print", {QKeySequence("Ctrl+P")}},
        [this](DocumentTab& tab) { Print(tab); }, [](DocumentTab& tab) { return tab.pdf()->CanPrint(); });
    AddForTab(
        {u"cmd.info", u"Title and A&uthor…", "properties", {QKeySequence("Ctrl+D")}},
        [this](DocumentTab& tab) { AskForInfo(tab); },
        [](DocumentTab& tab) { return !tab.IsBusy() && tab.pdf()->CanEditInfo(); });
    Add({u"cmd.addPlace", u"Add a &Site…", "place-add", {QKeySequence("Ctrl+Shift+N")}, [this] {
             m_window.AddPlaceByWindow();
         }});
    Add({u"cmd.unsent", u"U&nsent Changes…", "unsent", {QKeySequence("Ctrl+Shift+U")}, [this] {
             m_window.ShowUnsent();
         }});
    Add({u"cmd.close",
         u"C&lose",
         "close",
         {QKeySequence("Ctrl+W"), QKeySequence("Ctrl+F4")},
         [this] { m_window.CloseTab(m_window.CurrentTab()); },
         [this] { return m_window.CurrentTab() ? kOn : kOff; }});
    Add({u"cmd.quit", u"&Quit", "close", {QKeySequence("Ctrl+Q")}, [this] { m_window.close(); }});
}

void EditorCommands::AddEditCommands() {
    const auto can_edit = [](DocumentTab& tab) { return !tab.IsBusy() && !tab.pdf()->IsRestricted(); };
    AddForTab(
        {u"cmd.undo", u"&Undo", "undo", {QKeySequence("Ctrl+Z")}},
        [](DocumentTab& tab) { tab.pdf()->Undo().undo(); },
        [=](DocumentTab& tab) { return can_edit(tab) && tab.pdf()->Undo().canUndo(); });
    AddForTab(
        {u"cmd.redo", u"&Redo", "redo", {QKeySequence("Ctrl+Shift+Z"), QKeySequence("Ctrl+Y")}},
        [](DocumentTab& tab) { tab.pdf()->Undo().redo(); },
        [=](DocumentTab& tab) { return can_edit(tab) && tab.pdf()->Undo().canRedo(); });
    AddForTab(
        {u"cmd.copy", u"&Copy", "copy", {QKeySequence("Ctrl+C")}},
        [](DocumentTab& tab) { tab.view()->Copy(); },
        [](DocumentTab& tab) { return tab.pdf()->CanCopy() && tab.view()->HasSelection(); });
    AddForTab({u"cmd.selectAll", u"Select &All", "copy", {QKeySequence("Ctrl+A")}},
              [](DocumentTab& tab) { tab.view()->SelectAll(); });
    AddForTab({u"cmd.find", u"&Find", "find", {QKeySequence("Ctrl+F")}},
              [](DocumentTab& tab) { tab.view()->OpenFindBar(); });
}

void EditorCommands::AddForPages(const char16_t* name, const char16_t* title, const char* icon,
                                 const char* key) {
    const QString action =
        ToQt(std::u16string_view(name)).mid(4);  // "cmd.page.delete" is "page.delete" there
    AddForTab(
        {name, title, icon, {QKeySequence(key)}},
        [action](DocumentTab& tab) { tab.thumbnails()->Actions().Named(action)->trigger(); },
        [action](DocumentTab& tab) {
            return !tab.IsBusy() && tab.thumbnails()->Actions().Named(action)->isEnabled();
        });
}

void EditorCommands::AddPageCommands() {
    AddForPages(u"cmd.page.rotateLeft", u"Rotate &Left", "rotate-left", "Ctrl+Shift+L");
    AddForPages(u"cmd.page.rotateRight", u"Rotate &Right", "rotate-right", "Ctrl+Shift+R");
    AddForPages(u"cmd.page.moveUp", u"Move &Up", "up", "Ctrl+Shift+Up");
    AddForPages(u"cmd.page.moveDown", u"Move &Down", "down", "Ctrl+Shift+Down");
    AddForPages(u"cmd.page.duplicate", u"Du&plicate", "duplicate", "Ctrl+Shift+D");
    AddForPages(u"cmd.page.insert", u"&Insert Pages…", "insert", "Ctrl+Shift+I");
    AddForPages(u"cmd.page.delete", u"D&elete", "delete", "Ctrl+Delete");
}

void EditorCommands::AddZoomCommands() {
    AddForTab({u"cmd.zoomIn", u"Zoom &In", "zoom-in", {QKeySequence("Ctrl++"), QKeySequence("Ctrl+=")}},
              [](DocumentTab& tab) { tab.view()->ZoomIn(); });
    AddForTab({u"cmd.zoomOut", u"Zoom &Out", "zoom-out", {QKeySequence("Ctrl+-")}},
              [](DocumentTab& tab) { tab.view()->ZoomOut(); });
    AddForTab({u"cmd.actualSize", u"&Actual Size", "actual-size", {QKeySequence("Ctrl+1")}},
              [](DocumentTab& tab) { tab.view()->SetZoom(1); });
    AddForTab({u"cmd.fitWidth", u"Fit &Width", "fit-width", {QKeySequence("Ctrl+2")}},
              [](DocumentTab& tab) { tab.view()->SetFit(pages::Fit::Width); });
    AddForTab({u"cmd.fitPage", u"Fit &Page", "fit-page", {QKeySequence("Ctrl+0")}},
              [](DocumentTab& tab) { tab.view()->SetFit(pages::Fit::Page); });
    AddForTab({u"cmd.goToPage", u"&Go to Page…", "go-to", {QKeySequence("Ctrl+G")}},
              [this](DocumentTab& tab) { GoToPage(tab); });
}

void EditorCommands::AddViewCommands() {
    MainWindow& window = m_window;
    Add({u"cmd.pagesPane",
         u"P&ages",
         "pages",
         {QKeySequence("F4")},
         [&window] {
             window.m_shows_thumbnails = !window.m_shows_thumbnails;
             for (int i = 0; i < window.m_tabs->count(); ++i)
                 window.TabAt(i)->ShowThumbnails(window.m_shows_thumbnails);
         },
         [&window] { return Checked(window.m_shows_thumbnails); }});
    Add({u"cmd.placesPane",
         u"&Places",
         "places",
         {QKeySequence("F9")},
         [&window] { window.m_places->setVisible(window.m_places->isHidden()); },
         [&window] { return Checked(window.m_places && !window.m_places->isHidden()); }});
    Add({u"cmd.dark",
         u"&Dark",
         "dark",
         {QKeySequence("Ctrl+Shift+K")},
         [&window] { window.UseDark(!window.m_is_dark); },
         [&window] { return Checked(window.m_is_dark); }});
    Add({u"cmd.menus",
         u"&Menus",
         "menus",
         {QKeySequence("Ctrl+F1")},
         [&window] { window.UseBars(window.m_bars == Bars::ribbon ? Bars::menus : Bars::ribbon); },
         [&window] { return Checked(window.m_bars == Bars::menus); }});
    const auto step = [&window](int by) {
        const int count = window.m_tabs->count();
        if (count > 0) window.m_tabs->setCurrentIndex((window.m_tabs->currentIndex() + by + count) % count);
    };
    const auto has_several = [&window] { return window.m_tabs->count() > 1 ? kOn : kOff; };
    Add({u"cmd.nextDocument",
         u"&Next Document",
         "go-to",
         {QKeySequence("Ctrl+Tab")},
         [=] { step(1); },
         has_several});
    Add({u"cmd.previousDocument",
         u"Pre&vious Document",
         "go-to",
         {QKeySequence("Ctrl+Shift+Tab")},
         [=] { step(-1); },
         has_several});
    Add({u"cmd.preferences", u"Pre&ferences…", "preferences", {QKeySequence("Ctrl+,")}, [&window] {
             window.ShowPreferences();
         }});
    Add({u"cmd.about", u"&About", "info", {QKeySequence("F1")}, [&window] {
             Ask(window.m_editor.host,
                 {.id = "editor.about",
                  .text = QApplication::translate("MainWindow",
                                                  "<b>PDF editor for SharePoint documents</b>\nVersion %1")
                              .arg(QApplication::applicationVersion()),
                  .buttons = {{"btn.close", "&Close"}}});
         }});
}

void EditorCommands::AddLanguageCommands() {
    Add({u"cmd.language", u"&Language", "language"});
    const auto menu = m_workbench.manager().MakeBar({}, u"&Language");
    for (const host::Language& language : m_window.m_editor.language.all()) {
        const std::u16string name = u"cmd.language." + host::ToUtf16(language.code);
        const std::u16string title = host::ToUtf16(language.name);
        const QString code = ToQt(language.code);
        Add({name.c_str(),
             title.c_str(),
             "language",
             {},
             [this, code] { m_window.UseLanguage(code); },
             [this, code] { return Checked(m_window.m_editor.language.current() == code); }});
        menu->Add(m_workbench.commands().Find(std::u16string_view(name)));
    }
    m_workbench.commands().Find(std::u16string_view(u"cmd.language"))->put_SubMenu(menu.get());
}

void EditorCommands::SaveCopy(DocumentTab& tab) {
    const QString path = QFileDialog::getSaveFileName(
        &m_window, QApplication::translate("MainWindow", "Save a Copy"), tab.Name(), "PDF (*.pdf)");
    if (!path.isEmpty()) tab.SaveCopy(path);
}

void EditorCommands::Print(DocumentTab& tab) {
    const auto printer = std::make_shared<QPrinter>(QPrinter::HighResolution);
    printer->setDocName(tab.Name());
    QPrintDialog dialog(printer.get(), &m_window);
    dialog.setMinMax(1, tab.pdf()->PageCount());
    if (dialog.exec() != QDialog::Accepted) return;
    const bool is_range = dialog.printRange() == QAbstractPrintDialog::PageRange;
    QList<int> pages;
    for (int page = is_range ? dialog.fromPage() : 1;
         page <= (is_range ? dialog.toPage() : tab.pdf()->PageCount()); ++page)
        pages.append(page - 1);
    const auto state = std::make_shared<const pdf::State>(tab.pdf()->Snapshot());
    tab.RunBeside(QApplication::translate("MainWindow", "Printing…"), [=](host::Job& job) {
        pages::Print(*state, pages, *printer, *pdf::Renderer::Shared(),
                     [&job](int) { return !host::IsCanceled(job.cancel()); });
    });
}

void EditorCommands::AskForInfo(DocumentTab& tab) {
    QDialog window(&m_window);
    window.setObjectName("info.window");
    window.setWindowTitle(QApplication::translate("MainWindow", "Title and Author"));
    auto* const form = new QFormLayout(&window);
    auto* const title = new QLineEdit(tab.pdf()->Title());
    auto* const author = new QLineEdit(tab.pdf()->Author());
    title->setObjectName("title");
    author->setObjectName("author");
    title->setMinimumWidth(360);
    form->addRow(QApplication::translate("MainWindow", "&Title"), title);
    form->addRow(QApplication::translate("MainWindow", "&Author"), author);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    form->addRow(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &window, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &window, &QDialog::reject);
    const QPointer<DocumentTab> alive(&tab);
    if (window.exec() != QDialog::Accepted || !alive) return;
    try {
        tab.pdf()->SetInfo(title->text(), author->text());
    } catch (const pdf::Failure& failure) {
        m_window.ShowMessage(failure.Sentence());
    }
}

void EditorCommands::GoToPage(DocumentTab& tab) {
    bool is_given = false;
    const int count = tab.pdf()->PageCount();
    const QPointer<DocumentTab> alive(&tab);
    const int page = QInputDialog::getInt(&m_window, QApplication::translate("MainWindow", "Go to Page"),
                                          QApplication::translate("MainWindow", "Page (1 to %1)").arg(count),
                                          tab.view()->CurrentPage() + 1, 1, count, 1, &is_given);
    if (is_given && alive) tab.view()->GoToPage(page - 1);
}

void EditorCommands::FillBar(host::CommandBar* bar, const std::vector<const char16_t*>& names) {
    if (!bar) return;
    for (const char16_t* const name : names) {
        if (!name) {
            bar->AddSeparator();
        } else if (const auto command = m_workbench.commands().Find(std::u16string_view(name))) {
            bar->Add(command);
        }
    }
}

void EditorCommands::Fill(host::MainView& view) {
    view.ribbon() ? FillRibbon(*view.ribbon()) : FillMenus(view);
}

void EditorCommands::FillRibbon(host::Ribbon& ribbon) {
    const auto fill = [&](const char16_t* group, const std::vector<const char16_t*>& names) {
        FillBar(ribbon.Group(m_workbench.atoms().Of(group)).get(), names);
    };
    fill(u"cmd.fileGroup",
         {u"cmd.open", u"cmd.save", u"cmd.saveAs", u"cmd.saveCopy", u"cmd.print", u"cmd.info", u"cmd.close"});
    fill(u"cmd.editGroup", {u"cmd.undo", u"cmd.redo", u"cmd.copy"});
    fill(u"cmd.findGroup", {u"cmd.find"});
    fill(u"cmd.pageGroup",
         {u"cmd.page.rotateLeft", u"cmd.page.rotateRight", nullptr, u"cmd.page.moveUp", u"cmd.page.moveDown",
          nullptr, u"cmd.page.duplicate", u"cmd.page.insert", u"cmd.page.delete"});
    fill(u"cmd.shareGroup", {u"cmd.addPlace", u"cmd.unsent"});
    fill(u"cmd.zoomGroup", {u"cmd.zoomIn", u"cmd.zoomOut", u"cmd.actualSize", u"cmd.fitWidth", u"cmd.fitPage",
                            nullptr, u"cmd.goToPage"});
    fill(u"cmd.windowGroup", {u"cmd.pagesPane", u"cmd.placesPane", u"cmd.dark", u"cmd.menus", u"cmd.language",
                              u"cmd.preferences", u"cmd.about"});
}

void EditorCommands::FillMenus(host::MainView& view) {
    const auto fill = [&](const char16_t* menu, const std::vector<const char16_t*>& names) {
        const auto command = m_workbench.commands().Find(std::u16string_view(menu));
        if (command) FillBar(command->sub_menu(), names);
    };
    fill(u"cmd.file",
         {u"cmd.open", u"cmd.openAddress", nullptr, u"cmd.save", u"cmd.saveAs", u"cmd.saveCopy", u"cmd.print",
          u"cmd.info", nullptr, u"cmd.addPlace", u"cmd.unsent", nullptr, u"cmd.close", u"cmd.quit"});
    fill(u"cmd.edit",
         {u"cmd.undo", u"cmd.redo", nullptr, u"cmd.copy", u"cmd.selectAll", nullptr, u"cmd.find"});
    fill(u"cmd.page",
         {u"cmd.page.rotateLeft", u"cmd.page.rotateRight", nullptr, u"cmd.page.moveUp", u"cmd.page.moveDown",
          nullptr, u"cmd.page.duplicate", u"cmd.page.insert", u"cmd.page.delete"});
    fill(u"cmd.view", {u"cmd.zoomIn", u"cmd.zoomOut", u"cmd.actualSize", u"cmd.fitWidth", u"cmd.fitPage",
                       nullptr, u"cmd.goToPage", nullptr, u"cmd.pagesPane", u"cmd.placesPane", nullptr,
                       u"cmd.dark", u"cmd.menus", u"cmd.language", nullptr, u"cmd.preferences"});
    fill(u"cmd.window", {u"cmd.nextDocument", u"cmd.previousDocument"});
    fill(u"cmd.help", {u"cmd.about"});
    const auto tools = m_workbench.manager().MakeBar(u"cmdbar.standard", u"Standard");
    FillBar(tools.get(),
            {u"cmd.open", u"cmd.save", u"cmd.print", nullptr, u"cmd.undo", u"cmd.redo", nullptr,
             u"cmd.page.rotateLeft", u"cmd.page.rotateRight", u"cmd.page.delete", nullptr, u"cmd.zoomOut",
             u"cmd.zoomIn", u"cmd.fitWidth", u"cmd.fitPage", nullptr, u"cmd.find"});
    view.Add(tools);
}

}  // namespace desktop
