#include "SearchController.h"

#include "NoteTextView.h"
#include "NoteTreeController.h"
#include "SearchResultDelegate.h"
#include "SearchResultModel.h"

#include "model/MemoTree.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/settings/UserDefaults.h"
#include "text/TextFinding.h"
#include "util/SearchKeys.h"

#include <QItemSelectionModel>
#include <QLineEdit>
#include <QListView>
#include <QScrollBar>
#include <QSet>
#include <QSignalBlocker>
#include <QTextEdit>
#include <QVBoxLayout>

#include <algorithm>

SearchController::SearchController(NoteTreeController &treeController, NoteTextView &textView, QObject *parent)
    : QObject(parent)
    , m_treeController(treeController)
    , m_textView(textView)
{
    m_pane = new QWidget;
    m_pane->setObjectName(kSearchTabIdentifier);
    auto *column = new QVBoxLayout(m_pane);
    column->setContentsMargins(4, 4, 4, 4);
    m_searchField = new QLineEdit(m_pane);
    m_searchField->setObjectName(QStringLiteral("searchWordTF"));
    m_searchField->setPlaceholderText(tr("Search pages"));
    m_searchField->setClearButtonEnabled(true);
    column->addWidget(m_searchField);
    m_resultTableView = new QListView(m_pane);
    m_resultTableView->setObjectName(QStringLiteral("resultTableView"));
    m_resultTableView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_resultTableView->setSelectionMode(QAbstractItemView::SingleSelection);
    m_model = new SearchResultModel(treeController.tree(), this);
    m_resultTableView->setModel(m_model);
    m_resultTableView->setItemDelegate(new SearchResultDelegate(m_resultTableView));
    column->addWidget(m_resultTableView, 1);

    // The field's value is the keyword as it is typed.
    connect(m_searchField, &QLineEdit::textChanged, this, &SearchController::setSearchKeyword);
    connect(m_searchField, &QLineEdit::returnPressed, this, &SearchController::findNext);
    connect(m_resultTableView->selectionModel(), &QItemSelectionModel::currentRowChanged, this,
        [this](const QModelIndex &current) {
            if (!m_selectingRow && current.isValid())
                resultChosen(current.row());
        });

    NotificationCenter &center = NotificationCenter::defaultCenter();
    center.addObserver(
        this, NotificationNames::SearchControllerExecuteSearch, nullptr, [this](const Notification &) { search(); });
    // Locking hides pages: the list drops them at once, whatever it was found for.
    center.addObserver(this, NotificationNames::JW3ReloadOutlineData, nullptr, [this](const Notification &) {
        if (listable(m_model->pages()).size() != m_model->pages().size())
            listPages(m_model->pages());
        m_resultTableView->viewport()->update();
    });
    UserDefaults::standardUserDefaults().observe(PreferenceKeys::TitleSize, this,
        [this](const QVariant &, const QVariant &) { m_resultTableView->doItemsLayout(); });

    listPages(allMemos());
}

SearchController::~SearchController()
{
    NotificationCenter::defaultCenter().removeObserver(this);
    // The pane is normally owned by the window's side panel by now.
    if (!m_pane->parent())
        delete m_pane;
}

const QList<MemoPtr> &SearchController::resultArray() const
{
    return m_model->pages();
}

QList<MemoPtr> SearchController::allMemos() const
{
    const MemoPtr root = m_treeController.rootMemo();
    return root ? m_treeController.tree().memoArrayWithoutRootFromMemo(root) : QList<MemoPtr>();
}

QStringList SearchController::keys() const
{
    QStringList keys = StringUtility::separateStringKeyToArray(m_searchKeyword);
    keys.removeAll(QString());
    return keys;
}

void SearchController::setSearchKeyword(const QString &keyword)
{
    const QString stored = keyword.isNull() ? QStringLiteral("") : keyword;
    if (m_searchField->text() != stored) {
        const QSignalBlocker quiet(m_searchField);
        m_searchField->setText(stored);
    }
    const bool changed = stored != m_searchKeyword;
    m_searchKeyword = stored;
    search();
    if (changed)
        Q_EMIT searchKeywordChanged();
    const bool has = quint8(m_searchKeyword.size()) != 0;
    if (std::exchange(m_hasSearchKeyword, has) != has)
        Q_EMIT hasSearchKeywordChanged();
}

void SearchController::search()
{
    // What is being typed into the shown page counts. Only its words are
    // taken: "JW3SaveMemoContent" would write page files, and searching
    // writes nothing (nor disturbs the text's typing format).
    if (JWMemo *shown = m_textView.boundMemo(); shown && m_textView.document()->isModified())
        shown->setPlainText(m_textView.string());
    const qsizetype cachedBefore = m_search.cachedKeywordCount();
    listPages(m_search.resultFor(m_searchKeyword, [this] { return allMemos(); }));
    // A new result selects its first page; a cached one, or the whole list, leaves the selection alone.
    const bool newResult = !m_searchKeyword.isEmpty() && m_search.cachedKeywordCount() > cachedBefore;
    if (newResult)
        selectFirstRowIfNeeded();
    highlightKeysInText();
}

QList<MemoPtr> SearchController::listable(QList<MemoPtr> pages) const
{
    // Cached results predate later locking and deleting: only pages the window may list stay.
    const QList<MemoPtr> all = allMemos();
    QSet<const JWMemo *> allowed;
    allowed.reserve(all.size());
    for (const MemoPtr &memo : all)
        allowed.insert(memo.get());
    pages.removeIf([&allowed](const MemoPtr &memo) { return !allowed.contains(memo.get()); });
    return pages;
}

