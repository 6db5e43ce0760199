#include "AppSessionTest.h"
#include "app/ApplicationAdaptor.h"
#include "model/MemoCreation.h"
#include "model/MemoTree.h"
#include "text/PageLinks.h"
#include "util/PagePassword.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/NoteTextView.h"
#include "windows/NoteTreeController.h"

#include <QFile>
#include <QTemporaryDir>

#include <functional>

namespace {

// Pages reaching a window from outside it keep to the page password as clicks in the outline do:
// here Diary, protected and locked, with Monday inside it.
class ProtectedPagePathsTest : public AppSessionTest
{
protected:
    void SetUp() override
    {
        AppSessionTest::SetUp();
        savePasswordToDefault(QStringLiteral("secret"));
        application = start();
        diary = MemoCreation::initWithString(QStringLiteral("Dear diary"));
        application->tree().insertNewMemo(diary, application->rootMemo(), -1);
        monday = MemoCreation::initWithString(QStringLiteral("Rain all day"));
        application->tree().insertNewMemo(monday, diary, -1);
        diary->setProtectWithPassword(true);
    }

    // One window asks for the password and none shows @p words; the sheet is then cancelled.
    void expectAsked(const QString &words) const
    {
        int asking = 0;
        for (NoteWindow *each : application->windowControllers()) {
            auto *window = dynamic_cast<NoteWindowController *>(each);
            ASSERT_NE(window, nullptr);
            EXPECT_FALSE(window->textView()->string().contains(words));
            ConfirmPassPanelController *sheet = window->treeController().passPanelController();
            if (sheet && sheet->isVisible()) {
                ++asking;
                sheet->passSheetOK(ConfirmPassPanelController::Cancelled);
            }
        }
        EXPECT_EQ(asking, 1);
    }

    std::unique_ptr<JW3Controller> application;
    MemoPtr diary, monday;
};

TEST_F(ProtectedPagePathsTest, linksNewWindowsClippingsAndImportedFilesAskFirst)
{
    const QString link = PageLinks::pageLink(monday->memoID(), false);
    const auto reach = [&](const char *path, const std::function<void()> &go) {
        SCOPED_TRACE(path);
        go();
        expectAsked(QStringLiteral("Rain"));
    };
    reach("link", [&] { application->openLink(link); });
    reach("link to a new window", [&] { application->openLink(PageLinks::pageLink(monday->memoID(), true)); });
    reach("new window", [&] { application->openWindowAndShowMemo(monday); });
    reach("session bus link", [&] {
        ApplicationRequest request;
        request.linksToOpen = {link};
        ApplicationAdaptor::perform(*application, request);
    });

    // Clippings land below a protected page too.
    application->tree().parentOfClippingMemo()->setProtectWithPassword(true);
    ASSERT_TRUE(application->clipText(QStringLiteral("Clipped secret")).ok());
    expectAsked(QStringLiteral("Clipped secret"));
    QTemporaryDir folder;
    QFile file(folder.filePath(QStringLiteral("opened.txt")));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly) && file.write("Opened secret") > 0);
    file.close();
    // So do files imported below a protected page.
    ApplicationRequest importing;
    importing.importPaths = {file.fileName()};
    importing.importParentID = diary->memoID();
    EXPECT_EQ(ApplicationAdaptor::perform(*application, importing), QString());
    expectAsked(QStringLiteral("Opened secret"));
}

TEST_F(ProtectedPagePathsTest, aLockedScreenTakesProtectedTextOffTheScreen)
{
    diary->setUnlockedPassword(true);
    auto *window = dynamic_cast<NoteWindowController *>(application->frontWindowController());
    ASSERT_NE(window, nullptr);
    window->selectMemo(monday);
    ASSERT_EQ(window->textView()->string(), QStringLiteral("Rain all day"));
    application->screenLockChanged(false);
    EXPECT_TRUE(diary->unlockedPassword());
    application->screenLockChanged(true);
    EXPECT_FALSE(diary->unlockedPassword());
    EXPECT_FALSE(window->textView()->string().contains(QStringLiteral("Rain")));
}

} // namespace
