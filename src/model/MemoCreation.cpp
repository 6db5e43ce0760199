#include "MemoCreation.h"

#include "JWMemo.h"
#include "ModelLog.h"

#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"
#include "util/StringUtility.h"

namespace {

std::function<void(const MemoPtr &)> &downloadStarter()
{
    static std::function<void(const MemoPtr &)> starter;
    return starter;
}

bool useTopLineAsTitle()
{
    return UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle);
}

// One line that starts like a web address; what a user pastes to clip a page.
bool isWebAddress(const QString &text)
{
    return text.startsWith(QLatin1StringView("http")) && text.contains(QLatin1StringView("://"))
        && !StringUtility::replaceReturnCode(text).contains(u'\n');
}

// The page for a text that is not an address.
MemoPtr memoWithText(const QString &text)
{
    TextConverter converter;
    converter.setString(text);
    MemoPtr memo = JWMemo::memo();
    memo->setMemoData(converter.RTFDData());
    const QString string = converter.plainString();
    memo->setPlainText(string);
    if (useTopLineAsTitle())
        memo->setTitle(converter.topLine());
    else if (!string.isEmpty())
        memo->setTitle(JWMemo::titleFromText(string));
    // The plain-text flag keeps the default the new page was given.
    memo->setIsEdited(true);
    return memo;
}

} // namespace

namespace MemoCreation {

MemoPtr initWithString(const QString &text)
{
    if (isWebAddress(text)) {
        const QUrl url(text, QUrl::StrictMode);
        if (!url.isValid())
            qCWarning(lcModel) << "Not a valid web address:" << text;
        return initWithURL(url);
    }
    return memoWithText(text);
}

MemoPtr initWithString(const QByteArray &data)
{
    const std::optional<QString> text = StringUtility::stringWithContentsOfDataByAutoDetectingEncoding(data);
    if (!text) {
        qCWarning(lcModel) << "The text is in no encoding known here";
        return nullptr;
    }
    return memoWithText(*text);
}

MemoPtr initWithRTF(const QByteArray &rtf)
{
    TextConverter converter;
    if (const Status read = converter.setRTFData(rtf); !read) {
        qCWarning(lcModel) << "Cannot read the RTF text:" << read.errorMessage();
        return nullptr;
    }
    MemoPtr memo = JWMemo::memo();
    memo->setMemoData(converter.RTFDData());
    const QString string = converter.plainString();
    memo->setPlainText(string);
    memo->setIsPlainTextMemo(false);
    if (!string.isEmpty())
        memo->setTitle(JWMemo::titleFromText(string));
    memo->setIsEdited(true);
    return memo;
}

MemoPtr initWithRTFD(const QByteArray &rtfd)
{
    TextConverter converter;
    if (const Status read = converter.setRTFDData(rtfd); !read) {
        qCWarning(lcModel) << "Cannot read the RTFD text:" << read.errorMessage();
        return nullptr;
    }
    MemoPtr memo = JWMemo::memo();
    memo->setMemoData(rtfd);
    memo->setIsPlainTextMemo(false);
    const QString string = converter.plainString();
    memo->setPlainText(string);
    // One character is not enough for a title here (unlike RTF): an RTFD
    // text that is a single picture would otherwise be titled by it.
    if (string.size() > 1)
        memo->setTitle(JWMemo::titleFromText(string));
    memo->setIsEdited(true);
    return memo;
}

MemoPtr initWithURL(const QUrl &url)
{
    if (url.isEmpty() || !url.isValid())
        return nullptr;
    MemoPtr memo = JWMemo::memo();
    memo->setWebURLStr(url.toString(QUrl::FullyEncoded));
    memo->setIsEdited(false);
    if (const auto &start = downloadStarter())
        start(memo);
    return memo;
}

void setWebClipDownloadStarter(std::function<void(const MemoPtr &)> starter)
{
    downloadStarter() = std::move(starter);
}

} // namespace MemoCreation
