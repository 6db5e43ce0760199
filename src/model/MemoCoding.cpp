#include "MemoCoding.h"

#include "ArchivedGeometry.h"
#include "ModelLog.h"
#include "RecordValues.h"
#include "platform/base/VariantKinds.h"
#include "WindowAttributeCoding.h"

#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamStandardCoders.h"
#include "platform/typedstream/TypedStreamWriter.h"
#include "util/GeometryStrings.h"

#include <limits>
#include <optional>

// Reading a page fills its fields directly, as a page coming out of an
// archive is not being edited: no setter may mark it edited, move its dates
// or post notifications for every page of the tree.
struct MemoArchiveAccess
{
    static qint64 &memoID(JWMemo &m) { return m.m_memoID; }
    static QString &title(JWMemo &m) { return m.m_title; }
    static std::vector<MemoPtr> &children(JWMemo &m) { return m.m_children; }
    // Archived dates are kept in UTC; the page turns them into local time when asked.
    static void setArchivedDates(JWMemo &m, const QDateTime &created, const QDateTime &modified)
    {
        m.m_createdAt = created;
        m.m_createdAtInUtc = created.isValid();
        m.m_modifiedAt = modified;
        m.m_modifiedAtInUtc = modified.isValid();
    }
    // The dates as kept, for writing: the moment is what counts, not the zone.
    static const QDateTime &createdAtAsKept(const JWMemo &m) { return m.m_createdAt; }
    static const QDateTime &modifiedAtAsKept(const JWMemo &m) { return m.m_modifiedAt; }
    static int &referenceNumber(JWMemo &m) { return m.m_referenceNumber; }
    static QStringList &tags(JWMemo &m) { return m.m_tags; }
    static bool &hasTags(JWMemo &m) { return m.m_hasTags; }
    static QColor &titleColor(JWMemo &m) { return m.m_titleColor; }
    static QColor &titleCharacterColor(JWMemo &m) { return m.m_titleCharacterColor; }
    static bool &locked(JWMemo &m) { return m.m_locked; }
    static bool &protectWithPassword(JWMemo &m) { return m.m_protectWithPassword; }
    static void setPlainText(JWMemo &m, const QString &text) { m.m_plainText = text; }
    // Valid UTF-8 that converts to a QString and back unchanged.
    static void setPlainTextUtf8(JWMemo &m, const QByteArray &utf8) { m.m_plainTextUtf8 = utf8; }
    static const QByteArray &plainTextUtf8(const JWMemo &m) { return m.m_plainTextUtf8; }
    static TextRange &scrollRange(JWMemo &m) { return m.m_scrollRange; }
    static TextRange &selectedRange(JWMemo &m) { return m.m_selectedRange; }
    static WindowAttributePtr &windowAttribute(JWMemo &m) { return m.m_windowAttribute; }
    static bool &scaleImages(JWMemo &m) { return m.m_scaleImages; }
    static bool &showRuler(JWMemo &m) { return m.m_showRuler; }
    static bool &showLineNumbers(JWMemo &m) { return m.m_showLineNumbers; }
    static bool &verticalLayout(JWMemo &m) { return m.m_verticalLayout; }
    static QString &webURLStr(JWMemo &m) { return m.m_webURLStr; }
    static QVariant &webIconImage(JWMemo &m) { return m.m_webIconImage; }
    static bool &isEdited(JWMemo &m) { return m.m_isEdited; }

    /** While one lives, the pages made register for notifications as one batch (see JWMemo). */
    struct ObserverBatch
    {
        ObserverBatch() { JWMemo::openObserverBatch(); }
        ~ObserverBatch() { JWMemo::closeObserverBatch(); }
        ObserverBatch(const ObserverBatch &) = delete;
        ObserverBatch &operator=(const ObserverBatch &) = delete;
    };
};

namespace MemoCoding {
namespace {

using RecordValues::unwrapped;
using VariantKinds::isInteger;

using Access = MemoArchiveAccess;

QColor displayColor(const ArchivedColor &color)
{
    // Pages keep their colours in device RGB whatever the archive holds.
    return color.toColor().toRgb();
}

/**
 * Reads the page's values one after another. After the first failure every
 * further read answers nothing, and status() names the field that failed.
 */
class FieldReader
{
public:
    explicit FieldReader(TypedStreamDecoder &decoder)
        : m_decoder(decoder)
    { }

