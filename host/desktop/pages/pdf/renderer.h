// Draws pages of sources on a thread of its own and keeps what it drew, bounded in bytes. One thread is
// enough: the engine lets one in at a time. Its calls are for the main thread and never wait for a drawing.
#pragma once

#include <QCache>
#include <QImage>
#include <QObject>
#include <QPdfDocument>
#include <QPointer>
#include <QRect>
#include <QThread>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "host/desktop/pages/pdf/source.h"

namespace pdf {

// A part of a page of a source, in device pixels. The page is as its source shows it, without later turns.
struct Tile {
    SourcePtr source;
    int page = 0;
    QSize page_size;  // of the whole page
    QRect part;       // of the page; all of it as a rule
};

// What tells tiles apart once their source is gone.
struct TileKey {
    quint64 source;
    int page;
    QSize page_size;
    QRect part;
    bool operator==(const TileKey&) const = default;
};

}  // namespace pdf

template <>
struct std::hash<pdf::TileKey> {
    std::size_t operator()(const pdf::TileKey& key) const {
        return qHashMulti(0, key.source, key.page, key.page_size.width(), key.part.x(), key.part.y(),
                          key.part.width());
    }
};

namespace pdf {

class Renderer final : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 kCacheBytes = qint64{256} << 20;

    // The one that all documents of the program share.
    static std::shared_ptr<Renderer> Shared();
    explicit Renderer(qint64 cache_bytes = kCacheBytes);
    ~Renderer() override;

    // What was drawn, or null. A page that can't be drawn is an image of one transparent pixel.
    QImage Find(const Tile& tile);
    // Any drawing of the whole page, the largest there is, or null.
    QImage FindAny(const Source& source, int page);
    // What a viewer wants now, the most urgent first. Replaces what it wanted before, so that a page that was
    // scrolled away is never drawn. Viewers of a lower urgency number come first.
    void Want(const void* viewer, int urgency, std::vector<Tile> tiles);
    void Forget(const void* viewer) { Want(viewer, 0, {}); }

    // Draws on any other thread's behalf and waits for it: for printing. Null when it can't be drawn.
    QImage Draw(const Tile& tile);

    // Runs `work` on the thread of the pages, before drawings, and `then` with its result on the main thread,
    // unless the receiver is gone by then. `work` gets null when the source can't be loaded.
    template <class Work, class Then>
    void Ask(const SourcePtr& source, QObject* receiver, Work work, Then then) {
        Post(source, [this, receiver = QPointer<QObject>(receiver), work = std::move(work),
                      then = std::move(then)](QPdfDocument* document) {
            QMetaObject::invokeMethod(this, [receiver, then, result = work(document)] {
                if (receiver) then(result);
            });
        });
    }

    qint64 CachedBytes();

signals:
    // Find() has more to show.
    void Drawn();

private:
    using Key = TileKey;
    struct Wish {
        int urgency;
        std::deque<Tile> tiles;
    };
    struct Question {
        SourcePtr source;
        std::function<void(QPdfDocument*)> work;
    };
    // What the engine has open; used on its thread alone.
    struct Opened {
        std::weak_ptr<const Source> source;
        std::unique_ptr<QIODevice> file;
        std::unique_ptr<QPdfDocument> document;
    };

    static Key KeyOf(const Tile& tile);
    static QImage Paint(QPdfDocument* document, const Tile& tile);
    void Post(SourcePtr source, std::function<void(QPdfDocument*)> work);
    void Run();
    void WaitForWork(std::unique_lock<std::mutex>& lock);
    void DrawNext(std::unique_lock<std::mutex>& lock);
    bool TakeWish(Tile& out_tile);
    void Keep(const Tile& tile, const QImage& image);
    QPdfDocument* Open(const SourcePtr& source);

    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::map<const void*, Wish> m_wishes;
    std::deque<Question> m_questions;
    QCache<Key, QImage> m_cache;  // costs are KiB
    bool m_ends = false;
    std::map<quint64, Opened> m_opened;
    std::unique_ptr<QThread> m_thread;
};

}  // namespace pdf
