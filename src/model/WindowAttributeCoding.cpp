#include "WindowAttributeCoding.h"

#include "ArchivedGeometry.h"
#include "RecordValues.h"
#include "platform/base/VariantKinds.h"
#include "platform/typedstream/ArchivedValues.h"
#include "platform/typedstream/TypedStreamDecoder.h"
#include "platform/typedstream/TypedStreamWriter.h"

#include <limits>

namespace WindowAttributeCoding {
namespace {

using RecordValues::unwrapped;
using VariantKinds::isNumber;

// Older windows are opened as web clips 1.2 times as large as their note window.
constexpr double kWebFrameScale = 1.2;
// The icon form always reopens at this size; saving puts the live record back to it.
constexpr double kIconSide = 48;

/**
 * Reads the record's values one after another into its setters. After the
 * first failure every further read does nothing, and status() names the
 * field that failed.
 */
class FieldReader
{
public:
    FieldReader(TypedStreamDecoder &decoder, JWWindowAttribute &record)
        : m_decoder(decoder)
        , m_record(record)
    { }

    [[nodiscard]] Status status() const
    {
        if (m_error.isEmpty())
            return {};
        return Error{m_error};
    }

    void flag(const char *field, void (JWWindowAttribute::*set)(bool))
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeBool();
        if (!value)
            return fail(field, value.errorMessage());
        (m_record.*set)(value.value());
    }

    void integer(const char *field, void (JWWindowAttribute::*set)(int))
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeInteger();
        if (!value)
            return fail(field, value.errorMessage());
        if (value.value() < std::numeric_limits<int>::min() || value.value() > std::numeric_limits<int>::max())
            return fail(field, QStringLiteral("%1 is out of range").arg(value.value()));
        (m_record.*set)(int(value.value()));
    }

    void real(const char *field, void (JWWindowAttribute::*set)(float))
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeReal();
        if (!value)
            return fail(field, value.errorMessage());
        (m_record.*set)(float(value.value()));
    }

    void string(const char *field, void (JWWindowAttribute::*set)(const QString &))
    {
        if (auto text = readString(field))
            (m_record.*set)(*text);
    }

    void rect(const char *field, void (JWWindowAttribute::*set)(const QRectF &))
    {
        if (auto text = readGeometry(field))
            (m_record.*set)(ArchivedGeometry::rect(*text));
    }

    void size(const char *field, void (JWWindowAttribute::*set)(const QSizeF &))
    {
        if (auto text = readGeometry(field))
            (m_record.*set)(ArchivedGeometry::size(*text));
    }

    void selectionID()
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObject();
        if (!value)
            return fail("selectionID", value.errorMessage());
        const QVariant id = unwrapped(value.value());
        if (id.isNull())
            return m_record.setSelectionID(0); // nothing selected
        if (!isNumber(id))
            return fail("selectionID", QStringLiteral("a number was expected"));
        m_record.setSelectionID(id.toLongLong());
    }

    void tabItems()
    {
        if (!m_error.isEmpty())
            return;
        auto value = m_decoder.decodeObject();
        if (!value)
            return fail("tabItems", value.errorMessage());
        const QVariant items = unwrapped(value.value());
        if (items.isNull())
            return m_record.setTabItems(std::nullopt);
        if (items.metaType() != QMetaType::fromType<QVariantList>())
            return fail("tabItems", QStringLiteral("an array was expected"));
        QList<qint64> ids;
        for (const QVariant &item : items.toList()) {
            const QVariant id = unwrapped(item);
            if (!isNumber(id))
                return fail("tabItems", QStringLiteral("an array of numbers was expected"));
            ids.append(id.toLongLong());
        }
        m_record.setTabItems(ids);
    }

private:
    // A geometry string, possibly still in UTF-8 (see ArchivedGeometry).
    std::optional<QVariant> readGeometry(const char *field)
    {
        if (!m_error.isEmpty())
            return std::nullopt;
        auto value = m_decoder.decodeObjectKeepingUtf8();
        if (!value) {
            fail(field, value.errorMessage());
            return std::nullopt;
        }
        const QVariant text = unwrapped(value.value());
        if (!ArchivedGeometry::isString(text)) {
            fail(field, QStringLiteral("a string was expected"));
            return std::nullopt;
        }
        return text; // null: read as the platform does, no string, no numbers
    }

    std::optional<QString> readString(const char *field)
    {
        if (!m_error.isEmpty())
            return std::nullopt;
        auto value = m_decoder.decodeObject();
        if (!value) {
            fail(field, value.errorMessage());
            return std::nullopt;
        }
        const QVariant text = unwrapped(value.value());
        if (text.isNull())
            return QString(); // read as the platform does: no string, no numbers
        if (text.metaType() != QMetaType::fromType<QString>()) {
            fail(field, QStringLiteral("a string was expected"));
            return std::nullopt;
        }
        return text.toString();
    }

    void fail(const char *field, const QString &why)
    {
        m_error = QStringLiteral("%1 %2: %3").arg(QLatin1String(kClassName), QLatin1String(field), why);
    }

    TypedStreamDecoder &m_decoder;
    JWWindowAttribute &m_record;
    QString m_error;
};

