#include "FormatImport.h"

#include "BookFile.h"
#include "CalendarImport.h"
#include "DocConverter.h"
#include "ImportIdentifiers.h"
#include "NewNotePadImport.h"
#include "OldDataConverter.h"
#include "OpmlImport.h"

#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "model/PageFile.h"
#include "platform/archive/PropertyList.h"
#include "platform/base/FileContents.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"
#include "text/TextExport.h"
#include "util/StringUtility.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QImageReader>
#include <QTextCursor>
#include <QTextDocument>
#include <QVariantMap>

namespace FormatImport {
namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("FormatImport", text);
}

QString titleFromFile(const QString &path)
{
    return QFileInfo(path).completeBaseName();
}

// The bytes of a file that may hold a page's text, or why not: larger files
// are refused before they are read into memory.
Result<QByteArray> readTextFile(const QString &path)
{
    const QFileInfo info(path);
    if (info.size() > kMaximumTextFileSize)
        return Error{tr("it is larger than %1 MB").arg(kMaximumTextFileSize / (1024 * 1024))};
    return FileContents::read(path);
}

Result<MemoPtr> titled(MemoPtr memo, const QString &path, const QString &failure)
{
    if (!memo)
        return Error{failure};
    memo->setMemoTitleIfNeeded(titleFromFile(path));
    return memo;
}

Result<QVariantMap> readDictionary(const QString &path)
{
    const Result<QByteArray> bytes = readTextFile(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    const Result<QVariant> parsed = PropertyList::fromData(bytes.value());
    if (!parsed)
        return Error{tr("it is not a property list (%1)").arg(parsed.errorMessage())};
    if (parsed.value().typeId() != QMetaType::QVariantMap)
        return Error{tr("it holds no dictionary")};
    return parsed.value().toMap();
}

// Whether the first bytes hold NUL characters that no 8-bit or UTF-8 text
// has: a binary file named like a text file would otherwise decode as
// garbage in one of the 8-bit encodings, which accept any byte.
bool looksBinary(const QByteArray &bytes)
{
    const QByteArrayView head = QByteArrayView(bytes).first(std::min<qsizetype>(bytes.size(), 64 * 1024));
    if (head.startsWith("\xFF\xFE") || head.startsWith("\xFE\xFF"))
        return false;
    return head.contains('\0');
}

} // namespace

Result<MemoPtr> newMemoFrom_jw3book(const QString &path)
{
    return BookFile::read(path);
}

Result<MemoPtr> newMemoFrom_jw3page(const QString &path)
{
    const Result<QVariantMap> dictionary = readDictionary(path);
    if (!dictionary)
        return Error{dictionary.errorMessage()};
    const QByteArray text = PageFile::memoDataIn(dictionary.value());
    MemoPtr memo = text.isEmpty() ? MemoCreation::initWithString(QStringLiteral("")) : MemoCreation::initWithRTFD(text);
    if (!memo)
        return Error{tr("its text cannot be read")};
    if (const QVariant title = dictionary.value().value(QStringLiteral("title")); title.typeId() == QMetaType::QString)
        memo->setTitle(title.toString());
    memo->setProtectWithPassword(dictionary.value().value(QStringLiteral("open")).toBool());
    memo->setIsPlainTextMemo(false);
    return memo;
}

Result<MemoPtr> newMemoFrom_jw2note(const QString &path)
{
    const Result<QVariantMap> dictionary = readDictionary(path);
    if (!dictionary)
        return Error{dictionary.errorMessage()};
    if (dictionary.value().value(QStringLiteral("open")).toBool())
        return Error{tr("the note is protected")};
    const QVariant text = dictionary.value().value(QStringLiteral("memoData"));
    MemoPtr memo = text.typeId() == QMetaType::QByteArray && !text.toByteArray().isEmpty()
        ? MemoCreation::initWithRTFD(text.toByteArray())
        : MemoCreation::initWithString(QStringLiteral(""));
    if (!memo)
        return Error{tr("its text cannot be read")};
    if (const QVariant title = dictionary.value().value(QStringLiteral("title")); title.typeId() == QMetaType::QString)
        memo->setTitle(title.toString());
    memo->setIsEdited(true);
    return memo;
}

Result<MemoPtr> newMemoFrom_jw2(const QString &path)
{
    const Result<QVariantMap> dictionary = readDictionary(path);
    if (!dictionary)
        return Error{dictionary.errorMessage()};
    OldDataConverter::Context context = OldDataConverter::context();
    Result<MemoPtr> memo = OldDataConverter::memoWithOldDictionary(dictionary.value(), context);
    if (!memo)
        return memo;
    OldDataConverter::finish(context);
    const QList<MemoPtr> pages = ImportIdentifiers::pagesOf(memo.value());
    for (const MemoPtr &page : pages)
        page->setIsPlainTextMemo(false);
    ImportIdentifiers::giveNewIDs(memo.value());
    return memo;
}

