// SPDX-License-Identifier: MIT
#include "midixml/expatparser.h"

#include <expat.h>
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "midixml/midixmlparser.h"
#include "tests/support/test_temp_folder.h"

using midixml::MIDIXMLParser;
using midixml::XMLAttributeList;
using midixml::XMLElement;
using midixml::XMLElementType;

namespace {

bool sNoTokeniser = false;

}  // namespace

// Takes the place of Expat's own, so that it can fail as if there were no memory.
extern "C" XML_Parser XML_ParserCreate(const XML_Char* iEncodingP) {
  return sNoTokeniser ? nullptr : XML_ParserCreate_MM(iEncodingP, nullptr, nullptr);
}

namespace {

const XMLElementType kTable[] = {{0, "r", 6}, {1, "t", 1}, {-1, "", 0}};

class Collector : public MIDIXMLParser {
 public:
  explicit Collector(const std::string& iFile) : MIDIXMLParser("r", iFile, 0, kTable) {}

  std::vector<std::string> mPieces;
  std::string mText;
  size_t mAttributeBytes = 0;
  int mStarted = 0;
  bool mThrowsOther = false;

  int Code() {
    try {
      Parse();
    } catch (int code) {
      return code;
    }
    return 0;
  }
  using MIDIXMLParser::GetImpl;

 protected:
  using MIDIXMLParser::EndElement;
  using MIDIXMLParser::StartElement;
  void StartElement(int, int, XMLAttributeList& ioAttributes) override {
    ++mStarted;
    if (mThrowsOther) throw std::runtime_error("from the application");
    if (const char* valueP = ioAttributes.Find("a", false)) mAttributeBytes += std::string(valueP).size();
  }
  void EndElement(XMLElement& ioElement) override { mText = ioElement.content; }
  void HandleContent(XMLElement&, const char* iDataP, int iLength) override {
    mPieces.emplace_back(iDataP, static_cast<size_t>(iLength));
  }
};

class ExpatParserTest : public testing::Test {
 protected:
  int CodeOf(const std::string& iContent) { return Collector(mFolder.MakeFile("d.xml", iContent)).Code(); }

