#include <gtest/gtest.h>

#include <string>

#include "base/exception.h"
#include "base/memorystream.h"
#include "base/tagitem.h"

namespace {

using namespace std::string_literals;

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string Xml(const RTagItem& item, bool compact = false) {
  RMemoryStream memory;
  item.WriteXML(memory, compact);
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
}

std::string Binary(const RTagItem& item) {
  RMemoryStream memory;
  item.WriteBinary(memory);
  return std::string(reinterpret_cast<const char*>(memory.GetData()), size_t(memory.GetSize()));
}

void Parse(RTagItem& item, const std::string& text) {
  RMemoryStream memory;
  memory.Write(text.data(), int64_t(text.size()));
  memory.Seek(0);
  item.ReadXML(memory);
}

struct Failure {
  std::string message;
  int code = -1;
};

Failure ParseFailure(const std::string& text) {
  RTagItem item;
  try {
    Parse(item, text);
  } catch (const RException& e) {
    return {e.GetMessage().ToUTF8(), e.GetCode()};
  }
  return {"(no exception)", -1};
}

RString Text(const std::u16string& units) { return RString(units); }

TEST(TagItemXmlWriter, WritesHeaderTabsAttributesValuesAndClosingTags) {
  RTagItem root(RString("Root"));
  root.SetAttribute("Version", int32_t(2));
  RTagItem* child = root.AddSubItem(RString("Child"));
  child->SetAttribute("Name", RString("a"));
  child->Value().SetText(RString("hello"));
  root.AddSubItem(RString("Empty"));
  EXPECT_EQ(Xml(root), kHeader +
                           "<Root Version=\"2\">\n"
                           "\t<Child Name=\"a\">\n"
                           "\t\thello\n"
                           "\t</Child>\n"
                           "\t<Empty/>\n"
                           "</Root>\n");
}

TEST(TagItemXmlWriter, EscapesTheSixCharactersInValuesAndAttributes) {
  RTagItem root(RString("r"));
  root.SetAttribute("k", Text(u"a&b<c>d'e\"f\ng"));
  root.Value().SetText(Text(u"<&>"));
  EXPECT_EQ(Xml(root), kHeader + "<r k=\"a&amp;b&lt;c&gt;d&apos;e&quot;f&#10;g\">\n\t&lt;&amp;&gt;\n</r>\n");
}

TEST(TagItemXmlWriter, CutsValueLinesAtTheFirstBlankFromUnitSixtyOn) {
  RTagItem root(RString("r"));
  root.Value().SetText(Text(std::u16string(130, u'x')));
  EXPECT_EQ(Xml(root), kHeader + "<r>\n\t" + std::string(130, 'x') + "\n</r>\n");

  // A blank at unit 59 is no break; the next one, past 60, is.
  std::u16string at59 = std::u16string(59, u'a') + u" " + std::u16string(10, u'b') + u" c";
  root.Value().SetText(Text(at59));
  EXPECT_EQ(Xml(root), kHeader + "<r>\n\t" + std::string(59, 'a') + " " + std::string(10, 'b') + "\n\tc\n</r>\n");

  std::u16string at60 = std::u16string(60, u'a') + u" " + std::u16string(10, u'b');
  root.Value().SetText(Text(at60));
  EXPECT_EQ(Xml(root), kHeader + "<r>\n\t" + std::string(60, 'a') + "\n\t" + std::string(10, 'b') + "\n</r>\n");
}

TEST(TagItemXmlWriter, IndentationStopsAtThirtyTwoTabs) {
  RTagItem root(RString("r"));
  RTagItem* item = &root;
  for (int i = 0; i < 40; ++i) item = item->AddSubItem(RString("n"));
  const std::string xml = Xml(root);
  EXPECT_NE(xml.find("\n" + std::string(32, '\t') + "<n/>\n"), std::string::npos);
  EXPECT_EQ(xml.find(std::string(33, '\t')), std::string::npos);
  RTagItem back;
  Parse(back, xml);
  EXPECT_EQ(Binary(back), Binary(root));
}

TEST(TagItemXmlWriter, TheCompactFormHasNoTabsNoWrappingAndRefusesEmptyNames) {
  RTagItem root(RString("r"));
  const std::u16string longValue = std::u16string(70, u'a') + u" " + std::u16string(70, u'b');
  root.AddSubItem(RString("s"))->Value().SetText(Text(longValue));
  EXPECT_EQ(Xml(root, true), kHeader + "<r>\n<s>\n" + std::string(70, 'a') + " " + std::string(70, 'b') + "\n</s>\n</r>\n");

  root.AddSubItem(RString(""));
  EXPECT_NO_THROW(Xml(root));
  try {
    Xml(root, true);
    ADD_FAILURE() << "an empty name was written in the compact form";
  } catch (const RException& e) {
    EXPECT_EQ(e.GetMessage().ToUTF8(), "XML entity cannot have empty name.");
  }
}

TEST(TagItemXmlReader, ReadsUnquotedAttributesUpToASpecialCharacter) {
  RTagItem item;
  Parse(item, "<a b=c/>");
  EXPECT_EQ(item.GetName().ToUTF8(), "a");
  EXPECT_EQ(item.GetAttributeText("b").ToUTF8(), "c");
}

TEST(TagItemXmlReader, TakesApostrophesAsPartOfAValue) {
  RTagItem item;
  Parse(item, "<a b='c' d = \"e f\" />");
  EXPECT_EQ(item.GetAttributeText("b").ToUTF8(), "'c'");
  EXPECT_EQ(item.GetAttributeText("d").ToUTF8(), "e f");
}

TEST(TagItemXmlReader, MatchesClosingNamesWithoutCaseAndStopsAtTheRootsEnd) {
  RTagItem item;
  Parse(item, "<Item><Sub></SUB></item><Second/>");
  EXPECT_EQ(item.GetName().ToUTF8(), "Item");
  EXPECT_EQ(item.GetSubItemCount(), 1);
  // Whatever follows the root is never read, not even when it is broken.
  RTagItem other;
  Parse(other, "<a/><<<&");
  EXPECT_EQ(other.GetName().ToUTF8(), "a");
}

TEST(TagItemXmlReader, DecodesOnlyTheKnownEntitiesAndTakesTheNextCharacterUnseen) {
  RTagItem item;
  Parse(item, "<a k=\"&#65;&lt;&AMP;&ampx&#10;&quot;&apos;&gt;&\">&#65; &unknown;</a>");
  EXPECT_EQ(item.GetAttributeText("k").ToUTF8(), "&#65;<&&\n\"'>&");
  EXPECT_EQ(item.Value().ToText().ToUTF8(), "&#65; &unknown;");
}

TEST(TagItemXmlReader, JoinsTrimmedTextWithBlanks) {
  RTagItem item;
  Parse(item, "<a>\n\t first  \n\t<b/> second\n</a>");
  EXPECT_EQ(item.Value().ToText().ToUTF8(), "first second");
}

TEST(TagItemXmlReader, SkipsCommentsDeclarationsAndKeepsCData) {
  RTagItem item;
  Parse(item,
        "<?xml version=\"1.0\"?><!DOCTYPE a \"x>y\"><!-- a <b> comment -- --><a><!-- x --->"
        "<![CDATA[  <raw> &amp; ]]></a>");
  EXPECT_EQ(item.GetName().ToUTF8(), "a");
  EXPECT_EQ(item.GetSubItemCount(), 0);
  EXPECT_EQ(item.Value().ToText().ToUTF8(), "<raw> &amp;");
}

TEST(TagItemXmlReader, DecodesUtf8UnlessTheDeclarationNamesAnotherEncoding) {
  RTagItem item;
  Parse(item, "<a>caf\xc3\xa9</a>");
  EXPECT_EQ(item.Value().ToText().ToU16(), u"caf\u00e9");
  RTagItem latin1;
  Parse(latin1, "<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><a>caf\xe9</a>");
  EXPECT_EQ(latin1.Value().ToText().ToU16(), u"caf\u00e9");
  // Each switch takes over where the text stands: the bytes before it are never read again.
  RTagItem twice;
  Parse(twice, "<?xml encoding=\"iso-8859-1\" encoding=\"koi8-r\"?><a>\xc1</a><b/>");
  EXPECT_EQ(twice.Value().ToText().ToU16(), u"\u0430");
  EXPECT_EQ(twice.GetSubItemCount(), 0);
}

TEST(TagItemXmlReader, EachMalformedInputHasItsMessage) {
  const struct {
    std::string input;
    std::string message;
  } cases[] = {
      {"<a></a x>", "Invalid file contents. Invalid closing element syntax. 'x'"},
      {"<a></a", "Invalid file contents. Invalid closing element syntax. ' '"},
      {"<a><", "Invalid file contents. No element name found. ' '"},
      {"<?xml ? x>", "Invalid file contents. Invalid special element sequence. ' '"},
      {"<a b c>", "Invalid file contents. Invalid character found where attribute was expected. 'c'"},
      {"<a b>", "Invalid file contents. Invalid character found where attribute was expected. '>'"},
      {"<a b=\"c>", "Invalid file contents. No ending delimiter found."},
      {"<a /x>", "Invalid file contents. Invalid element finishing sequence. 'x'"},
      {"<a =>", "Invalid file contents. Special character found where attribute was expected. '='"},
      {"<a></b>", "Invalid file contents. Invalid closing element name."},
  };
  for (const auto& c : cases) {
    const Failure f = ParseFailure(c.input);
    EXPECT_EQ(f.message, c.message) << c.input;
    EXPECT_EQ(f.code, 256) << c.input;
  }
  EXPECT_EQ(ParseFailure("hello <a/>").message, "Text outside of any element. 'hello'");
  EXPECT_EQ(ParseFailure(std::string(40, 'z') + "<a/>").message,
            "Text outside of any element. '" + std::string(32, 'z') + "'");
  EXPECT_EQ(ParseFailure("").message, "The XML does not contain any elements.");
  EXPECT_EQ(ParseFailure(" \n<!-- only -->").message, "The XML does not contain any elements.");
  EXPECT_EQ(ParseFailure("<a><b>").message, "Error parsing a XML file.");
  EXPECT_EQ(ParseFailure("<a><b c=d").message, "Error parsing a XML file.");
  EXPECT_EQ(ParseFailure("<a b=c").message, "The XML does not contain any elements.");
}

TEST(TagItemXmlRoundTrip, BinaryThroughXmlGivesTheSameBytes) {
  RTagItem root(RString("Definition"));
  root.SetAttribute("name", RString("Quillon <&> \"quoted\" 'single'"));
  std::u16string words;
  for (int i = 0; i < 60; ++i) words += u"word" + std::u16string(size_t(i % 7), u'x') + u" ";
  words += u"end";
  for (int i = 0; i < 30; ++i) {
    RTagItem* item = root.AddSubItem(RString("entry"));
    item->SetAttribute("line", Text(u"two\nlines"));
    item->SetAttribute("wide", Text(u"\u0101\u4e2d"));
    if (i % 3 == 0) item->Value().SetText(Text(words));
    if (i % 5 == 0) item->AddSubItem(RString("leaf"))->Value().SetText(RString("v"));
  }
  const std::string binary = Binary(root);
  for (bool compact : {false, true}) {
    RTagItem fromXml;
    Parse(fromXml, Xml(root, compact));
    EXPECT_EQ(Binary(fromXml), binary) << "compact " << compact;
  }
}

} // namespace
