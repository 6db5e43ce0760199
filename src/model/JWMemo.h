#pragma once

#include "JWWindowAttribute.h"

#include "util/GeometryStrings.h"

#include <QByteArray>
#include <QColor>
#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

class JWMemo;
class JWMemoObserverBatch;
class MemoTextView;
class TextConverter;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * One page of the memo tree: a title, its text, display flags, dates, tags
 * and the child pages, in outline order.
 *
 * Every field is a property named as its key: setValue(key, v) runs the same
 * setter, with the same side effects, as the typed call, and each property's
 * xChanged signal fires when its value actually changes. The setters that the
 * outline shows (title, lock, colours, protection) also mark the page edited
 * and post the application's notifications with the page as object, whether
 * or not the value changed, since callers use them to force a refresh.
 *
 * Pages are held by MemoPtr; a page owns its children. The parent is not
 * stored: walks that need it (addSubMemosToArray) note it in tempParentMemo,
 * which does not own.
 *
 * A protected page is locked until setUnlockedPassword(true) and locks
 * itself again relockInterval() later. While locked it shows as a leaf, so
 * the outline hides its children.
 */
class JWMemo final : public QObject, public std::enable_shared_from_this<JWMemo>
{
    Q_OBJECT
    Q_PROPERTY(qint64 memoID READ memoID WRITE setMemoID NOTIFY memoIDChanged)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY titleChanged)
    Q_PROPERTY(QByteArray memoData READ memoData WRITE setMemoData NOTIFY memoDataChanged)
    Q_PROPERTY(QString plainText READ plainText WRITE setPlainText NOTIFY plainTextChanged)
    Q_PROPERTY(QColor titleColor READ titleColor WRITE setTitleColor NOTIFY titleColorChanged)
    Q_PROPERTY(QColor titleCharacterColor READ titleCharacterColor WRITE setTitleCharacterColor NOTIFY
            titleCharacterColorChanged)
    Q_PROPERTY(bool locked READ locked WRITE setLocked NOTIFY lockedChanged)
    Q_PROPERTY(bool isPlainTextMemo READ isPlainTextMemo WRITE setIsPlainTextMemo NOTIFY isPlainTextMemoChanged)
    Q_PROPERTY(bool protectWithPassword READ protectWithPassword WRITE setProtectWithPassword NOTIFY
            protectWithPasswordChanged)
    Q_PROPERTY(bool unlockedPassword READ unlockedPassword WRITE setUnlockedPassword NOTIFY unlockedPasswordChanged)
    Q_PROPERTY(QDateTime createdAt READ createdAt WRITE setCreatedAt NOTIFY createdAtChanged)
    Q_PROPERTY(QDateTime modifiedAt READ modifiedAt WRITE setModifiedAt NOTIFY modifiedAtChanged)
    Q_PROPERTY(int referenceNumber READ referenceNumber WRITE setReferenceNumber NOTIFY referenceNumberChanged)
    Q_PROPERTY(QStringList tags READ tags WRITE setTags NOTIFY tagsChanged)
    Q_PROPERTY(TextRange scrollRange READ scrollRange WRITE setScrollRange NOTIFY scrollRangeChanged)
    Q_PROPERTY(QString scrollRangeString READ scrollRangeString WRITE setScrollRangeString NOTIFY scrollRangeChanged)
    Q_PROPERTY(TextRange selectedRange READ selectedRange WRITE setSelectedRange NOTIFY selectedRangeChanged)
    Q_PROPERTY(
        QString selectedRangeString READ selectedRangeString WRITE setSelectedRangeString NOTIFY selectedRangeChanged)
    /** The children as a list of MemoPtr values. */
    Q_PROPERTY(QVariantList children READ childrenValue WRITE setChildrenValue NOTIFY childrenChanged)
    Q_PROPERTY(bool scaleImages READ scaleImages WRITE setScaleImages NOTIFY scaleImagesChanged)
    Q_PROPERTY(bool showRuler READ showRuler WRITE setShowRuler NOTIFY showRulerChanged)
    Q_PROPERTY(bool showLineNumbers READ showLineNumbers WRITE setShowLineNumbers NOTIFY showLineNumbersChanged)
    Q_PROPERTY(bool verticalLayout READ verticalLayout WRITE setVerticalLayout NOTIFY verticalLayoutChanged)
    Q_PROPERTY(QString webURLStr READ webURLStr WRITE setWebURLStr NOTIFY webURLStrChanged)
    /** The site icon of a web clip: an ArchivedImage, or QVariant::fromValue(nullptr) for none. */
    Q_PROPERTY(QVariant webIconImage READ webIconImage WRITE setWebIconImage NOTIFY webIconImageChanged)
    /** The window state record, for key paths such as "windowAttribute.floating". */
    Q_PROPERTY(JWWindowAttribute *windowAttribute READ windowAttributeObject NOTIFY windowAttributeChanged)
    Q_PROPERTY(bool isEdited READ isEdited WRITE setIsEdited NOTIFY isEditedChanged)
    Q_PROPERTY(bool isLeaf READ isLeaf NOTIFY isLeafChanged)
    Q_PROPERTY(bool openLeaf READ openLeaf WRITE setOpenLeaf NOTIFY openLeafChanged)
    Q_PROPERTY(QString charactersCount READ charactersCount WRITE setCharactersCount NOTIFY charactersCountChanged)
    Q_PROPERTY(QString wordsCount READ wordsCount WRITE setWordsCount NOTIFY wordsCountChanged)
    Q_PROPERTY(QString summary READ summary WRITE setSummary NOTIFY summaryChanged)
    Q_PROPERTY(QString tempChildrenIds READ tempChildrenIds WRITE setTempChildrenIds NOTIFY tempChildrenIdsChanged)

    class BareKey
    {
        BareKey() = default;
        friend class JWMemo;
    };

