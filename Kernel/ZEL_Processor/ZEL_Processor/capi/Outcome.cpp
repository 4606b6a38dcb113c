#include "capi/Outcome.h"

#include "capi/Arguments.h"
#include "framework/Language.h"
#include "framework/Services.h"
#include "platform/Text.h"
#include "reports/StringCodes.h"

#include <array>
#include <exception>
#include <iterator>
#include <new>

namespace {

static_assert(ZEL_NO_SERVER == static_cast<int>(zel::Code::noServer));
static_assert(ZEL_HAS_STARTED == static_cast<int>(zel::Code::hasStarted));
static_assert(ZEL_FILE_ERROR == static_cast<int>(zel::Code::fileError));

/// By code.
constexpr const char* kNames[] = {"ok",          "timeout",         "stopped",   "bad-name",  "bad-argument",
                                  "name-in-use", "unknown-request", "not-ended", "has-ended", "has-started",
                                  "not-paused",  "canceled",        "failed",    "no-answer", "refused",
                                  "file-error",  "system-error",    "no-server", "woken",     "no-memory",
                                  "wrong-time",  "no-plugin",       "internal"};
static_assert(std::size(kNames) == ZEL_INTERNAL + 1);
static_assert(std::size(StringCodes::kCodes) == std::size(kNames));

struct SLastError {
    std::string text;
    std::string detail;
    zel_error error{sizeof(zel_error), ZEL_OK, "", ""};
};

SLastError& LastError()
{
    static thread_local SLastError error;
    return error;
}

bool IsCode(zel_code code)
{
    return code >= 0 && static_cast<std::size_t>(code) < std::size(kNames);
}

std::string TextOfCode(zel_code code)
{
    const SStringCode& text =
        StringCodes::kCodes[static_cast<std::size_t>(IsCode(code) ? code : zel_code{ZEL_INTERNAL})];
    return SafeText(RootApp_RSC_CStr(text.id, text.name));
}

} // namespace

zel_code TellOutcome(const SOutcome& outcome) noexcept
{
    if (outcome.IsGood())
        return ZEL_OK;
    SLastError& last = LastError();
    last.error.code = outcome.code;
    last.error.text = last.error.detail = "";
    try {
        last.text = TextOfCode(outcome.code);
        last.error.text = last.text.c_str();
        last.detail = SafeText(platform::FromUtf8(outcome.detail));
        last.error.detail = last.detail.c_str();
    } catch (...) {
        static_cast<void>(last); // what is known by now is what there is memory for
    }
    return outcome.code;
}

zel_code TellException() noexcept
{
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return TellOutcome({ZEL_NO_MEMORY, {}});
    } catch (const std::exception& exception) {
        try {
            return TellOutcome({ZEL_INTERNAL, exception.what()});
        } catch (...) {
            return ZEL_NO_MEMORY;
        }
    } catch (...) {
        return TellOutcome({ZEL_INTERNAL, {}});
    }
}

extern "C" {

const zel_error* zel_last_error(void)
{
    return &LastError().error;
}

const char* zel_code_text(zel_code code)
{
    static thread_local std::string text;
    try {
        text = TextOfCode(code);
    } catch (...) {
        return "";
    }
    return text.c_str();
}

const char* zel_code_name(zel_code code)
{
    return IsCode(code) ? kNames[code] : "unknown";
}

zel_code zel_set_language(const char* language)
{
    return CallSafely([&]() -> SOutcome {
        std::wstring text;
        if (language != nullptr && *language != '\0' && !TakeText(language, ZEL_MAX_PATH_BYTES, text))
            return BadArgument("language");
        WQ_SetLanguage(text);
        return {};
    });
}

} // extern "C"
