#pragma once

#include "ArchiveRevision.h"

#include <QList>
#include <QObject>
#include <QRectF>
#include <QSizeF>
#include <QString>
#include <QVariant>

#include <memory>
#include <optional>

class JWWindowAttribute;
using WindowAttributePtr = std::shared_ptr<JWWindowAttribute>;

/**
 * The view state of one note window: frames of the window, of its icon form
 * and of its web view, the drawer, the tabs, transparency and the selected memo.
 *
 * The record of a window's root memo is read when the window opens and
 * written when it changes, so a window reopened on the same memo comes back
 * as it was. Every field is a property named as its key: setValue(key, v) and
 * QObject::setProperty run the same setter as the typed call, and each
 * property's xChanged signal fires when its value actually changes.
 *
 * Frames are in the window system's coordinates, origin and size; strings of
 * the form "{{x, y}, {w, h}}" and "{w, h}" convert to and from them.
 */
class JWWindowAttribute final : public QObject
{
    Q_OBJECT
    Q_PROPERTY(qint64 selectionID READ selectionID WRITE setSelectionID NOTIFY selectionIDChanged)
    Q_PROPERTY(QRectF windowFrame READ windowFrame WRITE setWindowFrame NOTIFY windowFrameChanged)
    Q_PROPERTY(QString windowFrameStr READ windowFrameStr WRITE setWindowFrameStr NOTIFY windowFrameStrChanged)
    Q_PROPERTY(QRectF webWindowFrame READ webWindowFrame WRITE setWebWindowFrame NOTIFY webWindowFrameChanged)
    Q_PROPERTY(bool showPageHandle READ showPageHandle WRITE setShowPageHandle NOTIFY showPageHandleChanged)
    Q_PROPERTY(bool floating READ floating WRITE setFloating NOTIFY floatingChanged)
    Q_PROPERTY(bool showDrawer READ showDrawer WRITE setShowDrawer NOTIFY showDrawerChanged)
    Q_PROPERTY(int drawerEdge READ drawerEdge WRITE setDrawerEdge NOTIFY drawerEdgeChanged)
    Q_PROPERTY(QSizeF drawerSize READ drawerSize WRITE setDrawerSize NOTIFY drawerSizeChanged)
    Q_PROPERTY(bool iconized READ iconized WRITE setIconized NOTIFY iconizedChanged)
    Q_PROPERTY(QRectF iconWindowFrame READ iconWindowFrame WRITE setIconWindowFrame NOTIFY iconWindowFrameChanged)
    Q_PROPERTY(QString iconFrameStr READ iconFrameStr WRITE setIconFrameStr NOTIFY iconFrameStrChanged)
    Q_PROPERTY(bool rulerIsVisible READ rulerIsVisible WRITE setRulerIsVisible NOTIFY rulerIsVisibleChanged)
    Q_PROPERTY(bool continuousSpellChecking READ continuousSpellChecking WRITE setContinuousSpellChecking NOTIFY
            continuousSpellCheckingChanged)
    Q_PROPERTY(bool iconWindowChangeAlphaValue READ iconWindowChangeAlphaValue WRITE setIconWindowChangeAlphaValue
            NOTIFY iconWindowChangeAlphaValueChanged)
    Q_PROPERTY(float iconWindowAlphaValue READ iconWindowAlphaValue WRITE setIconWindowAlphaValue NOTIFY
            iconWindowAlphaValueChanged)
    Q_PROPERTY(float iconWindowAlphaValueAtPoint READ iconWindowAlphaValueAtPoint WRITE setIconWindowAlphaValueAtPoint
            NOTIFY iconWindowAlphaValueAtPointChanged)
    Q_PROPERTY(bool iconWindowMoveSpaces READ iconWindowMoveSpaces WRITE setIconWindowMoveSpaces NOTIFY
            iconWindowMoveSpacesChanged)
    Q_PROPERTY(bool noteWindowChangeAlphaValue READ noteWindowChangeAlphaValue WRITE setNoteWindowChangeAlphaValue
            NOTIFY noteWindowChangeAlphaValueChanged)
    Q_PROPERTY(float noteWindowAlphaValue READ noteWindowAlphaValue WRITE setNoteWindowAlphaValue NOTIFY
            noteWindowAlphaValueChanged)
    Q_PROPERTY(float noteWindowAlphaValueAtPoint READ noteWindowAlphaValueAtPoint WRITE setNoteWindowAlphaValueAtPoint
            NOTIFY noteWindowAlphaValueAtPointChanged)
    Q_PROPERTY(bool showWebControlBar READ showWebControlBar WRITE setShowWebControlBar NOTIFY showWebControlBarChanged)
    /** The tab memo IDs as a value: null when there are none (nil), else a list of numbers. */
    Q_PROPERTY(QVariant tabItems READ tabItemsValue WRITE setTabItemsValue NOTIFY tabItemsChanged)
    Q_PROPERTY(int selectedTabIndex READ selectedTabIndex WRITE setSelectedTabIndex NOTIFY selectedTabIndexChanged)

public:
    /** Edges a drawer can open at. */
    enum DrawerEdge
    {
        MinXEdge = 0,
        MinYEdge = 1,
        MaxXEdge = 2,
        MaxYEdge = 3
    };
    Q_ENUM(DrawerEdge)

