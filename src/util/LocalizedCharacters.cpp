#include "LocalizedCharacters.h"

#include "platform/base/Localization.h"

#include <memory>

void CharacterSet::add(const QString &characters)
{
    for (const QChar c : characters) {
        const char16_t unit = c.unicode();
        m_bits[unit >> 6] |= std::uint64_t(1) << (unit & 63);
    }
}

bool CharacterSet::containsAll(const QString &text) const
{
    for (const QChar c : text) {
        if (!contains(c.unicode()))
            return false;
    }
    return true;
}

const LocalizedCharacters &LocalizedCharacters::forThisThread()
{
    // On the heap: the three sets take 24 KB, too much for every thread's
    // static storage when most threads never ask.
    thread_local const std::unique_ptr<const LocalizedCharacters> characters = [] {
        auto c = std::make_unique<LocalizedCharacters>();
        const auto strings = [](const char *key) {
            return localizedString(QString::fromLatin1(key), "StringUtility");
        };
        const auto numbers = [](const char *key) {
            return localizedString(QString::fromLatin1(key), "NumberUtility");
        };
        c->space = strings("Space Character");
        c->kuten = strings("Kuten Character");
        c->touten = strings("Touten Character");
        c->minus = strings("Minus Character");
        c->tilde = strings("Tilde Character");
        c->multiple = numbers("Multiple Character");
        c->days = numbers(" Days");
        c->hours = numbers(" Hours");
        c->minutes = numbers(" Minutes");
        c->seconds = numbers(" Seconds");
        const QString alphabet = strings("alphabetCharacterSet");
        const QString japanese = strings("japaneseCharacterset");
        c->alphabet.add(alphabet);
        c->japanese.add(japanese);
        c->japaneseAlphabet.add(alphabet);
        c->japaneseAlphabet.add(japanese);
        return std::unique_ptr<const LocalizedCharacters>(std::move(c));
    }();
    return *characters;
}