Result<MemoPtr> newMemoFrom_opml(const QString &path)
{
    if (QFileInfo(path).size() > kMaximumTextFileSize)
        return Error{tr("it is larger than %1 MB").arg(kMaximumTextFileSize / (1024 * 1024))};
    if (MemoPtr memo = OpmlImport::newMemoFrom_opml(path))
        return memo;
    return Error{tr("it is no OPML outline this application can read")};
}

Result<MemoPtr> newMemoFrom_txt(const QString &path)
{
    const Result<QByteArray> bytes = readTextFile(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    if (looksBinary(bytes.value()))
        return Error{tr("it holds binary data, not text")};
    const std::optional<QString> text = StringUtility::stringWithContentsOfDataByAutoDetectingEncoding(bytes.value());
    if (!text)
        return Error{tr("its text is in no known encoding")};
    if (NewNotePadImport::isNewNotePad(*text)) {
        if (MemoPtr outline = NewNotePadImport::newMemoFrom_NewNotePad(*text))
            return outline;
        return Error{tr("its outline nests groups deeper than %1 levels").arg(NewNotePadImport::kMaxGroupDepth)};
    }
    return titled(MemoCreation::initWithString(*text), path, tr("no page can be made of its text"));
}

Result<MemoPtr> newMemoFrom_rtf(const QString &path)
{
    const Result<QByteArray> bytes = readTextFile(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    return titled(MemoCreation::initWithRTF(bytes.value()), path, tr("it is not readable RTF"));
}

Result<MemoPtr> newMemoFrom_rtfd(const QString &path)
{
    QByteArray rtfd;
    if (QFileInfo(path).isDir()) {
        QTextDocument document;
        if (Status read = Rtfd::readPackage(path, document); !read)
            return Error{read.errorMessage()};
        rtfd = Rtfd::writeFlattened(document);
    } else {
        Result<QByteArray> bytes = readTextFile(path);
        if (!bytes)
            return Error{bytes.errorMessage()};
        rtfd = std::move(bytes).value();
    }
    return titled(MemoCreation::initWithRTFD(rtfd), path, tr("it is not readable RTFD"));
}

Result<MemoPtr> newMemoFrom_html(const QString &path)
{
    if (QFileInfo(path).size() > kMaximumTextFileSize)
        return Error{tr("it is larger than %1 MB").arg(kMaximumTextFileSize / (1024 * 1024))};
    if (MemoPtr memo = CalendarImport::newMemoFrom_html(path))
        return memo;
    return Error{tr("it cannot be read as HTML")};
}

Result<MemoPtr> newMemoFrom_ics(const QString &path)
{
    if (QFileInfo(path).size() > kMaximumTextFileSize)
        return Error{tr("it is larger than %1 MB").arg(kMaximumTextFileSize / (1024 * 1024))};
    if (MemoPtr memo = CalendarImport::newMemoFrom_ics(path))
        return memo;
    return Error{tr("it holds no calendar event in UTF-8")};
}

Result<MemoPtr> newMemoFrom_imageFile(const QString &path)
{
    const Result<QByteArray> bytes = readTextFile(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    if (QImage::fromData(bytes.value()).isNull())
        return Error{tr("it is not a picture this system can show")};
    QTextDocument document;
    QTextCursor cursor(&document);
    TextAttachments::insert(cursor, {QFileInfo(path).fileName(), bytes.value(), {}});
    return titled(MemoCreation::initWithRTFD(TextExport::RTFDData(document)), path, tr("the picture cannot be stored"));
}

Result<MemoPtr> newMemoFrom_variousFormat(const QString &path)
{
    if (QFileInfo(path).isDir())
        return Error{tr("there is no reader for this kind of package")};
    const Result<QByteArray> bytes = readTextFile(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    // Word saves RTF and HTML under ".doc" too; those need no converter.
    if (Rtfd::isRtf(bytes.value()))
        return titled(MemoCreation::initWithRTF(bytes.value()), path, tr("it is not readable RTF"));
    const QByteArray head = bytes.value().left(512).trimmed().toLower();
    if (head.startsWith("<!doctype html") || head.startsWith("<html"))
        return titled(CalendarImport::memoFromHtml(bytes.value()), path, tr("it cannot be read as HTML"));

    const Result<QByteArray> html = DocConverter::htmlOfDocument(path);
    if (!html)
        return Error{html.errorMessage()};
    return titled(CalendarImport::memoFromHtml(html.value()), path, tr("the converted document holds no text"));
}

} // namespace FormatImport
