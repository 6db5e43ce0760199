#include "SampleBook.h"

#include "BookFile.h"
#include "ExchangeLog.h"

#include "model/MemoTree.h"

#include <QString>

// The book is a resource of this static library. Qt registers it at start-up
// only when the linker kept the resource's object file; registering it here,
// before the first read, does not depend on that. (Q_INIT_RESOURCE cannot be
// used inside a namespace.)
static void initSampleBookResource()
{
    static const bool registered = [] {
        Q_INIT_RESOURCE(samplebook);
        return true;
    }();
    (void)registered;
}

namespace SampleBook {

Result<MemoPtr> read()
{
    initSampleBookResource();
    return BookFile::read(QString::fromLatin1(kResourcePath));
}

} // namespace SampleBook

bool importSampleBook(MemoTree &tree, const MemoPtr &parent, qsizetype index)
{
    if (!parent && !tree.root())
        return false; // before reading: the book's pages would take IDs for nothing
    const Result<MemoPtr> book = SampleBook::read();
    if (!book) {
        qCWarning(lcExchange).noquote() << "The sample pages cannot be added:" << book.errorMessage();
        return false;
    }
    return tree.insertNewMemo(book.value(), parent, index);
}
