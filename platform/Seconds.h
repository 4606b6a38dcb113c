#pragma once

#include <charconv>
#include <chrono>
#include <string>
#include <string_view>

/// More than anybody means: thirty years.
inline constexpr std::chrono::seconds kMostSeconds{1'000'000'000};

/// Reads "300" or "0.25": digits, and at most three behind a point. False for anything else, and beyond kMostSeconds.
[[nodiscard]] inline bool ParseSeconds(std::string_view text, std::chrono::milliseconds& time)
{
    constexpr std::size_t kPlaces = 3;
    const std::size_t point = text.find('.');
    std::string digits(text.substr(0, point));
    const std::string_view fraction = point == std::string_view::npos ? "0" : text.substr(point + 1);
    if (digits.empty() || fraction.empty() || fraction.size() > kPlaces)
        return false;
    digits.append(fraction).append(kPlaces - fraction.size(), '0');
    std::chrono::milliseconds::rep count = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), count);
    if (error != std::errc() || end != digits.data() + digits.size() || digits.front() == '-')
        return false;
    time = std::chrono::milliseconds(count);
    return time <= kMostSeconds;
}

/// The same as text: "300", "0.25".
[[nodiscard]] inline std::wstring SecondsText(std::chrono::milliseconds time)
{
    std::wstring text = std::to_wstring(time.count() / 1000);
    std::wstring fraction = std::to_wstring(1000 + time.count() % 1000).substr(1);
    fraction.erase(fraction.find_last_not_of(L'0') + 1);
    return fraction.empty() ? text : text + L"." + fraction;
}
