// What a first session in a note window runs into: the font of a new page,
// naming it, renaming by accident, undoing a page edit from the text, the
// outline's context menu and a read-only title on the selection.
#include "OutlineTest.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineModel.h"
#include "windows/NoteWindowController.h"

#include <QAction>
#include <QApplication>
#include <QDockWidget>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

namespace {

// A note window on: Diary (Monday), Recipes, Ideas
class FirstUseTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        diary = page(root, "Diary");
        monday = page(diary, "Monday");
        recipes = page(root, "Recipes");
        ideas = page(root, "Ideas");
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), QStringLiteral("DejaVu Serif"));
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFontSize"), 14.0);
        note = std::make_unique<NoteWindowController>(host);
        host.undoStack = note->undoStack();
        note->setRootMemo(root);
        note->showWindow();
        note->mainWindow().activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&note->mainWindow()));
    }

    void TearDown() override
    {
        note.reset();
        host.undoStack = nullptr;
        OutlineTest::TearDown();
    }

    [[nodiscard]] QRect row(const MemoPtr &memo) const
    {
        return note->outline().visualRect(note->treeController().model().indexForMemo(memo.get()));
    }
    [[nodiscard]] QLineEdit *titleEditor() const
    {
        for (QLineEdit *editor : note->outline().viewport()->findChildren<QLineEdit *>()) {
            if (editor->isVisible())
                return editor;
        }
        return nullptr;
    }
    void focusText() const
    {
        note->textView()->setFocus();
        ASSERT_TRUE(QTest::qWaitFor([this] { return note->textView()->hasFocus(); }));
    }
    void pressUndo() const { QTest::keyClick(QApplication::focusWidget(), Qt::Key_Z, Qt::ControlModifier); }

    std::unique_ptr<NoteWindowController> note;
    MemoPtr diary, monday, recipes, ideas;
};

TEST_F(FirstUseTest, aNewPageIsInTheDefaultFontAtItsStoredSizeAndNamingItLeadsToItsText)
{
    note->selectMemo(recipes);
    note->action(QStringLiteral("newPageAction"))->trigger();
    const MemoPtr added = note->selectedMemo();
    ASSERT_NE(added, recipes);

    // 14 stored points show as 14 did where the files come from: 10.5 of Qt's.
    const QFont font = note->textView()->document()->defaultFont();
    EXPECT_EQ(font.family(), QStringLiteral("DejaVu Serif"));
    EXPECT_DOUBLE_EQ(font.pointSizeF(), 10.5);

    QLineEdit *editor = titleEditor();
    ASSERT_NE(editor, nullptr);
    editor->selectAll();
    QTest::keyClicks(editor, QStringLiteral("Garden"));
    QTest::keyClick(editor, Qt::Key_Return);
    QTRY_COMPARE(added->title(), QStringLiteral("Garden"));
    QTRY_VERIFY(note->textView()->hasFocus());

    // What is typed there is written as the 14 points it was set in.
    QTest::keyClicks(note->textView(), QStringLiteral("Plant beans"));
    note->save();
    EXPECT_EQ(added->plainText(), QStringLiteral("Plant beans"));
    EXPECT_TRUE(added->memoData().contains("\\fs28 ")) << added->memoData().toStdString();
}

TEST_F(FirstUseTest, titlesAreRenamedByTheEditKeyAndTheMenuNeverByAClickOnTheSelection)
{
    note->selectMemo(recipes);
    note->outline().setFocus();
    const QPoint at = row(recipes).center();
    QTest::mouseClick(note->outline().viewport(), Qt::LeftButton, {}, at);
    QTest::qWait(QApplication::doubleClickInterval() + 100);
    EXPECT_EQ(titleEditor(), nullptr);
    EXPECT_EQ(note->selectedMemo(), recipes);

    QTest::keyClick(&note->outline(), Qt::Key_F2);
    ASSERT_NE(titleEditor(), nullptr);
    QTest::keyClick(titleEditor(), Qt::Key_Escape);
    ASSERT_EQ(titleEditor(), nullptr);

    focusText();
    note->action(QStringLiteral("renamePageAction"))->trigger();
    EXPECT_NE(titleEditor(), nullptr);
}

