// What went wrong with a document, as one sentence for people. Any thread.
#pragma once

#include <QString>
#include <stdexcept>

namespace pdf {

class Failure : public std::runtime_error {
public:
    explicit Failure(const QString& sentence) : std::runtime_error(sentence.toStdString()) {}
    QString Sentence() const { return QString::fromUtf8(what()); }
};

}  // namespace pdf
