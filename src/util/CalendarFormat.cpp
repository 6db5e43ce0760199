#include "CalendarFormat.h"

#include <QLocale>

namespace CalendarFormat {

QString qtDateFormat(const QString &calendarFormat)
{
    QString format;
    QString literal;
    const auto flushLiteral = [&] {
        if (literal.isEmpty())
            return;
        format += u'\'' + QString(literal).replace(u'\'', QStringLiteral("''")) + u'\'';
        literal.clear();
    };
    for (qsizetype i = 0; i < calendarFormat.size(); ++i) {
        const QChar c = calendarFormat.at(i);
        if (c != u'%' || i + 1 == calendarFormat.size()) {
            literal += c;
            continue;
        }
        const QChar code = calendarFormat.at(++i);
        QString field;
        switch (code.unicode()) {
        case 'm':
            field = QStringLiteral("MM");
            break;
        case 'd':
            field = QStringLiteral("dd");
            break;
        case 'e':
            field = QStringLiteral("d");
            break;
        case 'y':
            field = QStringLiteral("yy");
            break;
        case 'Y':
            field = QStringLiteral("yyyy");
            break;
        case 'H':
            field = QStringLiteral("HH");
            break;
        case 'I':
            field = QStringLiteral("hh");
            break;
        case 'M':
            field = QStringLiteral("mm");
            break;
        case 'S':
            field = QStringLiteral("ss");
            break;
        case 'p':
            field = QStringLiteral("AP");
            break;
        case 'b':
            field = QStringLiteral("MMM");
            break;
        case 'B':
            field = QStringLiteral("MMMM");
            break;
        case 'a':
            field = QStringLiteral("ddd");
            break;
        case 'A':
            field = QStringLiteral("dddd");
            break;
        default:
            literal += code;
            continue;
        }
        flushLiteral();
        format += field;
    }
    flushLiteral();
    return format;
}

QString format(const QDateTime &dateTime, const QString &calendarFormat)
{
    return QLocale().toString(dateTime, qtDateFormat(calendarFormat));
}

} // namespace CalendarFormat
