#include "common/FreshUserTest.h"
#include "model/JWMemo.h"
#include "text/LinkClick.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QStringList>
#include <QUrl>

namespace {

using LinkClick::Outcome;

// Records what a click asks of the application; page 42 exists.
class RecordingHost : public LinkClickHost
{
public:
    MemoPtr noteDataWithID(qint64 memoID) override
    {
        lookups.append(memoID);
        return memoID == 42 ? page : nullptr;
    }
    void openWindowAndShowMemo(const MemoPtr &memo) override { newWindow.append(memo); }
    void showMemoInThisWindow(const MemoPtr &memo) override { thisWindow.append(memo); }
    bool openUrl(const QUrl &url) override
    {
        urls.append(url);
        return desktopWorks;
    }
    // Passes locations on as text, as a desktop host does, unless told not to.
    bool openLocation(const QString &location) override
    {
        if (!passesText)
            return LinkClickHost::openLocation(location);
        locations.append(location);
        return true;
    }

    const MemoPtr page = JWMemo::bareMemo();
    QList<qint64> lookups;
    QList<MemoPtr> newWindow;
    QList<MemoPtr> thisWindow;
    QList<QUrl> urls;
    QStringList locations;
    bool desktopWorks = true;
    bool passesText = true;
};

void createFile(const QString &path)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("From: someone\n");
}

class LinkClickTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        m_maildir = qgetenv("MAILDIR");
        qunsetenv("MAILDIR");
    }
    void TearDown() override
    {
        if (m_maildir.isNull())
            qunsetenv("MAILDIR");
        else
            qputenv("MAILDIR", m_maildir);
        FreshUserTest::TearDown();
    }

    RecordingHost host;

private:
    QByteArray m_maildir;
};

TEST_F(LinkClickTest, pageLinksShowTheirPageHereOrInANewWindow)
{
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("Jotwell3://pageid/42/")), Outcome::ShowedPage);
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("Jotwell3://pageid/42.0/OpenWithNewWindow")),
        Outcome::OpenedPageWindow);
    EXPECT_EQ(host.thisWindow, QList<MemoPtr>{host.page});
    EXPECT_EQ(host.newWindow, QList<MemoPtr>{host.page});

    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("Jotwell3://pageid/7/OpenWithNewWindow")), Outcome::MissingPage);
    EXPECT_EQ(host.lookups, (QList<qint64>{42, 42, 7}));

    // Links that name no page look nothing up and show nothing.
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("Jotwell3://pageid/abc/")), Outcome::NoPageID);
    EXPECT_EQ(host.lookups.size(), 3);
    EXPECT_EQ(host.thisWindow.size() + host.newWindow.size(), 2);
    EXPECT_TRUE(host.urls.isEmpty());
}

TEST_F(LinkClickTest, mailLocationsGoToTheDesktopAsText)
{
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("message:%3Cid@example.com%3E")), Outcome::OpenedMailLocation);
    EXPECT_EQ(host.locations, QStringList{QStringLiteral("message:<id@example.com>")});
    EXPECT_TRUE(host.urls.isEmpty());

    // A host that cannot pass text on gets the location as a URL.
    host.passesText = false;
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("message:%3Cid@example.com%3E")), Outcome::OpenedMailLocation);
    ASSERT_EQ(host.urls.size(), 1);
    EXPECT_EQ(host.urls.first().path(), QStringLiteral("<id@example.com>"));
}

TEST_F(LinkClickTest, mailMessageFilesAreFoundInTheMailFoldersThatExist)
{
    EXPECT_TRUE(LinkClick::mailFolders().isEmpty());
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("mailMessageID:12345")), Outcome::MissingMailFile);

    const QString message = home() + QStringLiteral("/.mail/work/cur/12345.1700000000.host:2,S");
    createFile(message);
    createFile(home() + QStringLiteral("/.mail/work/cur/99999.eml"));
    QDir().mkpath(home() + QStringLiteral("/.mail/work/123456789"));
    EXPECT_EQ(LinkClick::mailFolders(), QStringList{home() + QStringLiteral("/.mail")});
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("mailMessageID:12345")), Outcome::OpenedMailFile);
    ASSERT_EQ(host.urls.size(), 1);
    EXPECT_EQ(host.urls.first(), QUrl::fromLocalFile(message));

    // The name is unescaped; $MAILDIR adds a folder after the usual ones.
    const QString other = home() + QStringLiteral("/elsewhere");
    createFile(other + QStringLiteral("/new/a b.eml"));
    qputenv("MAILDIR", other.toLocal8Bit());
    EXPECT_EQ(LinkClick::mailFolders(), (QStringList{home() + QStringLiteral("/.mail"), other}));
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("mailMessageID:a%20b")), Outcome::OpenedMailFile);
    EXPECT_EQ(host.urls.last(), QUrl::fromLocalFile(other + QStringLiteral("/new/a b.eml")));

    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("mailMessageID:")), Outcome::MissingMailFile);
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("mailMessageID:work")), Outcome::MissingMailFile)
        << "a folder is no message";
    EXPECT_EQ(host.urls.size(), 2);
}

TEST_F(LinkClickTest, theMailSearchStopsAfterItsLimit)
{
    const QString first = home() + QStringLiteral("/first");
    const QString second = home() + QStringLiteral("/second");
    for (int i = 0; i < 30; ++i)
        createFile(first + QStringLiteral("/%1.eml").arg(i));
    createFile(second + QStringLiteral("/wanted.eml"));

    EXPECT_FALSE(LinkClick::findMailMessage(QStringLiteral("wanted"), {first, second}, 30));
    EXPECT_EQ(LinkClick::findMailMessage(QStringLiteral("wanted"), {first, second}, 31),
        second + QStringLiteral("/wanted.eml"));
    EXPECT_FALSE(LinkClick::findMailMessage(QStringLiteral("wanted"), {home() + QStringLiteral("/none")}, 100));
}

TEST_F(LinkClickTest, everyOtherURLGoesToTheDesktop)
{
    const QString missingFolder = QUrl::fromLocalFile(home() + QStringLiteral("/gone/")).toString();
    for (const QString &url :
        {QStringLiteral("https://example.com/a%20b"), missingFolder, QStringLiteral("mailto:me@example.com")})
        EXPECT_EQ(LinkClick::resolve(host, url), Outcome::OpenedUrl);
    ASSERT_EQ(host.urls.size(), 3);
    EXPECT_EQ(host.urls.at(0).toString(QUrl::FullyEncoded), QStringLiteral("https://example.com/a%20b"));

    host.desktopWorks = false;
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("https://example.com/")), Outcome::OpenedUrl);

    for (const QString &text : {QString(), QStringLiteral("no scheme here"), QStringLiteral("http://[broken")})
        EXPECT_EQ(LinkClick::resolve(host, text), Outcome::NotALink) << text.toStdString();
    // Not a page link: the header is case-sensitive.
    EXPECT_EQ(LinkClick::resolve(host, QStringLiteral("jotwell3://pageid/42/")), Outcome::OpenedUrl);
    EXPECT_TRUE(host.lookups.isEmpty());
}

} // namespace
