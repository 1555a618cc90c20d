// SPDX-License-Identifier: MIT
// What a plug-in calls for each message is marked for the compiler that checks it. A mark that is missing
// fails nothing anywhere: the check just looks at less. So the marks are looked at here.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "tests/frame/documentfiles.h"
#include "tests/frame/sourcefiles.h"

namespace {

using ::testing::ElementsAre;
using Names = std::set<std::string>;

constexpr char kMark[] = "MLOX_NONBLOCKING";
constexpr char kFolder[] = "mlox/mlox_directmidi/";

// The name of the function whose parameters end before a place, "" where none do.
std::string FunctionBefore(const std::string& iText, std::size_t iAt) {
  while (iAt > 0 && std::isspace(static_cast<unsigned char>(iText[iAt - 1])) != 0) --iAt;
  if (iAt == 0 || iText[iAt - 1] != ')') return "";
  const std::size_t end = iText.rfind('(', iAt);  // no parameter of these has parentheses
  std::size_t begin = end;
  while (begin > 0 && std::isalnum(static_cast<unsigned char>(iText[begin - 1])) != 0) --begin;
  return iText.substr(begin, end - begin);
}

// The functions of a text that carry the mark.
Names Marked(const std::string& iText) {
  const std::string mark = kMark;
  Names names;
  for (std::size_t at = iText.find(mark); at != std::string::npos; at = iText.find(mark, at + 1)) {
    names.insert(FunctionBefore(iText, at));
  }
  return names;
}

Names MarkedIn(const std::string& iFile) { return Marked(Test_LibraryFiles().at(kFolder + iFile)); }

// The functions that a class of nothing but interface declares.
Names DeclaredBy(const std::string& iFile) {
  const std::string text = Test_LibraryFiles().at(kFolder + iFile);
  const std::string end = ") = 0;";
  Names names;
  for (std::size_t at = text.find(end); at != std::string::npos; at = text.find(end, at + 1)) {
    names.insert(FunctionBefore(text, at + 1));
  }
  return names;
}

// The names between back ticks in the paragraph of a document that names the mark.
Names NamedBesideTheMark(const std::string& iDocument) {
  std::vector<Test_Lines> paragraphs(1);
  for (const std::string& line : Test_ReadLines(iDocument)) {
    if (line.empty()) paragraphs.emplace_back();
    paragraphs.back().push_back(line);
  }
  Names names;
  for (const Test_Lines& paragraph : paragraphs) {
    const std::vector<std::string> spans = Test_ReadMarks(paragraph).mSpans;
    const Names found(spans.begin(), spans.end());
    if (found.contains(kMark)) names.insert(found.begin(), found.end());
  }
  names.erase(kMark);
  return names;
}

TEST(Nonblocking, ThePullIsMarkedWhereItIsDeclaredAndWhereItIsDefined) {
  EXPECT_THAT(MarkedIn("mlox_dm_buffereddelivery.h"), ElementsAre("GetNextMessageInSampleRange"));
  EXPECT_THAT(MarkedIn("mlox_dm_buffereddelivery.cpp"), ElementsAre("GetNextMessageInSampleRange"));
}

TEST(Nonblocking, WhateverAMessageOffersIsMarkedWhereItIsDeclaredAndWhereItIsDefined) {
  Names operations = DeclaredBy("idirectmidimessage.h");
  EXPECT_THAT(operations,
              ElementsAre("GetMessageData", "GetMessageLength", "GetPartialMessageData", "GetSampleTime"));
  operations.insert({"AddRef", "Release"});
  EXPECT_EQ(MarkedIn("mlox_dm_deliverymessage.h"), operations);
  EXPECT_EQ(MarkedIn("mlox_dm_deliverymessage.cpp"), operations);
}

TEST(Nonblocking, TheDocumentOfThreadsNamesWhatIsMarked) {
  Names marked = MarkedIn("mlox_dm_deliverymessage.h");
  marked.merge(MarkedIn("mlox_dm_buffereddelivery.h"));
  Names named = NamedBesideTheMark("docs/threading.md");
  named.erase("ReceiveMIDI");  // of the same path, and not marked
  EXPECT_EQ(named, marked);
}

}  // namespace
