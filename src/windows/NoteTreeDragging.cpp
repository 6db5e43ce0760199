// The outline's drags and drops: rows go out as page IDs plus the first
// page's text; rows, rich text, files, URLs and text come in as moved,
// copied or new pages.

#include "NoteTreeController.h"

#include "NoteTreeHost.h"
#include "NoteTreeWindow.h"
#include "WindowsLog.h"
#include "model/JWMemo.h"
#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/richtext/PasteboardTypes.h"
#include "platform/archive/PropertyList.h"
#include "text/TextExport.h"

#include <QFileInfo>
#include <QMimeData>
#include <QSet>
#include <QTextDocument>
#include <QTimer>

#include <optional>

namespace {

// The page IDs a row drag carries; empty when the data are not a list of IDs.
std::optional<QList<qint64>> draggedIDs(const QMimeData &data)
{
    const Result<QVariant> list = PropertyList::fromData(data.data(NoteTreeController::dragRowTypeName()));
    if (!list || list.value().typeId() != QMetaType::QVariantList)
        return std::nullopt;
    QList<qint64> ids;
    for (const QVariant &value : list.value().toList()) {
        bool isNumber = false;
        const qint64 id = value.toLongLong(&isNumber);
        if (!isNumber || value.typeId() == QMetaType::QString)
            return std::nullopt;
        ids.append(id);
    }
    return ids;
}

QStringList localFiles(const QMimeData &data)
{
    QStringList files;
    for (const QUrl &url : data.urls()) {
        if (url.isLocalFile())
            files.append(url.toLocalFile());
    }
    return files;
}

QUrl firstRemoteUrl(const QMimeData &data)
{
    for (const QUrl &url : data.urls()) {
        if (url.isValid() && !url.isLocalFile())
            return url;
    }
    return {};
}

} // namespace

QString NoteTreeController::dragRowTypeName()
{
    return QStringLiteral("JW3NoteRowType");
}

QStringList NoteTreeController::dragMimeTypes()
{
    return {
        dragRowTypeName(), PasteboardTypes::String, PasteboardTypes::RTF, PasteboardTypes::RTFD, PasteboardTypes::URL};
}

QMimeData *NoteTreeController::writeItems(const QList<MemoPtr> &memos) const
{
    auto *data = new QMimeData;
    QVariantList ids;
    for (const MemoPtr &memo : memos)
        ids.append(memo->memoID());
    if (const Result<QByteArray> plist = PropertyList::toData(ids, PropertyList::Format::Xml))
        data->setData(dragRowTypeName(), plist.value());

    // Only the first page goes out as text; a page behind its password goes
    // out as its ID alone.
    const MemoPtr &first = memos.value(0);
    if (!first || (first->protectWithPassword() && !first->unlockedPassword()))
        return data;
    const QByteArray rtfd = first->memoData();
    QTextDocument document;
    if (TextExport::setRTFDData(document, rtfd)) {
        data->setData(PasteboardTypes::RTF, TextExport::RTFData(document));
        data->setData(PasteboardTypes::RTFD, rtfd);
    }
    data->setText(first->plainText());
    return data;
}

bool NoteTreeController::isDragHoverArmed() const
{
    return m_timer && m_timer->isActive();
}

void NoteTreeController::invalidateTimer()
{
    if (m_timer) {
        m_timer->stop();
        m_timer->deleteLater();
    }
    m_timer = nullptr;
}

void NoteTreeController::changeSelection()
{
    if (m_timer)
        m_timer->deleteLater();
    m_timer = nullptr;
    setSelection(m_dragTarget);
}

Qt::DropAction NoteTreeController::validateDrop(
    const QMimeData &data, Qt::DropActions sourceActions, const MemoPtr &item, int childIndex)
{
    // Rows move unless their source allows only copying. What comes from
    // elsewhere is copied whenever the source allows it: a file manager
    // told that its file "moved" would delete the original.
    const bool rows = data.hasFormat(dragRowTypeName());
    const bool copies = rows ? sourceActions == Qt::CopyAction : sourceActions.testFlag(Qt::CopyAction);
    const Qt::DropAction operation = copies ? Qt::CopyAction : Qt::MoveAction;

    if (data.hasFormat(dragRowTypeName())) {
        const std::optional<QList<qint64>> ids = draggedIDs(data);
        if (!ids) {
            m_window.showStatus(tr("The dragged rows cannot be read."));
            return Qt::IgnoreAction;
        }
        // Never into a page's own subtree, the page itself included.
        for (const qint64 id : *ids) {
            const MemoPtr dragged = tree().noteDataWithID(id);
            if (item && dragged && tree().isSubItemOfMemo(item, dragged))
                return Qt::IgnoreAction;
        }
    }

    if (childIndex == -1) {
        if (item == m_dragTarget && isDragHoverArmed())
            return operation;
        m_dragTarget = item;
        invalidateTimer();
        m_timer = new QTimer(this);
        m_timer->setSingleShot(true);
        connect(m_timer, &QTimer::timeout, this, &NoteTreeController::changeSelection);
        m_timer->start(kDragHoverMilliseconds);
        return operation;
    }

    if (!data.hasFormat(dragRowTypeName())) {
        const QStringList files = localFiles(data);
        if (!files.isEmpty()) {
            const QStringList importable = m_host.importableFileTypes();
            for (const QString &file : files) {
                const QFileInfo info(file);
                if (info.isDir() || importable.contains(info.suffix().toLower()))
                    return operation;
            }
            return Qt::IgnoreAction;
        }
    }
    return operation;
}

