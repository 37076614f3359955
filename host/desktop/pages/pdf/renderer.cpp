#include "host/desktop/pages/pdf/renderer.h"

#include <QPainter>
#include <QPdfDocumentRenderOptions>
#include <algorithm>
#include <chrono>
#include <future>
#include <utility>

namespace pdf {

std::shared_ptr<Renderer> Renderer::Shared() {
    static std::weak_ptr<Renderer> shared;
    std::shared_ptr<Renderer> renderer = shared.lock();
    if (!renderer) shared = renderer = std::make_shared<Renderer>();
    return renderer;
}

Renderer::Renderer(qint64 cache_bytes) : m_cache(static_cast<int>(cache_bytes >> 10)) {
    m_thread.reset(QThread::create([this] { Run(); }));
    m_thread->setObjectName(QStringLiteral("pages"));
    m_thread->start(QThread::LowPriority);
}

Renderer::~Renderer() {
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
    }
    m_wake.notify_one();
    m_thread->wait();
}

QImage Renderer::Find(const Tile& tile) {
    const std::lock_guard lock(m_mutex);
    const QImage* const image = m_cache.object(KeyOf(tile));
    return image ? *image : QImage();
}

QImage Renderer::FindAny(const Source& source, int page) {
    const std::lock_guard lock(m_mutex);
    Key best{};
    for (const Key& key : m_cache.keys()) {
        const bool whole = key.part.size() == key.page_size;
        if (key.source == source.Id() && key.page == page && whole &&
            key.page_size.width() > best.page_size.width())
            best = key;
    }
    const QImage* const image = m_cache.object(best);
    return image ? *image : QImage();
}

void Renderer::Want(const void* viewer, int urgency, std::vector<Tile> tiles) {
    {
        const std::lock_guard lock(m_mutex);
        std::erase_if(tiles, [&](const Tile& tile) { return m_cache.contains(KeyOf(tile)); });
        if (tiles.empty()) {
            m_wishes.erase(viewer);
        } else {
            m_wishes[viewer] = {urgency, {tiles.begin(), tiles.end()}};
        }
    }
    m_wake.notify_one();
}

QImage Renderer::Draw(const Tile& tile) {
    std::promise<QImage> drawn;
    Post(tile.source, [&](QPdfDocument* document) { drawn.set_value(Paint(document, tile)); });
    return drawn.get_future().get();
}

qint64 Renderer::CachedBytes() {
    const std::lock_guard lock(m_mutex);
    return static_cast<qint64>(m_cache.totalCost()) << 10;
}

Renderer::Key Renderer::KeyOf(const Tile& tile) {
    return {tile.source->Id(), tile.page, tile.page_size, tile.part};
}

void Renderer::Post(SourcePtr source, std::function<void(QPdfDocument*)> work) {
    {
        const std::lock_guard lock(m_mutex);
        m_questions.push_back({std::move(source), std::move(work)});
    }
    m_wake.notify_one();
}

void Renderer::Run() {
    std::unique_lock lock(m_mutex);
    while (true) {
        WaitForWork(lock);
        if (m_ends) break;
        if (m_questions.empty()) {
            DrawNext(lock);
            continue;
        }
        const Question question = std::move(m_questions.front());
        m_questions.pop_front();
        lock.unlock();
        question.work(Open(question.source));
        lock.lock();
    }
    lock.unlock();
    m_opened.clear();  // the engine's objects end on their thread
}

// Nobody tells when a document is closed, so an idle thread looks now and then.
void Renderer::WaitForWork(std::unique_lock<std::mutex>& lock) {
    const auto has_work = [this] { return m_ends || !m_questions.empty() || !m_wishes.empty(); };
    while (!m_opened.empty() && !m_wake.wait_for(lock, std::chrono::seconds(1), has_work))
        std::erase_if(m_opened, [](const auto& entry) { return entry.second.source.expired(); });
    m_wake.wait(lock, has_work);
}

void Renderer::DrawNext(std::unique_lock<std::mutex>& lock) {
    Tile tile;
    if (!TakeWish(tile)) return;
    lock.unlock();
    const QImage image = Paint(Open(tile.source), tile);
    lock.lock();
    Keep(tile, image);
    QMetaObject::invokeMethod(this, &Renderer::Drawn, Qt::QueuedConnection);
}

// False when all wishes turn out to be fulfilled.
bool Renderer::TakeWish(Tile& out_tile) {
    while (!m_wishes.empty()) {
        const auto first = std::min_element(
            m_wishes.begin(), m_wishes.end(),
            [](const auto& a, const auto& b) { return a.second.urgency < b.second.urgency; });
        out_tile = std::move(first->second.tiles.front());
        first->second.tiles.pop_front();
        if (first->second.tiles.empty()) m_wishes.erase(first);
        if (!m_cache.contains(KeyOf(out_tile))) return true;
    }
    return false;
}

// What can't be drawn is remembered too, so that it is not tried again and again.
void Renderer::Keep(const Tile& tile, const QImage& image) {
    QImage kept = image;
    if (kept.isNull()) {
        kept = QImage(1, 1, QImage::Format_ARGB32_Premultiplied);
        kept.fill(Qt::transparent);
    }
    m_cache.insert(KeyOf(tile), new QImage(kept), static_cast<int>(kept.sizeInBytes() >> 10) + 1);
}

// The engine leaves the paper transparent.
QImage Renderer::Paint(QPdfDocument* document, const Tile& tile) {
    if (!document || tile.part.isEmpty()) return {};
    QPdfDocumentRenderOptions options;
    options.setRenderFlags(QPdfDocumentRenderOptions::RenderFlag::Annotations);
    if (tile.part.size() != tile.page_size) {
        options.setScaledSize(tile.page_size);
        // The engine's scale is the distance from the first to the last pixel by the size of the image.
        options.setScaledClipRect(tile.part.adjusted(0, 0, 1, 1));
    }
    const QImage drawn = document->render(tile.page, tile.part.size(), options);
    if (drawn.isNull()) return {};
    QImage page(tile.part.size(), QImage::Format_RGB32);
    page.fill(Qt::white);
    QPainter(&page).drawImage(0, 0, drawn);
    return page;
}

QPdfDocument* Renderer::Open(const SourcePtr& source) {
    const auto [place, is_new] = m_opened.try_emplace(source->Id());
    Opened& opened = place->second;
    if (is_new) {
        opened.source = source;
        opened.file = MakeDevice(source->File());
        opened.document = std::make_unique<QPdfDocument>();
        opened.document->setPassword(source->Password());
        opened.document->load(opened.file.get());
    }
    return opened.document->status() == QPdfDocument::Status::Ready ? opened.document.get() : nullptr;
}

}  // namespace pdf
