#include "OutlineTest.h"
#include "platform/base/Localization.h"
#include "platform/settings/UserDefaults.h"
#include "util/PagePassword.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/NoteOutlineModel.h"
#include "windows/TitleColorPalette.h"

#include <QAbstractItemModelTester>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>
#include <QWindow>

namespace {

// What Qt's model tester found wrong, in its Warning mode.
QStringList g_modelFaults;
QtMessageHandler g_nextHandler = nullptr;

void recordModelFaults(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && qstrcmp(context.category, "qt.modeltest") == 0)
        g_modelFaults.append(message);
    else
        g_nextHandler(type, context, message);
}

// A window's outline over the shared tree.
class NoteTreeControllerTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        plantTree();
        UserDefaults::standardUserDefaults().setValue(QStringLiteral("DeleteCheck"), false);
        openOutline();
    }

    void select(std::initializer_list<MemoPtr> memos)
    {
        for (const MemoPtr &memo : memos)
            controller->setSelection(memo);
    }

    template<typename T> T *sheet() const
    {
        const QList<T *> found = window->findChildren<T *>();
        return found.isEmpty() ? nullptr : found.last();
    }
};

TEST_F(NoteTreeControllerTest, theFirstRootSelectsItsFirstPageAndAnEmptyRootGetsOne)
{
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(window->shown, a);
    EXPECT_EQ(window->text->string(), QStringLiteral("Text of A"));
    EXPECT_EQ(controller->moveHistory(), QList<MemoPtr>{a});

    OutlineTestWindow other;
    NoteTreeController empty(host, other, *other.outline);
    const MemoPtr bare = JWMemo::memo();
    empty.setRootMemo(bare);
    ASSERT_EQ(bare->children().size(), 1u);
    EXPECT_EQ(empty.selection(), bare->children().front());
}

TEST_F(NoteTreeControllerTest, theHistoryDropsItsForwardPartAndRecordsRepeatsButNotDoubleClicks)
{
    select({b, c});
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, b, c}));
    controller->moveBack();
    controller->moveBack();
    EXPECT_EQ(controller->selection(), a);
    EXPECT_TRUE(controller->validateMenuItem(MenuTag::Forward));
    EXPECT_FALSE(controller->validateToolbarItem(QStringLiteral("MoveBack")));

    controller->setSelection(d);
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, d}));
    EXPECT_EQ(controller->historyIndex(), 1u);
    EXPECT_FALSE(controller->canMoveNext());
    EXPECT_FALSE(controller->validateMenuItem(MenuTag::Forward));
    EXPECT_TRUE(controller->validateMenuItem(MenuTag::Back));

    // The page shown again is ignored; coming back to one is a new entry.
    controller->setSelection(d);
    controller->setSelection(a);
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, d, a}));

    // Back and Forward show the page and take the edits of the one left.
    QTest::keyClicks(window->text, QStringLiteral("typed "));
    controller->moveBack();
    EXPECT_EQ(window->shown, d);
    EXPECT_TRUE(a->plainText().startsWith(QStringLiteral("typed ")));
    controller->moveNext();
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(controller->historyIndex(), 2u);
}

TEST_F(NoteTreeControllerTest, pagesOutsideTheRootAndTheRootItselfAreNeverSelected)
{
    const MemoPtr stranger = JWMemo::memo();
    controller->setSelection(stranger);
    controller->setSelection(root);
    controller->setSelection(nullptr);
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(controller->moveHistory().size(), 1);
}

TEST_F(NoteTreeControllerTest, deletingChoosesTheNextPageFromTheHistoryThenTheSiblings)
{
    // With A, B, C in the history and C shown, B is shown next.
    select({b, c});
    controller->removeSelection();
    EXPECT_EQ(controller->selection(), b);
    // Showing B again is a selection like any other.
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, b, b}));
    EXPECT_EQ(host.removed, std::vector<MemoPtr>{c});

    // With A, B2 and B2 shown the index falls to 0: the sibling before B2 goes next.
    OutlineTestWindow other;
    NoteTreeController second(host, other, *other.outline);
    second.setRootMemo(root);
    second.setSelection(b2);
    second.removeSelection();
    EXPECT_EQ(second.selection(), b1);
    EXPECT_EQ(second.moveHistory(), (QList<MemoPtr>{a, b1}));

    // An entry before the current one goes: the index follows the current
    // one down to 0, so the first top-level page is shown, not the next entry.
    OutlineTestWindow third;
    NoteTreeController history(host, third, *third.outline);
    history.setRootMemo(root);
    history.setSelection(d);
    history.setSelection(b1);
    history.moveBack(); // A, D, B1 with D shown
    history.selectMemos({a});
    history.removeSelection();
    EXPECT_EQ(history.selection(), b);
    EXPECT_EQ(titles(b), QStringList{"B1"});
}

