#include "RegisteredDefaults.h"

#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"

#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>

namespace {

// "BGColor" holds an archived colour, as the platform keeps it: a typed
// stream of one NSColor, here calibrated white.
QByteArray archivedWhiteColor()
{
    return TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(ArchivedColor::calibratedWhite(1, 1)))
        .valueOr(QByteArray());
}

// The name of the system's text font; 14 points is the default size.
QString systemFontName()
{
    if (qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return QFontDatabase::systemFont(QFontDatabase::GeneralFont).family();
    return QStringLiteral("Sans Serif");
}

} // namespace

QVariantMap RegisteredDefaults::table()
{
    return {
        {QStringLiteral("HomeID"), qint64(0)},
        {QStringLiteral("QuitApp"), true},
        {QStringLiteral("DeleteCheck"), true},
        {QStringLiteral("AutoSave"), true},
        {QStringLiteral("AutoSavePeriod"), qint64(5)},
        {QStringLiteral("AutoSaveAtBG"), true},
        {QStringLiteral("UseTopLineAsTitle"), false},
        {QStringLiteral("Animation"), true},
        {QStringLiteral("IconAtBackGround"), false},
        {QStringLiteral("autoCheckForUpdate"), true},
        {QStringLiteral("DefaultFont"), systemFontName()},
        {QStringLiteral("DefaultFontSize"), 14.0},
        {QStringLiteral("BGColor"), archivedWhiteColor()},
        {QStringLiteral("TitleSize"), qint64(12)},
        {QStringLiteral("TabBarStyle"), QStringLiteral("Aqua")},
        {QStringLiteral("autoBackupData"), true},
        {QStringLiteral("TextMagnification"), 100.0},
    };
}

void RegisteredDefaults::registerWith(UserDefaults &defaults)
{
    defaults.registerDefaults(table());
}
