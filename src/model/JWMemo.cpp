#include "JWMemo.h"
#include "MemoTextView.h"

#include "ApplicationTree.h"
#include "MemoIDAllocator.h"
#include "ModelLog.h"
#include "PageFile.h"
#include "RecordValues.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/base/Localization.h"
#include "platform/base/NotificationCenter.h"
#include "platform/base/NotificationNames.h"
#include "platform/base/PreferenceKeys.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"
#include "util/CalendarFormat.h"
#include "util/CaseFolding.h"
#include "util/StringUtility.h"

#include <QMetaProperty>

#include <algorithm>
#include <array>

namespace {

std::chrono::milliseconds s_relockInterval = JWMemo::kRelockInterval;

// Pages live on the GUI thread only, so a plain counter is enough.
quint64 s_structureGeneration = 0;

using RecordValues::assign;

// Titles are never longer than this when taken from a text.
constexpr qsizetype kTitleLength = 15;

// The keys a deep copy carries over by key, in the order they are copied, so
// that each runs its setter as on the original.
constexpr std::array kCopiedKeys = {
    "title",
    "plainText",
    "titleColor",
    "titleCharacterColor",
    "locked",
    "isPlainTextMemo",
    "protectWithPassword",
    "scaleImages",
    "showRuler",
    "showLineNumbers",
    "verticalLayout",
    "webURLStr",
    "webIconImage",
};

// The keys a duplicate without children takes from its original, after the text.
constexpr std::array kDuplicatedKeys = {
    "title",
    "titleColor",
    "locked",
    "isPlainTextMemo",
    "protectWithPassword",
    "tags",
    "scaleImages",
    "showRuler",
    "showLineNumbers",
    "verticalLayout",
};

void copyKeys(const QObject &from, QObject &to, const auto &keys)
{
    const QMetaObject *meta = from.metaObject();
    for (const char *key : keys) {
        const QMetaProperty property = meta->property(meta->indexOfProperty(key));
        property.write(&to, property.read(&from));
    }
}

QColor clearColor()
{
    return ArchivedColor::clear().toColor().toRgb();
}

QColor blackColor()
{
    return QColor(0, 0, 0).toRgb();
}

int compareDates(const QDateTime &a, const QDateTime &b)
{
    if (a == b)
        return 0;
    return a < b ? -1 : 1;
}

} // namespace

// Pages read from one archive, registered for the notifications as one
// receiver: see JWMemo::observeNotifications().
class JWMemoObserverBatch final : public QObject, public std::enable_shared_from_this<JWMemoObserverBatch>
{
public:
    // In the order they were made; null once destroyed.
    std::vector<JWMemo *> pages;

    // Delivers to the pages there were when the notification came, in order.
    void deliver(const std::function<void(JWMemo &)> &handle)
    {
        const auto keepAlive = shared_from_this(); // a page's handler may destroy the last page
        const size_t end = pages.size();
        for (size_t i = 0; i < end; ++i) {
            if (JWMemo *page = pages[i])
                handle(*page);
        }
    }
};

namespace {

// The batch new pages join, while MemoCoding reads a tree; see openObserverBatch().
int s_observerBatchDepth = 0;
std::weak_ptr<JWMemoObserverBatch> s_openObserverBatch;

// What each page does on the notifications it observes.
template<typename Register> void observeEach(Register &&add)
{
    // The menu command that shows every page as expandable, or not.
    add(NotificationNames::JW3OpenNoteLeaf, [](JWMemo &page, const Notification &note) {
        page.setOpenLeaf(note.userInfo.value(QStringLiteral("status")).toBool());
    });
    // Every save of the application asks each edited page to write its file.
    add(NotificationNames::JW3SaveMemoContent, [](JWMemo &page, const Notification &) { page.save(); });
    add(NotificationNames::JW3ConvertNoteTextToSetTitleAtFirstLine,
        [](JWMemo &page, const Notification &) { page.convertNoteTextToSetTitleAtFirstLine(); });
    add(NotificationNames::JW3ConvertNoteTextToSetTitleFromFirstLine,
        [](JWMemo &page, const Notification &) { page.convertNoteTextToSetTitleFromFirstLine(); });
}

} // namespace

