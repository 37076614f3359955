// What earlier runs left: changes that were saved here and not sent, and copies of unsaved changes. Main
// thread only; what is sent goes through workers.
#pragma once

#include <QDialog>

#include "host/cache/cache_store.h"
#include "host/desktop/window/editor.h"

class QLabel;
class QListWidget;
class QPushButton;

namespace desktop {

class BusyStrip;

class UnsentWindow final : public QDialog {
    Q_OBJECT
public:
    // The editor outlives it.
    UnsentWindow(Editor& editor, QWidget* parent);
    // Looks again; false when nothing is left.
    bool Load();

signals:
    void OpenRequested(const QString& address);
    void RestoreRequested(const desktop::Autosave& autosave);

private:
    void UpdateButtons();
    void Send();
    void OpenSelected();
    void Drop();
    void Finish(const std::optional<JobFailure>& failure);

    Editor& m_editor;
    std::vector<host::UnsentDocument> m_unsent;
    std::vector<desktop::Autosave> m_autosaves;
    QListWidget* m_list;
    QPushButton* m_send;
    QPushButton* m_open;
    QPushButton* m_drop;
    BusyStrip* m_busy;
};

}  // namespace desktop
