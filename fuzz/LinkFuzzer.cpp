// Link texts come from documents of any origin (RTF files, the pasteboard,
// synced pages): each line of the input is a link text. Every line is read
// as a link and resolved as a click, then the lines become the links of a
// document whose page IDs are rewritten.
#include "text/LinkClick.h"
#include "text/PageLinks.h"
#include "text/TextLinks.h"

#include <QGuiApplication>
#include <QLoggingCategory>
#include <QTemporaryDir>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "link fuzzer: %s\n", what);
        std::abort();
    }
}

// Documents need fonts, and fonts need a GUI application. Mail links search
// the home folder: it is an empty one, never the user's.
void ensureApplication()
{
    static int argc = 1;
    static char name[] = "fuzz-links";
    static char *argv[] = {name, nullptr};
    if (QCoreApplication::instance())
        return;
    static QTemporaryDir home;
    qputenv("HOME", home.path().toLocal8Bit());
    qunsetenv("MAILDIR");
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    new QGuiApplication(argc, argv);
    // Every dead link writes a line; thousands of runs would drown the fuzzer's own output.
    QLoggingCategory::setFilterRules(QStringLiteral("jw.text.links.warning=false"));
}

// Knows no pages, and opens nothing.
class Host : public LinkClickHost
{
public:
    MemoPtr noteDataWithID(qint64) override { return nullptr; }
    void openWindowAndShowMemo(const MemoPtr &) override { require(false, "opened a missing page"); }
    void showMemoInThisWindow(const MemoPtr &) override { require(false, "showed a missing page"); }
    bool openUrl(const QUrl &) override { return false; }
};

void checkLink(Host &host, const QString &link)
{
    const std::optional<PageLinks::LinkDescription> description = PageLinks::describeLink(link);
    if (description && description->memoID) {
        // A page ID read from a link reads back the same from the link built for it.
        const QString built = PageLinks::pageLink(*description->memoID, description->openInNewWindow);
        require(PageLinks::memoIDOfLink(built) == description->memoID, "page ID does not read back");
    }
    require(PageLinks::mailLocation(link).size() <= link.size(), "mail location grew");
    const LinkClick::Outcome outcome = LinkClick::resolve(host, link);
    require(outcome != LinkClick::Outcome::ShowedPage && outcome != LinkClick::Outcome::OpenedPageWindow,
        "showed a page that does not exist");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ensureApplication();
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    QStringList lines = text.split(u'\n');
    constexpr qsizetype kMaxLines = 64;
    if (lines.size() > kMaxLines)
        lines.resize(kMaxLines);

    Host host;
    QTextDocument document;
    QTextCursor cursor(&document);
    QHash<qint64, qint64> idMap;
    for (const QString &line : std::as_const(lines)) {
        checkLink(host, line);
        // Stored as given, not escaped, as a link read from a file would be.
        QTextCharFormat link;
        link.setAnchor(true);
        link.setAnchorHref(line);
        cursor.insertText(QStringLiteral("link"), link);
        cursor.insertText(QStringLiteral(" "), QTextCharFormat());
        if (const std::optional<qint64> id = PageLinks::memoIDOfLink(line))
            idMap.insert(*id, *id % 1000 + 1);
    }

    const QString before = document.toHtml();
    const int steps = document.availableUndoSteps();
    const int rewritten = TextLinks::connvertLinkIDWithDicitonary(document, idMap);
    require(rewritten >= 0 && rewritten <= lines.size(), "more links rewritten than there are");
    if (rewritten == 0) {
        require(document.availableUndoSteps() == steps, "an undo step for nothing");
    } else {
        document.undo();
        require(document.toHtml() == before, "undo did not restore the links");
    }

    // The same lines set through the escaping path, and described again.
    const TextRange first{0, 4};
    for (const QString &line : std::as_const(lines)) {
        TextLinks::setLink(document, first, line);
        (void)TextLinks::linkForSelection(document, first);
    }
    const TextRange all = TextSpan::whole(document).toRange();
    TextLinks::setAutoLink(document, all);
    TextLinks::removeLink(document, all);
    require(!TextLinks::linkForSelection(document, {0, 4}), "a link stayed after removing it");
    return 0;
}