JWMemo::JWMemo()
    : JWMemo(BareKey{})
{
    // A file under a brand-new ID is left over from a page of an earlier
    // tree: it must not become this page's text. When it cannot be moved
    // aside it stays, and the page takes the next ID instead.
    do {
        assignNewID();
    } while (!PageFile::setAsideStale(m_memoID));
    m_title = localizedString(QStringLiteral("Untitled"));
    const UserDefaults &defaults = UserDefaults::standardUserDefaults();
    if (defaults.boolForKey(PreferenceKeys::UseTopLineAsTitle))
        m_plainText = m_title;
    m_createdAt = m_modifiedAt = QDateTime::currentDateTime();
    m_isPlainTextMemo = defaults.boolForKey(PreferenceKeys::createNewMemoAsPlainText);
    m_hasTags = true;
    m_isEdited = true;
    changeIsLeaf();
}

JWMemo::JWMemo(BareKey)
    : m_titleColor(clearColor())
    , m_titleCharacterColor(blackColor())
    , m_webIconImage(QVariant::fromValue(nullptr))
    , m_windowAttribute(std::make_shared<JWWindowAttribute>())
{
    observeNotifications();
}

JWMemo::JWMemo(BareKey, std::nullptr_t)
    : m_titleColor(clearColor())
    , m_titleCharacterColor(blackColor())
    , m_webIconImage(QVariant::fromValue(nullptr))
{ }

JWMemo::~JWMemo()
{
    releaseTextViews();
    if (m_observerBatch)
        m_observerBatch->pages[m_observerBatchIndex] = nullptr;
}

MemoPtr JWMemo::memo()
{
    return std::make_shared<JWMemo>();
}

MemoPtr JWMemo::bareMemo()
{
    return std::make_shared<JWMemo>(BareKey{});
}

MemoPtr JWMemo::unobservedMemo()
{
    return std::make_shared<JWMemo>(BareKey{}, nullptr);
}

MemoPtr JWMemo::initWithMemo(const JWMemo &other)
{
    MemoPtr memo = JWMemo::memo();
    // The text as the original keeps it; the title of a duplicate is the
    // original's, so it is not derived from the text here.
    TextConverter converter;
    if (converter.setRTFDData(other.memoData()))
        memo->setPlainText(converter.plainString());
    memo->setMemoData(other.memoData());
    copyKeys(other, *memo, kDuplicatedKeys);
    memo->setIsEdited(true);
    return memo;
}

MemoPtr JWMemo::copy() const
{
    MemoPtr copy = JWMemo::memo();
    copyKeys(*this, *copy, kCopiedKeys);
    copy->setScrollRange(m_scrollRange);
    copy->setSelectedRange(m_selectedRange);
    for (const MemoPtr &child : m_children)
        copy->m_children.push_back(child->copy());
    copy->setWindowAttribute(m_windowAttribute->copy());
    copy->changeIsLeaf();
    return copy;
}

bool JWMemo::setValue(const QString &key, const QVariant &value)
{
    return RecordValues::setValueForKey(*this, key, value);
}

QVariant JWMemo::value(const QString &key) const
{
    return RecordValues::valueForKey(*this, key);
}

void JWMemo::openObserverBatch()
{
    ++s_observerBatchDepth;
}

void JWMemo::closeObserverBatch()
{
    if (--s_observerBatchDepth == 0)
        s_openObserverBatch.reset();
}

