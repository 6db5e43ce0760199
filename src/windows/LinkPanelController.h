#pragma once

#include <QDialog>
#include <QList>
#include <QPointer>
#include <QStringList>

#include <memory>

class JWMemo;
class NoteTextView;
class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLineEdit;
using MemoPtr = std::shared_ptr<JWMemo>;

/**
 * The link sheet: a window-modal dialog over a note window in which the user
 * makes the selected text a link to a web address, a file or folder, or a
 * page (in the same or a new window), or takes the link off.
 *
 * It opens showing the link the selection already has, and lists every page
 * of the tree in outline order, indented by depth.
 */
class LinkPanelController final : public QDialog
{
    Q_OBJECT
public:
    /** The kinds of link, numbered as link descriptions number them. */
    enum LinkStyle
    {
        URLLink = 1,
        FileLink = 2,
        PageLink = 3
    };
    /** How the dialog was closed: the codes of its buttons. */
    enum Result
    {
        Cancelled = 0,
        Accepted = 1,
        RemoveLink = 3
    };

    /** A dialog for @p targetText's selection, listing the pages below @p rootMemo. */
    LinkPanelController(NoteTextView *targetText, MemoPtr rootMemo);
    ~LinkPanelController() override;

    /** Fills the fields from the target's selected link and shows the dialog as a sheet. */
    void showWindow();

    // The fields, by the names the link sheet always had.
    [[nodiscard]] int linkStyle() const;
    void setLinkStyle(int style);
    [[nodiscard]] QString urlStr() const;
    void setUrlStr(const QString &url);
    [[nodiscard]] QString filePath() const;
    void setFilePath(const QString &path);
    [[nodiscard]] int memoIndex() const;
    void setMemoIndex(int index);
    [[nodiscard]] bool openInNewWindow() const;
    void setOpenInNewWindow(bool on);
    [[nodiscard]] const QList<MemoPtr> &memoArray() const { return m_memoArray; }
    [[nodiscard]] const QStringList &memoTitleArray() const { return m_memoTitleArray; }

    /** Applies the dialog's answer @p code (a Result) to the target's selection. */
    void linkSheetDidEnd(int code);

private:
    void setupMemoMenu();
    void addMemo(const MemoPtr &memo, const QString &space);
    void choosePath();

    QPointer<NoteTextView> m_targetText;
    MemoPtr m_rootMemo;
    QList<MemoPtr> m_memoArray;
    QStringList m_memoTitleArray;
    QButtonGroup *m_kinds = nullptr;
    QLineEdit *m_url = nullptr;
    QLineEdit *m_path = nullptr;
    QComboBox *m_memos = nullptr;
    QCheckBox *m_newWindow = nullptr;
};