TEST_F(NoteTreeControllerTest, deletingTheLastChildShowsTheParentAndAnEmptyRootGetsItsSamplePage)
{
    // B1 goes: the index falls to 0 and B2, now first in B, is shown.
    select({b1});
    controller->removeSelection();
    EXPECT_EQ(controller->selection(), b2);
    // B2 goes: B has no children left and is shown itself.
    controller->removeSelection();
    EXPECT_EQ(controller->selection(), b);
    EXPECT_TRUE(b->isLeaf());

    host.tree.setSamplePageImporter([](MemoTree &tree, const MemoPtr &parent, qsizetype index) {
        MemoPtr sample = MemoCreation::initWithString(QStringLiteral("Welcome"));
        sample->setTitle(QStringLiteral("Sample"));
        return tree.insertNewMemo(sample, parent, index);
    });
    controller->selectMemos({a, b, c, d});
    controller->removeSelection();
    EXPECT_EQ(titles(root), QStringList{"Sample"});
    EXPECT_EQ(controller->selection(), root->children().front());
}

TEST_F(NoteTreeControllerTest, aDeletionIsUndoneWholeWithItsTextAndSubpagesInOrder)
{
    select({b});
    controller->remove(); // "DeleteCheck" is off: no question
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "D"}));
    EXPECT_EQ(controller->undoStack().count(), 1);

    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));
    EXPECT_EQ(b1->plainText(), QStringLiteral("Text of B1"));
    EXPECT_TRUE(b->isEdited());
    EXPECT_TRUE(controller->model().indexForMemo(b2.get()).isValid());

    controller->undoStack().redo();
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "D"}));
    controller->undoStack().undo();
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));
}

TEST_F(NoteTreeControllerTest, lockedPagesRefuseDeletionAndTheDeleteQuestionCanBeDeclined)
{
    window->show();
    c->setLocked(true);
    controller->selectMemos({b, c});
    controller->remove();
    auto *alert = sheet<QMessageBox>();
    ASSERT_NE(alert, nullptr);
    EXPECT_EQ(alert->text(), QStringLiteral("You may not remove locked page"));
    EXPECT_EQ(alert->windowTitle(), QStringLiteral("Page is locked"));
    alert->button(QMessageBox::Ok)->click();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DeleteCheck"), true);
    controller->setSelection(d);
    controller->remove();
    auto *question = sheet<QMessageBox>();
    ASSERT_NE(question, nullptr);
    // The sheet no longer claims that a deletion is for good: Undo brings it back.
    EXPECT_TRUE(question->text().contains(QStringLiteral("Undo brings them back"))) << question->text().toStdString();
    EXPECT_EQ(question->windowModality(), Qt::WindowModal);
    question->button(QMessageBox::Cancel)->click();
    EXPECT_EQ(titles(root).size(), 4);

    controller->remove();
    sheet<QMessageBox>()->button(QMessageBox::Ok)->click();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C"}));
}

TEST_F(NoteTreeControllerTest, addedPagesComeAfterTheSelectionOrFirstInsideItAndUndoTakesThemAway)
{
    select({b});
    controller->add();
    ASSERT_EQ(root->children().size(), 5u);
    const MemoPtr added = root->children()[2];
    EXPECT_EQ(controller->selection(), added);
    EXPECT_TRUE(window->outline->hasFocus() || !window->isVisible());

    controller->addChild();
    ASSERT_EQ(added->children().size(), 1u);
    const MemoPtr child = added->children().front();
    EXPECT_EQ(controller->selection(), child);
    EXPECT_FALSE(added->isLeaf());

    controller->undoStack().undo();
    EXPECT_TRUE(added->children().empty());
    EXPECT_EQ(controller->selection(), added);
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(controller->selection(), b);

    controller->undoStack().redo();
    EXPECT_EQ(root->children()[2], added);
    controller->undoStack().redo();
    EXPECT_EQ(added->children().front(), child);
}

TEST_F(NoteTreeControllerTest, addingWithTheOptionKeyOpensATabAndKeepsTheSelection)
{
    window->show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    QTest::keyPress(window->windowHandle(), Qt::Key_Alt, Qt::AltModifier);
    controller->add();
    QTest::keyRelease(window->windowHandle(), Qt::Key_Alt, Qt::NoModifier);
    ASSERT_EQ(window->tabs.size(), 1u);
    EXPECT_EQ(window->tabs.front(), root->children()[1]);
    EXPECT_EQ(controller->selection(), a);
}

