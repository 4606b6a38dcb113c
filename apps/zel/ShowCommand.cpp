#include "apps/zel/ShowCommand.h"

#include "apps/zel/FileCopy.h"
#include "apps/zel/Sender.h"
#include "platform/ByteStream.h"
#include "platform/FileSystem.h"
#include "platform/Text.h"

#include <CLI/CLI.hpp>

namespace {

/// A command without a server: Ctrl-C ends it at once.
class CEndlessPatience final : public IPatience {
public:
    bool IsInterrupted() override { return false; }
    bool GoOn() override { return true; }
    [[nodiscard]] bool HasGivenUp() const override { return false; }
};

} // namespace

void CShowCommand::Define(CLI::App& app)
{
    app.add_option("ANSWER", m_answer, HelpText(ToolTexts::IDS_HELP_SHOW_ANSWER))->required()->type_name("");
    m_format.Define(app);
}

int CShowCommand::Start(const CToolOptionsParser& common)
{
    const std::wstring answer = platform::FromUtf8(m_answer);
    if (answer == kStandardStream || platform::PathExists(answer))
        return ShowFile(answer, common.IsJson());
    const std::optional<SToolOptions> options = common.Take();
    if (!options || !CheckRequestNames(ToRequestNames({m_answer})))
        return eExitCode_Usage;
    CToolSession session(*options);
    return session.CheckDirectories() ? ShowResponse(session) : eExitCode_ClientError;
}

int CShowCommand::ShowFile(const std::wstring& file, bool json) const
{
    CEndlessPatience patience;
    std::wstring error;
    const bool isInput = file == kStandardStream;
    if (const std::wstring why = isInput ? std::wstring() : WhyNoFile(file); !why.empty()) {
        PrintUsageError(L"zel", why);
        return eExitCode_ClientError;
    }
    const ByteSource input = [](std::span<std::byte> buffer, std::size_t& read) {
        return platform::ReadInput(buffer, read, [] { return true; });
    };
    const ByteSource source = isInput ? input : AnswerFile(patience, file, error);
    const std::wstring name = isInput ? WQ_ModuleText(ToolTexts::IDS_STANDARD_INPUT) : file;
    if (source && ShowAnswer(patience, source, name, m_format.Take(json), error))
        return eExitCode_Done;
    if (!error.empty())
        PrintError(L"zel", error);
    return error.empty() ? eExitCode_Done : eExitCode_ClientError;
}

int CShowCommand::ShowResponse(CToolSession& session) const
{
    const std::wstring name = ToRequestNames({m_answer}).front();
    const std::wstring path = session.OutputPath(name);
    std::wstring error;
    if (!platform::PathExists(path)) {
        PrintError(L"zel", ShownText(ToolTexts::IDS_NOTHING_TO_SHOW, {platform::FromUtf8(m_answer)}));
        return eExitCode_ClientError;
    }
    const ByteSource source = AnswerFile(session, path, error);
    if (source && ShowAnswer(session, source, path, m_format.Take(session.Options().json), error))
        return eExitCode_Done;
    if (session.IsInterrupted())
        return eExitCode_Interrupted;
    if (!error.empty())
        PrintError(L"zel", error);
    return error.empty() ? eExitCode_Done : eExitCode_ClientError;
}
