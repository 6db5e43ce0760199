#include "NoteTextMenu.h"

#include "NoteTextView.h"
#include "platform/base/Localization.h"
#include "platform/richtext/PointSizes.h"
#include "text/AttachmentExport.h"
#include "text/AttributedText.h"
#include "text/ColorTags.h"
#include "text/TextHighlight.h"
#include "text/TextStyling.h"

#include <QFileDialog>
#include <QFontDatabase>
#include <QMenu>
#include <QMessageBox>
#include <QPixmap>
#include <QTextCursor>

namespace {

QString tr(const char *text)
{
    return localizedString(QString::fromLatin1(text));
}

// The menu colours, by the tags the colour menus always had: 1 black to 10 white.
constexpr int kColorTags[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
const char *const kColorNames[]
    = {"Black", "Blue", "Red", "Yellow", "Green", "Orange", "Gray", "Purple", "Brown", "White"};

QIcon swatch(const QColor &color)
{
    QPixmap pixmap(12, 12);
    pixmap.fill(color);
    return QIcon(pixmap);
}

TextRange selectionOf(const NoteTextView &view)
{
    return TextSpan::selection(view.textCursor()).toRange();
}

// The standard menu's Paste entry: our entries go after it.
QAction *actionAfterPaste(QMenu &menu)
{
    const QList<QAction *> actions = menu.actions();
    for (qsizetype i = 0; i < actions.size(); ++i) {
        if (actions.at(i)->objectName() == QLatin1String("edit-paste"))
            return i + 1 < actions.size() ? actions.at(i + 1) : nullptr;
    }
    return nullptr;
}

void addFormatEntries(NoteTextView &view, QMenu &menu, QAction *before)
{
    const auto insertSeparator = [&] {
        menu.insertSeparator(before);
    };
    const auto insertAction = [&](const QString &title) {
        auto *action = new QAction(title, &menu);
        menu.insertAction(before, action);
        return action;
    };
    const auto insertMenu = [&](const QString &title) {
        auto *submenu = new QMenu(title, &menu);
        menu.insertMenu(before, submenu);
        return submenu;
    };
    QTextDocument &document = *view.document();

    insertSeparator();
    QObject::connect(insertAction(tr("Edit Link...")), &QAction::triggered, &view, &NoteTextView::editLinkRequested);
    QObject::connect(insertAction(tr("Remove Link")), &QAction::triggered, &view, &NoteTextView::removeLink);
    insertSeparator();

    // The fonts installed now, so that a font added while running shows up.
    QMenu *fonts = insertMenu(tr("FontMenuItem"));
    for (const QString &family : QFontDatabase::families()) {
        QAction *action = fonts->addAction(family);
        action->setFont(QFont(family));
        QObject::connect(action, &QAction::triggered, &view,
            [&view, family] { TextStyling::changeTextFont(*view.document(), family, selectionOf(view)); });
    }

    QMenu *style = insertMenu(tr("Style"));
    const auto addStyle = [&](const QString &title, int property, const QVariant &value) {
        QObject::connect(style->addAction(title), &QAction::triggered, &view, [&view, property, value] {
            TextStyling::setAttribute(*view.document(), property, value, selectionOf(view));
        });
    };
    addStyle(tr("Bold"), QTextFormat::FontWeight, int(QFont::Bold));
    addStyle(tr("Plain"), QTextFormat::FontWeight, int(QFont::Normal));
    addStyle(tr("Italic"), QTextFormat::FontItalic, true);
    addStyle(tr("Underline"), QTextFormat::TextUnderlineStyle, int(QTextCharFormat::SingleUnderline));
    addStyle(tr("Strikethrough"), QTextFormat::FontStrikeOut, true);

    QMenu *size = insertMenu(tr("Size"));
    for (const int points : NoteTextMenu::kFontSizes) {
        QObject::connect(size->addAction(QString::number(points)), &QAction::triggered, &view, [&view, points] {
            // The menu offers sizes as pages store them.
            TextStyling::changeFontSize(*view.document(), PointSizes::qtFromStored(points), selectionOf(view));
        });
    }

    QMenu *color = insertMenu(tr("Color"));
    for (size_t i = 0; i < std::size(kColorTags); ++i) {
        const QColor tagColor = colorForTag(kColorTags[i]);
        QObject::connect(color->addAction(swatch(tagColor), tr(kColorNames[i])), &QAction::triggered, &view,
            [&view, tagColor] { TextStyling::changeTextColor(*view.document(), tagColor, selectionOf(view)); });
    }

    QAction *highlight = insertAction(tr("Highlight Text..."));
    highlight->setCheckable(true);
    highlight->setChecked(view.changingBackgroundColor());
    QObject::connect(highlight, &QAction::triggered, &view, &NoteTextView::changeTextBackgroundColorRequested);
    QObject::connect(insertAction(tr("Unhighlight Text")), &QAction::triggered, &view,
        [&view, &document] { TextHighlight::removeBackgroundColorOfRange(document, selectionOf(view)); });
}

void exportSelectedAttachments(NoteTextView &view)
{
    for (const TextAttachment &attachment : AttributedText::attachmentsInRange(*view.document(), selectionOf(view))) {
        if (attachment.bytes.isNull())
            continue;
        const QString path = QFileDialog::getSaveFileName(&view, tr("Export Attachment"), attachment.fileName);
        if (path.isEmpty())
            continue;
        if (Status written = AttachmentExport::exportAttachment(attachment, path); !written)
            QMessageBox::warning(&view, tr("Export Attachment"), written.errorMessage());
    }
}

void exportEveryAttachment(NoteTextView &view)
{
    const QString folder = QFileDialog::getExistingDirectory(&view, tr("Choose a folder to export attachment to."));
    if (folder.isEmpty())
        return;
    if (auto written = AttachmentExport::exportEveryAttachment(*view.document(), folder); !written)
        QMessageBox::warning(&view, tr("Export"), written.errorMessage());
}

} // namespace

namespace NoteTextMenu {

void addEntries(NoteTextView &view, QMenu &menu)
{
    const QTextCursor cursor = view.textCursor();
    const QString selected = cursor.selectedText();
    const bool formattable = !selected.isEmpty() && selected != QString(QChar::ParagraphSeparator);
    if (formattable && !view.isReadOnly())
        addFormatEntries(view, menu, actionAfterPaste(menu));

    menu.addSeparator();
    const QTextDocument &document = *view.document();
    if (AttributedText::hasAttachmentInRange(document, selectionOf(view)))
        QObject::connect(menu.addAction(tr("Export Selected Attachments...")), &QAction::triggered, &view,
            [&view] { exportSelectedAttachments(view); });
    if (AttributedText::hasAttachment(document))
        QObject::connect(menu.addAction(tr("Export Every Attachment...")), &QAction::triggered, &view,
            [&view] { exportEveryAttachment(view); });
    // Text scripts are listed here once there are script folders to read.
    QMenu *scripts = menu.addMenu(tr("Scripts"));
    scripts->setEnabled(!scripts->isEmpty());
}

} // namespace NoteTextMenu