  Test_TempFolder mFolder;
};

// ---- the file loop ----

TEST_F(ExpatParserTest, MissingFileThrows5) {
  Collector parser(mFolder / "nothing.xml");
  EXPECT_EQ(parser.Code(), 5);
  EXPECT_EQ(parser.GetFault().message, "couldn't open '" + (mFolder / "nothing.xml") + "'");
  EXPECT_EQ(parser.GetFault().line, 0u);
}

TEST_F(ExpatParserTest, EmptyNameThrows5) { EXPECT_EQ(Collector("").Code(), 5); }

TEST_F(ExpatParserTest, FolderGivenAsAFileThrows6) {
  Collector parser(mFolder.Path());
  EXPECT_EQ(parser.Code(), 6);
  EXPECT_EQ(parser.GetFault().message, "file read error");
}

TEST_F(ExpatParserTest, EmptyFileThrows7) { EXPECT_EQ(CodeOf(""), 7); }

TEST_F(ExpatParserTest, MalformedDocumentsThrow7) {
  for (const char* textP :
       {"<r>", "</r>", "<r></t>", "<r/><r/>", "<r a='1' a='2'/>", "<r>&nothing;</r>", "text", "<r>\xFF</r>",
        "<r a=1/>", "<?xml version='1.0' encoding='no-such'?><r/>"}) {
    EXPECT_EQ(CodeOf(textP), 7) << textP;
  }
}

TEST_F(ExpatParserTest, FaultOfExpatTellsTheLine) {
  Collector parser(mFolder.MakeFile("d.xml", "<r>\n<t>\n</r>\n"));
  EXPECT_EQ(parser.Code(), 7);
  EXPECT_EQ(parser.GetFault().line, 3u);
  EXPECT_EQ(parser.GetFault().message, "parsing error");
}

TEST_F(ExpatParserTest, EncodingsThatExpatKnowsAreRead) {
  Collector latin(mFolder.MakeFile("d.xml", "<?xml version='1.0' encoding='ISO-8859-1'?><t>\xE4</t>"));
  EXPECT_EQ(latin.Code(), 0);
  EXPECT_EQ(latin.mText, "\xC3\xA4");
  Collector wide(mFolder.MakeFile("d.xml", std::string("\xFF\xFE<\0t\0>\0\xE4\0<\0/\0t\0>\0", 18)));
  EXPECT_EQ(wide.Code(), 0);
  EXPECT_EQ(wide.mText, "\xC3\xA4");
}

TEST_F(ExpatParserTest, FileOfAMultipleOf16384NeedsOneMoreRound) {
  for (size_t pieces : {1u, 2u, 3u}) {
    const size_t size = pieces * 16384;
    const std::string document = "<t>" + std::string(size - 7, 'x') + "</t>";
    ASSERT_EQ(document.size(), size);
    Collector parser(mFolder.MakeFile("d.xml", document));
    EXPECT_EQ(parser.Code(), 0);
    EXPECT_EQ(parser.mText.size(), size - 7);
  }
}

TEST_F(ExpatParserTest, FilesAroundThePieceSizeAreReadWhole) {
  for (size_t size = 16384 - 3; size < 16384 + 4; ++size) {
    Collector parser(mFolder.MakeFile("d.xml", "<t>" + std::string(size - 7, 'x') + "</t>"));
    EXPECT_EQ(parser.Code(), 0);
    EXPECT_EQ(parser.mText.size(), size - 7);
  }
}

TEST_F(ExpatParserTest, TextComesInPiecesOfAtMost16384Bytes) {
  Collector parser(mFolder.MakeFile("d.xml", "<r>" + std::string(50000, 'x') + "</r>"));
  EXPECT_EQ(parser.Code(), 0);
  size_t total = 0;
  for (const std::string& piece : parser.mPieces) {
    EXPECT_LE(piece.size(), 16384u);
    total += piece.size();
  }
  EXPECT_EQ(total, 50000u);
  EXPECT_GE(parser.mPieces.size(), 4u);
}

// ---- names ----

TEST_F(ExpatParserTest, NamesAreUTF8) {
  Collector parser(mFolder.MakeFile("Fl\xC3\xBCgel \xE3\x83\x94.xml", "<r/>"));
  EXPECT_EQ(parser.Code(), 0);
}

TEST_F(ExpatParserTest, BackslashInANameIsASeparator) {
  mFolder.MakeFile("maker/model/d.xml", "<r/>");
  EXPECT_EQ(Collector(mFolder / "maker\\model\\d.xml").Code(), 0);
}

TEST_F(ExpatParserTest, BackslashOfAFilesOwnNameIsKeptIfThereIsNoOther) {
  mFolder.MakeFile("a\\b.xml", "<r/>");
  EXPECT_EQ(Collector(mFolder / "a\\b.xml").Code(), 0);
}

// ---- a tokeniser that can't be had ----

int CodeWithoutTokeniser(const std::function<void()>& iCall) {
  sNoTokeniser = true;
  int code = 0;
  try {
    iCall();
  } catch (int thrown) {
    code = thrown;
  }
  sNoTokeniser = false;
  return code;
}

TEST_F(ExpatParserTest, AParserWithoutATokeniserThrows3) {
  EXPECT_EQ(CodeWithoutTokeniser([] { const Collector parser("d.xml"); }), 3);
}

TEST_F(ExpatParserTest, ResetWithoutATokeniserThrows3AndTheNextOneMayHelp) {
  Collector parser(mFolder.MakeFile("d.xml", "<r/>"));
  EXPECT_EQ(CodeWithoutTokeniser([&] { parser.Reset(""); }), 3);
  EXPECT_EQ(parser.GetFault().message, "couldn't create parser");
  EXPECT_EQ(parser.Code(), 4);
  parser.Reset("");
  EXPECT_EQ(parser.Code(), 0);
}

// ---- throwing handlers ----

TEST_F(ExpatParserTest, NothingIsHandledAfterAThrow) {
  Collector parser(mFolder.MakeFile("d.xml", "<r>\n<r/><r/><r/></r>"));
  parser.mThrowsOther = true;
  EXPECT_THROW(parser.Parse(), std::runtime_error);
  EXPECT_EQ(parser.mStarted, 1);
}

TEST_F(ExpatParserTest, AParserThatThrewCanBeResetOrDestroyed) {
  auto parser = std::make_unique<Collector>(mFolder.MakeFile("d.xml", "<r><t><r><t/></r></t></r>"));
  parser->mThrowsOther = true;
  EXPECT_THROW(parser->Parse(), std::runtime_error);
  parser->mThrowsOther = false;
  parser->Reset("");
  EXPECT_EQ(parser->Code(), 0);
  EXPECT_EQ(parser->mStarted, 5);
  parser->mThrowsOther = true;
  parser->Reset("");
  EXPECT_THROW(parser->Parse(), std::runtime_error);
  parser.reset();
}

TEST_F(ExpatParserTest, AThrowInsideAnEntityLeavesNothingBehind) {
  Collector parser(
      mFolder.MakeFile("d.xml", "<!DOCTYPE r [<!ENTITY e '<r/><t>&#60;r/></t>'>]><r>&e;&e;</r>"));
  parser.mThrowsOther = true;
  EXPECT_THROW(parser.Parse(), std::runtime_error);
}

TEST_F(ExpatParserTest, CurrentLineIsThatOfTheFault) {
  Collector parser(mFolder.MakeFile("d.xml", "<r>\n\n<r a='"));
  EXPECT_EQ(parser.Code(), 7);
  EXPECT_EQ(parser.GetImpl()->GetCurrentLine(), 3u);
  parser.Reset("");
  EXPECT_EQ(parser.GetImpl()->GetCurrentLine(), 1u);
}

// ---- documents that try to break the reader ----

TEST_F(ExpatParserTest, AMillionNestedElementsEndInAResult) {
  std::string document;
  constexpr size_t kDepth = 1000000;
  document.reserve(kDepth * 7);
  for (size_t depth = 0; depth < kDepth; ++depth) document += "<u>";
  for (size_t depth = 0; depth < kDepth; ++depth) document += "</u>";
  EXPECT_EQ(CodeOf(document), 0);
}

TEST_F(ExpatParserTest, AMillionKnownElementsMayBeNested) {
  std::string document;
  for (size_t depth = 0; depth < 1000000; ++depth) document += "<r>";
  EXPECT_EQ(CodeOf(document), 7);
}

TEST_F(ExpatParserTest, AnAttributeOf100MegabytesIsRead) {
  Collector parser(mFolder.MakeFile("d.xml", "<r a='" + std::string(100000000, 'x') + "'/>"));
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mAttributeBytes, 100000000u);
}

