#include "OldDataConverter.h"

#include "ExchangeLog.h"
#include "LinkMarkupConverter.h"

#include "model/MemoIDAllocator.h"
#include "platform/archive/PropertyList.h"
#include "platform/base/Localization.h"
#include "platform/richtext/TextConverter.h"
#include "util/GeometryStrings.h"

#include <QFile>
#include <QMetaProperty>
#include <QXmlStreamReader>

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

const QString kWindowAttribute = QStringLiteral("WindowAttribute");
const QString kTitleColorRed = QStringLiteral("TitleColorRed");
const QString kTitleColorGreen = QStringLiteral("TitleColorGreen");
const QString kTitleColorBlue = QStringLiteral("TitleColorBlue");
const QString kChildren = QStringLiteral("Children");
const QString kNote = QStringLiteral("Note");
const QString kMemoIDField = QStringLiteral("memoID");
const QString kMemoDataField = QStringLiteral("memoData");
const QString kModifiedAtField = QStringLiteral("modifiedAt");

// An old text file is a small property list; anything far larger is no text file of ours.
constexpr qint64 kMaxTextFileSize = qint64(256) * 1024 * 1024;

bool isNumber(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Double:
        return true;
    default:
        return false;
    }
}

// @p value as a whole number between @p low and @p high, or nothing.
std::optional<qint64> wholeNumber(const QVariant &value, qint64 low, qint64 high)
{
    qint64 number = 0;
    switch (value.typeId()) {
    case QMetaType::Bool:
    case QMetaType::Int:
    case QMetaType::LongLong:
        number = value.toLongLong();
        break;
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        if (value.toULongLong() > quint64(std::numeric_limits<qint64>::max()))
            return std::nullopt;
        number = qint64(value.toULongLong());
        break;
    case QMetaType::Double: {
        const double d = value.toDouble();
        // 2^63 itself is out of range, so the bound is exclusive.
        if (!std::isfinite(d) || d != std::floor(d) || d < -9.2e18 || d >= 9.2e18)
            return std::nullopt;
        number = qint64(d);
        break;
    }
    default:
        return std::nullopt;
    }
    if (number < low || number > high)
        return std::nullopt;
    return number;
}

// @p value in the type of a field of @p type, when it is a value of that
// kind; nothing otherwise, so that a field never takes what a conversion of
// Qt's would make of a value of another kind.
std::optional<QVariant> valueForField(QMetaType type, const QVariant &value)
{
    switch (type.id()) {
    case QMetaType::Bool:
        if (!isNumber(value))
            return std::nullopt;
        return QVariant(value.typeId() == QMetaType::Double ? value.toDouble() != 0 : value.toLongLong() != 0);
    case QMetaType::Int:
        if (auto n = wholeNumber(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()))
            return QVariant(int(*n));
        return std::nullopt;
    case QMetaType::LongLong:
        if (auto n = wholeNumber(value, std::numeric_limits<qint64>::min(), std::numeric_limits<qint64>::max()))
            return QVariant(*n);
        return std::nullopt;
    case QMetaType::Float:
    case QMetaType::Double: {
        if (!isNumber(value) || !std::isfinite(value.toDouble()))
            return std::nullopt;
        const double d = value.toDouble();
        if (type.id() == QMetaType::Float && std::abs(d) > double(std::numeric_limits<float>::max()))
            return std::nullopt;
        return type.id() == QMetaType::Float ? QVariant(float(d)) : QVariant(d);
    }
    case QMetaType::QString:
        return value.typeId() == QMetaType::QString ? std::optional<QVariant>(value) : std::nullopt;
    case QMetaType::QByteArray:
        return value.typeId() == QMetaType::QByteArray ? std::optional<QVariant>(value) : std::nullopt;
    case QMetaType::QDateTime:
        if (value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid())
            return value;
        return std::nullopt;
    // Geometry is kept in the text form the platform writes, "{{x, y}, {w, h}}".
    case QMetaType::QRectF:
        if (value.typeId() != QMetaType::QString)
            return std::nullopt;
        return QVariant(GeometryStrings::rectFromString(value.toString()));
    case QMetaType::QSizeF:
        if (value.typeId() != QMetaType::QString)
            return std::nullopt;
        return QVariant(GeometryStrings::sizeFromString(value.toString()));
    case QMetaType::QStringList: {
        if (value.typeId() != QMetaType::QVariantList)
            return std::nullopt;
        QStringList strings;
        for (const QVariant &item : value.toList()) {
            if (item.typeId() != QMetaType::QString)
                return std::nullopt;
            strings.append(item.toString());
        }
        return QVariant(strings);
    }
    default:
        return std::nullopt;
    }
}

