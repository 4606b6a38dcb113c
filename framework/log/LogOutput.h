#pragma once

#include "framework/LogOptions.h"
#include "framework/log/LogFile.h"
#include "platform/FaultMutex.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/formatter.h>
#include <spdlog/sinks/sink.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

/// Where the lines of all loggers of the default host go: standard error and at most one file.
///
/// Not one of the ready-made sinks: those take no wide file name on Windows without changing their library for
/// everybody, and write UTF-8 bytes to a console that expects something else.
class CLogOutput : public spdlog::sinks::sink {
public:
    CLogOutput();

    void log(const spdlog::details::log_msg& message) override;
    void flush() override;
    void set_pattern(const std::string& pattern) override;
    void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override;

    /// Takes over an opened file (a closed one for none), and switches the console and the form of the lines as the
    /// options have them.
    void Redirect(CLogFile file, const Brel::Log::SLogOptions& options);

private:
    using Sink = std::function<void(const Brel::Log::SLogLine&)>;

    [[nodiscard]] std::shared_ptr<const Sink> Show(const spdlog::details::log_msg& message);
    void WriteToConsole(const spdlog::details::log_msg& message, std::string_view line) const ZEL_REQUIRES(m_mutex);
    void WriteToFile(std::string_view line) ZEL_REQUIRES(m_mutex);

    const bool m_bColour;
    platform::CFaultMutex m_mutex;
    std::unique_ptr<spdlog::formatter> m_pFormatter ZEL_GUARDED_BY(m_mutex);
    CLogFile m_file ZEL_GUARDED_BY(m_mutex);
    bool m_bConsole ZEL_GUARDED_BY(m_mutex) = true;
    bool m_bJournal ZEL_GUARDED_BY(m_mutex) = false;
    std::shared_ptr<const Sink> m_pSink ZEL_GUARDED_BY(m_mutex); ///< null for none
    bool m_bFileFailed ZEL_GUARDED_BY(m_mutex) = false;
};
