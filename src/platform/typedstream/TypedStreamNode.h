#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>

#include <memory>
#include <optional>
#include <vector>

/**
 * The generic tree of a typed stream: what the bytes say, before anyone
 * decides what the objects mean. Every object keeps its class chain and its
 * value groups in order, so an object no coder knows survives a read and can
 * be written back through TypedStreamWriter.
 *
 * References inside the stream are resolved to shared pointers: an object that
 * the stream refers to twice is one TypedStreamObject with two owners, and the
 * writer turns the second occurrence back into a reference. A reference from
 * inside an object to an object still being read (a child pointing at its
 * parent) is held weakly, so the tree has no ownership cycle; the archive
 * keeps every object alive.
 */

/** An archived class: its name, the version stored with it, and its superclass (null at a root class). */
struct TypedStreamClass
{
    QByteArray name;
    qint64 version = 0;
    std::shared_ptr<const TypedStreamClass> superclass;
};
using TypedStreamClassPtr = std::shared_ptr<const TypedStreamClass>;

struct TypedStreamObject;
using TypedStreamObjectPtr = std::shared_ptr<TypedStreamObject>;

/** One value of a group, as its type character describes it. */
struct TypedStreamValue
{
    enum class Kind : quint8
    {
        Nil,          ///< a nil object, class, C string or byte string
        Integer,      ///< s S i I l L q Q (unsigned kinds reinterpreted)
        Real,         ///< f d
        Char,         ///< c C B: one raw byte, in `integer`
        Bytes,        ///< '+' byte string, or the bytes of a [Nc]/[NC] array
        SharedString, ///< ':' selector or '%' atom
        CString,      ///< '*'
        Object,       ///< '@'
        Class,        ///< '#'
        Array,        ///< [Nt] of any other t, one element per entry
        Struct,       ///< {name=...}, one element per field
    };

    Kind kind = Kind::Nil;
    qint64 integer = 0;
    double real = 0;
    QByteArray bytes;
    TypedStreamObjectPtr object;                    ///< an Object, unless it is a back-reference
    std::weak_ptr<TypedStreamObject> backReference; ///< an Object that encloses this value
    TypedStreamClassPtr cls;
    std::vector<TypedStreamValue> elements;

    [[nodiscard]] bool isNil() const { return kind == Kind::Nil; }
    /** The object an Object value stands for, whether held or referred back to; null if gone. */
    [[nodiscard]] TypedStreamObjectPtr target() const { return object ? object : backReference.lock(); }
};

/** One group: a type-encoding string and a value per type in it. */
struct TypedStreamGroup
{
    QByteArray types;
    std::vector<TypedStreamValue> values;
};

/** An archived object: its class chain and the groups its coder wrote, in order. */
struct TypedStreamObject
{
    TypedStreamClassPtr cls;
    std::vector<TypedStreamGroup> groups;

    /** The object's own class name (empty for a malformed object without class). */
    [[nodiscard]] QByteArray className() const { return cls ? cls->name : QByteArray(); }
    /** True if @p name is the object's class or one of its superclasses. */
    [[nodiscard]] bool isKindOf(QByteArrayView name) const
    {
        for (const TypedStreamClass *c = cls.get(); c; c = c->superclass.get()) {
            if (c->name == name)
                return true;
        }
        return false;
    }
};

/** A whole stream: its header facts, the top-level groups, and the class versions it records. */
struct TypedStreamArchive
{
    bool bigEndian = false;
    qint64 systemVersion = 1000;
    std::vector<TypedStreamGroup> groups;
    QHash<QByteArray, qint64> classVersions;
    /** Every object read, in stream order; it keeps objects that are only referred back to alive. */
    std::vector<TypedStreamObjectPtr> objects;

    /** The version stored with @p className's literal occurrence, or empty when the class is absent. */
    [[nodiscard]] std::optional<qint64> versionForClassName(QByteArrayView className) const
    {
        const auto it = classVersions.constFind(className.toByteArray());
        return it == classVersions.cend() ? std::nullopt : std::optional<qint64>(*it);
    }
};
