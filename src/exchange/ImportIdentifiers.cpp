#include "ImportIdentifiers.h"

#include "model/JWMemo.h"
#include "model/MemoIDAllocator.h"
#include "text/TextExport.h"
#include "text/TextLinks.h"

#include <QTextDocument>

#include <vector>

namespace ImportIdentifiers {

QList<MemoPtr> pagesOf(const MemoPtr &root)
{
    QList<MemoPtr> pages;
    std::vector<MemoPtr> pending{root};
    while (!pending.empty()) {
        MemoPtr page = std::move(pending.back());
        pending.pop_back();
        if (!page)
            continue;
        const std::vector<MemoPtr> &children = page->children();
        for (auto child = children.rbegin(); child != children.rend(); ++child)
            pending.push_back(*child);
        pages.append(std::move(page));
    }
    return pages;
}

QHash<qint64, qint64> assignNewIDForMemo(JWMemo &root)
{
    qint64 count = 0;
    std::vector<const JWMemo *> pending{&root};
    while (!pending.empty()) {
        const JWMemo *page = pending.back();
        pending.pop_back();
        ++count;
        for (const MemoPtr &child : page->children())
            pending.push_back(child.get());
    }
    MemoIDAllocator::shared().reserve(count);
    QHash<qint64, qint64> newIDs;
    newIDs.reserve(count);
    root.assignNewIDWithConvertDictionary(newIDs);
    return newIDs;
}

void convertLinkIDOfMemos(const QList<MemoPtr> &memos, const QHash<qint64, qint64> &newIDs)
{
    for (const MemoPtr &memo : memos) {
        const QByteArray text = memo->memoData();
        // Most texts hold no page link at all; the scheme's name is in the
        // archived bytes of every one that does.
        if (text.isEmpty() || !text.contains("pageid"))
            continue;
        QTextDocument document;
        if (!TextExport::setRTFDData(document, text))
            continue;
        if (TextLinks::connvertLinkIDWithDicitonary(document, newIDs) > 0)
            memo->setMemoData(TextExport::RTFDData(document));
    }
}

void giveNewIDs(const MemoPtr &root)
{
    if (!root)
        return;
    const QHash<qint64, qint64> newIDs = assignNewIDForMemo(*root);
    convertLinkIDOfMemos(pagesOf(root), newIDs);
}

} // namespace ImportIdentifiers
