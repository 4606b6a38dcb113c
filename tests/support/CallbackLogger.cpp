#include "tests/support/CallbackLogger.h"

#include "framework/CrashReport.h"
#include "platform/Text.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/sink.h>

#include <utility>

namespace testsupport {

namespace {

std::string TextOrEmpty(const char* text)
{
    return text != nullptr ? text : "";
}

class CCallbackSink : public spdlog::sinks::sink {
public:
    explicit CCallbackSink(std::function<void(const SLogLine&)> callback) : m_callback(std::move(callback)) {}

    void log(const spdlog::details::log_msg& message) override
    {
        SLogLine line;
        line.logger.assign(message.logger_name.data(), message.logger_name.size());
        line.level = static_cast<Brel::Log::eLogLevel>(message.level);
        line.file = TextOrEmpty(message.source.filename);
        line.line = message.source.line;
        line.function = TextOrEmpty(message.source.funcname);
        line.text = platform::FromUtf8({message.payload.data(), message.payload.size()});
        line.request = MOXCrashRpt::CScopedSubject::CurrentName();
        m_callback(line);
    }
    void flush() override {}
    void set_pattern(const std::string& /*pattern*/) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter> /*formatter*/) override {}

private:
    const std::function<void(const SLogLine&)> m_callback;
};

} // namespace

std::shared_ptr<Brel::Log::Logger> MakeCallbackLogger(const std::string& name, Brel::Log::eLogLevel level,
                                                      std::function<void(const SLogLine&)> callback)
{
    auto logger = std::make_shared<Brel::Log::Logger>(name, std::make_shared<CCallbackSink>(std::move(callback)));
    logger->set_level(static_cast<spdlog::level::level_enum>(level)); // the same numbers
    return logger;
}

} // namespace testsupport
