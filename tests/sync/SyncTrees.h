#pragma once

#include "model/JWMemo.h"

#include <QDateTime>
#include <QTimeZone>
#include <QVariantMap>

// Pages with chosen IDs and dates, and the phone's dictionaries of them.
namespace SyncTrees {

inline QDateTime day(int n)
{
    return QDateTime(QDate(2020, 1, 1).addDays(n), QTime(12, 0), QTimeZone::utc());
}

/** A page with ID @p id whose both dates are @p dayNumber, appended to @p parent. */
inline MemoPtr page(const QString &title, qint64 id, int dayNumber, const MemoPtr &parent = nullptr)
{
    MemoPtr memo = JWMemo::bareMemo();
    memo->setMemoID(id);
    memo->setTitle(title);
    memo->setMemoDataWithPlainText(title + QStringLiteral(" text"));
    memo->setCreatedAt(day(dayNumber));
    memo->setIsEdited(false);
    memo->setModifiedAt(day(dayNumber));
    if (parent)
        parent->appendChild(memo);
    return memo;
}

inline QVariantMap entry(qint64 id, const QString &title, int dayNumber, QVariantList children = {})
{
    return QVariantMap{{QStringLiteral("memoID"), id}, {QStringLiteral("title"), title},
        {QStringLiteral("plainText"), QString(title + QStringLiteral(" text"))},
        {QStringLiteral("createdAt"), day(dayNumber)}, {QStringLiteral("modifiedAt"), day(dayNumber)},
        {QStringLiteral("children"), children}};
}

inline QStringList titles(const MemoPtr &parent)
{
    QStringList list;
    for (const MemoPtr &child : parent->children())
        list.append(child->title());
    return list;
}

inline QStringList titles(const QVariantMap &dictionary)
{
    QStringList list;
    for (const QVariant &child : dictionary.value(QStringLiteral("children")).toList())
        list.append(child.toMap().value(QStringLiteral("title")).toString());
    return list;
}

} // namespace SyncTrees
