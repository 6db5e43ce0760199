#include "MemoCoding.h"

#include "ModelLog.h"
#include "RecordValues.h"
#include "WindowAttributeCoding.h"

#include "platform/ArchivedValues.h"
#include "platform/TypedStreamDecoder.h"
#include "platform/TypedStreamWriter.h"
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
    static QDateTime &createdAt(JWMemo &m) { return m.m_createdAt; }
    static QDateTime &modifiedAt(JWMemo &m) { return m.m_modifiedAt; }
    static int &referenceNumber(JWMemo &m) { return m.m_referenceNumber; }
    static QStringList &tags(JWMemo &m) { return m.m_tags; }
    static bool &hasTags(JWMemo &m) { return m.m_hasTags; }
    static QColor &titleColor(JWMemo &m) { return m.m_titleColor; }
    static QColor &titleCharacterColor(JWMemo &m) { return m.m_titleCharacterColor; }
    static bool &locked(JWMemo &m) { return m.m_locked; }
    static bool &protectWithPassword(JWMemo &m) { return m.m_protectWithPassword; }
    static QString &plainText(JWMemo &m) { return m.m_plainText; }
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
};

namespace MemoCoding {
namespace {

using RecordValues::isInteger;
using RecordValues::unwrapped;

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
    explicit FieldReader(TypedStreamDecoder &decoder) : m_decoder(decoder) {}

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
        QString text;
        string(field, text);
        if (m_error.isEmpty())
            out = GeometryStrings::rangeFromString(text);
    }

    void date(const char *field, QDateTime &out)
    {
        auto value = object(field);
        if (!value)
            return;
        if (value->isNull())
            out = QDateTime(); // unknown
        else if (value->metaType() == QMetaType::fromType<ArchivedCalendarDate>())
            out = value->value<ArchivedCalendarDate>().dateTime.toLocalTime();
        else if (value->metaType() == QMetaType::fromType<QDateTime>())
            out = value->toDateTime().toLocalTime();
        else
            fail(field, QStringLiteral("a date was expected"));
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

    void tags(QStringList &out, bool &present)
    {
        auto value = object("tags");
        if (!value)
            return;
        out.clear();
        present = !value->isNull();
        if (!present)
            return; // pages of some versions were written without tags
        if (value->metaType() != QMetaType::fromType<QVariantList>())
            return fail("tags", QStringLiteral("an array was expected"));
        for (const QVariant &item : value->toList()) {
            const QVariant tag = unwrapped(item);
            if (tag.metaType() != QMetaType::fromType<QString>())
                return fail("tags", QStringLiteral("an array of strings was expected"));
            out.append(tag.toString());
        }
    }

    void children(std::vector<MemoPtr> &out)
    {
        auto value = object("children");
        if (!value || value->isNull())
            return;
        if (value->metaType() != QMetaType::fromType<QVariantList>())
            return fail("children", QStringLiteral("an array was expected"));
        for (const QVariant &item : value->toList()) {
            MemoPtr child = unwrapped(item).value<MemoPtr>();
            if (!child)
                return fail("children", QStringLiteral("an array of pages was expected"));
            out.push_back(std::move(child));
        }
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
    const MemoPtr memo = JWMemo::bareMemo();
    JWMemo &m = *memo;
    FieldReader read(decoder);

    read.integer("memoID", Access::memoID(m), 0, std::numeric_limits<qint64>::max());
    read.string("title", Access::title(m));
    read.children(Access::children(m));
    read.date("createdAt", Access::createdAt(m));
    read.date("modifiedAt", Access::modifiedAt(m));
    qint64 references = 0;
    read.integer("referenceNumber", references, std::numeric_limits<int>::min(), std::numeric_limits<int>::max());
    Access::referenceNumber(m) = int(references);
    read.tags(Access::tags(m), Access::hasTags(m));
    read.color("titleColor", Access::titleColor(m), ArchivedColor::clear().toColor().toRgb());
    read.flagObject("locked", Access::locked(m));
    read.flagObject("protectWithPassword", Access::protectWithPassword(m));
    read.string("plainText", Access::plainText(m));
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

Status encode(TypedStreamWriter &writer, const QVariant &value, qint64 version)
{
    const MemoPtr memo = value.value<MemoPtr>();
    if (!memo)
        return Error{QStringLiteral("%1: no page to archive").arg(QLatin1String(kClassName))};
    const auto date = [](const QDateTime &when) {
        // A page whose date is unknown is written as now: the format has no "no date".
        return QVariant::fromValue(ArchivedCalendarDate::fromDateTime(
            (when.isValid() ? when : QDateTime::currentDateTime()).toUTC()));
    };
    const auto color = [](const QColor &c) { return QVariant::fromValue(ArchivedColor::fromColor(c)); };
    const auto string = [](const QString &text) { return QVariant(text.isNull() ? QStringLiteral("") : text); };

    if (!memo->hasTags())
        qCWarning(lcModel, "Problem! Page %lld has no tag list", memo->memoID());
    const QVariantList objects14 = {
        QVariant::fromValue(memo->memoID()),
        string(memo->title()),
        memo->childrenValue(),
        date(memo->createdAt()),
        date(memo->modifiedAt()),
        QVariant::fromValue(memo->referenceNumber()),
        memo->hasTags() ? QVariant::fromValue(memo->tags()) : QVariant(),
        color(memo->titleColor()),
        QVariant::fromValue(memo->locked()),
        QVariant::fromValue(memo->protectWithPassword()),
        string(memo->plainText()),
        GeometryStrings::stringFromRange(memo->scrollRange()),
        GeometryStrings::stringFromRange(memo->selectedRange()),
        QVariant::fromValue(memo->windowAttribute()),
    };
    for (const QVariant &object : objects14) {
        if (Status s = writer.encodeObject(object); !s)
            return Error{QStringLiteral("%1 %2: %3").arg(QLatin1String(kClassName)).arg(memo->memoID())
                             .arg(s.errorMessage())};
    }
    if (version >= 2)
        writer.encodeBool(memo->scaleImages());
    if (version >= 3) {
        writer.encodeBool(memo->showRuler());
        writer.encodeBool(memo->showLineNumbers());
        if (Status s = writer.encodeObject(color(memo->titleCharacterColor())); !s)
            return s;
    }
    if (version >= 4)
        writer.encodeBool(memo->verticalLayout());
    if (version >= 5) {
        if (Status s = writer.encodeObject(string(memo->webURLStr())); !s)
            return s;
        if (Status s = writer.encodeObject(memo->webIconImage()); !s)
            return s;
    }
    // Archiving the tree is when edited pages write their files.
    memo->save();
    return {};
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

} // namespace MemoCoding
