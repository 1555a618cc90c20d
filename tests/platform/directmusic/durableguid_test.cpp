// SPDX-License-Identifier: MIT
#include "platform/directmusic/durableguid.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

// A table in memory.
class Table : public Platform_IdentityTable {
 public:
  std::vector<Platform_IdentityRow> Rows() override { return mRows; }
  void Put(const Platform_IdentityRow& iRow) override {
    const auto row = std::find_if(mRows.begin(), mRows.end(),
                                  [&](const Platform_IdentityRow& iOld) { return iOld.mGuid == iRow.mGuid; });
    if (row == mRows.end()) {
      mRows.push_back(iRow);
    } else {
      *row = iRow;
    }
  }
  std::vector<Platform_IdentityRow> mRows;
};

Platform_PortInfo Card(const std::string& iPath, const std::string& iSerial = "S1") {
  Platform_PortInfo port;
  port.mDriver = "usb";
  port.mName = "Keys";
  port.mProduct = "1235:8010";
  port.mSerial = iSerial;
  port.mPath = iPath;
  port.mPlace = "0.0";
  port.mIsInput = true;
  return port;
}

class DurableGuid : public ::testing::Test {
 protected:
  static std::string Alone(const Platform_PortInfo& iPort) { return Texts({iPort}, nullptr)[0]; }
  std::vector<std::string> Identify(const std::vector<Platform_PortInfo>& iPorts) {
    return Texts(iPorts, &mTable);
  }
  static std::vector<std::string> Texts(const std::vector<Platform_PortInfo>& iPorts,
                                        Platform_IdentityTable* iTableP) {
    std::vector<std::string> texts;
    for (const GUID& guid : Platform_IdentifyPorts(iPorts, iTableP)) {
      texts.push_back(Platform_GuidToText(guid));
    }
    return texts;
  }

  Table mTable;
};

// Worked out by another program's version 5 in the same name space.
TEST_F(DurableGuid, IsAVersion5UuidOfTheAddress) {
  EXPECT_EQ(Platform_GuidToText(Platform_GuidOfText("abc")), "{9B3688D2-EDEC-557F-9925-4BD5ED0693D4}");
  EXPECT_EQ(Platform_GuidToText(Platform_GuidOfText("")), "{254DE916-4478-5E37-A1EB-D778D2E460AD}");
  EXPECT_EQ(Identify({Card("1-2")})[0], "{413B7954-95AE-5ABA-BEAD-392959EBF8D3}");
}

TEST_F(DurableGuid, NamesAndHandlesTakeNoPartAndEverythingElseOfTheAddressDoes) {
  const std::string guid = Alone(Card("1-2"));
  Platform_PortInfo port = Card("1-2");
  port.mName = "Other";
  port.mManufacturer = "Maker";
  port.mModel = "Box";
  port.mHandle = "20:0";
  port.mIsVirtual = true;
  EXPECT_EQ(Alone(port), guid);
  for (std::string Platform_PortInfo::*part :
       {&Platform_PortInfo::mDriver, &Platform_PortInfo::mProduct, &Platform_PortInfo::mSerial,
        &Platform_PortInfo::mPath, &Platform_PortInfo::mPlace}) {
    port = Card("1-2");
    port.*part += "x";
    EXPECT_NE(Alone(port), guid);
  }
  port = Card("1-2");
  port.mIsInput = false;
  EXPECT_NE(Alone(port), guid) << "each direction has one of its own";
}

TEST_F(DurableGuid, WithoutASerialThePathCountsAndNothingIsKept) {
  const auto guids = Identify({Card("1-2", ""), Card("1-3", "")});
  EXPECT_NE(guids[0], guids[1]);
  EXPECT_EQ(guids[0], Alone(Card("1-2", "")));
  EXPECT_TRUE(mTable.mRows.empty());
}

TEST_F(DurableGuid, WithoutATableThePathAlwaysCounts) { EXPECT_NE(Alone(Card("1-2")), Alone(Card("1-3"))); }

TEST_F(DurableGuid, ACardWithASerialKeepsItsGuidInAnotherSocketOfTheMachine) {
  const std::string guid = Identify({Card("1-2")})[0];
  EXPECT_EQ(Identify({Card("1-3")})[0], guid);
  ASSERT_EQ(mTable.mRows.size(), 1u);
  EXPECT_EQ(mTable.mRows[0].mPath, "1-3|0.0|in");
}

TEST_F(DurableGuid, CardsOfOneSerialAreToldApartByTheirPathsInWhicheverOrderTheyCome) {
  const auto guids = Identify({Card("1-2"), Card("1-3")});
  EXPECT_NE(guids[0], guids[1]);
  const auto turned = Identify({Card("1-3"), Card("1-2")});
  EXPECT_EQ(turned[0], guids[1]);
  EXPECT_EQ(turned[1], guids[0]);
  EXPECT_EQ(Identify({Card("1-3")})[0], guids[1]) << "alone, too";
}

TEST_F(DurableGuid, ACardOfAKnownSerialTakesTheOneRowThatIsAbsentAndOfTwoNone) {
  const auto guids = Identify({Card("1-2"), Card("1-3")});
  EXPECT_EQ(Identify({Card("1-2"), Card("1-4")})[1], guids[1]) << "one is absent: it has moved";
  const std::string third = Identify({Card("1-5")})[0];
  EXPECT_NE(third, guids[0]) << "two are absent: nobody can tell which";
  EXPECT_NE(third, guids[1]);
  EXPECT_EQ(mTable.mRows.size(), 3u);
}

TEST_F(DurableGuid, SocketsAndDirectionsOfACardAreSettledEachForItself) {
  Platform_PortInfo out = Card("1-2");
  out.mIsInput = false;
  Platform_PortInfo second = Card("1-2");
  second.mPlace = "0.1";
  const auto guids = Identify({Card("1-2"), out, second});
  for (Platform_PortInfo* port : {&out, &second}) {
    port->mPath = "1-7";
  }
  EXPECT_EQ(Identify({Card("1-7"), out, second}), guids);
}

TEST_F(DurableGuid, ACardInTheFirstPlaceOfOneThatHasMovedGetsAGuidOfItsOwn) {
  const auto guids = Identify({Card("1-2"), Card("1-3")});
  ASSERT_EQ(Identify({Card("1-2"), Card("1-4")}), guids) << "the second has moved";
  const auto three = Identify({Card("1-2"), Card("1-4"), Card("1-3")});
  EXPECT_EQ(three[0], guids[0]);
  EXPECT_EQ(three[1], guids[1]);
  EXPECT_NE(three[2], guids[0]);
  EXPECT_NE(three[2], guids[1]) << "the second's GUID was made of this path";
  EXPECT_EQ(Identify({Card("1-2"), Card("1-4"), Card("1-3")}), three) << "and it lasts";
}

TEST_F(DurableGuid, ARowWhoseGuidIsNoGuidStillGivesOneAndTheSameEachTime) {
  mTable.mRows = {{"nonsense", "1235:8010", "S1", "1-2|0.0|in"}};
  const std::string guid = Identify({Card("1-2")})[0];
  EXPECT_EQ(guid.size(), 38u);
  EXPECT_EQ(Identify({Card("1-2")})[0], guid);
}

}  // namespace
