// The calculator of NumberUtility: brackets resolved innermost first, then
// one left-to-right pass with "*" and "/" binding tighter than "+" and "-".
#include "NumberUtility.h"

#include "FileManagerUtility.h"
#include "LocalizedCharacters.h"

namespace {

// Reads a statement the way a scanner that skips white space does: runs of
// operator characters and the operands between them.
class StatementScanner
{
public:
    explicit StatementScanner(QStringView text)
        : m_text(text)
    { }

    [[nodiscard]] bool atEnd()
    {
        skipSpace();
        return m_position >= m_text.size();
    }

    [[nodiscard]] qsizetype position() const { return m_position; }

    // The next run of operator characters, or false when none stands next.
    bool scanOperators(QStringView &run) { return scan(run, true); }

    // The text up to the next operator, or false when an operator or the end stands next.
    bool scanOperand(QStringView &operand) { return scan(operand, false); }

private:
    static bool isOperator(QChar c) { return c == u'+' || c == u'-' || c == u'*' || c == u'/'; }

    void skipSpace()
    {
        while (m_position < m_text.size() && m_text.at(m_position).isSpace())
            ++m_position;
    }

    bool scan(QStringView &result, bool operators)
    {
        skipSpace();
        const qsizetype start = m_position;
        while (m_position < m_text.size() && isOperator(m_text.at(m_position)) == operators)
            ++m_position;
        result = m_text.sliced(start, m_position - start);
        return m_position > start;
    }

    QStringView m_text;
    qsizetype m_position = 0;
};

double operandValue(QStringView text)
{
    return FileManagerUtility::leadingNumber(text.toString());
}

// A statement without brackets.
double evaluate(QStringView statement)
{
    StatementScanner scanner(statement);
    double sum = 0;
    double term = 0;
    QStringView operand;
    if (scanner.scanOperand(operand))
        term = operandValue(operand);
    while (!scanner.atEnd()) {
        const qsizetype before = scanner.position();
        QStringView op;
        if (!scanner.scanOperators(op) || !scanner.scanOperand(operand)) {
            if (scanner.position() == before)
                break; // nothing readable is left
            continue;
        }
        const double value = operandValue(operand);
        if (op == u"*") {
            term *= value;
        } else if (op == u"/") {
            term /= value;
        } else if (op == u"-") {
            sum += term;
            term = -value;
        } else {
            // "+", and any run of two or more operators, adds.
            sum += term;
            term = value;
        }
    }
    return sum + term;
}

} // namespace

namespace NumberUtility {

double numberWithCalcurationStatement(const QString &statement)
{
    if (statement.isEmpty())
        return 0;
    QString text = statement;
    text.remove(u',');
    text.remove(u'=');
    text.remove(u' ');
    const QString &multiple = LocalizedCharacters::forThisThread().multiple;
    if (!multiple.isEmpty())
        text.replace(multiple, QStringLiteral("*"));
    text = expandBracketOfStatement(text, QStringLiteral("["), QStringLiteral("]"));
    text = expandBracketOfStatement(text, QStringLiteral("{"), QStringLiteral("}"));
    text = expandBracketOfStatement(text, QStringLiteral("("), QStringLiteral(")"));
    return evaluate(text);
}

QString expandBracketOfStatement(const QString &statement, const QString &open, const QString &close)
{
    if (open.isEmpty() || close.isEmpty() || (!statement.contains(open) && !statement.contains(close)))
        return statement;
    const QString unbalanced = QStringLiteral("0");
    QString text = statement;
    // Each group resolved removes at least one closing bracket; a group
    // whose value holds a bracket again (with digits for brackets) could
    // otherwise go on forever.
    qsizetype groupsLeft = text.count(close);
    while (text.contains(open) && text.contains(close)) {
        if (groupsLeft-- == 0)
            return unbalanced;
        const qsizetype closeAt = text.indexOf(close);
        const qsizetype openAt = QStringView(text).first(closeAt).lastIndexOf(open);
        if (openAt < 0)
            return unbalanced;
        const qsizetype innerStart = openAt + open.size();
        const double value = numberWithCalcurationStatement(text.mid(innerStart, closeAt - innerStart));
        const QString group = text.mid(openAt, closeAt + close.size() - openAt);
        text.replace(group, QString::asprintf("%f", value));
    }
    if (text.contains(close) || text.contains(open))
        return unbalanced;
    return text;
}

} // namespace NumberUtility