void JWMemo::observeNotifications()
{
    NotificationCenter &center = NotificationCenter::defaultCenter();
    if (s_observerBatchDepth == 0) {
        observeEach([&](const QString &name, void (*handle)(JWMemo &, const Notification &)) {
            center.addObserver(this, name, nullptr, [this, handle](const Notification &note) { handle(*this, note); });
        });
        return;
    }
    // Pages read from an archive come by the thousand, one after another,
    // with nothing else registering in between: registering them once, as a
    // batch that delivers to them in the order they were made, is what
    // registering each would do, at a fraction of the cost.
    m_observerBatch = s_openObserverBatch.lock();
    if (!m_observerBatch) {
        m_observerBatch = std::make_shared<JWMemoObserverBatch>();
        s_openObserverBatch = m_observerBatch;
        JWMemoObserverBatch *batch = m_observerBatch.get();
        observeEach([&](const QString &name, void (*handle)(JWMemo &, const Notification &)) {
            center.addObserver(batch, name, nullptr, [batch, handle](const Notification &note) {
                batch->deliver([&](JWMemo &page) { handle(page, note); });
            });
        });
    }
    m_observerBatchIndex = m_observerBatch->pages.size();
    m_observerBatch->pages.push_back(this);
}

void JWMemo::postReloadOutlineData()
{
    NotificationCenter::defaultCenter().post(NotificationNames::JW3ReloadOutlineData, this);
}

void JWMemo::markEditedAndReload()
{
    setIsEdited(true);
    postReloadOutlineData();
}

// --- Identity -------------------------------------------------------------

qint64 JWMemo::assignNewID()
{
    const qint64 id = MemoIDAllocator::shared().next();
    setMemoID(id);
    return id;
}

qint64 JWMemo::takeNewIDKeepingText()
{
    // Two pages shared the old ID and so its one page file: whichever wrote
    // last owns it. Keep the file's text only if it is this page's.
    TextConverter converter;
    const QString text = plainText();
    if (!loadTextInto(converter) || converter.plainString() != text)
        setMemoDataWithPlainText(text.isNull() ? QStringLiteral("") : text);
    const qint64 id = assignNewID();
    // Not a change of content: the file is out of date, the date is not.
    if (assign(m_isEdited, true))
        Q_EMIT isEditedChanged();
    return id;
}

void JWMemo::assignNewIDWithConvertDictionary(QHash<qint64, qint64> &convert)
{
    const qint64 oldID = m_memoID;
    convert.insert(oldID, assignNewID());
    for (const MemoPtr &child : m_children)
        child->assignNewIDWithConvertDictionary(convert);
}

void JWMemo::setMemoID(qint64 memoID)
{
    if (assignArchived(m_memoID, memoID)) {
        m_pageFileRead = false;
        m_pageFileUnreadable = false;
        structureChanged();
        Q_EMIT memoIDChanged();
    }
}

// --- Tree -----------------------------------------------------------------

QVariantList JWMemo::childrenValue() const
{
    QVariantList list;
    list.reserve(qsizetype(m_children.size()));
    for (const MemoPtr &child : m_children)
        list.append(QVariant::fromValue(child));
    return list;
}

void JWMemo::setChildrenValue(const QVariantList &children)
{
    std::vector<MemoPtr> list;
    for (const QVariant &value : children) {
        MemoPtr child = value.value<MemoPtr>();
        if (child && !child->containsMemo(this))
            list.push_back(std::move(child));
    }
    m_children = std::move(list);
    m_archiveRevision = ArchiveRevision::next();
    structureChanged();
    Q_EMIT childrenChanged();
    changeIsLeaf();
}

void JWMemo::insertChild(qsizetype index, MemoPtr child)
{
    // A page inside its own subtree would make every walk of the tree endless.
    if (!child || child->containsMemo(this))
        return;
    index = std::clamp<qsizetype>(index, 0, qsizetype(m_children.size()));
    m_children.insert(m_children.begin() + index, std::move(child));
    m_archiveRevision = ArchiveRevision::next();
    structureChanged();
    Q_EMIT childrenChanged();
    changeIsLeaf();
}

void JWMemo::appendChild(MemoPtr child)
{
    insertChild(qsizetype(m_children.size()), std::move(child));
}

bool JWMemo::removeChild(const JWMemo *child)
{
    const auto it
        = std::find_if(m_children.begin(), m_children.end(), [child](const MemoPtr &c) { return c.get() == child; });
    if (it == m_children.end())
        return false;
    takeChildAt(it - m_children.begin());
    return true;
}

