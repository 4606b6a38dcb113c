#include "com/Xml.h"

#include <gtest/gtest.h>

namespace {

// The interface ids that are declared for both systems are those of this one.
TEST(SystemIds, AreTheDeclaredOnes)
{
    EXPECT_EQ(ComIid<IUnknown>(), IID_IUnknown);
    EXPECT_EQ(ComIid<IDispatch>(), IID_IDispatch);
    EXPECT_EQ(ComIid<IClassFactory>(), IID_IClassFactory);
    EXPECT_EQ(ComIid<IXMLDOMNode>(), IID_IXMLDOMNode);
    EXPECT_EQ(ComIid<IXMLDOMDocument>(), IID_IXMLDOMDocument);
    EXPECT_EQ(ComIid<IXMLDOMElement>(), IID_IXMLDOMElement);
    EXPECT_EQ(ComIid<IXMLDOMAttribute>(), IID_IXMLDOMAttribute);
    EXPECT_EQ(ComIid<IXMLDOMProcessingInstruction>(), IID_IXMLDOMProcessingInstruction);
    EXPECT_EQ(ComIid<IXMLDOMNodeList>(), IID_IXMLDOMNodeList);
    EXPECT_EQ(ComIid<IXMLDOMNamedNodeMap>(), IID_IXMLDOMNamedNodeMap);
    EXPECT_EQ(ComIid<IXMLDOMParseError>(), IID_IXMLDOMParseError);
}

} // namespace
