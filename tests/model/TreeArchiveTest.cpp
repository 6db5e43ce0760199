// Rewriting only the changed pages of the tree's archive must give the very
// bytes a whole new archive has, whatever the edits: every update is checked
// against the whole encoder after each of 1,000 random edits.
#include "common/FreshUserTest.h"
#include "model/MemoCoding.h"
#include "model/TreeArchive.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <gtest/gtest.h>

#include <QMetaProperty>

#include <random>

namespace {

QByteArray applied(const QByteArray &last, const TreeArchive::Update &update)
{
    QByteArray bytes;
    bytes.reserve(update.size);
    for (const TreeArchive::Piece &piece : update.pieces)
        bytes += piece.offset >= 0 ? last.mid(piece.offset, piece.length) : piece.bytes;
    return bytes;
}

class TreeArchiveTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        MemoCoding::registerWithSharedRegistry();
        root = JWMemo::memo();
        for (int i = 0; i < 60; ++i)
            addPage();
    }

    MemoPtr anyPage(bool withRoot = false)
    {
        QList<MemoPtr> pages;
        root->addSubMemosToArray(pages, false);
        if (withRoot)
            pages.prepend(root);
        return pages.at(std::uniform_int_distribution<qsizetype>(0, pages.size() - 1)(random));
    }

    void addPage()
    {
        const MemoPtr parent = anyPage(true);
        const MemoPtr page = JWMemo::memo();
        page->setTitle(QStringLiteral("Page %1").arg(page->memoID()));
        page->setPlainText(QStringLiteral("Text of page %1, ünïcödé").arg(page->memoID()));
        page->setTags({});
        parent->insertChild(
            std::uniform_int_distribution<qsizetype>(0, qsizetype(parent->children().size()))(random), page);
    }

    // Answers whether the update wrote only some pages.
    bool checkUpdate(const QString &edit)
    {
        auto update = archive.update(root);
        EXPECT_TRUE(update) << qPrintable(edit) << ": " << qPrintable(update.errorMessage());
        const QByteArray whole = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root)).value();
        if (!update.value()) {
            EXPECT_EQ(whole, last) << qPrintable(edit) << ": nothing was written although the archive changed";
            return false;
        }
        const QByteArray bytes = applied(last, *update.value());
        EXPECT_EQ(bytes.size(), update.value()->size);
        EXPECT_EQ(bytes, whole) << qPrintable(edit) << " after " << edits << " edits";
        last = whole;
        return !update.value()->complete;
    }

    std::mt19937 random{7};
    MemoPtr root;
    TreeArchive archive;
    QByteArray last;
    int edits = 0;
};

TEST_F(TreeArchiveTest, EveryUpdateHasTheBytesOfAWholeArchive)
{
    ASSERT_TRUE(archive.update(root).value()->complete);
    last = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root)).value();
    EXPECT_FALSE(archive.update(root).value()) << "nothing changed, nothing to write";

    int spliced = 0;
    const QStringList kinds = {"add", "delete", "move", "retitle", "text", "protect", "colour", "window", "tags",
        "share a title", "duplicate", "web address", "flags", "nothing"};
    for (edits = 0; edits < 1000; ++edits) {
        const QString kind = kinds.at(std::uniform_int_distribution<qsizetype>(0, kinds.size() - 1)(random));
        const MemoPtr page = anyPage();
        const MemoPtr other = anyPage(true);
        if (kind == "add") {
            addPage();
        } else if (kind == "delete" || kind == "move") {
            MemoPtr parent = root;
            // The page's parent: the first page holding it among its children.
            QList<MemoPtr> pages;
            root->addSubMemosToArray(pages, false);
            for (const MemoPtr &candidate : pages) {
                for (const MemoPtr &child : candidate->children())
                    parent = child == page ? candidate : parent;
            }
            if (root->children().size() < 3 || (kind == "move" && page->containsMemo(other.get())))
                continue;
            parent->removeChild(page.get());
            if (kind == "move")
                other->insertChild(qsizetype(other->children().size() / 2), page);
        } else if (kind == "retitle") {
            page->setTitle(QStringLiteral("Retitled %1").arg(edits));
        } else if (kind == "text") {
            page->setPlainText(page->plainText() + QStringLiteral(" and more %1").arg(edits));
        } else if (kind == "protect") {
            page->setProtectWithPassword(!page->protectWithPassword());
        } else if (kind == "colour") {
            page->setTitleColor(QColor::fromRgb(random() % 256, 40, 90));
        } else if (kind == "window") {
            page->windowAttribute()->setWindowFrame(QRectF(10, 20, 300 + edits, 400));
            page->windowAttribute()->setTabItems(QList<qint64>{page->memoID(), other->memoID()});
        } else if (kind == "tags") {
            page->setTags({QStringLiteral("tag %1").arg(edits)});
        } else if (kind == "share a title") {
            page->setTitle(other->title()); // one string in two pages: written once, then referred to
        } else if (kind == "duplicate") {
            other->appendChild(JWMemo::initWithMemo(*page));
        } else if (kind == "flags") {
            page->setScaleImages(!page->scaleImages());
            page->setShowRuler(!page->showRuler());
            page->setVerticalLayout(!page->verticalLayout());
            page->setLocked(!page->locked());
            page->setReferenceNumber(edits);
            page->setTitleCharacterColor(QColor::fromRgb(10, random() % 256, 30));
            page->setSelectedRange({edits, 2});
            page->windowAttribute()->setFloating(!page->windowAttribute()->floating());
            page->windowAttribute()->setIconWindowAlphaValue(0.25f);
        } else if (kind == "web address") {
            page->setWebURLStr(QStringLiteral("https://example.org/%1").arg(edits));
        }
        spliced += checkUpdate(kind) ? 1 : 0;
        if (HasFailure())
            return;
    }
    // Most edits are written without the whole archive.
    EXPECT_GT(spliced, 700);
}

