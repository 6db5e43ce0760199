#include "OutlineTest.h"
#include "platform/base/Localization.h"
#include "platform/richtext/PasteboardTypes.h"
#include "platform/archive/PropertyList.h"
#include "windows/NoteOutlineModel.h"

#include <QDir>
#include <QFile>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <QUrl>

namespace {

// Drags into and out of an outline over the shared tree.
class NoteTreeDraggingTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        plantTree();
        openOutline();
    }

    std::unique_ptr<QMimeData> rows(const QList<MemoPtr> &memos) const
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

    static const Qt::DropActions kAny;
};

const Qt::DropActions NoteTreeDraggingTest::kAny = Qt::CopyAction | Qt::MoveAction;

TEST_F(NoteTreeDraggingTest, rowsGoOutAsTheirIdsWithTheFirstPagesTextOnly)
{
    const auto data = rows({c, b});
    const Result<QVariant> ids = PropertyList::fromData(data->data(NoteTreeController::dragRowTypeName()));
    ASSERT_TRUE(ids.ok());
    EXPECT_EQ(ids.value().toList(), (QVariantList{c->memoID(), b->memoID()}));
    EXPECT_EQ(data->text(), QStringLiteral("Text of C"));
    EXPECT_TRUE(data->data(PasteboardTypes::RTF).startsWith("{\\rtf"));
    EXPECT_EQ(data->data(PasteboardTypes::RTFD), c->memoData());

    // Behind its password a page goes out as its ID alone.
    c->setProtectWithPassword(true);
    const auto hidden = rows({c});
    EXPECT_TRUE(hidden->hasFormat(NoteTreeController::dragRowTypeName()));
    EXPECT_FALSE(hidden->hasText());
    EXPECT_FALSE(hidden->hasFormat(PasteboardTypes::RTFD));
    EXPECT_FALSE(hidden->hasFormat(PasteboardTypes::RTF));
}

TEST_F(NoteTreeDraggingTest, aPageNeverGoesIntoItsOwnSubtreeNotEvenAsACopy)
{
    const auto data = rows({b, a});
    for (const MemoPtr &target : {a, a1, a1a, b}) {
        EXPECT_EQ(controller->validateDrop(*data, kAny, target, -1), Qt::IgnoreAction) << target->title().toStdString();
        EXPECT_EQ(controller->validateDrop(*data, Qt::CopyAction, target, 0), Qt::IgnoreAction);
    }
    EXPECT_EQ(controller->validateDrop(*data, kAny, nullptr, 1), Qt::MoveAction);
    EXPECT_EQ(controller->validateDrop(*data, Qt::CopyAction, c, -1), Qt::CopyAction);

    // Through the model, as a view's drop reaches it: refused and nothing moves.
    NoteOutlineModel &model = controller->model();
    const QModelIndex inside = model.indexForMemo(a1.get());
    EXPECT_FALSE(model.canDropMimeData(data.get(), Qt::MoveAction, 0, 0, inside));
    EXPECT_FALSE(model.dropMimeData(data.get(), Qt::MoveAction, 0, 0, inside));
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(titles(a1), QStringList{"A1a"});
}

TEST_F(NoteTreeDraggingTest, droppedRowsLandInDragOrderAndTheMoveIsUndoneWhole)
{
    ASSERT_TRUE(controller->acceptDrop(*rows({a1a, d}), kAny, b, -1));
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2", "A1a", "D"}));
    EXPECT_TRUE(a1->children().empty());
    controller->undoStack().undo();
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(titles(a1), QStringList{"A1a"});
    EXPECT_EQ(titles(b), (QStringList{"B1", "B2"}));

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
}

TEST_F(NoteTreeDraggingTest, aCopyOnlyDragCopiesAndLeavesTheOriginal)
{
    ASSERT_TRUE(controller->model().dropMimeData(
        rows({b}).get(), Qt::CopyAction, -1, 0, controller->model().indexForMemo(c.get())));
    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    ASSERT_EQ(c->children().size(), 1u);
    EXPECT_NE(c->children().front(), b);
    EXPECT_EQ(c->children().front()->title(), QStringLiteral("B"));
}

TEST_F(NoteTreeDraggingTest, hoveringOnARowSelectsItAfterTheDelayAndAnotherRowStartsOver)
{
    const auto text = std::make_unique<QMimeData>();
    text->setText(QStringLiteral("hover"));
    EXPECT_EQ(controller->validateDrop(*text, kAny, c, -1), Qt::CopyAction);
    EXPECT_TRUE(controller->isDragHoverArmed());
    EXPECT_EQ(controller->dragTarget(), c);
    const QTimer *first = controller->findChild<QTimer *>();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->interval(), NoteTreeController::kDragHoverMilliseconds);

    // The same row keeps its running wait; another row starts a new one.
    EXPECT_EQ(controller->validateDrop(*text, kAny, c, -1), Qt::CopyAction);
    EXPECT_EQ(controller->findChildren<QTimer *>().value(0), first);
    EXPECT_EQ(controller->validateDrop(*text, kAny, d, -1), Qt::CopyAction);
    EXPECT_EQ(controller->dragTarget(), d);
    QTRY_COMPARE_WITH_TIMEOUT(controller->selection(), d, 3000);
    EXPECT_FALSE(controller->isDragHoverArmed());

    // A drop stops the wait.
    EXPECT_EQ(controller->validateDrop(*text, kAny, b, -1), Qt::CopyAction);
    EXPECT_TRUE(controller->acceptDrop(*text, kAny, b, -1));
    EXPECT_FALSE(controller->isDragHoverArmed());
}

