#include "StringUtility.h"

#include "LocalizedCharacters.h"

#include <QLocale>

#include <algorithm>
#include <vector>

namespace {

// Built once per thread: titles are compared by the hundred thousand when a
// large tree is sorted, and building an ICU collator costs far more than a
// comparison.
const QCollator &titleCollator()
{
    thread_local const QCollator collator = [] {
        QLocale locale;
        // The "C" locale compares code points and ignores the numeric mode.
        if (locale.language() == QLocale::C)
            locale = QLocale(QLocale::English, QLocale::UnitedStates);
        QCollator c(locale);
        c.setNumericMode(true);
        // Case-insensitive means secondary strength: case and width differences
        // vanish, accents stay.
        c.setCaseSensitivity(Qt::CaseInsensitive);
        c.setIgnorePunctuation(false);
        return c;
    }();
    return collator;
}

// One step of the byte-size ladder: values above @c threshold are shown in @c unit.
struct SizeUnit
{
    double threshold;
    const char *unit;
};

constexpr double kKilo = 1024.0;
constexpr SizeUnit kTera{kKilo * kKilo * kKilo * kKilo, "TB"};
constexpr SizeUnit kGiga{kKilo * kKilo * kKilo, "GB"};
constexpr SizeUnit kMega{kKilo * kKilo, "MB"};
constexpr SizeUnit kKiloUnit{kKilo, "KB"};

// The value scaled to the largest unit it exceeds, with that unit; bytes
// when it exceeds none.
template<std::size_t N> std::pair<double, const char *> scaled(double bytes, const SizeUnit (&units)[N])
{
    for (const SizeUnit &step : units) {
        if (bytes > step.threshold)
            return {bytes / step.threshold, step.unit};
    }
    return {bytes, "B"};
}

} // namespace

namespace StringUtility {

int naturalCompare(const QString &a, const QString &b)
{
    const int result = titleCollator().compare(a, b);
    return result < 0 ? -1 : (result > 0 ? 1 : 0);
}

QCollatorSortKey naturalSortKey(const QString &text)
{
    return titleCollator().sortKey(text);
}

QList<qsizetype> naturalOrder(const QStringList &texts)
{
    std::vector<QCollatorSortKey> keys;
    keys.reserve(std::size_t(texts.size()));
    for (const QString &text : texts)
        keys.push_back(naturalSortKey(text));

    QList<qsizetype> order(texts.size());
    for (qsizetype i = 0; i < order.size(); ++i)
        order[i] = i;
    // Ties go by position, which keeps equal texts in their order without
    // the extra cost of a stable sort.
    std::sort(order.begin(), order.end(), [&keys](qsizetype a, qsizetype b) {
        const int result = keys[std::size_t(a)].compare(keys[std::size_t(b)]);
        return result < 0 || (result == 0 && a < b);
    });
    return order;
}

QString replaceReturnCode(const QString &text)
{
    QString result = text;
    result.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    result.replace(u'\r', u'\n');
    return result;
}

bool isNumberString(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

bool isAlphanumericString(const QString &text)
{
    return LocalizedCharacters::forThisThread().alphabet.containsAll(text);
}

bool isHiraganaKatanakaString(const QString &text)
{
    return LocalizedCharacters::forThisThread().japanese.containsAll(text);
}

bool isHiraganaKatanakaAlphabetString(const QString &text)
{
    return LocalizedCharacters::forThisThread().japaneseAlphabet.containsAll(text);
}

QString stringWithByteSize(double bytes)
{
    const SizeUnit units[] = {kTera, kGiga, kMega, kKiloUnit};
    const auto [value, unit] = scaled(bytes, units);
    return QString::asprintf(value < 10 ? "%.1f%s" : "%.0f%s", value, unit);
}

QString fileSizeString(double bytes)
{
    const SizeUnit units[] = {kGiga, kMega, kKiloUnit};
    const auto [value, unit] = scaled(bytes, units);
    QLocale locale;
    // The decimal separator is the user's; sizes are short enough to go
    // without grouping, as they always have.
    locale.setNumberOptions(locale.numberOptions() | QLocale::OmitGroupSeparator);
    return locale.toString(value, 'f', value < 10 ? 1 : 0) + QLatin1String(unit);
}

} // namespace StringUtility
