#include "CommandLine.h"

#include "exchange/ExportFormat.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>
#include <QTextStream>
#include <QUrl>

#include <cstdlib>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("CommandLine", text);
}

QString absolute(const QString &path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

// The desktop hands files over as "file://" URLs (the menu entry's %U).
QString localPath(const QString &argument)
{
    if (argument.startsWith(QLatin1String("file:"), Qt::CaseInsensitive))
        return QUrl(argument).toLocalFile();
    return absolute(argument);
}

// Page links arrive from the desktop's URL handler; the scheme's case is
// whatever the other program wrote.
bool isPageLinkArgument(const QString &argument)
{
    return argument.startsWith(QLatin1String("jotwell3:"), Qt::CaseInsensitive);
}

// The toolkit's own options (its style, platform plugin, layout direction,
// and the X11 ones), which the GUI application takes out of the arguments
// itself when it is made. Those in the first list take a value, as the next
// argument; the few named in the second may also carry it after "=".
const QStringList kToolkitOptionsWithValue = {
    QStringLiteral("style"),
    QStringLiteral("stylesheet"),
    QStringLiteral("platform"),
    QStringLiteral("platformpluginpath"),
    QStringLiteral("platformtheme"),
    QStringLiteral("plugin"),
    QStringLiteral("qwindowgeometry"),
    QStringLiteral("qwindowicon"),
    QStringLiteral("qwindowtitle"),
    QStringLiteral("session"),
    QStringLiteral("display"),
    QStringLiteral("geometry"),
    QStringLiteral("title"),
    QStringLiteral("icon"),
    QStringLiteral("name"),
    QStringLiteral("visual"),
};
const QStringList kToolkitOptionsWithJoinedValue = {
    QStringLiteral("style"),
    QStringLiteral("stylesheet"),
    QStringLiteral("qmljsdebugger"),
};
const QStringList kToolkitFlags = {
    QStringLiteral("reverse"),
    QStringLiteral("widgetcount"),
    QStringLiteral("nograb"),
    QStringLiteral("dograb"),
    QStringLiteral("sync"),
};

} // namespace

