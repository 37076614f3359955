// An open document with its edits, their undo and redo. Edits cost nothing: they are changes of a list.
// Main thread; what State() gives may be written on any thread.
#pragma once

#include <QObject>
#include <QStringList>
#include <QUndoStack>

#include "host/desktop/pages/pdf/state.h"
#include "host/desktop/pages/pdf/writer.h"

namespace pdf {

class Document final : public QObject {
    Q_OBJECT

public:
    explicit Document(SourcePtr source, QObject* parent = nullptr);

    const Source& Original() const { return *m_state.main; }
    const QList<Page>& Pages() const { return m_state.pages; }
    int PageCount() const { return static_cast<int>(m_state.pages.size()); }
    // The place of a page by its id, or -1.
    int IndexOf(quint64 page_id) const;
    const QString& Title() const { return m_state.title; }
    const QString& Author() const { return m_state.author; }
    // Its actions are to be disabled while pages can't be edited.
    QUndoStack& Undo() { return m_undo; }

    // Each of these is one step of undo. Those that can't be done (a restricted document, no page left) throw
    // a Failure and change nothing.
    void Rotate(const QList<int>& pages, int degrees_clockwise);
    void Delete(const QList<int>& pages);
    // To stand before the page that is now at `before`, in their order; PageCount() is the end.
    void Move(const QList<int>& pages, int before);
    // Each copy stands behind its original.
    void Duplicate(const QList<int>& pages);
    void Insert(const SourcePtr& source, int before);
    void SetInfo(const QString& title, const QString& author);

    // A restricted document can be read, printed and copied from.
    void SetRestricted(bool restricted);
    bool IsRestricted() const { return m_is_restricted; }
    bool CanEditPages() const { return !m_is_restricted && Original().Allowed().change_pages; }
    bool CanEditInfo() const { return !m_is_restricted && Original().Allowed().change_info; }
    bool CanCopy() const { return Original().Allowed().copy; }
    bool CanPrint() const { return Original().Allowed().print; }
    // One sentence when pages can't be edited, else empty.
    QString WhyNotEditable() const;

    bool IsModified() const { return m_saved_revision != m_state.revision; }
    // What a person should know before it is saved: sentences, none as a rule.
    QStringList SaveWarnings() const;
    // Saves and is unmodified then. Throws a Failure.
    void SaveTo(const QString& path, const WriteOptions& options = {});

    // A copy is for Write() on a worker: automatic saving, or saving with MarkSaved() afterwards, which
    // leaves the document modified if it was edited meanwhile.
    const State& Snapshot() const { return m_state; }
    void MarkSaved(const State& saved);

signals:
    // Everything may have changed places; pages keep their ids.
    void PagesChanged();
    void InfoChanged();
    void ModifiedChanged(bool modified);
    void EditableChanged();

private:
    class Change;

    void CheckEditable() const;
    Page Fresh(const Page& page);
    void Do(const QString& what, State after);
    void Show(const State& state);
    void TellIfModified();

    State m_state;
    QUndoStack m_undo;
    quint64 m_last_page_id = 0;
    quint64 m_last_revision = 0;
    quint64 m_saved_revision = 0;
    bool m_told_modified = false;
    bool m_is_restricted = false;
};

}  // namespace pdf