// Sets the field @p field of @p record to @p value when the types agree.
bool setField(QObject &record, const QString &field, const QVariant &value)
{
    const QMetaObject *meta = record.metaObject();
    const int index = meta->indexOfProperty(field.toLatin1().constData());
    if (index < 0)
        return false;
    const QMetaProperty property = meta->property(index);
    if (!property.isWritable())
        return false;
    const std::optional<QVariant> converted = valueForField(property.metaType(), value);
    return converted && property.write(&record, *converted);
}

double colourComponent(const QVariant &value)
{
    const double d = isNumber(value) ? value.toDouble() : 0.0;
    return std::isfinite(d) ? std::clamp(d, 0.0, 1.0) : 0.0;
}

OldDataConverter::ConvertTable loadTable(const QString &path)
{
    QFile file(path);
    std::optional<OldDataConverter::ConvertTable> table;
    if (file.open(QIODevice::ReadOnly))
        table = OldDataConverter::tableFromPropertyList(file.readAll());
    if (!table) {
        qCWarning(lcExchange, "The conversion table %s cannot be read", qPrintable(path));
        return {};
    }
    return *table;
}

// One page being converted: its dictionary's children still to visit.
struct Frame
{
    MemoPtr memo;
    QVariantList children;
    qsizetype next = 0;
    std::optional<QDateTime> modifiedAt;
};

// The page of @p dictionary without children and text.
Frame openMemo(const QVariantMap &dictionary, OldDataConverter::Context &context)
{
    Frame frame;
    frame.memo = JWMemo::bareMemo();
    JWMemo &memo = *frame.memo;
    // What a new page has, for the fields the dictionary leaves out. The
    // plain-text flag is set so that it is never looked up in a page file
    // of the current data folder that happens to have the same ID.
    memo.setTitle(localizedString(QStringLiteral("Untitled")));
    const QDateTime now = QDateTime::currentDateTime();
    memo.setCreatedAt(now);
    memo.setModifiedAt(now);
    memo.setIsPlainTextMemo(false);
    memo.setTags({});

    bool hasID = false;
    for (const auto &[key, field] : context.memoTable) {
        const auto it = dictionary.constFind(key);
        if (it == dictionary.cend())
            continue;
        if (field == kMemoIDField) {
            if (const auto id = wholeNumber(*it, 0, std::numeric_limits<qint64>::max() - 1)) {
                memo.setMemoID(*id);
                hasID = true;
            }
        } else if (field == kMemoDataField && it->typeId() == QMetaType::QString) {
            memo.setMemoDataWithPlainText(it->toString());
        } else if (setField(memo, field, *it) && field == kModifiedAtField) {
            frame.modifiedAt = memo.modifiedAt();
        }
    }
    if (hasID)
        context.nextMemoID = std::max(context.nextMemoID, memo.memoID() + 1);
    else
        context.memosWithoutID.push_back(frame.memo);

    if (const auto it = dictionary.constFind(kWindowAttribute);
        it != dictionary.cend() && it->typeId() == QMetaType::QVariantMap) {
        memo.setWindowAttribute(OldDataConverter::windowAttributeWithOldDictionary(it->toMap(), context.windowTable));
    }
    if (const auto red = dictionary.constFind(kTitleColorRed); red != dictionary.cend() && isNumber(*red)) {
        memo.setTitleColor(
            QColor::fromRgbF(float(colourComponent(*red)), float(colourComponent(dictionary.value(kTitleColorGreen))),
                float(colourComponent(dictionary.value(kTitleColorBlue))), 1.0f));
    }
    if (const auto it = dictionary.constFind(kChildren);
        it != dictionary.cend() && it->typeId() == QMetaType::QVariantList) {
        frame.children = it->toList();
    }
    return frame;
}

void closeMemo(Frame &frame, const OldDataConverter::Context &context)
{
    OldDataConverter::convertNoteText(*frame.memo, context);
    frame.memo->setIsEdited(true);
    // Marking a page edited dates it now; the date the old version kept is
    // the one its user knows.
    if (frame.modifiedAt)
        frame.memo->setModifiedAt(*frame.modifiedAt);
}

} // namespace

OldDataConverter::Context OldDataConverter::context(const QString &textFolder)
{
    Context context;
    context.memoTable = memoConvertTable();
    context.windowTable = windowAttributeConvertTable();
    context.textFolder = textFolder;
    return context;
}

const OldDataConverter::ConvertTable &OldDataConverter::memoConvertTable()
{
    static const ConvertTable table = loadTable(QStringLiteral(":/legacy/memoConvertDictionary.plist"));
    return table;
}

const OldDataConverter::ConvertTable &OldDataConverter::windowAttributeConvertTable()
{
    static const ConvertTable table = loadTable(QStringLiteral(":/legacy/windowAttributeConvertDictionary.plist"));
    return table;
}

