#include "ImportFileTypes.h"

#include <QImageReader>

namespace ImportFileTypes {

const QStringList &fixedFileTypes()
{
    static const QStringList types{QStringLiteral("jw3page"), QStringLiteral("jw2note"), QStringLiteral("jw2"),
        QStringLiteral("jw3book"), QStringLiteral("rtf"), QStringLiteral("rtfd"), QStringLiteral("doc"),
        QStringLiteral("opml"), QStringLiteral("ics")};
    return types;
}

const QStringList &plaintextFileTypes()
{
    static const QStringList types{QStringLiteral("txt"), QStringLiteral("h"), QStringLiteral("m"), QStringLiteral("c"),
        QStringLiteral("mm"), QStringLiteral("cpp"), QStringLiteral("c++"), QStringLiteral("cxx"), QStringLiteral("cp"),
        QStringLiteral("cc"), QStringLiteral("hh"), QStringLiteral("h++"), QStringLiteral("hpp"), QStringLiteral("hp"),
        QStringLiteral("hxx"), QStringLiteral("java"), QStringLiteral("jav"), QStringLiteral("css"),
        QStringLiteral("js"), QStringLiteral("php"), QStringLiteral("php3"), QStringLiteral("cgi"),
        QStringLiteral("rb"), QStringLiteral("sh")};
    return types;
}

const QStringList &htmlFileTypes()
{
    static const QStringList types{QStringLiteral("html"), QStringLiteral("htm"), QStringLiteral("shtml")};
    return types;
}

const QStringList &imageFileTypes()
{
    static const QStringList types = [] {
        QStringList found;
        for (const QByteArray &format : QImageReader::supportedImageFormats()) {
            const QString type = QString::fromLatin1(format).toLower();
            if (!found.contains(type))
                found.append(type);
        }
        return found;
    }();
    return types;
}

const QStringList &importableFileTypes()
{
    static const QStringList types = [] {
        QStringList all = fixedFileTypes() + plaintextFileTypes() + htmlFileTypes();
        for (const QString &type : imageFileTypes()) {
            if (!all.contains(type))
                all.append(type);
        }
        return all;
    }();
    return types;
}

bool isImportable(const QString &extension)
{
    return importableFileTypes().contains(extension.toLower());
}

} // namespace ImportFileTypes
