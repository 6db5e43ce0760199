#include "iPodWriter.h"

#include "ExchangeLog.h"
#include "HierarchyExport.h"

#include "platform/archive/PropertyList.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/base/Localization.h"
#include "platform/base/StandardFolders.h"
#include "util/StringMarkers.h"
#include "util/StringUtility.h"

#include <QDir>
#include <QFileInfo>
#include <QStringEncoder>

namespace {

const char *const kTable = "iPodWriter";
const QString kPathKey = QStringLiteral("iPodPath");

// The header alone is 25 characters: a text no longer than that is empty.
const QString kNoteHeader = QStringLiteral("<?xml encoding=\"UTF16\"?>\n");
constexpr qsizetype kNotePartLength = 2000;
constexpr qsizetype kCardLength = 1000;
// A card piece ends at the last line break in this many characters before its limit.
constexpr qsizetype kCardBreakWindow = 200;
// A title is cut so that the longest part name ("<title>0000.txt") still fits a file name.
const QString kNoteNameRoom = QStringLiteral("0000.txt");

QString text(const char *key)
{
    return localizedString(QString::fromLatin1(key), kTable);
}

QString plistPath()
{
    return StandardFolders::dataHome() + QStringLiteral("/Brindle/iPodData.plist");
}

QByteArray utf16WithByteOrderMark(const QString &string)
{
    QStringEncoder encoder(QStringConverter::Utf16LE, QStringConverter::Flag::WriteBom);
    return encoder.encode(string);
}

void writeUtf16(const QString &path, const QString &string)
{
    if (const Status written = AtomicFileWriter::writeFile(path, utf16WithByteOrderMark(string)); !written)
        qCWarning(lcExchange) << "iPod:" << written.errorMessage();
}

// The padding that keeps part names sorting in order: it shrinks by one
// digit as the part number gains one.
QString initialPadding(qsizetype textLength)
{
    if (textLength < 18001)
        return {};
    if (textLength < 180001)
        return QStringLiteral("0");
    return QStringLiteral("00");
}

} // namespace

QString iPodWriter::titleKey() const
{
    return QStringLiteral("Title");
}

QString iPodWriter::noteKey() const
{
    return QStringLiteral("Memo");
}

QString iPodWriter::statusKey() const
{
    return QStringLiteral("Status");
}

QString iPodWriter::childrenKey() const
{
    return QStringLiteral("Children");
}

QString iPodWriter::defaultStatus() const
{
    return QStringLiteral("Mm ");
}

QString iPodWriter::iPodPath() const
{
    const Result<QByteArray> bytes = FileContents::read(plistPath());
    if (!bytes)
        return {};
    const Result<QVariant> plist = PropertyList::fromData(bytes.value());
    if (!plist)
        return {};
    return plist.value().toMap().value(kPathKey).toString();
}

void iPodWriter::setiPodPath(const QString &path)
{
    if (path.isEmpty() || !QFileInfo::exists(path))
        return;
    const QString plist = plistPath();
    if (!QDir().mkpath(QFileInfo(plist).path())) {
        qCWarning(lcExchange) << "iPod: cannot create the folder of" << plist;
        return;
    }
    const Result<QByteArray> bytes = PropertyList::toData(QVariantMap{{kPathKey, path}}, PropertyList::Format::Xml);
    if (!bytes) {
        qCWarning(lcExchange) << "iPod:" << bytes.errorMessage();
        return;
    }
    if (const Status written = AtomicFileWriter::writeFile(plist, bytes.value()); !written)
        qCWarning(lcExchange) << "iPod:" << written.errorMessage();
}

bool iPodWriter::isiPodReady() const
{
    const QString path = iPodPath();
    return !path.isEmpty() && QFileInfo(path).isDir();
}

QString iPodWriter::initialFolderForChooser(const QStringList &volumeRoots) const
{
    if (isiPodReady())
        return iPodPath();
    for (const QString &root : volumeRoots) {
        const QStringList volumes = QDir(root).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
        for (const QString &volume : volumes) {
            for (const QString &folder : {QStringLiteral("Notes"), QStringLiteral("Contacts")}) {
                const QString path = root + u'/' + volume + u'/' + folder;
                if (QFileInfo(path).isDir())
                    return path;
            }
        }
    }
    return QDir::homePath();
}

QStringList iPodWriter::removableVolumeRoots()
{
    QStringList roots;
    if (const QString user = qEnvironmentVariable("USER"); !user.isEmpty())
        roots << QStringLiteral("/media/") + user << QStringLiteral("/run/media/") + user;
    roots << QStringLiteral("/media");
    return roots;
}

