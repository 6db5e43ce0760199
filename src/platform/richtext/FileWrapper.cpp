#include "FileWrapper.h"

#include <QtEndian>

namespace {

constexpr char kMagic[] = "rtfd";
constexpr quint32 kRegularFile = 1;
constexpr quint32 kSymbolicLink = 2;
constexpr quint32 kDirectory = 3;
constexpr quint32 kPaddedFile = 0x80000000;
constexpr quint32 kPermissions = 0666;

const QString kAttributes = QStringLiteral(".");
const QString kParent = QStringLiteral("..");

bool isBookkeeping(const QString &name)
{
    return name == kAttributes || name == QLatin1String("__@PreferredName@__")
        || name == QLatin1String("__@UTF8PreferredName@__");
}

bool isReserved(const QString &name)
{
    return name.isEmpty() || name == kAttributes || name == kParent;
}

class Parser
{
public:
    explicit Parser(const QByteArray &bytes)
        : m_bytes(bytes)
    { }

    void skipTo(qsizetype position) { m_position = position; }

    // A node ending at @p end; nothing (and no error) for a node kind that
    // text data never holds, which the caller then leaves out.
    Result<std::optional<FileWrapper>> node(qsizetype end, int depth)
    {
        quint32 type = 0;
        if (!word(end, type))
            return truncated();
        switch (type) {
        case kRegularFile:
            return regularFile(end);
        case kDirectory:
            return directory(end, depth);
        case kSymbolicLink:
            m_position = end;
            return std::optional<FileWrapper>();
        default:
            return Error{QStringLiteral("Unknown file wrapper node type %1").arg(type)};
        }
    }

private:
    static Error truncated() { return Error{QStringLiteral("The file wrapper data is cut short")}; }

    bool word(qsizetype end, quint32 &value)
    {
        if (end - m_position < 4)
            return false;
        value = qFromLittleEndian<quint32>(m_bytes.constData() + m_position);
        m_position += 4;
        return true;
    }

    bool take(qsizetype end, quint32 length, QByteArray &out)
    {
        if (qsizetype(length) > end - m_position)
            return false;
        out = m_bytes.mid(m_position, length);
        m_position += length;
        return true;
    }

    Result<std::optional<FileWrapper>> regularFile(qsizetype end)
    {
        quint32 length = 0;
        if (!word(end, length))
            return truncated();
        if (length == kPaddedFile) {
            quint32 padding = 0;
            if (!word(end, length) || !word(end, padding) || qsizetype(padding) > end - m_position)
                return truncated();
            m_position += padding;
        }
        QByteArray contents;
        if (!take(end, length, contents))
            return truncated();
        return std::optional<FileWrapper>(FileWrapper::regularFile(std::move(contents)));
    }

    Result<std::optional<FileWrapper>> directory(qsizetype end, int depth)
    {
        if (depth >= FileWrapper::maxDepth)
            return Error{QStringLiteral("The file wrapper nests directories too deeply")};
        quint32 count = 0;
        if (!word(end, count))
            return truncated();
        // Each entry needs at least a name length, a node size and a type word.
        if (count > quint32((end - m_position) / 12))
            return Error{QStringLiteral("The file wrapper claims %1 entries in too few bytes").arg(count)};

        QStringList names;
        names.reserve(count);
        for (quint32 i = 0; i < count; ++i) {
            quint32 length = 0;
            QByteArray name;
            if (!word(end, length) || !take(end, length, name))
                return truncated();
            names.append(QString::fromUtf8(name));
        }
        std::vector<quint32> sizes(count);
        for (quint32 &size : sizes) {
            if (!word(end, size))
                return truncated();
        }

        FileWrapper result;
        std::optional<QByteArray> wrappedFile;
        for (quint32 i = 0; i < count; ++i) {
            if (qsizetype(sizes[i]) > end - m_position)
                return truncated();
            const qsizetype nodeEnd = m_position + sizes[i];
            auto child = node(nodeEnd, depth + 1);
            if (!child)
                return Error{child.errorMessage()};
            if (m_position != nodeEnd)
                return Error{QStringLiteral("The size recorded for \"%1\" disagrees with its contents").arg(names[i])};
            if (!child.value() || isBookkeeping(names[i]))
                continue;
            if (names[i] == kParent) {
                if (!child.value()->isDirectory())
                    wrappedFile = child.value()->contents();
                continue;
            }
            if (!result.entry(names[i]))
                result.insert(names[i], std::move(*child.value()));
        }
        if (wrappedFile && result.entryNames().isEmpty())
            return std::optional<FileWrapper>(FileWrapper::regularFile(std::move(*wrappedFile)));
        return std::optional<FileWrapper>(std::move(result));
    }

