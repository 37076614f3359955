#include "host/desktop/pages/text_selection.h"

#include <QStringList>
#include <algorithm>

namespace pages {

TextSelection::TextSelection(pdf::Document& document, std::shared_ptr<pdf::Renderer> renderer,
                             QObject* parent)
    : QObject(parent), m_document(document), m_renderer(std::move(renderer)) {}

void TextSelection::Begin(int page, QPointF point) {
    Clear();
    m_begin = End{m_document.Pages()[page].id, point};
}

void TextSelection::Extend(int page, QPointF point) {
    const int begin_page = m_begin ? m_document.IndexOf(m_begin->page_id) : -1;
    if (begin_page < 0) return;
    const int first = std::min(begin_page, page);
    const int last = std::max(begin_page, page);
    const QPointF from = begin_page <= page ? m_begin->point : point;
    const QPointF to = begin_page <= page ? point : m_begin->point;
    const auto is_outside = [&](const auto& entry) {
        const int at = m_document.IndexOf(entry.first);
        return at < first || at > last;
    };
    std::erase_if(m_parts, is_outside);
    std::erase_if(m_asked, is_outside);
    for (int between = first; between <= last; ++between) {
        Ask(between, between == first ? std::optional(from) : std::nullopt,
            between == last ? std::optional(to) : std::nullopt);
    }
}

void TextSelection::SelectWord(int page, QPointF point) {
    Clear();
    const pdf::Page of = m_document.Pages()[page];
    const quint64 question = m_asked[of.id] = ++m_last_question;
    m_renderer->Ask(
        of.source, this,
        [of, point](QPdfDocument* document) {
            return document ? pdf::WordAt(*document, *of.source, of.index, point) : pdf::TextPart();
        },
        [this, id = of.id, question](const pdf::TextPart& part) {
            if (m_asked[id] == question) Take(id, part);
        });
}

void TextSelection::SelectAll() {
    Clear();
    for (int page = 0; page < m_document.PageCount(); ++page) Ask(page, std::nullopt, std::nullopt);
}

void TextSelection::Clear() {
    m_begin.reset();
    m_asked.clear();
    if (m_parts.empty()) return;
    m_parts.clear();
    emit Changed();
}

bool TextSelection::IsEmpty() const {
    return std::all_of(m_parts.begin(), m_parts.end(),
                       [](const auto& part) { return part.second.text.isEmpty(); });
}

QString TextSelection::Text() const {
    QStringList texts;
    for (const pdf::Page& page : m_document.Pages()) {
        const auto part = m_parts.find(page.id);
        if (part != m_parts.end() && !part->second.text.isEmpty()) texts.append(part->second.text);
    }
    return texts.join(QLatin1Char('\n'));
}

QList<QPolygonF> TextSelection::AreasOn(int page) const {
    const auto part = m_parts.find(m_document.Pages()[page].id);
    return part == m_parts.end() ? QList<QPolygonF>() : part->second.areas;
}

void TextSelection::Ask(int page, std::optional<QPointF> from, std::optional<QPointF> to) {
    const pdf::Page of = m_document.Pages()[page];
    const quint64 question = m_asked[of.id] = ++m_last_question;
    m_renderer->Ask(
        of.source, this,
        [of, from, to](QPdfDocument* document) {
            return document ? pdf::TextBetween(*document, *of.source, of.index, from, to) : pdf::TextPart();
        },
        [this, id = of.id, question](const pdf::TextPart& part) {
            if (m_asked[id] == question) Take(id, part);
        });
}

void TextSelection::Take(quint64 page_id, const pdf::TextPart& part) {
    m_parts[page_id] = part;
    emit Changed();
}

}  // namespace pages
