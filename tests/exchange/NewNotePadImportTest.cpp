#include "common/FreshUserTest.h"
#include "exchange/NewNotePadImport.h"
#include "model/JWMemo.h"

#include <gtest/gtest.h>

#include <QStringList>

#include <utility>
#include <vector>

using namespace NewNotePadImport;

namespace {

const QString kNote = QStringLiteral(">>NOTE-----------------------------------------\n");
const QString kGroup = QStringLiteral(">>GROUP========================================\n");
const QString kGroupEnd = QStringLiteral(">>GROUPEND-------------------------------------\n");
const QString kHeaderEnd = QStringLiteral(">>---------------------------------------------\n");
const QString kSignature = QStringLiteral(">>NTP2---------\n");

QString note(const QString &title, const QString &body)
{
    return kNote + QStringLiteral("Title:") + title + u'\n' + kHeaderEnd + body;
}

QString group(const QString &title)
{
    return kGroup + QStringLiteral("Title:") + title + u'\n' + kHeaderEnd;
}

// Every page as "<depth> <title> | <text>" in outline order, line ends shown as "/".
QStringList tree(const MemoPtr &root)
{
    QStringList lines;
    std::vector<std::pair<const JWMemo *, int>> pending{{root.get(), 0}};
    while (!pending.empty()) {
        const auto [memo, depth] = pending.back();
        pending.pop_back();
        lines.append(QStringLiteral("%1 %2 | %3")
                         .arg(depth)
                         .arg(QString(memo->title()).replace(u'\n', u'/'), memo->plainText().replace(u'\n', u'/')));
        for (auto it = memo->children().rbegin(); it != memo->children().rend(); ++it)
            pending.emplace_back(it->get(), depth + 1);
    }
    return lines;
}

class NewNotePadImportTest : public FreshUserTest
{
protected:
    const QString m_untitled = JWMemo::memo()->title();
};

TEST_F(NewNotePadImportTest, DetectsTheSignatureOnlyAtTheStart)
{
    EXPECT_TRUE(isNewNotePad(kSignature + note(QStringLiteral("a"), QString())));
    EXPECT_FALSE(isNewNotePad(u'\n' + kSignature));
    EXPECT_FALSE(isNewNotePad(QStringLiteral(">>NTP2--------")));
    EXPECT_EQ(newMemoFrom_NewNotePad(QStringLiteral(" ") + kSignature), nullptr);
}

TEST_F(NewNotePadImportTest, ReadsNestedNotesAndGroupsAsATree)
{
    const QString text = kSignature + QStringLiteral("dropped before the first note\n")
        + note(QStringLiteral("First"), QStringLiteral("one\r\ntwo\r\n")) + group(QStringLiteral("Trip"))
        + note(QStringLiteral("Day 1"), QStringLiteral("sun\n")) + group(QStringLiteral("Inner"))
        + note(QStringLiteral("Deep"), QStringLiteral("x>>NOTE-----------------------------------------\n")) + kGroupEnd
        + note(QStringLiteral("Day 2"), QStringLiteral("rain\r")) + kGroupEnd
        + note(QStringLiteral("Last"), QStringLiteral("end\n"));
    const MemoPtr root = newMemoFrom_NewNotePad(text);
    ASSERT_NE(root, nullptr);
    // A title runs from the colon to the header end marker, its line end included.
    EXPECT_EQ(tree(root),
        QStringList({
            QStringLiteral("0 ImportedMemo | "),
            QStringLiteral("1 First/ | one/two/"),
            QStringLiteral("1 Trip/ | "),
            QStringLiteral("2 Day 1/ | sun/"),
            QStringLiteral("2 Inner/ | "),
            QStringLiteral("3 Deep/ | x>>NOTE-----------------------------------------/"),
            QStringLiteral("2 Day 2/ | rain/"),
            QStringLiteral("1 Last/ | end//"),
        }));
    EXPECT_FALSE(root->isLeaf());
    EXPECT_FALSE(root->children()[1]->isLeaf());
}

TEST_F(NewNotePadImportTest, EdgeCasesOfGroupsAndNotes)
{
    // A group with neither notes nor groups keeps the flag of a new page.
    const MemoPtr empty = memoWithNNPGroup(QStringLiteral("\nTitle:Empty\n") + kHeaderEnd, QString());
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->title(), QStringLiteral("Empty\n"));
    EXPECT_TRUE(empty->children().empty());
    EXPECT_EQ(empty->isLeaf(), JWMemo::memo()->isLeaf());

    // Only lines before the first note: nothing to read.
    EXPECT_TRUE(newMemoFrom_NewNotePad(kSignature + QStringLiteral("a\nb\n"))->children().empty());

    // A note without a header keeps a new page's title and has no text.
    const MemoPtr bare = memoWithNNPNote(kNote + QStringLiteral("body\n"));
    EXPECT_EQ(bare->title(), m_untitled);
    EXPECT_EQ(bare->plainText(), QString());
}

TEST_F(NewNotePadImportTest, UnbalancedGroupMarkers)
{
    // An unclosed group ends with the text; each open group passes its last line on.
    EXPECT_EQ(tree(newMemoFrom_NewNotePad(kSignature + group(QStringLiteral("Open")) + group(QStringLiteral("Inner"))
                  + note(QStringLiteral("n"), QStringLiteral("body")))),
        QStringList({
            QStringLiteral("0 ImportedMemo | "),
            QStringLiteral("1 Open/ | "),
            QStringLiteral("2 Inner/ | "),
            QStringLiteral("3 n/ | body///"),
        }));

    // After an unmatched end, lines are dropped up to the next group marker,
    // which makes an empty group of its own.
    EXPECT_EQ(tree(newMemoFrom_NewNotePad(kSignature + note(QStringLiteral("a"), QStringLiteral("x\n")) + kGroupEnd
                  + QStringLiteral("lost\n") + note(QStringLiteral("b"), QStringLiteral("y\n"))
                  + group(QStringLiteral("g")) + note(QStringLiteral("c"), QStringLiteral("z\n")))),
        QStringList({
            QStringLiteral("0 ImportedMemo | "),
            QStringLiteral("1 a/ | x/"),
            QStringLiteral("1 %1 | ").arg(m_untitled),
            QStringLiteral("1 c/ | z//"),
        }));
}

TEST_F(NewNotePadImportTest, DeepNesting)
{
    QString deep = kSignature;
    for (int i = 0; i < kMaxGroupDepth; ++i)
        deep += group(QString::number(i));
    deep += note(QStringLiteral("bottom"), QStringLiteral("b\n"));
    const MemoPtr root = newMemoFrom_NewNotePad(deep);
    ASSERT_NE(root, nullptr);
    const QStringList pages = tree(root);
    ASSERT_EQ(pages.size(), kMaxGroupDepth + 2);
    EXPECT_TRUE(pages.last().startsWith(QStringLiteral("%1 bottom/ | b/").arg(kMaxGroupDepth + 1)));

    // One level more, or 100,000, is refused rather than overflowing the stack later.
    EXPECT_EQ(newMemoFrom_NewNotePad(deep.replace(kSignature, kSignature + kGroup)), nullptr);
    EXPECT_EQ(newMemoFrom_NewNotePad(kSignature + kGroup.repeated(100000)), nullptr);
    // Closed in turn, groups are siblings.
    const MemoPtr flat = newMemoFrom_NewNotePad(kSignature + QString(kGroup + kGroupEnd).repeated(2000));
    ASSERT_NE(flat, nullptr);
    EXPECT_EQ(flat->children().size(), 2000u);
}

} // namespace
