#include "host/desktop/work/ui_language.h"

#include <QCoreApplication>
#include <QLocale>

#include "host/base/failure.h"
#include "host/desktop/front_end/text.h"

namespace desktop {

namespace {

constexpr const char* kKey = "language";

}  // namespace

UiLanguage::UiLanguage(host::Host& host, EditorState& state, const host::fs::path& folder)
    : m_host(host), m_state(state) {
    if (!folder.empty()) m_host.languages().AddFolder(folder);
    QCoreApplication::installTranslator(this);
    const QString kept = state.Text(kKey);
    const std::string code = kept.isEmpty() ? host::LanguageOfSystem() : kept.toStdString();
    if (!m_host.languages().Find(code)) return;
    try {
        Use(ToQt(code), false);
    } catch (const host::Failure& failure) {
        m_host.front_end().Warn(failure.what());
    }
}

UiLanguage::~UiLanguage() {
    QCoreApplication::removeTranslator(this);
    QLocale::setDefault(QLocale::system());
}

QString UiLanguage::current() const {
    return ToQt(m_host.languages().current());
}

void UiLanguage::Use(const QString& code, bool is_kept) {
    m_host.languages().Use(code.toStdString());
    // Dates and sizes as the person's country writes them, where that is one of the language.
    const QLocale system = QLocale::system();
    const QLocale locale(code);
    QLocale::setDefault(system.language() == locale.language() ? system : locale);
    if (is_kept) m_state.SetText(kKey, code);
    emit Changed();
}

QString UiLanguage::translate(const char*, const char* text, const char*, int) const {
    const auto found = m_host.catalogue().Find(u"editor." + host::ToUtf16(text));
    return found ? ToQt(*found) : QString();
}

}  // namespace desktop
