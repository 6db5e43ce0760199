#include "TypedStreamNodeBuilder.h"

#include <algorithm>

TypedStreamNodeBuilder::TypedStreamNodeBuilder(TypedStreamScanner &scanner)
    : m_scanner(scanner)
{ }

TypedStreamClassPtr TypedStreamNodeBuilder::classAt(qint32 index)
{
    // Up the chain to the first class that has a node (or the root), then
    // down again making the missing ones: chains can be long, so no recursion.
    std::vector<qint32> missing;
    TypedStreamClassPtr made;
    for (qint32 c = index; c >= 0; c = m_scanner.entry(c).link) {
        if (auto it = m_classes.constFind(c); it != m_classes.cend()) {
            made = *it;
            break;
        }
        missing.push_back(c);
    }
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
        const TypedStreamScanner::Entry &entry = m_scanner.entry(*it);
        auto cls = std::make_shared<TypedStreamClass>();
        cls->name = m_scanner.stringBytes(entry.string);
        cls->version = entry.version;
        cls->superclass = std::move(made);
        m_classes.insert(*it, cls);
        made = std::move(cls);
    }
    return made;
}

Status TypedStreamNodeBuilder::readGroup(qint8 head, TypedStreamGroup &group)
{
    qint32 index = -1;
    const TypedStreamScanner::Types *types = nullptr;
    if (Status s = m_scanner.readGroupTypes(head, index, types); !s)
        return s;
    group.types = m_scanner.stringBytes(index);
    group.values.resize(types->size());
    for (size_t i = 0; i < types->size(); ++i) {
        if (Status s = readValue((*types)[i], group.values[i]); !s)
            return s;
    }
    return {};
}

Status TypedStreamNodeBuilder::readStream(std::vector<TypedStreamGroup> &groups)
{
    while (!m_scanner.atEnd()) {
        qint8 head = 0;
        if (Status s = m_scanner.nextHead(head); !s)
            return s;
        if (Status s = readGroup(head, groups.emplace_back()); !s)
            return s;
    }
    return {};
}

std::vector<TypedStreamObjectPtr> TypedStreamNodeBuilder::objects() const
{
    std::vector<std::pair<qint32, TypedStreamObjectPtr>> byIndex;
    byIndex.reserve(size_t(m_nodes.size()));
    for (auto it = m_nodes.cbegin(); it != m_nodes.cend(); ++it)
        byIndex.emplace_back(it.key(), it.value());
    std::sort(byIndex.begin(), byIndex.end(), [](const auto &a, const auto &b) { return a.first < b.first; });
    std::vector<TypedStreamObjectPtr> objects;
    objects.reserve(byIndex.size());
    for (auto &[index, node] : byIndex)
        objects.push_back(std::move(node));
    return objects;
}

Result<TypedStreamObjectPtr> TypedStreamNodeBuilder::readObjectBody(qint32 index)
{
    if (auto it = m_nodes.constFind(index); it != m_nodes.cend()) {
        if (Status s = m_scanner.skipObjectBody(index); !s)
            return Error{s.errorMessage()};
        return *it;
    }
    auto object = std::make_shared<TypedStreamObject>();
    object->cls = classAt(m_scanner.entry(index).link);
    m_nodes.insert(index, object);
    m_indices.insert(object.get(), index);
    m_open.push_back(index);
    for (;;) {
        qint8 head = 0;
        bool atEnd = false;
        if (Status s = m_scanner.nextGroupHead(index, head, atEnd); !s)
            return Error{s.errorMessage()};
        if (atEnd)
            break;
        object->groups.emplace_back();
        if (Status s = readGroup(head, object->groups.back()); !s)
            return Error{s.errorMessage()};
    }
    m_open.pop_back();
    return object;
}

