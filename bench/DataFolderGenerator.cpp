#include "DataFolderGenerator.h"

#include "model/DataStore.h"
#include "platform/settings/FolderPaths.h"
#include "platform/richtext/Rtfd.h"
#include "platform/richtext/TextAttachment.h"
#include "platform/richtext/TextConverter.h"
#include "platform/settings/UserDefaults.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <QTextCursor>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

// The deepest level a page is put at, the root being level 0.
constexpr int kMaxDepth = 6;
static_assert(kMaxDepth < int(std::tuple_size_v<decltype(DataFolderGenerator::Summary::pagesAtLevel)>));
// Every file of the rich text is stamped with this time (2024-01-01), so
// that equal options give equal page files.
constexpr quint32 kTextFileTime = 1'704'067'200;
// The first page was written on 2016-01-01; the others follow over eight years.
constexpr qint64 kFirstDay = 1'451'606'400;
constexpr qint64 kYears = 8LL * 365 * 24 * 3600;

// A table, kept dense.
// clang-format off
const std::array kWords = {
    "garden", "budget", "meeting", "recipe", "travel", "project", "invoice", "draft", "chapter", "idea",
    "reading", "list", "kitchen", "window", "river", "mountain", "letter", "summary", "question", "answer",
    "music", "concert", "ticket", "station", "morning", "evening", "weekend", "holiday", "school", "lesson",
    "library", "paper", "notebook", "pencil", "coffee", "lemon", "bread", "butter", "market", "harbour",
    "bridge", "tower", "garage", "bicycle", "engine", "battery", "server", "backup", "release", "review",
    "contract", "lawyer", "doctor", "dentist", "insurance", "taxes", "salary", "account", "password", "phone",
    "address", "birthday", "present", "party", "friend", "family", "neighbour", "village", "city", "country",
    "history", "science", "physics", "meadow", "flower", "tomato", "potato", "orange", "apple", "cherry",
    "winter", "spring", "summer", "autumn", "weather", "cloud", "storm", "snow", "island", "forest",
    "quickly", "slowly", "carefully", "perhaps", "tomorrow", "yesterday", "again", "always", "never", "often",
    "write", "read", "call", "send", "check", "fix", "plan", "buy", "sell", "move",
    "the", "a", "of", "and", "to", "in", "for", "with", "on", "before",
};
// clang-format on
const std::array kTitleWords = {
    "Café list",
    "Übersicht",
    "Résumé draft",
    "Naïve ideas",
    "Crème brûlée",
    "Smörgåsbord notes",
};
const std::array kTags = {"work", "home", "ideas", "todo", "reading", "travel", "recipes", "archive", "2023", "urgent"};
const std::array<QRgb, 6> kColours = {0xd0021b, 0xf5a623, 0x7ed321, 0x4a90e2, 0x9013fe, 0x50e3c2};

QString capitalised(QString word)
{
    if (!word.isEmpty())
        word[0] = word[0].toUpper();
    return word;
}

// A few small pictures, as pasted screenshots and icons are.
const QByteArray &picture(int index)
{
    static const std::array<QByteArray, 4> pictures = [] {
        std::array<QByteArray, 4> made;
        for (int i = 0; i < int(made.size()); ++i) {
            QImage image(48 + 16 * i, 32 + 8 * i, QImage::Format_RGB32);
            image.fill(QColor::fromRgb(kColours[i]));
            QPainter painter(&image);
            painter.setPen(Qt::white);
            painter.drawEllipse(4, 4, image.width() - 8, image.height() - 8);
            painter.end();
            QBuffer buffer(&made[i]);
            buffer.open(QIODevice::WriteOnly);
            image.save(&buffer, "PNG");
        }
        return made;
    }();
    return pictures[index % pictures.size()];
}

} // namespace

DataFolderGenerator::DataFolderGenerator(Options options)
    : m_options(options)
    , m_random(options.seed)
{ }

int DataFolderGenerator::randomInt(int low, int high)
{
    return std::uniform_int_distribution<int>(low, high)(m_random);
}

