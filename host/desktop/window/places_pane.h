// The pane of places: the accounts of the profile, with folders that unfold and documents to open. Main
// thread only; listings run on workers.
#pragma once

#include <QTreeWidget>
#include <QWidget>

#include "host/desktop/work/worker.h"

namespace desktop {

class PlacesPane final : public QWidget {
    Q_OBJECT
public:
    // Both outlive it.
    PlacesPane(host::Host& host, Worker& worker, QWidget* parent = nullptr);
    // Shows the accounts of the profile; folders that were listed are forgotten.
    void Reload();
    // The language has changed.
    void ShowLanguage();

signals:
    void OpenRequested(const QString& address);
    void AddRequested();
    void OpenFromRequested(const QString& place);
    void RemoveRequested(const QString& place);

private:
    void AddPlaceItem(const host::StoredAccount& account);
    void List(QTreeWidgetItem* item);
    void ShowListing(quint64 id, const std::vector<struct FolderEntry>& entries);
    void ShowProblem(quint64 id, const QString& problem);
    void ShowMenu(QPoint position);
    void Activate(QTreeWidgetItem* item);
    QTreeWidgetItem* Find(quint64 id) const;

    host::Host& m_host;
    Worker& m_worker;
    QTreeWidget* m_tree;
    quint64 m_last_listing = 0;
};

// An item of a folder, for sorting and showing.
struct FolderEntry {
    QString name;
    QString address;  // escaped
    bool is_folder = false;
    std::uint64_t size = 0;
};
// Folders first, then documents, by name. Throws a JobError. A worker's thread.
std::vector<FolderEntry> ListFolder(host::Job& job, const std::string& address);

}  // namespace desktop
