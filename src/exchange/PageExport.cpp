#include "PageExport.h"

#include "ExportProgress.h"
#include "HierarchyExport.h"

#include "model/JWMemo.h"
#include "platform/base/AtomicFileWriter.h"
#include "platform/base/Localization.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"
#include "text/TextExport.h"
#include "util/PathUtility.h"

#include <QDir>
#include <QFileInfo>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextDocumentFragment>

#include <functional>
#include <utility>
#include <vector>

namespace {

// An error message that lists a thousand pages helps nobody; the count of
// the rest says enough.
constexpr qsizetype kListedProblems = 10;
constexpr qsizetype kNameLength = 60;
// Paths deep in a hierarchy run to thousands of characters; their two ends
// are what tells where a problem was.
constexpr qsizetype kProblemLength = 300;

using DocumentWriter = std::function<Status(const QTextDocument &document, const QString &path)>;

// A page as an error message names it: quoted, short, printable.
QString pageName(const JWMemo &memo)
{
    QString title = memo.title();
    title.remove(QChar(u'\0'));
    if (title.isEmpty())
        title = localizedString(QStringLiteral("Untitled"));
    if (title.size() > kNameLength)
        title = title.left(kNameLength - 1) + QChar(0x2026);
    return u'"' + title + u'"';
}

// What went wrong in one export, reported as one Error at the end.
class Problems
{
public:
    void add(QString problem)
    {
        if (problem.size() > kProblemLength)
            problem = problem.left(kProblemLength / 2) + QChar(0x2026) + problem.right(kProblemLength / 2);
        m_problems.append(std::move(problem));
    }

    void addUnreadable(const QString &name)
    {
        add(QStringLiteral("%1: its text could not be read, so its plain text was written instead").arg(name));
    }

    [[nodiscard]] Status status() const
    {
        if (m_problems.isEmpty())
            return {};
        QString message = QStringLiteral("Some pages could not be exported in full:");
        for (const QString &problem : m_problems.mid(0, kListedProblems))
            message += u'\n' + problem;
        if (m_problems.size() > kListedProblems)
            message += QStringLiteral("\n(and %1 more)").arg(m_problems.size() - kListedProblems);
        return Error{message};
    }

private:
    QStringList m_problems;
};

// Fills @p document with the page as a note window shows it: the rich text,
// or the kept plain text when there is none or it cannot be read. False in
// the second case only.
bool loadPage(const JWMemo &memo, QTextDocument &document)
{
    const QByteArray data = memo.memoData();
    if (!data.isEmpty() && TextExport::setRTFDData(document, data).ok())
        return true;
    document.setPlainText(memo.plainText());
    return data.isEmpty();
}

// Calls @p visit for @p memo and every page below it, depth first, without
// recursion: trees can be deeper than the stack.
void forEachPage(const JWMemo &memo, const std::function<void(const JWMemo &)> &visit)
{
    std::vector<const JWMemo *> pending{&memo};
    while (!pending.empty()) {
        const JWMemo *page = pending.back();
        pending.pop_back();
        visit(*page);
        for (auto child = page->children().rbegin(); child != page->children().rend(); ++child)
            pending.push_back(child->get());
    }
}

qsizetype pagesBelow(const JWMemo &memo)
{
    qsizetype count = -1;
    forEachPage(memo, [&](const JWMemo &) { ++count; });
    return count;
}

void insertRange(QTextCursor &cursor, QTextDocument &source, int from, int to)
{
    if (from >= to)
        return;
    QTextCursor range(&source);
    range.setPosition(from);
    range.setPosition(to, QTextCursor::KeepAnchor);
    cursor.insertFragment(QTextDocumentFragment(range));
}

// A fragment carries the attachment characters but not the resources
// behind them, which belong to the source document; each attachment is
// therefore inserted anew, which also renames it on a clash.
void appendDocument(QTextCursor &cursor, QTextDocument &source)
{
    int start = 0;
    for (auto &[position, attachment] : TextAttachments::all(source)) {
        insertRange(cursor, source, start, position);
        TextAttachments::insert(cursor, std::move(attachment));
        start = position + 1;
    }
    insertRange(cursor, source, start, source.characterCount() - 1);
}

Status writeSingle(const JWMemo &memo, const QString &path, const DocumentWriter &write)
{
    Problems problems;
    QTextDocument document;
    if (!loadPage(memo, document))
        problems.addUnreadable(pageName(memo));
    if (Status written = write(document, path); !written)
        problems.add(pageName(memo) + QStringLiteral(": ") + written.errorMessage());
    return problems.status();
}

Status writeJoined(const JWMemo &memo, const QString &path, const DocumentWriter &write)
{
    Problems problems;
    QTextDocument document;
    QStringList unreadable;
    if (!loadPage(memo, document))
        unreadable.append(pageName(memo));
    for (const MemoPtr &child : memo.children())
        PageExport::appendMemo(*child, document, unreadable);
    if (ExportProgress::cancelled())
        return ExportProgress::cancelledError();
    for (const QString &name : unreadable)
        problems.addUnreadable(name);
    if (Status written = write(document, path); !written)
        problems.add(pageName(memo) + QStringLiteral(": ") + written.errorMessage());
    return problems.status();
}

Status writeHierarchy(
    const JWMemo &memo, const QString &folderPath, const QString &extension, const DocumentWriter &write)
{
    if (!QFileInfo(folderPath).isDir())
        return Error{QStringLiteral("Cannot export into \"%1\": there is no such folder").arg(folderPath)};
    Problems problems;
    struct Pending
    {
        const JWMemo *page;
        QString folder;
    };
    std::vector<Pending> pending{{&memo, folderPath}};
    while (!pending.empty()) {
        const Pending next = std::move(pending.back());
        pending.pop_back();
        const JWMemo &page = *next.page;
        const QString base = next.folder + u'/' + HierarchyExport::fileBaseName(page.title(), extension);

        QTextDocument document;
        if (!loadPage(page, document))
            problems.addUnreadable(pageName(page));
        if (Status written = write(document, PathUtility::uniqueFileName(base + u'.' + extension)); !written)
            problems.add(pageName(page) + QStringLiteral(": ") + written.errorMessage());
        if (!ExportProgress::pageDone())
            return ExportProgress::cancelledError();

        if (page.children().empty())
            continue;
        // mkdir rather than mkpath: a file of that name must fail here.
        if (!QFileInfo(base).isDir() && !QDir().mkdir(base)) {
            problems.add(QStringLiteral("the pages below %1 (%2): cannot create the folder \"%3\"")
                             .arg(pageName(page), QString::number(pagesBelow(page)), base));
            continue;
        }
        for (auto child = page.children().rbegin(); child != page.children().rend(); ++child)
            pending.push_back({child->get(), base});
    }
    return problems.status();
}

Status writePackage(const QTextDocument &document, const QString &path)
{
    return Rtfd::writePackage(document, path);
}

} // namespace

