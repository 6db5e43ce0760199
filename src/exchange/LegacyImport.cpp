#include "LegacyImport.h"

#include "ExchangeLog.h"
#include "ImportIdentifiers.h"
#include "OldDataConverter.h"

#include "platform/archive/PropertyList.h"
#include "platform/base/Localization.h"
#include "platform/base/StandardFolders.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// Preferences files are small; one far larger is not read into memory.
constexpr qint64 kMaxPreferencesSize = qint64(1024) * 1024 * 1024;

QString defaultsFolder()
{
    return QFileInfo(UserDefaults::standardFilePath()).absolutePath();
}

// The dictionary of the property-list file at @p path; an empty optional
// when there is no such file.
Result<std::optional<QVariantMap>> readDictionary(const QString &path)
{
    QFile file(path);
    if (!file.exists())
        return std::optional<QVariantMap>();
    if (!file.open(QIODevice::ReadOnly))
        return Error{QStringLiteral("Cannot read %1: %2").arg(path, file.errorString())};
    if (file.size() > kMaxPreferencesSize)
        return Error{QStringLiteral("%1 is too large to be a preferences file").arg(path)};
    const Result<QVariant> parsed = PropertyList::fromData(file.readAll());
    if (!parsed)
        return Error{QStringLiteral("Cannot read %1: %2").arg(path, parsed.errorMessage())};
    if (parsed.value().typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("%1 holds no dictionary").arg(path)};
    return std::optional<QVariantMap>(parsed.value().toMap());
}

// Numbers of any kind are one kind: a preference written as an integer may
// come back as a real.
bool sameKind(PropertyList::Kind a, PropertyList::Kind b)
{
    const auto number = [](PropertyList::Kind kind) {
        return kind == PropertyList::Kind::Boolean || kind == PropertyList::Kind::Integer
            || kind == PropertyList::Kind::UnsignedInteger || kind == PropertyList::Kind::Real;
    };
    return a == b || (number(a) && number(b));
}

void copyPreferences(const QVariantMap &old)
{
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    for (const QString &key : LegacyImport::carriedPreferenceKeys()) {
        const auto it = old.constFind(key);
        if (it == old.cend())
            continue;
        const QVariant current = defaults.objectForKey(key);
        if (current.isValid() && !sameKind(PropertyList::kindOf(current), PropertyList::kindOf(*it))) {
            qCWarning(lcExchange, "The old preference %s is of another kind and is not carried over", qPrintable(key));
            continue;
        }
        defaults.setValue(key, *it);
    }
}

// The old tree: "MainNoteData" wins over "MainNoteDict". Empty without either.
Result<std::optional<QVariantMap>> oldTree(const QVariantMap &old)
{
    if (const auto it = old.constFind(QStringLiteral("MainNoteData")); it != old.cend()) {
        if (it->typeId() != QMetaType::QByteArray)
            return Error{QStringLiteral("The old page tree is no data")};
        const Result<QVariant> parsed = PropertyList::fromData(it->toByteArray());
        if (!parsed)
            return Error{QStringLiteral("The old page tree cannot be read: %1").arg(parsed.errorMessage())};
        if (parsed.value().typeId() != QMetaType::QVariantMap)
            return Error{QStringLiteral("The old page tree holds no dictionary")};
        return std::optional<QVariantMap>(parsed.value().toMap());
    }
    if (const auto it = old.constFind(QStringLiteral("MainNoteDict")); it != old.cend()) {
        if (it->typeId() != QMetaType::QVariantMap)
            return Error{QStringLiteral("The old page tree holds no dictionary")};
        return std::optional<QVariantMap>(it->toMap());
    }
    return std::optional<QVariantMap>();
}

// The entries of the oldest version's page list.
QVariantList jotwellEntries(const QVariantMap &old)
{
    QVariantList entries = old.value(QStringLiteral("MyNoteArray")).toList();
    if (!entries.isEmpty())
        return entries;
    const QVariant data = old.value(QStringLiteral("MyNoteArrayData"));
    if (data.typeId() != QMetaType::QByteArray)
        return {};
    const Result<QVariant> parsed = PropertyList::fromData(data.toByteArray());
    if (!parsed) {
        qCWarning(lcExchange, "The old page list cannot be read: %s", qPrintable(parsed.errorMessage()));
        return {};
    }
    return parsed.value().toList();
}

} // namespace

