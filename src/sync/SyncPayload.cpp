#include "SyncPayload.h"

#include "platform/archive/KeyedArchiver.h"
#include "platform/archive/KeyedUnarchiver.h"

#include <QDateTime>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace SyncPayload {

namespace {

// Each page is two archive levels (its dictionary and its "children" array);
// the values of the deepest page lie one further down.
constexpr int kArchiveDepth = 2 * maximumPageDepth + 1;

Error refused(const QString &reason)
{
    return Error{QStringLiteral("The phone sent data that is not a page tree: %1").arg(reason)};
}

bool isInteger(const QVariant &value)
{
    switch (value.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
        return true;
    case QMetaType::Double: {
        const double number = value.toDouble();
        return std::isfinite(number) && std::trunc(number) == number && std::abs(number) < 9.2e18;
    }
    default:
        return false;
    }
}

bool isBoolean(const QVariant &value)
{
    return value.typeId() == QMetaType::Bool || value.typeId() == QMetaType::LongLong
        || value.typeId() == QMetaType::ULongLong || value.typeId() == QMetaType::Int;
}

bool isDataList(const QVariant &value)
{
    if (value.typeId() != QMetaType::QVariantList)
        return false;
    const QVariantList items = value.toList();
    return std::all_of(
        items.cbegin(), items.cend(), [](const QVariant &item) { return item.typeId() == QMetaType::QByteArray; });
}

/** What is wrong with the value of @p key, or an empty string when it is fine or unknown. */
QString wrongValue(const QString &key, const QVariant &value)
{
    static const QStringList integers = {QStringLiteral("memoID"), QStringLiteral("referenceNumber")};
    static const QStringList booleans
        = {QStringLiteral("locked"), QStringLiteral("protectWithPassword"), QStringLiteral("hasImage")};
    static const QStringList strings = {QStringLiteral("title"), QStringLiteral("titleLabelColorString"),
        QStringLiteral("webURLStr"), QStringLiteral("plainText")};
    static const QStringList dates = {QStringLiteral("createdAt"), QStringLiteral("modifiedAt")};
    if (integers.contains(key))
        return isInteger(value) ? QString() : QStringLiteral("a whole number");
    if (booleans.contains(key))
        return isBoolean(value) ? QString() : QStringLiteral("a yes or no");
    if (strings.contains(key))
        return value.typeId() == QMetaType::QString ? QString() : QStringLiteral("a text");
    if (dates.contains(key))
        return value.typeId() == QMetaType::QDateTime && value.toDateTime().isValid() ? QString()
                                                                                      : QStringLiteral("a date");
    if (key == QLatin1String("webArchive"))
        return value.typeId() == QMetaType::QByteArray ? QString() : QStringLiteral("data");
    if (key == QLatin1String("imageDataArray"))
        return isDataList(value) ? QString() : QStringLiteral("a list of images");
    return {};
}

QString describePage(const QVariantMap &page, int depth)
{
    const QString title = page.value(QStringLiteral("title")).toString();
    if (title.isEmpty())
        return QStringLiteral("a page %1 level(s) down").arg(depth - 1);
    return QStringLiteral("the page \"%1\"").arg(title);
}

} // namespace

QString removedMemoTitle()
{
    return QStringLiteral("Removed Memo");
}

Status validate(const QVariantMap &tree)
{
    // A list of pages still to look at, each with its depth: a deep tree
    // from a hostile sender must not exhaust the stack.
    std::vector<std::pair<QVariantMap, int>> pending;
    pending.emplace_back(tree, 1);
    while (!pending.empty()) {
        auto [page, depth] = std::move(pending.back());
        pending.pop_back();
        if (depth > maximumPageDepth)
            return refused(QStringLiteral("its pages are nested deeper than %1 levels").arg(maximumPageDepth));
        for (auto it = page.cbegin(); it != page.cend(); ++it) {
            if (it.key() == QLatin1String("children"))
                continue;
            if (const QString expected = wrongValue(it.key(), it.value()); !expected.isEmpty()) {
                return refused(
                    QStringLiteral("\"%1\" of %2 is not %3").arg(it.key(), describePage(page, depth), expected));
            }
        }
        const auto children = page.constFind(QStringLiteral("children"));
        if (children == page.cend())
            continue;
        if (children.value().typeId() != QMetaType::QVariantList)
            return refused(QStringLiteral("\"children\" of %1 is not a list").arg(describePage(page, depth)));
        const QVariantList list = children.value().toList();
        for (auto child = list.crbegin(); child != list.crend(); ++child) {
            if (child->typeId() != QMetaType::QVariantMap) {
                return refused(QStringLiteral("\"children\" of %1 holds something other than pages")
                                   .arg(describePage(page, depth)));
            }
            pending.emplace_back(child->toMap(), depth + 1);
        }
    }
    return {};
}

Result<QVariantMap> decode(const QByteArray &data)
{
    auto root = KeyedUnarchiver::unarchiveObjectWithData(data, kArchiveDepth);
    if (!root)
        return refused(root.errorMessage());
    if (root.value().typeId() != QMetaType::QVariantMap)
        return refused(QStringLiteral("its root is not a dictionary of text keys"));
    QVariantMap tree = std::move(root).value().toMap();
    if (Status valid = validate(tree); !valid)
        return Error{valid.errorMessage()};
    return tree;
}

Result<QByteArray> encode(const QVariantMap &tree)
{
    KeyedArchiver::Options options;
    options.maximumDepth = kArchiveDepth;
    return KeyedArchiver(options).archivedDataWithRootObject(tree);
}

QString colorString(const QColor &color)
{
    const QColor rgb = color.toRgb();
    const auto number = [](float component) {
        return QString::number(double(component), 'g', 6);
    };
    return QStringList{number(rgb.redF()), number(rgb.greenF()), number(rgb.blueF()), number(rgb.alphaF())}.join(u' ');
}

std::optional<QColor> colorFromString(const QString &text)
{
    const QStringList parts = text.split(u' ', Qt::SkipEmptyParts);
    if (parts.size() != 3 && parts.size() != 4)
        return std::nullopt;
    float components[4] = {0, 0, 0, 1};
    for (qsizetype i = 0; i < parts.size(); ++i) {
        bool ok = false;
        const float value = parts.at(i).toFloat(&ok);
        if (!ok || !(value >= 0.0F && value <= 1.0F))
            return std::nullopt;
        components[i] = value;
    }
    return QColor::fromRgbF(components[0], components[1], components[2], components[3]);
}

QString labelColorString(const QColor &titleColor)
{
    const QColor rgb = titleColor.toRgb();
    const bool black = rgb.red() == 0 && rgb.green() == 0 && rgb.blue() == 0;
    const bool white = rgb.red() == 255 && rgb.green() == 255 && rgb.blue() == 255 && rgb.alpha() == 255;
    if (!rgb.isValid() || black || white || rgb.alpha() == 0)
        return colorString(QColor(0, 0, 0, 0));
    QColor label = rgb;
    label.setAlphaF(0.65F);
    return colorString(label);
}

} // namespace SyncPayload
