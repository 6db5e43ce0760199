#include "OpmlImport.h"

#include "ExchangeLog.h"
#include "OldDataConverter.h"
#include "XslTransform.h"

#include "platform/archive/PropertyList.h"

#include <QFile>

namespace {

// Outlines are text; a file far larger than any outline is refused before
// it is parsed.
constexpr qint64 kMaxOpmlSize = qint64(256) * 1024 * 1024;

} // namespace

namespace OpmlImport {

MemoPtr newMemoFrom_opml(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(lcExchange, "Cannot read the outline %s: %s", qPrintable(path), qPrintable(file.errorString()));
        return nullptr;
    }
    if (file.size() > kMaxOpmlSize) {
        qCWarning(lcExchange, "The outline %s is too large to import", qPrintable(path));
        return nullptr;
    }
    return memoFromOpmlData(file.readAll());
}

MemoPtr memoFromOpmlData(const QByteArray &opml)
{
    const QString sheet = XslTransform::styleSheetPath(QStringLiteral("opml2plist"));
    if (sheet.isEmpty())
        return nullptr;
    const Result<QByteArray> plist = XslTransform::transformedData(opml, sheet);
    if (!plist) {
        qCWarning(lcExchange, "The outline cannot be imported: %s", qPrintable(plist.errorMessage()));
        return nullptr;
    }
    const Result<QVariant> dictionary = PropertyList::fromData(plist.value());
    if (!dictionary || dictionary.value().typeId() != QMetaType::QVariantMap) {
        qCWarning(lcExchange, "The outline cannot be imported: %s", qPrintable(dictionary.errorMessage()));
        return nullptr;
    }
    OldDataConverter::Context context = OldDataConverter::context();
    Result<MemoPtr> root = OldDataConverter::memoWithOldDictionary(dictionary.value().toMap(), context);
    if (!root) {
        qCWarning(lcExchange, "The outline cannot be imported: %s", qPrintable(root.errorMessage()));
        return nullptr;
    }
    OldDataConverter::finish(context);
    return std::move(root).value();
}

} // namespace OpmlImport