TEST_F(ExpatParserTest, ATextOf100MegabytesIsRead) {
  Collector parser(mFolder.MakeFile("d.xml", "<t>" + std::string(100000000, 'x') + "</t>"));
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mText.size(), 100000000u);
}

TEST_F(ExpatParserTest, ACommentOf100MegabytesIsPassedOverAndTextBehindItIsRead) {
  std::string comment;
  while (comment.size() < 100000000) comment += "<Patch Name='>'/> ";
  Collector parser(mFolder.MakeFile("d.xml", "<t>before<!--" + comment + "-->behind</t>"));
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mText, "beforebehind");
}

TEST_F(ExpatParserTest, AnEntityOf100MegabytesThatNobodyUsesIsPassedOver) {
  const std::string value(100000000, 'x');
  Collector parser(mFolder.MakeFile("d.xml", "<!DOCTYPE t [<!ENTITY e '" + value + "'>]><t>text</t>"));
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mText, "text");
}

TEST_F(ExpatParserTest, BehindACommentOfHalfAMegabyteTextIsCutAsAnywhere) {
  const std::string document =
      "<r><!--" + std::string(500000, 'c') + "-->" + std::string(50000, 'x') + "</r>";
  Collector parser(mFolder.MakeFile("d.xml", document));
  EXPECT_EQ(parser.Code(), 0);
  size_t end = document.find('x');
  for (const std::string& piece : parser.mPieces) {
    end += piece.size();
    EXPECT_TRUE(end % 16384 == 0 || &piece == &parser.mPieces.back()) << end;
  }
  EXPECT_EQ(end, document.find("</r>"));
}

