#pragma once

#include "model/JWMemo.h"
#include "model/JWWindowAttribute.h"
#include "platform/base/Result.h"

#include <QList>
#include <QString>
#include <QVariantMap>

#include <optional>
#include <utility>
#include <vector>

/**
 * Builds pages from the memo dictionaries of the previous major version:
 * its preferences kept the page tree (without texts) as nested
 * dictionaries, and each page's text in a file "<ID>.JW2Note" of its own.
 * Outline import writes the same dictionaries.
 *
 * Page IDs are kept, so that page links in the old texts stay valid. A
 * value of the wrong type is skipped, whatever the file holds.
 */
class OldDataConverter final
{
public:
    /** Old key to the name of the field that receives its value, in the order they are copied. */
    using ConvertTable = QList<std::pair<QString, QString>>;

    /**
     * Trees nested deeper than this are refused as a whole: no real outline
     * comes near it, and the rest of the application walks trees recursively.
     */
    static constexpr int kMaxDepth = 512;

    /** What one conversion reads and what it keeps track of. */
    struct Context
    {
        ConvertTable memoTable;
        ConvertTable windowTable;
        /** The folder of the old text files; empty: no text file is read. */
        QString textFolder;
        /** One more than the highest page ID met so far; 0 while none was met. */
        qint64 nextMemoID = 0;
        /** Pages whose dictionary gave no usable ID; finish() gives them new ones. */
        std::vector<MemoPtr> memosWithoutID;
    };

    /** A context with the tables compiled into the application and @p textFolder. */
    [[nodiscard]] static Context context(const QString &textFolder = QString());

    /** The table of page fields (":/legacy/memoConvertDictionary.plist"). */
    [[nodiscard]] static const ConvertTable &memoConvertTable();
    /** The table of window fields (":/legacy/windowAttributeConvertDictionary.plist"). */
    [[nodiscard]] static const ConvertTable &windowAttributeConvertTable();
    /**
     * The string entries of the XML property list dictionary @p xml, in the
     * order the file lists them; nothing when it is no such dictionary.
     */
    [[nodiscard]] static std::optional<ConvertTable> tableFromPropertyList(const QByteArray &xml);

    /**
     * A page and its subtree from @p dictionary. Every table key the
     * dictionary holds is copied, in table order, into its field;
     * "WindowAttribute" goes through the window table, "TitleColorRed",
     * "TitleColorGreen" and "TitleColorBlue" give the label colour, and each
     * dictionary of "Children" becomes a child, in order. Then the text
     * (convertNoteText()), and the page is marked edited. Children come
     * before their parent's text.
     *
     * An error, and no page, for a tree nested deeper than kMaxDepth.
     */
    [[nodiscard]] static Result<MemoPtr> memoWithOldDictionary(const QVariantMap &dictionary, Context &context);

    /** A window record from @p dictionary through @p table. */
    [[nodiscard]] static WindowAttributePtr windowAttributeWithOldDictionary(
        const QVariantMap &dictionary, const ConvertTable &table);

    /**
     * Gives @p memo its text: the rich text it already has, else the "Note"
     * of its old text file, else its plain text; then the link markup of
     * the text becomes links and the plain text follows the rich text.
     */
    static void convertNoteText(JWMemo &memo, const Context &context);

    /** "<folder>/<ID>.JW2Note". */
    [[nodiscard]] static QString oldNotePathForID(const QString &folder, qint64 memoID);
    /** The "Note" data of the old text file of @p memoID in @p folder; null when there is none. */
    [[nodiscard]] static QByteArray oldMemoDataForID(const QString &folder, qint64 memoID);

    /**
     * Ends a conversion: raises the "memoID" counter above every ID met
     * (MemoIDAllocator::raiseCounter) and then gives the pages without an
     * ID fresh ones. Call once, after the last memoWithOldDictionary().
     */
    static void finish(Context &context);
};
