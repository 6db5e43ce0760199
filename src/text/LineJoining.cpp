#include "LineJoining.h"

#include "AttributedText.h"
#include "platform/base/Localization.h"

#include <QTextCursor>
#include <QTextDocument>

namespace {

// The entry of the "StringUtility" table, or @p english when the tables are
// not installed (the key then comes back as it is).
QString tableCharacter(const char *key, char16_t english)
{
    const QString name = QString::fromLatin1(key);
    const QString value = localizedString(name, "StringUtility");
    return value.isEmpty() || value == name ? QString(QChar(english)) : value;
}

bool isBreak(QChar c)
{
    return c == QChar::ParagraphSeparator || c == QChar::LineSeparator || c == u'\n';
}

} // namespace

namespace LineJoining {

QStringList keepCharacters()
{
    return {tableCharacter("Touten Character", u'\u3001'), QStringLiteral("."), QStringLiteral("!"),
        tableCharacter("exclamation", u'\uff01'), tableCharacter("question", u'\uff1f'), QStringLiteral("\n")};
}

int removeUnusedReturnInRange(QTextDocument &document, const TextRange &range)
{
    QStringList keep = keepCharacters();
    // In a document the "\n" of plain text is a paragraph break or a line separator.
    keep << QString(QChar::ParagraphSeparator) << QString(QChar::LineSeparator);
    const auto keeps = [&](QChar c) {
        return keep.contains(QString(c));
    };

    QTextCursor cursor(&document);
    cursor.beginEditBlock();
    AttributedText::replaceReturnCode(document);

    TextSpan span = TextSpan::fit(range, document);
    if (span.isEmpty())
        span = TextSpan::whole(document);
    const QString text = document.toRawText();
    int removed = 0;
    // From the last break back, so that a removal never moves a break still to be looked at.
    for (int position = span.end - 1; position >= span.start; --position) {
        if (!isBreak(text[position]))
            continue;
        bool remove = position == 0;
        if (!remove) {
            const int length = TextSpan::textLength(document);
            const QChar before = document.characterAt(position - 1);
            const bool keptByAfter = position + 1 < length && keeps(document.characterAt(position + 1));
            remove = !keeps(before) && !keptByAfter;
        }
        if (remove) {
            cursor.setPosition(position);
            cursor.deleteChar();
            ++removed;
        }
    }
    cursor.endEditBlock();
    return removed;
}

} // namespace LineJoining