void SearchController::listPages(QList<MemoPtr> pages)
{
    pages = listable(std::move(pages));

    const auto newerFirst = [](const MemoPtr &a, const MemoPtr &b) {
        if (a->modifiedAt() != b->modifiedAt())
            return a->modifiedAt() > b->modifiedAt();
        return a->createdAt() > b->createdAt();
    };
    if (m_order == Order::Recent) {
        std::stable_sort(pages.begin(), pages.end(), newerFirst);
    } else if (m_order == Order::Favorite) {
        std::stable_sort(pages.begin(), pages.end(), [&newerFirst](const MemoPtr &a, const MemoPtr &b) {
            if (a->referenceNumber() != b->referenceNumber())
                return a->referenceNumber() > b->referenceNumber();
            return newerFirst(a, b);
        });
    }

    const MemoPtr selected = m_treeController.selection();
    m_selectingRow = true;
    m_model->setPages(pages);
    if (const qsizetype row = selected ? m_model->rowOf(selected.get()) : -1; row >= 0)
        m_resultTableView->setCurrentIndex(m_model->index(int(row)));
    m_selectingRow = false;
}

qsizetype SearchController::selectedRow() const
{
    const QModelIndex current = m_resultTableView->currentIndex();
    if (current.isValid() && m_resultTableView->selectionModel()->isSelected(current))
        return current.row();
    return -1;
}

void SearchController::showRow(qsizetype row)
{
    m_selectingRow = true;
    m_resultTableView->setCurrentIndex(m_model->index(int(row)));
    m_selectingRow = false;
    resultChosen(row);
}

void SearchController::resultChosen(qsizetype row)
{
    if (row < 0 || row >= m_model->pages().size())
        return;
    m_treeController.setSelection(m_model->pages().at(row));
    highlightKeysInText();
}

void SearchController::selectFirstRowIfNeeded()
{
    if (m_model->pages().isEmpty())
        return;
    const qsizetype row = selectedRow();
    if (row >= 0 && m_model->pages().at(row) == m_treeController.selection())
        return;
    showRow(0);
}

void SearchController::stepRow(qsizetype step)
{
    const qsizetype count = m_model->pages().size();
    const qsizetype row = selectedRow();
    if (row < 0)
        selectFirstRowIfNeeded();
    else if (count > 0)
        showRow((row + step + count) % count);
}

void SearchController::selectNextMemo()
{
    stepRow(1);
}

void SearchController::selectPreviousMemo()
{
    stepRow(-1);
}

void SearchController::findAcrossResults(bool backward)
{
    const QStringList keys = this->keys();
    if (keys.isEmpty())
        return;
    selectFirstRowIfNeeded();
    if (selectInText(keys, backward))
        return;
    // Once on to the neighbouring result, searched from its start (or, going back, its end).
    stepRow(backward ? -1 : 1);
    m_textView.moveCursor(backward ? QTextCursor::End : QTextCursor::Start);
    (void)selectInText(keys, backward);
}

void SearchController::findNext()
{
    findAcrossResults(false);
}

void SearchController::findPrevious()
{
    findAcrossResults(true);
}

namespace {

void selectInView(QTextEdit &view, const TextFinding::Range &range)
{
    QTextCursor cursor(view.document());
    cursor.setPosition(int(range.start));
    cursor.setPosition(int(range.start + range.length), QTextCursor::KeepAnchor);
    view.setTextCursor(cursor);
    view.ensureCursorVisible();
}

} // namespace

bool SearchController::findWordsAndSelectInTextView(const QStringList &keys)
{
    return selectInText(keys, false);
}

bool SearchController::selectInText(const QStringList &keys, bool backward)
{
    // toPlainText() keeps the document's positions: one character a position.
    const QString text = m_textView.document()->toPlainText();
    const QTextCursor selection = m_textView.textCursor();
    const auto found = backward ? TextFinding::findLast(text, keys, selection.selectionStart())
                                : TextFinding::findFirst(text, keys, selection.selectionEnd());
    if (!found)
        return false;
    selectInView(m_textView, *found);
    return true;
}

void SearchController::setOrder(Order order)
{
    m_order = order;
    clearKeyword();
    listPages(allMemos());
    Q_EMIT searchPaneRequested();
}

void SearchController::showRecentItems()
{
    setOrder(Order::Recent);
}

void SearchController::showFavoriteItems()
{
    setOrder(Order::Favorite);
}

void SearchController::highlightKeysInText()
{
    QList<QTextEdit::ExtraSelection> marks;
    const QStringList keys = this->keys();
    if (!keys.isEmpty()) {
        const QString text = m_textView.document()->toPlainText();
        QColor soft = m_textView.palette().color(QPalette::Highlight);
        soft.setAlphaF(0.3);
        for (const TextFinding::Range &range : TextFinding::findAll(text, keys, kMaximumHighlights)) {
            QTextEdit::ExtraSelection mark;
            mark.cursor = QTextCursor(m_textView.document());
            mark.cursor.setPosition(int(range.start));
            mark.cursor.setPosition(int(range.start + range.length), QTextCursor::KeepAnchor);
            mark.format.setBackground(soft);
            marks.append(mark);
        }
    }
    m_textView.setExtraSelections(marks);
}
