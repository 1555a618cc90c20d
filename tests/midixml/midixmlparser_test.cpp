// SPDX-License-Identifier: MIT
#include "midixml/midixmlparser.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "midixml/reporterror.h"
#include "tests/midixml/german_locale.h"
#include "tests/support/test_temp_folder.h"

using midixml::MIDIMessage;
using midixml::MIDIXMLParser;
using midixml::SharedString;
using midixml::Version;
using midixml::XMLAttributeList;
using midixml::XMLElement;
using midixml::XMLElementType;

namespace {

enum EElement { kRoot, kDrop, kText, kHandle, kOther, kStrict };

const XMLElementType kTable[] = {
    {kRoot, "root", 0},   {kDrop, "drop", 0},     {kText, "text", 1}, {kHandle, "handle", 6},
    {kOther, "other", 2}, {kStrict, "strict", 0}, {-1, "", 0}};

// Takes any element anywhere, writes down what happens, and opens the protected operations.
class Recorder : public MIDIXMLParser {
 public:
  explicit Recorder(const std::string& iFile = "", int iDebugLevel = 0)
      : MIDIXMLParser("root", iFile, iDebugLevel, kTable) {}

  std::vector<std::string> mLog;
  std::function<void(int, XMLAttributeList&)> mOnStart;
  std::function<void(XMLElement&)> mOnEnd;

  using MIDIXMLParser::CharDataHandler;
  using MIDIXMLParser::ContainmentError;
  using MIDIXMLParser::ContentBool;
  using MIDIXMLParser::ContentInt;
  using MIDIXMLParser::ContentString;
  using MIDIXMLParser::EmptyContent;
  using MIDIXMLParser::EndElement;
  using MIDIXMLParser::GetBoolAttribute;
  using MIDIXMLParser::GetFloatAttribute;
  using MIDIXMLParser::GetImpl;
  using MIDIXMLParser::GetIntAttribute;
  using MIDIXMLParser::GetStringAttribute;
  using MIDIXMLParser::GetVersionAttribute;
  using MIDIXMLParser::ParseBoolean;
  using MIDIXMLParser::ParseHexBytes;
  using MIDIXMLParser::StartElement;

 protected:
  void StartElement(int iId, int iParentId, XMLAttributeList& ioAttributes) override {
    mLog.push_back("start " + std::to_string(iId) + " in " + std::to_string(iParentId));
    if (iId == kStrict) ContainmentError(iId, iParentId);
    if (mOnStart) mOnStart(iId, ioAttributes);
  }
  void EndElement(XMLElement& ioElement) override {
    mLog.push_back("end " + std::to_string(ioElement.type->id) + " [" + ioElement.content + "]");
    if (mOnEnd) mOnEnd(ioElement);
  }
  void HandleContent(XMLElement& ioElement, const char* iDataP, int iLength) override {
    mLog.push_back("content " + std::to_string(ioElement.type->id) + " [" +
                   std::string(iDataP, static_cast<size_t>(iLength)) + "]");
  }
};

using Log = std::vector<std::string>;

class MIDIXMLParserTest : public testing::Test {
 protected:
  std::string File(const std::string& iText) { return mFolder.MakeFile("document.xml", iText); }

  // What parsing the text throws, 0 for nothing.
  int Code(Recorder& ioParser) {
    try {
      ioParser.Parse();
    } catch (int code) {
      return code;
    }
    return 0;
  }

  Log LogOf(const std::string& iText) {
    Recorder parser(File(iText));
    EXPECT_EQ(Code(parser), 0);
    return parser.mLog;
  }

  // Runs a check with the attributes of the root of a document, and gives the code.
  int WithAttributes(const std::string& iAttributes,
                     const std::function<void(Recorder&, XMLAttributeList&)>& iCheck) {
    Recorder parser(File("<root " + iAttributes + "/>"));
    parser.mOnStart = [&](int, XMLAttributeList& ioAttributes) { iCheck(parser, ioAttributes); };
    return Code(parser);
  }

