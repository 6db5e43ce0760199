#pragma once

#include <QLatin1StringView>
#include <QMimeData>
#include <QString>

#include <array>

/**
 * The MIME formats under which the clipboard, drags and the clipping service
 * carry the kinds of data a page can be made from. Besides the usual MIME
 * names, the names older programs wrote for the same data are recognised, so
 * that data handed over by them is understood too.
 */
namespace PasteboardTypes {

/** A list of URLs, one per line (what QMimeData::hasUrls() looks for). */
inline constexpr QLatin1StringView URL{"text/uri-list"};

/** Plain text (what QMimeData::hasText() looks for). */
inline constexpr QLatin1StringView String{"text/plain"};

/** Our own name for flattened RTFD. */
inline constexpr QLatin1StringView RTFD{"text/rtfd"};
/** Every name for flattened RTFD, in the order they are looked for. */
inline constexpr std::array<QLatin1StringView, 3> RTFDTypes{
    RTFD,
    QLatin1StringView{"NeXT RTFD pasteboard type"},
    QLatin1StringView{"com.apple.flat-rtfd"},
};

/** The MIME name of RTF. */
inline constexpr QLatin1StringView RTF{"text/rtf"};
/** Every name for RTF, in the order they are looked for. */
inline constexpr std::array<QLatin1StringView, 4> RTFTypes{
    RTF,
    QLatin1StringView{"application/rtf"},
    QLatin1StringView{"public.rtf"},
    QLatin1StringView{"NeXT Rich Text Format v1.0 pasteboard type"},
};

/** The first of @p formats that @p data holds, or an empty string. */
template<typename Formats> [[nodiscard]] QString firstFormat(const QMimeData &data, const Formats &formats)
{
    for (const QLatin1StringView format : formats) {
        if (data.hasFormat(format))
            return format;
    }
    return {};
}

} // namespace PasteboardTypes
