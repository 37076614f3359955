// Texts of widgets and actions that follow the language while the program runs. Main thread only.
#pragma once

#include <QObject>

namespace desktop {

// Sets a property ("text", "toolTip", "accessibleName" and so on) to the translation of an English text, now
// and at each Retranslate. An empty text gives the property up.
void SetTranslated(QObject* object, const char* property, const QString& english);

// Sets the texts of `root` and of all below it anew.
void Retranslate(QObject& root);

}  // namespace desktop