  Test_TempFolder mFolder;
};

int CodeOf(const std::function<void()>& iAction) {
  try {
    iAction();
  } catch (int code) {
    return code;
  }
  return 0;
}

// ---- elements ----

TEST_F(MIDIXMLParserTest, ElementsAreStartedWithTheirParentAndEnded) {
  EXPECT_EQ(LogOf("<root><drop/><text/></root>"),
            (Log{"start 0 in -1", "start 1 in 0", "end 1 []", "start 2 in 0", "end 2 []", "end 0 []"}));
}

TEST_F(MIDIXMLParserTest, UnknownElementInsideAKnownOneIsSkippedWithAllInIt) {
  EXPECT_EQ(LogOf("<root><what><drop/><text>x</text></what><drop/></root>"),
            (Log{"start 0 in -1", "start 1 in 0", "end 1 []", "end 0 []"}));
}

TEST_F(MIDIXMLParserTest, TextInsideAnUnknownElementGoesToTheKnownOneAroundIt) {
  EXPECT_EQ(LogOf("<text>a<what>b<text>c</text></what>d</text>"), (Log{"start 2 in -1", "end 2 [abcd]"}));
}

TEST_F(MIDIXMLParserTest, TextInsideAnUnknownRootIsIgnored) {
  EXPECT_EQ(LogOf("<what>text<root/>more</what>"), Log{});
}

TEST_F(MIDIXMLParserTest, TagsAreCaseSensitive) {
  EXPECT_EQ(LogOf("<root><Drop/><DROP/></root>"), (Log{"start 0 in -1", "end 0 []"}));
}

TEST_F(MIDIXMLParserTest, ContentTypeZeroDropsText) {
  EXPECT_EQ(LogOf("<drop>abc</drop>"), (Log{"start 1 in -1", "end 1 []"}));
}

TEST_F(MIDIXMLParserTest, ContentTypeSixHandsTextOnAndCollectsNothing) {
  EXPECT_EQ(LogOf("<handle>abc</handle>"), (Log{"start 3 in -1", "content 3 [abc]", "end 3 []"}));
}

TEST_F(MIDIXMLParserTest, AnyOtherContentTypeCollectsText) {
  EXPECT_EQ(LogOf("<text>a&amp;b\nc</text>"), (Log{"start 2 in -1", "end 2 [a&b\nc]"}));
  EXPECT_EQ(LogOf("<other>abc</other>"), (Log{"start 4 in -1", "end 4 [abc]"}));
}

TEST_F(MIDIXMLParserTest, UnusedAttributesAndUnknownElementsReportNothingVisible) {
  Recorder parser(File("<root a='1' b='2'><what c='3'/></root>"));
  EXPECT_EQ(Code(parser), 0);
  EXPECT_EQ(parser.GetFault().code, 0);
  EXPECT_EQ(parser.GetFault().message, "");
}

TEST_F(MIDIXMLParserTest, AnElementWhoseHandlerThrowsIsNeverPushed) {
  Recorder parser(File("<root><text><strict/></text></root>"));
  EXPECT_EQ(Code(parser), 102);
  // The last open element is still <text>: it gets the text.
  parser.CharDataHandler("kept", 4);
  parser.EndElement("text");
  EXPECT_EQ(parser.mLog.back(), "end 2 [kept]");
}

TEST_F(MIDIXMLParserTest, AnElementWhoseEndThrowsStaysOpen) {
  Recorder parser(File("<root><text/></root>"));
  parser.mOnEnd = [](XMLElement&) { throw 77; };
  EXPECT_EQ(Code(parser), 77);
  parser.mOnEnd = nullptr;
  parser.EndElement("text");
  EXPECT_EQ(parser.mLog.back(), "end 2 []");
}

TEST_F(MIDIXMLParserTest, EndWithoutAnOpenElementIsIgnored) {
  Recorder parser;
  parser.EndElement("root");
  parser.CharDataHandler("x", 1);
  EXPECT_EQ(parser.mLog, Log{});
}

TEST_F(MIDIXMLParserTest, ParseOfTextInMemoryDoesNothing) {
  Recorder parser(File("<root/>"));
  parser.MIDIXMLParser::Parse("<root><drop/></root>");
  EXPECT_EQ(parser.mLog, Log{});
}

TEST_F(MIDIXMLParserTest, DebuggingFromLevelTwo) {
  EXPECT_FALSE(Recorder("", 1).Debugging());
  EXPECT_TRUE(Recorder("", 2).Debugging());
}

TEST_F(MIDIXMLParserTest, CopiesShareTheTokeniser) {
  Recorder parser("a file");
  // Only one of the two may be destroyed, so the copy's memory is never given back to its destructor.
  alignas(Recorder) static unsigned char storage[sizeof(Recorder)];
  auto* copyP = new (storage) Recorder(parser);
  EXPECT_EQ(copyP->GetImpl(), parser.GetImpl());
  *copyP = parser;
  EXPECT_EQ(copyP->GetImpl(), parser.GetImpl());
}

// ---- Reset ----

TEST_F(MIDIXMLParserTest, ResetReadsAnotherFileAndAnEmptyNameTheSameAgain) {
  Recorder parser(File("<root/>"));
  EXPECT_EQ(Code(parser), 0);
  parser.Reset(mFolder.MakeFile("other.xml", "<drop/>"));
  EXPECT_EQ(Code(parser), 0);
  parser.Reset("");
  EXPECT_EQ(Code(parser), 0);
  EXPECT_EQ(parser.mLog,
            (Log{"start 0 in -1", "end 0 []", "start 1 in -1", "end 1 []", "start 1 in -1", "end 1 []"}));
}

TEST_F(MIDIXMLParserTest, OneParseNeedsAResetBeforeTheNext) {
  Recorder parser(File("<root/>"));
  EXPECT_EQ(Code(parser), 0);
  EXPECT_EQ(Code(parser), 4);
}

TEST_F(MIDIXMLParserTest, ResetAfterAThrowKeepsTheOpenElements) {
  Recorder parser(File("<root><text><strict/></text></root>"));
  EXPECT_EQ(Code(parser), 102);
  parser.Reset(mFolder.MakeFile("other.xml", "<drop/>"));
  EXPECT_EQ(Code(parser), 0);
  EXPECT_EQ(parser.mLog, (Log{"start 0 in -1", "start 2 in 0", "start 5 in 2", "start 1 in 2", "end 1 []"}));
}

TEST_F(MIDIXMLParserTest, ResetAfterAFaultInsideAnUnknownElementGoesOnSkipping) {
  Recorder parser(File("<root><what><"));
  EXPECT_EQ(Code(parser), 7);
  parser.Reset(mFolder.MakeFile("other.xml", "<drop/>"));
  EXPECT_EQ(Code(parser), 0);
  EXPECT_EQ(parser.mLog, (Log{"start 0 in -1"}));
}

// ---- trimming ----

TEST(MIDIXMLParserTrim, CutsAsRequired) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", ""},
      {"   ", ""},
      {"a", "a"},
      {"abc", "abc"},
      {"abc ", "ab"},
      {"a ", ""},
      {"  abc  ", "abc  "},
      {" abc  ", "ab"},
      {" a b", ""},
      {"  ab cd", "a"},
      {" abc", "abc"},
      {"   abc", "abc"},
      {"\t\n\v\f\r x", "x"},
      {"ab  ", "a"},
      {"     ab  ", "a"},
      {"  a  ", "a  "},
      {"  a ", "a "},
      {"\xC3\xA4\xC3\xB6 ", "\xC3\xA4\xC3"},
      {"x\xC2\xA0", "x\xC2\xA0"},
  };
  for (const auto& [text, expected] : cases) {
    std::string trimmed = text;
    EXPECT_EQ(&Recorder::ContentString(trimmed), &trimmed);
    EXPECT_EQ(trimmed, expected) << "from \"" << text << '"';
  }
}