MemoPtr JWMemo::takeChildAt(qsizetype index)
{
    if (index < 0 || index >= qsizetype(m_children.size()))
        return nullptr;
    MemoPtr child = std::move(m_children[size_t(index)]);
    m_children.erase(m_children.begin() + index);
    m_archiveRevision = ArchiveRevision::next();
    structureChanged();
    Q_EMIT childrenChanged();
    changeIsLeaf();
    return child;
}

quint64 JWMemo::structureGeneration()
{
    return s_structureGeneration;
}

void JWMemo::structureChanged()
{
    ++s_structureGeneration;
}

bool JWMemo::containsMemo(const JWMemo *memo) const
{
    if (memo == this)
        return true;
    return std::any_of(
        m_children.begin(), m_children.end(), [memo](const MemoPtr &child) { return child->containsMemo(memo); });
}

void JWMemo::addSubMemosToArray(QList<MemoPtr> &array, bool withoutProtectedMemo) const
{
    if (withoutProtectedMemo && m_protectWithPassword && !m_unlockedPassword)
        return;
    // A page not held by a MemoPtr cannot be handed out; its subtree still is.
    const MemoPtr self = std::const_pointer_cast<JWMemo>(weak_from_this().lock());
    if (self)
        array.append(self);
    for (const MemoPtr &child : m_children) {
        child->m_tempParentMemo = self;
        child->addSubMemosToArray(array, withoutProtectedMemo);
    }
}

void JWMemo::changeIsLeaf()
{
    bool leaf = true;
    if (m_openLeaf || !m_children.empty())
        leaf = m_protectWithPassword && !m_unlockedPassword;
    if (assign(m_isLeaf, leaf))
        Q_EMIT isLeafChanged();
}

void JWMemo::setOpenLeaf(bool openLeaf)
{
    if (assign(m_openLeaf, openLeaf))
        Q_EMIT openLeafChanged();
    changeIsLeaf();
}

// --- Text -------------------------------------------------------------------

QString JWMemo::titleFromText(const QString &text)
{
    const qsizetype end = text.indexOf(u'\n');
    QString line = end < 0 ? text : text.left(end);
    if (line.size() > kTitleLength)
        line.truncate(kTitleLength);
    return line;
}

void JWMemo::readPageFile() const
{
    // The text and the flag come from one file: it is read and parsed once,
    // filling whichever of them is still missing.
    if (m_pageFileRead)
        return;
    m_pageFileRead = true;
    const auto loaded = PageFile::load(m_memoID);
    if (!loaded) {
        m_pageFileUnreadable = true;
        qCWarning(lcModel).noquote() << loaded.errorMessage();
        return;
    }
    const std::optional<QVariantMap> &dictionary = loaded.value();
    if (!dictionary)
        return;
    if (m_memoData.isNull())
        m_memoData = PageFile::memoDataIn(*dictionary);
    if (!m_isPlainTextMemo)
        m_isPlainTextMemo = PageFile::isPlainTextMemoIn(*dictionary);
}

QByteArray JWMemo::memoData() const
{
    if (m_memoData.isNull())
        readPageFile();
    if (m_memoData.isNull()) {
        TextConverter converter;
        converter.setString(plainText());
        m_memoData = converter.RTFDData();
    }
    return m_memoData;
}

void JWMemo::setMemoData(const QByteArray &data)
{
    // A null array and an empty one differ here: only null means "not loaded".
    if (m_memoData.isNull() != data.isNull() || m_memoData != data) {
        m_memoData = data;
        if (data.isNull())
            m_pageFileRead = false; // to be read again when asked for
        Q_EMIT memoDataChanged();
        // A view showing the page shows the new text.
        if (m_focusText && !m_takingTextFromView)
            setDataToTextView(m_focusText);
    }
}

