#include "OutlineTest.h"
#include "platform/archive/PropertyList.h"
#include "platform/richtext/PasteboardTypes.h"
#include "platform/settings/UserDefaults.h"
#include "util/PagePassword.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/NoteOutlineModel.h"

#include <QAbstractItemModelTester>
#include <QDir>
#include <QFile>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

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

const Qt::DropActions kAny = Qt::CopyAction | Qt::MoveAction;

// A window's outline over the shared tree, deleting without asking.
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

    [[nodiscard]] QMessageBox *sheet() const
    {
        const QList<QMessageBox *> found = window->findChildren<QMessageBox *>();
        return found.isEmpty() ? nullptr : found.last();
    }
    [[nodiscard]] std::unique_ptr<QMimeData> rows(const QList<MemoPtr> &memos) const
    {
        return std::unique_ptr<QMimeData>(controller->writeItems(memos));
    }
    static std::unique_ptr<QMimeData> files(const QStringList &paths)
    {
        auto data = std::make_unique<QMimeData>();
        QList<QUrl> urls;
        for (const QString &path : paths)
            urls.append(QUrl::fromLocalFile(path));
        data->setUrls(urls);
        return data;
    }
};

TEST_F(NoteTreeControllerTest, theFirstPageIsSelectedAnEmptyRootGetsOneAndStrangersAreNever)
{
    EXPECT_EQ(window->shown, a);
    for (const MemoPtr &never : {JWMemo::memo(), root, MemoPtr()})
        controller->setSelection(never);
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(controller->moveHistory(), QList<MemoPtr>{a});

    OutlineTestWindow other;
    NoteTreeController empty(host, other, *other.outline);
    const MemoPtr bare = JWMemo::memo();
    empty.setRootMemo(bare);
    ASSERT_EQ(bare->children().size(), 1u);
    EXPECT_EQ(empty.selection(), bare->children().front());
}

TEST_F(NoteTreeControllerTest, theHistoryDropsItsForwardPartAndBackTakesTheEditsOfThePageLeft)
{
    select({b, c});
    controller->moveBack();
    controller->moveBack();
    controller->setSelection(d);
    controller->setSelection(d); // shown again: not a new entry
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, d}));
    EXPECT_FALSE(controller->validateMenuItem(MenuTag::Forward));

    QTest::keyClicks(window->text, QStringLiteral("typed "));
    controller->moveBack();
    EXPECT_EQ(window->shown, a);
    EXPECT_TRUE(d->plainText().startsWith(QStringLiteral("typed ")));
    controller->moveNext();
    EXPECT_EQ(controller->selection(), d);
}

TEST_F(NoteTreeControllerTest, deletingChoosesTheNextPageFromTheHistoryThenTheSiblings)
{
    // With A, B, C in the history and C shown, B is shown next: a selection like any other.
    select({b, c});
    controller->removeSelection();
    EXPECT_EQ(controller->moveHistory(), (QList<MemoPtr>{a, b, b}));
    EXPECT_EQ(host.removed, std::vector<MemoPtr>{c});

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
}

TEST_F(NoteTreeControllerTest, deletingTheLastChildShowsTheParentAndAnEmptyRootGetsItsSamplePage)
{
    // With the index at 0 after the deletion, the sibling goes next.
    select({b1});
    controller->removeSelection();
    EXPECT_EQ(controller->selection(), b2);
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
    controller->remove();
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));
    EXPECT_EQ(b1->plainText(), QStringLiteral("Text of B1"));
    EXPECT_TRUE(b->isEdited());
    EXPECT_TRUE(controller->model().indexForMemo(b2.get()).isValid());
}

