#include "OutlineTest.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteOutlineModel.h"
#include "windows/TitleCellDelegate.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QImage>
#include <QLineEdit>
#include <QMimeData>
#include <QSet>
#include <QSignalSpy>
#include <QTest>

namespace {

// The expanded rows' preference, under the name earlier versions stored it by.
const QString kExpandedItemsKey = QStringLiteral("NSOutlineView Items NoteOutline");

// Outlines over the shared tree, each shown in a window of its own.
class NoteOutlineViewTest : public OutlineTest
{
protected:
    struct Outline
    {
        std::unique_ptr<OutlineTestWindow> window;
        std::unique_ptr<NoteTreeController> controller;

        [[nodiscard]] NoteOutlineView &view() const { return *window->outline; }
        [[nodiscard]] QModelIndex index(const MemoPtr &memo) const
        {
            return controller->model().indexForMemo(memo.get());
        }
        [[nodiscard]] QRect row(const MemoPtr &memo) const { return view().visualRect(index(memo)); }
        [[nodiscard]] bool expanded(const MemoPtr &memo) const { return view().isExpanded(index(memo)); }
        [[nodiscard]] bool editingTitle() const
        {
            const auto editors = view().viewport()->findChildren<QLineEdit *>();
            return std::any_of(editors.begin(), editors.end(), [](QLineEdit *editor) { return editor->isVisible(); });
        }
    };

    struct DropOutcome
    {
        bool entered = false;
        bool hovered = false;
        bool dropped = false;
        Qt::DropAction action = Qt::IgnoreAction;
    };

    void SetUp() override
    {
        OutlineTest::SetUp();
        plantTree();
    }

    void TearDown() override
    {
        main.controller.reset();
        main.window.reset();
        host.undoStack = nullptr;
        OutlineTest::TearDown();
    }

    Outline open(const MemoPtr &top)
    {
        Outline outline;
        outline.window = std::make_unique<OutlineTestWindow>();
        outline.controller = std::make_unique<NoteTreeController>(host, *outline.window, *outline.window->outline);
        if (!host.undoStack)
            host.undoStack = &outline.controller->undoStack();
        outline.controller->setRootMemo(top);
        outline.window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(outline.window.get()));
        return outline;
    }

    static QSet<qint64> storedExpandedIDs()
    {
        QSet<qint64> ids;
        for (const QVariant &value : UserDefaults::standardUserDefaults().arrayForKey(kExpandedItemsKey))
            ids.insert(value.toLongLong());
        return ids;
    }