TEST_F(NoteTreeControllerTest, keyboardMovesAreUndoneAndRedone)
{
    select({c});
    controller->outlineMoveUp();
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "B", "D"}));
    controller->outlineMoveRight();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "D"}));
    EXPECT_EQ(titles(a), (QStringList{"A1", "C"}));
    EXPECT_EQ(controller->selection(), c);

    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "C", "B", "D"}));
    EXPECT_EQ(titles(a), QStringList{"A1"});
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    controller->undoStack().redo();
    controller->undoStack().redo();
    EXPECT_EQ(titles(a), (QStringList{"A1", "C"}));

    select({b2});
    controller->outlineMoveLeft();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "B2", "D"}));
    controller->undoStack().undo();
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));

    // A top-level page has nowhere further out to go, and nothing is recorded.
    const int steps = controller->undoStack().count();
    select({d});
    controller->outlineMoveLeft();
    EXPECT_EQ(controller->undoStack().count(), steps);
}

TEST_F(NoteTreeControllerTest, severalRowsEmptyTheTextViewAndLeaveTheHistoryAlone)
{
    QTest::keyClicks(window->text, QStringLiteral("kept "));
    controller->selectMemos({b, d});
    EXPECT_TRUE(controller->hasMultiSelection());
    EXPECT_EQ(controller->selectedMemos(), (QList<MemoPtr>{b, d}));
    EXPECT_TRUE(window->text->isReadOnly());
    EXPECT_TRUE(window->text->string().isEmpty());
    EXPECT_TRUE(a->plainText().startsWith(QStringLiteral("kept ")));
    EXPECT_EQ(controller->moveHistory(), QList<MemoPtr>{a});
    EXPECT_FALSE(controller->validateMenuItem(MenuTag::SinglePage));

    // Titles are edited only with one page selected.
    const QModelIndex row = controller->model().indexForMemo(b.get());
    EXPECT_FALSE(controller->model().setData(row, QStringLiteral("Renamed"), Qt::EditRole));
    controller->setSelection(b);
    // Selecting reloads the model, so the row is asked for again.
    EXPECT_TRUE(controller->model().setData(
        controller->model().indexForMemo(b.get()), QStringLiteral("Renamed"), Qt::EditRole));
    EXPECT_EQ(b->title(), QStringLiteral("Renamed"));
    EXPECT_EQ(window->retitled, std::vector<MemoPtr>{b});
    EXPECT_FALSE(window->text->isReadOnly());
}

TEST_F(NoteTreeControllerTest, aLockedPageIsShownReadOnlyAndTitleColoursComeFromThePalette)
{
    b->setLocked(true);
    controller->setSelection(b);
    EXPECT_TRUE(window->text->isReadOnly());

    controller->selectMemos({a, c});
    controller->changeTitleColorByTag(5);
    EXPECT_EQ(a->titleColor(), TitleColorPalette::titleColorForTag(5));
    EXPECT_EQ(c->titleColor(), TitleColorPalette::titleColorForTag(5));
    EXPECT_NE(b->titleColor(), TitleColorPalette::titleColorForTag(5));
    EXPECT_EQ(controller->model()
                  .data(controller->model().indexForMemo(a.get()), NoteOutlineModel::LabelColorRole)
                  .value<QColor>(),
        TitleColorPalette::titleColorForTag(5));
}

TEST_F(NoteTreeControllerTest, aProtectedPageHidesItsChildrenAndOpensOnlyWithThePassword)
{
    savePasswordToDefault(QStringLiteral("secret"));
    b->setProtectWithPassword(true);
    const NoteOutlineModel &model = controller->model();
    const QModelIndex row = model.indexForMemo(b.get());
    EXPECT_FALSE(model.hasChildren(row));
    EXPECT_EQ(model.rowCount(row), 0);
    EXPECT_FALSE(model.indexForMemo(b1.get()).isValid());

    // A hidden window asks nothing.
    controller->setSelection(b);
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(controller->passPanelController(), nullptr);

    window->show();
    controller->setSelection(b);
    EXPECT_EQ(controller->selection(), a);
    ConfirmPassPanelController *panel = controller->passPanelController();
    ASSERT_NE(panel, nullptr);
    EXPECT_TRUE(panel->isVisible());
    EXPECT_NE(window->text->string(), QStringLiteral("Text of B"));
    EXPECT_EQ(window->outline->selectedMemosInRowOrder(), QList<MemoPtr>{a});

    panel->findChild<QLineEdit *>()->setText(QStringLiteral("wrong"));
    panel->passSheetOK(ConfirmPassPanelController::Confirmed);
    EXPECT_EQ(panel->message(), QStringLiteral("Password is wrong"));
    panel->findChild<QLineEdit *>()->setText(QStringLiteral("secret"));
    panel->passSheetOK(ConfirmPassPanelController::Confirmed);
    QTRY_COMPARE(controller->selection(), b);
    EXPECT_EQ(window->text->string(), QStringLiteral("Text of B"));
    EXPECT_TRUE(model.indexForMemo(b1.get()).isValid());

    // Locking again hides the children; a selected child hands the selection on.
    controller->setSelection(b2);
    b->lockPassword();
    EXPECT_FALSE(model.indexForMemo(b2.get()).isValid());
    EXPECT_EQ(controller->selection(), a);
}

