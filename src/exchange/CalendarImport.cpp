#include "CalendarImport.h"

#include "ExchangeLog.h"

#include "model/JWMemo.h"
#include "model/MemoCreation.h"
#include "platform/base/FileContents.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextConverter.h"
#include "text/TextExport.h"
#include "util/StringMarkers.h"
#include "util/StringUtility.h"

#include <QFileInfo>
#include <QStringDecoder>
#include <QTextDocument>

namespace CalendarImport {

std::optional<CalendarEvent> firstEvent(const QString &text)
{
    const QString lines = StringUtility::replaceReturnCode(text);
    const std::optional<QString> description
        = StringUtility::substringFrom(lines, QStringLiteral("DESCRIPTION:"), QStringLiteral("\nEND:"));
    const std::optional<QString> summary
        = StringUtility::substringFrom(lines, QStringLiteral("SUMMARY:"), QStringLiteral("\n"));
    if (!description && !summary)
        return std::nullopt;

    CalendarEvent event;
    event.title = summary.value_or(QString());
    if (description) {
        // The "\n" escapes go without a trace rather than becoming line
        // breaks: the body is HTML, where line breaks are markup.
        QString body = StringUtility::removeString(*description, localizedString(QStringLiteral("icsReturnCode")));
        body = StringUtility::removeString(body, QStringLiteral("\\n"));
        event.body = StringUtility::removeString(body, QStringLiteral("\\"));
    }
    return event;
}

QString plainStringOfHtml(const QString &html)
{
    TextConverter converter;
    converter.document().setHtml(html);
    return converter.plainString();
}

MemoPtr newMemoFrom_ics(const QString &path)
{
    const std::optional<QString> text = StringUtility::stringFromUTF8DataFilePath(path);
    if (!text) {
        qCWarning(lcExchange) << "The calendar file" << path << "cannot be read as UTF-8";
        return nullptr;
    }
    const std::optional<CalendarEvent> event = firstEvent(*text);
    if (!event) {
        qCWarning(lcExchange) << "The calendar file" << path << "holds no event";
        return nullptr;
    }

    const QString string = plainStringOfHtml(event->body);
    TextConverter converter;
    converter.setString(string);
    MemoPtr memo = JWMemo::memo();
    memo->setMemoData(converter.RTFDData());
    memo->setPlainText(string);
    if (!event->title.isEmpty())
        memo->setTitle(event->title);
    else if (!string.isEmpty())
        memo->setTitle(JWMemo::titleFromText(string));
    memo->setIsEdited(true);
    return memo;
}

MemoPtr memoFromHtml(const QByteArray &html)
{
    QStringDecoder decoder = QStringDecoder::decoderForHtml(html);
    if (!decoder.isValid())
        decoder = QStringDecoder(QStringDecoder::Utf8);
    QTextDocument document;
    document.setHtml(decoder.decode(html));
    return MemoCreation::initWithRTFD(TextExport::RTFDData(document));
}

MemoPtr newMemoFrom_html(const QString &path)
{
    const Result<QByteArray> data = FileContents::read(path);
    if (!data) {
        qCWarning(lcExchange) << "Cannot read the HTML file:" << data.errorMessage();
        return nullptr;
    }
    MemoPtr memo = memoFromHtml(data.value());
    if (!memo)
        return nullptr;
    memo->setMemoTitleIfNeeded(QFileInfo(path).completeBaseName());
    return memo;
}

} // namespace CalendarImport