    [[nodiscard]] Status status() const
    {
        if (m_error.isEmpty())
            return {};
        return Error{m_error};
    }

    /** The next object; a null QVariant for nil. */
    std::optional<QVariant> object(const char *field)
    {
        if (!m_error.isEmpty())
            return std::nullopt;
        auto value = m_decoder.decodeObject();
        if (!value) {
            fail(field, value.errorMessage());
            return std::nullopt;
        }
        return unwrapped(value.value());
    }

    void integer(const char *field, qint64 &out, qint64 min, qint64 max)
    {
        auto value = object(field);
        if (!value || value->isNull())
            return; // nil keeps the default
        if (!isInteger(*value))
            return fail(field, QStringLiteral("a whole number was expected"));
        const qint64 n = value->toLongLong();
        if (value->metaType().id() == QMetaType::ULongLong && value->toULongLong() > quint64(max))
            return fail(field, QStringLiteral("%1 is out of range").arg(value->toULongLong()));
        if (n < min || n > max)
            return fail(field, QStringLiteral("%1 is out of range").arg(n));
        out = n;
    }

    void flagObject(const char *field, bool &out)
    {
        qint64 n = out ? 1 : 0;
        integer(field, n, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max());
        out = n != 0;
    }

    void flag(const char *field, bool &out)
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeBool();
        if (!value)
            return fail(field, value.errorMessage());
        out = value.value();
    }

    void string(const char *field, QString &out)
    {
        auto value = object(field);
        if (!value)
            return;
        if (value->isNull()) {
            out = QStringLiteral("");
            return;
        }
        if (value->metaType() != QMetaType::fromType<QString>())
            return fail(field, QStringLiteral("a string was expected"));
        out = value->toString();
        // An archived "" is a string all the same: a null QString would count
        // as missing, and a page file stops at its first missing value.
        if (out.isNull())
            out = QStringLiteral("");
    }

    void range(const char *field, TextRange &out)
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObjectKeepingUtf8();
        if (!value)
            return fail(field, value.errorMessage());
        const QVariant text = unwrapped(value.value());
        if (!ArchivedGeometry::isString(text))
            return fail(field, QStringLiteral("a string was expected"));
        out = ArchivedGeometry::range(text); // nil reads as ""
    }

