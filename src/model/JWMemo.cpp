#include "JWMemo.h"

#include "RecordValues.h"
#include "platform/ArchivedValues.h"
#include "platform/Localization.h"
#include "platform/NotificationCenter.h"
#include "platform/NotificationNames.h"
#include "platform/TextConverter.h"
#include "platform/UserDefaults.h"

#include <QMetaProperty>

#include <algorithm>
#include <array>

namespace {

const QString kMemoIDKey = QStringLiteral("memoID");

std::chrono::milliseconds s_relockInterval = JWMemo::kRelockInterval;

using RecordValues::assign;

// Titles are never longer than this when taken from a text.
constexpr qsizetype kTitleLength = 15;

// The keys a deep copy carries over by key, in the order they are copied, so
// that each runs its setter as on the original.
constexpr std::array kCopiedKeys = {
    "title", "plainText", "titleColor", "titleCharacterColor", "locked", "isPlainTextMemo",
    "protectWithPassword", "scaleImages", "showRuler", "showLineNumbers", "verticalLayout", "webURLStr",
    "webIconImage",
};

// The keys a duplicate without children takes from its original, after the text.
constexpr std::array kDuplicatedKeys = {
    "title", "titleColor", "locked", "isPlainTextMemo", "protectWithPassword", "tags",
    "scaleImages", "showRuler", "showLineNumbers", "verticalLayout",
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

// Titles compare as people read them: runs of digits by their value, letters
// without regard to case. Equal runs of digits with different leading zeros
// fall back to their length, so the order stays total.
int naturalCompare(const QString &a, const QString &b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (a.at(i).isDigit() && b.at(j).isDigit()) {
            const qsizetype startA = i;
            const qsizetype startB = j;
            while (i < a.size() && a.at(i).isDigit())
                ++i;
            while (j < b.size() && b.at(j).isDigit())
                ++j;
            QStringView runA = QStringView(a).mid(startA, i - startA);
            QStringView runB = QStringView(b).mid(startB, j - startB);
            while (runA.size() > 1 && runA.front() == u'0')
                runA = runA.mid(1);
            while (runB.size() > 1 && runB.front() == u'0')
                runB = runB.mid(1);
            if (runA.size() != runB.size())
                return runA.size() < runB.size() ? -1 : 1;
            if (const int c = runA.compare(runB); c != 0)
                return c < 0 ? -1 : 1;
            continue;
        }
        const QChar ca = a.at(i).toCaseFolded();
        const QChar cb = b.at(j).toCaseFolded();
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    if (j < b.size())
        return -1;
    return 0;
}

int compareDates(const QDateTime &a, const QDateTime &b)
{
    if (a == b)
        return 0;
    return a < b ? -1 : 1;
}

// The summary's date format is localised in the platform's calendar notation
// ("%m/%d/%y %H:%M"); turn it into a Qt format, quoting everything else.
QString qtDateFormat(const QString &calendarFormat)
{
    QString format;
    QString literal;
    const auto flushLiteral = [&] {
        if (literal.isEmpty())
            return;
        format += u'\'' + QString(literal).replace(u'\'', QStringLiteral("''")) + u'\'';
        literal.clear();
    };
    for (qsizetype i = 0; i < calendarFormat.size(); ++i) {
        const QChar c = calendarFormat.at(i);
        if (c != u'%' || i + 1 == calendarFormat.size()) {
            literal += c;
            continue;
        }
        const QChar code = calendarFormat.at(++i);
        QString field;
        switch (code.unicode()) {
        case 'm': field = QStringLiteral("MM"); break;
        case 'd': field = QStringLiteral("dd"); break;
        case 'e': field = QStringLiteral("d"); break;
        case 'y': field = QStringLiteral("yy"); break;
        case 'Y': field = QStringLiteral("yyyy"); break;
        case 'H': field = QStringLiteral("HH"); break;
        case 'I': field = QStringLiteral("hh"); break;
        case 'M': field = QStringLiteral("mm"); break;
        case 'S': field = QStringLiteral("ss"); break;
        case 'p': field = QStringLiteral("AP"); break;
        case 'b': field = QStringLiteral("MMM"); break;
        case 'B': field = QStringLiteral("MMMM"); break;
        case 'a': field = QStringLiteral("ddd"); break;
        case 'A': field = QStringLiteral("dddd"); break;
        default: literal += code; continue;
        }
        flushLiteral();
        format += field;
    }
    flushLiteral();
    return format;
}

} // namespace

JWMemo::JWMemo()
    : JWMemo(BareKey{})
{
    // Removing a stale page file left under the new ID comes with the data folder.
    assignNewID();
    m_title = localizedString(QStringLiteral("Untitled"));
    const UserDefaults &defaults = UserDefaults::standardUserDefaults();
    if (defaults.boolForKey(QStringLiteral("UseTopLineAsTitle")))
        m_plainText = m_title;
    m_createdAt = m_modifiedAt = QDateTime::currentDateTime();
    m_isPlainTextMemo = defaults.boolForKey(QStringLiteral("createNewMemoAsPlainText"));
    m_isEdited = true;
    changeIsLeaf();
}

JWMemo::JWMemo(BareKey)
    : m_titleColor(clearColor()),
      m_titleCharacterColor(blackColor()),
      m_webIconImage(QVariant::fromValue(nullptr)),
      m_windowAttribute(std::make_shared<JWWindowAttribute>())
{
    m_lockPasswordTimer.setSingleShot(true);
    connect(&m_lockPasswordTimer, &QTimer::timeout, this, &JWMemo::lockPassword);
    observeNotifications();
}

JWMemo::~JWMemo() = default;

MemoPtr JWMemo::memo()
{
    return std::make_shared<JWMemo>();
}

MemoPtr JWMemo::bareMemo()
{
    return std::make_shared<JWMemo>(BareKey{});
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

void JWMemo::observeNotifications()
{
    // The menu command that shows every page as expandable, or not.
    NotificationCenter::defaultCenter().addObserver(
        this, NotificationNames::JW3OpenNoteLeaf, nullptr,
        [this](const Notification &note) { setOpenLeaf(note.userInfo.value(QStringLiteral("status")).toBool()); });
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
    UserDefaults &defaults = UserDefaults::standardUserDefaults();
    const QVariant last = defaults.objectForKey(kMemoIDKey);
    const qint64 id = last.isValid() ? defaults.integerForKey(kMemoIDKey) + 1 : 1;
    setMemoID(id);
    defaults.setValue(kMemoIDKey, id);
    // Written at once, so that a crash never hands the same ID out again.
    if (Status s = defaults.synchronize(); !s)
        qWarning("Could not save the last page ID: %s", qPrintable(s.errorMessage()));
    return id;
}

void JWMemo::setMemoID(qint64 memoID)
{
    if (assign(m_memoID, memoID))
        Q_EMIT memoIDChanged();
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
        if (MemoPtr child = value.value<MemoPtr>())
            list.push_back(std::move(child));
    }
    m_children = std::move(list);
    Q_EMIT childrenChanged();
    changeIsLeaf();
}

void JWMemo::insertChild(qsizetype index, MemoPtr child)
{
    if (!child)
        return;
    index = std::clamp<qsizetype>(index, 0, qsizetype(m_children.size()));
    m_children.insert(m_children.begin() + index, std::move(child));
    Q_EMIT childrenChanged();
    changeIsLeaf();
}

void JWMemo::appendChild(MemoPtr child)
{
    insertChild(qsizetype(m_children.size()), std::move(child));
}

bool JWMemo::removeChild(const JWMemo *child)
{
    const auto it = std::find_if(m_children.begin(), m_children.end(),
                                 [child](const MemoPtr &c) { return c.get() == child; });
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
    Q_EMIT childrenChanged();
    changeIsLeaf();
    return child;
}

bool JWMemo::containsMemo(const JWMemo *memo) const
{
    if (memo == this)
        return true;
    return std::any_of(m_children.begin(), m_children.end(),
                       [memo](const MemoPtr &child) { return child->containsMemo(memo); });
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

void JWMemo::setMemoData(const QByteArray &data)
{
    if (assign(m_memoData, data))
        Q_EMIT memoDataChanged();
}

void JWMemo::setPlainText(const QString &text)
{
    if (assign(m_plainText, text))
        Q_EMIT plainTextChanged();
}

bool JWMemo::containsWordInText(const QString &word) const
{
    return m_plainText.contains(word, Qt::CaseInsensitive);
}

bool JWMemo::containsWordInTitle(const QString &word) const
{
    return m_title.contains(word, Qt::CaseInsensitive);
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
    if (assign(m_title, stored))
        Q_EMIT titleChanged();
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
    if (assign(m_locked, locked))
        Q_EMIT lockedChanged();
    markEditedAndReload();
}

void JWMemo::setIsPlainTextMemo(bool plain)
{
    if (assign(m_isPlainTextMemo, plain))
        Q_EMIT isPlainTextMemoChanged();
    markEditedAndReload();
}

void JWMemo::setTitleColor(const QColor &color)
{
    if (assign(m_titleColor, color.toRgb()))
        Q_EMIT titleColorChanged();
    markEditedAndReload();
}

void JWMemo::setTitleCharacterColor(const QColor &color)
{
    if (assign(m_titleCharacterColor, color.toRgb()))
        Q_EMIT titleCharacterColorChanged();
    markEditedAndReload();
}

void JWMemo::setProtectWithPassword(bool protect)
{
    if (assign(m_protectWithPassword, protect))
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
    if (unlocked)
        m_lockPasswordTimer.start(s_relockInterval); // restarts a running timer
    changeIsLeaf();
    postReloadOutlineData();
}

void JWMemo::lockPassword()
{
    setUnlockedPassword(false);
    m_lockPasswordTimer.stop();
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

void JWMemo::setCreatedAt(const QDateTime &date)
{
    if (assign(m_createdAt, date))
        Q_EMIT createdAtChanged();
}

void JWMemo::setModifiedAt(const QDateTime &date)
{
    if (assign(m_modifiedAt, date))
        Q_EMIT modifiedAtChanged();
}

void JWMemo::setReferenceNumber(int count)
{
    if (assign(m_referenceNumber, count))
        Q_EMIT referenceNumberChanged();
}

void JWMemo::setTags(const QStringList &tags)
{
    if (assign(m_tags, tags))
        Q_EMIT tagsChanged();
}

void JWMemo::setScrollRange(const TextRange &range)
{
    if (assign(m_scrollRange, range))
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
    if (assign(m_selectedRange, range))
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
    if (assign(m_scaleImages, scale))
        Q_EMIT scaleImagesChanged();
}

void JWMemo::setShowRuler(bool show)
{
    if (assign(m_showRuler, show))
        Q_EMIT showRulerChanged();
}

void JWMemo::setShowLineNumbers(bool show)
{
    if (assign(m_showLineNumbers, show))
        Q_EMIT showLineNumbersChanged();
}

void JWMemo::setVerticalLayout(bool vertical)
{
    if (assign(m_verticalLayout, vertical))
        Q_EMIT verticalLayoutChanged();
}

void JWMemo::setWebURLStr(const QString &url)
{
    if (assign(m_webURLStr, url.isNull() ? QStringLiteral("") : url))
        Q_EMIT webURLStrChanged();
}

void JWMemo::setWebIconImage(const QVariant &image)
{
    const QVariant stored =
        image.metaType() == QMetaType::fromType<ArchivedImage>() ? image : QVariant::fromValue(nullptr);
    if (assign(m_webIconImage, stored))
        Q_EMIT webIconImageChanged();
}

void JWMemo::setWindowAttribute(WindowAttributePtr attribute)
{
    if (!attribute)
        attribute = std::make_shared<JWWindowAttribute>();
    if (assign(m_windowAttribute, attribute))
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
    const QString format = qtDateFormat(localizedString(QStringLiteral("%m/%d/%y %H:%M")));
    const auto formatted = [&format](const QDateTime &date) {
        return date.isValid() ? date.toString(format) : QStringLiteral("N/A");
    };
    const QString summary = localizedString(QStringLiteral("     Creation: ")) + formatted(m_createdAt) + u'\n'
        + localizedString(QStringLiteral("Last Modified: ")) + formatted(m_modifiedAt) + QStringLiteral("\n\n")
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

int JWMemo::compare(const JWMemo &other) const
{
    if (const int c = naturalCompare(m_title, other.m_title); c != 0)
        return c;
    if (const int c = compareDates(m_modifiedAt, other.m_modifiedAt); c != 0)
        return c;
    return compareDates(m_createdAt, other.m_createdAt);
}

QString JWMemo::description() const
{
    return QStringLiteral("id:%1 title:%2 / children:%3").arg(m_memoID).arg(m_title).arg(m_children.size());
}
