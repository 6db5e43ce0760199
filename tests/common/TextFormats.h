#pragma once

#include <QTextCursor>
#include <QTextDocument>

/** The format of the character that starts at @p position in @p document. */
inline QTextCharFormat formatOf(const QTextDocument &document, int position)
{
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    cursor.setPosition(position);
    cursor.setPosition(position + 1, QTextCursor::KeepAnchor);
    return cursor.charFormat();
}
