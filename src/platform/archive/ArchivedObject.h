#pragma once

#include <QMetaType>
#include <QSet>
#include <QSharedData>
#include <QSharedDataPointer>
#include <QString>
#include <QStringList>
#include <QVariant>

/**
 * An object of a class the keyed coder has no Qt mapping for (a font, a
 * colour, a link preview...): its class name, its class chain and its keyed
 * fields, so that it can be inspected and written back.
 *
 * A field is either an object reference (strings, numbers, containers and
 * other objects each get their own archive slot) or an inline value (what
 * the platform writes for encodeBool/Int/Double/Bytes:forKey:). Inline list
 * and map fields hold references in their elements, like "NS.objects".
 *
 * Copies share their data, and the archiver writes copies of one object
 * once, so a graph read from an archive keeps its sharing when written back.
 * Equality compares class, chain, fields and their storage, not the slot the
 * object was read from.
 */
class ArchivedObject
{
public:
    ArchivedObject();
    /** An object of @p className; an empty @p classChain means {className, "NSObject"}. */
    explicit ArchivedObject(const QString &className, const QStringList &classChain = {});

    [[nodiscard]] QString className() const { return d->className; }
    /** The class and its superclasses, most derived first, as written to the archive. */
    [[nodiscard]] QStringList classChain() const { return d->classChain; }

    [[nodiscard]] const QVariantMap &fields() const { return d->fields; }
    [[nodiscard]] QVariant field(const QString &key) const { return d->fields.value(key); }
    [[nodiscard]] bool contains(const QString &key) const { return d->fields.contains(key); }
    [[nodiscard]] bool isInline(const QString &key) const { return d->inlineKeys.contains(key); }

    /** Sets a field written as an object reference (encodeObject:forKey:). */
    void setField(const QString &key, const QVariant &value);
    /** Sets a field written inline (a bool, integer, real or data; or a list or map of references). */
    void setInlineField(const QString &key, const QVariant &value);

    /** The $objects index this object was read from, 0 for objects built in code. */
    [[nodiscard]] quint64 archiveUid() const { return d->archiveUid; }
    void setArchiveUid(quint64 uid) { d->archiveUid = uid; }

    /** Stable while any copy lives; the same for all copies of one object. */
    [[nodiscard]] const void *identity() const { return d.constData(); }

    friend bool operator==(const ArchivedObject &a, const ArchivedObject &b)
    {
        return a.d == b.d
            || (a.d->className == b.d->className && a.d->classChain == b.d->classChain && a.d->fields == b.d->fields
                && a.d->inlineKeys == b.d->inlineKeys);
    }

private:
    struct Data : QSharedData
    {
        QString className;
        QStringList classChain;
        QVariantMap fields;
        QSet<QString> inlineKeys;
        quint64 archiveUid = 0;
    };
    QSharedDataPointer<Data> d;
};
Q_DECLARE_METATYPE(ArchivedObject)

/**
 * A reference from inside an object back to one of the objects that contain
 * it (a view's superview, say). A value tree cannot hold the cycle, so the
 * reader leaves this marker naming the containing object's archiveUid().
 */
struct ArchivedBackReference
{
    quint64 uid = 0;
    friend bool operator==(ArchivedBackReference a, ArchivedBackReference b) { return a.uid == b.uid; }
};
Q_DECLARE_METATYPE(ArchivedBackReference)

inline ArchivedObject::ArchivedObject()
    : d(new Data)
{ }

inline ArchivedObject::ArchivedObject(const QString &className, const QStringList &classChain)
    : d(new Data)
{
    d->className = className;
    d->classChain = classChain.isEmpty() ? QStringList{className, QStringLiteral("NSObject")} : classChain;
}

inline void ArchivedObject::setField(const QString &key, const QVariant &value)
{
    d->fields.insert(key, value);
    d->inlineKeys.remove(key);
}

inline void ArchivedObject::setInlineField(const QString &key, const QVariant &value)
{
    d->fields.insert(key, value);
    d->inlineKeys.insert(key);
}
