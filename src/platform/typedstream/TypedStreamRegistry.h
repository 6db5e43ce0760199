#pragma once

#include "platform/base/Result.h"

#include <QByteArray>
#include <QHash>
#include <QVariant>

#include <functional>
#include <utility>
#include <vector>

class TypedStreamDecoder;
class TypedStreamWriter;

/**
 * How one archived class is written and read.
 *
 * encode writes the groups inside the object (the writer has already written
 * the object's head and class chain, and closes the object afterwards);
 * decode reads them in the same order from the decoder and returns the value.
 */
struct TypedStreamCoder
{
    using Encode = std::function<Status(TypedStreamWriter &writer, const QVariant &value)>;
    using Decode = std::function<Result<QVariant>(TypedStreamDecoder &decoder)>;
    using Identity = std::function<const void *(const QVariant &value)>;

    QByteArray className;
    qint64 version = 0;
    /** Superclasses from the direct one up to the root, each with its class version. */
    std::vector<std::pair<QByteArray, qint64>> superclasses = {{QByteArrayLiteral("NSObject"), 0}};
    Encode encode;
    Decode decode;
    /**
     * The object behind a value, so that the same object archived twice is
     * written once and referenced afterwards (e.g. the pointer a shared_ptr holds).
     * Without it, values of this class are written anew each time.
     */
    Identity identity;
};

/**
 * The coders known by class name, and which class a bare Qt value is written as.
 *
 * shared() holds the standard classes and whatever the application registers
 * at start-up; tests build their own with withStandardClasses().
 */
class TypedStreamRegistry
{
public:
    /** An empty registry: no class is known. */
    TypedStreamRegistry() = default;

    /** A registry with the standard Foundation and AppKit classes. */
    [[nodiscard]] static TypedStreamRegistry withStandardClasses();
    /** The process-wide registry, with the standard classes; register record classes here at start-up. */
    [[nodiscard]] static TypedStreamRegistry &shared();

    /** Adds or replaces the coder for coder.className. */
    void registerCoder(TypedStreamCoder coder);
    /** Makes values of Qt type @p metaTypeId be written as @p className (which must have a coder). */
    void setDefaultClassName(int metaTypeId, const QByteArray &className);

    /** The coder of exactly @p className, or null. */
    [[nodiscard]] const TypedStreamCoder *coder(const QByteArray &className) const;
    /** The class a bare value of @p metaTypeId is written as, or empty when none is set. */
    [[nodiscard]] QByteArray defaultClassName(int metaTypeId) const;

private:
    QHash<QByteArray, TypedStreamCoder> m_coders;
    QHash<int, QByteArray> m_defaultClassNames;
};
