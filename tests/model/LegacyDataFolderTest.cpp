// Data folders as the desktop platform wrote them (tests/data/legacy): the
// archived tree, the archived settings and XML page files holding flattened
// RTFD, of the current version and of two older ones. The application must
// read every title, date, colour, tag, flag, window record and text of them,
// reopen their windows, and keep all of it through its own save and reload.
#include "DataFolder.h"
#include "model/JWMemo.h"
#include "model/SettingsFile.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QTextCursor>
#include <QTextDocument>
#include <QTimeZone>

#include <functional>
#include <map>

namespace {

QString colour(const QColor &c)
{
    const QColor rgb = c.toRgb();
    return QString::asprintf("%.2f %.2f %.2f %.2f", rgb.redF(), rgb.greenF(), rgb.blueF(), rgb.alphaF());
}

QString rect(const QRectF &r)
{
    return QString::asprintf("%g %g %g %g", r.x(), r.y(), r.width(), r.height());
}

QString letters(std::initializer_list<std::pair<bool, char>> flags)
{
    QString text;
    for (const auto &[on, letter] : flags)
        text += on ? QChar::fromLatin1(letter) : u'-';
    return text;
}

// Everything the archive holds about one page, in one line.
QString describe(const JWMemo &m)
{
    const QString date = QStringLiteral("yyyy-MM-dd'T'hh:mm:ss");
    return QStringList{QString::number(m.memoID()), m.title(), m.createdAt().toUTC().toString(date),
        m.modifiedAt().toUTC().toString(date), QString::number(m.referenceNumber()),
        m.hasTags() ? QStringLiteral("tags ") + m.tags().join(u',') : QStringLiteral("nil"), colour(m.titleColor()),
        colour(m.titleCharacterColor()),
        letters({{m.locked(), 'L'}, {m.protectWithPassword(), 'P'}, {m.scaleImages(), 'S'}, {m.showRuler(), 'R'},
            {m.showLineNumbers(), 'N'}, {m.verticalLayout(), 'V'}}),
        m.plainText(), m.scrollRangeString(), m.selectedRangeString(), m.webURLStr()}
        .join(QStringLiteral(" | "));
}

// The window record of a page; the frame strings only where the record's version holds them.
QString describe(const JWWindowAttribute &w, bool frameStrings)
{
    QStringList fields{QString::number(w.selectionID()), rect(w.windowFrame()),
        letters({{w.showPageHandle(), 'H'}, {w.floating(), 'F'}, {w.showDrawer(), 'D'}, {w.iconized(), 'I'},
            {w.rulerIsVisible(), 'R'}, {w.continuousSpellChecking(), 'S'}, {w.iconWindowChangeAlphaValue(), 'A'},
            {w.iconWindowMoveSpaces(), 'M'}, {w.noteWindowChangeAlphaValue(), 'N'}, {w.showWebControlBar(), 'W'}}),
        QString::asprintf("drawer %d %gx%g", w.drawerEdge(), w.drawerSize().width(), w.drawerSize().height()),
        rect(w.iconWindowFrame()),
        QString::asprintf("alpha %g %g %g %g", w.iconWindowAlphaValue(), w.iconWindowAlphaValueAtPoint(),
            w.noteWindowAlphaValue(), w.noteWindowAlphaValueAtPoint()),
        QStringLiteral("tabs %1 @%2")
            .arg(w.tabItems() ? QString::number(w.tabItems()->size()) : QStringLiteral("nil"))
            .arg(w.selectedTabIndex()),
        rect(w.webWindowFrame())};
    if (w.tabItems())
        for (qint64 id : *w.tabItems())
            fields[6] += u' ' + QString::number(id);
    if (frameStrings)
        fields << w.windowFrameStr() << w.iconFrameStr();
    return fields.join(QStringLiteral(" | "));
}

/** What a folder must hold once read: its pages in pre-order, their windows and texts. */
struct Expected
{
    QStringList pages;                 // describe() of each page, indented by depth
    std::map<qint64, QString> windows; // describe() of a page's window record
    std::map<qint64, QString> texts;   // the rich text's characters; "*" first for a plain-text page
    bool frameStrings = true;
};

class LegacyDataFolderTest : public DataFolderTest
{
protected:
    // Copies the fixture folder @p name into the data folder.
    void copyFolder(const QString &name)
    {
        const QString from = testDataPath(QStringLiteral("legacy/") + name);
        for (QDirIterator it(from, QDir::Files, QDirIterator::Subdirectories); it.hasNext();) {
            const QString to = folder() + it.next().mid(from.size());
            ASSERT_TRUE(QDir().mkpath(QFileInfo(to).absolutePath()));
            ASSERT_TRUE(QFile::copy(it.filePath(), to)) << to.toStdString();
        }
    }