TEST(MIDIXMLParserTrim, EmptyContentTrimsAndTells) {
  std::string blank = " \n ";
  EXPECT_TRUE(Recorder::EmptyContent(blank));
  EXPECT_EQ(blank, "");
  std::string text = " abc  ";
  EXPECT_FALSE(Recorder::EmptyContent(text));
  EXPECT_EQ(text, "ab");
}

// ---- text as values ----

TEST(MIDIXMLParserContent, ContentIntReadsOrThrows103) {
  Recorder parser;
  std::string text = "  42x";
  EXPECT_EQ(parser.ContentInt(text), 42);
  std::string bad = "x42";
  EXPECT_EQ(CodeOf([&] { parser.ContentInt(bad); }), 103);
  EXPECT_EQ(parser.GetFault().message, "invalid integer 'x42'");
}

TEST(MIDIXMLParserContent, ContentIntReadsWhatTheTrimLeaves) {
  Recorder parser;
  std::string cut = "427 ";
  EXPECT_EQ(parser.ContentInt(cut), 42);
  std::string nothing = "7 ";
  EXPECT_EQ(CodeOf([&] { parser.ContentInt(nothing); }), 103);
}

TEST(MIDIXMLParserContent, ContentBoolReadsOrThrows105) {
  Recorder parser;
  std::string text = "  true";
  EXPECT_TRUE(parser.ContentBool(text));
  std::string bad = "yes";
  EXPECT_EQ(CodeOf([&] { parser.ContentBool(bad); }), 105);
}

