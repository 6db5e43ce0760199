#include "ArchiveTool.h"

#include "ArchiveJson.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/archive/KeyedUnarchiver.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextConverter.h"
#include "platform/typedstream/TypedStreamReader.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

bool looksLikeTypedStream(const QByteArray &bytes)
{
    return bytes.size() >= 13 && bytes[1] == '\x0b'
        && (bytes.mid(2, 11) == "streamtyped" || bytes.mid(2, 11) == "typedstream");
}

bool isKeyedArchive(const QVariant &plist)
{
    const QVariantMap root = plist.toMap();
    return root.value(QStringLiteral("$archiver")).toString() == QLatin1String("NSKeyedArchiver")
        && root.contains(QStringLiteral("$objects"));
}

QByteArray indented(const QJsonValue &value)
{
    const QJsonDocument document = value.isArray() ? QJsonDocument(value.toArray()) : QJsonDocument(value.toObject());
    if (!value.isArray() && !value.isObject()) // a bare scalar: wrap it so the output stays JSON
        return QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Indented);
    return document.toJson(QJsonDocument::Indented);
}

Result<QByteArray> dumpKeyed(const QByteArray &bytes, const QString &path)
{
    auto objects = KeyedUnarchiver::unarchiveTopLevelObjectsWithData(bytes);
    if (!objects)
        return Error{QStringLiteral("%1 is not a readable keyed archive: %2").arg(path, objects.errorMessage())};
    return indented(QJsonObject{{QStringLiteral("$archiver"), QStringLiteral("NSKeyedArchiver")},
        {QStringLiteral("$top"), ArchiveJson::fromVariant(objects.value())}});
}

Status loadText(const QString &path, TextConverter &converter)
{
    if (QFileInfo(path).isDir()) {
        const Status read = Rtfd::readPackage(path, converter.document());
        return read ? read
                    : Error{QStringLiteral("%1 is not a readable RTFD folder: %2").arg(path, read.errorMessage())};
    }
    auto bytes = FileContents::read(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    QByteArray data = bytes.value();
    if (!Rtfd::isRtf(data) && !Rtfd::isFlattenedRtfd(data)) {
        auto page = PropertyList::fromData(data);
        if (!page || !page.value().toMap().contains(QStringLiteral("memoData")))
            return Error{QStringLiteral("%1 is neither RTF, RTFD nor a page file").arg(path)};
        data = page.value().toMap().value(QStringLiteral("memoData")).toByteArray();
    }
    const Status read = converter.setRTFDData(data);
    return read ? read : Error{QStringLiteral("%1 holds no readable text: %2").arg(path, read.errorMessage())};
}

Status saveAttachments(const TextConverter &converter, const QString &folderPath)
{
    const QDir folder(folderPath);
    if (!folder.exists() && !QDir().mkpath(folderPath))
        return Error{QStringLiteral("Cannot create the folder %1").arg(folderPath)};
    QStringList written;
    for (const TextConverter::Attachment &attachment : converter.attachments()) {
        // Names come from the file: never let one point outside the folder.
        const QString name = QFileInfo(attachment.fileName).fileName();
        if (name.isEmpty() || name == QLatin1String("..") || written.contains(name))
            continue;
        const Status saved = AtomicFileWriter::writeFile(folder.filePath(name), attachment.bytes);
        if (!saved)
            return saved;
        written.append(name);
    }
    return {};
}

} // namespace

Result<ArchiveTool::Format> ArchiveTool::formatFromName(const QString &name)
{
    if (name.isEmpty())
        return Format::Detect;
    if (name == QLatin1String("plist"))
        return Format::PropertyList;
    if (name == QLatin1String("typedstream"))
        return Format::TypedStream;
    if (name == QLatin1String("keyed"))
        return Format::KeyedArchive;
    return Error{QStringLiteral("Unknown format \"%1\": use plist, typedstream or keyed").arg(name)};
}

Result<QByteArray> ArchiveTool::dump(const QString &path, Format format)
{
    auto bytes = FileContents::read(path);
    if (!bytes)
        return Error{bytes.errorMessage()};

    if (format == Format::TypedStream || (format == Format::Detect && looksLikeTypedStream(bytes.value()))) {
        auto archive = TypedStreamReader::read(bytes.value());
        if (!archive)
            return Error{QStringLiteral("%1 is not a readable typed stream: %2").arg(path, archive.errorMessage())};
        return indented(ArchiveJson::fromTypedStream(archive.value()));
    }
    if (format == Format::KeyedArchive)
        return dumpKeyed(bytes.value(), path);

    auto plist = PropertyList::fromData(bytes.value());
    if (!plist)
        return Error{QStringLiteral("%1 is not a property list, typed stream or keyed archive: %2")
                         .arg(path, plist.errorMessage())};
    if (format == Format::Detect && isKeyedArchive(plist.value()))
        return dumpKeyed(bytes.value(), path);
    return indented(ArchiveJson::fromVariant(plist.value()));
}

Status ArchiveTool::convert(const QString &inputPath, const QString &to, const QString &outputPath)
{
    PropertyList::Format format;
    if (to == QLatin1String("xml"))
        format = PropertyList::Format::Xml;
    else if (to == QLatin1String("binary"))
        format = PropertyList::Format::Binary;
    else
        return Error{QStringLiteral("Unknown output format \"%1\": use xml or binary").arg(to)};

    auto bytes = FileContents::read(inputPath);
    if (!bytes)
        return Error{bytes.errorMessage()};
    auto plist = PropertyList::fromData(bytes.value());
    if (!plist)
        return Error{QStringLiteral("%1 is not a property list: %2").arg(inputPath, plist.errorMessage())};
    auto written = PropertyList::toData(plist.value(), format);
    if (!written)
        return Error{QStringLiteral("Cannot convert %1: %2").arg(inputPath, written.errorMessage())};
    return AtomicFileWriter::writeFile(outputPath, written.value());
}

Result<QByteArray> ArchiveTool::text(const QString &path, TextForm form, const QString &attachmentFolder)
{
    TextConverter converter;
    if (const Status loaded = loadText(path, converter); !loaded)
        return Error{loaded.errorMessage()};
    if (!attachmentFolder.isEmpty()) {
        if (const Status saved = saveAttachments(converter, attachmentFolder); !saved)
            return Error{saved.errorMessage()};
    }
    if (form == TextForm::Html)
        return converter.document().toHtml().toUtf8();
    QString plain = converter.string();
    plain.replace(QChar::LineSeparator, u'\n');
    if (!plain.endsWith(u'\n'))
        plain += u'\n';
    return plain.toUtf8();
}
