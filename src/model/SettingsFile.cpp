#include "SettingsFile.h"

#include "ModelLog.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "platform/settings/UserDefaults.h"

#include <QFileInfo>

namespace SettingsFile {

const QStringList &preferenceKeys()
{
    static const QStringList keys = {
        PreferenceKeys::abGroupName,
        PreferenceKeys::Animation,
        PreferenceKeys::ApplicationVersion,
        PreferenceKeys::AutoSave,
        PreferenceKeys::AutoSaveAtBG,
        PreferenceKeys::AutoSavePeriod,
        PreferenceKeys::BGColor,
        PreferenceKeys::createNewMemoAsPlainText,
        PreferenceKeys::DefaultFont,
        PreferenceKeys::DefaultFontSize,
        PreferenceKeys::DeleteCheck,
        PreferenceKeys::HomeID,
        PreferenceKeys::iPodPath,
        PreferenceKeys::LastSynchronizedDate,
        PreferenceKeys::NoteWindowStyleTag,
        PreferenceKeys::Password,
        PreferenceKeys::QuitApp,
        PreferenceKeys::pagePassword,
        PreferenceKeys::TabBarStyle,
        PreferenceKeys::TitleSize,
    };
    return keys;
}

QVariantMap dictionaryFromDefaults(const UserDefaults &defaults, const QList<qint64> &windowIDs)
{
    QVariantList ids;
    ids.reserve(windowIDs.size());
    for (qint64 id : windowIDs)
        ids.append(id);
    QVariantMap dictionary{{PreferenceKeys::windowIDs, ids}};
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
    for (const QVariant &value : dictionary.value(PreferenceKeys::windowIDs).toList()) {
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
    // A save with nothing changed writes nothing.
    if (const auto current = FileContents::read(path); current && current.value() == bytes.value())
        return {};
    return AtomicFileWriter::writeFile(path, bytes.value());
}

} // namespace SettingsFile
