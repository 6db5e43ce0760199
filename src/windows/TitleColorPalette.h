#pragma once

#include <QColor>
#include <QList>
#include <QString>

/**
 * The label colours a title can be given from the menus, by menu tag: tag 0
 * takes the label away, 1 to 7 are the colours in menu order. The outline's
 * menus and the tree controller share it, so that a tag means the same
 * colour everywhere. These are title labels only: the colours the text menu
 * gives to characters are another table (colorForTag() in text/ColorTags.h).
 */
class TitleColorPalette
{
public:
    struct Entry
    {
        int tag = 0;
        QString name;
        QColor color;
    };

    /** Every entry in menu order, "None" first. */
    [[nodiscard]] static const QList<Entry> &entries();
    /** The colour of @p tag (transparent for 0); invalid for a tag the palette lacks. */
    [[nodiscard]] static QColor titleColorForTag(int tag);
};
