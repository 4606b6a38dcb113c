#include "com/XmlLoad.h"

#include "DomFixture.h"
#include "com/ZelCom.h"
#include "platform/FileSystem.h"
#include "platform/OsError.h"
#include "platform/Text.h"
#include "tests/support/Predicates.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <thread>

namespace {

class CXmlLoadTest : public CDomFixture {
protected:
    ~CXmlLoadTest() override { SetXmlLimitsOfThread({}); }

    static CComPtr<IXMLDOMDocument> Document()
    {
        CComPtr<IXMLDOMDocument> document;
        ThrowIfFailed(CoCreateInstanceSYS(kClsidDomDocument, nullptr, CLSCTX_INPROC_SERVER, ComIid<IXMLDOMDocument>(),
                                          document.PutVoid()));
        ThrowIfFailed(document->put_async(VARIANT_FALSE));
        return document;
    }
    /// The reason of a refusal; empty for a file that was accepted.
    std::string RefusalOfFile(const std::string& bytes)
    {
        const std::wstring path = m_folder / L"document.xml";
        EXPECT_EQ(platform::WriteWholeFile(path, bytes), platform::eOsError_None);
        m_error = {};
        return LoadXmlFile(*Document(), path, m_error) ? std::string() : m_error.reason;
    }
    std::string RefusalOfText(const std::string& utf8)
    {
        std::wstring text = platform::FromUtf8(utf8);
        m_error = {};
        return LoadXmlText(*Document(), text.data(), m_error) ? std::string() : m_error.reason;
    }
    /// A document of this size passes at the limit and below it, in both forms, and is refused above it.
    void ExpectLimit(std::uint64_t limit, const std::string& refusal,
                     const std::function<std::string(std::uint64_t)>& make)
    {
        for (const std::uint64_t size : {limit - 1, limit, limit + 1}) {
            EXPECT_EQ(RefusalOfFile(make(size)), size > limit ? refusal : "") << size;
            EXPECT_EQ(RefusalOfText(make(size)), size > limit ? refusal : "") << size;
        }
    }