bool DataFolderGenerator::chance(double probability)
{
    return std::bernoulli_distribution(probability)(m_random);
}

QString DataFolderGenerator::makeTitle()
{
    const auto word = [this] {
        return QString::fromLatin1(kWords[randomInt(0, int(kWords.size()) - 1)]);
    };
    switch (randomInt(0, 9)) {
    case 0:
        return QStringLiteral("Meeting notes %1-%2-%3")
            .arg(randomInt(2016, 2024))
            .arg(randomInt(1, 12), 2, 10, QLatin1Char('0'))
            .arg(randomInt(1, 28), 2, 10, QLatin1Char('0'));
    case 1:
        return capitalised(word()) + u' ' + QString::number(randomInt(1, 120));
    case 2:
        return QStringLiteral("Recipe: ") + word() + u' ' + word();
    case 3:
        return QStringLiteral("Invoice ") + QString::number(randomInt(1000, 99999));
    case 4:
        return QString::number(randomInt(2016, 2024)) + u' ' + word();
    case 5:
        return QString::fromUtf8(kTitleWords[randomInt(0, int(kTitleWords.size()) - 1)]) + u' '
            + QString::number(randomInt(1, 9));
    default: {
        QString title = capitalised(word());
        for (int n = randomInt(0, 3); n > 0; --n)
            title += u' ' + word();
        return title;
    }
    }
}

QString DataFolderGenerator::sentence()
{
    QString text = capitalised(QString::fromLatin1(kWords[randomInt(0, int(kWords.size()) - 1)]));
    for (int n = randomInt(5, 15); n > 0; --n) {
        text += u' ';
        if (chance(0.05))
            text += QString::number(randomInt(1, 5000));
        else
            text += QString::fromLatin1(kWords[randomInt(0, int(kWords.size()) - 1)]);
    }
    return text + (chance(0.1) ? QStringLiteral("? ") : QStringLiteral(". "));
}

void DataFolderGenerator::fillRichText(JWMemo &memo, int targetBytes, bool withPicture)
{
    TextConverter converter;
    QTextCursor cursor(&converter.document());
    QTextCharFormat heading;
    heading.setFontWeight(QFont::Bold);
    heading.setFontPointSize(16);
    cursor.insertText(memo.title(), heading);

    const int targetCharacters = std::max(1, int(std::lround(targetBytes * m_charactersPerByte)));
    const int pictureParagraph = withPicture ? randomInt(0, 3) : -1;
    int characters = int(memo.title().size());
    for (int paragraph = 0; characters < targetCharacters; ++paragraph) {
        cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
        if (paragraph == pictureParagraph) {
            TextAttachments::insert(cursor, {QStringLiteral("Pasted Graphic.png"), picture(randomInt(0, 3)), {}});
            cursor.insertBlock(QTextBlockFormat(), QTextCharFormat());
        }
        for (int n = randomInt(2, 6); n > 0 && characters < targetCharacters; --n) {
            const QString text = sentence();
            characters += int(text.size());
            if (!chance(0.3)) {
                cursor.insertText(text, QTextCharFormat());
                continue;
            }
            // Some words of the sentence stand out.
            const qsizetype start = text.indexOf(u' ') + 1;
            const qsizetype end = std::max(start, text.indexOf(u' ', start + 8));
            QTextCharFormat emphasis;
            switch (randomInt(0, 3)) {
            case 0:
                emphasis.setFontWeight(QFont::Bold);
                break;
            case 1:
                emphasis.setFontItalic(true);
                break;
            case 2:
                emphasis.setForeground(QColor::fromRgb(kColours[randomInt(0, int(kColours.size()) - 1)]));
                break;
            default:
                emphasis.setAnchor(true);
                emphasis.setAnchorHref(QStringLiteral("https://www.example.org/notes/%1").arg(randomInt(1, 99999)));
                emphasis.setForeground(QColor(Qt::blue));
                emphasis.setFontUnderline(true);
                break;
            }
            cursor.insertText(text.left(start), QTextCharFormat());
            cursor.insertText(text.mid(start, end - start), emphasis);
            cursor.insertText(text.mid(end), QTextCharFormat());
        }
    }

    const QString plain = converter.plainString();
    const QByteArray rtfd = Rtfd::writeFlattened(converter.document(), kTextFileTime);
    memo.setPlainText(plain);
    memo.setMemoData(rtfd);
    m_summary.textBytes += rtfd.size();
    // Pictures would skew what a character costs.
    if (!withPicture && !rtfd.isEmpty())
        m_charactersPerByte = 0.9 * m_charactersPerByte + 0.1 * double(plain.size()) / double(rtfd.size());
}

