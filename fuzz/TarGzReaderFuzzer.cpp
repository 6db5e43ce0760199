// Backup archives come from wherever a user found them: any bytes must be
// refused cleanly or unpacked inside the folder given, never crash, hang or
// write elsewhere.
#include "exchange/TarGzReader.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QTemporaryDir>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static const bool quiet = [] {
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
        return true;
    }();
    (void)quiet;

    QTemporaryDir work;
    const QString input = work.filePath(QStringLiteral("in.tar.gz"));
    QFile file(input);
    if (!file.open(QIODevice::WriteOnly)
        || file.write(reinterpret_cast<const char *>(data), qint64(size)) != qint64(size))
        return 0;
    file.close();

    (void)TarGzReader::forEachEntry(input, [](const QString &, struct archive *in, archive_entry *) {
        return TarGzReader::readEntryData(in, [](const char *, size_t) { return Status(); });
    });

    const QString folder = work.filePath(QStringLiteral("out"));
    QDir().mkdir(folder);
    (void)TarGzReader::unpack(input, folder);
    // Nothing lands beside the folder it was unpacked into.
    const QStringList beside = QDir(work.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    if (beside != QStringList({QStringLiteral("in.tar.gz"), QStringLiteral("out")})) {
        std::fprintf(stderr, "targz-reader fuzzer: an entry was written outside its folder\n");
        std::abort();
    }
    return 0;
}
