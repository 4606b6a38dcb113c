#pragma once

#include <string>
#include <utility>
#include <variant>

namespace zel {

/// Why a call has nothing to give.
enum class Code {
    ok,
    timeout,        ///< the caller's time is over; what was waited for may still come
    stopped,        ///< Client::stop ended the wait
    badName,        ///< no request can have this name
    badArgument,    ///< nothing to wait for, or requests of several clients
    nameInUse,      ///< a request, a status or a response of this name is there
    unknownRequest, ///< there is no request of this name, or no longer
    notEnded,       ///< the request waits or runs
    hasEnded,       ///< too late: the request is at its end
    hasStarted,     ///< too late: the request runs
    notPaused,      ///< the request is not known as paused
    canceled,       ///< the request was cancelled
    failed,         ///< the request ended with an error; the reason is the server's
    noAnswer,       ///< no server answered in the time that it has
    refused,        ///< the server answered that it will not
    fileError,      ///< a file cannot be read, written or moved
    systemError,    ///< the system refuses something else
    noServer        ///< no server was there for as long as the options say; what was waited for may still come
};

/// A code and its reason, on one line, UTF-8: for the log of an application. English, with the files that it is about
/// and the words of the system, which are in the language of the process; or the words of the server, in its language,
/// where the request itself failed.
struct Error {
    Code code = Code::ok;
    std::string reason;
};

/// What a call gives: a value, or why there is none. Nothing is thrown but std::bad_alloc, and nothing is written to
/// standard error. To be looked at before it is used.
template <class Value>
class [[nodiscard]] Result {
public:
    Result(Value value) : m_content(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : m_content(std::in_place_index<1>, std::move(error)) {}

    /// Whether there is a value.
    explicit operator bool() const noexcept { return m_content.index() == 0; }
    [[nodiscard]] Code code() const noexcept { return *this ? Code::ok : std::get_if<1>(&m_content)->code; }
    /// Empty when there is a value.
    [[nodiscard]] std::string reason() const { return *this ? std::string() : std::get<1>(m_content).reason; }
    [[nodiscard]] Error error() const { return *this ? Error() : std::get<1>(m_content); }

    /// The value. Without one: std::bad_variant_access.
    [[nodiscard]] Value& value() & { return std::get<0>(m_content); }
    [[nodiscard]] const Value& value() const& { return std::get<0>(m_content); }
    [[nodiscard]] Value&& value() && { return std::get<0>(std::move(m_content)); }
    [[nodiscard]] Value& operator*() & { return value(); }
    [[nodiscard]] const Value& operator*() const& { return value(); }
    [[nodiscard]] Value&& operator*() && { return std::move(*this).value(); }
    [[nodiscard]] Value* operator->() { return &value(); }
    [[nodiscard]] const Value* operator->() const { return &value(); }

private:
    std::variant<Value, Error> m_content;
};

/// Of a call that only succeeds or fails.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : m_error(std::move(error)) {}

    explicit operator bool() const noexcept { return m_error.code == Code::ok; }
    [[nodiscard]] Code code() const noexcept { return m_error.code; }
    [[nodiscard]] const std::string& reason() const noexcept { return m_error.reason; }
    [[nodiscard]] const Error& error() const noexcept { return m_error; }

private:
    Error m_error;
};

} // namespace zel
