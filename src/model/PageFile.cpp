#include "PageFile.h"

#include "JWMemo.h"
#include "ModelLog.h"

#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/base/FileSetAside.h"
#include "platform/base/FreeFileName.h"
#include "platform/settings/FolderPaths.h"
#include "platform/archive/PropertyList.h"

#include <QFile>
#include <QFileInfo>

#include <utility>

namespace PageFile {
namespace {

const QString kMemoDataKey = QStringLiteral("memoData");
const QString kIsPlainTextMemoKey = QStringLiteral("isPlainTextMemo");

QVariant stringValue(const QString &text)
{
    return text.isNull() ? QVariant() : QVariant(text);
}

QVariant dateValue(const QDateTime &date)
{
    return date.isValid() ? QVariant(date) : QVariant();
}

} // namespace

QVariantMap dictionaryForMemo(const JWMemo &memo)
{
    // In this order. A value the page does not have is left out; the text
    // is always written, so that every page file holds its page's title and
    // text even when the tree is lost.
    const std::pair<QString, QVariant> entries[] = {
        {QStringLiteral("title"), stringValue(memo.title())},
        {QStringLiteral("memoID"), memo.memoID()},
        {QStringLiteral("locked"), memo.locked()},
        {kIsPlainTextMemoKey, memo.isPlainTextMemo()},
        {QStringLiteral("showRuler"), memo.showRuler()},
        {QStringLiteral("showLineNumbers"), memo.showLineNumbers()},
        {QStringLiteral("open"), memo.protectWithPassword()},
        {QStringLiteral("createdAt"), dateValue(memo.createdAt())},
        {QStringLiteral("modifiedAt"), dateValue(memo.modifiedAt())},
        {QStringLiteral("referenceNumber"), memo.referenceNumber()},
        {QStringLiteral("tags"), memo.hasTags() ? QVariant(memo.tags()) : QVariant()},
        {kMemoDataKey, memo.memoData()},
    };
    QVariantMap dictionary;
    for (const auto &[key, value] : entries) {
        if (!value.isValid() || (value.typeId() == QMetaType::QByteArray && value.toByteArray().isNull()))
            continue;
        dictionary.insert(key, value);
    }
    return dictionary;
}

Status write(qint64 memoID, const QVariantMap &dictionary)
{
    const QString path = notePathForID(memoID);
    if (path.isEmpty())
        return Error{QStringLiteral("There is no folder for page files")};
    auto bytes = PropertyList::toData(dictionary, PropertyList::Format::Xml);
    if (!bytes)
        return Error{QStringLiteral("Page %1: %2").arg(memoID).arg(bytes.errorMessage())};
    return AtomicFileWriter::writeFile(path, bytes.value());
}

Status writeMemo(const JWMemo &memo)
{
    return write(memo.memoID(), dictionaryForMemo(memo));
}

Result<std::optional<QVariantMap>> load(qint64 memoID)
{
    return loadPath(notePathForID(memoID));
}

Result<std::optional<QVariantMap>> loadPath(const QString &path)
{
    // Only a file can be a damaged page file; anything else in its place makes writing fail instead.
    if (path.isEmpty() || !QFileInfo(path).isFile())
        return std::optional<QVariantMap>();
    auto bytes = FileContents::read(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    auto parsed = PropertyList::fromData(bytes.value());
    if (!parsed || parsed.value().typeId() != QMetaType::QVariantMap)
        return Error{QStringLiteral("The page file %1 cannot be read (%2)")
                         .arg(path, parsed ? QStringLiteral("it holds no dictionary") : parsed.errorMessage())};
    return std::optional<QVariantMap>(parsed.value().toMap());
}

std::optional<QVariantMap> read(qint64 memoID)
{
    auto loaded = load(memoID);
    if (!loaded) {
        qCWarning(lcModel).noquote() << loaded.errorMessage();
        return std::nullopt;
    }
    return loaded.value();
}

Result<QString> setAsideUnreadable(qint64 memoID)
{
    const QString path = notePathForID(memoID);
    if (const auto aside = FileSetAside::moveAside(path, QStringLiteral("unreadable")))
        return *aside;
    return Error{
        QStringLiteral("The unreadable page file %1 could not be moved aside, so it is not written over").arg(path)};
}

QByteArray memoDataIn(const QVariantMap &dictionary)
{
    const QVariant data = dictionary.value(kMemoDataKey);
    return data.typeId() == QMetaType::QByteArray ? data.toByteArray() : QByteArray();
}

std::optional<bool> isPlainTextMemoIn(const QVariantMap &dictionary)
{
    const QVariant flag = dictionary.value(kIsPlainTextMemoKey);
    switch (flag.typeId()) {
    case QMetaType::Bool:
        return flag.toBool();
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        return flag.toLongLong() != 0;
    default:
        return std::nullopt;
    }
}

QByteArray memoDataForID(qint64 memoID)
{
    const auto dictionary = read(memoID);
    return dictionary ? memoDataIn(*dictionary) : QByteArray();
}

bool remove(qint64 memoID)
{
    const QString path = notePathForID(memoID);
    return !path.isEmpty() && QFile::remove(path);
}

bool exists(qint64 memoID)
{
    const QString path = notePathForID(memoID);
    return !path.isEmpty() && QFileInfo::exists(path);
}

bool setAsideStale(qint64 memoID)
{
    const QString path = notePathForID(memoID);
    if (path.isEmpty() || !QFileInfo::exists(path))
        return true;
    const QString trash = trashFolderPath();
    if (!trash.isEmpty()) {
        const auto numbered = [&](int n) -> QString {
            return trash + QStringLiteral("/%1-%2.jw3page").arg(memoID).arg(n);
        };
        const QString target = FreeFileName::firstFree(trash + u'/' + QFileInfo(path).fileName(), numbered);
        if (QFile::rename(path, target))
            return true;
    }
    qCWarning(lcModel, "The stale page file %s could not be moved aside; it stays, and no page takes its ID",
        qPrintable(path));
    return false;
}

void removeWebArchives(qint64 memoID)
{
    const QString folder = noteDataFolderPath();
    if (folder.isEmpty())
        return;
    for (const QString &suffix : {QStringLiteral(".webarchive"), QStringLiteral("_mobile.webarchive")})
        QFile::remove(folder + u'/' + QString::number(memoID) + suffix);
}

} // namespace PageFile
