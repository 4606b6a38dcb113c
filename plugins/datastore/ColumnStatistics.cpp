#include "plugins/datastore/ColumnStatistics.h"

#include "platform/Text.h"

#include <ZEL_Processor/ZelPluginWriter.h>

#include <algorithm>
#include <cmath>

namespace {

/// Where a text can be cut so that no character is halved: not inside of a UTF-8 sequence.
std::size_t CutPosition(std::string_view text, std::size_t most)
{
    std::size_t position = std::min(most, text.size());
    while (position > 0 && position < text.size() && (static_cast<unsigned char>(text[position]) & 0xC0U) == 0x80)
        --position;
    return position;
}

void WriteNumber(CZelXmlWriter& xml, std::string_view name, double number)
{
    xml.Element(name, platform::FromUtf8(RealText(number)));
}

void WriteCount(CZelXmlWriter& xml, std::string_view name, std::uint64_t count)
{
    xml.Element(name, std::to_wstring(count));
}

} // namespace

void CColumnStatistics::SKeptValue::Keep(const SValue& source, std::uint64_t count)
{
    const std::size_t length =
        source.type == eValue_Text ? CutPosition(source.bytes, kKeptBytes) : std::min(kKeptBytes, source.bytes.size());
    value = source;
    bytes = source.bytes.substr(0, length);
    isTruncated = length < source.bytes.size();
    occurrences = count;
}

void CColumnStatistics::Add(const SValue& value)
{
    if (value.type == eValue_Null) {
        ++m_nNulls;
        return;
    }
    ++m_nCount;
    m_seen[value.type] = true;
    if (value.IsNumber())
        AddNumber(value.Number());
}

void CColumnStatistics::AddNumber(double number)
{
    ++m_nNumbers;
    m_lowest = m_nNumbers == 1 ? number : std::min(m_lowest, number);
    m_highest = m_nNumbers == 1 ? number : std::max(m_highest, number);
}

void CColumnStatistics::AddInOrder(const SValue& value, std::uint64_t occurrences)
{
    if (m_nDistinct++ == 0) {
        m_min.Keep(value, occurrences);
        FindScale();
    }
    if (m_nRank + occurrences >= m_nCount)
        m_max.Keep(value, occurrences);
    if (IsNumeric()) {
        AddToMean(value.Number(), occurrences);
        AddToQuantiles(value.Number(), occurrences);
        AddToBins(value.Number(), occurrences);
    } else {
        AddToTop(value, occurrences);
    }
    m_nRank += occurrences;
}

void CColumnStatistics::FindScale()
{
    if (IsFinite())
        static_cast<void>(std::frexp(std::max(std::abs(m_lowest), std::abs(m_highest)), &m_nExponent));
}

double CColumnStatistics::Scaled(double number) const
{
    return std::ldexp(number, -m_nExponent);
}

double CColumnStatistics::Unscaled(double number) const
{
    return std::ldexp(number, m_nExponent);
}

void CColumnStatistics::AddToMean(double number, std::uint64_t occurrences)
{
    // Welford: one pass, and no loss where the values are large and their differences small. In the order of the
    // values: in that of the rows, that would show in the last digits.
    const auto weight = static_cast<double>(occurrences);
    const double distance = Scaled(number) - m_mean;
    m_mean += distance * weight / static_cast<double>(m_nRank + occurrences);
    m_squares += distance * (Scaled(number) - m_mean) * weight;
}

bool CColumnStatistics::IsFinite() const
{
    return std::isfinite(m_lowest) && std::isfinite(m_highest);
}

double CColumnStatistics::Mean() const
{
    // An infinity outweighs all numbers; two of different signs have no mean.
    return IsFinite() ? Unscaled(m_mean) : m_lowest + m_highest;
}

double CColumnStatistics::PositionOf(const SQuantile& quantile) const
{
    return quantile.share * static_cast<double>(m_nCount - 1);
}

void CColumnStatistics::AddToQuantiles(double number, std::uint64_t occurrences)
{
    const auto covers = [&](double rank) {
        return rank >= static_cast<double>(m_nRank) && rank < static_cast<double>(m_nRank + occurrences);
    };
    for (SQuantile& quantile : m_quantiles) {
        const double position = PositionOf(quantile);
        if (covers(std::floor(position)))
            quantile.below = number;
        if (covers(std::ceil(position)))
            quantile.above = number;
    }
}

