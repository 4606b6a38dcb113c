#include "apps/zel/TaskRequest.h"

#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/IsoTime.h"
#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/RequestAttributes.h"
#include "ZEL_Processor/ZelPluginWriter.h"
#include "ZEL_Processor/ZelProtocolNames.h"
#include "apps/common/ShownText.h"
#include "apps/zel/RequestNames.h"
#include "platform/Seconds.h"
#include "platform/Text.h"

#include "ToolTexts.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <chrono>

namespace {

bool MayBeginName(wchar_t character)
{
    return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z') || character == L'_';
}

bool CannotBeCarried(wchar_t character)
{
    const bool isKept = character == L'\t' || character == L'\n' || character == L'\r';
    return (character < 0x20 && !isKept) || character == 0xFFFE || character == 0xFFFF;
}

/// A parser keeps blanks at the ends only where they are said to matter.
bool HasBlanksAtItsEnds(const std::wstring& text)
{
    constexpr std::wstring_view kBlanks = L" \t\r\n";
    return !text.empty() && (kBlanks.find(text.front()) != kBlanks.npos || kBlanks.find(text.back()) != kBlanks.npos);
}

void WriteElement(CZelXmlWriter& xml, std::string_view name, const std::wstring& text)
{
    xml.Open(name);
    if (HasBlanksAtItsEnds(text))
        xml.Attribute("xml:space", L"preserve");
    xml.Text(text);
    xml.Close();
}

bool RefuseTask(const STextCode& code, const std::vector<std::wstring>& arguments)
{
    PrintUsageError(L"zel", ShownText(code, arguments));
    return false;
}

std::string WhyNoTimeLimit(const std::string& text)
{
    std::chrono::milliseconds time{0};
    return ParseSeconds(text, time) && time.count() > 0
               ? std::string()
               : "Value " + text + " not in range 0.001 to " + std::to_string(kMostSeconds.count());
}

} // namespace

bool IsElementName(const std::wstring& name)
{
    return !name.empty() && name.size() <= STaskRequest::kMaxNameLength && MayBeginName(name.front()) &&
           std::ranges::all_of(name, [](wchar_t character) {
               return MayBeginName(character) || (character >= L'0' && character <= L'9') || character == L'-' ||
                      character == L'.';
           });
}

bool IsElementText(const std::wstring& text)
{
    return !platform::HasLoneSurrogates(text) && std::ranges::none_of(text, CannotBeCarried);
}

std::string TaskRequestXml(const STaskRequest& request)
{
    struct STextSink final : public IZelByteSink {
        bool Write(std::string_view bytes) override
        {
            text += bytes;
            return true;
        }
        std::string text;
    };

    STextSink sink;
    CZelXmlWriter xml(sink);
    xml.Declaration();
    xml.Open("Request");
    for (const auto& [name, value] : request.attributes)
        xml.Attribute(name, value);
    xml.Open("Task");
    xml.Attribute("Type", request.type);
    for (const auto& [name, value] : request.elements)
        WriteElement(xml, platform::ToUtf8(name), value);
    if (!request.parameters.empty()) {
        xml.Open("Parameters");
        for (const std::wstring& value : request.parameters)
            WriteElement(xml, "Parameter", value);
        xml.Close();
    }
    xml.Close();
    xml.Close();
    return sink.text;
}