    QByteArray read(const QString &relativePath) const
    {
        QFile file(folder() + u'/' + relativePath);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // Loads the folder and checks it against @p want; answers the windows the loader opened.
    QList<qint64> loadAndCheck(
        const Expected &want, StandInWindows &host, const std::function<void(DataStore &)> &then = {})
    {
        DataStore store;
        store.setHost(&host);
        store.loadNoteData();
        EXPECT_TRUE(store.problems().isEmpty()) << store.problems().join(u'\n').toStdString();
        EXPECT_TRUE(host.problems.isEmpty()) << host.problems.join(u'\n').toStdString();
        QStringList pages;
        checkPage(store.rootMemo(), 0, want, pages);
        EXPECT_EQ(pages.size(), want.pages.size());
        for (qsizetype i = 0; i < std::min(pages.size(), want.pages.size()); ++i)
            EXPECT_EQ(pages[i], want.pages[i]);
        if (then)
            then(store);
        return host.open;
    }

    void checkPage(const MemoPtr &memo, int depth, const Expected &want, QStringList &pages)
    {
        ASSERT_TRUE(memo);
        pages.append(QString(depth * 2, u' ') + describe(*memo));
        SCOPED_TRACE(pages.last().toStdString());
        EXPECT_FALSE(memo->isEdited());
        EXPECT_FALSE(memo->unlockedPassword()) << "protected pages come back locked";
        EXPECT_TRUE(memo->webIconImage().isNull()) << "the icon archived as NSNull is no icon";
        // A protected page hides its children until it is unlocked.
        EXPECT_EQ(memo->isLeaf(), memo->children().empty() || memo->protectWithPassword());
        ASSERT_TRUE(memo->windowAttribute());
        if (const auto window = want.windows.find(memo->memoID()); window != want.windows.end()) {
            EXPECT_EQ(describe(*memo->windowAttribute(), want.frameStrings), window->second);
        }
        if (const auto text = want.texts.find(memo->memoID()); text != want.texts.end()) {
            TextConverter converter;
            const Status read = converter.setRTFDData(memo->memoData());
            ASSERT_TRUE(read.ok()) << read.errorMessage().toStdString();
            const QString got = (memo->isPlainTextMemo() ? QStringLiteral("*") : QString()) + converter.string();
            EXPECT_EQ(got, text->second);
        }
        for (const MemoPtr &child : memo->children())
            checkPage(child, depth + 1, want, pages);
    }
};

// Every character of @p word in @p document has the bold weight, or the foreground @p color.
bool everyCharacter(const QTextDocument &document, const QString &word, const std::optional<QColor> &color = {})
{
    const QTextCursor found = document.find(word);
    QTextCursor cursor(const_cast<QTextDocument *>(&document));
    for (int position = found.selectionStart() + 1; !found.isNull() && position <= found.selectionEnd(); ++position) {
        cursor.setPosition(position);
        const QTextCharFormat format = cursor.charFormat();
        if (color ? format.foreground().color().toRgb() != color->toRgb() || format.foreground().style() == Qt::NoBrush
                  : format.fontWeight() < QFont::Bold)
            return false;
    }
    return !found.isNull();
}

const QString kDefaultWindow
    = QStringLiteral("%1 | 48 61 500 500 | H----S---W | drawer 0 168x328 | 0 0 0 0 | alpha 1 1 1 1 | tabs nil @0 | %2");

QString defaultWindow(qint64 id, const QString &web = QStringLiteral("0 0 0 0"))
{
    return kDefaultWindow.arg(id).arg(web);
}

const QString kFrameStrings = QStringLiteral(" | {{48, 61}, {500, 500}} | {{0, 0}, {0, 0}}");

TEST_F(LegacyDataFolderTest, ReadsEveryPageSettingAndTextOfAPlatformWrittenFolderAndKeepsThemThroughSaving)
{
    ASSERT_NO_FATAL_FAILURE(copyFolder(QStringLiteral("folder-v5")));
    ASSERT_FALSE(QFile::exists(notePathForID(10))) << "one page has no page file";
    const QStringList pageFiles = QDir(folder() + QStringLiteral("/Note Data")).entryList(QDir::Files);
    ASSERT_EQ(pageFiles.size(), 10);
    std::map<QString, QByteArray> before;
    for (const QString &name : pageFiles)
        before[name] = read(QStringLiteral("Note Data/") + name);

    const QString black = QStringLiteral("0.00 0.00 0.00 0.00 | 0.00 0.00 0.00 1.00");
    Expected want;
    want.pages = QStringList{
        "0 | Notes | 2001-09-09T01:46:40 | 2011-03-02T12:00:00 | 0 | tags  | " + black
            + " | ------ | Welcome | {0, 0} | {0, 0} | ",
        "  1 | Café crème brûlée | 2009-03-14T15:09:26 | 2009-03-15T08:00:00 | 300 | tags 料理,Work & play | "
        "1.00 0.50 0.00 1.00 | 0.20 0.40 0.60 1.00 | ---R-- | Café crème brûlée\nBuy milk and red apples. | {0, 0} | "
        "{5, 3} | ",
        "    4 | 日本語のメモ | 2008-12-31T23:59:59 | 2009-01-01T00:00:01 | 70000 | tags 日本,旅行 | "
        "0.10 0.60 0.30 1.00 | 0.50 0.50 0.50 1.00 | ----NV | 日本語のメモ\nParty 🎉 time | {7, 12} | {0, 0} | ",
        "      7 | Deep 🎉 emoji | 2009-04-01T07:30:05 | 2009-04-02T22:00:59 | 0 | tags  | "
        "0.50 0.25 0.75 1.00 | 0.00 0.00 0.00 1.00 | --S--- | Deepest | {0, 0} | {0, 0} | ",
        "      8 |  | 2009-05-05T05:05:05 | 2009-05-06T06:06:06 | 0 | tags  | " + black
            + " | ------ | Straße — α | {0, 0} | {0, 0} | ",
        "    5 | Locked page | 2009-02-02T02:02:02 | 2009-02-03T03:03:03 | 0 | nil | " + black
            + " | L----- | Only in the archive | {0, 0} | {0, 0} | ",
        "  2 | Protected 🔒 | 2009-12-24T18:00:00 | 2010-01-03T09:45:12 | 3 | tags secret | " + black
            + " | -P---- | Behind a password | {0, 0} | {0, 0} | ",
        "    6 | Secret child | 2010-01-01T10:00:00 | 2010-01-02T10:00:00 | 0 | tags  | " + black
            + " | ------ | Hidden text | {0, 0} | {0, 0} | ",
        "  3 | Web clip | 2010-06-01T12:00:00 | 2010-06-01T12:00:30 | 0 | tags web | 0.00 0.00 1.00 1.00 | "
        "0.00 0.00 0.00 1.00 | ------ | https://example.com/news\nSaved from the web. | {0, 0} | {0, 0} | "
        "https://example.com/news/2009/03/page.html?a=1&b=%C3%A9",
        "  12 | Picture page | 2011-02-03T04:05:06 | 2011-02-03T04:06:07 | 0 | tags  | " + black
            + " | ------ | Photo:\n\uFFFC\nCaption | {0, 0} | {0, 0} | ",
        "  10 | No page file | 2011-03-01T00:00:00 | 2011-03-01T00:00:00 | 0 | tags  | " + black
            + " | ------ | Text kept only in the archive | {0, 0} | {0, 0} | ",
    };
    for (qint64 id : {0, 4, 7, 8, 5, 6, 10})
        want.windows[id] = defaultWindow(id == 0 ? 1 : id) + kFrameStrings;
    want.windows[1] = "4 | 100 200 640 480 | HFD-RS--NW | drawer 2 200x400 | 0 0 0 0 | alpha 0.25 1 0.5 0.75 | "
                      "tabs 2 @1 4 7 | 0 0 0 0 | 100 200 640 480 0 0 1440 878  | {{0, 0}, {0, 0}}";
    want.windows[2] = "6 | 300 120 520 600 | -----SAM-W | drawer 0 168x328 | 0 0 0 0 | alpha 1 0.5 1 1 | "
                      "tabs nil @0 | 0 0 0 0"
        + kFrameStrings;
    want.windows[12] = "12 | 20 30 700 500 | H--I------ | drawer 0 168x328 | 900 40 64 64 | alpha 1 1 1 1 | "
                       "tabs nil @0 | 10 10 1024 768 | {{48, 61}, {500, 500}} | 900 40 64 64 0 0 1440 878 ";
    // Page 5's file stops before its (nil) tags, page 6's before its text: both texts come from the archive.
    want.texts = {{0, "Welcome"}, {1, "Café crème brûlée\nBuy milk and red apples."}, {4, "日本語のメモ\nParty 🎉 time"},
        {7, "Deepest"}, {8, "Straße — α"}, {5, "Only in the archive"}, {2, "Behind a password"}, {6, "Hidden text"},
        {3, "*https://example.com/news\nSaved from the web."}, {12, "Photo:\n\nCaption"},
        {10, "Text kept only in the archive"}};

    const auto checkPreferences = [] {
        const UserDefaults &defaults = UserDefaults::standardUserDefaults();
        // One of each archived type.
        const std::pair<const char *, QVariant> values[]
            = {{"AutoSave", true}, {"Animation", false}, {"AutoSavePeriod", qint64(5)}, {"HomeID", qint64(4)},
                {"DefaultFontSize", 13.5}, {"abGroupName", QStringLiteral("Famille Müller")},
                {"LastSynchronizedDate", QDateTime(QDate(2010, 6, 1), QTime(12, 0, 0, 500), QTimeZone::utc())}};
        for (const auto &[key, value] : values) {
            const QVariant got = defaults.objectForKey(QString::fromLatin1(key));
            EXPECT_EQ(got.typeId(), value.typeId()) << key << " came back as " << got.typeName();
            EXPECT_EQ(got, value) << key;
        }
        // The background colour stays the archived colour it was.
        const auto background
            = TypedStreamDecoder::unarchiveObjectWithData(defaults.dataForKey(QStringLiteral("BGColor")));
        ASSERT_TRUE(background.ok()) << background.errorMessage().toStdString();
        EXPECT_EQ(colour(background.value().value<ArchivedColor>().toColor()), QStringLiteral("1.00 0.98 0.80 1.00"));
    };

    StandInWindows host;
    const QList<qint64> opened = loadAndCheck(want, host, [&](DataStore &store) {
        EXPECT_EQ(host.mainWindowShown, 0);
        EXPECT_EQ(host.oldDefaultsImports, 0) << "the settings brought the application version";
        EXPECT_EQ(UserDefaults::standardUserDefaults().integerForKey(QStringLiteral("memoID")), 13)
            << "new pages take IDs above the folder's largest";
        TextConverter text;
        ASSERT_TRUE(text.setRTFDData(store.tree().noteDataWithID(1)->memoData()).ok());
        EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("milk")));
        EXPECT_FALSE(everyCharacter(text.document(), QStringLiteral("Buy")));
        EXPECT_TRUE(everyCharacter(text.document(), QStringLiteral("red"), QColor(204, 0, 0)));
        EXPECT_FALSE(everyCharacter(text.document(), QStringLiteral("apples"), QColor(204, 0, 0)));
        ASSERT_TRUE(text.setRTFDData(store.tree().noteDataWithID(12)->memoData()).ok());
        const QList<TextConverter::Attachment> attachments = text.attachments();
        ASSERT_EQ(attachments.size(), 1);
        EXPECT_EQ(attachments[0].fileName, QStringLiteral("Pasted Graphic.png"));
        EXPECT_EQ(attachments[0].image.pixelColor(8, 6), QColor(30, 144, 255));
        checkPreferences();
        const Status saved = store.save();
        ASSERT_TRUE(saved.ok()) << saved.errorMessage().toStdString();
    });
    EXPECT_EQ(opened, (QList<qint64>{12, 2, 1})) << "the windows reopen in the settings' order";