Result<TypedStreamObjectPtr> TypedStreamNodeBuilder::objectAt(qint32 index)
{
    if (auto it = m_nodes.constFind(index); it != m_nodes.cend())
        return *it;
    if (!m_scanner.entry(index).complete) {
        m_needsWholeTree = true;
        return Error{
            m_scanner
                .fail(QStringLiteral("a reference to enclosing object %1, which is decoded as it is read").arg(index))
                .message};
    }
    const TypedStreamScanner::Mark back = m_scanner.mark();
    if (Status s = m_scanner.restart(index); !s)
        return Error{s.errorMessage()};
    auto object = readObjectBody(index);
    m_scanner.restore(back);
    return object;
}

Status TypedStreamNodeBuilder::referTo(qint32 index, TypedStreamValue &value)
{
    value.kind = TypedStreamValue::Kind::Object;
    if (auto it = m_nodes.constFind(index); it != m_nodes.cend()) {
        // Inside its own node: held weakly, as the reader holds such references.
        if (std::find(m_open.begin(), m_open.end(), index) != m_open.end())
            value.backReference = *it;
        else
            value.object = *it;
        return {};
    }
    auto object = objectAt(index);
    if (!object)
        return Error{object.errorMessage()};
    value.object = std::move(object).value();
    return {};
}

Status TypedStreamNodeBuilder::readValue(const TypedStreamType &type, TypedStreamValue &value)
{
    using Kind = TypedStreamValue::Kind;
    using ItemKind = TypedStreamScanner::Item::Kind;
    if (type.code == '[' || type.code == '{')
        return readCompound(type, value);
    TypedStreamScanner::Item item;
    if (Status s = m_scanner.readItem(type, item); !s)
        return s;
    switch (item.kind) {
    case ItemKind::Nil:
        value.kind = Kind::Nil;
        return {};
    case ItemKind::Integer:
    case ItemKind::Char:
        value.kind = item.kind == ItemKind::Integer ? Kind::Integer : Kind::Char;
        value.integer = item.integer;
        return {};
    case ItemKind::Real:
        value.kind = Kind::Real;
        value.real = item.real;
        return {};
    case ItemKind::Bytes:
        value.kind = Kind::Bytes;
        value.bytes = m_scanner.slice(item.span);
        return {};
    case ItemKind::SharedString:
    case ItemKind::CString:
        value.kind = item.kind == ItemKind::SharedString ? Kind::SharedString : Kind::CString;
        value.bytes = m_scanner.stringBytes(item.index);
        return {};
    case ItemKind::Class:
        value.kind = Kind::Class;
        value.cls = classAt(item.index);
        return {};
    case ItemKind::Reference:
        return referTo(item.index, value);
    case ItemKind::NewObject: {
        value.kind = Kind::Object;
        // Read again, an object keeps the node made the first time.
        auto object = readObjectBody(item.index);
        if (!object)
            return Error{object.errorMessage()};
        value.object = std::move(object).value();
        return {};
    }
    }
    return {};
}

Status TypedStreamNodeBuilder::readCompound(const TypedStreamType &type, TypedStreamValue &value)
{
    using Kind = TypedStreamValue::Kind;
    bool isBytes = false;
    TypedStreamScanner::Span bytes;
    if (Status s = m_scanner.beginCompound(type, isBytes, bytes); !s)
        return s;
    if (isBytes) {
        value.kind = Kind::Bytes;
        value.bytes = m_scanner.slice(bytes);
        return {};
    }
    value.kind = type.code == '[' ? Kind::Array : Kind::Struct;
    if (type.code == '[') {
        value.elements.resize(size_t(type.count));
        for (auto &element : value.elements) {
            if (Status s = readValue(type.members.front(), element); !s)
                return s;
        }
    } else {
        value.elements.resize(type.members.size());
        for (size_t i = 0; i < type.members.size(); ++i) {
            if (Status s = readValue(type.members[i], value.elements[i]); !s)
                return s;
        }
    }
    m_scanner.endCompound();
    return {};
}
