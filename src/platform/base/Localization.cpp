#include "Localization.h"

#include "PlatformLog.h"

#include <QCoreApplication>
#include <QLocale>
#include <QTranslator>

namespace {

const QString kTranslationFolder = QStringLiteral(":/i18n");
const QString kTranslationBaseName = QStringLiteral("jotwell3");

} // namespace

void Localization::install()
{
    auto *app = QCoreApplication::instance();
    if (!app) {
        qCWarning(lcPlatform) << "Localization::install needs the application object";
        return;
    }
    const QString englishName = QStringLiteral("jw-english-strings");
    if (app->findChild<QTranslator *>(englishName, Qt::FindDirectChildrenOnly))
        return;

    // Translators installed later are searched first: English goes in first,
    // so it only answers the keys the user's language leaves out.
    auto *english = new QTranslator(app);
    english->setObjectName(englishName);
    if (english->load(kTranslationBaseName + QStringLiteral("_en"), kTranslationFolder))
        QCoreApplication::installTranslator(english);
    else
        qCWarning(lcPlatform) << "The English strings table is missing from the resources";

    auto *local = new QTranslator(app);
    if (local->load(QLocale(), kTranslationBaseName, QStringLiteral("_"), kTranslationFolder)
        && !local->language().startsWith(QLatin1String("en")))
        QCoreApplication::installTranslator(local);
    else
        delete local;
}

QString Localization::localizedString(const QString &key, const char *table)
{
    const QByteArray utf8 = key.toUtf8();
    return QCoreApplication::translate(table, utf8.constData());
}
