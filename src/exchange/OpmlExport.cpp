#include "OpmlExport.h"

#include "ExchangeLog.h"
#include "XslTransform.h"

#include "model/JWMemo.h"
#include "platform/archive/PropertyList.h"
#include "platform/base/AtomicFileWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// XML 1.0 cannot hold these even as character references, so the outline goes without them.
bool xmlCanHold(QChar c)
{
    const char16_t u = c.unicode();
    return u >= 0x20 ? u != 0xFFFE && u != 0xFFFF : u == '\t' || u == '\n' || u == '\r';
}

QVariant withoutCharactersXmlCannotHold(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::QString: {
        QString text = value.toString();
        text.removeIf([](QChar c) { return !xmlCanHold(c); });
        return text;
    }
    case QMetaType::QVariantMap: {
        QVariantMap map = value.toMap();
        for (QVariant &entry : map)
            entry = withoutCharactersXmlCannotHold(entry);
        return map;
    }
    case QMetaType::QVariantList: {
        QVariantList list = value.toList();
        for (QVariant &entry : list)
            entry = withoutCharactersXmlCannotHold(entry);
        return list;
    }
    default:
        return value;
    }
}

} // namespace

namespace OpmlExport {

bool exportMemo(const JWMemo &memo, const QString &path, const QString &styleSheetName)
{
    const QFileInfo target(path);
    const QString temporaryPath = target.dir().filePath(QStringLiteral("temp_%1.jw3").arg(target.completeBaseName()));

    // Page texts may hold form feeds and other controls, which the property list keeps and XML refuses.
    const Result<QByteArray> plist = PropertyList::toData(
        withoutCharactersXmlCannotHold(memo.dictionaryRepresentation()), PropertyList::Format::Xml);
    const Status written
        = plist ? AtomicFileWriter::writeFile(temporaryPath, plist.value()) : Status(Error{plist.errorMessage()});
    if (!written)
        qCWarning(lcExchange).noquote()
            << QStringLiteral("OPML export of \"%1\": %2").arg(path, written.errorMessage());

    const QString sheet = XslTransform::styleSheetPath(styleSheetName);
    if (sheet.isEmpty())
        qCWarning(lcExchange).noquote()
            << QStringLiteral("No style sheet \"%1\" for the export of \"%2\"").arg(styleSheetName, path);

    if (written && !sheet.isEmpty() && !XslTransform::xslTransform(temporaryPath, path, sheet))
        qCWarning(lcExchange).noquote() << QStringLiteral("OPML export of \"%1\" failed").arg(path);

    // Only a file this call wrote is removed: a failed write leaves whatever had the name before.
    if (written && !QFile::remove(temporaryPath))
        qCWarning(lcExchange).noquote() << QStringLiteral("Cannot remove the temporary file \"%1\"").arg(temporaryPath);
    return true;
}

bool exportMemoToOPML(const JWMemo &memo, const QString &path)
{
    return exportMemo(memo, path, QStringLiteral("plist2opml"));
}

} // namespace OpmlExport
