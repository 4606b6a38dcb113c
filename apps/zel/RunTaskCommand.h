#pragma once

#include "ZEL_Processor/ZelTaskHarness.h"
#include "apps/zel/Command.h"

#include <cstdint>
#include <optional>
#include <string>

/// With it nothing between main and the task handles an exception.
constexpr const wchar_t* kUncontainedOption = L"--no-contain";

class CTaskInterrupt;
class IPatience;

/// Runs one request in a plug-in, in this process: for its author.
class CRunTaskCommand : public ILocalCommand {
public:
    [[nodiscard]] const char* Name() const override { return "run-task"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RUN_TASK; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run() override;

private:
    [[nodiscard]] eExitCode RunAll(CZelTaskHarness& harness, CTaskInterrupt& interrupt);
    [[nodiscard]] eExitCode RunOnce(CZelTaskHarness& harness, bool isShown, SZelTaskRun& run) const;
    [[nodiscard]] eExitCode TellEnd(const SZelTaskRun& run) const;
    [[nodiscard]] eExitCode TellObjects(std::int64_t left, std::uint32_t runs) const;
    /// Of standard input, once for all runs. False after a message.
    [[nodiscard]] bool ReadRequest(IPatience& patience);
    [[nodiscard]] std::wstring Target() const;
    [[nodiscard]] SRequestState StateOf(const SZelTaskRun& run) const;

    std::string m_module;
    std::string m_request;
    std::string m_output;
    std::optional<std::string> m_input; ///< the request, where it came from standard input
    std::uint32_t m_nRepeat = 0;        ///< 0: once, and nothing is said of objects when none is left
    bool m_bUncontained = false;
    bool m_bQuiet = false;
};
