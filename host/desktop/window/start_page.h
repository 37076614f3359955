// What the window shows without a document: how to begin, and the recent documents. Main thread only.
#pragma once

#include <QWidget>

class QListWidget;

namespace desktop {

class StartPage final : public QWidget {
    Q_OBJECT
public:
    explicit StartPage(QWidget* parent = nullptr);
    void Show(const QStringList& recent);

signals:
    void OpenRequested(const QString& address);
    void BrowseRequested();
    void AddPlaceRequested();

private:
    QListWidget* m_recent;
};

// A document's name as people read it, from its URL or path.
QString NameOfAddress(const QString& address);

}  // namespace desktop
