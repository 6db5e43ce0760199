#include "FreshUserTest.h"

#include "FreshHome.h"

#include "platform/settings/UserDefaults.h"

void FreshUserTest::SetUp()
{
    ASSERT_TRUE(m_home.isValid());
    useFreshHome(home());
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
