#include "util/CaseFolding.h"

#include <gtest/gtest.h>

#include <QString>

namespace {

TEST(CaseFoldingTest, spellingsOfOneWordFoldAlikeAndOtherWordsDoNot)
{
    const struct
    {
        const char16_t *a, *b;
        bool same;
    } cases[] = {
        {u"Straße", u"STRASSE", true}, {u"straẞe", u"strasse", true},
        {u"ΣΊΣΥΦΟΣ", u"σίσυφος", true},                           // final sigma is sigma
        {u"ＡＢＣ１", u"abc1", true},                             // full-width forms
        {u"ﬁle", u"FILE", true},                                  // ligature
        {u"Élan", u"élan", true}, {u"e\u0301lan", u"élan", true}, // decomposed accent
        {u"élan", u"elan", false},                                // accents stay
        {u"İstanbul", u"istanbul", false},                        // the dotted capital keeps its dot
    };
    for (const auto &c : cases) {
        const QString a = QString::fromUtf16(c.a), b = QString::fromUtf16(c.b);
        SCOPED_TRACE(a.toStdString() + " / " + b.toStdString());
        EXPECT_EQ(CaseFolding::folded(a) == CaseFolding::folded(b), c.same);
        EXPECT_EQ(CaseFolding::foldedUtf8(a.toUtf8()), CaseFolding::folded(a));
    }
    EXPECT_EQ(CaseFolding::folded(u"Mixed ASCII, 42!"), QByteArray("mixed ascii, 42!"));
    // Malformed UTF-8 folds as it reads: U+FFFD in place of the bad bytes.
    const QByteArray malformed("A\xC3(\xFF", 4);
    EXPECT_EQ(CaseFolding::foldedUtf8(malformed), CaseFolding::folded(QString::fromUtf8(malformed)));
}

} // namespace
