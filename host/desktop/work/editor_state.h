// What the window remembers in the profile: recent documents, its place, its looks. Main thread only.
#pragma once

#include <QByteArray>
#include <QStringList>

#include "host/profile/profile.h"

namespace desktop {

class EditorState {
public:
    static constexpr int kMostRecent = 12;

    // The profile outlives it.
    explicit EditorState(const host::Profile& profile);

    const QStringList& recent() const { return m_recent; }
    // Addresses or paths; the newest is the first.
    void AddRecent(const QString& document);
    QString Text(const char* name) const;  // empty for none
    bool Flag(const char* name, bool preset) const;
    void SetText(const char* name, const QString& value);
    void SetFlag(const char* name, bool value);

private:
    void Change(const std::function<void(host::Json&)>& change);

    const host::Profile& m_profile;
    host::Json m_json;
    QStringList m_recent;
};

}  // namespace desktop
