#include "ApplicationTree.h"

#include <unordered_set>

namespace ApplicationTree {
namespace {

struct Membership
{
    MemoPtr root;
    std::unordered_set<const JWMemo *> pages;
    const JWMemo *builtFor = nullptr;
    quint64 generation = 0;
    bool built = false;
};

Membership &membership()
{
    static Membership s_membership;
    return s_membership;
}

void collect(const JWMemo &memo, std::unordered_set<const JWMemo *> &pages)
{
    pages.insert(&memo);
    for (const MemoPtr &child : memo.children())
        collect(*child, pages);
}

} // namespace

MemoPtr rootMemo()
{
    return membership().root;
}

void setRootMemo(const MemoPtr &root)
{
    Membership &m = membership();
    m.root = root;
    m.built = false;
    m.pages.clear();
}

bool contains(const JWMemo *memo)
{
    Membership &m = membership();
    if (!m.root || !memo)
        return false;
    if (!m.built || m.builtFor != m.root.get() || m.generation != JWMemo::structureGeneration()) {
        m.pages.clear();
        collect(*m.root, m.pages);
        m.builtFor = m.root.get();
        m.generation = JWMemo::structureGeneration();
        m.built = true;
    }
    return m.pages.contains(memo);
}

} // namespace ApplicationTree