TEST(MIDIXMLParserContent, ParseBooleanTakesTwoTextsOnly) {
  Recorder parser;
  EXPECT_TRUE(parser.ParseBoolean("true"));
  EXPECT_FALSE(parser.ParseBoolean("false"));
  for (const char* textP : {"TRUE", "True", " true", "true ", "", "1", "falsey"}) {
    EXPECT_EQ(CodeOf([&] { parser.ParseBoolean(textP); }), 105) << textP;
  }
  EXPECT_EQ(parser.GetFault().message, "invalid boolean 'falsey'");
}

std::vector<int> HexBytes(const char* iTextP) {
  Recorder parser;
  MIDIMessage message;
  const uint8_t old[] = {1, 2, 3};
  message.Set(3, old);
  const int count = parser.ParseHexBytes(iTextP, message);
  EXPECT_EQ(count, message.GetLength());
  return std::vector<int>(message.GetData(), message.GetData() + message.GetLength());
}

TEST(MIDIXMLParserContent, ParseHexBytesKeepsWhatConverts) {
  EXPECT_EQ(HexBytes("F0 7E 7F F7"), (std::vector<int>{0xF0, 0x7E, 0x7F, 0xF7}));
  EXPECT_EQ(HexBytes("F0 zz 7F"), (std::vector<int>{0xF0}));
  EXPECT_EQ(HexBytes(""), std::vector<int>{});
  EXPECT_EQ(HexBytes("   "), std::vector<int>{});
  EXPECT_EQ(HexBytes(" \t1\n02 0x03 4zz 5"), (std::vector<int>{1, 2, 3, 4, 5}));
}

TEST(MIDIXMLParserContent, ParseHexBytesThrows106AboveTwoDigits) {
  Recorder parser;
  MIDIMessage message;
  EXPECT_EQ(CodeOf([&] { parser.ParseHexBytes("100", message); }), 106);
  EXPECT_EQ(parser.GetFault().message, "invalid hex byte: 100");
  EXPECT_EQ(CodeOf([&] { parser.ParseHexBytes("-1", message); }), 106);
  EXPECT_EQ(parser.GetFault().message, "invalid hex byte: ffffffff");
}

// ---- attributes ----

TEST_F(MIDIXMLParserTest, StringAttributeIsStored) {
  SharedString value;
  EXPECT_EQ(WithAttributes("a='x y'",
                           [&](Recorder& ioParser, XMLAttributeList& ioAttributes) {
                             EXPECT_TRUE(ioParser.GetStringAttribute(ioAttributes, "a", value, true));
                           }),
            0);
  EXPECT_EQ(value.View(), "x y");
}

TEST_F(MIDIXMLParserTest, MissingOptionalAttributeLeavesTheValueAsItWas) {
  SharedString text(std::string_view("before"));
  int number = 7;
  float real = 1.5f;
  bool flag = true;
  Version version = {1, 2, 3};
  EXPECT_EQ(WithAttributes("",
                           [&](Recorder& ioParser, XMLAttributeList& ioAttributes) {
                             EXPECT_FALSE(ioParser.GetStringAttribute(ioAttributes, "a", text, false));
                             EXPECT_FALSE(ioParser.GetIntAttribute(ioAttributes, "a", number, false));
                             EXPECT_FALSE(ioParser.GetFloatAttribute(ioAttributes, "a", real, false));
                             EXPECT_FALSE(ioParser.GetBoolAttribute(ioAttributes, "a", flag, false));
                             EXPECT_FALSE(ioParser.GetVersionAttribute(ioAttributes, "a", version, false));
                           }),
            0);
  EXPECT_EQ(text.View(), "before");
  EXPECT_EQ(number, 7);
  EXPECT_EQ(real, 1.5f);
  EXPECT_TRUE(flag);
  EXPECT_EQ(version.bugfix, 3);
}