void CTaskOptions::Define(CLI::App& app)
{
    CLI::Option* const task = app.add_option("--task", m_type, HelpText(ToolTexts::IDS_HELP_TASK))->type_name("TYPE");
    const auto list = [&](const char* name, std::vector<std::string>& values, const STextCode& help) {
        return app.add_option(name, values, HelpText(help))->allow_extra_args(false)->needs(task);
    };
    list("--set", m_settings, ToolTexts::IDS_HELP_TASK_SET)->type_name("SETTING");
    list("--parameter", m_parameters, ToolTexts::IDS_HELP_TASK_PARAMETER)->type_name("VALUE");
    const auto number = [&](const char* name, std::optional<int>& value, int lowest, int highest,
                            const STextCode& help) {
        app.add_option(name, value, HelpText(help))
            ->type_name("N")
            ->check(CLI::Validator(CLI::Range(lowest, highest)).description(""))
            ->needs(task);
    };
    number("--priority", m_nPriority, -SRequestAttributes::kHighest, SRequestAttributes::kHighest,
           ToolTexts::IDS_HELP_TASK_PRIORITY);
    number("--attempts", m_nAttempts, 1, SRequestAttributes::kMostAttempts, ToolTexts::IDS_HELP_TASK_ATTEMPTS);
    app.add_option("--time-limit", m_timeLimit, HelpText(ToolTexts::IDS_HELP_TASK_TIME_LIMIT))
        ->type_name("SECONDS")
        ->check(CLI::Validator(&WhyNoTimeLimit, ""))
        ->needs(task);
    app.add_option("--not-before", m_notBefore, HelpText(ToolTexts::IDS_HELP_TASK_NOT_BEFORE))
        ->type_name("TIME")
        ->needs(task);
}

bool CTaskOptions::Check()
{
    m_request = {};
    m_request.type = platform::FromUtf8(m_type);
    if (!IsElementText(m_request.type))
        return RefuseTask(ToolTexts::IDS_NO_XML_TEXT, {L"--task"});
    if (m_settings.size() + m_parameters.size() > STaskRequest::kMaxElements)
        return RefuseTask(ToolTexts::IDS_TOO_MANY_SETTINGS, {std::to_wstring(STaskRequest::kMaxElements)});
    for (const std::wstring& setting : ToWide(m_settings)) {
        if (!AddElement(setting))
            return false;
    }
    m_request.parameters = ToWide(m_parameters);
    if (!std::ranges::all_of(m_request.parameters, IsElementText))
        return RefuseTask(ToolTexts::IDS_NO_XML_TEXT, {L"--parameter"});
    return AddAttributes();
}

bool CTaskOptions::AddElement(const std::wstring& setting)
{
    const std::size_t sign = setting.find(L'=');
    const std::wstring name = setting.substr(0, sign);
    if (sign == std::wstring::npos || !IsElementName(name))
        return RefuseTask(ToolTexts::IDS_NO_SETTING, {setting});
    const auto hasName = [&](const auto& element) { return platform::EqualsNoCase(element.first, name); };
    if (std::ranges::any_of(m_request.elements, hasName))
        return RefuseTask(ToolTexts::IDS_SET_TWICE, {name});
    std::wstring value = setting.substr(sign + 1);
    if (!IsElementText(value))
        return RefuseTask(ToolTexts::IDS_NO_XML_TEXT, {L"--set " + name});
    m_request.elements.emplace_back(name, std::move(value));
    return true;
}

bool CTaskOptions::AddAttributes()
{
    const auto add = [&](const char* name, std::wstring value) {
        if (!value.empty())
            m_request.attributes.emplace_back(name, std::move(value));
    };
    const auto text = [](const std::optional<int>& number) { return number ? std::to_wstring(*number) : L""; };
    if (!m_notBefore.empty() && !Protocol::ParseIsoTime(m_notBefore))
        return RefuseTask(ToolTexts::IDS_NO_ISO_TIME, {platform::FromUtf8(m_notBefore)});
    add("Priority", text(m_nPriority));
    add("NotBefore", platform::FromUtf8(m_notBefore));
    add("TimeLimit", platform::FromUtf8(m_timeLimit));
    add("Attempts", text(m_nAttempts));
    return true;
}

std::wstring CTaskOptions::Name() const
{
    const std::wstring name = platform::FromUtf8(m_type) + ZelProtocol::kRequestExtension;
    return UniqueRequestName(WhyNoRequestName(name).empty() ? name
                                                            : std::wstring(L"task") + ZelProtocol::kRequestExtension);
}
