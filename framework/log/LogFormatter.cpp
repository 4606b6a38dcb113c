#include "framework/log/LogFormatter.h"

#include "framework/CrashReport.h"
#include "framework/log/LogText.h"
#include "platform/Text.h"

#include <nlohmann/json.hpp>
#include <spdlog/pattern_formatter.h>

#include <string>
#include <string_view>

namespace {

using Message = spdlog::details::log_msg;
using Buffer = spdlog::memory_buf_t;

constexpr char kTime[] = "%Y-%m-%dT%H:%M:%S.%eZ";
constexpr char kPattern[] = "%Y-%m-%dT%H:%M:%S.%eZ %^%-8l%$ [%n] [%t]%& %v";
constexpr char kPlacePattern[] = "%*";

void Append(Buffer& line, std::string_view text)
{
    line.append(text.data(), text.data() + text.size());
}

std::string_view ViewOf(spdlog::string_view_t text)
{
    return {text.data(), text.size()};
}

bool HasPlace(const Message& message)
{
    return message.source.filename != nullptr && *message.source.filename != '\0';
}

/// A part of the text line that the library has not, or not so.
template <class Show>
class CLogFlag : public spdlog::custom_flag_formatter {
public:
    void format(const Message& message, const std::tm&, Buffer& line) override { Show::To(line, message); }
    [[nodiscard]] std::unique_ptr<spdlog::custom_flag_formatter> clone() const override
    {
        return std::make_unique<CLogFlag>();
    }
};

/// " {name.drq}", or nothing when the thread works on no request.
struct SShowRequest {
    static void To(Buffer& line, const Message&)
    {
        const std::wstring name = MOXCrashRpt::CScopedSubject::CurrentName();
        if (!name.empty())
            Append(line, " {" + PrintableLogName(name) + "}");
    }
};

struct SShowText {
    static void To(Buffer& line, const Message& message) { Append(line, PrintableLogText(ViewOf(message.payload))); }
};

/// " (File.cpp:17)", or nothing where the place is not known.
struct SShowPlace {
    static void To(Buffer& line, const Message& message)
    {
        if (!HasPlace(message))
            return;
        std::string_view file = message.source.filename;
        file.remove_prefix(file.find_last_of("/\\") + 1);
        Append(line, " (" + std::string(file) + ":" + std::to_string(message.source.line) + ")");
    }
};

class CJsonLogFormatter : public spdlog::formatter {
public:
    explicit CJsonLogFormatter(bool places) : m_places(places) {}

    void format(const Message& message, Buffer& line) override
    {
        Buffer time;
        m_time.format(message, time);
        nlohmann::ordered_json object;
        object["time"] = std::string(time.data(), time.size());
        object["level"] = ViewOf(spdlog::level::to_string_view(message.level));
        object["logger"] = Text(ViewOf(message.logger_name));
        object["thread"] = message.thread_id;
        const std::wstring request = MOXCrashRpt::CScopedSubject::CurrentName();
        object["request"] = request.empty() ? Json() : Json(ValidLogText(request));
        object["text"] = Text(ViewOf(message.payload));
        const bool hasPlace = m_places && HasPlace(message);
        object["file"] = hasPlace ? Text(message.source.filename) : Json();
        object["line"] = hasPlace ? Json(message.source.line) : Json();
        const char* const function = m_places ? message.source.funcname : nullptr;
        object["function"] = function != nullptr && *function != '\0' ? Text(function) : Json();
        Append(line, object.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    }
    [[nodiscard]] std::unique_ptr<spdlog::formatter> clone() const override
    {
        return std::make_unique<CJsonLogFormatter>(m_places);
    }

private:
    using Json = nlohmann::ordered_json;

    static Json Text(std::string_view bytes) { return ValidLogText(platform::FromUtf8(bytes)); }

    const bool m_places;
    spdlog::pattern_formatter m_time{kTime, spdlog::pattern_time_type::utc, ""};
};

} // namespace

std::unique_ptr<spdlog::formatter> MakeTextLogFormatter(bool places)
{
    auto formatter = std::make_unique<spdlog::pattern_formatter>(spdlog::pattern_time_type::utc, "\n");
    formatter->add_flag<CLogFlag<SShowRequest>>('&');
    formatter->add_flag<CLogFlag<SShowText>>('v');
    formatter->add_flag<CLogFlag<SShowPlace>>('*');
    formatter->set_pattern(std::string(kPattern) + (places ? kPlacePattern : ""));
    return formatter;
}

std::unique_ptr<spdlog::formatter> MakeJsonLogFormatter(bool places)
{
    return std::make_unique<CJsonLogFormatter>(places);
}