TEST_F(MIDIXMLParserTest, MissingRequiredAttributeThrows8BeforeTheElementIsPushed) {
  Recorder parser(File("<text>\n\n<root b='1'/></text>"));
  parser.mOnStart = [&](int iId, XMLAttributeList& ioAttributes) {
    SharedString value;
    if (iId == kRoot) parser.GetStringAttribute(ioAttributes, "a", value, true);
  };
  EXPECT_EQ(Code(parser), 8);
  EXPECT_EQ(parser.GetFault().message, "<root> missing required attribute 'a'");
  EXPECT_EQ(parser.GetFault().line, 3u);
  parser.EndElement("text");
  EXPECT_EQ(parser.mLog.back(), "end 2 [\n\n]");
}

TEST_F(MIDIXMLParserTest, EachGetterThrows8ForARequiredAttribute) {
  int number = 0;
  float real = 0;
  bool flag = false;
  Version version;
  EXPECT_EQ(
      WithAttributes("", [&](Recorder& p, XMLAttributeList& a) { p.GetIntAttribute(a, "x", number, true); }),
      8);
  EXPECT_EQ(
      WithAttributes("", [&](Recorder& p, XMLAttributeList& a) { p.GetFloatAttribute(a, "x", real, true); }),
      8);
  EXPECT_EQ(
      WithAttributes("", [&](Recorder& p, XMLAttributeList& a) { p.GetBoolAttribute(a, "x", flag, true); }),
      8);
  EXPECT_EQ(WithAttributes(
                "", [&](Recorder& p, XMLAttributeList& a) { p.GetVersionAttribute(a, "x", version, true); }),
            8);
}

TEST_F(MIDIXMLParserTest, IntAttributeAllowsTrailingTextAndThrows103WithoutDigits) {
  int value = 0;
  const auto read = [&](Recorder& p, XMLAttributeList& a) {
    EXPECT_TRUE(p.GetIntAttribute(a, "n", value, true));
  };
  EXPECT_EQ(WithAttributes("n='12abc'", read), 0);
  EXPECT_EQ(value, 12);
  EXPECT_EQ(WithAttributes("n='abc'", read), 103);
  EXPECT_EQ(value, 12);
}

TEST_F(MIDIXMLParserTest, IntAttributeFaultNamesElementTextAndAttribute) {
  Recorder parser(File("<root n='abc'/>"));
  int value = 0;
  parser.mOnStart = [&](int, XMLAttributeList& a) { parser.GetIntAttribute(a, "n", value, true); };
  EXPECT_EQ(Code(parser), 103);
  EXPECT_EQ(parser.GetFault().message, "'root' element contains invalid integer 'abc' attribute 'n'");
}

TEST_F(MIDIXMLParserTest, FloatAttributeThrows104WithTheTextForIntegers) {
  Recorder parser(File("<root n='abc'/>"));
  float value = 0;
  parser.mOnStart = [&](int, XMLAttributeList& a) { parser.GetFloatAttribute(a, "n", value, true); };
  EXPECT_EQ(Code(parser), 104);
  EXPECT_EQ(parser.GetFault().message, "'root' element contains invalid integer 'abc' attribute 'n'");
}

TEST_F(MIDIXMLParserTest, FloatAttributeReadsAsInTheCLocaleUnderAGermanOne) {
  const Test_GermanLocale german;
  float value = 0;
  EXPECT_EQ(WithAttributes("n='-1.25db'",
                           [&](Recorder& p, XMLAttributeList& a) {
                             EXPECT_TRUE(p.GetFloatAttribute(a, "n", value, true));
                           }),
            0);
  EXPECT_EQ(value, -1.25f);
}

