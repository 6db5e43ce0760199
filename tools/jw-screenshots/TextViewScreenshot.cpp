// Shows a page with formatted text, a picture and links in the page editor
// and saves a picture of it, for looking at how the editor draws a page:
//     xvfb-run -a build/tools/jw-screenshots/jw-text-view-screenshot text-view.png
#include "common/FreshHome.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextAttachment.h"
#include "text/TextLinks.h"
#include "text/TextStyling.h"
#include "windows/NoteTextView.h"

#include <QApplication>
#include <QBuffer>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QTemporaryDir>
#include <QTextCursor>
#include <QTextStream>
#include <QTimer>

#include <cstdio>

namespace {

QByteArray picture()
{
    QImage image(360, 140, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient sky(0, 0, 0, 140);
    sky.setColorAt(0, QColor(0x4a, 0x90, 0xd9));
    sky.setColorAt(1, QColor(0xd7, 0xec, 0xff));
    painter.fillRect(image.rect(), sky);
    painter.setBrush(QColor(0x3c, 0x8d, 0x40));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QRect(-60, 90, 300, 120));
    painter.drawEllipse(QRect(160, 100, 300, 120));
    painter.setBrush(QColor(0xff, 0xd5, 0x4f));
    painter.drawEllipse(QRect(280, 20, 40, 40));
    painter.end();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return bytes;
}

void fill(NoteTextView &view)
{
    QTextDocument &document = *view.document();
    QTextCursor cursor(&document);
    const auto line = [&](const QString &text) {
        cursor.insertText(text + u'\n');
    };
    line(QStringLiteral("Trip to the coast"));
    line(QStringLiteral("We leave on Friday at 8:00. Bring the tide table and the good boots."));
    line(QStringLiteral("Packing list is on its own page; the route is on the map site."));
    line(QString());
    TextAttachments::insert(cursor, {QStringLiteral("coast.png"), picture(), {}});
    cursor.insertText(QStringLiteral("\nRemember: the last ferry back is at 18:40.\n"));

    const auto range = [&](const QString &words) {
        const int at = int(document.toPlainText().indexOf(words));
        return TextRange{at, words.size()};
    };
    TextStyling::setAttribute(
        document, QTextFormat::FontWeight, int(QFont::Bold), range(QStringLiteral("Trip to the coast")));
    TextStyling::changeFontSize(document, 18, range(QStringLiteral("Trip to the coast")));
    TextStyling::setAttribute(document, QTextFormat::FontItalic, true, range(QStringLiteral("good boots")));
    TextStyling::changeTextColor(document, Qt::darkRed, range(QStringLiteral("8:00")));
    TextStyling::setAttribute(document, QTextFormat::BackgroundBrush, QBrush(QColor(0xff, 0xf1, 0x76)),
        range(QStringLiteral("the last ferry back is at 18:40")));
    TextLinks::setLinkToMemo(document, 42, false, range(QStringLiteral("Packing list")));
    TextLinks::setLink(document, range(QStringLiteral("map site")), QStringLiteral("https://www.openstreetmap.org/"));
}

} // namespace

int main(int argc, char **argv)
{
    QTemporaryDir home;
    useFreshHome(home.path());
    QApplication app(argc, argv);
    Localization::install();
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT.png\n", argv[0]);
        return 2;
    }
    NoteTextView view;
    view.setWindowTitle(QStringLiteral("Trip to the coast"));
    view.resize(640, 460);
    fill(view);
    view.setScaleImages(true);
    view.show();
    int status = 1;
    QTimer::singleShot(300, &app, [&] {
        status = view.grab().save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
        app.quit();
    });
    app.exec();
    return status;
}