TEST_F(NoteTreeControllerTest, lockedPagesAreReadOnlyAndRefuseDeletionAndTheQuestionCanBeDeclined)
{
    window->show();
    c->setLocked(true);
    controller->setSelection(c);
    EXPECT_TRUE(window->text->isReadOnly());
    controller->selectMemos({b, c});
    controller->remove();
    ASSERT_NE(sheet(), nullptr);
    EXPECT_EQ(sheet()->text(), QStringLiteral("You may not remove locked page"));
    sheet()->button(QMessageBox::Ok)->click();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("DeleteCheck"), true);
    controller->setSelection(d);
    controller->remove();
    ASSERT_NE(sheet(), nullptr);
    // The sheet no longer claims that a deletion is for good: Undo brings it back.
    EXPECT_TRUE(sheet()->text().contains(QStringLiteral("Undo brings them back"))) << sheet()->text().toStdString();
    sheet()->button(QMessageBox::Cancel)->click();
    EXPECT_EQ(titles(root).size(), 4);
    controller->remove();
    sheet()->button(QMessageBox::Ok)->click();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C"}));
}

TEST_F(NoteTreeControllerTest, addedPagesComeAfterTheSelectionOrFirstInsideItAndUndoTakesThemAway)
{
    select({b});
    controller->add();
    ASSERT_EQ(root->children().size(), 5u);
    const MemoPtr added = root->children()[2];
    EXPECT_EQ(controller->selection(), added);
    controller->addChild();
    ASSERT_EQ(added->children().size(), 1u);
    EXPECT_EQ(controller->selection(), added->children().front());

    controller->undoStack().undo();
    EXPECT_TRUE(added->children().empty());
    EXPECT_EQ(controller->selection(), added);
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(controller->selection(), b);
}

TEST_F(NoteTreeControllerTest, keyboardMovesAreUndoneAndRedone)
{
    select({c});
    controller->outlineMoveUp();
    controller->outlineMoveRight();
    EXPECT_EQ(titles(a), (QStringList{"A1", "C"}));
    EXPECT_EQ(controller->selection(), c);
    controller->undoStack().undo();
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    controller->undoStack().redo();
    controller->undoStack().redo();
    EXPECT_EQ(titles(a), (QStringList{"A1", "C"}));

    select({b2});
    controller->outlineMoveLeft();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "B2", "D"}));

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
    EXPECT_TRUE(window->text->isReadOnly());
    EXPECT_TRUE(window->text->string().isEmpty());
    EXPECT_TRUE(a->plainText().startsWith(QStringLiteral("kept ")));
    EXPECT_EQ(controller->moveHistory(), QList<MemoPtr>{a});

    // Titles are edited only with one page selected.
    const auto rename = [&] {
        return controller->model().setData(
            controller->model().indexForMemo(b.get()), QStringLiteral("Renamed"), Qt::EditRole);
    };
    EXPECT_FALSE(rename());
    controller->setSelection(b);
    EXPECT_TRUE(rename());
    EXPECT_EQ(b->title(), QStringLiteral("Renamed"));
    EXPECT_EQ(window->retitled, std::vector<MemoPtr>{b});
}

