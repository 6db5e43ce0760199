#pragma once

#include "model/MemoTree.h"
#include "windows/NoteTreeHost.h"

/**
 * The application around windows that only need the page tree: benchmarks
 * and screenshots. Further windows are not opened and nothing is imported.
 */
class TreeOnlyHost final : public NoteTreeHost
{
public:
    explicit TreeOnlyHost(MemoTree &tree)
        : m_tree(tree)
    { }

    MemoTree &memoTree() override { return m_tree; }
    NoteWindow *openWindowWithMemo(const MemoPtr &, const MemoPtr &) override { return nullptr; }
    NoteWindow *openWindowAndShowMemo(const MemoPtr &) override { return nullptr; }
    void handleMemoRemoval(const MemoPtr &) override { }
    Result<MemoPtr> importFile(const QString &, const MemoPtr &, qsizetype) override
    {
        return Error{QStringLiteral("Nothing is imported here.")};
    }
    [[nodiscard]] QStringList importableFileTypes() const override { return {}; }

private:
    MemoTree &m_tree;
};
