#include "common/FreshUserTest.h"
#include "exchange/SampleBook.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "text/PageLinks.h"
#include "text/TextExport.h"

#include <gtest/gtest.h>

#include <QTextBlock>
#include <QTextDocument>

namespace {

class SampleBookTest : public FreshUserTest
{
protected:
    // Checks every page from @p top down: a title, some text, and page links
    // that lead to another page below @p top. Notes the formats the texts
    // show; answers how many links lead from one sub-page to another.
    int checkPagesBelow(const MemoPtr &top)
    {
        int linksBetweenSubPages = 0;
        QList<MemoPtr> pages;
        top->addSubMemosToArray(pages, false);
        for (const MemoPtr &memo : std::as_const(pages)) {
            SCOPED_TRACE(memo->title().toStdString());
            EXPECT_FALSE(memo->title().isEmpty());
            EXPECT_GT(memo->plainText().size(), 80);
            QTextDocument document;
            EXPECT_TRUE(TextExport::setRTFDData(document, memo->memoData()).ok());
            for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
                for (auto it = block.begin(); !it.atEnd(); ++it) {
                    const QTextCharFormat format = it.fragment().charFormat();
                    m_formats |= (format.fontWeight() >= QFont::Bold) | format.fontItalic() << 1
                        | (!format.isAnchor() && format.foreground().style() != Qt::NoBrush) << 2
                        | (format.background().style() != Qt::NoBrush) << 3;
                    const auto id = PageLinks::memoIDOfLink(format.anchorHref());
                    if (!format.isAnchor() || !id)
                        continue;
                    const MemoPtr target = m_tree.noteDataWithID(*id);
                    EXPECT_TRUE(target && target != memo && m_tree.isSubItemOfMemo(target, top)) << "a link to " << *id;
                    linksBetweenSubPages += memo != top && target != top;
                }
            }
        }
        return linksBetweenSubPages;
    }

    MemoTree m_tree;
    int m_formats = 0; // bold, italic, coloured, highlighted: one bit each
};

TEST_F(SampleBookTest, arrivesAsOneWelcomePageWhoseLinksLeadToItsOwnSubPages)
{
    m_tree.setRoot(JWMemo::memo());
    m_tree.setSamplePageImporter(importSampleBook);
    ASSERT_TRUE(m_tree.addSamplePageIfNeeded());
    ASSERT_EQ(m_tree.root()->children().size(), 1U);
    const MemoPtr welcome = m_tree.root()->children().front();
    EXPECT_TRUE(welcome->title().startsWith(QStringLiteral("Welcome"))) << welcome->title().toStdString();
    EXPECT_GE(welcome->children().size(), 5U);
    EXPECT_GT(checkPagesBelow(welcome), 0);
    EXPECT_EQ(m_formats, 0b1111) << "the sample shows what it explains";

    // A second copy goes where it is asked to, and its links lead into itself, not the first copy.
    ASSERT_TRUE(importSampleBook(m_tree, nullptr, 0));
    ASSERT_EQ(m_tree.root()->children().size(), 2U);
    EXPECT_EQ(m_tree.root()->children().back(), welcome);
    EXPECT_GT(checkPagesBelow(m_tree.root()->children().front()), 0);

    MemoTree noRoot;
    EXPECT_FALSE(importSampleBook(noRoot, nullptr, 0));
}

} // namespace
