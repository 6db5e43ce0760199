#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "windows/LinkPanelController.h"
#include "windows/NoteTextView.h"

#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QTest>
#include <QTextCursor>

namespace {

class LinkPanelControllerTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        root = std::make_shared<JWMemo>();
        a = page(QStringLiteral("A"), root);
        a1 = page(QStringLiteral("A1"), a);
        a1a = page(QStringLiteral("A1a"), a1);
        b = page(QStringLiteral("B"), root);
        window.setCentralWidget(view = new NoteTextView);
        view->setPlainText(QStringLiteral("see the page here"));
        select(4, 12);
        window.show();
    }

    static MemoPtr page(const QString &title, const MemoPtr &parent)
    {
        MemoPtr memo = MemoCreation::initWithString(title);
        memo->setTitle(title);
        parent->appendChild(memo);
        return memo;
    }

    void select(int anchor, int position)
    {
        QTextCursor cursor(view->document());
        cursor.setPosition(anchor);
        cursor.setPosition(position, QTextCursor::KeepAnchor);
        view->setTextCursor(cursor);
    }

    QString linkAt(int position) const
    {
        QTextCursor cursor(view->document());
        cursor.setPosition(position);
        return cursor.charFormat().anchorHref();
    }

    MemoPtr root, a, a1, a1a, b;
    QMainWindow window;
    NoteTextView *view = nullptr;
};

TEST_F(LinkPanelControllerTest, listsEveryPageInOutlineOrderIndentedByDepth)
{
    LinkPanelController sheet(view, root);
    sheet.showWindow();
    EXPECT_EQ(sheet.memoTitleArray(),
        (QStringList{QStringLiteral("A"), QStringLiteral("  A1"), QStringLiteral("    A1a"), QStringLiteral("B")}));
    EXPECT_EQ(sheet.memoArray(), (QList<MemoPtr>{a, a1, a1a, b}));
    EXPECT_EQ(sheet.windowModality(), Qt::WindowModal);
    EXPECT_EQ(sheet.parentWidget(), &window);
    EXPECT_EQ(sheet.linkStyle(), LinkPanelController::URLLink);
    sheet.reject();
}

TEST_F(LinkPanelControllerTest, aPageLinkIsMadeAndShownAgain)
{
    {
        LinkPanelController sheet(view, root);
        sheet.showWindow();
        sheet.setLinkStyle(LinkPanelController::PageLink);
        sheet.setMemoIndex(2);
        sheet.setOpenInNewWindow(true);
        sheet.done(LinkPanelController::Accepted);
    }
    const QString expected
        = QStringLiteral("Jotwell3://pageid/") + QString::number(a1a->memoID()) + QStringLiteral("/OpenWithNewWindow");
    EXPECT_EQ(linkAt(6), expected);
    EXPECT_EQ(linkAt(2), QString());

    // Opening the sheet on that link shows it as it was made.
    select(5, 7);
    LinkPanelController again(view, root);
    again.showWindow();
    EXPECT_EQ(again.linkStyle(), LinkPanelController::PageLink);
    EXPECT_EQ(again.memoIndex(), 2);
    EXPECT_TRUE(again.openInNewWindow());

    // Remove Link takes it off; undo brings it back.
    select(4, 12);
    again.done(LinkPanelController::RemoveLink);
    EXPECT_EQ(linkAt(6), QString());
    view->document()->undo();
    EXPECT_EQ(linkAt(6), expected);
}

TEST_F(LinkPanelControllerTest, typedAddressesAndFilesBecomeLinksAndCancelChangesNothing)
{
    LinkPanelController sheet(view, root);
    sheet.showWindow();
    auto *url = sheet.findChildren<QLineEdit *>().at(0);
    QTest::keyClicks(url, QStringLiteral("https://example.org/a b"));
    EXPECT_EQ(sheet.linkStyle(), LinkPanelController::URLLink);
    sheet.findChild<QDialogButtonBox *>()->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(linkAt(6), QStringLiteral("https://example.org/a%20b"));

    LinkPanelController file(view, root);
    file.showWindow();
    EXPECT_EQ(file.urlStr(), QStringLiteral("https://example.org/a%20b"));
    file.setLinkStyle(LinkPanelController::FileLink);
    file.setFilePath(QStringLiteral("/tmp/my notes.txt"));
    file.done(LinkPanelController::Accepted);
    EXPECT_EQ(linkAt(6), QStringLiteral("file:///tmp/my%20notes.txt"));

    LinkPanelController shown(view, root);
    shown.showWindow();
    EXPECT_EQ(shown.linkStyle(), LinkPanelController::FileLink);
    EXPECT_EQ(shown.filePath(), QStringLiteral("/tmp/my notes.txt"));
    shown.setLinkStyle(LinkPanelController::URLLink);
    shown.setUrlStr(QStringLiteral("https://elsewhere.example/"));
    shown.done(LinkPanelController::Cancelled);
    EXPECT_EQ(linkAt(6), QStringLiteral("file:///tmp/my%20notes.txt"));
}

} // namespace
