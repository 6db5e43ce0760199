#pragma once

#include "platform/base/Result.h"

#include <QString>

/**
 * Single files packed into ".tar.gz" archives in the application's support
 * folder ("$XDG_DATA_HOME/<appName>"), for the few files worth keeping a
 * copy of outside the data folder, the preferences file first.
 */
class AppSupportBackUp
{
public:
    explicit AppSupportBackUp(QString appName);

    [[nodiscard]] const QString &appName() const { return m_appName; }
    void setAppName(const QString &appName) { m_appName = appName; }

    /** "$XDG_DATA_HOME/<appName>", made when missing; empty when it cannot be. */
    [[nodiscard]] QString applicationSupportPath() const;
    /** The folder of the preferences file. */
    [[nodiscard]] static QString preferenceFolderPath();
    /** The application's preferences file. */
    [[nodiscard]] static QString preferenceFilePath();

    /**
     * Packs the file at @p filePath into "<applicationSupportPath>/<name>.tar.gz",
     * @p archiveName or else the file's own name, replacing an older archive
     * of that name only once the new one is complete. Answers the archive's path.
     */
    [[nodiscard]] Result<QString> backUpFile(const QString &filePath, const QString &archiveName = {}) const;
    /** Backs up the preferences file under its own name into @p appName's support folder. */
    static Result<QString> backupPreferenceFileWithAppName(const QString &appName);

    /**
     * Unpacks "<applicationSupportPath>/<last component of @p filePath>.tar.gz"
     * into a new folder beside it ("<name> restored", numbered when taken)
     * and answers that folder; with @p reveal, shows it in the file manager.
     * A damaged archive leaves no folder.
     */
    [[nodiscard]] Result<QString> extractBackUpFile(const QString &filePath, bool reveal = true) const;

private:
    QString m_appName;
};
