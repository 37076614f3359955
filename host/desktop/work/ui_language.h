// The language of the window, of the host and of its plug-ins. Kept in the profile; at first that of the
// system. Main thread only, but for translating.
#pragma once

#include <QTranslator>

#include "host/core/host.h"
#include "host/desktop/work/editor_state.h"

namespace desktop {

// The host's packs hold the window's own texts as well: "editor." and the English text.
class UiLanguage final : public QTranslator {
    Q_OBJECT
public:
    // Both outlive it. Packs of `folder` are added; an empty one adds none.
    UiLanguage(host::Host& host, EditorState& state, const host::fs::path& folder);
    ~UiLanguage() override;

    const std::vector<host::Language>& all() const { return m_host.languages().all(); }
    QString current() const;
    // For this run, or also for those that follow. Throws a host::Failure.
    void Use(const QString& code, bool is_kept);

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* text, const char* note, int number) const override;

signals:
    void Changed();

private:
    host::Host& m_host;
    EditorState& m_state;
};

}  // namespace desktop