QStringList CommandLine::withoutToolkitOptions(const QStringList &arguments)
{
    QStringList ours;
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--")) { // what follows are files, whatever they look like
            ours << arguments.mid(i);
            break;
        }
        if (i == 0 || !argument.startsWith(u'-')) {
            ours << argument;
            continue;
        }
        // The toolkit reads "-style" and "--style" alike.
        const QString name = argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1);
        if (kToolkitFlags.contains(name))
            continue;
        if (kToolkitOptionsWithValue.contains(name) && i + 1 < arguments.size()) {
            ++i;
            continue;
        }
        const qsizetype equals = name.indexOf(u'=');
        if (equals > 0 && kToolkitOptionsWithJoinedValue.contains(name.left(equals)))
            continue;
        ours << argument;
    }
    return ours;
}

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(tr("Keeps your notes in one tree of rich-text pages.\n\n"
                                        "When the application is already running on the same data folder, "
                                        "the files and clippings are handed to it, and this start waits until "
                                        "it has carried them out.\n\n"
                                        "The toolkit's own options, such as -style NAME, -platform NAME and "
                                        "-reverse, are understood as well."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption selfTest(
        QStringLiteral("self-test"), tr("Start, show the main window, check it and quit."));
    const QCommandLineOption measureStartup(QStringLiteral("measure-startup"),
        tr("Start, print the milliseconds from the start of the process until the first window is painted, "
           "and quit."));
    const QCommandLineOption clipText(
        QStringLiteral("clip-text"), tr("Make a clipping page of TEXT."), QStringLiteral("TEXT"));
    const QCommandLineOption clipUrl(QStringLiteral("clip-url"), tr("Make a web clip of URL."), QStringLiteral("URL"));
    const QCommandLineOption clipFile(QStringLiteral("clip-file"),
        tr("Make a clipping page of FILE (plain text, RTF or RTFD)."), QStringLiteral("FILE"));
    const QCommandLineOption exportFormat(QStringLiteral("export"),
        tr("Write pages to OUT in FORMAT, one of: %1. Without a running application the data folder is "
           "read and nothing is shown.")
            .arg(ExportFormat::names().join(QLatin1String(", "))),
        QStringLiteral("FORMAT"));
    const QCommandLineOption exportPage(
        QStringLiteral("page"), tr("With --export: the page, with its subtree, to write."), QStringLiteral("ID"));
    const QCommandLineOption exportAll(
        QStringLiteral("all"), tr("With --export: every page, into the folder OUT (the formats ending in \"-tree\")."));
    const QCommandLineOption import(QStringLiteral("import"),
        tr("Import the files and folders given as arguments into the data folder. Without a running "
           "application nothing is shown."));
    const QCommandLineOption importParent(QStringLiteral("parent"),
        tr("With --import: the page to import below, instead of the top level."), QStringLiteral("ID"));
    const QCommandLineOption importLegacy(QStringLiteral("import-legacy"),
        tr("Import the pages of the earlier version from its preferences file PREFS and its folder of texts "
           "FOLDER, given as arguments (FOLDER may be left out)."));
    parser.addOptions({selfTest, measureStartup, clipText, clipUrl, clipFile, exportFormat, exportPage, exportAll,
        import, importParent, importLegacy});
    parser.addPositionalArgument(QStringLiteral("files"),
        tr("Files or folders to import, or page links (Jotwell3://pageid/ID/) to open."),
        QStringLiteral("[files or links...]"));
    parser.process(withoutToolkitOptions(arguments));

    CommandLine options;
    options.selfTest = parser.isSet(selfTest);
    options.measureStartup = parser.isSet(measureStartup);
    if (parser.isSet(clipText))
        options.request.clipText = parser.value(clipText).isNull() ? QStringLiteral("") : parser.value(clipText);
    options.request.clipURL = parser.value(clipUrl);
    options.request.clipFile = absolute(parser.value(clipFile));
    if (parser.isSet(exportFormat)) {
        const auto refuse = [](const QString &message) {
            QTextStream(stderr) << message << Qt::endl;
            std::exit(2);
        };
        if (!options.request.isEmpty() || options.selfTest || options.measureStartup || parser.isSet(import)
            || parser.isSet(importLegacy))
            refuse(tr("--export is given alone, with --page or --all and the path to write."));
        options.request.exportFormat = parser.value(exportFormat);
        if (!ExportFormat::fromName(options.request.exportFormat)) {
            refuse(tr("Unknown export format \"%1\"; the formats are: %2")
                       .arg(options.request.exportFormat, ExportFormat::names().join(QLatin1String(", "))));
        }
        bool number = false;
        options.request.exportPageID = parser.value(exportPage).toLongLong(&number);
        options.request.exportAll = parser.isSet(exportAll);
        if (parser.isSet(exportPage) == options.request.exportAll || (parser.isSet(exportPage) && !number))
            refuse(tr("--export needs either --page ID (a number) or --all."));
        if (parser.positionalArguments().size() != 1)
            refuse(tr("--export needs one path to write to, after the options."));
        options.request.exportPath = absolute(parser.positionalArguments().constFirst());
        return options;
    }
    if (parser.isSet(importLegacy)) {
        const QStringList given = parser.positionalArguments();
        if (!options.request.isEmpty() || options.selfTest || options.measureStartup || parser.isSet(import)
            || parser.isSet(exportPage) || parser.isSet(exportAll) || parser.isSet(importParent) || given.isEmpty()
            || given.size() > 2) {
            QTextStream(stderr) << tr("--import-legacy is given alone, with the preferences file and, if there is "
                                      "one, the folder of texts.")
                                << Qt::endl;
            std::exit(2);
        }
        options.request.legacyPreferencesPath = localPath(given.constFirst());
        if (given.size() == 2)
            options.request.legacyTextFolder = localPath(given.constLast());
        return options;
    }
    if (parser.isSet(import)) {
        const auto refuse = [](const QString &message) {
            QTextStream(stderr) << message << Qt::endl;
            std::exit(2);
        };
        if (!options.request.isEmpty() || options.selfTest || options.measureStartup || parser.isSet(exportPage)
            || parser.isSet(exportAll))
            refuse(tr("--import is given alone, with --parent and the paths to import."));
        if (parser.positionalArguments().isEmpty())
            refuse(tr("--import needs the files or folders to import, after the options."));
        if (parser.isSet(importParent)) {
            bool number = false;
            options.request.importParentID = parser.value(importParent).toLongLong(&number);
            if (!number || options.request.importParentID <= 0)
                refuse(tr("--parent needs the ID of a page (a positive number)."));
        }
        for (const QString &argument : parser.positionalArguments())
            options.request.importPaths << localPath(argument);
        return options;
    }
    if (parser.isSet(importParent)) {
        QTextStream(stderr) << tr("--parent goes with --import.") << Qt::endl;
        std::exit(2);
    }
    if (parser.isSet(exportPage) || parser.isSet(exportAll)) {
        QTextStream(stderr) << tr("--page and --all go with --export.") << Qt::endl;
        std::exit(2);
    }
    for (const QString &argument : parser.positionalArguments()) {
        if (isPageLinkArgument(argument))
            options.request.linksToOpen << argument;
        else
            options.request.filesToOpen << localPath(argument);
    }
    return options;
}
