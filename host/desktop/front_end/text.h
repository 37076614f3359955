// Texts between the host and Qt. Pure functions; any thread.
#pragma once

#include <QString>
#include <string>
#include <string_view>

namespace desktop {

QString ToQt(std::string_view utf8);
QString ToQt(std::u16string_view text);
std::u16string FromQt(const QString& text);

// The host's rich text as Qt's: bold and italics stay, every other tag is shown as it is written.
QString RichText(std::string_view text);

// A button's text and the explanation below it: "&Open\n- explanation".
struct ButtonText {
    QString title;
    QString explanation;
};
ButtonText SplitButtonText(std::string_view text);

// The same text without "&" before its key.
QString WithoutMnemonic(QString text);

}  // namespace desktop
