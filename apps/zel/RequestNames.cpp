#include "apps/zel/RequestNames.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/ZelProtocolNames.h"
#include "platform/Path.h"
#include "platform/Text.h"

#include "ToolTexts.h"

namespace {

constexpr std::wstring_view kStatusExtension = ZelProtocol::kStatusExtension;
/// A name that a file system takes, in bytes, and the longest ending that the system appends to a request's name.
constexpr std::size_t kMaxNameBytes = 255;
constexpr std::wstring_view kLongestEnding = L".status.lock";

bool IsTooLong(const std::wstring& name)
{
    return platform::ToUtf8(name).size() + kLongestEnding.size() > kMaxNameBytes;
}

} // namespace

bool IsRequestName(const std::wstring& name)
{
    const std::wstring extension = platform::ExtensionOf(name);
    return platform::EqualsNoCase(extension, ZelProtocol::kRequestExtension) ||
           platform::EqualsNoCase(extension, ZelProtocol::kXmlRequestExtension);
}

std::wstring RequestOfFile(const std::wstring& fileName)
{
    std::wstring name = fileName;
    if (name.ends_with(kStatusExtension))
        name.erase(name.size() - kStatusExtension.size());
    return IsRequestName(name) ? name : std::wstring();
}

std::wstring WhyNoRequestName(const std::wstring& name)
{
    if (!platform::IsPortableFileName(name))
        return WQ_ModuleText(ToolTexts::IDS_NAME_IS_NOT_PLAIN);
    if (!IsRequestName(name))
        return WQ_ModuleText(ToolTexts::IDS_NAME_HAS_OTHER_ENDING);
    if (IsTooLong(name))
        return WQ_ModuleText(ToolTexts::IDS_NAME_IS_TOO_LONG);
    return {};
}

std::wstring UniqueRequestName(const std::wstring& name)
{
    const std::wstring extension = platform::ExtensionOf(name);
    std::wstring unique = L"-" + CZelProcessorClient::GetUniqueString();
    std::erase_if(unique, [](wchar_t character) { return character == L'{' || character == L'}'; });
    std::wstring stem = name.substr(0, name.size() - extension.size());
    while (!stem.empty() && IsTooLong(stem + unique + extension))
        stem.pop_back();
    return stem + unique + extension;
}
