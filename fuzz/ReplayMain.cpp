// Runs a fuzz target once over every file in the folders (or files) given,
// for builds without libFuzzer. A crash or a sanitizer report fails the run.
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QTextStream>

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

bool runFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        QTextStream(stderr) << "cannot read " << path << Qt::endl;
        return false;
    }
    const QByteArray bytes = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        const QString path = QFile::decodeName(argv[i]);
        if (QFileInfo(path).isDir()) {
            QDirIterator it(path, QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                if (!runFile(it.next()))
                    return 1;
                ++files;
            }
        } else {
            if (!runFile(path))
                return 1;
            ++files;
        }
    }
    QTextStream(stdout) << "ran " << files << " inputs" << Qt::endl;
    return files > 0 ? 0 : 1;
}
