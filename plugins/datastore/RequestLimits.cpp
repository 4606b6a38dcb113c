#include "plugins/datastore/RequestLimits.h"

#include "platform/Module.h"
#include "platform/Seconds.h"
#include "platform/Text.h"
#include "plugins/datastore/TemporarySpace.h"
#include "plugins/datastore/Value.h"

namespace {

/// A pebibyte: more than anybody means.
constexpr std::int64_t kMostMebibytes = 1'000'000'000;

/// What the variable holds is read by the function; the text says what it must be.
template <class Read>
bool ReadNumber(const wchar_t* variable, const CString& range, const Read& read, CString& error)
{
    const CString text = platform::Environment(variable);
    if (text.empty() || read(platform::ToUtf8(text)))
        return true;
    error = L"The variable " + CString(variable) + L" of the server is no number " + range + L": \"" +
            text.substr(0, 100) + L"\".";
    return false;
}

} // namespace

bool SRequestLimits::Read(CString& error)
{
    std::int64_t mebibytes = temporaryspace::kUsualBytes >> 20;
    const auto readTime = [&](const std::string& text) { return ParseSeconds(text, time); };
    const auto readSpace = [&](const std::string& text) {
        return ParseInteger(text, mebibytes) && mebibytes >= 1 && mebibytes <= kMostMebibytes;
    };
    if (!ReadNumber(L"ZEL_QUERY_TIME_LIMIT",
                    L"from 0 to " + SecondsText(kMostSeconds) + L" with at most three places behind the point",
                    readTime, error) ||
        !ReadNumber(L"ZEL_QUERY_SPACE_LIMIT", L"from 1 to " + std::to_wstring(kMostMebibytes), readSpace, error))
        return false;
    spaceBytes = mebibytes << 20;
    return true;
}