    testsupport::CTemporaryDirectory m_folder;
    SXmlError m_error;
};

std::string Repeated(const std::string& text, std::uint64_t count)
{
    std::string result;
    for (std::uint64_t i = 0; i < count; ++i)
        result += text;
    return result;
}

std::string Attributes(std::uint64_t count, const std::string& prefix)
{
    std::string result;
    for (std::uint64_t i = 0; i < count; ++i)
        result += " " + prefix + std::to_string(i) + "='u'";
    return result;
}

std::string Utf16(const std::string& ascii)
{
    std::string bytes = "\xFF\xFE";
    for (const char character : ascii)
        bytes.append({character, '\0'});
    return bytes;
}

TEST_F(CXmlLoadTest, TheDefaultsAreThoseOfTheTable)
{
    const SXmlLimits limits = XmlLimitsOfThread();
    EXPECT_EQ(limits.bytes, 64U * 1024 * 1024);
    EXPECT_EQ(limits.depth, 256U);
    EXPECT_EQ(limits.attributes, 1000U);
    EXPECT_EQ(limits.namespaces, 100U);
    EXPECT_EQ(limits.names, 10'000U);
    EXPECT_EQ(limits.nameLength, 1000U);
    EXPECT_EQ(limits.textLength, 16U * 1024 * 1024);
}

TEST_F(CXmlLoadTest, ElementsNest256Deep)
{
    ExpectLimit(256, "Elements are nested more than 256 deep (zel-server --xml-limit depth=NUMBER)",
                [](std::uint64_t size) {
                    return "<a><b/><c></c>" + Repeated("<a>", size - 2) + "<e/>" + Repeated("</a>", size - 2) + "</a>";
                });
}

TEST_F(CXmlLoadTest, AnElementHas1000Attributes)
{
    const std::string refusal = "An element has more than 1000 attributes (zel-server --xml-limit attributes=NUMBER)";
    ExpectLimit(1000, refusal, [](std::uint64_t size) { return "<a b='c'><d" + Attributes(size, "x") + "/></a>"; });
    ExpectLimit(1000, refusal, [](std::uint64_t size) {
        return "<d" + Attributes(50, "xmlns:n") + Attributes(size - 50, "x") + "></d>";
    });
    EXPECT_EQ(RefusalOfFile("<a" + Attributes(1'000'000, "x") + "/>"), refusal)
        << "a parser would compare each with each";
    EXPECT_EQ(m_error.line, 1);
}

TEST_F(CXmlLoadTest, AHundredNamespacesHoldAtOnePlace)
{
    const std::string refusal =
        "More than 100 namespaces are declared at one place (zel-server --xml-limit namespaces=NUMBER)";
    ExpectLimit(100, refusal, [](std::uint64_t size) {
        return "<r><a" + Attributes(60, "xmlns:n") + "/><a" + Attributes(60, "xmlns:n") + "><b" +
               Attributes(size - 60, "xmlns:m") + "/></a></r>";
    });
    EXPECT_EQ(RefusalOfFile("<r>" + Repeated("<a xmlns:dt='u'/>", 1000) + "</r>"), "") << "one after the other";
}

TEST_F(CXmlLoadTest, ADocumentUses10000Names)
{
    const std::string refusal = "More than 10000 different names are used (zel-server --xml-limit names=NUMBER)";
    ExpectLimit(10'000, refusal, [](std::uint64_t size) {
        std::string document = "<a><a/><?b x?><a c='1'/>";
        for (std::uint64_t i = 3; i < size; ++i)
            document += i % 2 == 0 ? "<d" + std::to_string(i) + "/>" : "<a e" + std::to_string(i) + "='x'></a>";
        return document + "</a>";
    });
}

TEST_F(CXmlLoadTest, ManyIdsAreNoMoreThanAttributes)
{
    // A table of them, which the parser can keep, has too few places: this would take minutes.
    std::string document = "<a>";
    for (int i = 0; i < 1'000'000; ++i)
        document += "<b xml:id='i" + std::to_string(i) + "'/>";
    EXPECT_EQ(RefusalOfFile(document + "</a>"), "");
}

TEST_F(CXmlLoadTest, ANameHas1000Characters)
{
    const std::string refusal = "A name is longer than 1000 characters (zel-server --xml-limit name-length=NUMBER)";
    const auto name = [](std::uint64_t size) { return Repeated("\xC5\xBE", size); };
    ExpectLimit(1000, refusal, [&](std::uint64_t size) { return "<" + name(size) + "/>"; });
    ExpectLimit(1000, refusal, [&](std::uint64_t size) { return "<" + name(size) + "></" + name(size) + ">"; });
    ExpectLimit(1000, refusal, [&](std::uint64_t size) { return "<a " + name(size) + "='x'/>"; });
    ExpectLimit(1000, refusal, [&](std::uint64_t size) { return "<a><?" + name(size) + " x?></a>"; });
}

TEST_F(CXmlLoadTest, ATextHasALimit)
{
    SXmlLimits limits;
    limits.textLength = 5000;
    SetXmlLimitsOfThread(limits);
    const std::string refusal =
        "A text, value or comment is longer than 5000 characters (zel-server --xml-limit text-length=NUMBER)";
    const auto text = [](std::uint64_t size) { return Repeated("\xC5\xBE", size); };
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a>" + text(size) + "<b/>" + text(10) + "</a>"; });
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a>&#x17E;" + Repeated("&amp;", size - 1) + "</a>"; });
    ExpectLimit(5000, refusal,
                [&](std::uint64_t size) { return "<a x='" + Repeated("&quot;x", size / 2) + text(size % 2) + "'/>"; });
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a x='>" + text(size - 1) + "'/>"; });
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a><!--" + text(size) + "--></a>"; });
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a><![CDATA[]" + text(size - 3) + "]]]]></a>"; });
    ExpectLimit(5000, refusal, [&](std::uint64_t size) { return "<a><?p " + text(size - 1) + "?></a>"; });
}

TEST_F(CXmlLoadTest, ATextHas16MillionCharacters)
{
    const std::string refusal =
        "A text, value or comment is longer than 16777216 characters (zel-server --xml-limit text-length=NUMBER)";
    const std::string most(16U * 1024 * 1024, 'x');
    EXPECT_EQ(RefusalOfFile("<a>" + most + "</a>"), "");
    // A parser may have a lower limit of its own for texts in which something stands for something else; Wine's has.
    if (!testsupport::IsWine()) {
        EXPECT_EQ(RefusalOfFile("<a>" + most.substr(6) + "&amp;\n</a>"), "");
    }
    EXPECT_EQ(RefusalOfFile("<a>" + most + "x</a>"), refusal);
    EXPECT_EQ(RefusalOfFile("<a b='" + most + "x'/>"), refusal);
}

