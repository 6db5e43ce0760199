#pragma once

// Lets GoogleTest show Qt values in failure messages instead of raw bytes.

#include <QByteArray>
#include <QDebug>
#include <QString>
#include <QVariant>

#include <ostream>

inline void PrintTo(const QString &value, std::ostream *out)
{
    *out << '"' << value.toStdString() << '"';
}

inline void PrintTo(const QByteArray &value, std::ostream *out)
{
    *out << "QByteArray(" << value.toHex(' ').toStdString() << ')';
}

inline void PrintTo(const QVariant &value, std::ostream *out)
{
    QString text;
    QDebug(&text).nospace() << value;
    *out << text.toStdString();
}

inline void PrintTo(const QVariantMap &value, std::ostream *out)
{
    PrintTo(QVariant(value), out);
}

inline void PrintTo(const QVariantList &value, std::ostream *out)
{
    PrintTo(QVariant(value), out);
}

inline void PrintTo(const QStringList &value, std::ostream *out)
{
    PrintTo(QVariant(value), out);
}
