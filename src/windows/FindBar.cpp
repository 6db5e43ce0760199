#include "FindBar.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <QToolButton>

FindBar::FindBar(QTextEdit &textView, QWidget *parent)
    : QWidget(parent)
    , m_textView(textView)
{
    setObjectName(QStringLiteral("findBar"));
    auto *grid = new QGridLayout(this);
    grid->setContentsMargins(8, 4, 8, 4);

    m_findField = new QLineEdit(this);
    m_findField->setObjectName(QStringLiteral("findField"));
    m_findField->setPlaceholderText(tr("Find in this page"));
    auto *previous = new QPushButton(tr("Previous"), this);
    auto *next = new QPushButton(tr("Next"), this);
    m_regularExpression = new QCheckBox(tr("Regular expression"), this);
    m_matchCase = new QCheckBox(tr("Match case"), this);
    m_wholeWords = new QCheckBox(tr("Whole words"), this);
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("findStatus"));
    auto *closer = new QToolButton(this);
    closer->setText(QStringLiteral("\u2715"));
    closer->setToolTip(tr("Close (Escape)"));
    closer->setAutoRaise(true);

    auto *findRow = new QHBoxLayout;
    findRow->addWidget(m_findField, 1);
    findRow->addWidget(previous);
    findRow->addWidget(next);
    findRow->addWidget(m_regularExpression);
    findRow->addWidget(m_matchCase);
    findRow->addWidget(m_wholeWords);
    findRow->addWidget(m_status);
    findRow->addWidget(closer);
    grid->addLayout(findRow, 0, 0);

    m_replaceRow = new QWidget(this);
    auto *replaceRow = new QHBoxLayout(m_replaceRow);
    replaceRow->setContentsMargins(0, 0, 0, 0);
    m_replaceField = new QLineEdit(m_replaceRow);
    m_replaceField->setObjectName(QStringLiteral("replaceField"));
    m_replaceField->setPlaceholderText(tr("Replace with (\\1 for a captured group)"));
    auto *replaceOne = new QPushButton(tr("Replace"), m_replaceRow);
    auto *replaceEvery = new QPushButton(tr("Replace All"), m_replaceRow);
    replaceRow->addWidget(m_replaceField, 1);
    replaceRow->addWidget(replaceOne);
    replaceRow->addWidget(replaceEvery);
    grid->addWidget(m_replaceRow, 1, 0);

    connect(m_findField, &QLineEdit::textChanged, this, &FindBar::updateStatus);
    connect(m_findField, &QLineEdit::returnPressed, this, [this] {
        if (QGuiApplication::keyboardModifiers() & Qt::ShiftModifier)
            findPrevious();
        else
            findNext();
    });
    connect(m_replaceField, &QLineEdit::returnPressed, this, &FindBar::replace);
    for (QCheckBox *option : {m_regularExpression, m_matchCase, m_wholeWords})
        connect(option, &QCheckBox::toggled, this, &FindBar::updateStatus);
    connect(previous, &QPushButton::clicked, this, &FindBar::findPrevious);
    connect(next, &QPushButton::clicked, this, &FindBar::findNext);
    connect(replaceOne, &QPushButton::clicked, this, &FindBar::replace);
    connect(replaceEvery, &QPushButton::clicked, this, &FindBar::replaceAll);
    connect(closer, &QToolButton::clicked, this, &FindBar::close);
    // The view changes documents from page to page; its own signal follows both.
    connect(&m_textView, &QTextEdit::textChanged, this, [this] {
        if (isVisible())
            updateStatus();
    });
    hide();
}

void FindBar::open(bool replacing)
{
    m_replaceRow->setVisible(replacing);
    show();
    const QString selected = m_textView.textCursor().selectedText();
    if (!selected.isEmpty() && !selected.contains(QChar::ParagraphSeparator))
        m_findField->setText(selected);
    m_findField->setFocus(Qt::ShortcutFocusReason);
    m_findField->selectAll();
    updateStatus();
}

void FindBar::close()
{
    hide();
    m_textView.setFocus(Qt::OtherFocusReason);
}

void FindBar::setFindText(const QString &text)
{
    if (m_findField->text() != text)
        m_findField->setText(text);
}

void FindBar::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

