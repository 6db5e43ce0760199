#pragma once

#include <QRegularExpression>
#include <QTextDocument>
#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QTextEdit;

/**
 * The find-and-replace bar under a window's text: plain or regular-
 * expression finding, match case, whole words, the next and previous
 * match with wrap-around, replacing one or all (all as one undo step), and
 * a count of the matches. Escape closes it and gives the keyboard back to
 * the text.
 *
 * A regular expression that does not compile is named in red and finds
 * nothing. Patterns that backtrack without end fail quickly rather than
 * freeze the window: the expression engine gives up on them (no match).
 */
class FindBar final : public QWidget
{
    Q_OBJECT
public:
    /** The most matches counted; more reads "10000+". */
    static constexpr int kMaximumCounted = 10000;

    explicit FindBar(QTextEdit &textView, QWidget *parent = nullptr);

    /** Shows the bar, with the replace row when @p replacing, and the keyboard in its find field. */
    void open(bool replacing);
    /** Hides the bar; the keyboard goes back to the text. */
    void close();

    [[nodiscard]] QLineEdit &findField() const { return *m_findField; }
    [[nodiscard]] QLineEdit &replaceField() const { return *m_replaceField; }
    [[nodiscard]] QCheckBox &regularExpressionBox() const { return *m_regularExpression; }
    [[nodiscard]] QCheckBox &matchCaseBox() const { return *m_matchCase; }
    [[nodiscard]] QCheckBox &wholeWordsBox() const { return *m_wholeWords; }
    /** The count of matches, or why nothing can be found. */
    [[nodiscard]] QLabel &statusLabel() const { return *m_status; }
    /** Puts @p text into the find field, as a search of the pages does with its keyword. */
    void setFindText(const QString &text);

    /** The expression the bar's fields and options make; invalid for a bad regular expression. */
    [[nodiscard]] QRegularExpression expression() const;

    /** Selects the next match after the selection, wrapping to the start; false without one. */
    bool findNext();
    /** Selects the previous match before the selection, wrapping to the end; false without one. */
    bool findPrevious();
    /** Replaces the selection when it is a match, then finds the next one. */
    void replace();
    /** Replaces every match in the text, as one undo step; answers how many. */
    int replaceAll();
    /** Counts the matches and shows the count. */
    void updateStatus();

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    bool find(bool backward);
    [[nodiscard]] QTextDocument::FindFlags documentFlags() const;
    [[nodiscard]] QString replacementFor(const QString &matched, const QRegularExpression &expression) const;

    QTextEdit &m_textView;
    QLineEdit *m_findField = nullptr;
    QLineEdit *m_replaceField = nullptr;
    QWidget *m_replaceRow = nullptr;
    QCheckBox *m_regularExpression = nullptr;
    QCheckBox *m_matchCase = nullptr;
    QCheckBox *m_wholeWords = nullptr;
    QLabel *m_status = nullptr;
};