    // Nothing was edited: no page file was written over.
    for (const auto &[name, bytes] : before)
        EXPECT_EQ(read(QStringLiteral("Note Data/") + name), bytes) << name.toStdString();
    EXPECT_FALSE(QFile::exists(notePathForID(10)));

    // The preferences must now come from the settings file the application wrote.
    for (const QString &key : SettingsFile::preferenceKeys())
        UserDefaults::standardUserDefaults().removeObjectForKey(key);
    StandInWindows again;
    EXPECT_EQ(loadAndCheck(want, again), (QList<qint64>{12, 2, 1}));
    checkPreferences();
}

TEST_F(LegacyDataFolderTest, ReadsAStoreOfOlderPagesAndSavesItInTheCurrentVersion)
{
    // Class version 3 pages with version 3 window records: no image scaling,
    // vertical layout, web address, web window or its control bar yet.
    ASSERT_NO_FATAL_FAILURE(copyFolder(QStringLiteral("folder-v3")));
    ASSERT_TRUE(read(QStringLiteral("JW3Data.jw3datastore")).contains(QByteArray("\x06JWMemo\x03", 8)));
    const QString black = QStringLiteral("0.00 0.00 0.00 1.00");
    Expected want;
    want.pages = QStringList{
        "0 | Older notes | 2007-06-01T07:00:00 | 2007-08-15T17:30:00 | 0 | tags  | 0.00 0.00 0.00 0.00 | " + black
            + " | ------ |  | {0, 0} | {0, 0} | ",
        "  20 | Ruler page | 2007-06-01T08:00:00 | 2007-06-02T08:00:00 | 12 | tags old,ruler | 0.90 0.90 0.10 1.00 | "
        "0.80 0.10 0.10 1.00 | L--RN- | Tabs\tand rulers | {0, 0} | {0, 0} | ",
        "  21 | Vieux carnet — été | 2007-07-14T09:00:00 | 2007-08-15T17:30:00 | 0 | tags vacances | "
        "0.25 0.25 0.25 1.00 | "
            + black + " | -P---- | Souvenirs | {0, 0} | {0, 0} | ",
        "    22 | 子ページ | 2007-11-05T10:00:00 | 2007-11-06T11:00:00 | 0 | nil | 0.00 0.00 0.00 0.00 | " + black
            + " | ------ | Petit texte | {0, 0} | {0, 0} | ",
    };
    // Older records have no web frame: the window's, 1.2 times as large.
    for (qint64 id : {0, 20, 22})
        want.windows[id] = defaultWindow(id == 0 ? 20 : id, QStringLiteral("48 61 600 600")) + kFrameStrings;
    want.windows[21] = "22 | 60 70 480 360 | H----S---W | drawer 0 168x328 | 0 0 0 0 | alpha 1 1 1 1 | tabs 1 @0 22 | "
                       "60 70 576 432 | 60 70 480 360 0 0 1280 778  | {{0, 0}, {0, 0}}";
    want.texts = {{20, "Tabs\tand rulers"}, {21, "Souvenirs"}, {22, "Petit texte"}}; // 22 has no tags, so no file text

    StandInWindows host;
    EXPECT_EQ(loadAndCheck(want, host, [](DataStore &store) { ASSERT_TRUE(store.save().ok()); }), QList<qint64>{21});
    EXPECT_TRUE(read(QStringLiteral("JW3Data.jw3datastore")).contains(QByteArray("\x06JWMemo\x05", 8)))
        << "saved in the current version";
    StandInWindows again;
    EXPECT_EQ(loadAndCheck(want, again), QList<qint64>{21});
}

