#pragma once

#include "model/JWMemo.h"

#include <initializer_list>

/** A page titled @p title holding @p text, with @p children: the trees the export tests write. */
inline MemoPtr page(const QString &title, const QString &text, std::initializer_list<MemoPtr> children = {})
{
    MemoPtr memo = JWMemo::memo();
    memo->setTitle(title);
    memo->setMemoDataWithPlainText(text);
    for (const MemoPtr &child : children)
        memo->appendChild(child);
    return memo;
}
