#include "host/desktop/pages/pdf/document.h"

#include <QUndoCommand>
#include <algorithm>
#include <set>
#include <utility>

#include "host/desktop/pages/pdf/failure.h"

namespace pdf {

namespace {

QString Counted(const QString& verb, qsizetype pages) {
    return pages == 1 ? QObject::tr("%1 page").arg(verb) : QObject::tr("%1 %2 pages").arg(verb).arg(pages);
}

// In order, each once, without those that don't exist.
std::set<int> Existing(const QList<int>& pages, qsizetype count) {
    std::set<int> existing;
    for (const int page : pages) {
        if (page >= 0 && page < count) existing.insert(page);
    }
    return existing;
}

}  // namespace

class Document::Change final : public QUndoCommand {
public:
    Change(Document& document, const QString& text, State after)
        : QUndoCommand(text), m_document(document), m_before(document.m_state), m_after(std::move(after)) {}
    void undo() override { m_document.Show(m_before); }
    void redo() override { m_document.Show(m_after); }

private:
    Document& m_document;
    const State m_before;
    const State m_after;
};

Document::Document(SourcePtr source, QObject* parent) : QObject(parent) {
    m_state.title = source->Title();
    m_state.author = source->Author();
    for (int index = 0; index < source->PageCount(); ++index)
        m_state.pages.append(Fresh({.source = source, .index = index}));
    m_state.main = std::move(source);
}

int Document::IndexOf(quint64 page_id) const {
    const auto found = std::find_if(m_state.pages.begin(), m_state.pages.end(),
                                    [&](const Page& page) { return page.id == page_id; });
    return found == m_state.pages.end() ? -1 : static_cast<int>(found - m_state.pages.begin());
}

void Document::Rotate(const QList<int>& pages, int degrees_clockwise) {
    const int by = ((degrees_clockwise % 360) + 360) % 360;
    State after = m_state;
    const std::set<int> turned = Existing(pages, PageCount());
    for (const int page : turned) after.pages[page].rotation = (after.pages[page].rotation + by) % 360;
    if (after.pages == m_state.pages) return;
    CheckEditable();
    Do(Counted(tr("Rotate"), static_cast<qsizetype>(turned.size())), after);
}

void Document::Delete(const QList<int>& pages) {
    const std::set<int> gone = Existing(pages, PageCount());
    if (gone.empty()) return;
    CheckEditable();
    if (static_cast<int>(gone.size()) == PageCount())
        throw Failure(tr("A document needs at least one page. Keep one, or delete the document itself."));
    State after = m_state;
    for (auto page = gone.rbegin(); page != gone.rend(); ++page) after.pages.removeAt(*page);
    Do(Counted(tr("Delete"), static_cast<qsizetype>(gone.size())), after);
}

void Document::Move(const QList<int>& pages, int before) {
    const std::set<int> moved = Existing(pages, PageCount());
    QList<Page> taken;
    QList<Page> above;
    QList<Page> below;
    for (int page = 0; page < PageCount(); ++page) {
        QList<Page>& part = moved.contains(page) ? taken : page < before ? above : below;
        part.append(m_state.pages[page]);
    }
    State after = m_state;
    after.pages = above + taken + below;
    if (after.pages == m_state.pages) return;
    CheckEditable();
    Do(Counted(tr("Move"), taken.size()), after);
}

void Document::Duplicate(const QList<int>& pages) {
    const std::set<int> copied = Existing(pages, PageCount());
    if (copied.empty()) return;
    CheckEditable();
    State after = m_state;
    for (auto page = copied.rbegin(); page != copied.rend(); ++page)
        after.pages.insert(*page + 1, Fresh(m_state.pages[*page]));
    Do(Counted(tr("Duplicate"), static_cast<qsizetype>(copied.size())), after);
}

void Document::Insert(const SourcePtr& source, int before) {
    CheckEditable();
    if (!source->Allowed().copy)
        throw Failure(tr("The author of %1 doesn't allow pages to be taken from it.").arg(source->Name()));
    State after = m_state;
    int place = std::clamp(before, 0, PageCount());
    for (int index = 0; index < source->PageCount(); ++index)
        after.pages.insert(place++, Fresh({.source = source, .index = index}));
    Do(Counted(tr("Insert"), source->PageCount()), after);
}

void Document::SetInfo(const QString& title, const QString& author) {
    if (title == m_state.title && author == m_state.author) return;
    if (!CanEditInfo()) {
        throw Failure(
            tr("The title and author of %1 can't be changed: it may only be read.").arg(Original().Name()));
    }
    State after = m_state;
    after.title = title;
    after.author = author;
    Do(tr("Change title and author"), after);
}

void Document::SetRestricted(bool restricted) {
    if (m_is_restricted == restricted) return;
    m_is_restricted = restricted;
    emit EditableChanged();
}

QString Document::WhyNotEditable() const {
    if (m_is_restricted) return tr("%1 is open for reading only.").arg(Original().Name());
    if (!Original().Allowed().change_pages) {
        return tr("The author of %1 doesn't allow changes without the owner's password.")
            .arg(Original().Name());
    }
    return {};
}

QStringList Document::SaveWarnings() const {
    QStringList warnings;
    if (Original().IsSigned())
        warnings.append(tr("%1 is signed. Saving it makes the signature invalid.").arg(Original().Name()));
    if (Original().WasRepaired()) {
        warnings.append(tr("%1 was damaged and has been repaired. Saving it keeps what could be read.")
                            .arg(Original().Name()));
    }
    return warnings;
}

void Document::SaveTo(const QString& path, const WriteOptions& options) {
    if (Write(m_state, path, options)) MarkSaved(m_state);
}

void Document::MarkSaved(const State& saved) {
    m_saved_revision = saved.revision;
    TellIfModified();
}

void Document::CheckEditable() const {
    if (!CanEditPages()) throw Failure(WhyNotEditable());
}

Page Document::Fresh(const Page& page) {
    Page fresh = page;
    fresh.id = ++m_last_page_id;
    return fresh;
}

void Document::Do(const QString& what, State after) {
    after.revision = ++m_last_revision;
    m_undo.push(new Change(*this, what, std::move(after)));
}

void Document::Show(const State& state) {
    const bool other_pages = m_state.pages != state.pages;
    const bool other_info = m_state.title != state.title || m_state.author != state.author;
    m_state = state;
    if (other_pages) emit PagesChanged();
    if (other_info) emit InfoChanged();
    TellIfModified();
}

void Document::TellIfModified() {
    if (m_told_modified == IsModified()) return;
    m_told_modified = IsModified();
    emit ModifiedChanged(m_told_modified);
}

}  // namespace pdf
