#include "ExportDialog.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>

namespace {

// The pop-up's items in the order of their tags.
const char *const kFormatTitles[] = {
    QT_TRANSLATE_NOOP("ExportDialog", "Book (page and sub-pages)"),
    QT_TRANSLATE_NOOP("ExportDialog", "RTFD files in folders"),
    QT_TRANSLATE_NOOP("ExportDialog", "RTFD (this page)"),
    QT_TRANSLATE_NOOP("ExportDialog", "RTFD (page and sub-pages joined)"),
    QT_TRANSLATE_NOOP("ExportDialog", "PDF (this page)"),
    QT_TRANSLATE_NOOP("ExportDialog", "PDF (page and sub-pages joined)"),
    QT_TRANSLATE_NOOP("ExportDialog", "PDF files in folders"),
    QT_TRANSLATE_NOOP("ExportDialog", "OPML outline"),
};

QString withExtension(const QString &path, const QString &extension)
{
    const QFileInfo info(path);
    const QString name = info.fileName();
    const qsizetype dot = name.lastIndexOf(u'.');
    const QString bare = dot > 0 ? path.left(path.size() - (name.size() - dot)) : path;
    return bare + u'.' + extension;
}

} // namespace

ExportDialog::ExportDialog(const QString &title, const QString &folder, int tag, bool hideExtension, QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Export \"%1\"").arg(title));
    m_format = new QComboBox(this);
    m_format->setObjectName(QStringLiteral("exportFormat"));
    for (int i = 0; i < int(std::size(kFormatTitles)); ++i)
        m_format->addItem(tr(kFormatTitles[i]), i);
    m_format->setCurrentIndex(m_format->findData(ExportFormat::fromTag(tag) == ExportFormat::Format::Book ? 0 : tag));

    m_path = new QLineEdit(this);
    m_path->setObjectName(QStringLiteral("exportPath"));
    m_path->setMinimumWidth(360);
    const QString name = title.isEmpty() ? tr("Untitled") : QString(title).replace(u'/', u'-');
    m_path->setText(folder + u'/' + name);
    auto *browse = new QPushButton(tr("Choose..."), this);
    auto *pathRow = new QHBoxLayout;
    pathRow->addWidget(m_path);
    pathRow->addWidget(browse);

    m_hideExtension = new QCheckBox(tr("Hide extension"), this);
    m_hideExtension->setChecked(hideExtension);

    auto *buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(tr("Export"));

    auto *form = new QFormLayout(this);
    form->addRow(tr("Format:"), m_format);
    form->addRow(tr("Save as:"), pathRow);
    form->addRow(QString(), m_hideExtension);
    form->addRow(buttons);

    connect(m_format, &QComboBox::currentIndexChanged, this, &ExportDialog::changeRequiredFileType);
    connect(browse, &QPushButton::clicked, this, &ExportDialog::browse);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_path, &QLineEdit::textChanged, this,
        [this, buttons] { buttons->button(QDialogButtonBox::Ok)->setEnabled(!m_path->text().trimmed().isEmpty()); });
    changeRequiredFileType();
}

int ExportDialog::tag() const
{
    return m_format->currentData().toInt();
}

QString ExportDialog::chosenPath() const
{
    return withExtension(m_path->text().trimmed(), ExportFormat::fileType(format()));
}

bool ExportDialog::hidesExtension() const
{
    return m_hideExtension->isChecked();
}

void ExportDialog::changeRequiredFileType()
{
    m_path->setText(chosenPath());
}

void ExportDialog::browse()
{
    const QString type = ExportFormat::fileType(format());
    const QString chosen = QFileDialog::getSaveFileName(
        this, windowTitle(), chosenPath(), tr("%1 files (*.%2)").arg(type.toUpper(), type));
    if (!chosen.isEmpty())
        m_path->setText(withExtension(chosen, type));
}
