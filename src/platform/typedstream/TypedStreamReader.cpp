#include "TypedStreamReader.h"

#include "TypedStreamNodeBuilder.h"
#include "TypedStreamScanner.h"

Result<TypedStreamArchive> TypedStreamReader::read(const QByteArray &bytes)
{
    TypedStreamScanner scanner(bytes);
    if (Status s = scanner.readHeader(); !s)
        return Error{s.errorMessage()};
    TypedStreamArchive archive;
    archive.bigEndian = scanner.bigEndian();
    archive.systemVersion = scanner.systemVersion();
    TypedStreamNodeBuilder builder(scanner);
    if (Status s = builder.readStream(archive.groups); !s)
        return Error{s.errorMessage()};
    archive.objects = builder.objects();
    archive.classVersions = scanner.classVersions();
    return archive;
}
