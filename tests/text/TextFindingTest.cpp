#include "text/TextFinding.h"

#include <gtest/gtest.h>

namespace {

using TextFinding::Range;

TEST(TextFindingTest, keysAreFoundFoldedWithTheirPlaceInTheOriginalText)
{
    // "ß" folds to two letters and the emoji takes two units: positions after them must still be right.
    const QString text = QStringLiteral("Die Straße 😀 ist LANG, die Strasse lang.");
    const qsizetype strasse = text.indexOf(QStringLiteral("Straße")), lang = text.indexOf(QStringLiteral("LANG"));
    EXPECT_EQ(TextFinding::findFirst(text, {"strasse"}, 0), (Range{strasse, 6}));
    EXPECT_EQ(TextFinding::findFirst(text, {"lang"}, 0), (Range{lang, 4}));
    // A key ending inside a folded character covers that whole character: "stras" is "Straß".
    EXPECT_EQ(TextFinding::findFirst(text, {"stras"}, 0), (Range{strasse, 5}));

    // The earliest start wins; on a tie, the key listed first; empty keys find nothing.
    EXPECT_EQ(TextFinding::findFirst(text, {"", "lang", "ist"}, 0), (Range{lang - 4, 3}));
    EXPECT_EQ(TextFinding::findFirst(text, {"die s", "die"}, 1), (Range{text.lastIndexOf("die"), 5}));
    // No wrap: nothing after the last occurrence.
    const qsizetype lastLang = text.lastIndexOf(QStringLiteral("lang"));
    EXPECT_FALSE(TextFinding::findFirst(text, {"lang"}, lastLang + 1));
    EXPECT_EQ(TextFinding::findLast(text, {"lang"}, lastLang), (Range{lang, 4}));
    EXPECT_FALSE(TextFinding::findLast(text, {"lang"}, lang + 3));

    EXPECT_EQ(TextFinding::findAll(text, {"lang", "STRASSE"}, 100).size(), 4);
    EXPECT_EQ(TextFinding::findAll(text, {"lang"}, 1).size(), 1);
}

} // namespace