void DataFolderGenerator::fillPlainText(JWMemo &memo, int targetBytes)
{
    // Plain text costs about a byte a character in RTF.
    QString text = memo.title();
    while (text.size() < targetBytes * 0.95) {
        text += u'\n';
        for (int n = randomInt(1, 4); n > 0; --n)
            text += sentence();
    }
    TextConverter converter;
    converter.setString(text);
    const QByteArray rtfd = Rtfd::writeFlattened(converter.document(), kTextFileTime);
    memo.setPlainText(converter.plainString());
    memo.setMemoData(rtfd);
    m_summary.textBytes += rtfd.size();
}

MemoPtr DataFolderGenerator::makePage(qint64 memoID, int depth, qint64 createdSeconds)
{
    MemoPtr memo = JWMemo::bareMemo();
    memo->setMemoID(memoID);
    memo->setCreatedAt(QDateTime::fromSecsSinceEpoch(createdSeconds));

    const bool webClip = depth > 0 && chance(0.05);
    const bool plain = !webClip && chance(0.05);
    if (webClip) {
        memo->setWebURLStr(QStringLiteral("https://www.example.org/articles/%1/%2")
                               .arg(randomInt(2016, 2024))
                               .arg(randomInt(1, 999999)));
        ++m_summary.webClips;
    }
    memo->setTitle(depth == 0 ? appName() : makeTitle());

    QStringList tags;
    if (chance(0.3)) {
        for (int n = randomInt(1, 3); n > 0; --n) {
            const QString tag = QString::fromLatin1(kTags[randomInt(0, int(kTags.size()) - 1)]);
            if (!tags.contains(tag))
                tags.append(tag);
        }
    }
    memo->setTags(tags);
    if (chance(0.08))
        memo->setTitleColor(QColor::fromRgb(kColours[randomInt(0, int(kColours.size()) - 1)]));
    if (chance(0.05))
        memo->setTitleCharacterColor(QColor::fromRgb(kColours[randomInt(0, int(kColours.size()) - 1)]));
    if (chance(0.02))
        memo->setLocked(true);
    if (depth > 0 && chance(0.01)) {
        memo->setProtectWithPassword(true);
        ++m_summary.protectedPages;
    }
    memo->setReferenceNumber(randomInt(0, 40));
    memo->setIsPlainTextMemo(plain);

    // Sizes spread from 40 % to 160 % of the mean.
    const int bytes
        = int(std::lround(m_options.textBytes * std::uniform_real_distribution<double>(0.4, 1.6)(m_random)));
    if (plain) {
        fillPlainText(*memo, bytes);
        ++m_summary.plainTextPages;
    } else {
        const bool withPicture = chance(0.03);
        fillRichText(*memo, bytes, withPicture);
        m_summary.pagesWithPicture += withPicture ? 1 : 0;
    }

    // Last, as marking a page edited moves its date to now.
    memo->setIsEdited(true);
    const qint64 edited = std::uniform_int_distribution<qint64>(0, 400LL * 24 * 3600)(m_random);
    memo->setModifiedAt(QDateTime::fromSecsSinceEpoch(createdSeconds + edited));
    return memo;
}