    const QByteArray &m_bytes;
    qsizetype m_position = 0;
};

void appendWord(QByteArray &out, quint32 value)
{
    char buffer[4];
    qToLittleEndian(value, buffer);
    out.append(buffer, 4);
}

void appendNode(QByteArray &out, const FileWrapper &wrapper, quint32 modificationTime);

QByteArray attributesFor(const QStringList &names, quint32 modificationTime)
{
    QByteArray out;
    appendWord(out, quint32(names.size()));
    for (const QString &name : names) {
        const QByteArray utf8 = name.toUtf8();
        appendWord(out, quint32(utf8.size()));
        out.append(utf8);
        appendWord(out, 16);
        appendWord(out, modificationTime);
        appendWord(out, kPermissions);
        appendWord(out, 0);
        appendWord(out, 0);
    }
    return out;
}

void appendDirectory(QByteArray &out, const FileWrapper &wrapper, quint32 modificationTime)
{
    const QStringList names = wrapper.entryNames();
    std::vector<QByteArray> nodes;
    nodes.reserve(names.size() + 1);
    for (const QString &name : names) {
        QByteArray node;
        appendNode(node, *wrapper.entry(name), modificationTime);
        nodes.push_back(std::move(node));
    }
    QByteArray attributes;
    appendNode(attributes, FileWrapper::regularFile(attributesFor(names, modificationTime)), modificationTime);
    nodes.push_back(std::move(attributes));

    appendWord(out, kDirectory);
    appendWord(out, quint32(nodes.size()));
    for (const QString &name : names + QStringList{kAttributes}) {
        const QByteArray utf8 = name.toUtf8();
        appendWord(out, quint32(utf8.size()));
        out.append(utf8);
    }
    for (const QByteArray &node : nodes)
        appendWord(out, quint32(node.size()));
    for (const QByteArray &node : nodes)
        out.append(node);
}

void appendNode(QByteArray &out, const FileWrapper &wrapper, quint32 modificationTime)
{
    if (wrapper.isDirectory()) {
        appendDirectory(out, wrapper, modificationTime);
        return;
    }
    appendWord(out, kRegularFile);
    appendWord(out, quint32(wrapper.contents().size()));
    out.append(wrapper.contents());
}

} // namespace

FileWrapper FileWrapper::regularFile(QByteArray contents)
{
    FileWrapper wrapper;
    wrapper.m_isDirectory = false;
    wrapper.m_contents = std::move(contents);
    return wrapper;
}

bool FileWrapper::isSerialized(const QByteArray &bytes)
{
    return bytes.size() >= 8 && bytes.startsWith(QByteArrayView(kMagic, 4))
        && qFromLittleEndian<quint32>(bytes.constData() + 4) == 0;
}

Result<FileWrapper> FileWrapper::fromSerialized(const QByteArray &bytes)
{
    if (!isSerialized(bytes))
        return Error{QStringLiteral("The data is no serialized file wrapper")};
    Parser parser(bytes);
    parser.skipTo(8);
    auto root = parser.node(bytes.size(), 0);
    if (!root)
        return Error{root.errorMessage()};
    if (!root.value())
        return Error{QStringLiteral("The file wrapper holds only a symbolic link")};
    return std::move(*root.value());
}

QByteArray FileWrapper::serialized(quint32 modificationTime) const
{
    QByteArray out(kMagic, 4);
    appendWord(out, 0);
    appendNode(out, *this, modificationTime);
    return out;
}

const FileWrapper *FileWrapper::entry(const QString &name) const
{
    const qsizetype index = m_names.indexOf(name);
    return index < 0 ? nullptr : &m_entries[size_t(index)];
}

std::optional<QByteArray> FileWrapper::fileContents(const QString &name) const
{
    const FileWrapper *wrapper = entry(name);
    if (!wrapper || wrapper->isDirectory())
        return std::nullopt;
    return wrapper->contents();
}

void FileWrapper::insert(const QString &name, FileWrapper wrapper)
{
    if (!m_isDirectory || isReserved(name))
        return;
    const qsizetype index = m_names.indexOf(name);
    if (index >= 0) {
        m_entries[size_t(index)] = std::move(wrapper);
        return;
    }
    m_names.append(name);
    m_entries.push_back(std::move(wrapper));
}
