#pragma once

#include "platform/base/Result.h"
#include "TypedStreamNode.h"
#include "TypedStreamScanner.h"

#include <QHash>

#include <vector>

/**
 * Makes generic nodes (TypedStreamNode.h) for parts of a stream that a
 * TypedStreamScanner reads, when a coder wants them as read: an image kept
 * whole, a time zone, a group looked at value by value.
 *
 * A node is made once per object and kept as long as the builder lives, so
 * that an object referred to twice is one node, as TypedStreamReader makes
 * it. An object the scanner read past without a node gets one when something
 * refers to it: its bytes are read again.
 *
 * One thing has no node: an object that encloses the part being built and
 * is not itself being built (its coder is reading it value by value). A
 * reference back to such an object fails, and needsWholeTree() tells why:
 * it takes every node made first (readStream) to represent it.
 *
 * readStream() makes the generic tree of a whole stream, which is what
 * TypedStreamReader hands out.
 */
class TypedStreamNodeBuilder
{
public:
    /** A builder reading from @p scanner, which must outlive it. */
    explicit TypedStreamNodeBuilder(TypedStreamScanner &scanner);

    /**
     * Every group from the scanner's position to the end of the data, into
     * @p groups; every object read on the way gets its node.
     */
    [[nodiscard]] Status readStream(std::vector<TypedStreamGroup> &groups);
    /** The nodes made, in object-table order. */
    [[nodiscard]] std::vector<TypedStreamObjectPtr> objects() const;

    /** The group whose head was just read, built at the scanner's position. */
    [[nodiscard]] Status readGroup(qint8 head, TypedStreamGroup &group);
    /**
     * The rest of the new object @p index, whose class chain was just read:
     * its groups and its end. An object that has a node already is read past.
     */
    [[nodiscard]] Result<TypedStreamObjectPtr> readObjectBody(qint32 index);
    /**
     * The node of object @p index, made from its bytes when it has none yet.
     * Fails for an object still being read that has no node (see needsWholeTree).
     */
    [[nodiscard]] Result<TypedStreamObjectPtr> objectAt(qint32 index);
    /** The class at @p index with its superclasses. */
    [[nodiscard]] TypedStreamClassPtr classAt(qint32 index);

    /** The object-table index of a node this builder made, or -1. */
    [[nodiscard]] qint32 indexOf(const TypedStreamObject *node) const { return m_indices.value(node, -1); }
    /** True once a reference back to an enclosing object without a node was met. */
    [[nodiscard]] bool needsWholeTree() const { return m_needsWholeTree; }

private:
    [[nodiscard]] Status readValue(const TypedStreamType &type, TypedStreamValue &value);
    [[nodiscard]] Status readCompound(const TypedStreamType &type, TypedStreamValue &value);
    [[nodiscard]] Status referTo(qint32 index, TypedStreamValue &value);

    TypedStreamScanner &m_scanner;
    // The nodes made, by object-table index; few objects get one, so they are
    // hashed rather than kept in a table as long as the stream's. Objects
    // whose node is still being built are listed in m_open.
    QHash<qint32, TypedStreamObjectPtr> m_nodes;
    QHash<qint32, TypedStreamClassPtr> m_classes;
    QHash<const TypedStreamObject *, qint32> m_indices;
    std::vector<qint32> m_open;
    bool m_needsWholeTree = false;
};
