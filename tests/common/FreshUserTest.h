#pragma once

#include "QtPrinters.h"

#include <gtest/gtest.h>

#include <QString>
#include <QTemporaryDir>

/**
 * A test that runs as a new user: empty XDG config, data and documents
 * folders of its own, and the application's defaults read afresh from them.
 */
class FreshUserTest : public ::testing::Test
{
public:
    /** A file of the project's test data (tests/data). */
    [[nodiscard]] static QString testDataPath(const QString &relativePath);

protected:
    void SetUp() override;
    void TearDown() override;

    [[nodiscard]] QString home() const { return m_home.path(); }
    [[nodiscard]] QString configHome() const { return home() + QStringLiteral("/config"); }
    [[nodiscard]] QString dataHome() const { return home() + QStringLiteral("/data"); }
    [[nodiscard]] QString documentsFolder() const { return home() + QStringLiteral("/Documents"); }

private:
    QTemporaryDir m_home;
};
