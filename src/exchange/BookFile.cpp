#include "BookFile.h"

#include "ExchangeLog.h"
#include "ImportIdentifiers.h"

#include "model/JWMemo.h"
#include "model/MemoCoding.h"
#include "model/PageFile.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/base/FileContents.h"
#include "platform/archive/FlatXmlPropertyList.h"
#include "platform/archive/PropertyList.h"
#include "platform/settings/FolderPaths.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"

#include <QCoreApplication>
#include <QDir>
#include <QHash>
#include <QList>
#include <QSet>
#include <QTextDocument>
#include <QVariantMap>

#include <numeric>
#include <vector>
#include <QtConcurrent/QtConcurrentMap>

#include <optional>
#include <vector>

namespace BookFile {
namespace {

const QString kRootMemoKey = QStringLiteral("rootMemo");

QString tr(const char *text)
{
    return QCoreApplication::translate("BookFile", text);
}

// The pages of @p root's tree in pre-order, or nothing when one page is
// reached twice: a tree of the application never does that, but an archive
// made by hand can list one page under two parents, and giving it two new
// IDs one after the other would leave it with the second only.
std::optional<QList<MemoPtr>> pagesOfTree(const MemoPtr &root)
{
    QList<MemoPtr> pages;
    QSet<const JWMemo *> seen;
    std::vector<MemoPtr> pending{root};
    while (!pending.empty()) {
        MemoPtr page = std::move(pending.back());
        pending.pop_back();
        if (!page)
            continue;
        if (seen.contains(page.get()))
            return std::nullopt;
        seen.insert(page.get());
        const std::vector<MemoPtr> &children = page->children();
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            pending.push_back(*child);
        pages.append(std::move(page));
    }
    return pages;
}

// A page's text as the book stored it, its links rewritten to the new IDs,
// with the plain string it gives; text stays null when the entry is missing
// or unreadable.
struct StoredText
{
    QByteArray text;
    QString plain;
    QString problem;
};

StoredText readStoredText(qint64 oldID, const QVariant &entry, const QHash<qint64, qint64> &newIDs)
{
    StoredText stored;
    if (entry.typeId() == QMetaType::QByteArray) {
        const QByteArray bytes = entry.toByteArray();
        QTextDocument document;
        if (!bytes.isEmpty() && TextExport::setRTFDData(document, bytes)) {
            // Texts without links to the book's pages stay byte for byte as they were.
            stored.text = TextLinks::connvertLinkIDWithDicitonary(document, newIDs) > 0 ? TextExport::RTFDData(document)
                                                                                        : bytes;
            stored.plain = TextExport::string(document);
        } else {
            stored.problem
                = QStringLiteral("The text of page %1 in the book cannot be read; its plain text is used").arg(oldID);
        }
    } else if (entry.isValid()) {
        stored.problem
            = QStringLiteral("The text of page %1 in the book is not data; its plain text is used").arg(oldID);
    }
    return stored;
}

// Gives @p page its text from the book. Without a usable entry the plain
// text stored with the tree is the text: asking the page for its rich text
// instead would read the page file that happens to carry its ID in this data
// folder, which is another page's. The plain text archived with the tree may
// be older than the stored text; exports and search take the plain text as
// the page's, so it follows the stored text.
void takeText(JWMemo &page, const StoredText &stored)
{
    if (!stored.problem.isEmpty())
        qCWarning(lcExchange).noquote() << stored.problem;
    if (stored.text.isNull()) {
        const QString plain = page.plainText();
        page.setMemoDataWithPlainText(plain.isNull() ? QStringLiteral("") : plain);
    } else {
        page.setPlainText(stored.plain);
        page.setMemoData(stored.text);
    }
    page.setIsPlainTextMemo(false);
    page.setIsEdited(true);
}

struct PageText
{
    const JWMemo *memo;
    QString path; ///< the page file to read, when the text is not in memory
    QByteArray text;
};

// The pages' rich texts. Those not in memory are read from their page files
// on every core and not kept: for a whole tree, reading and parsing the
// files is most of the time a book takes, and the texts would otherwise stay
// in memory after it. What a page file does not give is asked of the page.
std::vector<PageText> textsOf(const QList<MemoPtr> &pages)
{
    std::vector<PageText> texts;
    texts.reserve(size_t(pages.size()));
    for (const MemoPtr &page : pages) {
        if (page->isMemoDataLoaded())
            texts.push_back({page.get(), QString(), page->memoData()});
        else
            texts.push_back({page.get(), notePathForID(page->memoID()), QByteArray()});
    }
    QtConcurrent::blockingMap(texts, [](PageText &page) {
        if (page.path.isEmpty())
            return;
        if (auto loaded = PageFile::loadPath(page.path); loaded && loaded.value())
            page.text = PageFile::memoDataIn(*loaded.value());
    });
    for (PageText &page : texts) {
        if (page.text.isNull())
            page.text = page.memo->memoData();
    }
    return texts;
}

} // namespace

Result<QByteArray> data(const MemoPtr &memo)
{
    if (!memo)
        return Error{tr("There is no page to put into the book")};
    const std::optional<QList<MemoPtr>> pages = pagesOfTree(memo);
    if (!pages)
        return Error{tr("The pages do not form a tree: a page appears twice")};

    MemoCoding::registerWithSharedRegistry();
    auto archived = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(memo));
    if (!archived)
        return Error{tr("The pages cannot be archived: %1").arg(archived.errorMessage())};

