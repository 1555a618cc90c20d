// SPDX-License-Identifier: MIT
#include "midixml/mlox_devicetypesparser.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/midixml/memory_file.h"

namespace {

class Keeper : public Mlox_DeviceTypesParser {
 public:
  explicit Keeper(const std::string& iFile, bool iKeep = true)
      : Mlox_DeviceTypesParser("MIDIDeviceTypes", iFile.c_str(), 0), mKeep(iKeep) {}

  int Code() {
    try {
      Parse();
    } catch (int code) {
      return code;
    }
    return 0;
  }

  std::vector<std::unique_ptr<MIDIDeviceTypesObj>> mRoots;
  int mHanded = 0;

 protected:
  bool HandleDeviceTypes(MIDIDeviceTypesObj* iRootP) override {
    ++mHanded;
    if (mKeep) mRoots.emplace_back(iRootP);
    return mKeep;
  }

 private:
  bool mKeep;
};

std::unique_ptr<MIDIDeviceTypesObj> Read(const std::string& iContent) {
  const Test_MemoryFile file("<MIDIDeviceTypes>" + iContent + "</MIDIDeviceTypes>");
  Keeper parser(file.Path());
  EXPECT_EQ(parser.Code(), 0) << iContent;
  EXPECT_EQ(parser.mHanded, 1);
  return parser.mRoots.empty() ? nullptr : std::move(parser.mRoots.front());
}

// Whether the flags of a type are all true but for one, which is the address of a member.
void ExpectFlags(const MIDIDeviceTypeObj& iType, bool MIDIDeviceTypeObj::*iFalse) {
  for (bool MIDIDeviceTypeObj::*flag :
       {&MIDIDeviceTypeObj::mSupportsGeneralMIDI, &MIDIDeviceTypeObj::mSupportsMMC,
        &MIDIDeviceTypeObj::mCanRoute, &MIDIDeviceTypeObj::mIsSampler, &MIDIDeviceTypeObj::mIsDrumMachine,
        &MIDIDeviceTypeObj::mIsMixer, &MIDIDeviceTypeObj::mIsEffectUnit}) {
    EXPECT_EQ(iType.*flag, flag != iFalse);
  }
}

size_t PairsOf(const std::string& iPorts) {
  const auto root = Read("<MIDIDeviceType><MIDIPortGroup>" + iPorts + "</MIDIPortGroup></MIDIDeviceType>");
  return root->mDeviceTypes.at(0)->mPortGroups.at(0)->mPorts.size();
}

TEST(DeviceTypes, ATypeWithoutAttributesHasEmptyTextsAndAllFlagsTrue) {
  const auto root = Read("<MIDIDeviceType/>");
  ASSERT_EQ(root->mDeviceTypes.size(), 1u);
  const MIDIDeviceTypeObj& type = *root->mDeviceTypes[0];
  EXPECT_EQ(type.mManufacturer, "");
  EXPECT_EQ(type.mModel, "");
  EXPECT_EQ(type.mImage, "");
  ExpectFlags(type, nullptr);
}

TEST(DeviceTypes, TextsAreStored) {
  const auto root =
      Read("<MIDIDeviceType Manufacturer='Acme' Model='One' Image='one.png'/><MIDIDeviceType Model='Two'/>");
  ASSERT_EQ(root->mDeviceTypes.size(), 2u);
  EXPECT_EQ(root->mDeviceTypes[0]->mManufacturer, "Acme");
  EXPECT_EQ(root->mDeviceTypes[0]->mModel, "One");
  EXPECT_EQ(root->mDeviceTypes[0]->mImage, "one.png");
  EXPECT_EQ(root->mDeviceTypes[1]->mModel, "Two");
}

TEST(DeviceTypes, EachFlagHasItsAttribute) {
  const std::vector<std::pair<const char*, bool MIDIDeviceTypeObj::*>> flags = {
      {"CanRoute", &MIDIDeviceTypeObj::mCanRoute},
      {"IsDrumMachine", &MIDIDeviceTypeObj::mIsDrumMachine},
      {"IsEffectUnit", &MIDIDeviceTypeObj::mIsEffectUnit},
      {"IsMixer", &MIDIDeviceTypeObj::mIsMixer},
      {"IsSampler", &MIDIDeviceTypeObj::mIsSampler},
      {"SupportsGeneralMIDI", &MIDIDeviceTypeObj::mSupportsGeneralMIDI},
      {"SupportsMMC", &MIDIDeviceTypeObj::mSupportsMMC}};
  for (const auto& [nameP, flag] : flags) {
    SCOPED_TRACE(nameP);
    ExpectFlags(*Read(std::string("<MIDIDeviceType ") + nameP + "='false'/>")->mDeviceTypes.at(0), flag);
  }
}

TEST(DeviceTypes, FlagsTakeAnyLetterCaseAndAnyOtherTextLeavesTrue) {
  const auto canRoute = [](const std::string& iText) {
    return Read("<MIDIDeviceType CanRoute='" + iText + "'/>")->mDeviceTypes.at(0)->mCanRoute;
  };
  EXPECT_FALSE(canRoute("FALSE"));
  EXPECT_FALSE(canRoute("False"));
  EXPECT_TRUE(canRoute("TRUE"));
  EXPECT_TRUE(canRoute("no"));
  EXPECT_TRUE(canRoute(""));
  EXPECT_TRUE(canRoute(" false"));
}

TEST(DeviceTypes, AuthorIsTrimmedAsElsewhere) {
  EXPECT_EQ(Read("<Author>Ann</Author>")->mAuthor, "Ann");
  EXPECT_EQ(Read("<Author>Ann </Author>")->mAuthor, "An");
  EXPECT_EQ(Read("")->mAuthor, "");
}

TEST(DeviceTypes, RecordsKeepTheirDefaultsWhateverTheDocumentWrites) {
  const auto root = Read(
      "<MIDIDeviceType><InquiryResponse ID='1'/><DeviceID Min='1'/><Receives MaxChannels='3' Clock='false'/>"
      "<Transmits MaxChannels='3'/><Transmits/></MIDIDeviceType>");
  const MIDIDeviceTypeObj& type = *root->mDeviceTypes.at(0);
  ASSERT_EQ(type.mInquiryResponses.size(), 1u);
  EXPECT_EQ(type.mInquiryResponses[0]->mBytes, (std::array<uint8_t, 7>{}));
  ASSERT_EQ(type.mDeviceIDs.size(), 1u);
  EXPECT_EQ(type.mDeviceIDs[0]->mWords, (std::array<uint64_t, 2>{}));
  ASSERT_EQ(type.mReceives.size(), 1u);
  EXPECT_EQ(type.mReceives[0]->mCount, 16);
  EXPECT_EQ(type.mReceives[0]->mFlags, (std::array<bool, 6>{true, true, true, true, true, true}));
  EXPECT_FALSE(type.mReceives[0]->mLastFlag);
  ASSERT_EQ(type.mTransmits.size(), 2u);
  EXPECT_EQ(type.mTransmits[0]->mCount, 16);
  EXPECT_EQ(type.mTransmits[0]->mFlags, (std::array<bool, 6>{true, true, true, true, true, true}));
}

// ---- ports ----

TEST(PortPairs, InAndOutThatFollowEachOtherMakeAPair) {
  EXPECT_EQ(PairsOf("<MIDIIn/><MIDIOut/>"), 1u);
  EXPECT_EQ(PairsOf("<MIDIOut/><MIDIIn/>"), 1u);
  EXPECT_EQ(PairsOf("<MIDIIn/><MIDIOut/><MIDIOut/><MIDIIn/>"), 2u);
}

TEST(PortPairs, TwoOfAKindReplaceThePendingPair) {
  EXPECT_EQ(PairsOf("<MIDIIn/><MIDIIn/><MIDIOut/>"), 1u);
  EXPECT_EQ(PairsOf("<MIDIOut/><MIDIOut/><MIDIOut/>"), 0u);
}

TEST(PortPairs, NothingFillsThePair) {
  const auto root = Read(
      "<MIDIDeviceType><MIDIPortGroup Name='g'><MIDIIn Name='i'/><MIDIOut "
      "Name='o'/></MIDIPortGroup></MIDIDeviceType>");
  const MIDIPortGroupObj& group = *root->mDeviceTypes.at(0)->mPortGroups.at(0);
  EXPECT_EQ(group.mName, "");
  EXPECT_EQ(group.mPorts.at(0)->mInName, "");
  EXPECT_EQ(group.mPorts.at(0)->mWord, 0);
  EXPECT_EQ(group.mPorts.at(0)->mOutName, "");
}

TEST(PortPairs, AHalfAloneIsCompletedByTheNextGroup) {
  const auto root = Read(
      "<MIDIDeviceType><MIDIPortGroup><MIDIIn/></MIDIPortGroup></MIDIDeviceType>"
      "<MIDIDeviceType><MIDIPortGroup><MIDIOut/></MIDIPortGroup></MIDIDeviceType>");
  EXPECT_EQ(root->mDeviceTypes.at(0)->mPortGroups.at(0)->mPorts.size(), 0u);
  EXPECT_EQ(root->mDeviceTypes.at(1)->mPortGroups.at(0)->mPorts.size(), 1u);
}

TEST(PortPairs, AHalfAloneAtTheEndOfTheDocumentIsNotAdded) { EXPECT_EQ(PairsOf("<MIDIIn/>"), 0u); }

// ---- handing over ----

TEST(HandleDeviceTypes, LeftAsItIsYieldsNothing) {
  const Test_MemoryFile file("<MIDIDeviceTypes><MIDIDeviceType/></MIDIDeviceTypes>");
  Mlox_DeviceTypesParser parser("", file.Path().c_str(), 0);
  EXPECT_NO_THROW(parser.Parse());
}

TEST(HandleDeviceTypes, FalseMakesTheParserDeleteTheRoot) {
  const Test_MemoryFile file(
      "<MIDIDeviceTypes><MIDIDeviceType><Receives/></MIDIDeviceType></MIDIDeviceTypes>");
  Keeper parser(file.Path(), false);
  EXPECT_EQ(parser.Code(), 0);
  EXPECT_EQ(parser.mHanded, 1);
}

TEST(HandleDeviceTypes, ASecondRootCannotOccur) {
  const Test_MemoryFile file("<MIDIDeviceTypes/><MIDIDeviceTypes/>");
  Keeper parser(file.Path());
  EXPECT_EQ(parser.Code(), 7);
  EXPECT_EQ(parser.mHanded, 1);
}

TEST(HandleDeviceTypes, AnotherDocumentAfterResetHandsOverAnotherRoot) {
  const Test_MemoryFile first("<MIDIDeviceTypes><Author>a</Author></MIDIDeviceTypes>");
  const Test_MemoryFile second("<MIDIDeviceTypes><Author>b</Author></MIDIDeviceTypes>");
  Keeper parser(first.Path());
  EXPECT_EQ(parser.Code(), 0);
  parser.Reset(second.Path());
  EXPECT_EQ(parser.Code(), 0);
  ASSERT_EQ(parser.mRoots.size(), 2u);
  EXPECT_EQ(parser.mRoots[1]->mAuthor, "b");
}

// ---- faults ----

TEST(DeviceTypesFaults, NothingIsHandedOverAfterAFault) {
  const Test_MemoryFile file("<MIDIDeviceTypes><MIDIDeviceType><Author/></MIDIDeviceType></MIDIDeviceTypes>");
  Keeper parser(file.Path());
  EXPECT_EQ(parser.Code(), 102);
  EXPECT_EQ(parser.GetFault().message, "<Author> not allowed within <MIDIDeviceType>");
  EXPECT_EQ(parser.mHanded, 0);
}

TEST(DeviceTypesFaults, TheParentOfAnElementThatFailedStaysBehind) {
  const Test_MemoryFile file("<MIDIDeviceTypes><Author><MIDIIn/>");
  Keeper parser(file.Path());
  EXPECT_EQ(parser.Code(), 102);
  // So the elements that are open end as if each stood one deeper, and nothing is handed over.
  midixml::MIDIXMLParser& base = parser;
  base.EndElement("Author");
  base.EndElement("MIDIDeviceTypes");
  EXPECT_EQ(parser.mHanded, 0);
}

TEST(DeviceTypesFaults, AfterAFaultTheNextRecordsDeleteTheUnfinishedOnes) {
  const Test_MemoryFile bad("<MIDIDeviceTypes><MIDIDeviceType><MIDIPortGroup><MIDIIn/><Author/>");
  const Test_MemoryFile port("<MIDIOut/>");
  Keeper parser(bad.Path());
  EXPECT_EQ(parser.Code(), 102);
  // The group is still open, so its other half may stand at the top.
  parser.Reset(port.Path());
  EXPECT_EQ(parser.Code(), 0);
  const Test_MemoryFile whole("<MIDIDeviceTypes/>");
  parser.Reset(whole.Path());
  EXPECT_EQ(parser.Code(), 102);
}

TEST(DeviceTypesFaults, AFaultAtEveryPlaceOfADocumentLeavesAParserThatCanGo) {
  const std::string document =
      "<MIDIDeviceTypes><Author>A</Author><MIDIDeviceType Model='m' "
      "CanRoute='false'><InquiryResponse/><DeviceID/>"
      "<MIDIPortGroup><MIDIIn/><MIDIOut/><MIDIOut/></MIDIPortGroup><Receives/><Transmits/></MIDIDeviceType>"
      "</MIDIDeviceTypes>";
  const Test_MemoryFile whole(document);
  for (size_t cut = 0; cut < document.size(); ++cut) {
    const Test_MemoryFile begun(document.substr(0, cut));
    Keeper parser(begun.Path(), cut % 2 == 0);
    EXPECT_EQ(parser.Code(), 7) << cut;
    parser.Reset(whole.Path());
    if (cut % 3 != 0) parser.Code();
  }
}

TEST(DeviceTypesFaults, CopiesAreMemberwise) {
  const Test_MemoryFile file("<MIDIDeviceTypes/>");
  Mlox_DeviceTypesParser parser("", file.Path().c_str(), 0);
  // Both share the tokeniser, so only one of the two is destroyed.
  alignas(Mlox_DeviceTypesParser) static unsigned char storage[sizeof(Mlox_DeviceTypesParser)];
  auto* copyP = new (storage) Mlox_DeviceTypesParser(parser);
  *copyP = parser;
  EXPECT_FALSE(copyP->Debugging());
}

}  // namespace