void JWMemo::setMemoDataWithPlainText(const QString &text)
{
    if (text.isNull())
        return;
    setPlainText(text);
    TextConverter converter;
    converter.setString(text);
    setMemoData(converter.RTFDData());
}

QString JWMemo::plainText() const
{
    return m_plainTextUtf8.isNull() ? m_plainText : QString::fromUtf8(m_plainTextUtf8);
}

QByteArray JWMemo::plainTextUtf8() const
{
    return m_plainTextUtf8.isNull() ? m_plainText.toUtf8() : m_plainTextUtf8;
}

void JWMemo::setPlainText(const QString &text)
{
    if (!m_plainTextUtf8.isNull()) {
        if (QString::fromUtf8(m_plainTextUtf8) == text)
            return;
        m_plainTextUtf8 = QByteArray();
        m_plainText = text;
        m_archiveRevision = ArchiveRevision::next();
        m_foldedText = QByteArray();
        Q_EMIT plainTextChanged();
        return;
    }
    if (assignArchived(m_plainText, text)) {
        m_foldedText = QByteArray();
        Q_EMIT plainTextChanged();
    }
}

namespace {

bool containsFolded(const QByteArray &haystack, const QString &word)
{
    const QByteArray key = CaseFolding::folded(word);
    return !key.isEmpty() && haystack.contains(key);
}

// Folded text is never null, so that null can mean "not made yet".
QByteArray nonNull(QByteArray folded)
{
    return folded.isNull() ? QByteArray("") : folded;
}

} // namespace

bool JWMemo::containsWordInText(const QString &word) const
{
    return containsFolded(foldedText(), word);
}

bool JWMemo::containsWordInTitle(const QString &word) const
{
    return containsFolded(foldedTitle(), word);
}

const QByteArray &JWMemo::foldedTitle() const
{
    if (m_foldedTitle.isNull())
        m_foldedTitle = nonNull(CaseFolding::folded(m_title));
    return m_foldedTitle;
}

const QByteArray &JWMemo::foldedText() const
{
    if (m_foldedText.isNull()) {
        // Pages fresh from the data store fold their archived UTF-8 as it lies.
        m_foldedText = nonNull(
            m_plainTextUtf8.isNull() ? CaseFolding::folded(m_plainText) : CaseFolding::foldedUtf8(m_plainTextUtf8));
    }
    return m_foldedText;
}

// --- Fields with side effects -------------------------------------------------

void JWMemo::setTitle(const QString &title)
{
    QString stored = title.isNull() ? QStringLiteral("") : title;
    // The pen symbol marks a title in the outline; it is never part of the title itself.
    // Without a strings table the key stands for itself, and its "P" is no pen.
    const QString penKey = QStringLiteral("PenSymbol");
    const QString pen = localizedString(penKey);
    if (!pen.isEmpty() && pen != penKey && stored.startsWith(pen.at(0)))
        stored.remove(0, 1);
    if (assignArchived(m_title, stored)) {
        m_foldedTitle = QByteArray();
        Q_EMIT titleChanged();
    }
    setIsEdited(true);
    NotificationCenter::defaultCenter().post(NotificationNames::JW3MemoTitleHasChanged, this);
}

void JWMemo::setIsEdited(bool edited)
{
    if (assign(m_isEdited, edited))
        Q_EMIT isEditedChanged();
    if (edited)
        setModifiedAt(QDateTime::currentDateTime());
}

void JWMemo::setLocked(bool locked)
{
    if (assignArchived(m_locked, locked))
        Q_EMIT lockedChanged();
    markEditedAndReload();
}

bool JWMemo::isPlainTextMemo() const
{
    if (!m_isPlainTextMemo)
        readPageFile();
    if (!m_isPlainTextMemo)
        m_isPlainTextMemo = false;
    return *m_isPlainTextMemo;
}

void JWMemo::setIsPlainTextMemo(bool plain)
{
    if (m_isPlainTextMemo != plain) {
        m_isPlainTextMemo = plain;
        Q_EMIT isPlainTextMemoChanged();
    }
    markEditedAndReload();
}

