#include "plugins/datastore/RequestLimits.h"

#include "platform/Module.h"
#include "platform/Text.h"
#include "plugins/datastore/TemporarySpace.h"
#include "plugins/datastore/Value.h"

namespace {

/// Thirty years of seconds, or a pebibyte: more than anybody means.
constexpr std::int64_t kMost = 1'000'000'000;

bool ReadNumber(const wchar_t* variable, std::int64_t least, std::int64_t& number, CString& error)
{
    const CString text = platform::Environment(variable);
    if (text.empty())
        return true;
    if (ParseInteger(platform::ToUtf8(text), number) && number >= least && number <= kMost)
        return true;
    error = L"The variable " + CString(variable) + L" of the server is no number from " + std::to_wstring(least) +
            L" to " + std::to_wstring(kMost) + L": \"" + text.substr(0, 100) + L"\".";
    return false;
}

} // namespace

bool SRequestLimits::Read(CString& error)
{
    std::int64_t seconds = 0;
    std::int64_t mebibytes = temporaryspace::kUsualBytes >> 20;
    if (!ReadNumber(L"ZEL_QUERY_TIME_LIMIT", 0, seconds, error) ||
        !ReadNumber(L"ZEL_QUERY_SPACE_LIMIT", 1, mebibytes, error))
        return false;
    time = std::chrono::seconds(seconds);
    spaceBytes = mebibytes << 20;
    return true;
}
