#pragma once

#include <QMainWindow>

class QLabel;
class QPlainTextEdit;

/**
 * The window the application shows until the note windows with their outline
 * and text view take its place: the application's name, where the data folder
 * is, how many pages it holds, and the text of the page last shown.
 */
class StartWindow final : public QMainWindow
{
    Q_OBJECT
public:
    explicit StartWindow(QWidget *parent = nullptr);

    /** Shows how many pages the tree holds. */
    void setPageCount(qsizetype count);
    /** Shows a page's title and plain text. */
    void showPage(const QString &title, const QString &text);

Q_SIGNALS:
    /** The window became active (it takes the keyboard). */
    void activated();
    /** The window is about to close. */
    void closing();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;

private:
    QLabel *m_folderLabel = nullptr;
    QLabel *m_countLabel = nullptr;
    QLabel *m_pageTitle = nullptr;
    QPlainTextEdit *m_pageText = nullptr;
};