void JWMemo::setTitleColor(const QColor &color)
{
    if (assignArchived(m_titleColor, color.toRgb()))
        Q_EMIT titleColorChanged();
    markEditedAndReload();
}

void JWMemo::setTitleCharacterColor(const QColor &color)
{
    if (assignArchived(m_titleCharacterColor, color.toRgb()))
        Q_EMIT titleCharacterColorChanged();
    markEditedAndReload();
}

void JWMemo::setProtectWithPassword(bool protect)
{
    if (assignArchived(m_protectWithPassword, protect))
        Q_EMIT protectWithPasswordChanged();
    // Edited, so the page file is rewritten, but the content date stays.
    if (assign(m_isEdited, true))
        Q_EMIT isEditedChanged();
    changeIsLeaf();
    postReloadOutlineData();
}

void JWMemo::setUnlockedPassword(bool unlocked)
{
    if (assign(m_unlockedPassword, unlocked))
        Q_EMIT unlockedPasswordChanged();
    if (unlocked) {
        if (!m_lockPasswordTimer) {
            m_lockPasswordTimer = std::make_unique<QTimer>();
            m_lockPasswordTimer->setSingleShot(true);
            connect(m_lockPasswordTimer.get(), &QTimer::timeout, this, &JWMemo::lockPassword);
        }
        m_lockPasswordTimer->start(s_relockInterval); // restarts a running timer
    }
    changeIsLeaf();
    postReloadOutlineData();
}

void JWMemo::lockPassword()
{
    setUnlockedPassword(false);
    if (m_lockPasswordTimer)
        m_lockPasswordTimer->stop();
    changeIsLeaf();
    postReloadOutlineData();
}

std::chrono::milliseconds JWMemo::relockInterval()
{
    return s_relockInterval;
}

void JWMemo::setRelockInterval(std::chrono::milliseconds interval)
{
    s_relockInterval = interval.count() > 0 ? interval : kRelockInterval;
}

// --- Plain fields -----------------------------------------------------------

QDateTime JWMemo::createdAt() const
{
    if (m_createdAtInUtc) {
        m_createdAt = m_createdAt.toLocalTime();
        m_createdAtInUtc = false;
    }
    return m_createdAt;
}

QDateTime JWMemo::modifiedAt() const
{
    if (m_modifiedAtInUtc) {
        m_modifiedAt = m_modifiedAt.toLocalTime();
        m_modifiedAtInUtc = false;
    }
    return m_modifiedAt;
}

// Dates compare by the moment they stand for, so a date kept in UTC equals
// the same moment in local time.
void JWMemo::setCreatedAt(const QDateTime &date)
{
    if (assignArchived(m_createdAt, date)) {
        m_createdAtInUtc = false;
        Q_EMIT createdAtChanged();
    }
}

void JWMemo::setModifiedAt(const QDateTime &date)
{
    if (assignArchived(m_modifiedAt, date)) {
        m_modifiedAtInUtc = false;
        Q_EMIT modifiedAtChanged();
    }
}

void JWMemo::setReferenceNumber(int count)
{
    if (assignArchived(m_referenceNumber, count))
        Q_EMIT referenceNumberChanged();
}

void JWMemo::setTags(const QStringList &tags)
{
    if (!m_hasTags)
        m_archiveRevision = ArchiveRevision::next();
    m_hasTags = true;
    if (assignArchived(m_tags, tags))
        Q_EMIT tagsChanged();
}

void JWMemo::setScrollRange(const TextRange &range)
{
    if (assignArchived(m_scrollRange, range))
        Q_EMIT scrollRangeChanged();
}

QString JWMemo::scrollRangeString() const
{
    return GeometryStrings::stringFromRange(m_scrollRange);
}

void JWMemo::setScrollRangeString(const QString &text)
{
    setScrollRange(GeometryStrings::rangeFromString(text));
}

void JWMemo::setSelectedRange(const TextRange &range)
{
    if (assignArchived(m_selectedRange, range))
        Q_EMIT selectedRangeChanged();
}

