#include "host/desktop/language/translated.h"

#include <QVariant>

namespace desktop {

namespace {

// The English text of "toolTip" is kept in the property "english.toolTip".
constexpr const char* kPrefix = "english.";

void Apply(QObject& object, const QByteArray& property, const QString& english) {
    object.setProperty(property.constData(), QObject::tr(english.toUtf8().constData()));
}

}  // namespace

void SetTranslated(QObject* object, const char* property, const QString& english) {
    object->setProperty((QByteArray(kPrefix) + property).constData(),
                        english.isEmpty() ? QVariant() : QVariant(english));
    Apply(*object, property, english);
}

void Retranslate(QObject& root) {
    for (const QByteArray& name : root.dynamicPropertyNames()) {
        if (name.startsWith(kPrefix))
            Apply(root, name.mid(static_cast<qsizetype>(qstrlen(kPrefix))),
                  root.property(name.constData()).toString());
    }
    for (QObject* const child : root.children()) Retranslate(*child);
}

}  // namespace desktop