TEST_F(NoteTreeControllerTest, cancellingThePasswordKeepsTheSelectionAndTheHistoryStepIsLeftMoved)
{
    savePasswordToDefault(QStringLiteral("secret"));
    window->show();
    select({c, d});
    c->setProtectWithPassword(true);
    controller->moveBack();
    EXPECT_EQ(controller->selection(), d);
    EXPECT_EQ(controller->historyIndex(), 1u);
    controller->passPanelController()->passSheetOK(ConfirmPassPanelController::Cancelled);
    QTest::qWait(0);
    EXPECT_EQ(controller->selection(), d);
}

TEST_F(NoteTreeControllerTest, aWindowWhoseRowsAllGoAwayClosesAndOthersFallBackToTheFirstRow)
{
    window->show();
    OutlineTestWindow other;
    other.show();
    NoteTreeController inner(host, other, *other.outline);
    inner.setRootMemo(b);
    EXPECT_EQ(inner.selection(), b1);

    // Another window deletes B1: this one shows its first remaining row.
    controller->setSelection(b1);
    controller->removeSelection();
    EXPECT_EQ(inner.selection(), b2);

    // B2 moves out of B, which has no rows left: the window closes.
    host.tree.moveMemo(b2, root, -1, false);
    EXPECT_FALSE(other.isVisible());
}

TEST_F(NoteTreeControllerTest, newWindowsOpenPerSelectedPageAndCascade)
{
    controller->selectMemos({a, b, c, d});
    controller->openNewWindowWithSelection();
    ASSERT_EQ(host.windows.size(), 4u);
    EXPECT_EQ(host.windows[1]->root, b); // B has children: rooted at it
    EXPECT_EQ(host.windows[2]->root, root);
    EXPECT_EQ(host.windows[2]->selected, c);

    host.windows.clear();
    controller->openNewWindowWithParent();
    ASSERT_EQ(host.windows.size(), 4u);
    for (size_t i = 0; i < host.windows.size(); ++i) {
        const QWidget &opened = host.windows[i]->widget;
        EXPECT_EQ(opened.geometry().topLeft() - QPoint(100, 100), QPoint(22, 22) * int(i + 1)) << i;
    }
}

TEST_F(NoteTreeControllerTest, theOutlineModelKeepsItsContractThroughEveryReload)
{
    // Each reload moves the view's persistent indexes by hand; Qt's tester
    // checks every answer and signal of the model along the way.
    g_modelFaults.clear();
    g_nextHandler = qInstallMessageHandler(recordModelFaults);
    {
        QAbstractItemModelTester tester(&controller->model(), QAbstractItemModelTester::FailureReportingMode::Warning);
        window->show();
        window->outline->expandEveryItem();
        select({b2});
        controller->outlineMoveLeft();
        controller->outlineMoveUp();
        controller->undoStack().undo();
        select({c});
        controller->outlineMoveRight();
        controller->undoStack().undo();
        controller->undoStack().undo();
        select({b1});
        controller->removeSelection();
        window->outline->collapseEveryItem();
        window->outline->expandEveryItem();
        savePasswordToDefault(QStringLiteral("secret"));
        b->setUnlockedPassword(true);
        b->setProtectWithPassword(true);
        select({b2});
        b->lockPassword();
        EXPECT_EQ(controller->model().memoForIndex(window->outline->currentIndex()), controller->selection());
        EXPECT_EQ(controller->model().memoCount(), 6); // B's children hidden, B1 gone
    }
    qInstallMessageHandler(g_nextHandler);
    EXPECT_TRUE(g_modelFaults.isEmpty()) << g_modelFaults.size()
                                         << " faults, the first: " << g_modelFaults.value(0).toStdString();
}

} // namespace
