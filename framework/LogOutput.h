#pragma once

#include "framework/LogFile.h"
#include "framework/LogOptions.h"

#include <spdlog/details/log_msg.h>
#include <spdlog/sinks/base_sink.h>

#include <mutex>
#include <string_view>

/// Where the lines of all loggers of the default host go: standard error and at most one file.
///
/// Not one of the ready-made sinks: those take no wide file name on Windows without changing their library for
/// everybody, and write UTF-8 bytes to a console that expects something else.
class CLogOutput : public spdlog::sinks::base_sink<std::mutex> {
public:
    CLogOutput();

    /// Takes over an opened file (a closed one for none), and switches the console and the form of the lines.
    void Redirect(CLogFile file, bool console, Brel::Log::eLogFormat format);

protected:
    void sink_it_(const spdlog::details::log_msg& message) override;
    void flush_() override;

private:
    void WriteToConsole(const spdlog::details::log_msg& message, std::string_view line) const;
    void WriteToFile(std::string_view line);

    CLogFile m_file;
    bool m_bConsole = true;
    bool m_bColour;
    bool m_bFileFailed = false;
};