    // Enters, hovers and drops @p data at @p at, as a drag from outside the view brings it.
    DropOutcome dragTo(const QMimeData &data, const QPoint &at)
    {
        const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
        DropOutcome outcome;
        QWidget *port = main.view().viewport();
        QDragEnterEvent enter(at, actions, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(port, &enter);
        if (!(outcome.entered = enter.isAccepted()))
            return outcome;
        QDragMoveEvent move(at, actions, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(port, &move);
        outcome.hovered = move.isAccepted();
        if (!watched.isEmpty())
            highlightWhileHovering = pixelsOf(main.view().palette().color(QPalette::Highlight), watched);
        // Dropped even when the hover was refused: the drop must refuse on its own.
        QDropEvent drop(QPointF(at), actions, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(port, &drop);
        outcome.dropped = drop.isAccepted();
        outcome.action = drop.dropAction();
        return outcome;
    }

    DropOutcome dragRowsTo(const QList<MemoPtr> &memos, const QPoint &at)
    {
        return dragTo(*std::unique_ptr<QMimeData>(main.controller->writeItems(memos)), at);
    }

    static QPoint onTopEdge(const QRect &row) { return {row.left() + 10, row.top() + 1}; }

    // How many pixels of @p area in the outline's picture have exactly @p color.
    int pixelsOf(const QColor &color, const QRect &area) const
    {
        const QImage image = main.view().viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
        int count = 0;
        for (int y = area.top(); y <= area.bottom(); ++y) {
            for (int x = area.left(); x <= area.right(); ++x)
                count += image.pixelColor(x, y).rgb() == color.rgb() ? 1 : 0;
        }
        return count;
    }

    Outline main;
    QRect watched; // where dragTo() counts highlight pixels while hovering
    int highlightWhileHovering = 0;
};

TEST_F(NoteOutlineViewTest, expandedRowsAreKeptByPageIdAndOtherOutlinesEntriesSurvive)
{
    const qint64 elsewhere = 987654321; // a page shown only by some other window
    UserDefaults::standardUserDefaults().setValue(
        kExpandedItemsKey, QVariantList{elsewhere, b->memoID(), QStringLiteral("not an id")});
    main = open(root);
    EXPECT_TRUE(main.expanded(b)) << "restored as the rows first appear";
    EXPECT_FALSE(main.expanded(a));

    main.view().collapse(main.index(b));
    main.view().expand(main.index(a));
    main.view().expand(main.index(a1));
    main.view().saveExpandedItems();
    EXPECT_EQ(storedExpandedIDs(), (QSet<qint64>{elsewhere, a->memoID(), a1->memoID()}));

    // A window on A shows A1 but not A itself: it changes only what it shows.
    {
        Outline inner = open(a);
        EXPECT_TRUE(inner.expanded(a1));
        inner.view().collapse(inner.index(a1));
        inner.view().saveExpandedItems();
    }
    EXPECT_EQ(storedExpandedIDs(), (QSet<qint64>{elsewhere, a->memoID()}));

    // Written after a pause, not at once; and at the latest when the controller lets go of the view.
    Outline second = open(root);
    EXPECT_FALSE(second.expanded(b));
    second.view().expand(second.index(b));
    EXPECT_FALSE(storedExpandedIDs().contains(b->memoID()));
    second.controller.reset();
    EXPECT_TRUE(storedExpandedIDs().contains(b->memoID()));
}

TEST_F(NoteOutlineViewTest, exposingAndCollapsingRowsMovesTheSelectionOutwards)
{
    main = open(root);
    main.view().exposeItem(a1a);
    EXPECT_TRUE(main.expanded(a1));
    EXPECT_FALSE(main.expanded(b));

    main.controller->setSelection(a1a);
    main.view().expandEveryItem();
    EXPECT_TRUE(main.expanded(b));
    main.view().collapseEveryItem();
    EXPECT_FALSE(main.expanded(a1)) << "an inner row must not stay open behind its collapsed parent";
    EXPECT_EQ(main.controller->selection(), a) << "the selection ends on the outermost collapsed row";
}

TEST_F(NoteOutlineViewTest, rowsAreSelectedAndReportedInRowOrder)
{
    main = open(root);
    const MemoPtr stray = JWMemo::memo();
    EXPECT_EQ(main.view().selectMemoRows({d, a1, stray, b, d}), 3);
    EXPECT_EQ(main.controller->selectedMemos(), (QList<MemoPtr>{a1, b, d})) << "the controller follows the rows";
    EXPECT_EQ(main.view().selectMemoRows({stray}), 0);
    EXPECT_EQ(main.view().selectedMemosInRowOrder().size(), 3) << "nothing to select leaves the selection alone";
}

TEST_F(NoteOutlineViewTest, rowsDraggedBetweenRowsAndOntoARowMoveThere)
{
    main = open(root);
    const QColor highlight = main.view().palette().color(QPalette::Highlight);
    // The line's upper half lies in the row above, which stays unselected.
    main.controller->setSelection(c);
    watched = QRect(main.row(b).left(), main.row(b).top() - 1, main.row(b).width(), 1);
    ASSERT_EQ(pixelsOf(highlight, watched), 0);
    DropOutcome outcome = dragRowsTo({d}, onTopEdge(main.row(b)));
    EXPECT_GT(highlightWhileHovering, watched.width() / 2) << "the line between the rows";
    EXPECT_TRUE(outcome.dropped);
    EXPECT_EQ(outcome.action, Qt::MoveAction);
    EXPECT_EQ(titles(root), (QStringList{"A", "D", "B", "C"}));
    EXPECT_EQ(pixelsOf(highlight, watched), 0) << "no line once dropped";
    watched = {};

    EXPECT_TRUE(dragRowsTo({b}, main.row(c).center()).dropped);
    EXPECT_EQ(titles(c), (QStringList{"B"}));
    EXPECT_FALSE(main.controller->isDragHoverArmed()) << "a finished drop must not select the row later";

    // Below an open row the next row is its first child, and that is where the line says it goes.
    main.view().expand(main.index(a));
    EXPECT_TRUE(dragRowsTo({d}, {main.row(a).left() + 10, main.row(a).bottom() - 1}).dropped);
    EXPECT_EQ(titles(a), (QStringList{"D", "A1"}));

    // Another program's text becomes a new page; its source is told it was copied, never moved.
    QMimeData text;
    text.setText(QStringLiteral("Dropped words"));
    outcome = dragTo(text, onTopEdge(main.row(c)));
    EXPECT_EQ(outcome.action, Qt::CopyAction);
    ASSERT_EQ(root->children().size(), 3u);
    EXPECT_EQ(root->children()[1]->plainText(), QStringLiteral("Dropped words"));

    // Below every row: the end of the root.
    const QPoint empty(20, main.view().viewport()->height() - 5);
    ASSERT_FALSE(main.view().indexAt(empty).isValid());
    EXPECT_TRUE(dragRowsTo({a}, empty).dropped);
    EXPECT_EQ(titles(root).last(), QStringLiteral("A"));
}

TEST_F(NoteOutlineViewTest, refusedDropsChangeNothing)
{
    main = open(root);
    main.view().expand(main.index(a));
    DropOutcome outcome = dragRowsTo({a}, main.row(a1).center());
    EXPECT_TRUE(outcome.entered);
    EXPECT_FALSE(outcome.hovered || outcome.dropped) << "a page cannot go into its own child";
    QMimeData unknown;
    unknown.setData(QStringLiteral("application/x-unheard-of"), "bytes");
    EXPECT_FALSE(dragTo(unknown, main.row(b).center()).entered);
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(titles(a), (QStringList{"A1"}));
}

TEST_F(NoteOutlineViewTest, deleteKeysAskForDeletionUnlessATitleIsBeingEdited)
{
    main = open(root);
    QSignalSpy asked(&main.view(), &NoteOutlineView::deleteRequested);
    main.controller->setSelection(c);
    QTest::keyClick(&main.view(), Qt::Key_Delete);
    EXPECT_EQ(asked.count(), 1);

    main.controller->setSelection(d);
    main.view().edit(main.index(d));
    ASSERT_TRUE(main.editingTitle());
    QTest::keyClick(&main.view(), Qt::Key_Backspace);
    EXPECT_EQ(asked.count(), 1);
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "D"}));
}

