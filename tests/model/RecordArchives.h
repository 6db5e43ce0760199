#pragma once

#include "platform/base/Result.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamRegistry.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <gtest/gtest.h>

#include <QByteArray>
#include <QVariant>

/**
 * Archiving one kind of record at a chosen class version and reading it
 * back, for the tests of the records' coders. @p Ptr is the record's
 * pointer type as it travels in a QVariant.
 */
template<typename Ptr> struct RecordArchives
{
    void (*registerWith)(TypedStreamRegistry &);
    TypedStreamCoder (*coder)(qint64 version);
    qint64 currentVersion;

    /** The standard classes and the record's coders, the record's at @p version. */
    [[nodiscard]] TypedStreamRegistry registryAt(qint64 version) const
    {
        TypedStreamRegistry registry = TypedStreamRegistry::withStandardClasses();
        registerWith(registry);
        if (version != currentVersion)
            registry.registerCoder(coder(version));
        return registry;
    }

    /** @p record archived at @p version; a failure fails the test and gives no bytes. */
    [[nodiscard]] QByteArray archive(const Ptr &record, qint64 version) const
    {
        auto bytes = TypedStreamWriter::archivedDataWithRootObject(QVariant::fromValue(record), registryAt(version));
        EXPECT_TRUE(bytes.ok()) << bytes.errorMessage().toStdString();
        return bytes.valueOr(QByteArray());
    }
    [[nodiscard]] QByteArray archive(const Ptr &record) const { return archive(record, currentVersion); }

    /** The record @p bytes hold, read at the current version; an error when they hold none. */
    [[nodiscard]] Result<Ptr> unarchive(const QByteArray &bytes) const
    {
        auto value = TypedStreamDecoder::unarchiveObjectWithData(bytes, registryAt(currentVersion));
        if (!value)
            return Error{value.errorMessage()};
        if (Ptr record = value.value().template value<Ptr>())
            return record;
        return Error{QStringLiteral("the archive holds no such record")};
    }
};
