#pragma once

#include "app/JW3Controller.h"
#include "app/RegisteredDefaults.h"
#include "common/FreshUserTest.h"
#include "platform/base/Localization.h"
#include "platform/settings/FolderPaths.h"
#include "platform/settings/UserDefaults.h"
#include "windows/NoteWindowController.h"

#include <memory>

/** A fresh user whose tests start the real controller with real note windows, one session at a time. */
class AppSessionTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        RegisteredDefaults::registerWith(UserDefaults::standardUserDefaults());
    }

    /** Starts a session on the data folder, as the application does. */
    static std::unique_ptr<JW3Controller> start()
    {
        auto application = std::make_unique<JW3Controller>(
            [](NoteTreeHost &host) { return std::make_unique<NoteWindowController>(host); });
        EXPECT_TRUE(application->claimDataFolder(dataFolderPath()).ok());
        application->startUp();
        return application;
    }
};