TEST_F(LegacyDataFolderTest, TakesAVersion2TreeKeptInThePreferencesAndWritesTheDataStore)
{
    QFile tree(testDataPath(QStringLiteral("legacy/rootMemo-v2.typedstream")));
    ASSERT_TRUE(tree.open(QIODevice::ReadOnly));
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    defaults.setValue(QStringLiteral("rootMemo"), tree.readAll());
    defaults.setValue(QStringLiteral("windowIDs"), QVariantList{qint64(31)});

    Expected want;
    want.frameStrings = false;
    want.pages = QStringList{
        "0 | Old notes | 2006-01-01T00:00:00 | 2006-02-03T04:05:06 | 0 | tags  | 0.00 0.00 0.00 0.00 | "
        "0.00 0.00 0.00 1.00 | ------ |  | {0, 0} | {0, 0} | ",
        // Its image scaling and ruler are of later versions, as is the title's character colour.
        "  31 | Ancienne note ✎ | 2006-01-02T03:04:05 | 2006-02-03T04:05:06 | 0 | tags legacy | 0.30 0.30 0.90 1.00 | "
        "0.00 0.00 0.00 1.00 | ------ | From the preferences | {0, 0} | {0, 0} | ",
    };
    // Loading saves the tree at once, which leaves the live icon frame at 48 by 48; the archive keeps the size.
    const QString window = "31 | 5 6 300 200 | H----S---W | drawer 0 168x328 | %1 | alpha 1 1 1 1 | tabs 1 @0 31 | "
                           "5 6 360 240";
    want.windows[31] = window.arg(QStringLiteral("0 0 48 48"));

    StandInWindows host;
    EXPECT_EQ(loadAndCheck(want, host), QList<qint64>{31}) << "no settings file: the windows of the preferences";
    EXPECT_EQ(host.oldDefaultsImports, 1) << "no application version yet: older preferences are imported";
    EXPECT_FALSE(defaults.objectForKey(QStringLiteral("rootMemo")).isValid());
    EXPECT_TRUE(QFile::exists(folder() + QStringLiteral("/JW3Data.jw3datastore")));
    EXPECT_TRUE(QFile::exists(folder() + QStringLiteral("/JW3Data.jw3settings")));

    want.windows[31] = window.arg(QStringLiteral("0 0 0 0"));
    StandInWindows again;
    loadAndCheck(want, again);
}

} // namespace