TEST_F(CXmlLoadTest, ADocumentHasALimit)
{
    const std::string refusal = "The document is longer than 67108864 bytes (zel-server --xml-limit bytes=NUMBER)";
    const std::string part = "<b>" + std::string((1U << 20) - 7, 'x') + "</b>";
    const std::string most = "<a>" + Repeated(part, 63) + "<b>" + std::string((1U << 20) - 14, 'x') + "</b></a>";
    ASSERT_EQ(most.size(), 64U * 1024 * 1024);
    EXPECT_EQ(RefusalOfFile(most.substr(0, most.size() - 9) + "</b></a>"), "") << "below";
    EXPECT_EQ(RefusalOfFile(most), "") << "at";
    EXPECT_EQ(RefusalOfFile(most + "\n"), refusal) << "above";
    EXPECT_EQ(m_error.code, kXmlError_Limit);
}

TEST_F(CXmlLoadTest, ATextInMemoryMayBeAsLongAsItsFileWrittenOut)
{
    SXmlLimits limits;
    limits.bytes = 100;
    SetXmlLimitsOfThread(limits);
    const std::string file = "<a b='" + std::string(91, '"') + "'/>";
    ASSERT_EQ(file.size(), 100U);
    EXPECT_EQ(RefusalOfFile(file), "");
    EXPECT_EQ(RefusalOfText("<a b='" + Repeated("&quot;", 91) + "'/>"), "");
    EXPECT_EQ(RefusalOfText("<a>" + std::string(594, 'x') + "</a>"),
              "The document is longer than 100 bytes (zel-server --xml-limit bytes=NUMBER)");
}