MemoPtr DataFolderGenerator::makeTree()
{
    m_summary = {};
    QElapsedTimer timer;
    timer.start();
    const int pages = std::max(1, m_options.pages);
    const qint64 step = std::max<qint64>(1, kYears / pages);
    qint64 created = kFirstDay;
    qint64 nextID = 1;

    MemoPtr root = makePage(nextID, 0, created);
    // Every page with its level and the place of its parent in this list.
    struct Placed
    {
        JWMemo *memo;
        int depth;
        qsizetype parent;
    };
    std::vector<Placed> placed{{root.get(), 0, -1}};
    const auto upTo = [&placed](qsizetype index, int depth) {
        while (placed[index].depth > depth)
            index = placed[index].parent;
        return index;
    };
    for (int i = 1; i < pages; ++i) {
        nextID += chance(0.08) ? randomInt(2, 6) : 1; // deleted pages leave gaps
        created += std::uniform_int_distribution<qint64>(step / 2, step + step / 2)(m_random);
        // Notes on one subject are written together: mostly beside or below
        // the page just made, now and then back in an older subject or at the top.
        const double r = std::uniform_real_distribution<double>(0.0, 1.0)(m_random);
        const qsizetype last = qsizetype(placed.size()) - 1;
        qsizetype parent = 0;
        if (r < 0.04) {
            parent = 0;
        } else if (r < 0.55) {
            parent = std::max<qsizetype>(0, placed[last].parent);
        } else if (r < 0.85) {
            parent = last - randomInt(0, int(std::min<qsizetype>(last, 10)));
        } else {
            parent = upTo(randomInt(0, int(last)), 2);
        }
        parent = upTo(parent, kMaxDepth - 1);
        const int depth = placed[parent].depth + 1;
        MemoPtr page = makePage(nextID, depth, created);
        placed.push_back({page.get(), depth, parent});
        m_summary.depth = std::max(m_summary.depth, depth);
        placed[parent].memo->appendChild(std::move(page));
    }
    for (const Placed &page : placed) {
        page.memo->changeIsLeaf();
        ++m_summary.pagesAtLevel[page.depth];
    }
    m_summary.pages = int(placed.size());
    m_summary.buildMilliseconds = timer.elapsed();
    return root;
}

Result<DataFolderGenerator::Summary> DataFolderGenerator::writeFolder(const QString &folderPath)
{
    const QString folder = QFileInfo(folderPath).absoluteFilePath();
    if (QFileInfo::exists(folder + QStringLiteral("/JW3Data.jw3datastore")))
        return Error{QStringLiteral("%1 holds a data store already; nothing was written").arg(folder)};
    if (!QDir(folder + QStringLiteral("/Note Data")).entryList({QStringLiteral("*.jw3page")}, QDir::Files).isEmpty())
        return Error{QStringLiteral("%1 holds page files already; nothing was written").arg(folder)};
    if (!QDir().mkpath(folder))
        return Error{QStringLiteral("The folder %1 cannot be made").arg(folder)};
    UserDefaults::standardUserDefaults().setValue(QStringLiteral("dataFolderPath"), folder);

    const MemoPtr root = makeTree();
    QElapsedTimer timer;
    timer.start();
    {
        DataStore store;
        store.setRootMemo(root);
        if (Status saved = store.save(); !saved)
            return Error{saved.errorMessage()};
        store.tree().resetMemoID();
    }
    m_summary.writeMilliseconds = timer.elapsed();

    const QFileInfoList files = QDir(noteDataFolderPath()).entryInfoList({QStringLiteral("*.jw3page")}, QDir::Files);
    m_summary.pageFiles = int(files.size());
    for (const QFileInfo &file : files)
        m_summary.pageFileBytes += file.size();
    m_summary.dataStoreBytes = QFileInfo(dataFilePath()).size();
    if (m_summary.pageFiles != m_summary.pages)
        return Error{
            QStringLiteral("Only %1 of %2 page files were written").arg(m_summary.pageFiles).arg(m_summary.pages)};
    return m_summary;
}