TEST_F(NoteTreeDraggingTest, filesAreAllowedBetweenRowsOnlyWhenOneCanBeImported)
{
    QTemporaryDir folder;
    const QString note = folder.filePath(QStringLiteral("note.txt"));
    const QString picture = folder.filePath(QStringLiteral("picture.png"));
    for (const QString &path : {note, picture}) {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("imported words");
    }
    EXPECT_EQ(controller->validateDrop(*files({picture}), Qt::CopyAction, nullptr, 1), Qt::IgnoreAction);
    // Files are copied in, never moved: the originals stay where they are.
    EXPECT_EQ(controller->validateDrop(*files({picture, note}), kAny, nullptr, 1), Qt::CopyAction);
    QDir(folder.path()).mkdir(QStringLiteral("sub"));
    EXPECT_EQ(
        controller->validateDrop(*files({folder.filePath(QStringLiteral("sub"))}), kAny, nullptr, 1), Qt::CopyAction);

    ASSERT_TRUE(controller->acceptDrop(*files({note, picture}), kAny, nullptr, 1));
    EXPECT_EQ(host.imported, (QStringList{note, picture}));
    // Both went to index 1, one after the other: the later file stands first.
    EXPECT_EQ(root->children()[1]->title(), QStringLiteral("picture"));
    EXPECT_EQ(root->children()[2]->title(), QStringLiteral("note"));

    // A file that cannot be read changes nothing and says why.
    const qsizetype pages = qsizetype(root->children().size());
    EXPECT_FALSE(controller->acceptDrop(*files({folder.filePath(QStringLiteral("gone.txt"))}), kAny, nullptr, 1));
    EXPECT_EQ(qsizetype(root->children().size()), pages);
    ASSERT_FALSE(window->statusMessages.isEmpty());
    EXPECT_TRUE(window->statusMessages.last().contains(QStringLiteral("gone.txt")));
}

TEST_F(NoteTreeDraggingTest, textRichTextAndLinksBecomePagesWhereTheyAreDropped)
{
    QMimeData rtf;
    rtf.setData(QStringLiteral("text/rtf"), QByteArrayLiteral("{\\rtf1\\ansi {\\b Bold} words}"));
    ASSERT_TRUE(controller->acceptDrop(rtf, kAny, b, -1));
    ASSERT_EQ(b->children().size(), 3u);
    EXPECT_EQ(b->children().back()->plainText(), QStringLiteral("Bold words"));

    QMimeData link;
    link.setUrls({QUrl(QStringLiteral("https://example.org/page"))});
    ASSERT_TRUE(controller->acceptDrop(link, kAny, nullptr, 0));
    EXPECT_EQ(root->children().front()->webURLStr(), QStringLiteral("https://example.org/page"));

    QMimeData text;
    text.setText(QStringLiteral("Dropped words"));
    ASSERT_TRUE(controller->acceptDrop(text, kAny, nullptr, -1));
    EXPECT_EQ(root->children().back()->plainText(), QStringLiteral("Dropped words"));
}

TEST_F(NoteTreeDraggingTest, malformedDragDataChangesNothingAndSaysWhy)
{
    QMimeData garbage;
    garbage.setData(NoteTreeController::dragRowTypeName(), QByteArrayLiteral("<plist><array><string>x"));
    EXPECT_EQ(controller->validateDrop(garbage, kAny, nullptr, 0), Qt::IgnoreAction);
    EXPECT_FALSE(controller->acceptDrop(garbage, kAny, nullptr, 0));

    QMimeData strangers;
    strangers.setData(NoteTreeController::dragRowTypeName(),
        PropertyList::toData(QVariantList{qint64(987654321)}, PropertyList::Format::Xml).value());
    EXPECT_FALSE(controller->acceptDrop(strangers, kAny, nullptr, 0));

    QMimeData badRtf;
    badRtf.setData(QStringLiteral("text/rtfd"), QByteArrayLiteral("not an rtfd at all"));
    EXPECT_FALSE(controller->acceptDrop(badRtf, kAny, nullptr, 0));

    EXPECT_EQ(titles(root), (QStringList{"A", "B", "C", "D"}));
    EXPECT_EQ(window->statusMessages.size(), 4);
}

TEST_F(NoteTreeDraggingTest, collapsingARowAroundTheSelectionSelectsThatRow)
{
    controller->setSelection(a1a);
    controller->outlineWillCollapse(b);
    EXPECT_EQ(controller->selection(), a1a);
    controller->outlineWillCollapse(a);
    EXPECT_EQ(controller->selection(), a);
}

} // namespace