    QVariantMap dictionary;
    dictionary.insert(kRootMemoKey, archived.value());
    for (const PageText &page : textsOf(*pages)) {
        if (!page.text.isNull())
            dictionary.insert(QString::number(page.memo->memoID()), page.text);
    }
    auto bytes = PropertyList::toData(dictionary, PropertyList::Format::Xml);
    if (!bytes)
        return Error{tr("The book cannot be written: %1").arg(bytes.errorMessage())};
    return std::move(bytes).value();
}

Status write(const MemoPtr &memo, const QString &path)
{
    const Result<QByteArray> bytes = data(memo);
    if (!bytes)
        return Error{bytes.errorMessage()};
    return AtomicFileWriter::writeFile(path, bytes.value());
}

Result<MemoPtr> read(const QString &path)
{
    const Result<QByteArray> bytes = FileContents::read(path);
    if (!bytes)
        return Error{bytes.errorMessage()};
    Result<MemoPtr> book = readData(bytes.value());
    if (!book)
        return Error{QDir::toNativeSeparators(path) + QStringLiteral(": ") + book.errorMessage()};
    return book;
}

Result<MemoPtr> readData(const QByteArray &bytes)
{
    const Result<QVariant> parsed = FlatXmlPropertyList::read(bytes);
    if (!parsed)
        return Error{tr("This is not a book file (%1)").arg(parsed.errorMessage())};
    if (parsed.value().typeId() != QMetaType::QVariantMap)
        return Error{tr("This is not a book file: it holds no dictionary")};
    const QVariantMap dictionary = parsed.value().toMap();

    const auto archived = dictionary.constFind(kRootMemoKey);
    if (archived == dictionary.constEnd())
        return Error{tr("The book holds no pages: it has no \"rootMemo\"")};
    if (archived->typeId() != QMetaType::QByteArray)
        return Error{tr("The book's \"rootMemo\" is not data")};

    MemoCoding::registerWithSharedRegistry();
    const Result<QVariant> decoded = TypedStreamDecoder::unarchiveObjectWithData(archived->toByteArray());
    if (!decoded)
        return Error{tr("The book's pages cannot be read: %1").arg(decoded.errorMessage())};
    const MemoPtr root = decoded.value().value<MemoPtr>();
    if (!root)
        return Error{tr("The book's \"rootMemo\" holds no page")};
    const std::optional<QList<MemoPtr>> pages = pagesOfTree(root);
    if (!pages)
        return Error{tr("The book's pages do not form a tree: a page appears twice")};

    // The texts are filed under the IDs the pages had when the book was written.
    QList<qint64> oldIDs;
    oldIDs.reserve(pages->size());
    for (const MemoPtr &page : *pages)
        oldIDs.append(page->memoID());
    const QHash<qint64, qint64> newIDs = ImportIdentifiers::assignNewIDForMemo(*root);
    // Reading the texts is most of the time a book takes: it runs on every
    // core, and only the pages themselves are touched on this thread.
    std::vector<StoredText> texts(size_t(pages->size()));
    std::vector<qsizetype> order(texts.size());
    std::iota(order.begin(), order.end(), 0);
    QtConcurrent::blockingMap(order, [&](qsizetype i) {
        texts[size_t(i)] = readStoredText(oldIDs.at(i), dictionary.value(QString::number(oldIDs.at(i))), newIDs);
    });
    for (qsizetype i = 0; i < pages->size(); ++i)
        takeText(*pages->at(i), texts[size_t(i)]);
    return root;
}

} // namespace BookFile
