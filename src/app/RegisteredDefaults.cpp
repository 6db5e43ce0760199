#include "RegisteredDefaults.h"

#include "platform/UserDefaults.h"

#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>

namespace {

// The platform-archived white colour (calibrated white 1.0, alpha 1.0), the
// form in which "BGColor" is stored: a typed stream holding one NSColor.
QByteArray archivedWhiteColor()
{
    static const unsigned char bytes[] = {
        0x04, 0x0b, 's', 't', 'r', 'e', 'a', 'm', 't', 'y', 'p', 'e', 'd', 0x81, 0xe8, 0x03,
        0x84, 0x01, '@', 0x84, 0x84, 0x84, 0x07, 'N', 'S', 'C', 'o', 'l', 'o', 'r', 0x00,
        0x84, 0x84, 0x08, 'N', 'S', 'O', 'b', 'j', 'e', 'c', 't', 0x00, 0x85,
        0x84, 0x01, 'c', 0x03,             // kind 3: calibrated white
        0x84, 0x02, 'f', 'f', 0x01, 0x01,  // white 1, alpha 1
        0x86,
    };
    return QByteArray(reinterpret_cast<const char *>(bytes), sizeof bytes);
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
