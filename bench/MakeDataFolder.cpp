// jw-make-data-folder: writes a large, realistic data folder for benchmarks
// and for trying the application on years' worth of pages.
//
//     jw-make-data-folder OUT [--pages N] [--text-bytes B] [--seed S]
//
// It runs as a user of its own (throw-away XDG folders), so the preferences
// of whoever runs it are never read or changed.
#include "DataFolderGenerator.h"

#include "common/FreshHome.h"
#include "platform/settings/UserDefaults.h"

#include <QCommandLineParser>
#include <QDir>
#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <QTextStream>

#include <cstdio>
#include <limits>
#include <optional>

namespace {

constexpr int kUsageError = 2;

QTextStream &err()
{
    static QTextStream stream(stderr);
    return stream;
}

// The option's value as a whole number from @p low to @p high, or nothing after saying why.
std::optional<qint64> numberOption(const QCommandLineParser &parser, const QString &name, qint64 low, qint64 high)
{
    const QString text = parser.value(name).trimmed();
    bool ok = false;
    const qint64 value = text.toLongLong(&ok);
    if (!ok || value < low || value > high) {
        err() << "jw-make-data-folder: --" << name << " must be a whole number from " << low << " to " << high
              << ", not \"" << parser.value(name) << "\"\n";
        return std::nullopt;
    }
    return value;
}

QString megabytes(qint64 bytes)
{
    return QString::number(double(bytes) / 1e6, 'f', 1) + QStringLiteral(" MB");
}

QString seconds(qint64 milliseconds)
{
    return QString::number(double(milliseconds) / 1000.0, 'f', 1) + QStringLiteral(" s");
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Before anything reads the preferences: the tool's own, thrown away at the end.
    QTemporaryDir home;
    if (!home.isValid()) {
        err() << "jw-make-data-folder: no temporary folder for the preferences: " << home.errorString() << '\n';
        return 1;
    }
    useFreshHome(home.path());
    if (qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR"))
        qputenv("XDG_RUNTIME_DIR", home.path().toLocal8Bit()); // private to this user, as it must be

    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("jw-make-data-folder"));

    const DataFolderGenerator::Options defaults;
    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral(
        "Writes a data folder with a large tree of realistic pages into OUT, which must not hold one already."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("OUT"), QStringLiteral("The data folder to write (made if missing)."));
    parser.addOption(
        {QStringLiteral("pages"), QStringLiteral("Pages in all, the root included (default %1).").arg(defaults.pages),
            QStringLiteral("N"), QString::number(defaults.pages)});
    parser.addOption({QStringLiteral("text-bytes"),
        QStringLiteral("Mean size of a page's rich text in bytes (default %1).").arg(defaults.textBytes),
        QStringLiteral("B"), QString::number(defaults.textBytes)});
    parser.addOption(
        {QStringLiteral("seed"), QStringLiteral("Seed of the pseudo-random choices (default %1).").arg(defaults.seed),
            QStringLiteral("S"), QString::number(defaults.seed)});
    parser.process(app);

    const QStringList positional = parser.positionalArguments();
    if (positional.size() != 1) {
        err() << "jw-make-data-folder: give exactly one data folder to write (see --help)\n";
        return kUsageError;
    }
    const auto pages = numberOption(parser, QStringLiteral("pages"), 1, 1'000'000);
    const auto textBytes = numberOption(parser, QStringLiteral("text-bytes"), 0, 10'000'000);
    const auto seed = numberOption(parser, QStringLiteral("seed"), 0, std::numeric_limits<quint32>::max());
    if (!pages || !textBytes || !seed)
        return kUsageError;

    const QString out = QDir(positional.first()).absolutePath();
    QElapsedTimer timer;
    timer.start();
    DataFolderGenerator generator({int(*pages), int(*textBytes), quint32(*seed)});
    const auto written = generator.writeFolder(out);
    const qint64 elapsed = timer.elapsed();
    // Written now, while the throw-away folder still exists.
    UserDefaults::resetStandardUserDefaults();
    if (!written) {
        err() << "jw-make-data-folder: " << written.errorMessage() << '\n';
        return 1;
    }

    const DataFolderGenerator::Summary &s = written.value();
    QTextStream report(stdout);
    report << "Wrote " << s.pages << " pages to " << out << '\n'
           << "  " << s.depth << " levels below the root; " << s.webClips << " web clips, " << s.protectedPages
           << " protected, " << s.plainTextPages << " plain-text pages, " << s.pagesWithPicture << " with a picture\n"
           << "  pages per level:";
    for (int level = 0; level <= s.depth; ++level)
        report << ' ' << s.pagesAtLevel[level];
    report << '\n'
           << "  rich text " << megabytes(s.textBytes) << "; " << s.pageFiles << " page files, "
           << megabytes(s.pageFileBytes) << "; data store " << megabytes(s.dataStoreBytes) << '\n'
           << "Took " << seconds(elapsed) << " (making the tree " << seconds(s.buildMilliseconds) << ", saving "
           << seconds(s.writeMilliseconds) << ")\n";
    return 0;
}
