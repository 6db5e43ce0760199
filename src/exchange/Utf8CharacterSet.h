#pragma once

#include <clocale>
#include <locale.h>

/**
 * Sets the calling thread's LC_CTYPE to UTF-8 for its lifetime.
 *
 * libarchive converts names through the C library's character set, and in
 * the "C" locale (a session without LANG) it fails, or crashes, on any name
 * beyond ASCII. Every call into it therefore runs under one of these,
 * whatever the process's locale.
 */
class Utf8CharacterSet
{
public:
    Utf8CharacterSet()
        : m_utf8(newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t(nullptr)))
    {
        if (m_utf8)
            m_previous = uselocale(m_utf8);
    }
    ~Utf8CharacterSet()
    {
        if (m_utf8) {
            uselocale(m_previous);
            freelocale(m_utf8);
        }
    }
    Utf8CharacterSet(const Utf8CharacterSet &) = delete;
    Utf8CharacterSet &operator=(const Utf8CharacterSet &) = delete;

private:
    locale_t m_utf8;
    locale_t m_previous = LC_GLOBAL_LOCALE;
};
