#include "plugins/datastore/SqlFunctions.h"

#include "plugins/datastore/SqlPattern.h"
#include "plugins/datastore/SqlSearch.h"
#include "plugins/datastore/SqlWork.h"

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

namespace {

/// What is compared in the time that it takes to look a character up.
constexpr std::size_t kBytesOfALookup = 256;

/// The same for a character that is compared by LIKE or GLOB.
constexpr std::size_t kBytesOfAMatch = 16;

/// Of the characters that are trimmed: more would need memory that nobody counts.
constexpr std::size_t kMaxTrimmedBytes = 256 * 1024;

CSqlWork WorkOf(sqlite3_context* context)
{
    return CSqlWork(*static_cast<CDatabase*>(sqlite3_user_data(context)));
}

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
    // Within a character SQLite does not look: a needle of text that begins there can only be found at the front.
    if (!areBlobs && IsUtf8Continuation(needle.front()))
        return sqlite3_result_int(context, text.starts_with(needle) ? 1 : 0);
    const std::size_t found = CSqlSearch(needle).Find(text, 0);
    if (found == text.size())
        return sqlite3_result_int(context, 0);
    const std::string_view passed = text.substr(std::min<std::size_t>(1, found), found);
    const auto inside = areBlobs ? 0 : std::count_if(passed.begin(), passed.end(), &IsUtf8Continuation);
    sqlite3_result_int(context, static_cast<int>(passed.size()) - static_cast<int>(inside) + 1);
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
    CSqlSearch search(pattern);
    std::string result;
    for (std::size_t from = 0;;) {
        const std::size_t found = search.Find(text, from);
        result.append(text, from, found - from);
        if (found == text.size())
            break;
        result.append(replacement);
        if (result.size() > limit)
            return sqlite3_result_error_toobig(context);
        from = found + pattern.size();
    }
    sqlite3_result_text64(context, result.data(), result.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

std::string_view FirstCharacter(std::string_view text)
{
    std::size_t length = 1;
    const bool isLong = static_cast<unsigned char>(text[0]) >= 0xC0;
    while (isLong && length < text.size() && IsUtf8Continuation(text[length]))
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
    std::size_t LengthAt(std::string_view text, bool isEnd, CSqlWork& work) const
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
    if (characters.size() > kMaxTrimmedBytes)
        return sqlite3_result_error(context, "too many characters to trim", -1);
    const CTrimSet set(characters.substr(0, characters.find('\0'))); // SQLite's ends there
    std::string_view text = Text(values[0]);
    CSqlWork work = WorkOf(context);
    while (const std::size_t length = kLeft ? set.LengthAt(text, false, work) : 0)
        text.remove_prefix(length);
    while (const std::size_t length = kRight ? set.LengthAt(text, true, work) : 0)
        text.remove_suffix(length);
    if (work.IsEnded())
        return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

/// The characters before a NUL, where SQLite ends the arguments of LIKE and GLOB.
std::string_view UpToNul(sqlite3_value* value)
{
    const std::string_view text = Text(value);
    return text.substr(0, text.find('\0'));
}

/// False, with the result, when the third argument of LIKE is no character; also when it is null.
bool AddEscape(sqlite3_context* context, sqlite3_value* value, SSqlPatternRules& rules)
{
    std::string_view escape = UpToNul(value);
    if (IsNull(value))
        return false;
    if (!escape.empty())
        rules.escape = TakeSqlCharacter(escape);
    if (rules.escape == 0 || !escape.empty()) {
        sqlite3_result_error(context, "ESCAPE expression must be a single character", -1);
        return false;
    }
    // What escapes has no other meaning.
    rules.all = rules.all == rules.escape ? 0 : rules.all;
    rules.one = rules.one == rules.escape ? 0 : rules.one;
    return true;
}

/// LIKE and GLOB have the pattern first.
template <const SSqlPatternRules& kRules>
void Match(sqlite3_context* context, int count, sqlite3_value** values)
{
    if (IsBlob(values[0]) || IsBlob(values[1])) // as the SQLite of Debian is built
        return sqlite3_result_int(context, 0);
    const int limit = sqlite3_limit(sqlite3_context_db_handle(context), SQLITE_LIMIT_LIKE_PATTERN_LENGTH, -1);
    if (sqlite3_value_bytes(values[0]) > limit)
        return sqlite3_result_error(context, "LIKE or GLOB pattern too complex", -1);
    SSqlPatternRules rules = kRules;
    if ((count == 3 && !AddEscape(context, values[2], rules)) || IsNull(values[0]) || IsNull(values[1]))
        return;
    CSqlWork work = WorkOf(context);
    const auto isMatch =
        MatchesSqlPattern(UpToNul(values[0]), UpToNul(values[1]), rules, [&] { return work.GoOn(kBytesOfAMatch); });
    if (!isMatch)
        return sqlite3_result_error_code(context, SQLITE_INTERRUPT);
    sqlite3_result_int(context, *isMatch ? 1 : 0);
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

constexpr std::array<SFunction, 11> kFunctions = {{{"instr", 2, &Guarded<&Instr>},
                                                   {"glob", 2, &Guarded<&Match<kGlobRules>>},
                                                   {"like", 2, &Guarded<&Match<kLikeRules>>},
                                                   {"like", 3, &Guarded<&Match<kLikeRules>>},
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
