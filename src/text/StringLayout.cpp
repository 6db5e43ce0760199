#include "StringLayout.h"

#include <QFont>
#include <QFontMetricsF>
#include <QTextDocument>

namespace StringLayout {

QSizeF sizeForFont(const QString &text, const QFont &font)
{
    // Without Qt::TextSingleLine, line breaks start new lines as they do
    // when the text is drawn.
    return QFontMetricsF(font).size(Qt::TextExpandTabs, text);
}

std::unique_ptr<QTextDocument> lineBreakedString(const QString &text, QTextOption::WrapMode mode)
{
    auto document = std::make_unique<QTextDocument>();
    QTextOption option = document->defaultTextOption();
    option.setWrapMode(mode);
    document->setDefaultTextOption(option);
    document->setPlainText(text);
    return document;
}

} // namespace StringLayout
