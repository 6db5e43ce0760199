// Opens the main window on the sample pages a new user finds and saves a
// picture of it in a light and a dark theme, for looking at the window:
//     xvfb-run -a build/tools/jw-screenshots/jw-window-screenshot OUTPUT_FOLDER
// writes OUTPUT_FOLDER/window-light.png and OUTPUT_FOLDER/window-dark.png, and
// OUTPUT_FOLDER/window-search.png with the search pane listing a keyword's pages
// and the find-and-replace bar open.
#include "common/FreshHome.h"
#include "exchange/SampleBook.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/base/Localization.h"
#include "windows/NoteMainWindow.h"
#include "windows/NoteOutlineView.h"
#include "windows/TreeOnlyHost.h"
#include "windows/FindBar.h"
#include "windows/NoteWindowController.h"
#include "windows/SearchController.h"
#include "windows/TitleColorPalette.h"

#include <QApplication>
#include <QDir>
#include <QPalette>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTextStream>

namespace {

QPalette darkPalette()
{
    QPalette dark;
    const QColor window(0x2b, 0x2d, 0x30);
    const QColor base(0x1f, 0x20, 0x22);
    const QColor text(0xe6, 0xe6, 0xe6);
    dark.setColor(QPalette::Window, window);
    dark.setColor(QPalette::WindowText, text);
    dark.setColor(QPalette::Base, base);
    dark.setColor(QPalette::AlternateBase, window);
    dark.setColor(QPalette::Text, text);
    dark.setColor(QPalette::Button, window);
    dark.setColor(QPalette::ButtonText, text);
    dark.setColor(QPalette::Highlight, QColor(0x35, 0x74, 0xc8));
    dark.setColor(QPalette::HighlightedText, Qt::white);
    dark.setColor(QPalette::ToolTipBase, base);
    dark.setColor(QPalette::ToolTipText, text);
    dark.setColor(QPalette::PlaceholderText, QColor(0x8a, 0x8a, 0x8a));
    dark.setColor(QPalette::Disabled, QPalette::Text, QColor(0x70, 0x70, 0x70));
    dark.setColor(QPalette::Disabled, QPalette::ButtonText, QColor(0x70, 0x70, 0x70));
    dark.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x70, 0x70, 0x70));
    return dark;
}

// The window on a notebook holding the sample pages, showing the page on
// formatting, or with @p keyword searched for and its first occurrence found.
bool shoot(const QString &path, const QString &keyword = {})
{
    MemoTree tree;
    tree.setRoot(JWMemo::memo());
    TreeOnlyHost host(tree);
    if (!importSampleBook(tree, nullptr, -1))
        return false;
    NoteWindowController window(host);
    window.setRootMemo(tree.root());
    window.mainWindow().resize(1100, 720);
    window.showWindow();
    window.outline().expandEveryItem();
    const QList<MemoPtr> pages = tree.memoArrayWithoutRoot();
    // A label colour and a read-only page, to see how the outline draws them.
    for (const MemoPtr &page : pages) {
        if (page->title().contains(QStringLiteral("rotect")))
            page->setTitleColor(TitleColorPalette::titleColorForTag(6));
        if (page->title().contains(QStringLiteral("hortcut")))
            page->setLocked(true);
        if (page->title().contains(QStringLiteral("ormat")))
            window.selectMemo(page);
    }
    if (!keyword.isEmpty()) {
        window.showSearchPane();
        window.searchController().setSearchKeyword(keyword);
        window.searchController().findNext();
        window.findBar().open(true);
    }
    QCoreApplication::processEvents();
    return window.mainWindow().grab().save(path);
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    if (!home.isValid())
        return 2;
    useFreshHome(home.path());
    QApplication app(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        QTextStream(stderr) << "usage: jw-window-screenshot OUTPUT_FOLDER" << Qt::endl;
        return 2;
    }
    Localization::install();
    QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
    const QDir folder(arguments.at(1));
    QDir().mkpath(folder.path());

    QApplication::setPalette(QApplication::style()->standardPalette());
    const bool light = shoot(folder.filePath(QStringLiteral("window-light.png")));
    QApplication::setPalette(darkPalette());
    const bool dark = shoot(folder.filePath(QStringLiteral("window-dark.png")));
    QApplication::setPalette(QApplication::style()->standardPalette());
    const bool search = shoot(folder.filePath(QStringLiteral("window-search.png")), QStringLiteral("link"));
    if (!light || !dark || !search) {
        QTextStream(stderr) << "the screenshots could not be made" << Qt::endl;
        return 1;
    }
    QTextStream(stdout) << "wrote window-light.png, window-dark.png and window-search.png in " << folder.path()
                        << Qt::endl;
    return 0;
}
