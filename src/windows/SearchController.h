#pragma once

#include "model/JWMemo.h"
#include "model/MemoSearch.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

class NoteTextView;
class NoteTreeController;
class QLineEdit;
class QListView;
class QWidget;
class SearchResultModel;

/**
 * A note window's search: the search pane (a field and the list of matching
 * pages), finding the keys inside the page shown, and the recent and
 * favourite orderings of the list.
 *
 * The list holds the window's pages that match every key of the keyword
 * (MemoSearch), protected pages that are locked left out, in outline order
 * unless a recent or favourite ordering was chosen. Choosing a result shows
 * it through the tree controller, password gate included. The keys found in
 * the shown page are highlighted, softly, all of them; the one found last
 * is the text's selection.
 */
class SearchController final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString searchKeyword READ searchKeyword WRITE setSearchKeyword NOTIFY searchKeywordChanged)
    Q_PROPERTY(bool hasSearchKeyword READ hasSearchKeyword NOTIFY hasSearchKeywordChanged)
public:
    /** How the list is ordered. */
    enum class Order
    {
        Outline,
        /** Last modified first, then last created. */
        Recent,
        /** Most often opened first, then as Recent. */
        Favorite,
    };

    /** The pane's identifier in the side panel's tabs. */
    static constexpr QLatin1StringView kSearchTabIdentifier{"TitleDrawerSearchTabViewItem"};
    /** The most occurrences highlighted in one page. */
    static constexpr qsizetype kMaximumHighlights = 2000;

    SearchController(NoteTreeController &treeController, NoteTextView &textView, QObject *parent = nullptr);
    ~SearchController() override;

    /** The search pane; whoever shows it takes it over. */
    [[nodiscard]] QWidget *pane() const { return m_pane; }
    [[nodiscard]] QLineEdit &searchField() const { return *m_searchField; }
    [[nodiscard]] QListView &resultTableView() const { return *m_resultTableView; }
    [[nodiscard]] const QList<MemoPtr> &resultArray() const;

    [[nodiscard]] QString searchKeyword() const { return m_searchKeyword; }
    /** Stores @p keyword, searches, and sets hasSearchKeyword(). */
    void setSearchKeyword(const QString &keyword);
    /**
     * Whether a keyword is set, judged by its length's low eight bits as the
     * original one-byte flag did: a keyword of 256 characters reads as none.
     */
    [[nodiscard]] bool hasSearchKeyword() const { return m_hasSearchKeyword; }
    void clearKeyword() { setSearchKeyword(QString()); }

    /** Lists the pages matching searchKeyword(), narrowing an earlier result where it can. */
    void search();
    /** Keeps the selected result when it is listed; otherwise selects and shows the first. */
    void selectFirstRowIfNeeded();
    /** Selects and shows the next result, the first after the last. */
    void selectNextMemo();
    /** Selects and shows the previous result, the last before the first. */
    void selectPreviousMemo();

    /** Selects the next occurrence of a key in the text, going on to the next result's start once. */
    void findNext();
    /** Selects the previous occurrence, going back to the previous result's end once. */
    void findPrevious();
    /** Selects the first occurrence of @p keys after the text's selection; no wrap. */
    bool findWordsAndSelectInTextView(const QStringList &keys);

    /** Lists every page, last modified first, and asks for the search pane. */
    void showRecentItems();
    /** Lists every page, most often opened first, and asks for the search pane. */
    void showFavoriteItems();
    [[nodiscard]] Order order() const { return m_order; }

    /** Marks every occurrence of the keys in the text view (called when a page is shown). */
    void highlightKeysInText();

Q_SIGNALS:
    void searchKeywordChanged();
    void hasSearchKeywordChanged();
    /** The recent or favourite list wants the search pane in view. */
    void searchPaneRequested();

private:
    [[nodiscard]] QStringList keys() const;
    [[nodiscard]] QList<MemoPtr> allMemos() const;
    [[nodiscard]] QList<MemoPtr> listable(QList<MemoPtr> pages) const;
    void listPages(QList<MemoPtr> pages);
    void showRow(qsizetype row);
    void resultChosen(qsizetype row);
    void setOrder(Order order);
    bool selectInText(const QStringList &keys, bool backward);
    void findAcrossResults(bool backward);
    void stepRow(qsizetype step);
    [[nodiscard]] qsizetype selectedRow() const;

    NoteTreeController &m_treeController;
    NoteTextView &m_textView;
    QWidget *m_pane = nullptr;
    QLineEdit *m_searchField = nullptr;
    QListView *m_resultTableView = nullptr;
    SearchResultModel *m_model = nullptr;
    MemoSearch m_search;
    QString m_searchKeyword;
    bool m_hasSearchKeyword = false;
    Order m_order = Order::Outline;
    // True while the list's selection is set from here, not by the user.
    bool m_selectingRow = false;
};
