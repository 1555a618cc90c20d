// SPDX-License-Identifier: MIT
// The order of operations in the tables of the document reader's classes, which applications derive from and
// hold. It is a promise to binaries, so nothing of the library is included here: objects are addresses, and
// calls go by position.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/midixml/slot_objects.h"
#include "tests/support/slot_table.h"

namespace {

using testing::ElementsAre;

// The seven operations that all readers begin with.
void ExpectReader(const Test_SlotTable& iTable) {
  Test_TakeSlotLog();
  iTable.Call<void, int, int, void*>(2, 11, 12, Test_SlotAttributes());
  iTable.Call<void, const char*, void*>(3, "opened", Test_SlotAttributes());
  iTable.Call<void, void*>(4, Test_SlotElement());
  iTable.Call<void, const char*>(5, "closed");
  iTable.Call<void, const char*, int>(6, "text and more", 4);
  iTable.Call<void, void*, const char*, int>(7, Test_SlotElement(), "content", 3);
  EXPECT_THAT(Test_TakeSlotLog(),
              ElementsAre("StartElement 11 in 12 of tag", "StartElement opened of tag", "EndElement 6 open",
                          "EndElement closed", "CharDataHandler text", "HandleContent 6 open con"));
}

void ExpectDestroyed(const Test_SlotTable& iTable) {
  iTable.Delete();
  EXPECT_THAT(Test_TakeSlotLog(), ElementsAre("destructor"));
}

TEST(ReaderSlotsTest, MIDIXMLParserHasItsSevenOperationsInOrder) {
  const Test_SlotTable parser(Test_MakeSlotXmlParser());
  ExpectReader(parser);
  ExpectDestroyed(parser);
}

TEST(ReaderSlotsTest, MIDINameDocumentParserHasHandleDeviceNamesBehindThem) {
  const Test_SlotTable parser(Test_MakeSlotNameParser());
  ExpectReader(parser);
  EXPECT_TRUE((parser.Call<bool, void*>(8, nullptr)));
  EXPECT_THAT(Test_TakeSlotLog(), ElementsAre("HandleDeviceNames of none"));
  ExpectDestroyed(parser);
}

TEST(ReaderSlotsTest, Mlox_DeviceTypesParserHasHandleDeviceTypesBehindThem) {
  const Test_SlotTable parser(Test_MakeSlotDeviceTypesParser());
  ExpectReader(parser);
  EXPECT_TRUE((parser.Call<bool, void*>(8, nullptr)));
  EXPECT_THAT(Test_TakeSlotLog(), ElementsAre("HandleDeviceTypes of none"));
  ExpectDestroyed(parser);
}

TEST(ReaderSlotsTest, XMLParserImplHasItsFiveOperationsInOrder) {
  const Test_SlotTable tokeniser(Test_MakeSlotTokeniser());
  Test_TakeSlotLog();
  const std::string file = "file";
  tokeniser.Call<void, const char*>(2, "text");
  tokeniser.Call<void>(3);
  tokeniser.Call<void, const std::string*>(4, &file);
  EXPECT_EQ(tokeniser.Call<unsigned long>(5), 42u);
  EXPECT_THAT(Test_TakeSlotLog(), ElementsAre("Parse text", "Parse", "Reset file", "GetCurrentLine"));
  ExpectDestroyed(tokeniser);
}

TEST(ReaderSlotsTest, SharedObjectHasItsDestructorAlone) {
  const Test_SlotTable object(Test_MakeSlotSharedObject());
  Test_TakeSlotLog();
  ExpectDestroyed(object);
}

TEST(ReaderSlotsTest, Mlox_PatchInfoHasItsFiveOperationsInOrder) {
  const Test_SlotTable info(Test_MakeSlotPatchInfo());
  EXPECT_TRUE(info.Call<bool>(2));
  EXPECT_EQ(info.Call<unsigned char>(3), 5);
  EXPECT_EQ(info.Call<unsigned char>(4), 7);
  EXPECT_EQ(info.Call<std::string>(5), "B###pnlName###");
  info.Delete();
}

}  // namespace