void iPodWriter::writeData(const QVariantMap &data) const
{
    if (!isiPodReady())
        return;
    const QString path = QDir::cleanPath(iPodPath());
    if (QFileInfo(path).fileName() == u"Notes")
        writeDataAsNote(data, path);
    else
        writeDataAsvCard(data);
}

void iPodWriter::writeDataAsNote(const QVariantMap &data, const QString &folderPath) const
{
    if (!QDir().mkpath(folderPath)) {
        qCWarning(lcExchange) << "iPod: cannot create the folder" << folderPath;
        return;
    }
    const QString note = kNoteHeader + noteStringFromDictionary(data);
    const QString basePath
        = folderPath + u'/' + HierarchyExport::fileBaseName(data.value(titleKey()).toString(), kNoteNameRoom);
    const QVariantList children = data.value(childrenKey()).toList();

    if (note.size() >= kNotePartLength) {
        QString padding = initialPadding(note.size());
        qsizetype start = 0;
        for (int number = 1; start < note.size(); ++number) {
            if (number == 10 || number == 100)
                padding.chop(1);
            const QString rest = note.mid(start);
            const qsizetype length = StringUtility::dividePointUpToLength(rest, kNotePartLength);
            writeUtf16(basePath + padding + QString::number(number) + QStringLiteral(".txt"), rest.left(length));
            start += length;
        }
    } else if (note.size() > kNoteHeader.size() || children.isEmpty()) {
        writeUtf16(basePath + QStringLiteral(".txt"), note);
    }

    for (const QVariant &child : children)
        writeDataAsNote(child.toMap(), basePath);
}

void iPodWriter::writeDataAsvCard(const QVariantMap &data) const
{
    QString cards;
    makevCardString(cards, data);
    const QString name = HierarchyExport::fileBaseName(data.value(titleKey()).toString(), QStringLiteral("vcf"));
    writeUtf16(iPodPath() + u'/' + name + QStringLiteral(".vcf"), cards);
}

void iPodWriter::makevCardString(QString &string, const QVariantMap &data) const
{
    for (const QVariantMap &piece : divideOneMemoAtReturnCode(data))
        string += vCardStringFromDictionary(piece);
    for (const QVariant &child : data.value(childrenKey()).toList())
        makevCardString(string, child.toMap());
}

QString iPodWriter::vCardStringFromDictionary(const QVariantMap &data) const
{
    // One pass of arg() over all twelve, so that a "%1" in a page's text is never replaced.
    return text("vCardFormat")
        .arg(text("vCardDefaultHeader"), statusOf(data), data.value(titleKey()).toString(), text("vCardTitleBottom"),
            text("vCardDateTop"), data.value(QStringLiteral("Date")).toString(), text("ReturnChar3"),
            data.value(QStringLiteral("vCard")).toString(), text("vCardMemoTop"),
            escapeCharactersAsvCard(noteStringFromDictionary(data)), text("vCardBottom"), text("vCardFooterB"));
}

QString iPodWriter::escapeCharactersAsvCard(const QString &string)
{
    const QString escaped = QStringLiteral("\\n");
    QString result = string;
    for (const char *key : {"ReturnChar1", "ReturnChar2", "ReturnChar3"})
        result = StringUtility::replaceStringFrom(result, text(key), escaped);
    return result;
}

QString iPodWriter::noteStringFromDictionary(const QVariantMap &data) const
{
    return data.value(noteKey()).toString();
}

QList<QVariantMap> iPodWriter::divideOneMemoAtReturnCode(const QVariantMap &data) const
{
    QString note = noteStringFromDictionary(data);
    if (note.size() <= kCardLength)
        return {data};

    note = StringUtility::replaceReturnCode(note);
    const QString title = data.value(titleKey()).toString();
    const QString status = statusOf(data);
    QList<QVariantMap> pieces;
    qsizetype start = 0;
    while (start < note.size()) {
        qsizetype length = note.size() - start;
        if (length > kCardLength) {
            const qsizetype windowStart = start + kCardLength - kCardBreakWindow;
            const qsizetype lineEnd = QStringView(note).sliced(windowStart, kCardBreakWindow).lastIndexOf(u'\n');
            length = lineEnd >= 0 ? kCardLength - kCardBreakWindow + lineEnd + 1 : kCardLength;
        }
        pieces.append(QVariantMap{
            {titleKey(), QString(title + u'-' + QString::number(pieces.size() + 1))},
            {noteKey(), note.mid(start, length)},
            {statusKey(), status},
        });
        start += length;
    }
    return pieces;
}

QString iPodWriter::statusOf(const QVariantMap &data) const
{
    const QString status = data.value(statusKey()).toString();
    return status.isEmpty() ? defaultStatus() : status;
}
