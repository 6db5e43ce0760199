#include "NoteWindowTest.h"
#include "model/JWWindowAttribute.h"
#include "util/PagePassword.h"
#include "windows/ConfirmPassPanelController.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineModel.h"
#include "windows/SetPassPanelController.h"

#include <QAction>
#include <QLineEdit>
#include <QMenu>
#include <QTest>

namespace {

// Diary is protected and locked; Monday, inside it, must never reach the screen without the password.
class ProtectionGateTest : public NoteWindowTest
{
protected:
    void SetUp() override
    {
        NoteWindowTest::SetUp();
        savePasswordToDefault(QStringLiteral("secret"));
        diary->setProtectWithPassword(true);
    }

    // The password sheet is up while Monday is nowhere on screen; it is then answered with @p password.
    void expectAsked(NoteWindowController &window, const QString &password = {}) const
    {
        EXPECT_NE(window.selectedMemo(), monday);
        EXPECT_FALSE(window.textView()->string().contains(QStringLiteral("Rain")));
        ConfirmPassPanelController *sheet = window.treeController().passPanelController();
        ASSERT_TRUE(sheet && sheet->isVisible());
        sheet->findChild<QLineEdit *>()->setText(password);
        sheet->passSheetOK(
            password.isEmpty() ? ConfirmPassPanelController::Cancelled : ConfirmPassPanelController::Confirmed);
        QTest::qWait(0);
    }
};

TEST_F(ProtectionGateTest, aSubPageRestoredAtStartUpIsAskedForAndNotShownOnCancel)
{
    root->windowAttribute()->setSelectionID(monday->memoID());
    auto window = open(root);
    expectAsked(*window);
    EXPECT_NE(window->selectedMemo(), monday);
    EXPECT_FALSE(window->textView()->string().contains(QStringLiteral("Rain")));
    EXPECT_EQ(window->outline().selectedMemosInRowOrder(), QList<MemoPtr>{window->selectedMemo()});

    window->selectMemo(monday);
    expectAsked(*window, QStringLiteral("secret"));
    EXPECT_EQ(window->textView()->string(), QStringLiteral("Rain all day"));
    EXPECT_TRUE(diary->unlockedPassword());
}

TEST_F(ProtectionGateTest, backAndTheRecentAndFavouriteListsAskFirst)
{
    diary->setUnlockedPassword(true);
    auto window = open(root);
    window->selectMemo(monday);
    window->selectMemo(recipes);
    diary->lockPassword();
    window->treeController().moveBack();
    expectAsked(*window);

    QMenu menu;
    for (auto fill : {&NoteWindowController::updateRecentItems, &NoteWindowController::updateFavoriteItems}) {
        (window.get()->*fill)(menu);
        for (QAction *item : menu.actions()) {
            if (item->text() == QLatin1StringView("Monday"))
                item->trigger();
        }
        expectAsked(*window);
    }

    // Opened after all, the step back stays a step back in the history.
    window->treeController().moveNext();
    window->treeController().moveBack();
    expectAsked(*window, QStringLiteral("secret"));
    EXPECT_EQ(window->selectedMemo(), monday);
    EXPECT_TRUE(window->treeController().canMoveNext());
}

TEST_F(ProtectionGateTest, lockingProtectedPagesTakesTheirTextOffEveryWindow)
{
    diary->setUnlockedPassword(true);
    auto window = open(root);
    window->selectMemo(monday);
    auto inside = open(diary);
    ASSERT_EQ(inside->textView()->string(), QStringLiteral("Rain all day"));
    const NoteOutlineModel &model = window->treeController().model();
    const auto mark = [&] {
        return model.data(model.indexForMemo(diary.get()), NoteOutlineModel::PasswordMarkRole);
    };
    EXPECT_EQ(mark(), int(NoteOutlineModel::UnlockedMark));
    QTest::keyClicks(window->textView(), QStringLiteral("Wet. "));

    window->action(QStringLiteral("lockProtectedPagesAction"))->trigger();
    EXPECT_EQ(mark(), int(NoteOutlineModel::LockedMark));
    for (NoteWindowController *each : {window.get(), inside.get()}) {
        EXPECT_NE(each->selectedMemo(), monday);
        EXPECT_FALSE(each->textView()->string().contains(QStringLiteral("Rain")));
    }
    EXPECT_TRUE(monday->plainText().contains(QStringLiteral("Wet. ")));
}

TEST_F(ProtectionGateTest, protectingWithoutAPasswordFirstAsksForOne)
{
    savePasswordToDefault(QString());
    auto window = open(root);
    window->selectMemo(recipes);
    for (const bool accept : {false, true}) {
        window->action(QStringLiteral("protectAction"))->trigger();
        auto *sheet = window->mainWindow().findChild<SetPassPanelController *>();
        ASSERT_TRUE(sheet && sheet->isVisible());
        EXPECT_FALSE(recipes->protectWithPassword());
        // No old password to give: only the new one, twice.
        const QList<QLineEdit *> fields = sheet->findChildren<QLineEdit *>();
        ASSERT_EQ(fields.size(), 3);
        EXPECT_FALSE(fields.at(0)->isVisible());
        fields.at(1)->setText(QStringLiteral("tulips"));
        fields.at(2)->setText(QStringLiteral("tulips"));
        sheet->passSheetOK(accept ? SetPassPanelController::Accepted : SetPassPanelController::Cancelled);
        QTest::qWait(0);
        EXPECT_EQ(recipes->protectWithPassword(), accept);
    }
    EXPECT_TRUE(passwordMatchesHash(QStringLiteral("tulips"), passwordFromDefault()));
}

} // namespace
