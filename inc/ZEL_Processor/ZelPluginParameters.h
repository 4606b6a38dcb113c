#pragma once

#include "ZEL_Processor/XMLTools.h"
#include "ZEL_Processor/ZelTypes.h"
#include "com/Bstr.h"
#include "com/ComError.h"
#include "com/ComPtr.h"
#include "com/Guid.h"
#include "platform/Text.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <concepts>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

/// Values of a task's parameters, read from their texts. The text counts as a whole, and in the same way whatever
/// language and country the process is set to.

/// A list that a request may have unless the task says otherwise.
constexpr std::size_t kZelLongestList = 10'000;
/// The longest text that is looked at as a number or a date.
constexpr std::size_t kZelLongestValue = 128;

template <class Number>
concept ZelWholeNumber = std::integral<Number> && !std::same_as<Number, bool> && !std::same_as<Number, char> &&
                         !std::same_as<Number, wchar_t>;

/// The characters of a text as one byte each; empty of one that is too long or has others.
[[nodiscard]] inline std::string ZelPlainText(std::wstring_view text)
{
    std::string plain;
    if (text.size() > kZelLongestValue)
        return plain;
    for (const wchar_t unit : text) {
        if (unit <= L' ' || unit > L'~')
            return {};
        plain += static_cast<char>(unit);
    }
    return plain;
}

/// All of the text as a number, in the form of the charconv functions.
template <class Number>
[[nodiscard]] bool ZelParseNumber(std::string_view text, Number& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return !text.empty() && error == std::errc() && end == text.data() + text.size();
}

inline bool ZelParse(std::wstring_view text, CString& value)
{
    value = text;
    return true;
}
/// Digits, a minus before them where the type has one.
template <ZelWholeNumber Number>
bool ZelParse(std::wstring_view text, Number& value)
{
    return ZelParseNumber(ZelPlainText(text), value);
}
/// "0.5", "-12", "1e9": with a point whatever the user's country has. No infinity.
inline bool ZelParse(std::wstring_view text, double& value)
{
    return ZelParseNumber(ZelPlainText(text), value) && std::isfinite(value);
}
/// The words of XML: "true" or "1", "false" or "0".
inline bool ZelParse(std::wstring_view text, bool& value)
{
    value = text == L"true" || text == L"1";
    return value || text == L"false" || text == L"0";
}
/// In braces, as GuidToText gives it.
inline bool ZelParse(std::wstring_view text, GUID& value)
{
    return GuidFromText(text, value);
}

/// Digits at a place of a text.
[[nodiscard]] inline std::optional<unsigned> ZelDigits(std::string_view text, std::size_t from, std::size_t count)
{
    unsigned value = 0;
    for (std::size_t i = from; i < from + count; ++i) {
        if (i >= text.size() || text[i] < '0' || text[i] > '9')
            return std::nullopt;
        value = value * 10 + static_cast<unsigned>(text[i] - '0');
    }
    return value;
}
[[nodiscard]] inline bool ZelParseDay(std::string_view text, std::chrono::year_month_day& value)
{
    const auto year = ZelDigits(text, 0, 4);
    const auto month = ZelDigits(text, 5, 2);
    const auto day = ZelDigits(text, 8, 2);
    if (text.size() != 10 || text[4] != '-' || text[7] != '-' || !year || !month || !day)
        return false;
    value = std::chrono::year(static_cast<int>(*year)) / std::chrono::month(*month) / std::chrono::day(*day);
    return value.ok();
}
/// A day, "2026-02-28".
inline bool ZelParse(std::wstring_view text, std::chrono::year_month_day& value)
{
    return ZelParseDay(ZelPlainText(text), value);
}
/// A second of universal time, "2026-02-28T23:59:59Z".
inline bool ZelParse(std::wstring_view text, std::chrono::sys_seconds& value)
{
    const std::string plain = ZelPlainText(text);
    std::chrono::year_month_day day;
    if (plain.size() != 20 || plain[10] != 'T' || plain[13] != ':' || plain[16] != ':' || plain[19] != 'Z' ||
        !ZelParseDay(std::string_view(plain).substr(0, 10), day))
        return false;
    const auto hour = ZelDigits(plain, 11, 2);
    const auto minute = ZelDigits(plain, 14, 2);
    const auto second = ZelDigits(plain, 17, 2);
    if (!hour || !minute || !second || *hour > 23 || *minute > 59 || *second > 59)
        return false;
    value = std::chrono::sys_days(day) + std::chrono::hours(*hour) + std::chrono::minutes(*minute) +
            std::chrono::seconds(*second);
    return true;
}

