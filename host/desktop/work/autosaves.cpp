#include "host/desktop/work/autosaves.h"

#include <QDateTime>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QUuid>
#include <algorithm>
#include <tuple>

#include "host/base/failure.h"

namespace desktop {

namespace {

host::fs::path WithSuffix(const host::fs::path& folder, const std::string& id, const char* suffix) {
    return folder / (id + suffix);
}

void RemoveFiles(const host::fs::path& folder, const std::string& id) {
    std::error_code ignored;
    for (const char* suffix : {".json", ".pdf", ".lock"})
        host::fs::remove(WithSuffix(folder, id, suffix), ignored);
}

}  // namespace

AutosaveFile::AutosaveFile(host::fs::path folder, std::string id)
    : m_folder(std::move(folder)), m_id(std::move(id)), m_pdf(WithSuffix(m_folder, m_id, ".pdf")) {
    m_lock = host::FileLock::Take(WithSuffix(m_folder, m_id, ".lock"), host::FileLock::Mode::exclusive, 0);
}

AutosaveFile::~AutosaveFile() {
    if (!m_is_kept) RemoveFiles(m_folder, m_id);
}

void AutosaveFile::Describe(const QString& address, bool is_site_document) const {
    const QJsonObject json{{"address", address},
                           {"site", is_site_document},
                           {"time", QDateTime::currentDateTimeUtc().toString(Qt::ISODate)}};
    host::ReplaceFile(WithSuffix(m_folder, m_id, ".json"), QJsonDocument(json).toJson().toStdString());
}

void AutosaveFile::Remove() const {
    std::error_code ignored;
    host::fs::remove(WithSuffix(m_folder, m_id, ".json"), ignored);
    host::fs::remove(m_pdf, ignored);
}

Autosaves::Autosaves(const host::Profile& profile) : m_folder(profile.file("autosave")) {
    std::error_code error;
    host::fs::create_directories(m_folder, error);
    if (error)
        throw host::Failure(host::ResultOfErrno(error.value()), "can't make the folder " + m_folder.string());
    host::fs::permissions(m_folder, host::fs::perms::owner_all, error);
}

std::unique_ptr<AutosaveFile> Autosaves::Begin() const {
    return std::make_unique<AutosaveFile>(m_folder,
                                          QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString());
}

std::vector<Autosave> Autosaves::Left() const {
    std::vector<Autosave> left;
    std::error_code ignored;
    for (const auto& file : host::fs::directory_iterator(m_folder, ignored)) {
        if (file.path().extension() != ".json") continue;
        const std::string id = file.path().stem();
        const auto lock =
            host::FileLock::Take(WithSuffix(m_folder, id, ".lock"), host::FileLock::Mode::exclusive, 0);
        QFile json_file(QString::fromStdString(file.path()));
        if (!lock || !json_file.open(QIODevice::ReadOnly)) continue;
        const QJsonObject json = QJsonDocument::fromJson(json_file.readAll()).object();
        left.push_back({id, json["address"].toString(), json["site"].toBool(), json["time"].toString(),
                        WithSuffix(m_folder, id, ".pdf")});
    }
    std::sort(left.begin(), left.end(), [](const Autosave& a, const Autosave& b) {
        return std::tie(b.time, a.address) < std::tie(a.time, b.address);
    });
    return left;
}

void Autosaves::Drop(const Autosave& autosave) const {
    RemoveFiles(m_folder, autosave.id);
}

}  // namespace desktop
