#include "host/desktop/pages/finder.h"

#include <algorithm>

namespace pages {

Finder::Finder(pdf::Document& document, std::shared_ptr<pdf::Renderer> renderer, QObject* parent)
    : QObject(parent), m_document(document), m_renderer(std::move(renderer)) {
    connect(&m_document, &pdf::Document::PagesChanged, this, &Finder::OnPagesChanged);
}

void Finder::Start(const QString& text, int first_page) {
    m_text = text;
    m_found.clear();
    m_current.reset();
    m_is_waiting = false;
    ++m_search;
    LookAtAll(first_page);
    emit Changed();
}

int Finder::Total() const {
    return static_cast<int>(Places().size());
}

int Finder::CurrentNumber() const {
    const std::vector<Place> places = Places();
    const auto at = m_current ? std::find(places.begin(), places.end(), *m_current) : places.end();
    return at == places.end() ? 0 : static_cast<int>(at - places.begin()) + 1;
}

QList<pdf::Match> Finder::On(int page) const {
    const auto found = m_found.find(KeyOf(m_document.Pages()[page]));
    return found == m_found.end() ? QList<pdf::Match>() : found->second;
}

std::vector<Finder::Place> Finder::Places() const {
    std::vector<Place> places;
    for (int page = 0; page < m_document.PageCount(); ++page) {
        const int matches = static_cast<int>(On(page).size());
        for (int match = 0; match < matches; ++match) places.push_back({m_document.Pages()[page].id, match});
    }
    return places;
}

void Finder::LookAtAll(int first_page) {
    m_pending.clear();
    if (m_text.isEmpty()) return;
    for (int i = 0; i < m_document.PageCount(); ++i) {
        const pdf::Page& page = m_document.Pages()[(first_page + i) % m_document.PageCount()];
        if (!m_found.contains(KeyOf(page))) m_pending.push_back(page);
    }
    AskNext();
}

void Finder::AskNext() {
    if (m_is_waiting || m_pending.empty()) return;
    m_is_waiting = true;
    const pdf::Page page = m_pending.front();
    m_pending.pop_front();
    m_renderer->Ask(
        page.source, this,
        [page, text = m_text](QPdfDocument* document) {
            return document ? pdf::FindOnPage(*document, *page.source, page.index, text)
                            : QList<pdf::Match>();
        },
        [this, page, search = m_search](const QList<pdf::Match>& matches) {
            if (search == m_search) Take(page, matches);
        });
}

void Finder::Take(const pdf::Page& page, const QList<pdf::Match>& matches) {
    m_is_waiting = false;
    m_found[KeyOf(page)] = matches;
    AskNext();
    // The first one found is the first one behind the page where the search began.
    if (!m_current && !matches.isEmpty()) {
        m_current = Place{page.id, 0};
        emit Moved();
    }
    if (!matches.isEmpty() || !IsRunning()) emit Changed();
}

void Finder::Step(int by) {
    const std::vector<Place> places = Places();
    if (places.empty()) return;
    const int count = static_cast<int>(places.size());
    const int from = CurrentNumber() - 1;
    const int to = from < 0 ? (by > 0 ? 0 : count - 1) : (from + by + count) % count;
    m_current = places[static_cast<std::size_t>(to)];
    emit Moved();
    emit Changed();
}

void Finder::OnPagesChanged() {
    if (m_text.isEmpty()) return;
    if (m_current && m_document.IndexOf(m_current->page_id) < 0) m_current.reset();
    LookAtAll(0);
    emit Changed();
}

}  // namespace pages
