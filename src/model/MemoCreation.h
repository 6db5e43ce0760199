#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <functional>
#include <memory>

class JWMemo;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * New pages made from text in the forms it arrives in: a string, the bytes
 * of a text file, RTF, RTFD, or the address of a web page.
 *
 * Each answers a new page marked edited (a web clip excepted, see
 * initWithURL) or null when the input cannot be read. A page takes its ID
 * only once its input has been read, so failures use up no IDs.
 */
namespace MemoCreation {

/**
 * A page with @p text as its text. A single line that starts with "http" and
 * holds "://" is an address: the page becomes a web clip (initWithURL), or
 * null if the address is not a valid URL.
 *
 * The title is the text's top line when "UseTopLineAsTitle" is on; otherwise
 * it stays "Untitled" for an empty text and is the first line, cut to 15
 * characters, for any other.
 */
[[nodiscard]] MemoPtr initWithString(const QString &text);

/**
 * A page with the text of the file contents @p data, whose encoding is
 * guessed (StringUtility::stringWithContentsOfDataByAutoDetectingEncoding).
 * Titled like initWithString(const QString &), but never a web clip. Null
 * when the bytes decode in no known encoding.
 */
[[nodiscard]] MemoPtr initWithString(const QByteArray &data);

/**
 * A rich-text page from @p rtf; titled by its first line when the text is
 * not empty. Null when the RTF cannot be read.
 */
[[nodiscard]] MemoPtr initWithRTF(const QByteArray &rtf);

/**
 * A rich-text page that keeps @p rtfd (flattened RTFD, or RTF) as it is.
 * Titled by its first line only when the text has more than one character,
 * so that a lone attachment or character leaves "Untitled". Null when the
 * data cannot be read.
 */
[[nodiscard]] MemoPtr initWithRTFD(const QByteArray &rtfd);

/**
 * A web clip of @p url: an empty page whose webURLStr is the URL's full
 * (encoded) form, not marked edited, since nothing of it needs saving until
 * the page arrives. Then the download starter, if one is set, is called with
 * the page to fetch it. Null for an invalid or empty URL.
 */
[[nodiscard]] MemoPtr initWithURL(const QUrl &url);

/**
 * Sets what initWithURL calls to start downloading a new clip's page; the
 * web-clipping layer installs it at start-up. Without one (the default, and
 * after passing an empty function) clips are made but nothing is fetched.
 */
void setWebClipDownloadStarter(std::function<void(const MemoPtr &)> starter);

} // namespace MemoCreation