public:
    /** How long an unlocked protected page stays unlocked. */
    static constexpr std::chrono::milliseconds kRelockInterval = std::chrono::seconds(300);

    /**
     * A new page: a fresh ID from the "memoID" default (a page file left
     * under it is moved aside; one that cannot be is skipped), the title "Untitled"
     * (localised), clear label and black characters, both dates now, no tags,
     * a new window record, marked edited. Prefer memo(), which gives it an
     * owner; addSubMemosToArray and copy() need the page to be held by a MemoPtr.
     */
    JWMemo();
    /** A page with no ID and nothing set, for the archive reader (see MemoCoding). */
    explicit JWMemo(BareKey);
    /** A bare page that observes no notification (see unobservedMemo()). */
    JWMemo(BareKey, std::nullptr_t);
    ~JWMemo() override;

    /** A new page, as JWMemo() describes, held by its pointer. */
    [[nodiscard]] static MemoPtr memo();
    /** A page that takes no ID and sets no field, for readers that fill every field themselves. */
    [[nodiscard]] static MemoPtr bareMemo();
    /**
     * A bare page that no notification reaches, so that nothing on the main
     * thread changes it while another thread reads it (see MemoCoding::snapshot).
     */
    [[nodiscard]] static MemoPtr unobservedMemo();

    /**
     * A duplicate of @p other without children: a new page (new ID, fresh
     * dates) with the other's text, title, colours of the label, flags and tags.
     */
    [[nodiscard]] static MemoPtr initWithMemo(const JWMemo &other);

    /**
     * A deep copy of this page and its subtree: new IDs and fresh dates, the
     * title, plain text, colours, flags, ranges, web clip, a copy of the window
     * record, and a copy of every child in order. The rich text, tags,
     * reference count and dates are not carried over; the copy's text comes
     * from the plain text unless the caller sets memoData.
     */
    [[nodiscard]] MemoPtr copy() const;

    /**
     * Sets the field named @p key through its property, so that the setter's
     * side effects run. Answers false (and changes nothing) when no field has
     * that name or the value does not convert to the field's type.
     */
    bool setValue(const QString &key, const QVariant &value);
    /** The field named @p key, or an invalid QVariant when no field has that name. */
    [[nodiscard]] QVariant value(const QString &key) const;

    // --- Identity ------------------------------------------------------------

    /**
     * Takes the next ID from MemoIDAllocator::shared() (the "memoID" default
     * plus 1, 1 when there is none) and stores it as this page's ID. An ID is
     * never handed out twice, even after a crash.
     */
    qint64 assignNewID();

    /**
     * Gives the page a new ID, as the repair of duplicate IDs does. The page's
     * text is kept in memory first (read from the file of the old ID when it
     * still matches the page's plain text, else made from the plain text) and
     * is written under the new ID at the next save; the dates stay.
     */
    qint64 takeNewIDKeepingText();

    /**
     * Gives this page and every page below it (depth first) a new ID, noting
     * each old ID's new one in @p convert, so that an import or an exchange
     * can rewrite the links that name the old IDs.
     */
    void assignNewIDWithConvertDictionary(QHash<qint64, qint64> &convert);

    [[nodiscard]] qint64 memoID() const { return m_memoID; }
    void setMemoID(qint64 memoID);

    // --- Tree ----------------------------------------------------------------

    [[nodiscard]] const std::vector<MemoPtr> &children() const { return m_children; }
    /** The children as property values (MemoPtr each). */
    [[nodiscard]] QVariantList childrenValue() const;
    /**
     * Replaces the children with the MemoPtr values of @p children; other
     * values, and pages that hold this page, are skipped.
     */
    void setChildrenValue(const QVariantList &children);
    /**
     * Inserts @p child at @p index (clamped to the ends). A null child, and a
     * child that holds this page (which would make the tree a cycle), are ignored.
     */
    void insertChild(qsizetype index, MemoPtr child);
    void appendChild(MemoPtr child);
    /** Removes @p child if it is a direct child; answers whether it was. */
    bool removeChild(const JWMemo *child);
    /** Removes and returns the child at @p index, or null when there is none. */
    MemoPtr takeChildAt(qsizetype index);

    /**
     * A counter that moves whenever any page anywhere changes its ID or its
     * list of children. Indexes over a tree (by ID, by parent) stay valid
     * while it stays the same, so they need no observers of their own.
     */
    [[nodiscard]] static quint64 structureGeneration();

    /** True when @p memo is this page or lies anywhere below it. */
    [[nodiscard]] bool containsMemo(const JWMemo *memo) const;

    /**
     * Appends this page and all its descendants in pre-order to @p array,
     * noting each child's parent in tempParentMemo on the way. With
     * @p withoutProtectedMemo, a protected page that is not unlocked is
     * skipped together with its whole subtree.
     */
    void addSubMemosToArray(QList<MemoPtr> &array, bool withoutProtectedMemo) const;

    /** The parent noted by the last addSubMemosToArray walk; not owned, null when unknown. */
    [[nodiscard]] MemoPtr tempParentMemo() const { return m_tempParentMemo.lock(); }
    void setTempParentMemo(const MemoPtr &parent) { m_tempParentMemo = parent; }

    /**
     * Recomputes isLeaf: a page without children is a leaf unless openLeaf is
     * on; a page with children (or with openLeaf) is a leaf only while it is
     * protected and locked, so that the outline hides what is inside.
     */
    void changeIsLeaf();
    [[nodiscard]] bool isLeaf() const { return m_isLeaf; }
    [[nodiscard]] bool openLeaf() const { return m_openLeaf; }
    /** Stores the flag and recomputes isLeaf. */
    void setOpenLeaf(bool openLeaf);

    // --- Text ----------------------------------------------------------------

    /** A title for @p text: its first line, cut to its first 15 characters. */
    [[nodiscard]] static QString titleFromText(const QString &text);

    /**
     * The page's rich text (flattened RTFD). A page read from the data store
     * has none until it is first asked for: then it comes from the page file,
     * or, when the file has none, is made from the plain text and kept.
     */
    [[nodiscard]] QByteArray memoData() const;
    /** Whether memoData() answers from memory, without reading the page file. */
    [[nodiscard]] bool isMemoDataLoaded() const { return !m_memoData.isNull(); }
    /** Stores the rich text as given (a null array drops it, so it is read again from the page file). */
    void setMemoData(const QByteArray &data);
    /** Makes @p text the page's plain text and its rich text; a null string is ignored. */
    void setMemoDataWithPlainText(const QString &text);

    // --- Text views (MemoTextBinding.cpp) ----------------------------------------

    /**
     * @p view starts showing this page. The first view is filled from the
     * page (setDataToTextView) and becomes focusText(); further views share
     * its document, so that every view edits one text.
     */
    void setText(MemoTextView *view);
    /**
     * The page takes @p view's text when it was edited (plain text and RTFD)
     * and its visible and selected ranges, and the view goes on showing the
     * same document, its undo history included: what a save does.
     */
    void takeTextFromView(MemoTextView *view);
    /**
     * @p view stops showing this page. When its text was edited, the page
     * takes it back (plain text and RTFD); the visible and selected ranges
     * are kept either way. If @p view was the focus, the next sharing view
     * becomes the focus, filled from the page, and the others share its
     * document instead.
     */
    void resignText(MemoTextView *view);
    /**
     * Fills @p view with the page: rich text (RTFD) unless the page is plain,
     * the plain text when the rich text is missing, empty or unreadable, the
     * remembered scroll position and selection when they fit, and with
     * "UseTopLineAsTitle" the title from the first line.
     */
    void setDataToTextView(MemoTextView *view);
    /**
     * True when the last setDataToTextView found the rich text unreadable and
     * showed the plain text instead; the page file stays as it is until the
     * text is edited.
     */
    [[nodiscard]] bool textIsUnreadable() const { return m_textUnreadable; }
    /** The view whose document the page's views edit, or null. Not owned. */
    [[nodiscard]] MemoTextView *focusText() const { return m_focusText; }
    /** The other views showing the page, sharing focusText()'s document. Not owned. */
    [[nodiscard]] const QList<MemoTextView *> &textArray() const { return m_textArray; }

    [[nodiscard]] QString plainText() const;
    void setPlainText(const QString &text);
    /** plainText() in UTF-8, without converting it when the page keeps it so. */
    [[nodiscard]] QByteArray plainTextUtf8() const;

    /** Case-insensitive search in the plain text, as CaseFolding compares. */
    [[nodiscard]] bool containsWordInText(const QString &word) const;
    /** Case-insensitive search in the title, as CaseFolding compares. */
    [[nodiscard]] bool containsWordInTitle(const QString &word) const;
    /**
     * The title folded for searching (CaseFolding::folded()), made when
     * first asked for and kept until the title changes: searching while
     * typing reads it again and again. Main thread only, or one thread at a
     * time while the main thread waits.
     */
    [[nodiscard]] const QByteArray &foldedTitle() const;
    /** The plain text folded likewise, kept until the text changes. */
    [[nodiscard]] const QByteArray &foldedText() const;

    // --- Fields with side effects --------------------------------------------

    [[nodiscard]] QString title() const { return m_title; }
    /**
     * Stores the title ("" for none) without a leading pen symbol, marks the
     * page edited and posts "JW3MemoTitleHasChanged".
     */
    void setTitle(const QString &title);

    [[nodiscard]] bool isEdited() const { return m_isEdited; }
    /** Marks the page (un)edited; marking it edited moves modifiedAt to now. */
    void setIsEdited(bool edited);

    [[nodiscard]] bool locked() const { return m_locked; }
    /** Stores the flag, marks the page edited and posts "JW3ReloadOutlineData". */
    void setLocked(bool locked);

    /**
     * Whether the text is plain rather than rich. A page read from the data
     * store takes it from its page file when first asked; false when the
     * file does not say.
     */
    [[nodiscard]] bool isPlainTextMemo() const;
    /** Stores the flag, marks the page edited and posts "JW3ReloadOutlineData". */
    void setIsPlainTextMemo(bool plain);

    [[nodiscard]] QColor titleColor() const { return m_titleColor; }
    /** Stores the colour as RGB, marks the page edited and posts "JW3ReloadOutlineData". */
    void setTitleColor(const QColor &color);

    [[nodiscard]] QColor titleCharacterColor() const { return m_titleCharacterColor; }
    /** Stores the colour as RGB, marks the page edited and posts "JW3ReloadOutlineData". */
    void setTitleCharacterColor(const QColor &color);

    [[nodiscard]] bool protectWithPassword() const { return m_protectWithPassword; }
    /**
     * Stores the flag and marks the page edited without moving modifiedAt
     * (protecting a page is not an edit of its content), then recomputes
     * isLeaf and posts "JW3ReloadOutlineData".
     */
    void setProtectWithPassword(bool protect);

    [[nodiscard]] bool unlockedPassword() const { return m_unlockedPassword; }
    /**
     * Stores the flag. Unlocking (re)starts the one-shot relock timer;
     * locking leaves a running timer alone. Then recomputes isLeaf and posts
     * "JW3ReloadOutlineData".
     */
    void setUnlockedPassword(bool unlocked);
    /** Locks the page again: what the relock timer does when it fires. */
    void lockPassword();
    /** True while the relock timer runs. */
    [[nodiscard]] bool isRelockPending() const { return m_lockPasswordTimer && m_lockPasswordTimer->isActive(); }

    /** The relock delay for pages unlocked from now on; kRelockInterval unless changed. */
    [[nodiscard]] static std::chrono::milliseconds relockInterval();
    /** Changes the relock delay (tests shorten it); a non-positive value restores kRelockInterval. */
    static void setRelockInterval(std::chrono::milliseconds interval);

    // --- Plain fields --------------------------------------------------------

    [[nodiscard]] QDateTime createdAt() const;
    void setCreatedAt(const QDateTime &date);
    [[nodiscard]] QDateTime modifiedAt() const;
    void setModifiedAt(const QDateTime &date);

    /** How often the page was put into a text view. */
    [[nodiscard]] int referenceNumber() const { return m_referenceNumber; }
    void setReferenceNumber(int count);

    [[nodiscard]] QStringList tags() const { return m_tags; }
    void setTags(const QStringList &tags);
    /**
     * False for a page whose archive held no tag list at all (older data
     * stores have such pages); setting tags gives the page a list.
     */
    [[nodiscard]] bool hasTags() const { return m_hasTags; }

    [[nodiscard]] TextRange scrollRange() const { return m_scrollRange; }
    void setScrollRange(const TextRange &range);
    [[nodiscard]] QString scrollRangeString() const;
    /** Parses "{loc, len}" into scrollRange. */
    void setScrollRangeString(const QString &text);

    [[nodiscard]] TextRange selectedRange() const { return m_selectedRange; }
    void setSelectedRange(const TextRange &range);
    [[nodiscard]] QString selectedRangeString() const;
    /** Parses "{loc, len}" into selectedRange. */
    void setSelectedRangeString(const QString &text);

    [[nodiscard]] bool scaleImages() const { return m_scaleImages; }
    void setScaleImages(bool scale);
    [[nodiscard]] bool showRuler() const { return m_showRuler; }
    void setShowRuler(bool show);
    [[nodiscard]] bool showLineNumbers() const { return m_showLineNumbers; }
    void setShowLineNumbers(bool show);
    [[nodiscard]] bool verticalLayout() const { return m_verticalLayout; }
    void setVerticalLayout(bool vertical);

    /** The URL of a web clip; "" for an ordinary page. */
    [[nodiscard]] QString webURLStr() const { return m_webURLStr; }
    /** True for a web clip: a page with a source URL. */
    [[nodiscard]] bool isWebClipMemo() const { return !m_webURLStr.isEmpty(); }
    void setWebURLStr(const QString &url);
    [[nodiscard]] QVariant webIconImage() const { return m_webIconImage; }
    /** An ArchivedImage; anything else (an invalid value included) stores "no icon". */
    void setWebIconImage(const QVariant &image);

    /** The window state used when this page is the root of a window; never null. */
    [[nodiscard]] const WindowAttributePtr &windowAttribute() const { return m_windowAttribute; }
    /**
     * Changes with every value the page archives (its children's order and
     * count included, its window record's values not: see ArchiveRevision).
     */
    [[nodiscard]] quint64 archiveRevision() const { return m_archiveRevision; }
    /** False when a date is unknown (archived as the time of writing). */
    [[nodiscard]] bool hasDates() const { return m_createdAt.isValid() && m_modifiedAt.isValid(); }
    [[nodiscard]] JWWindowAttribute *windowAttributeObject() const { return m_windowAttribute.get(); }
    /** Replaces the window record; null gives a new default record. */
    void setWindowAttribute(WindowAttributePtr attribute);

    [[nodiscard]] QString charactersCount() const { return m_charactersCount; }
    void setCharactersCount(const QString &count);
    [[nodiscard]] QString wordsCount() const { return m_wordsCount; }
    void setWordsCount(const QString &count);

    [[nodiscard]] QString summary() const { return m_summary; }
    /**
     * Stores a header with the creation and modification dates (localised
     * labels and date format) followed by @p textSummary.
     */
    void setSummary(const QString &textSummary);

    /** Scratch text used while the tree is exchanged (sync, import). */
    [[nodiscard]] QString tempChildrenIds() const { return m_tempChildrenIds; }
    void setTempChildrenIds(const QString &ids);

    // --- Page file -------------------------------------------------------------

    /**
     * Writes the page file when the page is edited and belongs to the
     * application's tree (see ApplicationTree); clears the edited flag first.
     * Answers whether the file was written. A page whose file could not be
     * written stays edited, so that the next save tries again, and keeps the
     * reason in saveError(). A file of this page that exists but cannot be
     * read is set aside (as "<ID>.jw3page.unreadable-…") before it would be
     * replaced.
     */
    bool save();
    /** Why the last write of the page file failed; empty once it succeeds (or before any). */
    [[nodiscard]] QString saveError() const { return m_saveError; }
    /**
     * Keeps the text in memory, marks the page edited and deletes its page
     * file; for a web clip, deletes its web archives instead and keeps the page
     * file. Used when a page takes an ID whose file is stale.
     */
    void removeNoteFile();
    /** Rewrites the page file without its rich text. */
    void clearMemoData();

    /**
     * Saves, puts the title into the text as its first line, marks the page
     * edited and saves again: the menu command that makes every page's text
     * begin with its title.
     */
    void convertNoteTextToSetTitleAtFirstLine();
    /** Saves, takes the title from the text's first line, marks the page edited and saves again. */
    void convertNoteTextToSetTitleFromFirstLine();
    /**
     * Sets the title; with "UseTopLineAsTitle" on, also puts it into the text
     * as a new first line when the text's first line differs, and saves.
     */
    void setMemoTitleIfNeeded(const QString &title);

    // --- Order and display ---------------------------------------------------

    /**
     * Orders by title in natural order (numbers by value, case ignored), then
     * by modification date, then by creation date: negative, 0 or positive.
     */
    [[nodiscard]] int compare(const JWMemo &other) const;
    /**
     * The page and its subtree in the form text and property-list export
     * write: "Title", "NoteString" (the plain text), "CreationDate",
     * "LastUpdate" and "Children" (the same form for each child, in order).
     */
    [[nodiscard]] QVariantMap dictionaryRepresentation() const;

    /** "id:<ID> title:<title> / children:<count>", for logs. */
    [[nodiscard]] QString description() const;