TEST_F(NoteOutlineViewTest, aDoubleClickOnASelectedRowOpensAWindowAndDoesNotRename)
{
    main = open(root);
    main.controller->setSelection(b);
    QTest::mouseClick(main.view().viewport(), Qt::LeftButton, {}, main.row(b).center());
    QTest::mouseDClick(main.view().viewport(), Qt::LeftButton, {}, main.row(b).center());
    ASSERT_EQ(host.windows.size(), 1u);
    EXPECT_EQ(host.windows.front()->root, b);

    // The click on the selected row would start a rename after the double-click interval.
    QTest::qWait(QApplication::doubleClickInterval() + 100);
    EXPECT_FALSE(main.editingTitle());
}

TEST_F(NoteOutlineViewTest, titlesShowTheirLabelThePenOfLockedPagesAndTheTitleSize)
{
    main = open(root);
    const QColor label(255, 0, 0);
    b->setTitleColor(label);
    EXPECT_GT(pixelsOf(label, main.row(b)), main.row(b).height() * 4);
    EXPECT_EQ(pixelsOf(label, main.row(c)), 0);

    // A title of nothing draws nothing but the pen: whatever ink the row has is the pen's.
    c->setTitle(QString());
    const QColor background = main.view().viewport()->grab().toImage().pixelColor(main.row(c).center());
    const int blank = main.row(c).width() * main.row(c).height();
    EXPECT_EQ(pixelsOf(background, main.row(c)), blank);
    c->setLocked(true);
    EXPECT_LT(pixelsOf(background, main.row(c)), blank - 10);

    UserDefaults::standardUserDefaults().setValue(QStringLiteral("TitleSize"), qint64(30));
    EXPECT_EQ(main.row(d).height(), QFontMetrics(TitleCellDelegate::titleFont(main.view().font())).height() + 4);
}

} // namespace