    /** The moment of a date (NSDate or NSCalendarDate), in UTC; its calendar format and zone are not kept. */
    void date(const char *field, QDateTime &out)
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObjectWith(TypedStreamStandardCoders::decodeMoment);
        if (!value)
            return fail(field, value.errorMessage());
        out = value.value().isNull() ? QDateTime() : value.value().toDateTime(); // nil: unknown
    }

    /** A string that may stay in its archived UTF-8 (see TypedStreamDecoder::decodeObjectKeepingUtf8). */
    void text(const char *field, QString &out, QByteArray &utf8)
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObjectKeepingUtf8();
        if (!value)
            return fail(field, value.errorMessage());
        if (value.value().metaType() == QMetaType::fromType<TypedStreamUtf8>()) {
            utf8 = value.value().value<TypedStreamUtf8>().bytes;
            return;
        }
        const QVariant string = unwrapped(value.value());
        if (string.isNull()) {
            out = QStringLiteral("");
        } else if (string.metaType() != QMetaType::fromType<QString>()) {
            fail(field, QStringLiteral("a string was expected"));
        } else {
            out = string.toString();
            if (out.isNull())
                out = QStringLiteral("");
        }
    }

    void color(const char *field, QColor &out, const QColor &whenNil)
    {
        auto value = object(field);
        if (!value)
            return;
        if (value->isNull())
            out = whenNil;
        else if (value->metaType() == QMetaType::fromType<ArchivedColor>())
            out = displayColor(value->value<ArchivedColor>());
        else
            fail(field, QStringLiteral("a colour was expected"));
    }

    /**
     * The elements of an array, handed to @p each as they are read: no list
     * is made for them. False in @p present for nil.
     */
    void elements(const char *field, const std::function<Status(QVariant)> &each, bool &present)
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObjectWith([&each](TypedStreamDecoder &array) -> Result<QVariant> {
            if (Status s = TypedStreamStandardCoders::decodeArrayElements(array, each); !s)
                return Error{s.errorMessage()};
            return QVariant(true);
        });
        if (!value)
            return fail(field, value.errorMessage());
        present = !value.value().isNull();
    }

    void tags(QStringList &out, bool &present)
    {
        out.clear();
        // Pages of some versions were written without tags (nil).
        elements(
            "tags",
            [&out](QVariant item) -> Status {
                const QVariant tag = unwrapped(std::move(item));
                if (tag.metaType() != QMetaType::fromType<QString>())
                    return Error{QStringLiteral("an array of strings was expected")};
                out.append(tag.toString());
                return {};
            },
            present);
    }

    void children(std::vector<MemoPtr> &out)
    {
        bool present = false;
        elements(
            "children",
            [&out](QVariant item) -> Status {
                MemoPtr child = unwrapped(std::move(item)).value<MemoPtr>();
                if (!child)
                    return Error{QStringLiteral("an array of pages was expected")};
                out.push_back(std::move(child));
                return {};
            },
            present);
    }

    void windowAttribute(WindowAttributePtr &out)
    {
        auto value = object("windowAttribute");
        if (!value || value->isNull())
            return; // the page keeps its new default record
        WindowAttributePtr record = value->value<WindowAttributePtr>();
        if (!record)
            return fail("windowAttribute", QStringLiteral("a window record was expected"));
        out = std::move(record);
    }

    void webIconImage(QVariant &out)
    {
        auto value = object("webIconImage");
        if (!value)
            return;
        if (value->metaType() == QMetaType::fromType<ArchivedImage>())
            out = *value;
        else if (value->isNull())
            out = QVariant::fromValue(nullptr); // NSNull or nil: no icon
        else
            fail("webIconImage", QStringLiteral("an image was expected"));
    }

private:
    void fail(const char *field, const QString &why)
    {
        m_error = QStringLiteral("%1 %2: %3").arg(QLatin1String(kClassName), QLatin1String(field), why);
    }

    TypedStreamDecoder &m_decoder;
    QString m_error;
};