QString JWMemo::selectedRangeString() const
{
    return GeometryStrings::stringFromRange(m_selectedRange);
}

void JWMemo::setSelectedRangeString(const QString &text)
{
    setSelectedRange(GeometryStrings::rangeFromString(text));
}

void JWMemo::setScaleImages(bool scale)
{
    if (!assignArchived(m_scaleImages, scale))
        return;
    // The views showing the page follow at once.
    if (m_focusText)
        m_focusText->setScaleImages(scale);
    for (MemoTextView *view : std::as_const(m_textArray))
        view->setScaleImages(scale);
    Q_EMIT scaleImagesChanged();
}

void JWMemo::setShowRuler(bool show)
{
    if (assignArchived(m_showRuler, show))
        Q_EMIT showRulerChanged();
}

void JWMemo::setShowLineNumbers(bool show)
{
    if (assignArchived(m_showLineNumbers, show))
        Q_EMIT showLineNumbersChanged();
}

void JWMemo::setVerticalLayout(bool vertical)
{
    if (assignArchived(m_verticalLayout, vertical))
        Q_EMIT verticalLayoutChanged();
}

void JWMemo::setWebURLStr(const QString &url)
{
    if (assignArchived(m_webURLStr, url.isNull() ? QStringLiteral("") : url))
        Q_EMIT webURLStrChanged();
}

void JWMemo::setWebIconImage(const QVariant &image)
{
    const QVariant stored
        = image.metaType() == QMetaType::fromType<ArchivedImage>() ? image : QVariant::fromValue(nullptr);
    if (assignArchived(m_webIconImage, stored))
        Q_EMIT webIconImageChanged();
}

void JWMemo::setWindowAttribute(WindowAttributePtr attribute)
{
    if (!attribute)
        attribute = std::make_shared<JWWindowAttribute>();
    if (assignArchived(m_windowAttribute, attribute))
        Q_EMIT windowAttributeChanged();
}

void JWMemo::setCharactersCount(const QString &count)
{
    if (assign(m_charactersCount, count))
        Q_EMIT charactersCountChanged();
}

void JWMemo::setWordsCount(const QString &count)
{
    if (assign(m_wordsCount, count))
        Q_EMIT wordsCountChanged();
}

void JWMemo::setSummary(const QString &textSummary)
{
    const QString format = CalendarFormat::qtDateFormat(localizedString(QStringLiteral("%m/%d/%y %H:%M")));
    const auto formatted = [&format](const QDateTime &date) {
        return date.isValid() ? date.toString(format) : QStringLiteral("N/A");
    };
    const QString summary = localizedString(QStringLiteral("     Creation: ")) + formatted(createdAt()) + u'\n'
        + localizedString(QStringLiteral("Last Modified: ")) + formatted(modifiedAt()) + QStringLiteral("\n\n")
        + textSummary;
    if (assign(m_summary, summary))
        Q_EMIT summaryChanged();
}

void JWMemo::setTempChildrenIds(const QString &ids)
{
    if (assign(m_tempChildrenIds, ids))
        Q_EMIT tempChildrenIdsChanged();
}

// --- Order and display ------------------------------------------------------

// --- Page file -------------------------------------------------------------

