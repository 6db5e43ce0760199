#pragma once

#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "model/MemoTree.h"
#include "model/MemoTreeHost.h"
#include "windows/NoteOutlineView.h"
#include "windows/NoteTextView.h"
#include "windows/NoteTreeController.h"
#include "windows/NoteTreeHost.h"
#include "windows/NoteTreeWindow.h"
#include "windows/NoteWindow.h"

#include <QFile>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QStringList>
#include <QWidget>

#include <memory>
#include <vector>

// A real outline and text view, with just enough window around them for a NoteTreeController:
// selecting shows the page and leaving it takes its edits back, as the note window does.
class OutlineTestWindow final : public QWidget, public NoteTreeWindow
{
public:
    OutlineTestWindow()
    {
        auto *layout = new QHBoxLayout(this);
        outline = new NoteOutlineView(this);
        text = new NoteTextView(this);
        layout->addWidget(outline);
        layout->addWidget(text);
        resize(640, 400);
    }

    [[nodiscard]] QWidget *window() const override { return const_cast<OutlineTestWindow *>(this); }
    [[nodiscard]] NoteTextView *textView() const override { return text; }
    void setEditedIfIsiPhoneMemo(const MemoPtr &) override { }
    void addNewTabWithMemo(const MemoPtr &) override { }
    void goToTitleView() override { outline->setFocus(); }
    void save() override
    {
        if (shown)
            saveDataToMemo(shown);
    }
    void saveDataToMemo(const MemoPtr &memo) override { memo->takeTextFromView(text); }
    void resignSelection(const MemoPtr &memo) override
    {
        memo->resignText(text);
        shown.reset();
    }
    void setMemoToTab(const MemoPtr &) override { }
    void setSelection(const MemoPtr &memo) override
    {
        shown = memo;
        memo->setText(text);
    }
    void titleHasBeenChanged(const MemoPtr &memo) override { retitled.push_back(memo); }
    void showStatus(const QString &message) override { statusMessages.push_back(message); }

    NoteOutlineView *outline = nullptr;
    NoteTextView *text = nullptr;
    MemoPtr shown;
    std::vector<MemoPtr> retitled;
    QStringList statusMessages;
};

/** A window the controller opened on the host: only what it was opened on. */
class OpenedTestWindow final : public NoteWindow
{
public:
    [[nodiscard]] MemoPtr rootMemo() const override { return root; }
    void setRootMemo(const MemoPtr &memo) override { root = memo; }
    [[nodiscard]] MemoPtr selectedMemo() const override { return selected; }
    void selectMemo(const MemoPtr &memo) override { selected = memo; }
    void showWindow() override { widget.show(); }
    void performClose() override { widget.close(); }
    [[nodiscard]] bool isEdited() const override { return false; }
    [[nodiscard]] QUndoStack *undoStack() override { return nullptr; }
    [[nodiscard]] QWidget *windowWidget() const override { return const_cast<QWidget *>(&widget); }

    MemoPtr root;
    MemoPtr selected;
    QWidget widget;
};

/** The application around the outline: a tree of its own, windows it only records, imports of text files. */
class OutlineTestHost final : public NoteTreeHost, public MemoTreeHost
{
public:
    OutlineTestHost() { tree.setHost(this); }

    MemoTree &memoTree() override { return tree; }
    NoteWindow *openWindowWithMemo(const MemoPtr &root, const MemoPtr &show) override
    {
        auto window = std::make_unique<OpenedTestWindow>();
        window->setRootMemo(root);
        if (show)
            window->selectMemo(show);
        window->widget.setGeometry(100, 100, 300, 200);
        window->showWindow();
        windows.push_back(std::move(window));
        return windows.back().get();
    }
    NoteWindow *openWindowAndShowMemo(const MemoPtr &memo) override
    {
        return openWindowWithMemo(tree.parentOfMemo(memo), memo);
    }
    void handleMemoRemoval(const MemoPtr &memo) override { removed.push_back(memo); }
    Result<MemoPtr> importFile(const QString &path, const MemoPtr &parent, qsizetype index) override
    {
        imported.push_back(path);
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return Error{QStringLiteral("cannot read %1").arg(path)};
        MemoPtr memo = MemoCreation::initWithString(QString::fromUtf8(file.readAll()));
        memo->setTitle(QFileInfo(path).completeBaseName());
        tree.insertNewMemo(memo, parent, index);
        return memo;
    }
    [[nodiscard]] QStringList importableFileTypes() const override { return {QStringLiteral("txt")}; }

    // MemoTreeHost: the tree records undo on the test's own stack.
    QUndoStack *frontUndoStack() override { return undoStack; }
    void showMemoInWindow(const MemoPtr &) override { }
    void saveNow() override { }

    MemoTree tree;
    QUndoStack *undoStack = nullptr;
    std::vector<std::unique_ptr<OpenedTestWindow>> windows;
    std::vector<MemoPtr> removed;
    QStringList imported;
};
