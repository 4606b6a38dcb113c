#pragma once

#include "apps/zel/Command.h"
#include "apps/zel/ShownAnswer.h"

/// Prints an answer as a table, CSV, JSON or as it is: a file, standard input, or that of a request which has ended. It
/// needs the server's directories for the last one alone.
class CShowCommand : public IAnyCommand {
public:
    [[nodiscard]] const char* Name() const override { return "show"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_SHOW; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool NeedsServer() const override { return true; }
    [[nodiscard]] int Start(const CToolOptionsParser& common) override;

private:
    [[nodiscard]] int ShowFile(const std::wstring& file, bool json) const;
    [[nodiscard]] int ShowResponse(CToolSession& session) const;

    std::string m_answer;
    CFormatOption m_format;
};
