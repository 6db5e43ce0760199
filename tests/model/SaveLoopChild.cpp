// jw-save-loop FOLDER JOURNAL ROUND PAGES TEXT-BYTES SEED: edits and saves
// without pause, for the crash-safety test to kill. It loads the data folder
// FOLDER or makes a tree of PAGES pages there, says "ready", then for ever
// gives a few random pages a new generation of title ("Page <ID> gen <N>",
// from ROUND * 1,000,000 on) and text, now and then adds a page, and saves.
// Every version is appended to JOURNAL as "<ID> <generation> <SHA-1 of the
// text>" in one write to the kernel before it can reach a file.
#include "model/DataStore.h"
#include "model/JWMemo.h"
#include "platform/settings/UserDefaults.h"

#include <QCryptographicHash>
#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QSet>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <random>
#include <vector>

namespace {

constexpr int kFailed = 3;
constexpr int kMaxDepth = 4;

class Journal
{
public:
    explicit Journal(const QString &path)
        : m_fd(::open(QFile::encodeName(path).constData(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644))
    { }
    ~Journal() { ::close(m_fd); }
    Journal(const Journal &) = delete;
    Journal &operator=(const Journal &) = delete;

    [[nodiscard]] bool isOpen() const { return m_fd >= 0; }
    [[nodiscard]] bool record(qint64 memoID, qint64 generation, const QString &text)
    {
        const QByteArray line = QByteArray::number(memoID) + ' ' + QByteArray::number(generation) + ' '
            + QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha1).toHex() + '\n';
        return ::write(m_fd, line.constData(), size_t(line.size())) == line.size();
    }

private:
    int m_fd;
};

QString titleFor(qint64 memoID, qint64 generation)
{
    return QStringLiteral("Page %1 gen %2").arg(memoID).arg(generation);
}

// Words enough for @p bytes, after a first line naming the version.
QString textFor(qint64 memoID, qint64 generation, int bytes, std::mt19937 &random)
{
    static const char *const words[] = {"alpha", "river", "stone", "paper", "lamp", "orchard", "window", "quiet",
        "signal", "harbour", "copper", "meadow", "ledger", "spring"};
    std::uniform_int_distribution<int> word(0, int(std::size(words)) - 1);
    QString text = titleFor(memoID, generation);
    for (int n = 0; text.size() < bytes; ++n) {
        text += n % 12 == 0 ? u'\n' : u' ';
        text += QLatin1String(words[word(random)]);
    }
    return text;
}

// Gives @p page the version @p generation, journalled first.
bool writeVersion(JWMemo &page, qint64 generation, int bytes, std::mt19937 &random, Journal &journal)
{
    const QString text = textFor(page.memoID(), generation, bytes, random);
    if (!journal.record(page.memoID(), generation, text))
        return false;
    page.setTitle(titleFor(page.memoID(), generation));
    page.setMemoDataWithPlainText(text);
    return true;
}

// A tree of @p pages pages, IDs 1 to @p pages, nested a few levels deep; generation 0 of every page.
MemoPtr makeTree(int pages, int bytes, std::mt19937 &random, Journal &journal)
{
    std::vector<std::pair<JWMemo *, int>> placed;
    MemoPtr root;
    const QDateTime now = QDateTime::currentDateTime();
    for (qint64 id = 1; id <= pages; ++id) {
        MemoPtr page = JWMemo::bareMemo();
        page->setMemoID(id);
        page->setTags({});
        page->setIsPlainTextMemo(false);
        page->setCreatedAt(now);
        if (!writeVersion(*page, 0, bytes, random, journal))
            return nullptr;
        page->setIsEdited(true);
        if (!root) {
            root = page;
            placed.emplace_back(page.get(), 0);
            continue;
        }
        auto parent = placed[std::uniform_int_distribution<size_t>(0, placed.size() - 1)(random)];
        if (parent.second >= kMaxDepth)
            parent = placed.front();
        placed.emplace_back(page.get(), parent.second + 1);
        parent.first->appendChild(std::move(page));
    }
    for (const auto &[page, depth] : placed)
        page->changeIsLeaf();
    return root;
}

int fail(const char *what, const QString &detail = {})
{
    std::fprintf(stderr, "jw-save-loop: %s %s\n", what, qPrintable(detail));
    return kFailed;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int round = args.value(3).toInt();
    const int pages = args.value(4).toInt();
    const int bytes = args.value(5).toInt();
    if (args.size() != 7 || round < 1 || pages < 2 || bytes < 1) {
        std::fputs("usage: jw-save-loop FOLDER JOURNAL ROUND>0 PAGES>1 TEXT-BYTES>0 SEED\n", stderr);
        return 2;
    }
    Journal journal(args[2]);
    if (!journal.isOpen())
        return fail("the journal cannot be opened");
    std::mt19937 random(args[6].toUInt() * 1000u + unsigned(round));

    const QString folder = QFileInfo(args[1]).absoluteFilePath();
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), folder);
    DataStore store;
    if (QFileInfo::exists(folder + QStringLiteral("/JW3Data.jw3datastore"))) {
        store.loadNoteData();
        if (!store.problems().isEmpty() || !store.rootMemo())
            return fail("the folder did not load:", store.problems().join(u' '));
    } else {
        const MemoPtr root = makeTree(pages, bytes, random, journal);
        if (!root)
            return fail("the journal cannot be written");
        store.setRootMemo(root);
        store.tree().resetMemoID();
        if (Status saved = store.save(); !saved)
            return fail("the new tree was not saved:", saved.errorMessage());
    }
    std::fputs("ready\n", stdout);
    std::fflush(stdout);

    for (qint64 generation = qint64(round) * 1'000'000 + 1;; ++generation) {
        QList<MemoPtr> all = store.tree().arrayOfMemos(store.rootMemo());
        std::uniform_int_distribution<qsizetype> anyPage(1, all.size() - 1); // never the root
        // A few different pages: one text per page and generation.
        QSet<JWMemo *> edited;
        for (int n = std::uniform_int_distribution<int>(1, 4)(random); n > 0; --n)
            edited.insert(all.at(anyPage(random)).get());
        for (JWMemo *page : std::as_const(edited)) {
            if (!writeVersion(*page, generation, bytes, random, journal))
                return fail("the journal cannot be written");
        }
        if (generation % 8 == 0) {
            const MemoPtr page = JWMemo::memo();
            if (!writeVersion(*page, generation, bytes, random, journal))
                return kFailed;
            (void)store.tree().insertNewMemo(page, all.at(anyPage(random)), -1);
        }
        if (Status saved = store.save(); !saved)
            return fail("saving failed:", saved.errorMessage());
    }
}
