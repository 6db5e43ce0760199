#include "StandInWindow.h"
#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"

#include <QFile>

namespace {

class ClippedTextEncodingTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        RegisteredDefaults::registerWith(UserDefaults::standardUserDefaults());
        controller = std::make_unique<JW3Controller>([](NoteTreeHost &) { return std::make_unique<StandInWindow>(); });
        ASSERT_TRUE(controller->claimDataFolder(dataFolderPath()).ok());
        controller->startUp();
    }

    QString write(const QString &name, const QByteArray &bytes) const
    {
        const QString path = home() + u'/' + name;
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }

    std::unique_ptr<JW3Controller> controller;
};

TEST_F(ClippedTextEncodingTest, wideTextWithAByteOrderMarkIsClippedAsText)
{
    const QString text = QStringLiteral("Caf\u00e9 \u65e5\u672c\nsecond line");
    QByteArray little("\xff\xfe");
    QByteArray big("\xfe\xff");
    for (const QChar c : text) {
        little.append(char(c.unicode() & 0xff)).append(char(c.unicode() >> 8));
        big.append(char(c.unicode() >> 8)).append(char(c.unicode() & 0xff));
    }
    for (const auto &[name, bytes] : {std::pair{QStringLiteral("le.txt"), little}, {QStringLiteral("be.txt"), big}}) {
        auto clipped = controller->clipFile(write(name, bytes));
        ASSERT_TRUE(clipped.ok()) << name.toStdString() << ": " << clipped.errorMessage().toStdString();
        EXPECT_EQ(clipped.value()->plainText(), text) << name.toStdString();
    }

    // A file cut in the middle of a character is no text.
    const qsizetype pages = controller->tree().parentOfClippingMemo()->children().size();
    EXPECT_FALSE(controller->clipFile(write(QStringLiteral("odd.txt"), little + 'x')).ok());
    EXPECT_EQ(controller->tree().parentOfClippingMemo()->children().size(), pages);
}

} // namespace