TEST_F(NoteTreeControllerTest, aProtectedPageHidesItsChildrenAndOpensOnlyWithThePassword)
{
    savePasswordToDefault(QStringLiteral("secret"));
    b->setProtectWithPassword(true);
    const NoteOutlineModel &model = controller->model();
    EXPECT_FALSE(model.hasChildren(model.indexForMemo(b.get())));
    EXPECT_FALSE(model.indexForMemo(b1.get()).isValid());

    // A hidden window asks nothing.
    controller->setSelection(b);
    EXPECT_EQ(controller->selection(), a);
    EXPECT_EQ(controller->passPanelController(), nullptr);

    window->show();
    controller->setSelection(b);
    EXPECT_EQ(controller->selection(), a);
    ConfirmPassPanelController *panel = controller->passPanelController();
    ASSERT_TRUE(panel && panel->isVisible());
    EXPECT_NE(window->text->string(), QStringLiteral("Text of B"));
    EXPECT_EQ(window->outline->selectedMemosInRowOrder(), QList<MemoPtr>{a});

    panel->findChild<QLineEdit *>()->setText(QStringLiteral("wrong"));
    panel->passSheetOK(ConfirmPassPanelController::Confirmed);
    EXPECT_EQ(panel->message(), QStringLiteral("Password is wrong"));
    EXPECT_EQ(controller->selection(), a);
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

    // Behind its password a page is dragged out as its ID alone.
    const auto hidden = rows({b});
    EXPECT_TRUE(hidden->hasFormat(NoteTreeController::dragRowTypeName()));
    EXPECT_FALSE(
        hidden->hasText() || hidden->hasFormat(PasteboardTypes::RTFD) || hidden->hasFormat(PasteboardTypes::RTF));
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

TEST_F(NoteTreeControllerTest, newWindowsOpenPerSelectedPageOnItOrItsParent)
{
    controller->selectMemos({a, b, c, d});
    controller->openNewWindowWithSelection();
    ASSERT_EQ(host.windows.size(), 4u);
    EXPECT_EQ(host.windows[1]->root, b); // B has children: rooted at it
    EXPECT_EQ(host.windows[2]->root, root);
    EXPECT_EQ(host.windows[2]->selected, c);
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

TEST_F(NoteTreeControllerTest, rowsGoOutAsTheirIdsWithTheFirstPagesText)
{
    const auto data = rows({c, b});
    const Result<QVariant> ids = PropertyList::fromData(data->data(NoteTreeController::dragRowTypeName()));
    ASSERT_TRUE(ids.ok());
    EXPECT_EQ(ids.value().toList(), (QVariantList{c->memoID(), b->memoID()}));
    EXPECT_EQ(data->text(), QStringLiteral("Text of C"));
    EXPECT_TRUE(data->data(PasteboardTypes::RTF).startsWith("{\\rtf"));
    EXPECT_EQ(data->data(PasteboardTypes::RTFD), c->memoData());
}

TEST_F(NoteTreeControllerTest, aPageNeverGoesIntoItsOwnSubtreeNotEvenAsACopy)
{
    // Moves into a page's own subtree are refused by the outline's drags too; copies are checked here.
    const auto data = rows({b, a});
    for (const MemoPtr &target : {a, a1a, b}) {
        SCOPED_TRACE(target->title().toStdString());
        EXPECT_EQ(controller->validateDrop(*data, Qt::CopyAction, target, 0), Qt::IgnoreAction);
    }
    EXPECT_EQ(controller->validateDrop(*data, kAny, nullptr, 1), Qt::MoveAction);
    EXPECT_EQ(controller->validateDrop(*data, Qt::CopyAction, c, -1), Qt::CopyAction);
}

TEST_F(NoteTreeControllerTest, droppedRowsLandInDragOrderAndTheMoveIsUndoneWhole)
{
    // Three rows from two parents dropped at 2 stand at 2, 3 and 4 in drag order.
    const MemoPtr e = page(root, "E");
    page(root, "F");
    const MemoPtr g = page(root, "G");
    const int steps = controller->undoStack().index();
    ASSERT_TRUE(controller->acceptDrop(*rows({g, a1a, e}), kAny, nullptr, 2));
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "G", "A1a", "E", "C", "D", "F"}));
    EXPECT_EQ(controller->undoStack().index(), steps + 1);
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D", "E", "F", "G"}));
    EXPECT_EQ(titles(a1), QStringList{"A1a"});

    // A copy-only drag copies and leaves the original.
    ASSERT_TRUE(controller->model().dropMimeData(
        rows({b}).get(), Qt::CopyAction, -1, 0, controller->model().indexForMemo(c.get())));
    ASSERT_EQ(c->children().size(), 1u);
    EXPECT_NE(c->children().front(), b);
    EXPECT_EQ(titles(c), QStringList{"B"});
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));
}

