#pragma once

#include "platform/base/NotificationCenter.h"

#include <QLatin1StringView>
#include <QObject>

/** Counts the notifications of one name (from one sender, or any) and keeps the last sender. */
class Posts : public QObject
{
public:
    explicit Posts(QLatin1StringView name, const QObject *sender = nullptr)
    {
        NotificationCenter::defaultCenter().addObserver(this, name, sender, [this](const Notification &note) {
            ++count;
            lastObject = note.object;
        });
    }
    int count = 0;
    QObject *lastObject = nullptr;
};
