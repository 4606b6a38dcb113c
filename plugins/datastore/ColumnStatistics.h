#pragma once

#include "plugins/datastore/Value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class CZelXmlWriter;

/// Statistics of one column, from two passes: one over its values in any order, one over its different values in
/// ascending order with how often each occurs. Memory does not grow with the number of values.
class CColumnStatistics {
public:
    explicit CColumnStatistics(std::string name) : m_strName(std::move(name)) {}

    /// First pass: every value, null included.
    void Add(const SValue& value);
    /// Second pass: every different value that is not null, ascending, with its number of occurrences.
    void AddInOrder(const SValue& value, std::uint64_t occurrences);

    [[nodiscard]] const std::string& Name() const { return m_strName; }
    [[nodiscard]] std::uint64_t Count() const { return m_nCount; }
    /// Writes the element Column.
    void Write(CZelXmlWriter& xml) const;

private:
    static constexpr std::size_t kBins = 10;
    static constexpr std::size_t kTopValues = 10;
    /// Of a long value this much is kept for min, max and the top values.
    static constexpr std::size_t kKeptBytes = 256;

    struct SKeptValue {
        SValue value; ///< its bytes are not used: the text below may move
        std::string bytes;
        bool isTruncated = false;
        std::uint64_t occurrences = 0;

        void Keep(const SValue& source, std::uint64_t count);
    };
    /// A quartile: the value at a position between two ranks of the ordered values.
    struct SQuantile {
        double share = 0;
        double below = 0; ///< value at the rank below the position
        double above = 0; ///< value at the rank above it
    };

    [[nodiscard]] bool IsNumeric() const { return m_nCount != 0 && m_nNumbers == m_nCount; }
    [[nodiscard]] const char* Kind() const;
    [[nodiscard]] double PositionOf(const SQuantile& quantile) const;
    [[nodiscard]] bool IsFinite() const;
    [[nodiscard]] double Mean() const;
    [[nodiscard]] double BinEdge(std::size_t bin) const;

    /// Sums and differences are reckoned with numbers that a power of two has brought between -1 and 1, which changes
    /// no digit of them: so nothing overflows on the way.
    void FindScale();
    [[nodiscard]] double Scaled(double number) const;
    [[nodiscard]] double Unscaled(double number) const;

    void AddNumber(double number);
    void AddToMean(double number, std::uint64_t occurrences);
    void AddToQuantiles(double number, std::uint64_t occurrences);
    void AddToBins(double number, std::uint64_t occurrences);
    void AddToTop(const SValue& value, std::uint64_t occurrences);
    void WriteNumbers(CZelXmlWriter& xml) const;
    void WriteHistogram(CZelXmlWriter& xml) const;
    void WriteTop(CZelXmlWriter& xml) const;
    static void WriteValue(CZelXmlWriter& xml, std::string_view name, const SKeptValue& kept);

    const std::string m_strName;
    std::uint64_t m_nCount = 0; ///< of values that are not null
    std::uint64_t m_nNulls = 0;
    std::uint64_t m_nNumbers = 0;
    std::array<bool, 5> m_seen = {}; ///< by eValueType
    double m_lowest = 0;
    double m_highest = 0;

    int m_nExponent = 0;
    double m_mean = 0;    ///< scaled
    double m_squares = 0; ///< sum of the squared distances from the mean, scaled
    std::uint64_t m_nDistinct = 0;
    std::uint64_t m_nRank = 0; ///< of the next value in order
    SKeptValue m_min;
    SKeptValue m_max;
    std::array<SQuantile, 3> m_quantiles = {SQuantile{.share = 0.25}, SQuantile{.share = 0.5},
                                            SQuantile{.share = 0.75}};
    std::array<std::uint64_t, kBins> m_bins = {};
    std::size_t m_nBin = 0;        ///< of the last value in order
    std::vector<SKeptValue> m_top; ///< most frequent first
};
