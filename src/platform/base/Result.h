#pragma once

#include <QString>

#include <utility>
#include <variant>

/** Why an operation failed, in words a user or a log reader can act on. */
struct Error
{
    QString message;
};

/**
 * The outcome of an operation that can fail: a value, or an Error.
 * Errors never cross layers as exceptions; they travel as this type.
 */
template<typename T> class [[nodiscard]] Result
{
public:
    Result(T value)
        : m_state(std::move(value))
    { }
    Result(Error error)
        : m_state(std::move(error))
    { }

    [[nodiscard]] bool ok() const { return std::holds_alternative<T>(m_state); }
    explicit operator bool() const { return ok(); }

    /** The value; only valid when ok(). */
    [[nodiscard]] const T &value() const & { return std::get<T>(m_state); }
    [[nodiscard]] T &&value() && { return std::get<T>(std::move(m_state)); }
    [[nodiscard]] T valueOr(T fallback) const { return ok() ? value() : fallback; }

    /** The failure's message; empty when ok(). */
    [[nodiscard]] QString errorMessage() const { return ok() ? QString() : std::get<Error>(m_state).message; }

private:
    std::variant<T, Error> m_state;
};

/** The outcome of an operation that yields nothing but can fail. */
template<> class [[nodiscard]] Result<void>
{
public:
    Result() = default;
    Result(Error error)
        : m_error(std::move(error.message))
        , m_failed(true)
    { }

    [[nodiscard]] bool ok() const { return !m_failed; }
    explicit operator bool() const { return ok(); }
    [[nodiscard]] QString errorMessage() const { return m_error; }

private:
    QString m_error;
    bool m_failed = false;
};

using Status = Result<void>;
