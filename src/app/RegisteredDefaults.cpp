#include "RegisteredDefaults.h"

#include "platform/base/PreferenceKeys.h"
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
        {PreferenceKeys::HomeID, qint64(0)},
        {PreferenceKeys::QuitApp, true},
        {PreferenceKeys::DeleteCheck, true},
        {PreferenceKeys::AutoSave, true},
        {PreferenceKeys::AutoSavePeriod, qint64(5)},
        {PreferenceKeys::AutoSaveAtBG, true},
        {PreferenceKeys::UseTopLineAsTitle, false},
        {PreferenceKeys::Animation, true},
        {PreferenceKeys::IconAtBackGround, false},
        {PreferenceKeys::DefaultFont, systemFontName()},
        {PreferenceKeys::DefaultFontSize, 14.0},
        {PreferenceKeys::BGColor, archivedWhiteColor()},
        {PreferenceKeys::TitleSize, qint64(12)},
        {PreferenceKeys::TabBarStyle, QStringLiteral("Aqua")},
        {PreferenceKeys::autoBackupData, true},
        {PreferenceKeys::TextMagnification, 100.0},
        {PreferenceKeys::SyncAskBeforeNewDevice, true},
    };
}

void RegisteredDefaults::registerWith(UserDefaults &defaults)
{
    defaults.registerDefaults(table());
}