QRegularExpression FindBar::expression() const
{
    const QString text = m_findField->text();
    QString pattern = m_regularExpression->isChecked() ? text : QRegularExpression::escape(text);
    if (m_wholeWords->isChecked())
        pattern = QStringLiteral("\\b(?:%1)\\b").arg(pattern);
    QRegularExpression::PatternOptions options = QRegularExpression::UseUnicodePropertiesOption;
    if (!m_matchCase->isChecked())
        options |= QRegularExpression::CaseInsensitiveOption;
    return QRegularExpression(pattern, options);
}

void FindBar::updateStatus()
{
    QPalette palette = m_status->palette();
    palette.setColor(QPalette::WindowText, this->palette().color(QPalette::WindowText));
    const QRegularExpression pattern = expression();
    if (m_findField->text().isEmpty()) {
        m_status->clear();
    } else if (!pattern.isValid()) {
        palette.setColor(QPalette::WindowText, Qt::red);
        m_status->setText(tr("Not a regular expression: %1").arg(pattern.errorString()));
    } else {
        int count = 0;
        const QString text = m_textView.document()->toPlainText();
        for (auto it = pattern.globalMatch(text); it.hasNext() && count <= kMaximumCounted;) {
            if (it.next().capturedLength() > 0)
                ++count;
        }
        m_status->setText(count == 0 ? tr("No matches")
                : count == 1         ? tr("1 match")
                                     : tr("%1%2 matches")
                                   .arg(std::min(count, kMaximumCounted))
                                   .arg(count > kMaximumCounted ? QStringLiteral("+") : QString()));
    }
    m_status->setPalette(palette);
}

bool FindBar::find(bool backward)
{
    const QRegularExpression pattern = expression();
    if (m_findField->text().isEmpty() || !pattern.isValid())
        return false;
    QTextDocument *document = m_textView.document();
    QTextDocument::FindFlags flags = documentFlags();
    if (backward)
        flags |= QTextDocument::FindBackward;
    QTextCursor found = document->find(pattern, m_textView.textCursor(), flags);
    // Empty matches (of "a*", say) would stand still: they do not count.
    if (found.isNull() || !found.hasSelection()) {
        QTextCursor wrap(document);
        wrap.movePosition(backward ? QTextCursor::End : QTextCursor::Start);
        found = document->find(pattern, wrap, flags);
    }
    if (found.isNull() || !found.hasSelection())
        return false;
    m_textView.setTextCursor(found);
    m_textView.ensureCursorVisible();
    return true;
}

QTextDocument::FindFlags FindBar::documentFlags() const
{
    // The document's search sets the expression's case option from this flag, whatever the expression says.
    return m_matchCase->isChecked() ? QTextDocument::FindCaseSensitively : QTextDocument::FindFlags();
}

bool FindBar::findNext()
{
    return find(false);
}

bool FindBar::findPrevious()
{
    return find(true);
}

QString FindBar::replacementFor(const QString &matched, const QRegularExpression &expression) const
{
    if (!m_regularExpression->isChecked())
        return m_replaceField->text();
    // The match again, anchored, so that \1 and the like take its groups.
    const QRegularExpression whole(
        QRegularExpression::anchoredPattern(expression.pattern()), expression.patternOptions());
    QString replaced = matched;
    return replaced.replace(whole, m_replaceField->text());
}

void FindBar::replace()
{
    const QRegularExpression pattern = expression();
    QTextCursor cursor = m_textView.textCursor();
    if (pattern.isValid() && cursor.hasSelection()) {
        const QRegularExpression whole(
            QRegularExpression::anchoredPattern(pattern.pattern()), pattern.patternOptions());
        const QString selected = cursor.selectedText();
        if (whole.match(selected).hasMatch())
            cursor.insertText(replacementFor(selected, pattern));
    }
    findNext();
}

int FindBar::replaceAll()
{
    const QRegularExpression pattern = expression();
    if (m_findField->text().isEmpty() || !pattern.isValid())
        return 0;
    QTextDocument *document = m_textView.document();
    QTextCursor edit(document);
    edit.beginEditBlock();
    int replaced = 0;
    QTextCursor at(document);
    const QTextDocument::FindFlags flags = documentFlags();
    for (QTextCursor found = document->find(pattern, at, flags); !found.isNull() && found.hasSelection();
         found = document->find(pattern, found, flags)) {
        found.insertText(replacementFor(found.selectedText(), pattern));
        ++replaced;
    }
    edit.endEditBlock();
    updateStatus();
    return replaced;
}
