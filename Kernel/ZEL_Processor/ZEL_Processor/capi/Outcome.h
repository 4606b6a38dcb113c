#pragma once

#include "capi/Interface.h"

#include "ZEL_Processor/zel/Result.h"

#include <string>

/// What a function of the C interface gives, and why it gives nothing.
struct SOutcome {
    zel_code code = ZEL_OK;
    std::string detail;

    SOutcome() = default;
    SOutcome(zel_code why, std::string words) : code(why), detail(std::move(words)) {}
    /// The codes of the face have the same numbers.
    SOutcome(const zel::Error& error) : code(static_cast<zel_code>(error.code)), detail(error.reason) {}
    template <class Value>
    SOutcome(const zel::Result<Value>& result) : SOutcome(result.error())
    {}

    [[nodiscard]] bool IsGood() const { return code == ZEL_OK; }
};

/// Notes a failure for zel_last_error; gives the code.
[[nodiscard]] zel_code TellOutcome(const SOutcome& outcome) noexcept;
/// The exception that is just being handled.
[[nodiscard]] zel_code TellException() noexcept;

/// The body of each function: nothing is thrown across the border.
template <class Body>
[[nodiscard]] zel_code CallSafely(const Body& body) noexcept
{
    try {
        return TellOutcome(body());
    } catch (...) {
        return TellException();
    }
}