TEST_F(TreeArchiveTest, ATextEditOrAMoveRewritesOnlyThePagesItTouches)
{
    (void)archive.update(root);
    last = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root)).value();

    const MemoPtr page = anyPage();
    page->setPlainText(QStringLiteral("New words"));
    auto update = archive.update(root);
    ASSERT_TRUE(update && update.value());
    EXPECT_FALSE(update.value()->complete);
    EXPECT_EQ(update.value()->pagesEncoded, 1);
    last = applied(last, *update.value());

    // (The first page defines the names every page uses: moving it rewrites the whole archive.)
    const MemoPtr moved = root->takeChildAt(qsizetype(root->children().size()) - 1);
    root->children().at(1)->appendChild(moved);
    update = archive.update(root);
    ASSERT_TRUE(update && update.value());
    EXPECT_FALSE(update.value()->complete) << qPrintable(update.value()->reason);
    EXPECT_EQ(applied(last, *update.value()),
        TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(root)).value());
    last = applied(last, *update.value());

    // A title two pages share is written once and referred to after; moving
    // the later page in front turns the reference around.
    const MemoPtr later = root->children().back();
    later->setTitle(root->children().at(1)->title());
    checkUpdate(QStringLiteral("share"));
    root->removeChild(later.get());
    root->insertChild(1, later);
    checkUpdate(QStringLiteral("move in front"));
}

// Whole archives are written from a copy of the tree on another thread: the
// copy must archive as the tree does, whatever its values.
TEST_F(TreeArchiveTest, ASnapshotArchivesAsTheTreeDoes)
{
    const MemoPtr page = anyPage();
    JWWindowAttribute &window = *page->windowAttribute();
    const QMetaObject *meta = window.metaObject();
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const QVariant value = property.read(&window);
        QVariant changed;
        switch (value.typeId()) {
        case QMetaType::Bool:
            changed = !value.toBool();
            break;
        case QMetaType::Int:
        case QMetaType::LongLong:
        case QMetaType::Float:
            changed = QVariant(value.toInt() + 3).value<int>();
            break;
        case QMetaType::QRectF:
            changed = QRectF(1, 2, 333, 444);
            break;
        case QMetaType::QSizeF:
            changed = QSizeF(55, 66);
            break;
        case QMetaType::QString:
            changed = QStringLiteral("{{1, 2}, {3, 4}}");
            break;
        default:
            changed = QVariantList{qint64(7), qint64(8)}; // the tabs
        }
        property.write(&window, changed);
    }
    page->setWebIconImage(QVariant::fromValue(nullptr));
    const auto archived = [](const MemoPtr &memo) {
        return TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(memo)).value();
    };
    // Archiving also sets the icon frame back to the icon's size; so does taking the copy.
    const QByteArray expected = archived(root);
    window.setIconWindowFrame(QRectF(1, 2, 333, 444));
    const MemoPtr copy = MemoCoding::snapshot(*root);
    EXPECT_TRUE(archived(copy) == expected);
    EXPECT_EQ(window.iconWindowFrame().size(), QSizeF(48, 48));
}

} // namespace
