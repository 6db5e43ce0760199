#include "DocConverter.h"

#include "ExchangeLog.h"

#include "platform/base/FileContents.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QUrl>

namespace DocConverter {
namespace {

constexpr int kTimeoutMilliseconds = 60'000;

QString tr(const char *text)
{
    return QCoreApplication::translate("DocConverter", text);
}

bool isLibreOffice(const QString &program)
{
    const QString name = QFileInfo(program).fileName();
    return name == QLatin1String("soffice") || name == QLatin1String("libreoffice");
}

} // namespace

QString converterProgram()
{
    for (const char *name : {"soffice", "libreoffice", "wvHtml"}) {
        const QString found = QStandardPaths::findExecutable(QString::fromLatin1(name));
        if (!found.isEmpty())
            return found;
    }
    return {};
}

Result<QByteArray> htmlOfDocument(const QString &path)
{
    const QString program = converterProgram();
    if (program.isEmpty())
        return Error{tr("Word documents are read with the package \"wv\" or \"libreoffice-writer\"; "
                        "install one of them")};
    QTemporaryDir work;
    if (!work.isValid())
        return Error{tr("No temporary folder for the conversion: %1").arg(work.errorString())};

    const QString source = QFileInfo(path).absoluteFilePath();
    QString output;
    QStringList arguments;
    if (isLibreOffice(program)) {
        // A profile of its own: a running LibreOffice of the user would
        // otherwise take the job, or block it.
        arguments = {QStringLiteral("-env:UserInstallation=")
                + QUrl::fromLocalFile(work.filePath(QStringLiteral("profile"))).toString(),
            QStringLiteral("--headless"), QStringLiteral("--convert-to"), QStringLiteral("html"),
            QStringLiteral("--outdir"), work.path(), source};
        output = work.filePath(QFileInfo(source).completeBaseName() + QStringLiteral(".html"));
    } else {
        arguments = {QStringLiteral("--targetdir=") + work.path(), source, QStringLiteral("document.html")};
        output = work.filePath(QStringLiteral("document.html"));
    }

    QProcess converter;
    converter.setWorkingDirectory(work.path());
    converter.setProcessChannelMode(QProcess::MergedChannels);
    converter.start(program, arguments);
    if (!converter.waitForStarted())
        return Error{tr("%1 could not be started: %2").arg(program, converter.errorString())};
    if (!converter.waitForFinished(kTimeoutMilliseconds)) {
        converter.kill();
        converter.waitForFinished();
        return Error{tr("%1 took longer than a minute and was stopped").arg(QFileInfo(program).fileName())};
    }
    const QByteArray messages = converter.readAll().trimmed();
    if (converter.exitStatus() != QProcess::NormalExit || converter.exitCode() != 0 || !QFileInfo::exists(output)) {
        qCWarning(lcExchange) << program << "could not convert" << source << ":" << messages;
        return Error{tr("%1 cannot read it as a Word document").arg(QFileInfo(program).fileName())};
    }
    return FileContents::read(output);
}

} // namespace DocConverter
