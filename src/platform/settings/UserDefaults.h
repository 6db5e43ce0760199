#pragma once

#include "platform/base/Result.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <QVariant>
#include <QVariantMap>

#include <functional>

/**
 * The user's preferences: stored values over registered defaults.
 *
 * A value read by key is the stored one if there is one, else the registered
 * default, else nothing. Values are property-list values (bool, 64-bit
 * integer, double, string, bytes, date, lists and maps of these) and keep their
 * types across a restart: they are kept in an XML property list under the XDG
 * config folder. Changes are written shortly after they happen, on
 * synchronize(), when the application quits and when the object is destroyed,
 * always atomically.
 *
 * A settings file that cannot be read or parsed never stops start-up: it is
 * renamed aside (so nothing in it is lost), a warning is logged and the
 * registered values apply. If it cannot even be renamed, it is left alone and
 * nothing is written over it.
 *
 * Lives on the GUI thread, like everything that uses it.
 */
class UserDefaults final : public QObject
{
    Q_OBJECT
public:
    /** Defaults kept in the file at @p filePath (read now, written on change). */
    explicit UserDefaults(QString filePath, QObject *parent = nullptr);
    ~UserDefaults() override;

    /** The application's defaults, in "jotwell3/defaults.plist" under the config folder. */
    static UserDefaults &standardUserDefaults();
    /**
     * Writes and drops the application's defaults, so that the next
     * standardUserDefaults() reads them afresh from the current XDG folders.
     */
    static void resetStandardUserDefaults();
    /** Where standardUserDefaults() keeps its file for the current XDG folders. */
    [[nodiscard]] static QString standardFilePath();

    /** Adds @p defaults to the registered values (later registrations win). */
    void registerDefaults(const QVariantMap &defaults);

    /** The stored value, else the registered one, else an invalid QVariant. */
    [[nodiscard]] QVariant objectForKey(const QString &key) const;
    /** True for a true boolean, a non-zero number, or the strings "YES", "true" and non-zero numbers. */
    [[nodiscard]] bool boolForKey(const QString &key) const;
    /** A number (truncated), a boolean as 0 or 1, or a string's leading integer; else 0. */
    [[nodiscard]] qint64 integerForKey(const QString &key) const;
    /** A number, a boolean as 0 or 1, or a string's numeric value; else 0. */
    [[nodiscard]] double floatForKey(const QString &key) const;
    /** A string, or a number written in decimal; else an empty string. */
    [[nodiscard]] QString stringForKey(const QString &key) const;
    /** Bytes only; anything else gives empty bytes. */
    [[nodiscard]] QByteArray dataForKey(const QString &key) const;
    /** A list only; anything else gives an empty list. */
    [[nodiscard]] QVariantList arrayForKey(const QString &key) const;
    /** A map only; anything else gives an empty map. */
    [[nodiscard]] QVariantMap dictionaryForKey(const QString &key) const;

    /**
     * Stores @p value under @p key. An invalid value removes the key. A value
     * that is not a property-list value is refused with a warning.
     * @return false if the value was refused.
     */
    bool setValue(const QString &key, const QVariant &value);
    /** Forgets the stored value, so that the registered one (if any) applies again. */
    void removeObjectForKey(const QString &key);
    /** True if a value is stored (not merely registered) under @p key. */
    [[nodiscard]] bool hasStoredValue(const QString &key) const;

    /** Writes pending changes now. Fails if the file cannot be written. */
    Status synchronize();

    [[nodiscard]] QString filePath() const { return m_filePath; }

    /**
     * Calls @p handler(oldValue, newValue) whenever the value read for @p key
     * changes, until @p context is destroyed.
     */
    QMetaObject::Connection observe(const QString &key, const QObject *context,
        std::function<void(const QVariant &oldValue, const QVariant &newValue)> handler);

Q_SIGNALS:
    /** The value read for @p key changed from @p oldValue to @p newValue. */
    void valueChanged(const QString &key, const QVariant &oldValue, const QVariant &newValue);

private:
    void load();
    void setAside(const QString &reason);
    void storeValue(const QString &key, const QVariant &value);
    void scheduleWrite();

    QString m_filePath;
    QVariantMap m_stored;
    QVariantMap m_registered;
    QTimer m_writeTimer;
    bool m_dirty = false;
    bool m_fileUntouchable = false;
};
