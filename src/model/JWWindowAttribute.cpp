#include "JWWindowAttribute.h"

#include "RecordValues.h"
#include "platform/base/VariantKinds.h"
#include "util/GeometryStrings.h"

#include <QMetaProperty>

#include <array>

namespace {

using VariantKinds::isNumber;

using RecordValues::assign;

// The keys a copy carries over, in the order they are copied. The drawer size,
// icon frame and tabs are left at their defaults on purpose. "showRuler" names
// no field of this record (the ruler switch is rulerIsVisible): it is skipped,
// since writing it would only add a stray dynamic property to the copy.
constexpr std::array kCopiedKeys = {
    "selectionID",
    "windowFrame",
    "windowFrameStr",
    "showPageHandle",
    "floating",
    "showDrawer",
    "drawerEdge",
    "iconized",
    "showRuler",
    "iconFrameStr",
    "rulerIsVisible",
    "continuousSpellChecking",
    "iconWindowChangeAlphaValue",
    "iconWindowAlphaValue",
    "iconWindowAlphaValueAtPoint",
    "iconWindowMoveSpaces",
    "noteWindowChangeAlphaValue",
    "noteWindowAlphaValue",
    "noteWindowAlphaValueAtPoint",
    "webWindowFrame",
    "showWebControlBar",
};

} // namespace

JWWindowAttribute::JWWindowAttribute(QObject *parent)
    : QObject(parent)
{ }

JWWindowAttribute::~JWWindowAttribute() = default;

WindowAttributePtr JWWindowAttribute::archivedCopy() const
{
    auto copy = std::make_shared<JWWindowAttribute>();
    copy->m_selectionID = m_selectionID;
    copy->m_windowFrame = m_windowFrame;
    copy->m_windowFrameStr = m_windowFrameStr;
    copy->m_webWindowFrame = m_webWindowFrame;
    copy->m_showPageHandle = m_showPageHandle;
    copy->m_floating = m_floating;
    copy->m_showDrawer = m_showDrawer;
    copy->m_drawerEdge = m_drawerEdge;
    copy->m_drawerSize = m_drawerSize;
    copy->m_iconized = m_iconized;
    copy->m_iconWindowFrame = m_iconWindowFrame;
    copy->m_iconFrameStr = m_iconFrameStr;
    copy->m_rulerIsVisible = m_rulerIsVisible;
    copy->m_continuousSpellChecking = m_continuousSpellChecking;
    copy->m_iconWindowChangeAlphaValue = m_iconWindowChangeAlphaValue;
    copy->m_iconWindowAlphaValue = m_iconWindowAlphaValue;
    copy->m_iconWindowAlphaValueAtPoint = m_iconWindowAlphaValueAtPoint;
    copy->m_iconWindowMoveSpaces = m_iconWindowMoveSpaces;
    copy->m_noteWindowChangeAlphaValue = m_noteWindowChangeAlphaValue;
    copy->m_noteWindowAlphaValue = m_noteWindowAlphaValue;
    copy->m_noteWindowAlphaValueAtPoint = m_noteWindowAlphaValueAtPoint;
    copy->m_showWebControlBar = m_showWebControlBar;
    copy->m_tabItems = m_tabItems;
    copy->m_selectedTabIndex = m_selectedTabIndex;
    return copy;
}

WindowAttributePtr JWWindowAttribute::copy() const
{
    auto copy = std::make_shared<JWWindowAttribute>();
    for (const char *key : kCopiedKeys) {
        const int index = metaObject()->indexOfProperty(key);
        if (index < 0)
            continue;
        const QMetaProperty property = metaObject()->property(index);
        property.write(copy.get(), property.read(this));
    }
    return copy;
}

bool JWWindowAttribute::setValue(const QString &key, const QVariant &value)
{
    return RecordValues::setValueForKey(*this, key, value);
}

QVariant JWWindowAttribute::value(const QString &key) const
{
    return RecordValues::valueForKey(*this, key);
}

void JWWindowAttribute::setSelectionID(qint64 memoID)
{
    if (assignArchived(m_selectionID, memoID))
        Q_EMIT selectionIDChanged();
}

void JWWindowAttribute::setWindowFrame(const QRectF &frame)
{
    if (assignArchived(m_windowFrame, frame))
        Q_EMIT windowFrameChanged();
}

void JWWindowAttribute::setWindowRectString(const QString &text)
{
    setWindowFrame(GeometryStrings::rectFromString(text));
}

void JWWindowAttribute::setWindowFrameStr(const QString &text)
{
    if (assignArchived(m_windowFrameStr, text))
        Q_EMIT windowFrameStrChanged();
}

void JWWindowAttribute::setWebWindowFrame(const QRectF &frame)
{
    if (assignArchived(m_webWindowFrame, frame))
        Q_EMIT webWindowFrameChanged();
}

void JWWindowAttribute::setShowPageHandle(bool show)
{
    if (assignArchived(m_showPageHandle, show))
        Q_EMIT showPageHandleChanged();
}

