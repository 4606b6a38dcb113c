#include "IsoTime.h"

#include <algorithm>
#include <chrono>
#include <cstddef>

namespace {

constexpr bool IsDigit(char unit)
{
    return unit >= '0' && unit <= '9';
}

/// Takes a text apart from its begin. After a part that is not there nothing counts.
class CTimeText {
public:
    explicit CTimeText(std::string_view text) : m_rest(text) {}

    int TakeNumber(std::size_t digits, int lowest, int highest)
    {
        int value = 0;
        const std::string_view part = m_rest.substr(0, digits);
        m_isGood = m_isGood && part.size() == digits && std::ranges::all_of(part, IsDigit);
        if (!m_isGood)
            return lowest;
        for (const char digit : part)
            value = 10 * value + (digit - '0');
        m_rest.remove_prefix(digits);
        m_isGood = value >= lowest && value <= highest;
        return value;
    }
    void Expect(char unit) { m_isGood = Skip(unit) && m_isGood; }
    bool Skip(char unit)
    {
        const bool isHere = m_rest.starts_with(unit);
        m_rest.remove_prefix(isHere ? 1 : 0);
        return isHere;
    }
    void SkipFraction()
    {
        const auto end = std::ranges::find_if_not(m_rest, IsDigit);
        m_isGood = m_isGood && end != m_rest.begin();
        m_rest.remove_prefix(static_cast<std::size_t>(end - m_rest.begin()));
    }
    [[nodiscard]] bool IsWhole() const { return m_isGood && m_rest.empty(); }

private:
    std::string_view m_rest;
    bool m_isGood = true;
};

} // namespace

std::optional<std::int64_t> Protocol::ParseIsoTime(std::string_view text)
{
    using namespace std::chrono;
    CTimeText rest(text);
    const int yearNumber = rest.TakeNumber(4, 0, 9999);
    rest.Expect('-');
    const int monthNumber = rest.TakeNumber(2, 1, 12);
    rest.Expect('-');
    const int dayNumber = rest.TakeNumber(2, 1, 31);
    rest.Expect('T');
    const int hour = rest.TakeNumber(2, 0, 23);
    rest.Expect(':');
    const int minute = rest.TakeNumber(2, 0, 59);
    int second = 0;
    if (rest.Skip(':')) {
        second = rest.TakeNumber(2, 0, 60); // a leap second counts as the next
        if (rest.Skip('.'))
            rest.SkipFraction();
    }
    int ahead = 0;
    if (!rest.Skip('Z')) {
        const bool isWest = rest.Skip('-');
        if (!isWest)
            rest.Expect('+');
        ahead = 60 * rest.TakeNumber(2, 0, 23);
        rest.Expect(':');
        ahead += rest.TakeNumber(2, 0, 59);
        if (isWest)
            ahead = -ahead;
    }
    const year_month_day date{year(yearNumber), month(static_cast<unsigned>(monthNumber)),
                              day(static_cast<unsigned>(dayNumber))};
    if (!rest.IsWhole() || !date.ok())
        return std::nullopt;
    const sys_seconds time = sys_days(date) + hours(hour) + minutes(minute - ahead) + seconds(second);
    return time.time_since_epoch().count();
}
