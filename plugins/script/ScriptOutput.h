#pragma once

#include <ZEL_Processor/ZelPluginWriter.h>
#include <ZEL_Processor/ZelProcessorProgress.h>

#include <cstdint>
#include <string>
#include <string_view>

/// Takes the standard output of a task's program: lines of progress at its beginning, "progress 40 half way", and the
/// response from the first line on that is none. One thread at a time.
class CScriptOutput {
public:
    /// Both must live longer. Without a sink the output is lines alone, and what is no progress is passed over.
    CScriptOutput(CZelProcessorProgress& progress, IZelByteSink* response);

    /// False when the response could not be written.
    [[nodiscard]] bool Take(std::string_view bytes);
    /// The last line may have no end.
    [[nodiscard]] bool Finish();
    /// Bytes of the response.
    [[nodiscard]] std::uint64_t ResponseLength() const { return m_nResponse; }

private:
    /// True for a line of progress, which is told.
    bool TellProgress(std::string_view line);
    [[nodiscard]] bool Respond(std::string_view bytes);

    CZelProcessorProgress& m_progress;
    IZelByteSink* const m_pResponse;
    std::string m_strLine; ///< one whose end has not come yet
    bool m_bResponds = false;
    bool m_bSkips = false; ///< the rest of a line that is too long for one of progress
    std::uint64_t m_nResponse = 0;
};
