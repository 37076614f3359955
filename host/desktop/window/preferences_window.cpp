#include "host/desktop/window/preferences_window.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QShortcut>
#include <QSpinBox>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "host/desktop/dialogs/template_window.h"
#include "host/desktop/front_end/text.h"
#include "host/desktop/window/questions.h"

namespace desktop {

namespace {

constexpr int kShortestAutosave = 5;  // seconds
constexpr int kLongestAutosave = 3600;

QLabel* Note(const QString& text) {
    auto* const note = new QLabel(text);
    note->setWordWrap(true);
    note->setForegroundRole(QPalette::PlaceholderText);
    note->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    return note;
}

// The proxy of an environment variable, without name and password.
QString ProxyIn(const char* variable) {
    QString proxy = QString::fromLocal8Bit(qgetenv(variable));
    const auto login_end = proxy.lastIndexOf('@');
    if (login_end >= 0) {
        const auto scheme_end = proxy.indexOf("://");
        const auto begin = scheme_end < 0 ? 0 : scheme_end + 3;
        proxy.remove(begin, login_end + 1 - begin);
    }
    return proxy;
}

}  // namespace

PreferencesWindow::PreferencesWindow(Editor& editor, const EditorPreferences& now,
                                     std::function<void(const EditorPreferences&)> apply, QWidget* parent)
    : QDialog(parent),
      m_editor(editor),
      m_applied(now),
      m_wanted(now),
      m_apply(std::move(apply)),
      m_names(new QListWidget),
      m_stack(new QStackedWidget) {
    setObjectName("preferences.window");
    setWindowTitle(tr("Preferences"));
    m_names->setObjectName("preferences.pages");
    m_names->setAccessibleName(tr("Pages"));
    m_names->setSpacing(2);
    AddGeneral();
    AddAppearance();
    AddLanguage();
    AddRecovery();
    AddNetwork();
    AddPagesOfPlugIns();
    auto* const columns = new QHBoxLayout;
    columns->addWidget(m_names);
    columns->addWidget(m_stack, 1);
    auto* const buttons =
        new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel | QDialogButtonBox::Apply);
    const std::pair<QDialogButtonBox::StandardButton, std::pair<const char*, QString>> names[] = {
        {QDialogButtonBox::Ok, {"btn.ok", tr("&OK")}},
        {QDialogButtonBox::Cancel, {"btn.cancel", tr("Cancel")}},
        {QDialogButtonBox::Apply, {"btn.apply", tr("&Apply")}}};
    for (const auto& [button, texts] : names) {
        buttons->button(button)->setObjectName(texts.first);
        buttons->button(button)->setText(texts.second);
    }
    connect(buttons->button(QDialogButtonBox::Apply), &QPushButton::clicked, this, [this] { Apply(); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        if (Apply()) accept();
    });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    // A page is a window of its own to its controls, which would take the key.
    connect(new QShortcut(Qt::Key_Escape, this), &QShortcut::activated, this, &QDialog::reject);
    auto* const rows = new QVBoxLayout(this);
    rows->addLayout(columns, 1);
    rows->addWidget(buttons);
    connect(m_names, &QListWidget::currentRowChanged, m_stack, &QStackedWidget::setCurrentIndex);
    m_names->setCurrentRow(0);
    FitSize();
}

// The widgets go before what they show.
PreferencesWindow::~PreferencesWindow() {
    delete m_stack;
    if (m_pages) m_pages->Close();
}

void PreferencesWindow::FitSize() {
    m_names->setFixedWidth(m_names->sizeHintForColumn(0) + 4 * m_names->fontMetrics().averageCharWidth() +
                           2 * m_names->frameWidth());
    QSize size = sizeHint();
    for (int i = 0; i < m_stack->count(); ++i) {
        const QSize page = m_stack->widget(i)->size();
        size = size.expandedTo(QSize(page.width() + m_names->width() + 40, page.height() + 80));
    }
    resize(size.boundedTo(screen()->availableSize() * 0.95));
}

void PreferencesWindow::AddPage(const QString& title, QWidget* page) {
    m_names->addItem(title);
    m_stack->addWidget(page);
}

QVBoxLayout* PreferencesWindow::AddPage(const char* name, const QString& title) {
    auto* const page = new QWidget;
    page->setObjectName(name);
    auto* const rows = new QVBoxLayout(page);
    rows->setSpacing(10);
    rows->setAlignment(Qt::AlignTop);
    auto* const heading = new QLabel(title);
    QFont font = heading->font();
    font.setBold(true);
    heading->setFont(font);
    rows->addWidget(heading);
    AddPage(title, page);
    return rows;
}