bool NoteTreeController::acceptDrop(
    const QMimeData &data, Qt::DropActions sourceActions, const MemoPtr &item, int childIndex)
{
    invalidateTimer();
    const MemoPtr parent = item ? item : m_rootMemo;
    if (!parent)
        return false;
    const qsizetype index = childIndex;

    if (data.hasFormat(dragRowTypeName())) {
        const std::optional<QList<qint64>> ids = draggedIDs(data);
        if (!ids) {
            m_window.showStatus(tr("The dragged rows cannot be read."));
            return false;
        }
        QList<MemoPtr> dragged;
        for (const qint64 id : *ids) {
            const MemoPtr memo = tree().noteDataWithID(id);
            // A drop that validation would refuse is refused whole.
            if (memo && tree().isSubItemOfMemo(parent, memo))
                return false;
            if (memo && !dragged.contains(memo))
                dragged.append(memo);
        }
        if (dragged.isEmpty()) {
            m_window.showStatus(tr("The dragged pages are not in this notebook."));
            return false;
        }
        const bool copy = sourceActions == Qt::CopyAction;
        // Every child list the drop changes comes back as a whole on undo.
        m_undoStack.beginMacro(copy ? tr("Copy Pages") : tr("Move Pages"));
        QSet<const JWMemo *> prepared;
        auto prepare = [&](const MemoPtr &memo) {
            if (memo && !prepared.contains(memo.get())) {
                prepared.insert(memo.get());
                tree().prepareUndoForParent(memo, &m_undoStack);
            }
        };
        prepare(parent);
        if (!copy) {
            for (const MemoPtr &memo : std::as_const(dragged))
                prepare(tree().parentOfMemo(memo));
        }
        m_undoStack.endMacro();
        for (const MemoPtr &placed : tree().moveMemos(dragged, parent, index, copy))
            m_window.setEditedIfIsiPhoneMemo(tree().parentOfMemo(placed));
    } else if (const QString rtfd = PasteboardTypes::firstFormat(data, PasteboardTypes::RTFDTypes); !rtfd.isEmpty()) {
        if (!tree().makeNewMemoWithData(data.data(rtfd), MemoTree::MemoDataType::RTFD, parent, index)) {
            m_window.showStatus(tr("The dropped rich text cannot be read."));
            return false;
        }
    } else if (const QString rtf = PasteboardTypes::firstFormat(data, PasteboardTypes::RTFTypes); !rtf.isEmpty()) {
        if (!tree().makeNewMemoWithData(data.data(rtf), MemoTree::MemoDataType::RTF, parent, index)) {
            m_window.showStatus(tr("The dropped rich text cannot be read."));
            return false;
        }
    } else if (const QStringList files = localFiles(data); !files.isEmpty()) {
        const NoteTreeHost::ImportedFiles imported = m_host.importFiles(files, parent, index);
        if (!imported.problems.isEmpty()) {
            // The status bar shows this only for a moment; the log keeps which file and why.
            const QString problems = imported.problems.join(QLatin1Char('\n'));
            qCWarning(lcWindows).noquote() << "Dropped files were not all imported:" << problems;
            m_window.showStatus(problems);
        }
        return !imported.pages.isEmpty();
    } else if (data.hasUrls()) {
        const QUrl url = firstRemoteUrl(data);
        if (!url.isValid() || !tree().makeNewMemoWithURL(url, parent, index)) {
            m_window.showStatus(tr("The dropped link cannot be read."));
            return false;
        }
    } else if (data.hasText()) {
        if (!tree().makeNewMemoWithData(data.text(), MemoTree::MemoDataType::String, parent, index))
            return false;
    } else {
        return false;
    }

    m_window.setEditedIfIsiPhoneMemo(parent);
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
    return true;
}

void NoteTreeController::outlineWillCollapse(const MemoPtr &memo)
{
    if (!memo)
        return;
    for (const MemoPtr &selected : std::as_const(m_selectedMemos)) {
        if (selected != memo && tree().isSubItemOfMemo(selected, memo)) {
            setSelection(memo);
            return;
        }
    }
}
