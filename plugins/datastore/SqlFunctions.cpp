#include "plugins/datastore/SqlFunctions.h"

#include "plugins/datastore/Database.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

/// Bytes that are compared between two looks at the cancel flag: some 100 microseconds.
constexpr std::size_t kBytesBetweenLooks = 1024 * 1024;

/// What is compared in the time that it takes to look a character up.
constexpr std::size_t kBytesOfALookup = 256;

/// Counts what a call does.
class CWork {
public:
    explicit CWork(sqlite3_context* context) : m_database(*static_cast<CDatabase*>(sqlite3_user_data(context))) {}

    /// False when the call is to end.
    [[nodiscard]] bool GoOn(std::size_t bytes)
    {
        m_nBytes += bytes;
        if (m_nBytes < kBytesBetweenLooks)
            return true;
        m_nBytes = 0;
        m_bEnded = m_bEnded || m_database.IsToStop();
        return !m_bEnded;
    }
    [[nodiscard]] bool IsEnded() const { return m_bEnded; }

private:
    CDatabase& m_database;
    std::size_t m_nBytes = 0;
    bool m_bEnded = false;
};

bool IsNull(sqlite3_value* value)
{
    return sqlite3_value_type(value) == SQLITE_NULL;
}

bool IsBlob(sqlite3_value* value)
{
    return sqlite3_value_type(value) == SQLITE_BLOB;
}

std::string_view View(const void* bytes, sqlite3_value* value)
{
    const auto length = static_cast<std::size_t>(sqlite3_value_bytes(value));
    return bytes == nullptr ? std::string_view() : std::string_view(static_cast<const char*>(bytes), length);
}

std::string_view Text(sqlite3_value* value)
{
    return View(sqlite3_value_text(value), value);
}

/// A copy, whose text can be had without making a text of a blob that others still look at.
struct SFreeValue {
    void operator()(sqlite3_value* value) const { sqlite3_value_free(value); }
};
using ValuePtr = std::unique_ptr<sqlite3_value, SFreeValue>;