namespace PageExport {

Status exportMemosASRTFD(const JWMemo &memo, const QString &folderPath)
{
    return writeHierarchy(memo, folderPath, QStringLiteral("rtfd"), writePackage);
}

Status exportSingleMemoASRTFD(const JWMemo &memo, const QString &path)
{
    return writeSingle(memo, path, writePackage);
}

Status exportMemoToJoinedRTFD(const JWMemo &memo, const QString &path)
{
    return writeJoined(memo, path, writePackage);
}

Status exportSingleMemoASPlainText(const JWMemo &memo, const QString &path)
{
    return writeSingle(memo, path, TextExport::saveAsPlainUTF8TextFile);
}

Status exportMemoToJoinedPlainText(const JWMemo &memo, const QString &path)
{
    // Joining the strings gives what the joined document's string would,
    // without laying out one large document.
    Problems problems;
    QString text;
    forEachPage(memo, [&](const JWMemo &page) {
        QTextDocument document;
        if (!loadPage(page, document))
            problems.addUnreadable(pageName(page));
        if (&page != &memo)
            text += u'\n';
        text += TextExport::string(document);
    });
    if (Status written = AtomicFileWriter::writeFile(path, text.toUtf8()); !written)
        problems.add(pageName(memo) + QStringLiteral(": ") + written.errorMessage());
    return problems.status();
}

Status exportSingleMemoASPDF(const JWMemo &memo, const QString &path)
{
    return writeSingle(memo, path, TextExport::saveAsPDFToFile);
}

Status exportMemoToJoinedPDF(const JWMemo &memo, const QString &path)
{
    return writeJoined(memo, path, TextExport::saveAsPDFToFile);
}

Status exportMemoToPDF(const JWMemo &memo, const QString &folderPath)
{
    if (!QDir().mkpath(folderPath))
        return Error{QStringLiteral("Cannot create the folder \"%1\"").arg(folderPath)};
    return writeHierarchy(memo, folderPath, QStringLiteral("pdf"), TextExport::saveAsPDFToFile);
}

void appendMemo(const JWMemo &memo, QTextDocument &document, QStringList &unreadable)
{
    QTextCursor cursor(&document);
    cursor.movePosition(QTextCursor::End);
    forEachPage(memo, [&](const JWMemo &page) {
        if (ExportProgress::cancelled() || !ExportProgress::pageDone())
            return;
        QTextDocument text;
        if (!loadPage(page, text))
            unreadable.append(pageName(page));
        cursor.insertBlock();
        appendDocument(cursor, text);
    });
}

} // namespace PageExport
