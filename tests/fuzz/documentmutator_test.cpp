// SPDX-License-Identifier: MIT
#include "fuzz/documentmutator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "fuzz/documentgrammars.h"
#include "midixml/midinamedocumentparser.h"
#include "midixml/midinameelements.h"
#include "tests/midixml/name_documents.h"

namespace {

constexpr unsigned kSeeds = 400;

const char* const kDocument =
    "<?xml version=\"1.0\"?><!-- c --><MIDINameDocument><Author>A &amp; b</Author><MasterDeviceNames>"
    "<Manufacturer>M</Manufacturer><Model>X</Model><CustomDeviceMode Name=\"m\"><ChannelNameSetAssignments>"
    "<ChannelNameSetAssign Channel=\"1\" NameSet=\"S\"/></ChannelNameSetAssignments></CustomDeviceMode>"
    "<ChannelNameSet Name=\"S\"><PatchBank Name=\"B\"><UsesPatchNameList "
    "Name=\"L\"/></PatchBank></ChannelNameSet>"
    "<PatchNameList Name=\"L\"><Patch Number=\"1\" Name=\"P\"/></PatchNameList></MasterDeviceNames>"
    "</MIDINameDocument>";

std::string Again(const std::string& iDocument) { return Fuzz_PutTogether(Fuzz_TakeApart(iDocument)); }

// Stands for the change of bytes: says so.
std::size_t MutateBytes(std::uint8_t* oDataP, std::size_t, std::size_t iMaxSize) {
  static const char kText[] = "bytes";
  std::memcpy(oDataP, kText, std::min<std::size_t>(5, iMaxSize));
  return std::min<std::size_t>(5, iMaxSize);
}

// The input that comes of an input whose last byte is '!'.
std::string Mutate(const std::string& iDocument, unsigned iSeed, std::size_t iMaxSize = 4096) {
  std::vector<std::uint8_t> data(std::max(iMaxSize, iDocument.size() + 1));
  std::memcpy(data.data(), iDocument.data(), iDocument.size());
  data[iDocument.size()] = '!';
  const std::size_t size = Fuzz_MutateDocument(Fuzz_NamesGrammar(), data.data(), iDocument.size() + 1,
                                               iMaxSize, iSeed, MutateBytes);
  EXPECT_LE(size, iMaxSize);
  return std::string(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size));
}

TEST(DocumentMutator, ADocumentIsPutTogetherAsItWas) { EXPECT_EQ(Again(kDocument), kDocument); }

TEST(DocumentMutator, WhatIsNoDocumentStaysByteForByte) {
  const std::string zero("a\0b<", 4);
  for (const std::string& text : {std::string(), std::string("<"), std::string("</a>"), std::string("<a b='"),
                                  std::string("<a b=1>"), std::string("<<<>>>"), zero}) {
    EXPECT_EQ(Again(text), text);
  }
}

TEST(DocumentMutator, AnUnclosedElementIsClosed) {
  EXPECT_EQ(Again("<a><b x='1'>t"), "<a><b x=\"1\">t</b></a>");
  EXPECT_EQ(Again("<a><b></a>"), "<a><b/></a>");
}

TEST(DocumentMutator, VeryDeepDocumentsEnd) {
  std::string document;
  for (int depth = 0; depth < 100000; ++depth) document += "<a>";
  EXPECT_GE(Again(document).size(), document.size());
}

TEST(DocumentMutator, ChangesKeepTheLastByteAndDifferBySeed) {
  std::set<std::string> results;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    const std::string result = Mutate(kDocument, seed);
    EXPECT_TRUE(result == "bytes" || result.back() == '!') << result;
    results.insert(result);
  }
  EXPECT_GT(results.size(), kSeeds / 4);
}

TEST(DocumentMutator, MostChangesKeepADocumentWellFormed) {
  unsigned wellFormed = 0;
  unsigned good = 0;
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    const std::string result = Mutate(kDocument, seed);
    const int code = Test_ParseNames(result.substr(0, result.size() - 1)).mCode;
    wellFormed += code == 7 ? 0 : 1;
    good += code == 0 ? 1 : 0;
  }
  // A fifth goes the way of bytes, which is no document here.
  EXPECT_GT(wellFormed, kSeeds * 6 / 10);
  EXPECT_GT(good, kSeeds * 2 / 10);
  EXPECT_LT(good, kSeeds * 9 / 10);
}

TEST(DocumentMutator, EveryFifthSeedAndAnEmptyInputGoTheWayOfBytes) {
  EXPECT_EQ(Mutate(kDocument, 10), "bytes");
  std::uint8_t data[8] = {};
  EXPECT_EQ(Fuzz_MutateDocument(Fuzz_NamesGrammar(), data, 0, sizeof data, 1, MutateBytes), 5u);
}

TEST(DocumentMutator, ADocumentThatWouldBeTooLargeGoesTheWayOfBytes) {
  for (unsigned seed = 1; seed <= kSeeds; ++seed) {
    const std::string result = Mutate(kDocument, seed, std::strlen(kDocument) + 1);
    EXPECT_TRUE(result == "bytes" || result.size() <= std::strlen(kDocument) + 1);
  }
}

TEST(DocumentMutator, ANewDocumentBeginsWithTheRoot) {
  EXPECT_EQ(Mutate("", 1).substr(0, 17), "<MIDINameDocument");
  EXPECT_EQ(Test_ParseNames("<MIDINameDocument/>").mCode, 0);
}

TEST(DocumentMutator, CrossingPutsAnElementOfOneIntoTheOther) {
  std::vector<std::uint8_t> data(64);
  const std::size_t size =
      Fuzz_CrossDocuments(Fuzz_NamesGrammar(), "<a/>!", "<b/>?", data.data(), data.size(), 3);
  EXPECT_EQ(std::string(data.begin(), data.begin() + static_cast<std::ptrdiff_t>(size)), "<a><b/></a>!");
  EXPECT_EQ(Fuzz_CrossDocuments(Fuzz_NamesGrammar(), "<a/>!", "<b/>?", data.data(), 5, 3), 0u);
  EXPECT_EQ(Fuzz_CrossDocuments(Fuzz_NamesGrammar(), "", "<b/>?", data.data(), data.size(), 3), 0u);
}

TEST(DocumentGrammars, NamesHaveARuleForEachElementAndHoldKnownOnesOnly) {
  std::set<std::string_view> rules;
  for (const Fuzz_ElementRule& rule : Fuzz_NamesGrammar().mRules)
    EXPECT_TRUE(rules.insert(rule.mName).second);
  std::set<std::string_view> elements;
  for (int id = 0; id < midixml::kMIDINameElementCount; ++id)
    elements.insert(midixml::kMIDINameElements[id].name);
  EXPECT_EQ(rules, elements);
  for (const Fuzz_ElementRule& rule : Fuzz_NamesGrammar().mRules) {
    for (const std::string_view child : rule.mChildren) EXPECT_EQ(elements.count(child), 1u) << child;
  }
}

}  // namespace