    /** A record with the defaults of a new window: 500 by 500 at (48, 61), drawer open on the right. */
    explicit JWWindowAttribute(QObject *parent = nullptr);
    ~JWWindowAttribute() override;

    /**
     * A new record holding this one's selection, frames, switches and
     * transparency. The drawer size, the icon frame and the tabs are not
     * carried over: the copy has the defaults there.
     */
    [[nodiscard]] WindowAttributePtr copy() const;
    /** A record with every archived value of this one (for archiving a snapshot on another thread). */
    [[nodiscard]] WindowAttributePtr archivedCopy() const;

    /**
     * Sets the field named @p key through its property, so that the setter's
     * side effects run. Answers false (and changes nothing) when no field has
     * that name or the value does not convert to the field's type.
     */
    bool setValue(const QString &key, const QVariant &value);
    /** The field named @p key, or an invalid QVariant when no field has that name. */
    [[nodiscard]] QVariant value(const QString &key) const;

    [[nodiscard]] qint64 selectionID() const { return m_selectionID; }
    void setSelectionID(qint64 memoID);

    /** The frame of a window that has never been placed. */
    static constexpr QRectF kDefaultWindowFrame{48, 61, 500, 500};

    [[nodiscard]] QRectF windowFrame() const { return m_windowFrame; }
    void setWindowFrame(const QRectF &frame);
    /** Parses "{{x, y}, {w, h}}" into windowFrame (missing numbers count as 0). */
    void setWindowRectString(const QString &text);

    /** The window frame as the window controller keeps it in text; only stored and archived here. */
    [[nodiscard]] QString windowFrameStr() const { return m_windowFrameStr; }
    void setWindowFrameStr(const QString &text);

    [[nodiscard]] QRectF webWindowFrame() const { return m_webWindowFrame; }
    void setWebWindowFrame(const QRectF &frame);

    [[nodiscard]] bool showPageHandle() const { return m_showPageHandle; }
    void setShowPageHandle(bool show);

    [[nodiscard]] bool floating() const { return m_floating; }
    void setFloating(bool floating);

    [[nodiscard]] bool showDrawer() const { return m_showDrawer; }
    void setShowDrawer(bool show);

    /** One of DrawerEdge. */
    [[nodiscard]] int drawerEdge() const { return m_drawerEdge; }
    void setDrawerEdge(int edge);

    [[nodiscard]] QSizeF drawerSize() const { return m_drawerSize; }
    void setDrawerSize(const QSizeF &size);
    /** Parses "{w, h}" into drawerSize (missing numbers count as 0). */
    void setDrawerSizeString(const QString &text);

    [[nodiscard]] bool iconized() const { return m_iconized; }
    void setIconized(bool iconized);

    [[nodiscard]] QRectF iconWindowFrame() const { return m_iconWindowFrame; }
    void setIconWindowFrame(const QRectF &frame);
    /** Parses "{{x, y}, {w, h}}" into iconWindowFrame (missing numbers count as 0). */
    void setIconWindowRectString(const QString &text);

    /** The icon window frame as its controller keeps it in text; only stored and archived here. */
    [[nodiscard]] QString iconFrameStr() const { return m_iconFrameStr; }
    void setIconFrameStr(const QString &text);

    [[nodiscard]] bool rulerIsVisible() const { return m_rulerIsVisible; }
    void setRulerIsVisible(bool visible);

    [[nodiscard]] bool continuousSpellChecking() const { return m_continuousSpellChecking; }
    void setContinuousSpellChecking(bool on);

    [[nodiscard]] bool iconWindowChangeAlphaValue() const { return m_iconWindowChangeAlphaValue; }
    void setIconWindowChangeAlphaValue(bool on);

    [[nodiscard]] float iconWindowAlphaValue() const { return m_iconWindowAlphaValue; }
    void setIconWindowAlphaValue(float alpha);

    [[nodiscard]] float iconWindowAlphaValueAtPoint() const { return m_iconWindowAlphaValueAtPoint; }
    void setIconWindowAlphaValueAtPoint(float alpha);