TEST_F(ExpatParserTest, BehindALongCommentTheDocumentGoesOnInPiecesOf16384Bytes) {
  // The line break ends what was read together with the comment.
  const std::string text = std::string(3000000, 'y') + "\n" + std::string(50000, 'x');
  Collector parser(mFolder.MakeFile("d.xml", "<r><!--" + std::string(4000000, 'c') + "-->" + text + "</r>"));
  EXPECT_EQ(parser.Code(), 0);
  size_t total = 0;
  for (const std::string& piece : parser.mPieces) {
    total += piece.size();
    EXPECT_TRUE(piece.front() != 'x' || piece.size() <= 16384u) << piece.size();
  }
  EXPECT_EQ(total, text.size());
}

TEST_F(ExpatParserTest, ManyAttributesAreRead) {
  std::string document = "<r";
  for (int index = 0; index < 5000; ++index) document += " b" + std::to_string(index) + "='1'";
  Collector parser(mFolder.MakeFile("d.xml", document + " a='last'/>"));
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mAttributeBytes, 4u);
}

TEST_F(ExpatParserTest, ABombOfEntitiesThrows7) {
  std::string document = "<!DOCTYPE r [<!ENTITY e0 'xxxxxxxxxx'>";
  for (int level = 1; level < 12; ++level) {
    document += "<!ENTITY e" + std::to_string(level) + " '";
    for (int copy = 0; copy < 10; ++copy) document += "&e" + std::to_string(level - 1) + ";";
    document += "'>";
  }
  EXPECT_EQ(CodeOf(document + "]><t>&e11;</t>"), 7);
}

TEST_F(ExpatParserTest, ADefaultAttributeThatMultipliesThrows7) {
  // 100 kB and 40,000 elements of 4 bytes would make 4 GB of names.
  std::string document = "<!DOCTYPE r [<!ATTLIST r a CDATA '" + std::string(100000, 'x') + "'>]><r>";
  for (int index = 0; index < 40000; ++index) document += "<r/>";
  EXPECT_EQ(CodeOf(document + "</r>"), 7);
}

// A document of a megabyte whose entity is written out forty times its size, which Expat by itself permits.
std::string ExpandingDocument(const std::string& iUnit) {
  std::string unit;
  while (unit.size() < 10000) unit += iUnit;
  std::string document =
      "<!DOCTYPE r [<!ENTITY e \"" + unit + "\">]><r><!--" + std::string(1000000, ' ') + "-->";
  for (int index = 0; index < 4200; ++index) document += "&e;";
  return document + "</r>";
}

TEST_F(ExpatParserTest, TextThatEntitiesMultiplyThrows7) { EXPECT_EQ(CodeOf(ExpandingDocument("xxxx")), 7); }

TEST_F(ExpatParserTest, ElementsThatEntitiesMultiplyThrow7) {
  EXPECT_EQ(CodeOf(ExpandingDocument("<r/>")), 7);
}

TEST_F(ExpatParserTest, ALargeTextBehindAnEntityIsNoBomb) {
  const std::string document = "<!DOCTYPE r [<!ENTITY e '" + std::string(1000, 'x') + "'>]><t>&e;&e;&e;</t>";
  EXPECT_EQ(CodeOf(document), 0);
}

TEST_F(ExpatParserTest, AChainOfNestedEntitiesEndsInACodeOrAResult) {
  std::string document = "<!DOCTYPE r [<!ENTITY e0 'x'>";
  for (int level = 1; level < 20000; ++level) {
    document += "<!ENTITY e" + std::to_string(level) + " '&e" + std::to_string(level - 1) + ";'>";
  }
  const int code = CodeOf(document + "]><t>&e19999;</t>");
  EXPECT_TRUE(code == 0 || code == 7) << code;
}

}  // namespace