TEST_F(MIDIXMLParserTest, BoolAttributeIsExactlyTrueOrFalse) {
  bool value = true;
  const auto read = [&](Recorder& p, XMLAttributeList& a) {
    EXPECT_TRUE(p.GetBoolAttribute(a, "b", value, true));
  };
  EXPECT_EQ(WithAttributes("b='false'", read), 0);
  EXPECT_FALSE(value);
  EXPECT_EQ(WithAttributes("b='TRUE'", read), 105);
  EXPECT_FALSE(value);
}

TEST_F(MIDIXMLParserTest, VersionAttributeFillsWithZeroesAndReportsNothing) {
  struct Case {
    const char* mTextP;
    int mMajor, mMinor, mBugfix;
  };
  const Case cases[] = {{"1.2", 1, 2, 0},     {"x", 0, 0, 0},       {"", 0, 0, 0},     {"3.4.5", 3, 4, 5},
                        {"1.x.3", 1, 0, 0},   {"1. 2", 1, 2, 0},    {"1 .2", 1, 0, 0}, {"257.1.1", 1, 1, 1},
                        {"1.2.3.4", 1, 2, 3}, {"-1.2.3", 255, 2, 3}};
  for (const Case& expected : cases) {
    Version value = {9, 9, 9};
    EXPECT_EQ(WithAttributes(std::string("v='") + expected.mTextP + "'",
                             [&](Recorder& p, XMLAttributeList& a) {
                               EXPECT_TRUE(p.GetVersionAttribute(a, "v", value, true));
                             }),
              0);
    EXPECT_EQ(value.major, expected.mMajor) << expected.mTextP;
    EXPECT_EQ(value.minor, expected.mMinor) << expected.mTextP;
    EXPECT_EQ(value.bugfix, expected.mBugfix) << expected.mTextP;
  }
}

TEST(XMLAttributeList, TheFirstOfANameWinsAndIsMarkedAsUsed) {
  const char* attributes[] = {"a", "1", "b", "2", "a", "3", nullptr};
  unsigned char used[3] = {0, 0, 0};
  XMLAttributeList list(nullptr, "element", attributes, 3, used);
  EXPECT_STREQ(list.Find("a", false), "1");
  EXPECT_TRUE(list.IsUsed(0));
  EXPECT_FALSE(list.IsUsed(1));
  EXPECT_FALSE(list.IsUsed(2));
  EXPECT_EQ(list.Find("A", false), nullptr);
  EXPECT_EQ(CodeOf([&] { list.Find("c", true); }), 8);
}

// ---- reporting ----

TEST(ReportError, CodesBelowTwoHaveNoEffectAtAll) {
  Recorder parser;
  for (int code : {-5, 0, 1}) {
    EXPECT_NO_THROW(midixml::ReportError(parser.GetImpl(), code, "%s", "x"));
  }
  EXPECT_EQ(parser.GetFault().code, 0);
}

TEST(ReportError, CodesFromTwoAreThrownAsInt) {
  Recorder parser;
  EXPECT_EQ(CodeOf([&] { midixml::ReportError(parser.GetImpl(), 2, "<%s> and '%s'", "one", "two"); }), 2);
  EXPECT_EQ(parser.GetFault().code, 2);
  EXPECT_EQ(parser.GetFault().message, "<one> and 'two'");
  EXPECT_EQ(CodeOf([&] { midixml::ReportError(nullptr, 999, "no parser"); }), 999);
}

TEST(ReportError, LongNamesAreCutInMessages) {
  Recorder parser;
  EXPECT_EQ(CodeOf([&] { midixml::ReportError(parser.GetImpl(), 5, "%s|", std::string(1000000, 'x')); }), 5);
  EXPECT_EQ(parser.GetFault().message, std::string(200, 'x') + "...|");
}

TEST(ContainmentError, Throws100AtTheTopAnd102Within) {
  Recorder parser;
  EXPECT_EQ(CodeOf([&] { parser.ContainmentError(kText, -1); }), 100);
  EXPECT_EQ(parser.GetFault().message, "text is not a valid top-level element");
  EXPECT_EQ(CodeOf([&] { parser.ContainmentError(kText, kDrop); }), 102);
  EXPECT_EQ(parser.GetFault().message, "<text> not allowed within <drop>");
}

}  // namespace
