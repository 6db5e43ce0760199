#pragma once

#include "OutlineTest.h"
#include "windows/NoteWindowController.h"

#include <memory>

/** Real note windows on a notebook of: Diary (Monday, Tuesday), Recipes, Ideas. */
class NoteWindowTest : public OutlineTest
{
protected:
    void SetUp() override
    {
        OutlineTest::SetUp();
        diary = page(root, "Diary", "Dear diary");
        monday = page(diary, "Monday", "Rain all day");
        tuesday = page(diary, "Tuesday", "Sun at last");
        recipes = page(root, "Recipes", "Bread: flour, water, salt");
        ideas = page(root, "Ideas", "A boat made of books");
    }

    /** A note window on @p on whose edits the tree records; shown unless @p show is false. */
    std::unique_ptr<NoteWindowController> open(const MemoPtr &on, bool show = true)
    {
        auto window = std::make_unique<NoteWindowController>(host);
        host.undoStack = window->undoStack();
        window->setRootMemo(on);
        if (show)
            window->showWindow();
        return window;
    }

    MemoPtr diary, monday, tuesday, recipes, ideas;
};
