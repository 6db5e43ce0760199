#include "CommandLine.h"

#include <QCommandLineParser>
#include <QCoreApplication>

CommandLine CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QCoreApplication::translate("CommandLine", "Keeps your notes in one tree of rich-text pages."));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption selfTest(
        QStringLiteral("self-test"),
        QCoreApplication::translate("CommandLine", "Start, show the main window, check it and quit."));
    parser.addOption(selfTest);
    parser.process(arguments);

    CommandLine options;
    options.selfTest = parser.isSet(selfTest);
    return options;
}