TEST_F(CXmlLoadTest, LimitsAreThoseOfTheThreadAndHaveHighestValues)
{
    SXmlLimits limits;
    limits.depth = 2;
    limits.attributes = 1'000'000'000;
    SetXmlLimitsOfThread(limits);
    EXPECT_NE(RefusalOfText("<a><b><c/></b></a>"), "");
    EXPECT_EQ(XmlLimitsOfThread().attributes, 10'000U);
    std::thread([] { EXPECT_EQ(XmlLimitsOfThread(), SXmlLimits()); }).join();
}

TEST_F(CXmlLoadTest, ARaisedLimitHolds)
{
    SXmlLimits limits;
    limits.depth = 1000;
    limits.attributes = 3000;
    limits.nameLength = 20'000;
    SetXmlLimitsOfThread(limits);
    if (!testsupport::IsWine()) { // whose parser has a limit of 256 of its own
        EXPECT_EQ(RefusalOfFile(Repeated("<a>", 1000) + Repeated("</a>", 1000)), "");
    }
    EXPECT_EQ(RefusalOfFile("<a" + Attributes(3000, "x") + "/>"), "");
    EXPECT_EQ(RefusalOfFile("<" + std::string(20'000, 'x') + "/>"), "");
}

TEST_F(CXmlLoadTest, ADocumentTypeIsRefused)
{
    const testsupport::CTemporaryDirectory other;
    ASSERT_EQ(platform::WriteWholeFile(other / L"secret.txt", "secret"), platform::eOsError_None);
    const std::string file = "file:///" + platform::ToUtf8(other / L"secret.txt");
    for (const std::string& document : {
             "<!DOCTYPE a [<!ENTITY e SYSTEM '" + file + "'>]><a>&e;</a>",
             "<!DOCTYPE a SYSTEM '" + file + "'><a/>",
             std::string("<!DOCTYPE a SYSTEM '//192.0.2.1/x.dtd'><a/>"),
             std::string("<?xml version='1.0'?><!-- x --><?y <?>\n<!DOCTYPE a [<!ATTLIST a b CDATA 'c'>]><a/>"),
             std::string("<!DOCTYPE a><a/>"),
         }) {
        EXPECT_EQ(RefusalOfFile(document), "A document type is not accepted") << document;
        EXPECT_EQ(m_error.code, kXmlError_DocumentType);
        EXPECT_EQ(RefusalOfText(document), "A document type is not accepted") << document;
    }
    EXPECT_EQ(RefusalOfFile(Utf16("<!DOCTYPE a><a/>")), "A document type is not accepted");
}

TEST_F(CXmlLoadTest, ADocumentIsNotReadInAnotherEncodingThanItIsLookedAt)
{
    const std::string declared = "<?xml version='1.0' encoding='";
    for (const char* encoding : {"UTF-7", "utf-16le", "UCS-4", "IBM037", "ISO-2022-JP", "nonsense"})
        EXPECT_EQ(RefusalOfFile(declared + encoding + "'?><a/>"), "The encoding is not accepted") << encoding;
    const std::string refusal = "The encoding is not accepted";
    EXPECT_EQ(RefusalOfFile(declared + "IBM037'" + std::string(5000, ' ') + "?><a/>"), refusal) << "far behind";
    EXPECT_EQ(RefusalOfFile("<?xml version='1.0'" + std::string(5000, ' ') + "encoding='IBM037'?><a/>"), refusal);
    EXPECT_EQ(RefusalOfFile(Utf16(declared + "iso-8859-1'?><a/>")), refusal);
    EXPECT_EQ(RefusalOfFile("\xEF\xBB\xBF" + declared + "big5'?><a/>"), refusal);
    EXPECT_EQ(RefusalOfFile(std::string("\0\0\0<\0\0\0a\0\0\0/\0\0\0>", 16)), refusal);
    EXPECT_EQ(RefusalOfFile("\x4C\x6F\xA7\x94\x93"), refusal);
    EXPECT_EQ(RefusalOfFile(declared + "big5'?><a>\xA4<!DOCTYPE</a>"), refusal) << "no second byte";
}

TEST_F(CXmlLoadTest, ASecondByteThatLooksLikeMarkupIsNone)
{
    // 0x5D is "]": without its first byte the end of the section would be seen too early, and a comment in the text.
    const std::string hidden = "]><!-- ]]>" + Repeated("<b>", 300) + "<c/>" + Repeated("</b>", 300) + "<!-- -->";
    for (const char* encoding : {"Shift_JIS", "Big5", "GBK", "GB18030"})
        EXPECT_EQ(RefusalOfFile(std::string("<?xml version='1.0' encoding='") + encoding + "'?><a><![CDATA[\x83\x5D" +
                                hidden + "</a>"),
                  "Elements are nested more than 256 deep (zel-server --xml-limit depth=NUMBER)")
            << encoding;
    // A letter of one byte.
    const std::string letter = "<?xml version='1.0' encoding='Shift_JIS'?><a>\xB1<b/></a>";
    SXmlError error;
    EXPECT_TRUE(ScanXmlBytes(letter, SXmlLimits(), error)) << error.reason;
    if (!testsupport::IsWine()) { // whose parser does not know the encoding
        EXPECT_EQ(RefusalOfFile(letter), "");
    }
}

TEST_F(CXmlLoadTest, BehindAnErrorNothingCostsAnything)
{
    // The quotes are taken in another order by a parser that goes on behind its error.
    const std::string hidden = Attributes(300'000, "x");
    EXPECT_NE(RefusalOfFile("<a b='1'c='<!--'><d e='--><d" + Repeated(" x=\"u\"", 300'000) + "/>'/></a>"), "");
    EXPECT_NE(RefusalOfFile("<a></b><!--" + hidden + "--></a>"), "");
}

TEST_F(CXmlLoadTest, AFileThatIsNotThereHasTheSystemsReason)
{
    SXmlError error;
    EXPECT_FALSE(LoadXmlFile(*Document(), m_folder / L"missing.xml", error));
    EXPECT_EQ(error.reason, platform::ToUtf8(platform::OsErrorText(platform::eOsError_FileNotFound)));
    EXPECT_EQ(static_cast<std::uint32_t>(error.code), 0x80070002U);
}

TEST_F(CXmlLoadTest, NoTextIsRefused)
{
    SXmlError error;
    EXPECT_FALSE(LoadXmlText(*Document(), nullptr, error));
    EXPECT_FALSE(error.reason.empty());
}

} // namespace