/// What a text should have been, for a message.
template <class Value>
[[nodiscard]] CString ZelKindOf()
{
    if constexpr (ZelWholeNumber<Value>)
        return L"a whole number from " + std::to_wstring(std::numeric_limits<Value>::min()) + L" to " +
               std::to_wstring(std::numeric_limits<Value>::max());
    else if constexpr (std::same_as<Value, double>)
        return L"a number like 0.5 or 1e9";
    else if constexpr (std::same_as<Value, bool>)
        return L"true or false";
    else if constexpr (std::same_as<Value, GUID>)
        return L"an id of the form {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}";
    else if constexpr (std::same_as<Value, std::chrono::year_month_day>)
        return L"a date like 2026-02-28";
    else if constexpr (std::same_as<Value, std::chrono::sys_seconds>)
        return L"a time like 2026-02-28T23:59:59Z";
    else
        return L"a text";
}

/// The parameters of a task, which are the child elements of its "Task" element; names count without regard to case.
/// The first one that is wrong ends the reading, with an error that names it:
///   CZelParameters parameters(task);
///   return (parameters.Get(L"Factor", m_factor) && parameters.GetOptional(L"Until", m_until)) ||
///          Fail(parameters.Error());
/// One thread at a time.
class CZelParameters {
public:
    explicit CZelParameters(IXMLDOMNode* task) : m_pTask(task) {}

    /// One that must be there.
    template <class Value>
    [[nodiscard]] bool Get(const CString& name, Value& value)
    {
        const std::size_t before = m_nRead;
        return GetOptional(name, value) && (m_nRead > before || Fail(name, L"is missing."));
    }
    /// One that may be there; the value stays as it is when it is not.
    template <class Value>
    [[nodiscard]] bool GetOptional(const CString& name, Value& value)
    {
        std::vector<Value> values;
        if (!GetList(name, values, 1))
            return false;
        if (!values.empty())
            value = values.front();
        return true;
    }
    /// All of this name, in their order; none is a list as well.
    template <class Value>
    [[nodiscard]] bool GetList(const CString& name, std::vector<Value>& values, std::size_t most = kZelLongestList)
    {
        values.clear();
        CComPtr<IXMLDOMNode> child;
        if (!m_pTask || FAILED(m_pTask->get_firstChild(child.Put())))
            return Fail(name, L"cannot be read.");
        while (child) {
            if (HasName(*child.Get(), name) && !Add(name, *child.Get(), values, most))
                return false;
            CComPtr<IXMLDOMNode> next;
            if (FAILED(child->get_nextSibling(next.Put())))
                return Fail(name, L"cannot be read.");
            child = std::move(next);
        }
        m_nRead += values.size();
        return true;
    }

    /// What is wrong with the first one that was; a sentence.
    [[nodiscard]] const CString& Error() const { return m_strError; }

private:
    template <class Value>
    bool Add(const CString& name, IXMLDOMNode& element, std::vector<Value>& values, std::size_t most)
    {
        if (values.size() >= most)
            return Fail(name, most == 1 ? CString(L"stands there twice.")
                                        : L"stands there more than " + std::to_wstring(most) + L" times.");
        CString text;
        Value value{};
        if (!CXMLTools::GetNodeValue(&element, text))
            return Fail(name, L"cannot be read.");
        if (!ZelParse(text, value))
            return Fail(name, L"is \"" + Excerpt(text) + L"\", not " + ZelKindOf<Value>() + L".");
        values.push_back(std::move(value));
        return true;
    }
    [[nodiscard]] static bool HasName(IXMLDOMNode& node, const CString& name)
    {
        DOMNodeType type = NODE_INVALID;
        CBstr own;
        return SUCCEEDED(node.get_nodeType(&type)) && type == NODE_ELEMENT && SUCCEEDED(node.get_nodeName(own.Put())) &&
               platform::EqualsNoCase(own.View(), name);
    }
    [[nodiscard]] static CString Excerpt(const CString& text)
    {
        constexpr std::size_t kLongest = 40;
        return text.size() <= kLongest ? text : text.substr(0, kLongest) + L"...";
    }
    bool Fail(const CString& name, const CString& reason)
    {
        m_strError = L"\"" + name + L"\" " + reason;
        return false;
    }

    const CComPtr<IXMLDOMNode> m_pTask;
    std::size_t m_nRead = 0; ///< values, of all names
    CString m_strError;
};
