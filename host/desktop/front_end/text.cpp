#include "host/desktop/front_end/text.h"

namespace desktop {

QString ToQt(std::string_view utf8) {
    return QString::fromUtf8(utf8.data(), static_cast<qsizetype>(utf8.size()));
}

QString ToQt(std::u16string_view text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

std::u16string FromQt(const QString& text) {
    return text.toStdU16String();
}

QString RichText(std::string_view text) {
    QString rich = ToQt(text).toHtmlEscaped();
    for (const char* tag : {"b", "i"}) {
        for (const char* slash : {"", "/"}) {
            const QString name = QString(slash) + tag;
            rich.replace("&lt;" + name + "&gt;", "<" + name + ">");
        }
    }
    // What the texts had escaped themselves.
    rich.replace("&amp;lt;", "&lt;").replace("&amp;gt;", "&gt;").replace("&amp;amp;", "&amp;");
    return rich.replace("\r", "").replace("\n", "<br>");
}

ButtonText SplitButtonText(std::string_view text) {
    const QString whole = ToQt(text);
    const qsizetype line = whole.indexOf('\n');
    if (line < 0) return {whole, {}};
    QString explanation = whole.mid(line + 1).trimmed();
    if (explanation.startsWith("- ")) explanation.remove(0, 2);
    return {whole.left(line).trimmed(), explanation};
}

QString WithoutMnemonic(QString text) {
    return text.replace("&&", QChar(1)).remove('&').replace(QChar(1), '&');
}

}  // namespace desktop
