#include "JW3iPodWriter.h"

#include "ExchangeLog.h"

#include "platform/settings/UserDefaults.h"

namespace {

const QString kPathKey = QStringLiteral("iPodPath");

} // namespace

QString JW3iPodWriter::titleKey() const
{
    return QStringLiteral("Title");
}

QString JW3iPodWriter::noteKey() const
{
    return QStringLiteral("NoteString");
}

QString JW3iPodWriter::statusKey() const
{
    return QStringLiteral("Status");
}

QString JW3iPodWriter::childrenKey() const
{
    return QStringLiteral("Children");
}

QString JW3iPodWriter::defaultStatus() const
{
    return QStringLiteral("JW3 ");
}

QString JW3iPodWriter::iPodPath() const
{
    return UserDefaults::standardUserDefaults().stringForKey(kPathKey);
}

void JW3iPodWriter::setiPodPath(const QString &path)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(kPathKey, path);
    if (const Status written = defaults.synchronize(); !written)
        qCWarning(lcExchange) << "iPod:" << written.errorMessage();
}
