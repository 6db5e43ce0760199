#include "CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFileInfo>

namespace {

QString tr(const char *text)
{
    return QCoreApplication::translate("CommandLine", text);
}

QString absolute(const QString &path)
{
    return path.isEmpty() ? path : QFileInfo(path).absoluteFilePath();
}

// Page links arrive from the desktop's URL handler; the scheme's case is
// whatever the other program wrote.
bool isPageLinkArgument(const QString &argument)
{
    return argument.startsWith(QLatin1String("jotwell3:"), Qt::CaseInsensitive);
}

} // namespace

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(tr("Keeps your notes in one tree of rich-text pages.\n\n"
                                        "When the application is already running on the same data folder, "
                                        "the files and clippings are handed to it."));
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
    parser.addOptions({selfTest, measureStartup, clipText, clipUrl, clipFile});
    parser.addPositionalArgument(QStringLiteral("files"), tr("Files or page links (Jotwell3://pageid/ID/) to open."),
        QStringLiteral("[files or links...]"));
    parser.process(arguments);

    CommandLine options;
    options.selfTest = parser.isSet(selfTest);
    options.measureStartup = parser.isSet(measureStartup);
    if (parser.isSet(clipText))
        options.request.clipText = parser.value(clipText).isNull() ? QStringLiteral("") : parser.value(clipText);
    options.request.clipURL = parser.value(clipUrl);
    options.request.clipFile = absolute(parser.value(clipFile));
    for (const QString &argument : parser.positionalArguments()) {
        if (isPageLinkArgument(argument))
            options.request.linksToOpen << argument;
        else
            options.request.filesToOpen << absolute(argument);
    }
    return options;
}
