#pragma once

#include "FreshUserTest.h"

#include <QByteArray>
#include <QFile>

/** The bytes of a file of the project's test data (tests/data); empty when it cannot be read. */
inline QByteArray readTestData(const QString &relativePath)
{
    QFile file(FreshUserTest::testDataPath(relativePath));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Bytes written as hex digits, spaces allowed between them. */
inline QByteArray hex(const char *digits)
{
    return QByteArray::fromHex(digits);
}
