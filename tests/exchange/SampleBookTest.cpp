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
    // that lead to another page below @p top. Notes the formats the texts show.
    void checkPagesBelow(const MemoPtr &top)
    {
        QList<MemoPtr> pages;
        top->addSubMemosToArray(pages, false);
        for (const MemoPtr &memo : std::as_const(pages)) {
            SCOPED_TRACE(memo->title().toStdString());
            EXPECT_FALSE(memo->title().isEmpty());
            EXPECT_GT(memo->plainText().size(), 80);
            QTextDocument document;
            ASSERT_TRUE(TextExport::setRTFDData(document, memo->memoData()).ok());
            for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
                for (auto it = block.begin(); !it.atEnd(); ++it) {
                    const QTextCharFormat format = it.fragment().charFormat();
                    m_bold |= format.fontWeight() >= QFont::Bold;
                    m_italic |= format.fontItalic();
                    m_coloured |= !format.isAnchor() && format.foreground().style() != Qt::NoBrush;
                    m_highlighted |= format.background().style() != Qt::NoBrush;
                    const auto id = PageLinks::memoIDOfLink(format.anchorHref());
                    if (!format.isAnchor() || !id)
                        continue;
                    const MemoPtr target = m_tree.noteDataWithID(*id);
                    ASSERT_TRUE(target) << "a link to " << *id;
                    EXPECT_NE(target, memo);
                    EXPECT_TRUE(m_tree.isSubItemOfMemo(target, top)) << target->title().toStdString();
                    m_linksBetweenSubPages += memo != top && target != top;
                }
            }
        }
    }

    MemoTree m_tree;
    bool m_bold = false, m_italic = false, m_coloured = false, m_highlighted = false;
    int m_linksBetweenSubPages = 0;
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
    checkPagesBelow(welcome);
    EXPECT_GT(m_linksBetweenSubPages, 0);
    // The sample shows what it explains.
    EXPECT_TRUE(m_bold && m_italic && m_coloured && m_highlighted);

    // A second copy goes where it is asked to, and its links lead into itself, not the first copy.
    ASSERT_TRUE(importSampleBook(m_tree, nullptr, 0));
    ASSERT_EQ(m_tree.root()->children().size(), 2U);
    EXPECT_EQ(m_tree.root()->children().back(), welcome);
    m_linksBetweenSubPages = 0;
    checkPagesBelow(m_tree.root()->children().front());
    EXPECT_GT(m_linksBetweenSubPages, 0);

    MemoTree noRoot;
    EXPECT_FALSE(importSampleBook(noRoot, nullptr, 0));
}

} // namespace
