// jw-make-sample-book: makes the sample book the program carries, at build
// time, from pages kept as readable sources.
//
//     jw-make-sample-book SOURCE_DIR OUT_FILE
//
// SOURCE_DIR holds "manifest.json" and one HTML file per page. The manifest
// describes the book's top page, and through "children" its sub-pages in
// order:
//
//     {"key": "welcome", "title": "Welcome", "file": "welcome.html",
//      "children": [{"key": "links", "title": "Links", "file": "links.html"}]}
//
// A key names a page for links: <a href="page:links"> in any page's HTML
// becomes a link to that page. The pages get fixed IDs, so that the book is
// the same from build to build; importing it gives them new ones anyway.
//
// It runs as a user of its own (throw-away XDG folders), so the preferences
// of whoever builds the program are never read or changed.
#include "exchange/BookFile.h"
#include "model/JWMemo.h"
#include "platform/base/FileContents.h"
#include "platform/richtext/PointSizes.h"
#include "platform/settings/UserDefaults.h"
#include "text/PageLinks.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"

#include <QDir>
#include <QFileInfo>
#include <QFont>
#include <QGuiApplication>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextStream>

#include <vector>

namespace {

// IDs of the book's pages, in pre-order from here. Far from 3: a link's ID is
// rewritten wherever it appears in the link, and "3" is part of the header.
constexpr qint64 kFirstPageID = 1001;
// Deeper than any sensible book, and a stop for a manifest that nests without end.
constexpr int kMaxDepth = 16;

struct PageSource
{
    QString key;
    QString title;
    QString file;
    qint64 memoID = 0;
    std::vector<PageSource> children;
};

// Reads the page at @p value and its children, numbering them in pre-order.
Result<PageSource> pageSource(const QJsonValue &value, const QString &path, qint64 &nextID, int depth)
{
    if (depth > kMaxDepth)
        return Error{QStringLiteral("%1: pages nest deeper than %2 levels").arg(path).arg(kMaxDepth)};
    const QJsonObject object = value.toObject();
    PageSource page;
    page.key = object.value(QStringLiteral("key")).toString();
    page.title = object.value(QStringLiteral("title")).toString();
    page.file = object.value(QStringLiteral("file")).toString();
    if (!value.isObject() || page.key.isEmpty() || page.title.isEmpty() || page.file.isEmpty())
        return Error{QStringLiteral("%1: every page needs a \"key\", a \"title\" and a \"file\"").arg(path)};
    page.memoID = nextID++;
    const QJsonValue children = object.value(QStringLiteral("children"));
    if (!children.isUndefined() && !children.isArray())
        return Error{QStringLiteral("%1: the \"children\" of \"%2\" are not a list").arg(path, page.key)};
    for (const QJsonValue child : children.toArray()) {
        Result<PageSource> read = pageSource(child, path, nextID, depth + 1);
        if (!read)
            return read;
        page.children.push_back(std::move(read).value());
    }
    return page;
}

Status collectIDs(const PageSource &page, QHash<QString, qint64> &ids)
{
    if (ids.contains(page.key))
        return Error{QStringLiteral("the key \"%1\" names two pages").arg(page.key)};
    ids.insert(page.key, page.memoID);
    for (const PageSource &child : page.children) {
        if (Status collected = collectIDs(child, ids); !collected)
            return collected;
    }
    return {};
}

// HTML's paragraph margins are made for web pages; a page here has a small
// gap after each paragraph and none before.
void useParagraphSpacing(QTextDocument &document)
{
    QTextCursor cursor(&document);
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        QTextBlockFormat format = block.blockFormat();
        format.setTopMargin(0);
        format.setBottomMargin(6);
        cursor.setPosition(block.position());
        cursor.setBlockFormat(format);
    }
}

// Sizes in the HTML are the sizes the page keeps: in the document they take
// the Qt size that writes them back as they were.
void useStoredSizes(QTextDocument &document)
{
    QTextCursor cursor(&document);
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (!fragment.charFormat().hasProperty(QTextFormat::FontPointSize))
                continue;
            QTextCharFormat sized;
            sized.setFontPointSize(PointSizes::qtFromStored(fragment.charFormat().fontPointSize()));
            cursor.setPosition(fragment.position());
            cursor.setPosition(fragment.position() + fragment.length(), QTextCursor::KeepAnchor);
            cursor.mergeCharFormat(sized);
        }
    }
}

