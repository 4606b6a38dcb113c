#include "DomDocuments.h"

#include <utility>

namespace {

using CTable = std::vector<SDomDocument>;

const SDomResult kRefused = {.accepted = false};

SDomDocument Good(std::string name, std::string bytes, std::wstring shape, std::wstring lookUp, std::wstring value)
{
    SDomDocument row;
    row.name = std::move(name);
    row.bytes = std::move(bytes);
    row.lookUp = std::move(lookUp);
    row.expected = {true, std::move(shape), std::move(value)};
    return row;
}

SDomDocument Bad(std::string name, std::string bytes, int line = 0, int column = 0)
{
    SDomDocument row;
    row.name = std::move(name);
    row.bytes = std::move(bytes);
    row.expected = kRefused;
    row.line = line;
    row.column = column;
    return row;
}

SDomDocument FileOnly(SDomDocument row)
{
    row.alsoAsText = false;
    return row;
}

SDomDocument UnderWine(SDomDocument row, SDomResult result, const char* reason)
{
    row.underWine = std::move(result);
    row.reason = reason;
    return row;
}

std::string Utf16(const std::string& ascii, bool bigEndian, bool mark)
{
    std::string bytes;
    const auto put = [&](char high, char low) {
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    };
    if (mark)
        put('\xFE', '\xFF');
    for (const char character : ascii)
        put('\0', character);
    return bytes;
}

std::string Repeated(const std::string& text, int count)
{
    std::string result;
    result.reserve(text.size() * static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

void AddWellFormed(CTable& table)
{
    table.push_back(Good("one element", "<a/>", L"a", L"A", L""));
    table.push_back(Good("a request",
                         "<Request>\r\n  <Task Type=\"Query\">\r\n    <Id>5</Id>\r\n  </Task>\r\n</Request>\r\n",
                         L"Request(Task[@Type='Query'](Id('5')))", L"id", L"5"));
    table.push_back(Good("attributes keep their order and their blanks", "<a z=' q  r\n s ' b=\"&#10;&lt;&quot;\"/>",
                         L"a[@z=' q  r  s '@b='\n<\"']", L"", L""));
    table.push_back(Good("a direct child comes before a deeper one", "<r><x><n>deep</n></x><n>direct</n></r>",
                         L"r(x(n('deep')) n('direct'))", L"n", L"direct"));
    table.push_back(Good("the first subtree comes before the second", "<r><x><n>1</n></x><y><n>2</n></y></r>",
                         L"r(x(n('1')) y(n('2')))", L"n", L"1"));
    table.push_back(Good("the same name inside itself", "<n><n><n>x</n></n></n>", L"n(n(n('x')))", L"N", L"x"));
    table.push_back(Good("mixed content", "<a>x<b>y<c>z</c></b>w</a>", L"a('x' b('y' c('z')) 'w')", L"b", L"yz"));
    table.push_back(Good("comments and instructions stand between elements",
                         "<!-- c1 --><?p q?><a><!-- c2 --><b/><?t d e?><c>5</c></a><!-- c3 -->",
                         L"! c1  ?p q a(! c2  b ?t d e c('5')) ! c3 ", L"c", L"5"));
    table.push_back(
        Good("an instruction is a node with a name", "<a><?pi data x?></a>", L"a(?pi data x)", L"pi", L"data x"));
    table.push_back(Good("the XML declaration is a node", "<?xml version='1.0' standalone='yes'?><a/>",
                         L"?xml version=\"1.0\" standalone=\"yes\" a", L"", L""));
    table.push_back(Good("letters of other scripts in names",
                         "<\xC5\xBElut\xC3\xBD k\xC5\xAF\xC5\x88='1'>x</\xC5\xBElut\xC3\xBD>",
                         L"\u017Elut\u00FD[@k\u016F\u0148='1']('x')", L"\u017DLUT\u00DD", L"x"));
    table.push_back(
        Good("text beyond the basic plane", "<a>\xF0\x9F\x98\x80</a>", L"a('\U0001F600')", L"a", L"\U0001F600"));
}

void AddTexts(CTable& table)
{
    table.push_back(Good("white space alone is no node", "<a> <b> \t\n </b> </a>", L"a(b)", L"b", L""));
    table.push_back(
        Good("white space around a value is no part of it", "<a>  x  y  </a>", L"a('  x  y  ')", L"a", L"x  y"));
    table.push_back(Good("white space that is to be kept", "<a xml:space='preserve'> <b/> x </a>",
                         L"a[@xml:space='preserve'](' ' b ' x ')", L"a", L"  x "));
    table.push_back(Good("line ends become one character", "<a>\r\nx\r\ny</a>", L"a('\nx\ny')", L"a", L"x\ny"));
    table.push_back(UnderWine(Good("white space at the end of a text", "<a>\r\nx\r\n</a>", L"a('\nx\n')", L"a", L"x"),
                              {true, L"a('\nx')", L"x"}, "drops white space where its parser happens to cut the text"));
    table.push_back(Good("the five entities and character references", "<a>&amp;&lt;&gt;&quot;&apos;&#65;&#x17e;</a>",
                         L"a('&<>\"'A\u017E')", L"a", L"&<>\"'A\u017E"));
    table.push_back(
        Good("a CDATA section is a node of its own", "<a>x<![CDATA[<&>]]>y</a>", L"a('x' <<&>> 'y')", L"a", L"x<&>y"));
    table.push_back(
        Good("white space in a CDATA section stays", "<a> <![CDATA[ c ]]> </a>", L"a(< c >)", L"a", L" c "));
    table.push_back(Good("markup in a comment is none", "<a><!-- <b>&x; --></a>", L"a(! <b>&x; )", L"b", L""));
}

void AddNames(CTable& table)
{
    table.push_back(Good("a prefix is part of the name", "<p:a xmlns:p='urn:x' z='1' p:y='2'><p:b>5</p:b></p:a>",
                         L"p:a[@z='1'@p:y='2'@xmlns:p='urn:x'](p:b('5'))", L"P:B", L"5"));
    table.push_back(Good("a name without its prefix is another one", "<a xmlns:p='u'><p:n>1</p:n><n>2</n></a>",
                         L"a[@xmlns:p='u'](p:n('1') n('2'))", L"n", L"2"));
    table.push_back(UnderWine(Good("a default namespace changes no name", "<a xmlns='urn:d'><b>1</b></a>",
                                   L"a[@xmlns='urn:d'](b('1'))", L"b", L"1"),
                              {true, L"", L"1"},
                              "counts the declaration among the attributes, but does not hand it out"));
    table.push_back(UnderWine(Good("a prefix that nobody declared", "<q:a p:x='1'><q:b>5</q:b></q:a>",
                                   L"q:a[@p:x='1'](q:b('5'))", L"q:b", L"5"),
                              {true, L"a[@x='1'@xmlns:q=''](b[@xmlns:q='']('5'))", L""},
                              "loses a prefix without a declaration and makes a declaration of nothing"));
}

void AddEncodings(CTable& table)
{
    const std::string utf16 = "<?xml version='1.0' encoding='UTF-16'?><a>x</a>";
    const std::wstring utf16Shape = L"?xml version=\"1.0\" encoding=\"UTF-16\" a('x')";
    table.push_back(
        Good("UTF-8 with a byte-order mark", "\xEF\xBB\xBF<a>\xC5\xBE</a>", L"a('\u017E')", L"a", L"\u017E"));
    table.push_back(FileOnly(Good("UTF-16LE with a mark", Utf16("<a>x</a>", false, true), L"a('x')", L"a", L"x")));
    table.push_back(FileOnly(Good("UTF-16BE with a mark", Utf16("<a>x</a>", true, true), L"a('x')", L"a", L"x")));
    table.push_back(
        FileOnly(Good("UTF-16LE with a mark, declared", Utf16(utf16, false, true), utf16Shape, L"a", L"x")));
    table.push_back(
        FileOnly(Good("UTF-16LE declared, without a mark", Utf16(utf16, false, false), utf16Shape, L"a", L"x")));
    table.push_back(
        FileOnly(Good("UTF-16BE declared, without a mark", Utf16(utf16, true, false), utf16Shape, L"a", L"x")));
    table.push_back(FileOnly(Bad("UTF-16LE without mark and declaration", Utf16("<a>x</a>", false, false))));
    table.push_back(FileOnly(Bad("UTF-16BE without mark and declaration", Utf16("<a>x</a>", true, false))));
    table.push_back(FileOnly(Bad("UTF-16 declared, but bytes", utf16)));
    table.push_back(
        FileOnly(Good("windows-1250", "<?xml version='1.0' encoding='windows-1250'?><a>\x9E\xE8</a>",
                      L"?xml version=\"1.0\" encoding=\"windows-1250\" a('\u017E\u010D')", L"a", L"\u017E\u010D")));
    table.push_back(
        FileOnly(Good("windows-1252", "<?xml version='1.0' encoding='windows-1252'?><a>\x80\xE8</a>",
                      L"?xml version=\"1.0\" encoding=\"windows-1252\" a('\u20AC\u00E8')", L"a", L"\u20AC\u00E8")));
    table.push_back(FileOnly(Good("ISO 8859-1", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE8</a>",
                                  L"?xml version=\"1.0\" encoding=\"ISO-8859-1\" a('\u00E8')", L"a", L"\u00E8")));
    table.push_back(FileOnly(Bad("an encoding that nobody knows", "<?xml version='1.0' encoding='nonsense'?><a/>", 1)));
    table.push_back(FileOnly(Bad("bytes that are not UTF-8", "<a>\xE9</a>", 1)));
}

void AddMalformed(CTable& table)
{
    table.push_back(Bad("nothing", "", 1, 1));
    table.push_back(Bad("white space alone", " \n "));
    table.push_back(Bad("text alone", "text", 1, 1));
    table.push_back(Bad("a comment alone", "<!-- only -->", 1));
    table.push_back(Bad("a declaration alone", "<?xml version='1.0'?>", 1));
    table.push_back(Bad("an element that is not closed", "<a>", 1, 4));
    table.push_back(Bad("an inner element that is not closed", "<a>\n<b>\n</a>", 3));
    table.push_back(Bad("elements that cross", "<a>\n<b>\n</c></a>", 3, 5));
    table.push_back(Bad("two document elements", "<a/>\n<b/>", 2));
    table.push_back(Bad("text behind the document element", "<a/>y", 1));
    table.push_back(Bad("an attribute without quotes", "<a x=1/>", 1, 6));
    table.push_back(Bad("an attribute without a value", "<a x/>", 1));
    table.push_back(Bad("the same attribute twice", "<a x='1' x='2'/>", 1));
    table.push_back(Bad("less-than in an attribute", "<a x='<'/>", 1));
    table.push_back(Bad("a name that begins with a digit", "<1a/>", 1));
    table.push_back(Bad("an entity that nobody declared", "<a>&foo;</a>", 1));
    table.push_back(Bad("a reference without its semicolon", "<a>&lt</a>", 1));
    table.push_back(Bad("a reference to no character", "<a>&#0;</a>", 1));
    table.push_back(Bad("a control character", "<a>\x01</a>", 1));
    table.push_back(Bad("the end of a CDATA section in a text", "<a>]]></a>", 1));
    table.push_back(Bad("a CDATA section that is not closed", "<a><![CDATA[x]]</a>", 1));
    table.push_back(Bad("two hyphens in a comment", "<a><!-- -- --></a>", 1));
    table.push_back(Bad("a comment that is not closed", "<a/><!-- c", 1));
    table.push_back(Bad("a declaration inside", "<a><?xml version='1.0'?></a>", 1));
    table.push_back(Bad("a version to come", "<?xml version='2.0'?><a/>", 1));
    table.push_back(FileOnly(Bad("a zero inside", std::string("<a>x\0y</a>", 10))));
}

void AddDoctypes(CTable& table)
{
    table.push_back(Bad("a document type", "<!DOCTYPE a><a><b>1</b></a>", 1, 9));
    table.push_back(
        Bad("an external document type", "<!DOCTYPE a SYSTEM 'http://127.0.0.1:9/a.dtd'><a><b>1</b></a>", 1, 9));
    table.push_back(
        Bad("an entity of the document's own", "<!DOCTYPE a [<!ENTITY e 'val'>]><a><b>1&e;2</b></a>", 1, 9));
    table.push_back(
        Bad("an external entity", "<!-- c -->\n<!DOCTYPE a [<!ENTITY e SYSTEM 'secret.txt'>]><a>&e;</a>", 2, 9));
    table.push_back(Bad("a parameter entity", "<!DOCTYPE a [<!ENTITY % p ''> %p;]><a/>", 1, 9));
    table.push_back(Bad("a default value of an attribute", "<!DOCTYPE a [<!ATTLIST a d CDATA 'def'>]><a/>", 1, 9));
    table.push_back(FileOnly(Bad("a document type in UTF-16", Utf16("<!DOCTYPE a><a/>", true, true), 1, 9)));
    table.push_back(Good("what only looks like a document type",
                         "<a b='&lt;!DOCTYPE a>'><!--<!DOCTYPE a>--><![CDATA[<!DOCTYPE a>]]></a>",
                         L"a[@b='<!DOCTYPE a>'](!<!DOCTYPE a> <<!DOCTYPE a>>)", L"", L""));
}

void AddLarge(CTable& table)
{
    table.push_back(
        Good("as deep as allowed", Repeated("<a>", 255) + "<z>x</z>" + Repeated("</a>", 255), L"", L"z", L"x"));
    table.push_back(Bad("one deeper", Repeated("<a>", 256) + "<z>x</z>" + Repeated("</a>", 256), 1, 256 * 3 + 2));
    table.push_back(Bad("100,000 deep", Repeated("<a>", 100'000) + Repeated("</a>", 100'000), 1));
    // Long texts rather than many elements: the DOM under Wine counts a list from its start for every item.
    const std::string row = "<row id='12345'>" + Repeated("some text ", 400) + "</row>";
    table.push_back(Good("4 MB", "<r>" + Repeated(row, 1'000) + "<z>x</z></r>", L"", L"z", L"x"));
    // As a text it is more than the DOM under Wine converts.
    table.push_back(FileOnly(Good("10 MB", "<r>" + Repeated(row, 2'600) + "<z>x</z></r>", L"", L"z", L"x")));
}

} // namespace

std::vector<SDomDocument> DomDocuments()
{
    CTable table;
    AddWellFormed(table);
    AddTexts(table);
    AddNames(table);
    AddEncodings(table);
    AddMalformed(table);
    AddDoctypes(table);
    AddLarge(table);
    return table;
}
