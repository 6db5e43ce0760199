#include "SyncDictionary.h"

#include "SyncPayload.h"

#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/FolderPaths.h"

#include <QBuffer>
#include <QFile>
#include <QImageWriter>
#include <QPainter>
#include <QVariantList>

namespace {

// The compression the phone's pictures are sent with (70 of 100).
constexpr int kJpegQuality = 70;

QByteArray jpegData(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "jpeg");
    writer.setQuality(kJpegQuality);
    // JPEG has no alpha: transparent parts would turn black without a white ground.
    QImage opaque = image;
    if (image.hasAlphaChannel()) {
        opaque = QImage(image.size(), QImage::Format_RGB32);
        opaque.setDevicePixelRatio(image.devicePixelRatio());
        opaque.fill(Qt::white);
        QPainter painter(&opaque);
        painter.drawImage(0, 0, image);
    }
    if (!writer.write(opaque))
        return {};
    return bytes;
}

QByteArray fileContents(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

} // namespace

SyncDictionary::SyncDictionary(const MemoTree &tree, Device device)
    : m_tree(tree)
    , m_device(device)
{ }

std::optional<QVariantMap> SyncDictionary::dictionaryWithMemo(const MemoPtr &memo) const
{
    if (!memo || memo->title() == SyncPayload::removedMemoTitle())
        return std::nullopt;
    QVariantMap dictionary;
    copyPropertyFromMemo(*memo, dictionary);
    QVariantList children;
    children.reserve(qsizetype(memo->children().size()));
    for (const MemoPtr &child : memo->children()) {
        if (auto childDictionary = dictionaryWithMemo(child))
            children.append(std::move(*childDictionary));
    }
    dictionary.insert(QStringLiteral("children"), children);
    return dictionary;
}

std::optional<QVariantMap> SyncDictionary::dictionaryForGroup(const QString &groupName) const
{
    if (groupName.isEmpty())
        return std::nullopt;
    return dictionaryWithMemo(m_tree.memoWithTitle(groupName, m_tree.root()));
}

void SyncDictionary::copyPropertyFromMemo(const JWMemo &memo, QVariantMap &dictionary) const
{
    dictionary.insert(QStringLiteral("memoID"), memo.memoID());
    dictionary.insert(QStringLiteral("title"), memo.title());
    dictionary.insert(QStringLiteral("titleLabelColorString"), SyncPayload::labelColorString(memo.titleColor()));
    dictionary.insert(QStringLiteral("locked"), memo.locked());
    dictionary.insert(QStringLiteral("protectWithPassword"), memo.protectWithPassword());
    if (const QDateTime created = memo.createdAt(); created.isValid())
        dictionary.insert(QStringLiteral("createdAt"), created);
    if (const QDateTime modified = memo.modifiedAt(); modified.isValid())
        dictionary.insert(QStringLiteral("modifiedAt"), modified);
    dictionary.insert(QStringLiteral("referenceNumber"), memo.referenceNumber());
    if (memo.isWebClipMemo()) {
        dictionary.insert(QStringLiteral("webURLStr"), memo.webURLStr());
        // An iPad shows the full archive; an iPhone prefers the smaller one made for it.
        QString path = webarchivePathForID(memo.memoID());
        if (m_device == Device::iPhone) {
            const QString mobile = mobileWebarchivePathForID(memo.memoID());
            if (QFile::exists(mobile))
                path = mobile;
        }
        if (const QByteArray archive = fileContents(path); !archive.isNull())
            dictionary.insert(QStringLiteral("webArchive"), archive);
        return;
    }

    // The page keeps its plain text as the text system gives it, one U+FFFC
    // per attachment: the rich text is read only for pages with attachments
    // (their pictures) and for empty ones, whose plain text may never have
    // been taken from their rich text.
    QString plain = memo.plainText();
    if (!plain.isEmpty() && !plain.contains(QChar::ObjectReplacementCharacter)) {
        dictionary.insert(QStringLiteral("plainText"), plain);
        return;
    }
    TextConverter converter;
    const QByteArray rtfd = memo.memoData();
    if (rtfd.isEmpty() || !converter.setRTFDData(rtfd)) {
        dictionary.insert(QStringLiteral("plainText"), plain.isNull() ? QStringLiteral("") : plain);
        return;
    }
    dictionary.insert(QStringLiteral("plainText"), converter.plainString());
    const QList<TextConverter::Attachment> attachments = converter.attachments();
    if (attachments.isEmpty())
        return;
    QVariantList images;
    for (const TextConverter::Attachment &attachment : attachments) {
        if (attachment.image.isNull())
            continue;
        if (QByteArray jpeg = jpegData(attachment.image); !jpeg.isEmpty())
            images.append(jpeg);
    }
    dictionary.insert(QStringLiteral("imageDataArray"), images);
}