Q_SIGNALS:
    void memoIDChanged();
    void titleChanged();
    void memoDataChanged();
    void plainTextChanged();
    void titleColorChanged();
    void titleCharacterColorChanged();
    void lockedChanged();
    void isPlainTextMemoChanged();
    void protectWithPasswordChanged();
    void unlockedPasswordChanged();
    void createdAtChanged();
    void modifiedAtChanged();
    void referenceNumberChanged();
    void tagsChanged();
    void scrollRangeChanged();
    void selectedRangeChanged();
    void childrenChanged();
    void scaleImagesChanged();
    void showRulerChanged();
    void showLineNumbersChanged();
    void verticalLayoutChanged();
    void webURLStrChanged();
    void webIconImageChanged();
    void windowAttributeChanged();
    void isEditedChanged();
    void isLeafChanged();
    void openLeafChanged();
    void charactersCountChanged();
    void wordsCountChanged();
    void summaryChanged();
    void tempChildrenIdsChanged();

private:
    friend struct MemoArchiveAccess;

    void observeNotifications();
    void releaseTextViews();
    // While a batch is open (see MemoCoding), new pages register for the
    // application's notifications together; see observeNotifications().
    static void openObserverBatch();
    static void closeObserverBatch();
    void readPageFile() const;
    bool loadTextInto(TextConverter &converter) const;
    void storeTextAndSave(const TextConverter &converter);
    static void structureChanged();
    void markEditedAndReload();
    void postReloadOutlineData();

    qint64 m_memoID = 0;
    template<typename T> bool assignArchived(T &field, const T &value)
    {
        return ArchiveRevision::assign(field, value, m_archiveRevision);
    }

    quint64 m_archiveRevision = ArchiveRevision::next();
    QString m_title;
    // Null until set or first read from the page file.
    mutable QByteArray m_memoData;
    // A page read from the data store keeps its plain text as the archive's
    // UTF-8 (m_plainTextUtf8, sharing the file's bytes) until the text is
    // set: most pages are never asked for it, and ten thousand texts
    // converted at start-up cost more time and memory than the rest of the
    // tree. Exactly one of the two holds the text; the other is null.
    QString m_plainText;
    QByteArray m_plainTextUtf8;
    // Null until a search asks; cleared when the title or text changes.
    mutable QByteArray m_foldedTitle;
    mutable QByteArray m_foldedText;
    QColor m_titleColor;
    QColor m_titleCharacterColor;
    bool m_locked = false;
    // Empty until set or first read from the page file.
    mutable std::optional<bool> m_isPlainTextMemo;
    // Whether the page file was read for the current ID since the text was dropped.
    mutable bool m_pageFileRead = false;
    bool m_protectWithPassword = false;
    bool m_unlockedPassword = false;
    // Made when the page is first unlocked; most pages never are.
    std::unique_ptr<QTimer> m_lockPasswordTimer;
    // Dates read from the data store stay in UTC until first asked for (the
    // m_...InUtc flags): turning every page's dates into local time is one
    // of the costliest steps of reading a large store.
    mutable QDateTime m_createdAt;
    mutable QDateTime m_modifiedAt;
    mutable bool m_createdAtInUtc = false;
    mutable bool m_modifiedAtInUtc = false;
    int m_referenceNumber = 0;
    MemoTextView *m_focusText = nullptr;
    QList<MemoTextView *> m_textArray;
    // While the page takes its text back from the focus view, a new RTFD
    // must not be loaded into that view again.
    bool m_takingTextFromView = false;
    bool m_textUnreadable = false;
    // The page's file exists but could not be read: it goes aside before a write replaces it.
    mutable bool m_pageFileUnreadable = false;
    QString m_saveError;
    QStringList m_tags;
    bool m_hasTags = false;
    TextRange m_scrollRange;
    TextRange m_selectedRange;
    std::vector<MemoPtr> m_children;
    bool m_scaleImages = false;
    bool m_showRuler = false;
    bool m_showLineNumbers = false;
    bool m_verticalLayout = false;
    QString m_webURLStr;
    QVariant m_webIconImage;
    WindowAttributePtr m_windowAttribute;
    bool m_isEdited = false;
    bool m_isLeaf = true;
    bool m_openLeaf = false;
    QString m_charactersCount;
    QString m_wordsCount;
    QString m_summary;
    QString m_tempChildrenIds;
    std::weak_ptr<JWMemo> m_tempParentMemo;
    // The registration this page shares with the pages read with it, and its place there.
    std::shared_ptr<JWMemoObserverBatch> m_observerBatch;
    size_t m_observerBatchIndex = 0;
};

Q_DECLARE_METATYPE(MemoPtr)