void JWWindowAttribute::setFloating(bool floating)
{
    if (assignArchived(m_floating, floating))
        Q_EMIT floatingChanged();
}

void JWWindowAttribute::setShowDrawer(bool show)
{
    if (assignArchived(m_showDrawer, show))
        Q_EMIT showDrawerChanged();
}

void JWWindowAttribute::setDrawerEdge(int edge)
{
    if (assignArchived(m_drawerEdge, edge))
        Q_EMIT drawerEdgeChanged();
}

void JWWindowAttribute::setDrawerSize(const QSizeF &size)
{
    if (assignArchived(m_drawerSize, size))
        Q_EMIT drawerSizeChanged();
}

void JWWindowAttribute::setDrawerSizeString(const QString &text)
{
    setDrawerSize(GeometryStrings::sizeFromString(text));
}

void JWWindowAttribute::setIconized(bool iconized)
{
    if (assignArchived(m_iconized, iconized))
        Q_EMIT iconizedChanged();
}

void JWWindowAttribute::setIconWindowFrame(const QRectF &frame)
{
    if (assignArchived(m_iconWindowFrame, frame))
        Q_EMIT iconWindowFrameChanged();
}

void JWWindowAttribute::setIconWindowRectString(const QString &text)
{
    setIconWindowFrame(GeometryStrings::rectFromString(text));
}

void JWWindowAttribute::setIconFrameStr(const QString &text)
{
    if (assignArchived(m_iconFrameStr, text))
        Q_EMIT iconFrameStrChanged();
}

void JWWindowAttribute::setRulerIsVisible(bool visible)
{
    if (assignArchived(m_rulerIsVisible, visible))
        Q_EMIT rulerIsVisibleChanged();
}

void JWWindowAttribute::setContinuousSpellChecking(bool on)
{
    if (assignArchived(m_continuousSpellChecking, on))
        Q_EMIT continuousSpellCheckingChanged();
}

void JWWindowAttribute::setIconWindowChangeAlphaValue(bool on)
{
    if (assignArchived(m_iconWindowChangeAlphaValue, on))
        Q_EMIT iconWindowChangeAlphaValueChanged();
}

void JWWindowAttribute::setIconWindowAlphaValue(float alpha)
{
    if (assignArchived(m_iconWindowAlphaValue, alpha))
        Q_EMIT iconWindowAlphaValueChanged();
}

void JWWindowAttribute::setIconWindowAlphaValueAtPoint(float alpha)
{
    if (assignArchived(m_iconWindowAlphaValueAtPoint, alpha))
        Q_EMIT iconWindowAlphaValueAtPointChanged();
}

void JWWindowAttribute::setIconWindowMoveSpaces(bool on)
{
    if (assignArchived(m_iconWindowMoveSpaces, on))
        Q_EMIT iconWindowMoveSpacesChanged();
}

void JWWindowAttribute::setNoteWindowChangeAlphaValue(bool on)
{
    if (assignArchived(m_noteWindowChangeAlphaValue, on))
        Q_EMIT noteWindowChangeAlphaValueChanged();
}

void JWWindowAttribute::setNoteWindowAlphaValue(float alpha)
{
    if (assignArchived(m_noteWindowAlphaValue, alpha))
        Q_EMIT noteWindowAlphaValueChanged();
}

void JWWindowAttribute::setNoteWindowAlphaValueAtPoint(float alpha)
{
    if (assignArchived(m_noteWindowAlphaValueAtPoint, alpha))
        Q_EMIT noteWindowAlphaValueAtPointChanged();
}

void JWWindowAttribute::setShowWebControlBar(bool show)
{
    if (assignArchived(m_showWebControlBar, show))
        Q_EMIT showWebControlBarChanged();
}

void JWWindowAttribute::setTabItems(const std::optional<QList<qint64>> &memoIDs)
{
    if (assignArchived(m_tabItems, memoIDs))
        Q_EMIT tabItemsChanged();
}

QVariant JWWindowAttribute::tabItemsValue() const
{
    if (!m_tabItems)
        return {};
    QVariantList list;
    list.reserve(m_tabItems->size());
    for (qint64 id : *m_tabItems)
        list.append(id);
    return list;
}

void JWWindowAttribute::setTabItemsValue(const QVariant &value)
{
    if (value.isNull()) {
        setTabItems(std::nullopt);
        return;
    }
    QList<qint64> ids;
    if (value.metaType() == QMetaType::fromType<QList<qint64>>()) {
        ids = value.value<QList<qint64>>();
    } else if (value.metaType() == QMetaType::fromType<QVariantList>()) {
        const QVariantList list = value.toList();
        ids.reserve(list.size());
        for (const QVariant &item : list) {
            if (!isNumber(item))
                return;
            ids.append(item.toLongLong());
        }
    } else {
        return;
    }
    setTabItems(ids);
}

void JWWindowAttribute::setSelectedTabIndex(int index)
{
    if (assignArchived(m_selectedTabIndex, index))
        Q_EMIT selectedTabIndexChanged();
}
