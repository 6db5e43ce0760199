#include "FreshUserTest.h"

#include "platform/UserDefaults.h"

#include <QDir>

void FreshUserTest::SetUp()
{
    ASSERT_TRUE(m_home.isValid());
    QDir(home()).mkpath(QStringLiteral("config"));
    QDir(home()).mkpath(QStringLiteral("data"));
    QDir(home()).mkpath(QStringLiteral("Documents"));
    qputenv("XDG_CONFIG_HOME", configHome().toLocal8Bit());
    qputenv("XDG_DATA_HOME", dataHome().toLocal8Bit());
    qputenv("XDG_DOCUMENTS_DIR", documentsFolder().toLocal8Bit());
    UserDefaults::resetStandardUserDefaults();
}

void FreshUserTest::TearDown()
{
    UserDefaults::resetStandardUserDefaults();
}

QString FreshUserTest::testDataPath(const QString &relativePath)
{
    const QString root = qEnvironmentVariable("JW_TEST_DATA", QStringLiteral(JW_TEST_DATA_DIR));
    return root + u'/' + relativePath;
}
