#include "SettingsFile.h"

#include "ModelLog.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"

#include <QFileInfo>

namespace SettingsFile {
namespace {

const QString kWindowIDsKey = QStringLiteral("windowIDs");

} // namespace

const QStringList &preferenceKeys()
{
    static const QStringList keys = {
        QStringLiteral("abGroupName"),
        QStringLiteral("Animation"),
        QStringLiteral("ApplicationVersion"),
        QStringLiteral("AutoSave"),
        QStringLiteral("AutoSaveAtBG"),
        QStringLiteral("AutoSavePeriod"),
        QStringLiteral("BGColor"),
        QStringLiteral("createNewMemoAsPlainText"),
        QStringLiteral("DefaultFont"),
        QStringLiteral("DefaultFontSize"),
        QStringLiteral("DeleteCheck"),
        QStringLiteral("HomeID"),
        QStringLiteral("iPodPath"),
        QStringLiteral("LastSynchronizedDate"),
        QStringLiteral("NoteWindowStyleTag"),
        QStringLiteral("Password"),
        QStringLiteral("QuitApp"),
        QStringLiteral("se-XCMD"),
        QStringLiteral("TabBarStyle"),
        QStringLiteral("TitleSize"),
    };
    return keys;
}

QVariantMap dictionaryFromDefaults(const UserDefaults &defaults, const QList<qint64> &windowIDs)
{
    QVariantList ids;
    ids.reserve(windowIDs.size());
    for (qint64 id : windowIDs)
        ids.append(id);
    QVariantMap dictionary{{kWindowIDsKey, ids}};
    for (const QString &key : preferenceKeys()) {
        const QVariant value = defaults.objectForKey(key);
        if (value.isValid())
            dictionary.insert(key, value);
    }
    return dictionary;
}

void copyPreferencesTo(const QVariantMap &dictionary, UserDefaults &defaults)
{
    for (const QString &key : preferenceKeys()) {
        const auto it = dictionary.constFind(key);
        if (it == dictionary.cend() || !it->isValid() || it->isNull())
            continue;
        if (!defaults.setValue(key, *it))
            qCWarning(lcModel) << "The settings file's value for" << key << "is not a preference; it is ignored";
    }
}

QList<qint64> windowIDs(const QVariantMap &dictionary)
{
    QList<qint64> ids;
    for (const QVariant &value : dictionary.value(kWindowIDsKey).toList()) {
        bool ok = false;
        const qint64 id = value.toLongLong(&ok);
        if (ok && value.typeId() != QMetaType::QString)
            ids.append(id);
    }
    return ids;
}

Result<std::optional<QVariantMap>> read(const QString &path)
{
    if (!QFileInfo::exists(path))
        return std::optional<QVariantMap>();
    auto bytes = FileContents::read(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    auto root = TypedStreamDecoder::unarchiveObjectWithData(bytes.value());
    if (!root)
        return Error{root.errorMessage()};
    if (root.value().typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("it does not hold a dictionary")};
    return std::optional<QVariantMap>(root.value().toMap());
}

Status write(const QString &path, const QVariantMap &dictionary)
{
    auto bytes = TypedStreamWriter::archivedDataWithRootObject(dictionary);
    if (!bytes)
        return Error{bytes.errorMessage()};
    return AtomicFileWriter::writeFile(path, bytes.value());
}

} // namespace SettingsFile