std::optional<OldDataConverter::ConvertTable> OldDataConverter::tableFromPropertyList(const QByteArray &xml)
{
    // Read here rather than through PropertyList, whose dictionaries forget
    // the order the file gives, which is the order fields are set in.
    QXmlStreamReader reader(xml);
    ConvertTable table;
    int depth = 0;
    QString key;
    bool sawDictionary = false;
    while (!reader.atEnd()) {
        reader.readNext();
        if (reader.isStartElement()) {
            ++depth;
            const auto name = reader.name();
            if (depth == 1 && name == QLatin1StringView("plist"))
                continue;
            if (depth == 2 && name == QLatin1StringView("dict") && !sawDictionary) {
                sawDictionary = true;
                continue;
            }
            if (depth != 3)
                return std::nullopt;
            const QString text = reader.readElementText();
            --depth;
            if (name == QLatin1StringView("key") && key.isNull())
                key = text;
            else if (name == QLatin1StringView("string") && !key.isNull())
                table.append({std::exchange(key, QString()), text});
            else
                return std::nullopt;
        } else if (reader.isEndElement()) {
            --depth;
        }
    }
    if (reader.hasError() || !sawDictionary || !key.isNull())
        return std::nullopt;
    return table;
}

Result<MemoPtr> OldDataConverter::memoWithOldDictionary(const QVariantMap &dictionary, Context &context)
{
    const size_t withoutIDBefore = context.memosWithoutID.size();
    // A stack of its own rather than recursion: the depth of the tree comes
    // from the file.
    std::vector<Frame> stack;
    stack.push_back(openMemo(dictionary, context));
    const MemoPtr root = stack.back().memo;
    while (!stack.empty()) {
        Frame &top = stack.back();
        if (top.next == top.children.size()) {
            closeMemo(top, context);
            stack.pop_back();
            continue;
        }
        const QVariant &entry = top.children.at(top.next++);
        if (entry.typeId() != QMetaType::QVariantMap)
            continue;
        if (stack.size() >= size_t(kMaxDepth)) {
            context.memosWithoutID.resize(withoutIDBefore);
            return Error{QStringLiteral("The page tree is nested more than %1 levels deep").arg(kMaxDepth)};
        }
        const MemoPtr parent = top.memo;
        Frame child = openMemo(entry.toMap(), context);
        parent->appendChild(child.memo);
        stack.push_back(std::move(child));
    }
    return root;
}

WindowAttributePtr OldDataConverter::windowAttributeWithOldDictionary(
    const QVariantMap &dictionary, const ConvertTable &table)
{
    auto attribute = std::make_shared<JWWindowAttribute>();
    for (const auto &[key, field] : table) {
        if (const auto it = dictionary.constFind(key); it != dictionary.cend())
            setField(*attribute, field, *it);
    }
    return attribute;
}

void OldDataConverter::convertNoteText(JWMemo &memo, const Context &context)
{
    QByteArray data;
    if (memo.isMemoDataLoaded())
        data = memo.memoData();
    else if (!context.textFolder.isEmpty())
        data = oldMemoDataForID(context.textFolder, memo.memoID());
    if (data.isNull()) {
        // Set even when empty: a page without text must not take one from
        // a page file that happens to have its ID.
        const QString text = memo.plainText();
        memo.setMemoDataWithPlainText(text.isNull() ? QStringLiteral("") : text);
        return;
    }
    TextConverter converter;
    if (!converter.setRTFDData(data)) {
        // Kept as it came: the page shows its plain text until edited.
        memo.setMemoData(data);
        return;
    }
    if (LinkMarkupConverter::convertText(converter.document()) > 0)
        data = converter.RTFDData();
    memo.setMemoData(data);
    memo.setPlainText(converter.plainString());
}

QString OldDataConverter::oldNotePathForID(const QString &folder, qint64 memoID)
{
    return QStringLiteral("%1/%2.JW2Note").arg(folder).arg(memoID);
}

QByteArray OldDataConverter::oldMemoDataForID(const QString &folder, qint64 memoID)
{
    QFile file(oldNotePathForID(folder, memoID));
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxTextFileSize)
        return QByteArray();
    const Result<QVariant> note = PropertyList::fromData(file.readAll());
    if (!note) {
        qCWarning(lcExchange, "The old text file %s cannot be read: %s", qPrintable(file.fileName()),
            qPrintable(note.errorMessage()));
        return QByteArray();
    }
    const QVariant data = note.value().toMap().value(kNote);
    return data.typeId() == QMetaType::QByteArray ? data.toByteArray() : QByteArray();
}

void OldDataConverter::finish(Context &context)
{
    if (context.nextMemoID > 0)
        MemoIDAllocator::shared().raiseCounter(context.nextMemoID);
    for (const MemoPtr &memo : context.memosWithoutID)
        memo->assignNewID();
    context.memosWithoutID.clear();
}
