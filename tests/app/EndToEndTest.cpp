// Real windows on a fresh data folder, pages made, written, formatted, linked
// and protected, then a quit and a second start that finds everything as left.
#include "AppSessionTest.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "text/PageLinks.h"
#include "text/TextExport.h"
#include "util/PagePassword.h"
#include "windows/LinkPanelController.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineModel.h"
#include "windows/NoteTextView.h"
#include "windows/NoteTreeController.h"
#include "windows/SyncWindow.h"
#include "sync/JW3SyncServer.h"
#include "sync/Server.h"
#include "sync/SyncService.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QTextCursor>
#include <QTextDocument>

namespace {

class EndToEndTest : public AppSessionTest
{
protected:
    static NoteWindowController &frontWindow(JW3Controller &application)
    {
        auto *window = dynamic_cast<NoteWindowController *>(application.frontWindowController());
        EXPECT_NE(window, nullptr);
        return *window;
    }

    static void trigger(NoteWindowController &window, const char *action)
    {
        QAction *item = window.action(QLatin1StringView(action));
        ASSERT_NE(item, nullptr) << action;
        ASSERT_TRUE(item->isEnabled()) << action;
        item->trigger();
    }

    // A new page (or child page) titled @p title, with @p text typed into it.
    static MemoPtr newPage(NoteWindowController &window, const char *action, const QString &title, const QString &text)
    {
        trigger(window, action);
        const MemoPtr page = window.selectedMemo();
        window.treeController().titleEdited(title);
        window.textView()->setFocus();
        QTest::keyClicks(window.textView(), text);
        return page;
    }
};

TEST_F(EndToEndTest, aNotebookMadeInOneSessionIsFoundAsItWasInTheNext)
{
    savePasswordToDefault(QStringLiteral("opensesame"));
    qint64 shoppingID = 0;
    {
        const auto application = start();
        NoteWindowController &window = frontWindow(*application);
        window.showWindow();

        // Pages and a child page, with formatted text.
        const MemoPtr shopping = newPage(window, "newPageAction", QStringLiteral("Shopping"), QStringLiteral("Buy "));
        shoppingID = shopping->memoID();
        trigger(window, "boldAction");
        QTest::keyClicks(window.textView(), QStringLiteral("milk"));
        const MemoPtr errands = newPage(
            window, "newChildPageAction", QStringLiteral("Errands"), QStringLiteral("Remember the shopping list"));
        ASSERT_EQ(application->tree().parentOfMemo(errands), shopping);

        // A link to the Shopping page, made with the link sheet and followed with a click.
        window.textView()->moveCursor(QTextCursor::Start);
        ASSERT_TRUE(window.textView()->find(QStringLiteral("shopping list")));
        trigger(window, "editLinkAction");
        auto *sheet = window.mainWindow().findChild<LinkPanelController *>();
        ASSERT_NE(sheet, nullptr);
        sheet->setLinkStyle(LinkPanelController::PageLink);
        sheet->setMemoIndex(int(sheet->memoArray().indexOf(shopping)));
        sheet->linkSheetDidEnd(LinkPanelController::Accepted);
        QTextCursor cursor = window.textView()->textCursor();
        cursor.setPosition(int(window.textView()->string().indexOf(QStringLiteral("list"))));
        const QPoint onLink = window.textView()->cursorRect(cursor).center() + QPoint(2, 0);
        QTest::mouseClick(window.textView()->viewport(), Qt::LeftButton, {}, onLink);
        QTRY_COMPARE(window.selectedMemo(), shopping);

        // A protected page, opened with the password as it was made (the password sheet has tests of its own).
        const MemoPtr secrets = newPage(window, "newPageAction", QStringLiteral("Secrets"), QStringLiteral("42"));
        trigger(window, "protectAction");
        ASSERT_TRUE(secrets->protectWithPassword());

        window.selectMemo(errands);
        window.textView()->moveCursor(QTextCursor::Start);
        QTest::keyClicks(window.textView(), QStringLiteral("Typed just before quitting. "));
        application->applicationWillTerminate();
    }

    const auto application = start();
    NoteWindowController &window = frontWindow(*application);
    window.showWindow();
    const auto titled = [&](const char *title) {
        return application->tree().memoWithTitle(QString::fromUtf8(title), application->rootMemo());
    };
    const MemoPtr shopping = titled("Shopping");
    const MemoPtr errands = titled("Errands");
    const MemoPtr secrets = titled("Secrets");
    ASSERT_TRUE(shopping && errands && secrets);
    EXPECT_EQ(shopping->memoID(), shoppingID);
    EXPECT_EQ(application->tree().parentOfMemo(errands), shopping);
    QTextDocument shoppingText;
    ASSERT_TRUE(TextExport::setRTFDData(shoppingText, shopping->memoData()).ok());
    EXPECT_GE(shoppingText.find(QStringLiteral("milk")).charFormat().fontWeight(), QFont::Bold);
    EXPECT_LT(shoppingText.find(QStringLiteral("Buy")).charFormat().fontWeight(), QFont::Bold);

    // The window shows the page it showed, with the last words typed.
    EXPECT_EQ(window.selectedMemo(), errands);
    EXPECT_TRUE(window.textView()->string().startsWith(QStringLiteral("Typed just before quitting. Remember")));
    QTextDocument errandsText;
    ASSERT_TRUE(TextExport::setRTFDData(errandsText, errands->memoData()).ok());
    const QTextCursor link = errandsText.find(QStringLiteral("shopping list"));
    EXPECT_EQ(PageLinks::memoIDOfLink(link.charFormat().anchorHref()), std::optional<qint64>(shoppingID));

    // The protected page is locked again and keeps its text to itself.
    EXPECT_TRUE(secrets->protectWithPassword());
    EXPECT_FALSE(secrets->unlockedPassword());
    EXPECT_FALSE(
        window.treeController().model().hasChildren(window.treeController().model().indexForMemo(secrets.get())));
    window.selectMemo(secrets);
    EXPECT_EQ(window.selectedMemo(), errands);
}

} // namespace

