#pragma once

#include "OutlineTestWindow.h"
#include "common/FreshUserTest.h"
#include "platform/base/Localization.h"

#include <QStringList>

/** A fresh user with an empty page tree of their own, which plantTree() fills; tests open the outline. */
class OutlineTest : public FreshUserTest
{
protected:
    void SetUp() override
    {
        FreshUserTest::SetUp();
        Localization::install();
        root = JWMemo::memo();
        host.tree.setRoot(root);
    }

    void TearDown() override
    {
        // The controller before its window: it lets go of the window's view.
        controller.reset();
        window.reset();
        FreshUserTest::TearDown();
    }

    /** Fills the root with  A (A1 (A1a)), B (B1, B2), C, D. */
    void plantTree()
    {
        a = page(root, "A");
        a1 = page(a, "A1");
        a1a = page(a1, "A1a");
        b = page(root, "B");
        b1 = page(b, "B1");
        b2 = page(b, "B2");
        c = page(root, "C");
        d = page(root, "D");
    }

    /** Opens the outline window on the root, recording its edits on the controller's undo stack. */
    void openOutline()
    {
        window = std::make_unique<OutlineTestWindow>();
        controller = std::make_unique<NoteTreeController>(host, *window, *window->outline);
        host.undoStack = &controller->undoStack();
        controller->setRootMemo(root);
    }

    /** A page titled @p title at the end of @p parent, holding @p text (or "Text of <title>"), not edited. */
    static MemoPtr page(const MemoPtr &parent, const char *title, const char *text = nullptr)
    {
        const QString words = text ? QString::fromUtf8(text) : QStringLiteral("Text of ") + QLatin1StringView(title);
        MemoPtr memo = MemoCreation::initWithString(words);
        memo->setTitle(QString::fromUtf8(title));
        parent->appendChild(memo);
        parent->changeIsLeaf();
        memo->setIsEdited(false);
        return memo;
    }

    /** The titles of @p parent's children, in order. */
    static QStringList titles(const MemoPtr &parent)
    {
        QStringList list;
        for (const MemoPtr &child : parent->children())
            list.append(child->title());
        return list;
    }

    OutlineTestHost host;
    MemoPtr root;
    MemoPtr a, a1, a1a, b, b1, b2, c, d;
    std::unique_ptr<OutlineTestWindow> window;
    std::unique_ptr<NoteTreeController> controller;
};