void PreferencesWindow::AddCheck(QVBoxLayout* rows, const char* name, const QString& text,
                                 bool EditorPreferences::*value) {
    auto* const box = new QCheckBox(text);
    box->setObjectName(name);
    box->setChecked(m_wanted.*value);
    connect(box, &QCheckBox::toggled, this, [this, value](bool is_checked) { m_wanted.*value = is_checked; });
    rows->addWidget(box);
}

void PreferencesWindow::AddGeneral() {
    QVBoxLayout* const rows = AddPage("preferences.general", tr("General"));
    AddCheck(rows, "shows.pages", tr("Show the &pages of a document beside it"),
             &EditorPreferences::shows_pages);
    AddCheck(rows, "shows.places", tr("Show the p&laces at the left"), &EditorPreferences::shows_places);
}

void PreferencesWindow::AddAppearance() {
    QVBoxLayout* const rows = AddPage("preferences.appearance", tr("Appearance"));
    AddCheck(rows, "is.dark", tr("&Dark colours"), &EditorPreferences::is_dark);
    AddCheck(rows, "has.menus", tr("&Menus and tool bars in place of the ribbon"),
             &EditorPreferences::has_menus);
}

void PreferencesWindow::AddLanguage() {
    QVBoxLayout* const rows = AddPage("preferences.language", tr("Language"));
    auto* const languages = new QComboBox;
    languages->setObjectName("language");
    for (const host::Language& language : m_editor.language.all())
        languages->addItem(ToQt(language.name), ToQt(language.code));
    languages->setCurrentIndex(languages->findData(m_wanted.language));
    connect(languages, &QComboBox::activated, this,
            [this, languages] { m_wanted.language = languages->currentData().toString(); });
    auto* const form = new QFormLayout;
    form->addRow(tr("&Language of the editor and its plug-ins"), languages);
    rows->addLayout(form);
}

void PreferencesWindow::AddRecovery() {
    QVBoxLayout* const rows = AddPage("preferences.recovery", tr("Recovery"));
    auto* const seconds = new QSpinBox;
    seconds->setObjectName("autosave.seconds");
    seconds->setRange(kShortestAutosave, kLongestAutosave);
    seconds->setSuffix(tr(" s"));
    seconds->setValue(m_wanted.autosave_seconds);
    connect(seconds, &QSpinBox::valueChanged, this, [this](int value) { m_wanted.autosave_seconds = value; });
    auto* const form = new QFormLayout;
    form->addRow(tr("&Keep a copy of unsaved changes every"), seconds);
    rows->addLayout(form);
    rows->addWidget(Note(tr(
        "Should the editor end unexpectedly, it offers these copies, and what was saved and not sent, when "
        "it starts again. Documents that are opened from now on follow the new time.")));
}

void PreferencesWindow::AddNetwork() {
    QVBoxLayout* const rows = AddPage("preferences.network", tr("Network"));
    auto* const form = new QFormLayout;
    const auto add = [form](const QString& title, const char* variable) {
        const QString proxy = ProxyIn(variable);
        auto* const value = new QLabel(proxy.isEmpty() ? tr("none") : proxy);
        value->setObjectName(variable);
        value->setTextFormat(Qt::PlainText);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        form->addRow(title, value);
    };
    add(tr("Proxy for https addresses:"), "https_proxy");
    add(tr("Proxy for http addresses:"), "http_proxy");
    add(tr("Reached without a proxy:"), "no_proxy");
    rows->addLayout(form);
    rows->addWidget(Note(
        tr("The proxy is that of the desktop session (the variables https_proxy, http_proxy and no_proxy). "
           "A name and a password for it belong in its address.")));
}

void PreferencesWindow::AddPagesOfPlugIns() {
    m_pages = m_editor.host.dialogs().OpenPreferences();
    if (!m_pages) return;
    for (const host::PreferencePage& page : m_pages->pages()) {
        auto* const view = new TemplateWindow(*page.window, nullptr);
        view->setWindowFlags(Qt::Widget);
        view->setWindowModality(Qt::NonModal);
        AddPage(ToQt(page.title), view);
    }
}

bool PreferencesWindow::Apply() {
    // What is being typed counts.
    if (QWidget* const focused = focusWidget()) focused->clearFocus();
    if (!(m_wanted == m_applied)) {
        m_apply(m_wanted);
        m_applied = m_wanted;
    }
    if (!m_pages || SUCCEEDED(m_pages->Apply())) return true;
    ShowFailure(m_editor.host, tr("A plug-in could not store its preferences"),
                tr("The profile can't be written. What the plug-in uses is as it was."));
    return false;
}

}  // namespace desktop
