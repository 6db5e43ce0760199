// NTP2 outlines come from other programs and other people: any text must be
// refused or read into a page tree, never crash or hang. A tree that is read
// holds no more pages than the text has lines, and no deeper than allowed.
#include "exchange/NewNotePadImport.h"
#include "model/JWMemo.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

void require(bool condition, const char *what)
{
    if (!condition) {
        std::fprintf(stderr, "new-note-pad fuzzer: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString text = QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size));
    const MemoPtr root = NewNotePadImport::newMemoFrom_NewNotePad(text);
    require(
        bool(root) || !NewNotePadImport::isNewNotePad(text) || text.count(u'\n') >= NewNotePadImport::kMaxGroupDepth,
        "an outline without deep nesting was refused");
    if (!root)
        return 0;

    qsizetype pages = 0;
    std::vector<std::pair<const JWMemo *, int>> pending{{root.get(), 0}};
    while (!pending.empty()) {
        const auto [memo, depth] = pending.back();
        pending.pop_back();
        ++pages;
        require(depth <= NewNotePadImport::kMaxGroupDepth + 1, "the tree is deeper than allowed");
        require(memo->isLeaf() == memo->children().empty(), "isLeaf does not follow the children");
        for (const MemoPtr &child : memo->children())
            pending.emplace_back(child.get(), depth + 1);
    }
    // Beside the top page, each page comes from a marker line; a line gathered
    // after an unmatched group end can give a group and one page inside it.
    require(pages <= 2 * (text.count(u'\n') + 1) + 1, "more pages than lines allow");
    return 0;
}