Result<QVariant> decode(TypedStreamDecoder &decoder)
{
    const qint64 version = decoder.versionForClassName(kClassName).value_or(kClassVersion);
    // The pages of one tree are read one after another: they share their
    // registration for the application's notifications.
    const Access::ObserverBatch batch;
    const MemoPtr memo = JWMemo::bareMemo();
    JWMemo &m = *memo;
    FieldReader read(decoder);

    read.integer("memoID", Access::memoID(m), 0, std::numeric_limits<qint64>::max());
    read.string("title", Access::title(m));
    read.children(Access::children(m));
    QDateTime createdAt;
    QDateTime modifiedAt;
    read.date("createdAt", createdAt);
    read.date("modifiedAt", modifiedAt);
    Access::setArchivedDates(m, createdAt, modifiedAt);
    qint64 references = 0;
    read.integer("referenceNumber", references, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    Access::referenceNumber(m) = int(references);
    read.tags(Access::tags(m), Access::hasTags(m));
    read.color("titleColor", Access::titleColor(m), ArchivedColor::clear().toColor().toRgb());
    read.flagObject("locked", Access::locked(m));
    read.flagObject("protectWithPassword", Access::protectWithPassword(m));
    QString plainText;
    QByteArray plainTextUtf8;
    read.text("plainText", plainText, plainTextUtf8);
    if (plainTextUtf8.isNull())
        Access::setPlainText(m, plainText);
    else
        Access::setPlainTextUtf8(m, plainTextUtf8);
    read.range("scrollRange", Access::scrollRange(m));
    read.range("selectedRange", Access::selectedRange(m));
    read.windowAttribute(Access::windowAttribute(m));

    if (version >= 2)
        read.flag("scaleImages", Access::scaleImages(m));
    if (version >= 3) {
        read.flag("showRuler", Access::showRuler(m));
        read.flag("showLineNumbers", Access::showLineNumbers(m));
        read.color("titleCharacterColor", Access::titleCharacterColor(m), QColor(0, 0, 0).toRgb());
    }
    if (version > 3)
        read.flag("verticalLayout", Access::verticalLayout(m));
    else
        Access::scaleImages(m) = false; // older stores have always come back without image scaling
    if (version >= 5) {
        read.string("webURLStr", Access::webURLStr(m));
        read.webIconImage(Access::webIconImage(m));
    }
    if (Status status = read.status(); !status)
        return Error{status.errorMessage()};

    Access::isEdited(m) = false;
    memo->changeIsLeaf();
    return QVariant::fromValue(memo);
}

Status failed(const JWMemo &memo, const Status &status)
{
    return Error{
        QStringLiteral("%1 %2: %3").arg(QLatin1String(kClassName)).arg(memo.memoID()).arg(status.errorMessage())};
}

QVariant string(const QString &text)
{
    return QVariant(text.isNull() ? QStringLiteral("") : text);
}

QVariant color(const QColor &c)
{
    return QVariant::fromValue(ArchivedColor::fromColor(c));
}

// The page's values up to its children: the ID, the title, and the start of
// the children's array with their count.
Status encodeHeadValues(TypedStreamWriter &writer, const JWMemo &memo)
{
    if (Status s = writer.encodeObject(QVariant::fromValue(memo.memoID())); !s)
        return failed(memo, s);
    if (Status s = writer.encodeObject(string(memo.title())); !s)
        return failed(memo, s);
    if (Status s = writer.beginObject(QByteArrayLiteral("NSMutableArray")); !s)
        return failed(memo, s);
    writer.encodeInt(qint32(memo.children().size()));
    return {};
}

// The end of the children's array and the page's values after it.
Status encodeTailValues(TypedStreamWriter &writer, JWMemo &memo, qint64 version)
{
    writer.endObject();
    const auto date = [](const QDateTime &when) {
        // A page whose date is unknown is written as now: the format has no "no date".
        return QVariant::fromValue(
            ArchivedCalendarDate::fromDateTime((when.isValid() ? when : QDateTime::currentDateTime()).toUTC()));
    };
    // A text still in the UTF-8 it was read in is written from those bytes.
    const QByteArray &plainTextUtf8 = Access::plainTextUtf8(memo);
    constexpr qsizetype kPlainText = 7;

    if (!memo.hasTags())
        qCWarning(lcModel, "Problem! Page %lld has no tag list", memo.memoID());
    const QVariantList objects = {
        date(Access::createdAtAsKept(memo)),
        date(Access::modifiedAtAsKept(memo)),
        QVariant::fromValue(memo.referenceNumber()),
        memo.hasTags() ? QVariant::fromValue(memo.tags()) : QVariant(),
        color(memo.titleColor()),
        QVariant::fromValue(memo.locked()),
        QVariant::fromValue(memo.protectWithPassword()),
        plainTextUtf8.isNull() ? string(memo.plainText()) : QVariant(),
        GeometryStrings::stringFromRange(memo.scrollRange()),
        GeometryStrings::stringFromRange(memo.selectedRange()),
        QVariant::fromValue(memo.windowAttribute()),
    };
    for (qsizetype i = 0; i < objects.size(); ++i) {
        const Status s = i == kPlainText && !plainTextUtf8.isNull() ? writer.encodeStringBytes(plainTextUtf8)
                                                                    : writer.encodeObject(objects[i]);
        if (!s)
            return failed(memo, s);
    }
    if (version >= 2)
        writer.encodeBool(memo.scaleImages());
    if (version >= 3) {
        writer.encodeBool(memo.showRuler());
        writer.encodeBool(memo.showLineNumbers());
        if (Status s = writer.encodeObject(color(memo.titleCharacterColor())); !s)
            return s;
    }
    if (version >= 4)
        writer.encodeBool(memo.verticalLayout());
    if (version >= 5) {
        if (Status s = writer.encodeObject(string(memo.webURLStr())); !s)
            return s;
        if (Status s = writer.encodeObject(memo.webIconImage()); !s)
            return s;
    }
    // Archiving the tree is when edited pages write their files.
    memo.save();
    return {};
}

// A writer that tracks spans gets one for the page's values up to its
// children (the head), one per child's subtree, and one from the end of the
// children to the page's end (the tail): the pieces TreeArchive rewrites.
Status encode(TypedStreamWriter &writer, const QVariant &value, qint64 version)
{
    const MemoPtr memo = value.value<MemoPtr>();
    if (!memo)
        return Error{QStringLiteral("%1: no page to archive").arg(QLatin1String(kClassName))};
    if (Status s = encodeHeadValues(writer, *memo); !s)
        return s;
    for (const MemoPtr &child : memo->children()) {
        writer.markSpan();
        if (Status s = writer.encodeObject(QVariant::fromValue(child)); !s)
            return s;
    }
    writer.markSpan();
    return encodeTailValues(writer, *memo, version);
}

} // namespace