    [[nodiscard]] bool iconWindowMoveSpaces() const { return m_iconWindowMoveSpaces; }
    void setIconWindowMoveSpaces(bool on);

    [[nodiscard]] bool noteWindowChangeAlphaValue() const { return m_noteWindowChangeAlphaValue; }
    void setNoteWindowChangeAlphaValue(bool on);

    [[nodiscard]] float noteWindowAlphaValue() const { return m_noteWindowAlphaValue; }
    void setNoteWindowAlphaValue(float alpha);

    [[nodiscard]] float noteWindowAlphaValueAtPoint() const { return m_noteWindowAlphaValueAtPoint; }
    void setNoteWindowAlphaValueAtPoint(float alpha);

    [[nodiscard]] bool showWebControlBar() const { return m_showWebControlBar; }
    void setShowWebControlBar(bool show);

    /** Memo IDs of the window's tabs in tab order; empty optional when the window never had tabs. */
    [[nodiscard]] const std::optional<QList<qint64>> &tabItems() const { return m_tabItems; }
    void setTabItems(const std::optional<QList<qint64>> &memoIDs);
    /** tabItems as a property value: a null QVariant for none, else a QVariantList of qint64. */
    [[nodiscard]] QVariant tabItemsValue() const;
    /**
     * Sets tabItems from a property value: null or invalid for none, else a
     * list of numbers. Anything else leaves tabItems unchanged.
     */
    void setTabItemsValue(const QVariant &value);
    /**
     * Sets tabItems to the memo ID of every value of @p tabDict, in the
     * dictionary's value order. @p tabDict is a Qt associative container (QMap,
     * QHash) whose values point to memos answering memoID().
     */
    template<typename Dict> void setTabDict(const Dict &tabDict)
    {
        QList<qint64> ids;
        ids.reserve(tabDict.size());
        for (const auto &memo : tabDict)
            ids.append(qint64(memo->memoID()));
        setTabItems(ids);
    }

    [[nodiscard]] int selectedTabIndex() const { return m_selectedTabIndex; }

    /** Changes with every archived value (see ArchiveRevision). */
    [[nodiscard]] quint64 archiveRevision() const { return m_archiveRevision; }
    void setSelectedTabIndex(int index);

Q_SIGNALS:
    void selectionIDChanged();
    void windowFrameChanged();
    void windowFrameStrChanged();
    void webWindowFrameChanged();
    void showPageHandleChanged();
    /** The window's floating level has to follow. */
    void floatingChanged();
    void showDrawerChanged();
    void drawerEdgeChanged();
    void drawerSizeChanged();
    void iconizedChanged();
    void iconWindowFrameChanged();
    void iconFrameStrChanged();
    void rulerIsVisibleChanged();
    void continuousSpellCheckingChanged();
    void iconWindowChangeAlphaValueChanged();
    void iconWindowAlphaValueChanged();
    void iconWindowAlphaValueAtPointChanged();
    void iconWindowMoveSpacesChanged();
    void noteWindowChangeAlphaValueChanged();
    void noteWindowAlphaValueChanged();
    void noteWindowAlphaValueAtPointChanged();
    void showWebControlBarChanged();
    void tabItemsChanged();
    void selectedTabIndexChanged();

private:
    template<typename T> bool assignArchived(T &field, const T &value)
    {
        return ArchiveRevision::assign(field, value, m_archiveRevision);
    }

    quint64 m_archiveRevision = ArchiveRevision::next();
    qint64 m_selectionID = 0;
    QRectF m_windowFrame{kDefaultWindowFrame};
    QString m_windowFrameStr;
    QRectF m_webWindowFrame{48, 61, 700, 800};
    bool m_showPageHandle = false;
    bool m_floating = false;
    bool m_showDrawer = true;
    int m_drawerEdge = MaxXEdge;
    QSizeF m_drawerSize{168, 328};
    bool m_iconized = false;
    QRectF m_iconWindowFrame{48, 61, 48, 48};
    QString m_iconFrameStr;
    bool m_rulerIsVisible = false;
    bool m_continuousSpellChecking = false;
    bool m_iconWindowChangeAlphaValue = true;
    float m_iconWindowAlphaValue = 0.5f;
    float m_iconWindowAlphaValueAtPoint = 1.0f;
    bool m_iconWindowMoveSpaces = false;
    bool m_noteWindowChangeAlphaValue = false;
    float m_noteWindowAlphaValue = 1.0f;
    float m_noteWindowAlphaValueAtPoint = 1.0f;
    bool m_showWebControlBar = true;
    std::optional<QList<qint64>> m_tabItems;
    int m_selectedTabIndex = 0;
};