double CColumnStatistics::BinEdge(std::size_t bin) const
{
    if (bin == kBins)
        return m_highest; // exactly, whatever the rounding of the others
    const double lowest = Scaled(m_lowest);
    return Unscaled(lowest + (Scaled(m_highest) - lowest) * static_cast<double>(bin) / static_cast<double>(kBins));
}

void CColumnStatistics::AddToBins(double number, std::uint64_t occurrences)
{
    if (!IsFinite())
        return;
    // By the edges as they are written, not by a division that may round to the other side of one.
    while (m_nBin + 1 < kBins && m_highest > m_lowest && number >= BinEdge(m_nBin + 1))
        ++m_nBin;
    m_bins[m_nBin] += occurrences;
}

void CColumnStatistics::AddToTop(const SValue& value, std::uint64_t occurrences)
{
    if (m_top.size() == kTopValues && m_top.back().occurrences >= occurrences)
        return;
    // Behind those that are as frequent: they came before it in order.
    const auto place = std::find_if(m_top.begin(), m_top.end(),
                                    [&](const SKeptValue& other) { return other.occurrences < occurrences; });
    m_top.emplace(place)->Keep(value, occurrences);
    if (m_top.size() > kTopValues)
        m_top.pop_back();
}

const char* CColumnStatistics::Kind() const
{
    if (m_nCount == 0)
        return "empty";
    if (IsNumeric())
        return "numeric";
    if (std::count(m_seen.begin(), m_seen.end(), true) > 1)
        return "mixed";
    return m_seen[eValue_Text] ? "text" : "blob";
}

void CColumnStatistics::Write(CZelXmlWriter& xml) const
{
    xml.Open("Column");
    xml.Attribute("Name", platform::FromUtf8(XmlSafeText(m_strName)));
    xml.Attribute("Kind", platform::FromUtf8(Kind()));
    WriteCount(xml, "Count", m_nCount);
    WriteCount(xml, "Nulls", m_nNulls);
    WriteCount(xml, "Distinct", m_nDistinct);
    if (m_nCount != 0) {
        WriteValue(xml, "Min", m_min);
        WriteValue(xml, "Max", m_max);
        if (IsNumeric())
            WriteNumbers(xml);
        else
            WriteTop(xml);
    }
    xml.Close();
}

void CColumnStatistics::WriteNumbers(CZelXmlWriter& xml) const
{
    WriteNumber(xml, "Mean", Mean());
    if (m_nCount > 1 && IsFinite())
        WriteNumber(xml, "SampleStandardDeviation", Unscaled(std::sqrt(m_squares / static_cast<double>(m_nCount - 1))));
    constexpr std::array<std::string_view, 3> kNames = {"LowerQuartile", "Median", "UpperQuartile"};
    for (std::size_t index = 0; index < m_quantiles.size(); ++index) {
        const SQuantile& quantile = m_quantiles[index];
        const double position = PositionOf(quantile);
        // Between two equal ones there is nothing to reckon; with infinities it would go wrong.
        const double value = quantile.below == quantile.above
                                 ? quantile.below
                                 : std::lerp(quantile.below, quantile.above, position - std::floor(position));
        WriteNumber(xml, kNames[index], value);
    }
    if (IsFinite())
        WriteHistogram(xml);
}

void CColumnStatistics::WriteHistogram(CZelXmlWriter& xml) const
{
    xml.Open("Histogram");
    const std::size_t bins = m_highest > m_lowest ? kBins : 1;
    for (std::size_t bin = 0; bin < bins; ++bin) {
        xml.Open("Bin");
        WriteNumber(xml, "From", BinEdge(bin));
        WriteNumber(xml, "To", BinEdge(bins == 1 ? kBins : bin + 1));
        WriteCount(xml, "Count", m_bins[bin]);
        xml.Close();
    }
    xml.Close();
}

void CColumnStatistics::WriteTop(CZelXmlWriter& xml) const
{
    xml.Open("TopValues");
    for (const SKeptValue& kept : m_top) {
        xml.Open("TopValue");
        WriteValue(xml, "Value", kept);
        WriteCount(xml, "Count", kept.occurrences);
        xml.Close();
    }
    xml.Close();
}

void CColumnStatistics::WriteValue(CZelXmlWriter& xml, std::string_view name, const SKeptValue& kept)
{
    SValue value = kept.value;
    value.bytes = kept.bytes;
    std::string markup;
    AppendValueXml(markup, name, value, eValue_Null, kept.isTruncated ? " Truncated=\"true\"" : "");
    xml.ElementMarkup(markup);
}