TEST_F(NoteTreeControllerTest, hoveringOnARowSelectsItAfterTheDelay)
{
    QMimeData text;
    text.setText(QStringLiteral("hover"));
    EXPECT_EQ(controller->validateDrop(text, kAny, c, -1), Qt::CopyAction);
    EXPECT_EQ(controller->dragTarget(), c);
    EXPECT_EQ(controller->validateDrop(text, kAny, d, -1), Qt::CopyAction);
    EXPECT_EQ(controller->dragTarget(), d);
    QTRY_COMPARE_WITH_TIMEOUT(controller->selection(), d, 3000);
    EXPECT_FALSE(controller->isDragHoverArmed());
}

TEST_F(NoteTreeControllerTest, filesAreCopiedInBetweenRowsOnlyWhenOneCanBeImported)
{
    QTemporaryDir folder;
    const QString note = folder.filePath(QStringLiteral("note.txt"));
    const QString picture = folder.filePath(QStringLiteral("picture.png"));
    for (const QString &path : {note, picture}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("imported words") > 0);
    }
    QDir(folder.path()).mkdir(QStringLiteral("sub"));
    EXPECT_EQ(controller->validateDrop(*files({picture}), Qt::CopyAction, nullptr, 1), Qt::IgnoreAction);
    EXPECT_EQ(controller->validateDrop(*files({picture, note}), kAny, nullptr, 1), Qt::CopyAction);
    EXPECT_EQ(controller->validateDrop(*files({folder.filePath("sub")}), kAny, nullptr, 1), Qt::CopyAction);

    ASSERT_TRUE(controller->acceptDrop(*files({note, picture}), kAny, nullptr, 1));
    EXPECT_EQ(host.imported, (QStringList{note, picture}));
    // Both went in at index 1, in the order they were dropped.
    EXPECT_EQ(titles(root), (QStringList{"A", "note", "picture", "B", "C", "D"}));
}

TEST_F(NoteTreeControllerTest, richTextAndLinksBecomePagesWhereTheyAreDropped)
{
    QMimeData rtf;
    rtf.setData(QStringLiteral("text/rtf"), QByteArrayLiteral("{\\rtf1\\ansi {\\b Bold} words}"));
    ASSERT_TRUE(controller->acceptDrop(rtf, kAny, b, -1));
    EXPECT_EQ(b->children().back()->plainText(), QStringLiteral("Bold words"));

    QMimeData link;
    link.setUrls({QUrl(QStringLiteral("https://example.org/page"))});
    ASSERT_TRUE(controller->acceptDrop(link, kAny, nullptr, 0));
    EXPECT_EQ(root->children().front()->webURLStr(), QStringLiteral("https://example.org/page"));
}

TEST_F(NoteTreeControllerTest, malformedOrUnreadableDropsChangeNothingAndSayWhy)
{
    QMimeData garbage;
    garbage.setData(NoteTreeController::dragRowTypeName(), QByteArrayLiteral("<plist><array><string>x"));
    EXPECT_EQ(controller->validateDrop(garbage, kAny, nullptr, 0), Qt::IgnoreAction);
    QMimeData strangers;
    strangers.setData(NoteTreeController::dragRowTypeName(),
        PropertyList::toData(QVariantList{qint64(987654321)}, PropertyList::Format::Xml).value());
    QMimeData badRtf;
    badRtf.setData(QStringLiteral("text/rtfd"), QByteArrayLiteral("not an rtfd at all"));
    QTemporaryDir folder;
    const auto gone = files({folder.filePath(QStringLiteral("gone.txt"))});
    for (const QMimeData *data : {&garbage, &strangers, &badRtf, gone.get()}) {
        SCOPED_TRACE(data->formats().join(u' ').toStdString());
        const qsizetype said = window->statusMessages.size();
        EXPECT_FALSE(controller->acceptDrop(*data, kAny, nullptr, 0));
        EXPECT_GT(window->statusMessages.size(), said);
    }
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_TRUE(window->statusMessages.last().contains(QStringLiteral("gone.txt")));
}

} // namespace