namespace {

// The previous version's pages, converted by the application, become the
// tree of a folder without a data store, texts included, and only once.
TEST_F(LegacyDataFolderTest, TakesThePreviousVersionsConvertedTreeOnce)
{
    StandInWindows host;
    host.olderVersionTree = JWMemo::memo();
    const MemoPtr page = JWMemo::memo();
    page->setTitle(QStringLiteral("Converted"));
    page->setMemoDataWithPlainText(QStringLiteral("Text from the old version"));
    host.olderVersionTree->appendChild(page);
    {
        const std::unique_ptr<DataStore> store = loadedStore(&host);
        EXPECT_EQ(store->rootMemo(), host.olderVersionTree);
    }
    EXPECT_EQ(host.oldDefaultsImports, 1);

    StandInWindows again;
    again.olderVersionTree = JWMemo::memo();
    const std::unique_ptr<DataStore> reloaded = loadedStore(&again);
    EXPECT_EQ(again.oldDefaultsImports, 0) << "the first load recorded the application version";
    ASSERT_EQ(reloaded->rootMemo()->children().size(), 1u);
    const MemoPtr back = reloaded->rootMemo()->children().front();
    EXPECT_EQ(back->title(), QStringLiteral("Converted"));
    TextConverter converter;
    ASSERT_TRUE(converter.setRTFDData(back->memoData()));
    EXPECT_EQ(converter.plainString(), QStringLiteral("Text from the old version"));
}

} // namespace
