#include "LinkPanelController.h"

#include "NoteTextView.h"
#include "model/JWMemo.h"
#include "text/PageLinks.h"
#include "text/TextLinks.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QUrl>
#include <QVBoxLayout>

namespace {

TextRange selectionOf(const NoteTextView &view)
{
    return TextSpan::selection(view.textCursor()).toRange();
}

} // namespace

LinkPanelController::LinkPanelController(NoteTextView *targetText, MemoPtr rootMemo)
    : QDialog(targetText ? targetText->window() : nullptr)
    , m_targetText(targetText)
    , m_rootMemo(std::move(rootMemo))
{
    setWindowTitle(tr("Link"));
    setWindowModality(Qt::WindowModal);

    m_kinds = new QButtonGroup(this);
    auto *urlKind = new QRadioButton(tr("Web address"), this);
    auto *fileKind = new QRadioButton(tr("File or folder"), this);
    auto *pageKind = new QRadioButton(tr("Page"), this);
    m_kinds->addButton(urlKind, URLLink);
    m_kinds->addButton(fileKind, FileLink);
    m_kinds->addButton(pageKind, PageLink);

    m_url = new QLineEdit(this);
    m_url->setPlaceholderText(QStringLiteral("https://"));
    m_path = new QLineEdit(this);
    auto *choose = new QPushButton(tr("Choose..."), this);
    auto *pathRow = new QHBoxLayout;
    pathRow->addWidget(m_path, 1);
    pathRow->addWidget(choose);
    m_memos = new QComboBox(this);
    m_memos->setMaxVisibleItems(20);
    m_newWindow = new QCheckBox(tr("Open in a new window"), this);

    auto *form = new QFormLayout;
    form->addRow(urlKind, m_url);
    form->addRow(fileKind, pathRow);
    form->addRow(pageKind, m_memos);
    form->addRow(QString(), m_newWindow);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    QPushButton *remove = buttons->addButton(tr("Remove Link"), QDialogButtonBox::DestructiveRole);
    auto *layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons);

    // Typing into a field or choosing from it picks its kind of link.
    connect(m_url, &QLineEdit::textEdited, this, [this] { setLinkStyle(URLLink); });
    connect(m_path, &QLineEdit::textEdited, this, [this] { setLinkStyle(FileLink); });
    connect(m_memos, &QComboBox::activated, this, [this] { setLinkStyle(PageLink); });
    connect(choose, &QPushButton::clicked, this, &LinkPanelController::choosePath);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { done(Accepted); });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { done(Cancelled); });
    connect(remove, &QPushButton::clicked, this, [this] { done(RemoveLink); });
    connect(this, &QDialog::finished, this, &LinkPanelController::linkSheetDidEnd);
}

LinkPanelController::~LinkPanelController() = default;

void LinkPanelController::showWindow()
{
    setLinkStyle(URLLink);
    setUrlStr(QString());
    setFilePath(QString());
    setupMemoMenu();
    setMemoIndex(0);
    setOpenInNewWindow(false);

    const auto link = m_targetText ? TextLinks::linkForSelection(*m_targetText->document(), selectionOf(*m_targetText))
                                   : std::nullopt;
    if (link) {
        switch (link->linkKind) {
        case PageLinks::LinkDescription::Kind::File:
            setLinkStyle(FileLink);
            setFilePath(QUrl::fromPercentEncoding(link->filePath.toUtf8()));
            break;
        case PageLinks::LinkDescription::Kind::Page:
            setLinkStyle(PageLink);
            for (qsizetype i = 0; i < m_memoArray.size(); ++i) {
                if (link->memoID && m_memoArray.at(i)->memoID() == *link->memoID)
                    setMemoIndex(int(i));
            }
            setOpenInNewWindow(link->openInNewWindow);
            break;
        case PageLinks::LinkDescription::Kind::URL:
            setUrlStr(link->URLStr);
            break;
        }
    }
    open();
}

void LinkPanelController::setupMemoMenu()
{
    m_memoArray.clear();
    m_memoTitleArray.clear();
    if (m_rootMemo)
        addMemo(m_rootMemo, QString());
    m_memos->clear();
    m_memos->addItems(m_memoTitleArray);
}

void LinkPanelController::addMemo(const MemoPtr &memo, const QString &space)
{
    for (const MemoPtr &child : memo->children()) {
        m_memoArray.append(child);
        m_memoTitleArray.append(space + child->title());
        if (!child->children().empty())
            addMemo(child, space + QStringLiteral("  "));
    }
}

void LinkPanelController::choosePath()
{
    setLinkStyle(FileLink);
    auto *dialog
        = new QFileDialog(this, tr("Choose"), filePath().isEmpty() ? QString() : QFileInfo(filePath()).absolutePath());
    dialog->setFileMode(QFileDialog::AnyFile);
    dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QFileDialog::fileSelected, this, &LinkPanelController::setFilePath);
    dialog->open();
}

void LinkPanelController::linkSheetDidEnd(int code)
{
    if (!m_targetText)
        return;
    QTextDocument &document = *m_targetText->document();
    const TextRange range = selectionOf(*m_targetText);
    if (code == RemoveLink) {
        TextLinks::removeLink(document, range);
        return;
    }
    if (code != Accepted)
        return;
    switch (linkStyle()) {
    case FileLink:
        if (!filePath().isEmpty())
            TextLinks::setLink(document, range, QUrl::fromLocalFile(filePath()));
        break;
    case PageLink:
        if (memoIndex() >= 0 && memoIndex() < m_memoArray.size())
            TextLinks::setLinkToMemo(document, m_memoArray.at(memoIndex())->memoID(), openInNewWindow(), range);
        break;
    default:
        TextLinks::setLink(document, range, urlStr());
        break;
    }
}

int LinkPanelController::linkStyle() const
{
    return m_kinds->checkedId();
}

void LinkPanelController::setLinkStyle(int style)
{
    if (QAbstractButton *button = m_kinds->button(style))
        button->setChecked(true);
}

QString LinkPanelController::urlStr() const
{
    return m_url->text();
}

void LinkPanelController::setUrlStr(const QString &url)
{
    m_url->setText(url);
}

QString LinkPanelController::filePath() const
{
    return m_path->text();
}

void LinkPanelController::setFilePath(const QString &path)
{
    m_path->setText(path);
}

int LinkPanelController::memoIndex() const
{
    return m_memos->currentIndex();
}

void LinkPanelController::setMemoIndex(int index)
{
    m_memos->setCurrentIndex(index);
}

bool LinkPanelController::openInNewWindow() const
{
    return m_newWindow->isChecked();
}

void LinkPanelController::setOpenInNewWindow(bool on)
{
    m_newWindow->setChecked(on);
}
