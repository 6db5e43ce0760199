// What a first session in a note window runs into.
#include "OutlineTest.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineModel.h"
#include "windows/NoteWindowController.h"

#include <QAction>
#include <QApplication>
#include <QHash>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

namespace {

// A note window on: Diary (Monday), Recipes, Ideas; the keyboard in the text.
class FirstUseTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        diary = page(root, "Diary");
        page(diary, "Monday");
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
    void key(QWidget *to, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) const
    {
        to->setFocus();
        QTest::keyClick(to, key, modifiers);
    }
    void trigger(const char *name) const { note->action(QLatin1StringView(name))->trigger(); }

    std::unique_ptr<NoteWindowController> note;
    MemoPtr diary, recipes, ideas;
};

TEST_F(FirstUseTest, aNewPageIsInTheDefaultFontAtItsStoredSizeAndNamingItLeadsToItsText)
{
    note->selectMemo(recipes);
    trigger("newPageAction");
    const MemoPtr added = note->selectedMemo();
    // 14 stored points show as 14 did where the files come from: 10.5 of Qt's.
    EXPECT_EQ(note->textView()->document()->defaultFont().family(), QStringLiteral("DejaVu Serif"));
    EXPECT_DOUBLE_EQ(note->textView()->document()->defaultFont().pointSizeF(), 10.5);

    ASSERT_NE(titleEditor(), nullptr);
    QTest::keyClicks(titleEditor(), QStringLiteral("Garden"));
    QTest::keyClick(titleEditor(), Qt::Key_Return);
    QTRY_VERIFY(note->textView()->hasFocus());
    EXPECT_EQ(added->title(), QStringLiteral("Garden"));
    QTest::keyClicks(note->textView(), QStringLiteral("Beans"));
    note->save();
    EXPECT_TRUE(added->memoData().contains("\\fs28 ")) << added->memoData().toStdString();
}

TEST_F(FirstUseTest, titlesAreRenamedByTheEditKeyAndTheMenuNeverByAClickOnTheSelection)
{
    note->selectMemo(recipes);
    note->outline().setFocus();
    QTest::mouseClick(note->outline().viewport(), Qt::LeftButton, {}, row(recipes).center());
    QTest::qWait(QApplication::doubleClickInterval() + 100);
    EXPECT_EQ(titleEditor(), nullptr);

    key(&note->outline(), Qt::Key_F2);
    ASSERT_NE(titleEditor(), nullptr);
    QTest::keyClick(titleEditor(), Qt::Key_Escape);
    note->textView()->setFocus();
    trigger("renamePageAction");
    EXPECT_NE(titleEditor(), nullptr);
}

TEST_F(FirstUseTest, undoTakesBackTheLatestPageEditWhereverTheKeyboardIs)
{
    note->selectMemo(recipes);
    trigger("deletePageAction");
    key(note->textView(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes", "Ideas"}));

    // A page moved, then typing: the typing is the latest and goes first.
    note->selectMemo(ideas);
    trigger("moveUpAction");
    QTest::keyClicks(note->textView(), QStringLiteral("!!"));
    key(note->textView(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_FALSE(note->textView()->toPlainText().contains(QStringLiteral("!!")));
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Ideas", "Recipes"}));
    key(&note->outline(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes", "Ideas"}));
}

TEST_F(FirstUseTest, theOutlineMenuHoldsThePageCommandsAndTheyAct)
{
    note->selectMemo(ideas);
    const std::unique_ptr<QMenu> menu = note->outlineMenu();
    QStringList names;
    QHash<QString, QAction *> items;
    for (QAction *item : menu->actions()) {
        const QString name = item->menu() ? item->menu()->objectName() : item->objectName();
        names.append(name);
        items.insert(name, item);
    }
    names.removeAll(QString());
    EXPECT_EQ(names,
        (QStringList{"newPageAction", "newChildPageAction", "renamePageAction", "deletePageAction", "titleColorMenu",
            "lockAction", "protectAction", "openInNewWindowAction"}));
    items.value(QStringLiteral("titleColorMenu"))->menu()->actions().at(1)->trigger();
    EXPECT_EQ(ideas->titleColor(), QColor(0xff, 0x8a, 0x80));
    items.value(QStringLiteral("lockAction"))->trigger();
    EXPECT_TRUE(ideas->locked());
    items.value(QStringLiteral("lockAction"))->trigger();
    items.value(QStringLiteral("deletePageAction"))->trigger();
    EXPECT_EQ(titles(root), (QStringList{"Diary", "Recipes"}));
    note->selectMemo(diary);
    items.value(QStringLiteral("newChildPageAction"))->trigger();
    EXPECT_EQ(diary->children().size(), 2u);
}

} // namespace