bool JWMemo::save()
{
    if (!m_isEdited)
        return false;
    // Pages made for an export, an import or an exchange never write into the data folder.
    if (!ApplicationTree::contains(this))
        return false;
    m_isEdited = false;
    Q_EMIT isEditedChanged();
    // Text shown in a view is taken back from it here once the text view exists.
    if (!m_isPlainTextMemo) {
        // Never shown since loading: the old file still knows. Only a page
        // that never had a file takes the preference for new pages.
        readPageFile();
        if (!m_isPlainTextMemo) {
            UserDefaults &defaults = UserDefaults::standardUserDefaults();
            const QString key = PreferenceKeys::createNewMemoAsPlainText;
            if (!defaults.objectForKey(key).isValid())
                defaults.registerDefaults({{key, false}});
            m_isPlainTextMemo = defaults.boolForKey(key);
        }
    }
    // A file that was never read may be one that cannot be: find out before replacing it.
    if (!m_pageFileRead && PageFile::exists(m_memoID))
        readPageFile();
    Status written;
    if (m_pageFileUnreadable) {
        if (auto aside = PageFile::setAsideUnreadable(m_memoID); !aside) {
            written = Error{aside.errorMessage()};
        } else {
            m_pageFileUnreadable = false;
            qCWarning(lcModel).noquote()
                << QStringLiteral("The unreadable file of page %1 was kept as %2").arg(m_memoID).arg(aside.value());
        }
    }
    if (written)
        written = PageFile::writeMemo(*this);
    if (!written) {
        // Still edited, so that the next save tries again; the date stays.
        m_saveError = written.errorMessage();
        m_isEdited = true;
        Q_EMIT isEditedChanged();
        qCWarning(lcModel, "Page %lld was not saved: %s", m_memoID, qPrintable(m_saveError));
        return false;
    }
    m_saveError.clear();
    return true;
}

void JWMemo::removeNoteFile()
{
    (void)memoData(); // the text stays in memory, to be written under the page's next ID
    setIsEdited(true);
    if (m_webURLStr.isEmpty())
        PageFile::remove(m_memoID);
    else
        PageFile::removeWebArchives(m_memoID);
}

void JWMemo::clearMemoData()
{
    QVariantMap dictionary = PageFile::dictionaryForMemo(*this);
    dictionary.remove(QStringLiteral("memoData"));
    if (Status s = PageFile::write(m_memoID, dictionary); !s)
        qCWarning(lcModel, "Page %lld: %s", m_memoID, qPrintable(s.errorMessage()));
}

bool JWMemo::loadTextInto(TextConverter &converter) const
{
    const QByteArray data = memoData();
    return !data.isEmpty() && converter.setRTFDData(data).ok();
}

void JWMemo::storeTextAndSave(const TextConverter &converter)
{
    setMemoData(converter.RTFDData());
    setPlainText(converter.plainString());
    setIsEdited(true);
    save();
}

void JWMemo::convertNoteTextToSetTitleAtFirstLine()
{
    save();
    TextConverter converter;
    if (!loadTextInto(converter))
        return;
    converter.insertTitleToTop(m_title);
    storeTextAndSave(converter);
}

void JWMemo::convertNoteTextToSetTitleFromFirstLine()
{
    save();
    TextConverter converter;
    if (!loadTextInto(converter))
        return;
    setTitle(converter.topLine());
    setIsEdited(true);
    save();
}

void JWMemo::setMemoTitleIfNeeded(const QString &title)
{
    TextConverter converter;
    if (UserDefaults::standardUserDefaults().boolForKey(PreferenceKeys::UseTopLineAsTitle) && loadTextInto(converter)
        && converter.topLine() != title) {
        converter.insertTitleToTop(title);
        storeTextAndSave(converter);
    }
    setTitle(title);
}

int JWMemo::compare(const JWMemo &other) const
{
    if (const int c = StringUtility::naturalCompare(m_title, other.m_title); c != 0)
        return c;
    if (const int c = compareDates(m_modifiedAt, other.m_modifiedAt); c != 0)
        return c;
    return compareDates(m_createdAt, other.m_createdAt);
}

QVariantMap JWMemo::dictionaryRepresentation() const
{
    QVariantList children;
    children.reserve(qsizetype(m_children.size()));
    for (const MemoPtr &child : m_children)
        children.append(child->dictionaryRepresentation());
    return {
        {QStringLiteral("Title"), m_title},
        {QStringLiteral("NoteString"), plainText()},
        {QStringLiteral("CreationDate"), createdAt()},
        {QStringLiteral("LastUpdate"), modifiedAt()},
        {QStringLiteral("Children"), children},
    };
}

QString JWMemo::description() const
{
    return QStringLiteral("id:%1 title:%2 / children:%3").arg(m_memoID).arg(m_title).arg(m_children.size());
}