// The sync window, from the File menu: the page chosen there names the
// service, and a name the network cannot carry is refused with the reason.
TEST_F(EndToEndTest, theSyncWindowChoosesThePageAndShowsWhereThePhoneConnects)
{
    qputenv("JW_SYNC_PORT", "0");
    const auto application = start();
    NoteWindowController &window = frontWindow(*application);
    trigger(window, "syncWindowAction");
    SyncWindow *sync = nullptr;
    for (QWidget *widget : QApplication::topLevelWidgets())
        sync = sync ? sync : qobject_cast<SyncWindow *>(widget);
    ASSERT_NE(sync, nullptr);
    auto *name = sync->findChild<QComboBox *>(QStringLiteral("groupNameBox"));
    auto *apply = sync->findChild<QPushButton *>(QStringLiteral("applyGroupButton"));
    auto *problem = sync->findChild<QLabel *>(QStringLiteral("groupProblemLabel"));
    const quint16 port = application->syncService().server()->server()->port();
    EXPECT_TRUE(
        sync->findChild<QLabel *>(QStringLiteral("addressLabel"))->text().contains(QStringLiteral(":%1").arg(port)));

    name->setCurrentText(QString(60, u'x'));
    EXPECT_FALSE(apply->isEnabled());
    EXPECT_TRUE(problem->text().contains(QStringLiteral("too long")));

    const int restarts = application->serverRestarts();
    name->setCurrentText(QStringLiteral("Phone.notes"));
    ASSERT_TRUE(apply->isEnabled());
    QTest::mouseClick(apply, Qt::LeftButton);
    EXPECT_EQ(application->serverRestarts(), restarts + 1);
    EXPECT_EQ(application->syncService().status().serviceType, QStringLiteral("_JotwellSync_Phone\\.notes._tcp"));
}
