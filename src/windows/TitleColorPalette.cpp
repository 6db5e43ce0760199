#include "TitleColorPalette.h"

#include <QCoreApplication>

const QList<TitleColorPalette::Entry> &TitleColorPalette::entries()
{
    // Soft tones: the title is drawn on top of the label, in its own colour.
    static const QList<Entry> palette{
        {0, QCoreApplication::translate("TitleColorPalette", "None"), QColor(Qt::transparent)},
        {1, QCoreApplication::translate("TitleColorPalette", "Red"), QColor(0xff, 0x8a, 0x80)},
        {2, QCoreApplication::translate("TitleColorPalette", "Orange"), QColor(0xff, 0xc0, 0x70)},
        {3, QCoreApplication::translate("TitleColorPalette", "Yellow"), QColor(0xff, 0xeb, 0x70)},
        {4, QCoreApplication::translate("TitleColorPalette", "Green"), QColor(0xb0, 0xe5, 0x8a)},
        {5, QCoreApplication::translate("TitleColorPalette", "Blue"), QColor(0x8c, 0xc4, 0xff)},
        {6, QCoreApplication::translate("TitleColorPalette", "Purple"), QColor(0xd2, 0xa8, 0xf0)},
        {7, QCoreApplication::translate("TitleColorPalette", "Gray"), QColor(0xc8, 0xc8, 0xc8)},
    };
    return palette;
}

QColor TitleColorPalette::titleColorForTag(int tag)
{
    for (const Entry &entry : entries()) {
        if (entry.tag == tag)
            return entry.color;
    }
    return {};
}
