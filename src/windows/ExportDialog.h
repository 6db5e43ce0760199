#pragma once

#include "exchange/ExportFormat.h"

#include <QDialog>

class QCheckBox;
class QComboBox;
class QLineEdit;

/**
 * The export sheet of a note window: the format, by the tags of its pop-up,
 * the path to write, and whether the name's extension is hidden.
 *
 * Files on Linux always carry their extension in their name; "Hide
 * extension" is kept as the window's choice for file managers that honour
 * it, and the written name keeps the extension either way.
 */
class ExportDialog final : public QDialog
{
    Q_OBJECT
public:
    /** Proposes "<title>.<type>" in @p folder, in the format of tag @p tag. */
    ExportDialog(const QString &title, const QString &folder, int tag, bool hideExtension, QWidget *parent = nullptr);

    /** The tag of the chosen format (0 to 7). */
    [[nodiscard]] int tag() const;
    [[nodiscard]] ExportFormat::Format format() const { return ExportFormat::fromTag(tag()); }
    /** The path as chosen, with the required file type's extension. */
    [[nodiscard]] QString chosenPath() const;
    [[nodiscard]] bool hidesExtension() const;

private:
    /** Makes the path's extension the required one of the chosen format. */
    void changeRequiredFileType();
    void browse();

    QComboBox *m_format = nullptr;
    QLineEdit *m_path = nullptr;
    QCheckBox *m_hideExtension = nullptr;
};