namespace LegacyImport {

const QStringList &carriedPreferenceKeys()
{
    static const QStringList keys{QStringLiteral("abGroupName"), QStringLiteral("Animation"),
        QStringLiteral("AutoSave"), QStringLiteral("AutoSaveAtBG"), QStringLiteral("AutoSavePeriod"),
        QStringLiteral("BGColor"), QStringLiteral("DefaultFont"), QStringLiteral("DefaultFontSize"),
        QStringLiteral("DeleteCheck"), QStringLiteral("IconAtBackGround"), QStringLiteral("iPodPath"),
        QStringLiteral("Password"), QStringLiteral("QuitApp"), QStringLiteral("se-XCMD"), QStringLiteral("TabBarStyle"),
        QStringLiteral("TitleSize"), QStringLiteral("UseTopLineAsTitle")};
    return keys;
}

QString defaultPreferencesPath()
{
    return defaultsFolder() + QStringLiteral("/Jotwell2.plist");
}

QString defaultTextFolder()
{
    return StandardFolders::dataHome() + QStringLiteral("/Jotwell2");
}

QString defaultJotwellDataPath()
{
    return defaultsFolder() + QStringLiteral("/Jotwell.plist");
}

Result<MemoPtr> importOldUserDefaults()
{
    return importOldUserDefaults(defaultPreferencesPath(), defaultTextFolder());
}

Result<MemoPtr> importOldUserDefaults(
    const QString &preferencesPath, const QString &textFolder, Preferences preferences)
{
    const Result<std::optional<QVariantMap>> old = readDictionary(preferencesPath);
    if (!old)
        return Error{old.errorMessage()};
    if (!old.value())
        return MemoPtr();
    if (preferences == Preferences::CarryOver) {
        copyPreferences(*old.value());
        (void)UserDefaults::standardUserDefaults().synchronize();
    }

    const Result<std::optional<QVariantMap>> tree = oldTree(*old.value());
    if (!tree)
        return Error{tree.errorMessage()};
    if (!tree.value())
        return MemoPtr();
    OldDataConverter::Context context = OldDataConverter::context(textFolder);
    Result<MemoPtr> root = OldDataConverter::memoWithOldDictionary(*tree.value(), context);
    if (!root)
        return root;
    root.value()->setTitle(appName());
    OldDataConverter::finish(context);
    return root;
}

Result<MemoPtr> importEarlierVersionPages(const QString &preferencesPath, const QString &textFolder)
{
    Result<MemoPtr> root = importOldUserDefaults(preferencesPath, textFolder, Preferences::Leave);
    if (!root)
        return root;
    if (!root.value()) {
        return Error{QCoreApplication::translate("LegacyImport", "%1 holds no pages of the earlier version")
                         .arg(QDir::toNativeSeparators(preferencesPath))};
    }
    root.value()->setTitle(QCoreApplication::translate("LegacyImport", "Data of the Earlier Version"));
    ImportIdentifiers::giveNewIDs(root.value());
    return root;
}

Result<MemoPtr> importJotwellData()
{
    return importJotwellData(defaultJotwellDataPath());
}

Result<MemoPtr> importJotwellData(const QString &path)
{
    const Result<std::optional<QVariantMap>> old = readDictionary(path);
    if (!old)
        return Error{old.errorMessage()};
    if (!old.value())
        return MemoPtr();

    // That version kept its texts in the dictionaries: there is no folder of text files.
    OldDataConverter::Context context = OldDataConverter::context();
    std::vector<MemoPtr> children;
    for (const QVariant &entry : jotwellEntries(*old.value())) {
        if (entry.typeId() != QMetaType::QVariantMap)
            continue;
        Result<MemoPtr> child = OldDataConverter::memoWithOldDictionary(entry.toMap(), context);
        if (!child)
            return child;
        children.push_back(std::move(child).value());
    }
    // Raised first, so that the new top page's ID lies above all of theirs.
    OldDataConverter::finish(context);
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(localizedString(QStringLiteral("JotwellData Title")));
    memo->setMemoDataWithPlainText(localizedString(QStringLiteral("Imported Data From Jotwell")));
    for (MemoPtr &child : children)
        memo->appendChild(std::move(child));
    return memo;
}

} // namespace LegacyImport
