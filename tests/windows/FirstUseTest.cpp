// What a first session in a note window runs into.
#include "NoteWindowTest.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteMainWindow.h"

#include <QAction>
#include <QLineEdit>
#include <QTest>

namespace {

// A note window on the whole notebook, active, in the default font the preferences name.
class FirstUseTest : public NoteWindowTest
{
protected:
    void SetUp() override
    {
        NoteWindowTest::SetUp();
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFont"), QStringLiteral("DejaVu Serif"));
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("DefaultFontSize"), 14.0);
        note = open(root);
        note->mainWindow().activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&note->mainWindow()));
    }

    void TearDown() override
    {
        note.reset();
        NoteWindowTest::TearDown();
    }

    [[nodiscard]] QLineEdit *titleEditor() const
    {
        for (QLineEdit *editor : note->outline().viewport()->findChildren<QLineEdit *>()) {
            if (editor->isVisible())
                return editor;
        }
        return nullptr;
    }
    static void key(QWidget *to, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        to->setFocus();
        QTest::keyClick(to, key, modifiers);
    }
    void trigger(const char *name) const { note->action(QLatin1StringView(name))->trigger(); }

    std::unique_ptr<NoteWindowController> note;
};

TEST_F(FirstUseTest, aNewPageIsInTheDefaultFontAtItsStoredSizeAndNamingItLeadsToItsText)
{
    note->selectMemo(recipes);
    trigger("newPageAction");
    const MemoPtr added = note->selectedMemo();
    ASSERT_NE(added, recipes);
    // 14 stored points show as 14 did where the files come from: 10.5 of Qt's.
    EXPECT_EQ(note->textView()->document()->defaultFont().family(), QStringLiteral("DejaVu Serif"));
    EXPECT_DOUBLE_EQ(note->textView()->document()->defaultFont().pointSizeF(), 10.5);

    // The new page waits for its title in the outline; Return leads on to its text.
    ASSERT_NE(titleEditor(), nullptr);
    titleEditor()->selectAll();
    QTest::keyClicks(titleEditor(), QStringLiteral("Garden"));
    QTest::keyClick(titleEditor(), Qt::Key_Return);
    QTRY_VERIFY(note->textView()->hasFocus());
    EXPECT_EQ(added->title(), QStringLiteral("Garden"));
    EXPECT_EQ(recipes->title(), QStringLiteral("Recipes"));
    QTest::keyClicks(note->textView(), QStringLiteral("Beans"));
    note->save();
    EXPECT_TRUE(added->memoData().contains("\\fs28 ")) << added->memoData().toStdString();
}

TEST_F(FirstUseTest, titlesAreRenamedByTheEditKeyAndTheMenu)
{
    // A click on the selected row never renames: the outline's double-click test waits that out.
    note->selectMemo(recipes);
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

} // namespace
