// jw-archive: looks into the application's archive formats.
//   jw-archive dump [--format plist|typedstream|keyed] FILE
//   jw-archive convert --to xml|binary IN OUT
//   jw-archive text [--html] [--attachments DIR] FILE
#include "ArchiveTool.h"

#include <QCommandLineParser>
#include <QFile>
#include <QGuiApplication>
#include <QTextStream>

namespace {

int fail(const QString &message)
{
    QTextStream(stderr) << "jw-archive: " << message << Qt::endl;
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // Texts need fonts, hence a GUI application; the tool never shows a window.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("jw-archive"));
    QCoreApplication::setApplicationVersion(QStringLiteral(JW_VERSION));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Shows property lists, typed streams and keyed archives as JSON, and converts property lists.\n\n"
        "  dump FILE            print FILE as indented JSON\n"
        "  convert IN OUT       rewrite the property list IN as OUT (needs --to)\n"
        "  text FILE            print the text of an RTF file, RTFD folder, flattened RTFD or page file"));
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption formatOption(QStringLiteral("format"),
        QStringLiteral("Read FILE as <format>: plist, typedstream or keyed."), QStringLiteral("format"));
    const QCommandLineOption toOption(
        QStringLiteral("to"), QStringLiteral("Convert to <form>: xml or binary."), QStringLiteral("form"));
    const QCommandLineOption htmlOption(
        QStringLiteral("html"), QStringLiteral("text: print the formatted text as HTML."));
    const QCommandLineOption attachmentsOption(QStringLiteral("attachments"),
        QStringLiteral("text: write the attachments into <folder>."), QStringLiteral("folder"));
    parser.addOption(formatOption);
    parser.addOption(toOption);
    parser.addOption(htmlOption);
    parser.addOption(attachmentsOption);
    parser.addPositionalArgument(QStringLiteral("command"), QStringLiteral("dump, convert or text"));
    parser.process(app);

    const QStringList arguments = parser.positionalArguments();
    const QString command = arguments.value(0);
    if (command == QLatin1String("dump") && arguments.size() == 2) {
        auto format = ArchiveTool::formatFromName(parser.value(formatOption));
        if (!format)
            return fail(format.errorMessage());
        auto json = ArchiveTool::dump(arguments[1], format.value());
        if (!json)
            return fail(json.errorMessage());
        QTextStream(stdout) << json.value();
        return 0;
    }
    if (command == QLatin1String("convert") && arguments.size() == 3 && parser.isSet(toOption)) {
        const Status converted = ArchiveTool::convert(arguments[1], parser.value(toOption), arguments[2]);
        return converted ? 0 : fail(converted.errorMessage());
    }
    if (command == QLatin1String("text") && arguments.size() == 2) {
        const auto form = parser.isSet(htmlOption) ? ArchiveTool::TextForm::Html : ArchiveTool::TextForm::Plain;
        auto text = ArchiveTool::text(arguments[1], form, parser.value(attachmentsOption));
        if (!text)
            return fail(text.errorMessage());
        QFile out;
        if (!out.open(stdout, QIODevice::WriteOnly) || out.write(text.value()) != text.value().size())
            return fail(QStringLiteral("Cannot write the text"));
        return 0;
    }
    QTextStream(stderr) << parser.helpText();
    return 2;
}