// Turns every "page:KEY" link of @p document into a link to that page.
Status linkPages(QTextDocument &document, const QHash<QString, qint64> &ids, const QString &file)
{
    struct Link
    {
        int start;
        int end;
        QString key;
    };
    const QString scheme = QStringLiteral("page:");
    std::vector<Link> links;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            const QTextCharFormat format = fragment.charFormat();
            if (!format.isAnchor() || !format.anchorHref().startsWith(scheme))
                continue;
            const QString key = format.anchorHref().mid(scheme.size());
            const int start = fragment.position();
            const int end = start + fragment.length();
            // A link that changes style halfway is one link.
            if (!links.empty() && links.back().end == start && links.back().key == key)
                links.back().end = end;
            else
                links.push_back({start, end, key});
        }
    }
    for (const Link &link : links) {
        const auto id = ids.constFind(link.key);
        if (id == ids.constEnd())
            return Error{QStringLiteral("%1 links to \"%2\", which is no page of the book").arg(file, link.key)};
        TextLinks::setLinkToMemo(document, *id, false, {link.start, link.end - link.start});
    }
    return {};
}

Result<MemoPtr> makePage(const PageSource &source, const QDir &folder, const QHash<QString, qint64> &ids)
{
    const QString path = folder.filePath(source.file);
    const Result<QByteArray> html = FileContents::read(path);
    if (!html)
        return Error{html.errorMessage()};

    QTextDocument document;
    QFont font(QStringLiteral("Sans Serif"));
    font.setPointSizeF(PointSizes::qtFromStored(14));
    document.setDefaultFont(font);
    document.setHtml(QString::fromUtf8(html.value()));
    useStoredSizes(document);
    useParagraphSpacing(document);
    if (Status linked = linkPages(document, ids, path); !linked)
        return Error{linked.errorMessage()};

    MemoPtr memo = JWMemo::memo();
    memo->setMemoID(source.memoID);
    memo->setTitle(source.title);
    memo->setPlainText(TextExport::string(document));
    memo->setMemoData(TextExport::RTFDData(document));
    for (const PageSource &child : source.children) {
        Result<MemoPtr> made = makePage(child, folder, ids);
        if (!made)
            return made;
        memo->appendChild(std::move(made).value());
    }
    return memo;
}

Status makeBook(const QString &sourceFolder, const QString &outFile)
{
    const QDir folder(sourceFolder);
    const QString manifestPath = folder.filePath(QStringLiteral("manifest.json"));
    const Result<QByteArray> manifest = FileContents::read(manifestPath);
    if (!manifest)
        return Error{manifest.errorMessage()};
    QJsonParseError parseError;
    const QJsonDocument json = QJsonDocument::fromJson(manifest.value(), &parseError);
    if (json.isNull())
        return Error{QStringLiteral("%1: %2").arg(manifestPath, parseError.errorString())};

    qint64 nextID = kFirstPageID;
    const Result<PageSource> top = pageSource(json.object(), manifestPath, nextID, 0);
    if (!top)
        return Error{top.errorMessage()};
    QHash<QString, qint64> ids;
    if (Status collected = collectIDs(top.value(), ids); !collected)
        return Error{QStringLiteral("%1: %2").arg(manifestPath, collected.errorMessage())};

    const Result<MemoPtr> book = makePage(top.value(), folder, ids);
    if (!book)
        return Error{book.errorMessage()};
    if (!QDir().mkpath(QFileInfo(outFile).absolutePath()))
        return Error{QStringLiteral("Cannot make the folder of %1").arg(outFile)};
    return BookFile::write(book.value(), outFile);
}

} // namespace

int main(int argc, char **argv)
{
    // Nothing is shown: the offscreen platform needs no display, wherever the build runs.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QTemporaryDir home;
    if (!home.isValid()) {
        QTextStream(stderr) << "jw-make-sample-book: cannot make a temporary folder\n";
        return 1;
    }
    qputenv("XDG_CONFIG_HOME", QFile::encodeName(home.filePath(QStringLiteral("config"))));
    qputenv("XDG_DATA_HOME", QFile::encodeName(home.filePath(QStringLiteral("data"))));

    QGuiApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 3) {
        QTextStream(stderr) << "usage: jw-make-sample-book SOURCE_DIR OUT_FILE\n";
        return 2;
    }
    const Status made = makeBook(arguments.at(1), arguments.at(2));
    // Written now, while the throw-away folder still exists.
    UserDefaults::resetStandardUserDefaults();
    if (!made) {
        QTextStream(stderr) << "jw-make-sample-book: " << made.errorMessage() << '\n';
        return 1;
    }
    return 0;
}