TypedStreamCoder coder(qint64 version)
{
    return RecordValues::recordCoder<JWMemo>(kClassName, version, encode, decode);
}

void registerWith(TypedStreamRegistry &registry)
{
    WindowAttributeCoding::registerWith(registry);
    registry.registerCoder(coder(kClassVersion));
    registry.setDefaultClassName(qMetaTypeId<MemoPtr>(), kClassName);
}

MemoPtr snapshot(JWMemo &memo)
{
    const MemoPtr copy = JWMemo::unobservedMemo();
    JWMemo &c = *copy;
    JWMemo &m = memo;
    Access::memoID(c) = memo.memoID();
    Access::title(c) = Access::title(m);
    Access::children(c).reserve(memo.children().size());
    for (const MemoPtr &child : memo.children())
        Access::children(c).push_back(snapshot(*child));
    Access::setArchivedDates(c, Access::createdAtAsKept(memo), Access::modifiedAtAsKept(memo));
    Access::referenceNumber(c) = memo.referenceNumber();
    Access::tags(c) = Access::tags(m);
    Access::hasTags(c) = memo.hasTags();
    Access::titleColor(c) = Access::titleColor(m);
    Access::titleCharacterColor(c) = Access::titleCharacterColor(m);
    Access::locked(c) = Access::locked(m);
    Access::protectWithPassword(c) = Access::protectWithPassword(m);
    if (Access::plainTextUtf8(memo).isNull())
        Access::setPlainText(c, memo.plainText());
    else
        Access::setPlainTextUtf8(c, Access::plainTextUtf8(memo));
    Access::scrollRange(c) = Access::scrollRange(m);
    Access::selectedRange(c) = Access::selectedRange(m);
    if (const WindowAttributePtr &window = memo.windowAttribute()) {
        Access::windowAttribute(c) = window->archivedCopy();
        // The page changes as archiving it would have changed it.
        WindowAttributeCoding::settleAfterArchiving(*window);
    } else {
        Access::windowAttribute(c) = nullptr;
    }
    Access::scaleImages(c) = Access::scaleImages(m);
    Access::showRuler(c) = Access::showRuler(m);
    Access::showLineNumbers(c) = Access::showLineNumbers(m);
    Access::verticalLayout(c) = Access::verticalLayout(m);
    Access::webURLStr(c) = Access::webURLStr(m);
    Access::webIconImage(c) = Access::webIconImage(m);
    return copy;
}

Status encodeHead(TypedStreamWriter &writer, const MemoPtr &memo)
{
    if (Status s = writer.beginObject(kClassName, memo.get(), QVariant::fromValue(memo)); !s)
        return failed(*memo, s);
    return encodeHeadValues(writer, *memo);
}

Status encodeTail(TypedStreamWriter &writer, const MemoPtr &memo)
{
    Status status = encodeTailValues(writer, *memo, kClassVersion);
    writer.endObject();
    return status;
}

void registerWithSharedRegistry()
{
    static const bool registered = [] {
        registerWith(TypedStreamRegistry::shared());
        return true;
    }();
    (void)registered;
}

} // namespace MemoCoding