/// True for a byte that is not the first of a UTF-8 character.
bool IsContinuation(char byte)
{
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// Where the needle, which is not empty, begins next; the length of the text when nowhere. Nothing when the call is to
/// end.
std::optional<std::size_t> Find(std::string_view text, std::string_view needle, std::size_t from, CWork& work)
{
    while (from + needle.size() <= text.size()) {
        const std::size_t found = std::min(text.find(needle.front(), from), text.size());
        if (found + needle.size() > text.size())
            break;
        if (!work.GoOn(found - from + needle.size()))
            return {};
        if (text.compare(found, needle.size(), needle) == 0)
            return found;
        from = found + 1;
    }
    return text.size();
}

void Instr(sqlite3_context* context, int, sqlite3_value** values)
{
    if (IsNull(values[0]) || IsNull(values[1]))
        return;
    const bool areBlobs = IsBlob(values[0]) && IsBlob(values[1]);
    const bool areMixed = !areBlobs && (IsBlob(values[0]) || IsBlob(values[1]));
    const std::array<ValuePtr, 2> copies = {ValuePtr(areMixed ? sqlite3_value_dup(values[0]) : nullptr),
                                            ValuePtr(areMixed ? sqlite3_value_dup(values[1]) : nullptr)};
    if (areMixed && (copies[0] == nullptr || copies[1] == nullptr))
        return sqlite3_result_error_nomem(context);
    const auto view = [&](std::size_t index) {
        if (areBlobs)
            return View(sqlite3_value_blob(values[index]), values[index]);
        return Text(areMixed ? copies[index].get() : values[index]);
    };
    const std::string_view text = view(0);
    const std::string_view needle = view(1);
    if (needle.empty())
        return sqlite3_result_int(context, 1);
    CWork work(context);
    // Within a character SQLite does not look: that matters where a text is no UTF-8.
    const auto isInside = [&](std::size_t at) {
        return !areBlobs && at > 0 && at < text.size() && IsContinuation(text[at]);
    };
    auto found = Find(text, needle, 0, work);
    while (found && isInside(*found))
        found = Find(text, needle, *found + 1, work);
    if (!found)
        return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
    if (*found == text.size())
        return sqlite3_result_int(context, 0);
    std::size_t number = 1;
    for (std::size_t at = 1; at <= *found; ++at)
        number += isInside(at) ? 0U : 1U;
    sqlite3_result_int(context, static_cast<int>(number));
}

void Replace(sqlite3_context* context, int, sqlite3_value** values)
{
    if (IsNull(values[0]) || IsNull(values[1]))
        return;
    const std::string_view text = Text(values[0]);
    const std::string_view pattern = Text(values[1]);
    if (pattern.empty() || pattern.front() == '\0')
        return sqlite3_result_value(context, values[0]);
    if (IsNull(values[2]))
        return;
    const std::string_view replacement = Text(values[2]);
    const auto limit =
        static_cast<std::size_t>(sqlite3_limit(sqlite3_context_db_handle(context), SQLITE_LIMIT_LENGTH, -1));
    CWork work(context);
    std::string result;
    for (std::size_t from = 0;;) {
        const auto found = Find(text, pattern, from, work);
        if (!found)
            return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
        result.append(text, from, *found - from);
        if (*found == text.size())
            break;
        result.append(replacement);
        if (result.size() > limit)
            return sqlite3_result_error_toobig(context);
        from = *found + pattern.size();
    }
    sqlite3_result_text64(context, result.data(), result.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

std::string_view FirstCharacter(std::string_view text)
{
    std::size_t length = 1;
    const bool isLong = static_cast<unsigned char>(text[0]) >= 0xC0;
    while (isLong && length < text.size() && IsContinuation(text[length]))
        ++length;
    return text.substr(0, length);
}

/// The characters that a trim takes away, found as SQLite finds them: also in text that is no UTF-8, where a character
/// may be a part of another one. The first of them that fits counts.
class CTrimSet {
public:
    explicit CTrimSet(std::string_view characters)
    {
        while (!characters.empty()) {
            const std::string_view character = FirstCharacter(characters);
            m_order.try_emplace(character, m_order.size());
            m_lengths.insert(character.size());
            characters.remove_prefix(character.size());
        }
    }

    /// The length of the one that the text begins or ends with; 0 for none, and when the call is to end.
    std::size_t LengthAt(std::string_view text, bool isEnd, CWork& work) const
    {
        std::size_t first = m_order.size();
        std::size_t found = 0;
        for (const std::size_t length : m_lengths) {
            if (length > text.size() || !work.GoOn(kBytesOfALookup + length))
                break;
            const auto match = m_order.find(text.substr(isEnd ? text.size() - length : 0, length));
            if (match != m_order.end() && match->second < first) {
                first = match->second;
                found = length;
            }
        }
        return work.IsEnded() ? 0 : found;
    }

private:
    std::unordered_map<std::string_view, std::size_t> m_order;
    std::set<std::size_t> m_lengths; ///< for UTF-8 four at most
};

template <bool kLeft, bool kRight>
void Trim(sqlite3_context* context, int count, sqlite3_value** values)
{
    if (IsNull(values[0]) || (count == 2 && IsNull(values[1])))
        return;
    const std::string_view characters = count == 2 ? Text(values[1]) : " ";
    const CTrimSet set(characters.substr(0, characters.find('\0'))); // SQLite's ends there
    std::string_view text = Text(values[0]);
    CWork work(context);
    while (const std::size_t length = kLeft ? set.LengthAt(text, false, work) : 0)
        text.remove_prefix(length);
    while (const std::size_t length = kRight ? set.LengthAt(text, true, work) : 0)
        text.remove_suffix(length);
    if (work.IsEnded())
        return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

using Function = void (*)(sqlite3_context*, int, sqlite3_value**);

/// SQLite is C: no exception may pass through it.
template <Function kFunction>
void Guarded(sqlite3_context* context, int count, sqlite3_value** values)
{
    try {
        kFunction(context, count, values);
    } catch (const std::exception&) {
        sqlite3_result_error_nomem(context);
    }
}

struct SFunction {
    const char* name;
    int arguments;
    Function function;
};

constexpr std::array<SFunction, 8> kFunctions = {{{"instr", 2, &Guarded<&Instr>},
                                                  {"replace", 3, &Guarded<&Replace>},
                                                  {"trim", 1, &Guarded<&Trim<true, true>>},
                                                  {"trim", 2, &Guarded<&Trim<true, true>>},
                                                  {"ltrim", 1, &Guarded<&Trim<true, false>>},
                                                  {"ltrim", 2, &Guarded<&Trim<true, false>>},
                                                  {"rtrim", 1, &Guarded<&Trim<false, true>>},
                                                  {"rtrim", 2, &Guarded<&Trim<false, true>>}}};

} // namespace

bool AddSqlFunctions(sqlite3* connection, CDatabase& database)
{
    return std::all_of(kFunctions.begin(), kFunctions.end(), [&](const SFunction& one) {
        return sqlite3_create_function_v2(connection, one.name, one.arguments,
                                          SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS, &database,
                                          one.function, nullptr, nullptr, nullptr) == SQLITE_OK;
    });
}
