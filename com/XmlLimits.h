#pragma once

#include "platform/Export.h"

#include <array>
#include <cstdint>

/// What a document may be at most, wherever the system reads one (com/XmlLoad.h). Beyond each of them it is refused
/// before the DOM sees it, with the same words on every system. A character is one as it is read: "&amp;" is one.
///
/// Within them the work is in proportion to the bytes, and so is the memory of the tree (docs/server-options.md).
struct SXmlLimits {
    std::uint64_t bytes = std::uint64_t{64} << 20; ///< of a file; a text in memory may have six characters for each
    std::uint64_t depth = 256;                     ///< elements inside each other
    std::uint64_t attributes = 1000;               ///< of one element, namespace declarations included
    std::uint64_t namespaces = 100;  ///< declarations that hold at one place, those of its parents included
    std::uint64_t names = 10'000;    ///< different ones in the document; parsers keep a table of them
    std::uint64_t nameLength = 1000; ///< characters of the name of an element, attribute or instruction
    /// Characters of a text between two tags, an attribute's value, a comment, a CDATA section, an instruction.
    std::uint64_t textLength = std::uint64_t{16} << 20;

    bool operator==(const SXmlLimits&) const = default;
};

/// One limit: its name, as options and errors say it, the highest value that the parsers take, and the words of the
/// error before and behind the value.
struct SXmlLimit {
    const char* name;
    std::uint64_t SXmlLimits::*value;
    std::uint64_t highest;
    const char* before;
    const char* behind;
};

inline constexpr std::array<SXmlLimit, 7> kXmlLimits = {{
    {"bytes", &SXmlLimits::bytes, std::uint64_t{1} << 30, "The document is longer than ", " bytes"},
    {"depth", &SXmlLimits::depth, 2000, "Elements are nested more than ", " deep"},
    {"attributes", &SXmlLimits::attributes, 10'000, "An element has more than ", " attributes"},
    {"namespaces", &SXmlLimits::namespaces, 10'000, "More than ", " namespaces are declared at one place"},
    {"names", &SXmlLimits::names, 100'000, "More than ", " different names are used"},
    {"name-length", &SXmlLimits::nameLength, 50'000, "A name is longer than ", " characters"},
    {"text-length", &SXmlLimits::textLength, std::uint64_t{900} << 20, "A text, value or comment is longer than ",
     " characters"},
}};

/// The limits of the documents that the calling thread reads. A thread begins with the defaults; a server gives its own
/// threads those of its options.
[[nodiscard]] ZEL_FRAMEWORK_API const SXmlLimits& XmlLimitsOfThread();
/// A value above the highest counts as that.
ZEL_FRAMEWORK_API void SetXmlLimitsOfThread(const SXmlLimits& limits);
