#pragma once

#include <QString>
#include <QVariantMap>

#include <memory>
#include <optional>

class JWMemo;
class MemoTree;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * Builds the tree the desktop sends to the phone (see SyncPayload for the
 * keys): every page of the synchronised subtree with its fields, its plain
 * text, the web archive of a web clip and the pictures of a page as JPEG.
 * The "Removed Memo" page and everything below it stay on the desktop.
 */
class SyncDictionary
{
public:
    /** The phone's kind decides which web archive a web clip sends. */
    enum class Device
    {
        iPhone,
        iPad
    };

    SyncDictionary(const MemoTree &tree, Device device);

    /**
     * The dictionary of @p memo and its subtree, children in order; nothing
     * for a null page and for the "Removed Memo" page (nor is one sent as a child).
     */
    [[nodiscard]] std::optional<QVariantMap> dictionaryWithMemo(const MemoPtr &memo) const;

    /**
     * The dictionary of the first page in the store titled @p groupName;
     * nothing when the name is empty or no page has it.
     */
    [[nodiscard]] std::optional<QVariantMap> dictionaryForGroup(const QString &groupName) const;

    /**
     * Puts @p memo's own values into @p dictionary: its fields when set, then
     * "plainText" and "imageDataArray" for an ordinary page, "webArchive" for
     * a web clip whose archive can be read. Children are not touched.
     */
    void copyPropertyFromMemo(const JWMemo &memo, QVariantMap &dictionary) const;

private:
    const MemoTree &m_tree;
    Device m_device;
};