TEST_F(FirstUseTest, undoTakesBackTheLatestPageEditWhereverTheKeyboardIs)
{
    note->selectMemo(recipes);
    note->action(QStringLiteral("deletePageAction"))->trigger();
    ASSERT_EQ(titles(root), (QStringList{"Diary", "Ideas"}));
    focusText();
    pressUndo();
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes", "Ideas"}));

    // A page moved and then typing: the typing is the latest, and goes first.
    note->selectMemo(ideas);
    note->action(QStringLiteral("moveUpAction"))->trigger();
    ASSERT_EQ(titles(root), (QStringList{"Diary", "Ideas", "Recipes"}));
    focusText();
    QTest::keyClicks(note->textView(), QStringLiteral("!!"));
    ASSERT_TRUE(note->textView()->toPlainText().contains(QStringLiteral("!!")));
    pressUndo();
    EXPECT_FALSE(note->textView()->toPlainText().contains(QStringLiteral("!!")));
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Ideas", "Recipes"}));
    // Outside the text, Undo is the page edits' as ever.
    note->outline().setFocus();
    pressUndo();
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes", "Ideas"}));
}

TEST_F(FirstUseTest, theOutlineMenuHoldsThePageCommandsAndTheyAct)
{
    note->selectMemo(diary);
    const std::unique_ptr<QMenu> menu = note->outlineMenu();
    QStringList names;
    for (QAction *item : menu->actions()) {
        if (!item->isSeparator())
            names.append(item->menu() ? item->menu()->objectName() : item->objectName());
    }
    EXPECT_EQ(names, (QStringList{"newPageAction", "newChildPageAction", "renamePageAction", "deletePageAction",
                                  "titleColorMenu", "lockAction", "protectAction", "openInNewWindowAction"}));
    const auto item = [&menu](const char *name) {
        for (QAction *candidate : menu->actions()) {
            if (candidate->objectName() == QLatin1StringView(name))
                return candidate;
        }
        return static_cast<QAction *>(nullptr);
    };

    item("newChildPageAction")->trigger();
    ASSERT_EQ(diary->children().size(), 2u);
    EXPECT_EQ(note->selectedMemo(), diary->children().front());
    QTest::keyClick(titleEditor(), Qt::Key_Escape);

    note->selectMemo(ideas);
    item("lockAction")->trigger();
    EXPECT_TRUE(ideas->locked());
    item("lockAction")->trigger();
    ASSERT_FALSE(ideas->locked());
    item("deletePageAction")->trigger();
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes"}));

    QAction *colour = menu->actions().at(menu->actions().indexOf(item("lockAction")) - 1);
    ASSERT_NE(colour->menu(), nullptr);
    ASSERT_NE(note->selectedMemo(), nullptr);
    colour->menu()->actions().at(1)->trigger();
    EXPECT_EQ(note->selectedMemo()->titleColor(), QColor(0xff, 0x8a, 0x80));
}

TEST_F(FirstUseTest, aReadOnlyTitleReadsOnTheSelection)
{
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("TitleSize"), qint64(20));
    recipes->setLocked(true);
    note->selectMemo(recipes);
    focusText();
    note->outline().viewport()->update();
    const QImage shot = note->outline().viewport()->grab().toImage();
    const QRect band = row(recipes);
    // The band's colour where nothing is drawn on it, at the row's far end.
    const QColor behind = shot.pixelColor(band.right() - 2, band.center().y());
    int ink = 0;
    for (int y = band.top(); y <= band.bottom(); ++y) {
        for (int x = band.left(); x < band.right(); ++x) {
            if (std::abs(shot.pixelColor(x, y).lightnessF() - behind.lightnessF()) > 0.3)
                ++ink;
        }
    }
    EXPECT_GT(ink, 40) << "the band is " << behind.name().toStdString();
}

} // namespace
