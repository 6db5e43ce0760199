#include "RealisticText.h"

#include <QRandomGenerator>

#include <array>

QString realisticText(qsizetype utf8Bytes)
{
    static const std::array<const char *, 40> kWords = {"the", "meeting", "notes", "we", "agreed", "that", "project",
        "should", "ship", "before", "autumn", "budget", "isn't", "final", "yet", "Anna's", "draft", "reviewed", "by",
        "Tom", "and", "a", "of", "in", "review", "schedule", "e-mail", "follow-up", "U.S.", "design", "doesn't",
        "include", "tests", "reading", "list", "caf\u00E9", "ideas", "next", "week", "budget's"};
    static const std::array<const char *, 8> kJapanese
        = {"\u4F1A\u8B70\u306E\u30E1\u30E2", "\u6765\u9031\u307E\u3067\u306B", "\u30D7\u30ED\u30B8\u30A7\u30AF\u30C8",
            "\u78BA\u8A8D\u3057\u307E\u3057\u305F\u3002", "\u6771\u4EAC\u3067", "\u8CC7\u6599\u3092\u9001\u308B\u3001",
            "\u4E88\u7B97\u306F", "\u3072\u3089\u304C\u306A"};
    static const std::array<const char *, 6> kPunctuation = {", ", "; ", ": ", " - ", " (", ") "};
    QRandomGenerator random(1883);
    QString text;
    qsizetype bytes = 0;
    while (bytes < utf8Bytes) {
        QString paragraph;
        const bool japanese = random.bounded(8) == 0;
        for (int sentence = 1 + random.bounded(6); sentence > 0; --sentence) {
            for (int word = 4 + random.bounded(14); word > 0; --word) {
                if (japanese && random.bounded(3) == 0)
                    paragraph += QString::fromUtf8(kJapanese[random.bounded(int(kJapanese.size()))]);
                else if (random.bounded(12) == 0)
                    paragraph += QString::number(random.bounded(1, 5000)) + (random.bounded(2) ? u"" : u".5");
                else
                    paragraph += QString::fromUtf8(kWords[random.bounded(int(kWords.size()))]);
                paragraph += random.bounded(10) == 0 ? QString::fromUtf8(kPunctuation[random.bounded(6)])
                                                     : QStringLiteral(" ");
            }
            paragraph.chop(1);
            paragraph += random.bounded(5) == 0 ? u"! " : u". ";
        }
        paragraph.chop(1);
        paragraph += u'\n';
        if (random.bounded(4) == 0)
            paragraph += u'\n';
        bytes += paragraph.toUtf8().size();
        text += paragraph;
    }
    return text;
}