Result<QVariant> decode(TypedStreamDecoder &decoder)
{
    const qint64 version = decoder.versionForClassName(kClassName).value_or(kClassVersion);
    auto record = std::make_shared<JWWindowAttribute>();
    using R = JWWindowAttribute;
    FieldReader read(decoder, *record);

    read.selectionID();
    read.rect("windowFrame", &R::setWindowFrame);
    read.flag("showPageHandle", &R::setShowPageHandle);
    read.flag("floating", &R::setFloating);
    read.flag("showDrawer", &R::setShowDrawer);
    read.integer("drawerEdge", &R::setDrawerEdge);
    read.size("drawerSize", &R::setDrawerSize);
    read.flag("iconized", &R::setIconized);
    read.rect("iconWindowFrame", &R::setIconWindowFrame);
    read.flag("rulerIsVisible", &R::setRulerIsVisible);
    read.flag("continuousSpellChecking", &R::setContinuousSpellChecking);
    read.flag("iconWindowChangeAlphaValue", &R::setIconWindowChangeAlphaValue);
    read.real("iconWindowAlphaValue", &R::setIconWindowAlphaValue);
    read.real("iconWindowAlphaValueAtPoint", &R::setIconWindowAlphaValueAtPoint);
    read.flag("iconWindowMoveSpaces", &R::setIconWindowMoveSpaces);
    read.flag("noteWindowChangeAlphaValue", &R::setNoteWindowChangeAlphaValue);
    read.real("noteWindowAlphaValue", &R::setNoteWindowAlphaValue);
    read.real("noteWindowAlphaValueAtPoint", &R::setNoteWindowAlphaValueAtPoint);
    if (version > 1) {
        read.tabItems();
        read.integer("selectedTabIndex", &R::setSelectedTabIndex);
    }
    if (version > 2) {
        read.string("windowFrameStr", &R::setWindowFrameStr);
        read.string("iconFrameStr", &R::setIconFrameStr);
    }
    if (version > 3) {
        read.rect("webWindowFrame", &R::setWebWindowFrame);
        read.flag("showWebControlBar", &R::setShowWebControlBar);
    }
    if (Status status = read.status(); !status)
        return Error{status.errorMessage()};

    if (version <= 3) {
        const QRectF frame = record->windowFrame();
        record->setWebWindowFrame(
            QRectF(frame.topLeft(), QSizeF(frame.width() * kWebFrameScale, frame.height() * kWebFrameScale)));
        record->setShowWebControlBar(true);
    }
    return QVariant::fromValue(record);
}

Status encode(TypedStreamWriter &writer, const QVariant &value, qint64 version)
{
    const WindowAttributePtr record = value.value<WindowAttributePtr>();
    if (!record)
        return Error{QStringLiteral("%1: no record to archive").arg(QLatin1String(kClassName))};
    const auto geometry = [&writer](const QString &text) {
        return writer.encodeStringBytes(text.toUtf8());
    };

    if (Status s = writer.encodeObject(record->selectionID()); !s)
        return s;
    if (Status s = geometry(GeometryStrings::stringFromRect(record->windowFrame())); !s)
        return s;
    writer.encodeBool(record->showPageHandle());
    writer.encodeBool(record->floating());
    writer.encodeBool(record->showDrawer());
    writer.encodeInt(record->drawerEdge());
    if (Status s = geometry(GeometryStrings::stringFromSize(record->drawerSize())); !s)
        return s;
    writer.encodeBool(record->iconized());
    const QRectF iconFrame = record->iconWindowFrame();
    if (Status s = geometry(GeometryStrings::stringFromRect(iconFrame)); !s)
        return s;
    settleAfterArchiving(*record);
    writer.encodeBool(record->rulerIsVisible());
    writer.encodeBool(record->continuousSpellChecking());
    writer.encodeBool(record->iconWindowChangeAlphaValue());
    writer.encodeFloat(record->iconWindowAlphaValue());
    writer.encodeFloat(record->iconWindowAlphaValueAtPoint());
    writer.encodeBool(record->iconWindowMoveSpaces());
    writer.encodeBool(record->noteWindowChangeAlphaValue());
    writer.encodeFloat(record->noteWindowAlphaValue());
    writer.encodeFloat(record->noteWindowAlphaValueAtPoint());
    if (version > 1) {
        if (Status s = writer.encodeObject(record->tabItemsValue()); !s)
            return s;
        writer.encodeInt(record->selectedTabIndex());
    }
    if (version > 2) {
        if (Status s = writer.encodeObject(record->windowFrameStr()); !s)
            return s;
        if (Status s = writer.encodeObject(record->iconFrameStr()); !s)
            return s;
    }
    if (version > 3) {
        if (Status s = geometry(GeometryStrings::stringFromRect(record->webWindowFrame())); !s)
            return s;
        writer.encodeBool(record->showWebControlBar());
    }
    return {};
}

} // namespace

void settleAfterArchiving(JWWindowAttribute &record)
{
    // The archive keeps the icon frame as it was; the live record goes back
    // to the icon size, so the next time the icon form opens it is 48 by 48.
    record.setIconWindowFrame(QRectF(record.iconWindowFrame().topLeft(), QSizeF(kIconSide, kIconSide)));
}

TypedStreamCoder coder(qint64 version)
{
    return RecordValues::recordCoder<JWWindowAttribute>(kClassName, version, encode, decode);
}

void registerWith(TypedStreamRegistry &registry)
{
    registry.registerCoder(coder(kClassVersion));
    registry.setDefaultClassName(qMetaTypeId<WindowAttributePtr>(), kClassName);
}

} // namespace WindowAttributeCoding
