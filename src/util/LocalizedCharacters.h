#pragma once

#include <QString>

#include <array>
#include <cstdint>

/**
 * A set of UTF-16 code units, built from a string listing them. Membership
 * is one bit test, as the character-class tests run once per character.
 */
class CharacterSet
{
public:
    CharacterSet() = default;
    /** The set of every code unit in @p characters. */
    explicit CharacterSet(const QString &characters) { add(characters); }

    void add(const QString &characters);
    [[nodiscard]] bool contains(char16_t unit) const { return (m_bits[unit >> 6] >> (unit & 63)) & 1U; }
    /** True when every code unit of @p text is in the set (so for empty text too). */
    [[nodiscard]] bool containsAll(const QString &text) const;

private:
    std::array<std::uint64_t, 1024> m_bits{};
};

/**
 * The characters and words the string and number utilities read from the
 * strings tables "StringUtility" and "NumberUtility". A key that a table
 * lacks stands for itself, so the operations still run without translations.
 *
 * Search matching asks for these once per page, so they are looked up once
 * per thread, on first use: install the tables (Localization::install())
 * before that.
 */
struct LocalizedCharacters
{
    QString space;                         ///< "Space Character": the ideographic space
    QString kuten;                         ///< "Kuten Character": the ideographic full stop
    QString touten;                        ///< "Touten Character": the ideographic comma
    QString minus;                         ///< "Minus Character": the full-width hyphen-minus
    QString tilde;                         ///< "Tilde Character": the full-width tilde
    QString multiple;                      ///< "Multiple Character": the multiplication sign
    QString days, hours, minutes, seconds; ///< " Days", " Hours"...: duration units
    CharacterSet alphabet;                 ///< "alphabetCharacterSet"
    CharacterSet japanese;                 ///< "japaneseCharacterset"
    CharacterSet japaneseAlphabet;         ///< both sets together

    /** The values for the calling thread. */
    [[nodiscard]] static const LocalizedCharacters &forThisThread();
};
