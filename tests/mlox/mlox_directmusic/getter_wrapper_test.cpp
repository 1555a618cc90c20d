// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic/getter_wrapper.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

#include "mlox/mlox_directmusic/ccombstrlite.h"

namespace {

using namespace getter_wrapper;

std::string TextOf(const _GUID& iKey) { return CComBSTRLite(iKey).AsString(); }

struct Row {
  const _GUID& (*mGetter)();
  const char* mNameP;
  const char* mGuidP;
};

const Row kRows[] = {
    {&Get_PROPID_EndpointUniqueID, "uniqueID", "{C41B1F46-94EA-4000-B3AC-FBA38EFA054D}"},
    {&Get_PROPID_EndpointIsSource, "source", "{7FC5C2A4-C50C-4F3C-91D8-EAE81CF33678}"},
    {&Get_PROPID_DeviceManufacturerName, "manufacturer", "{F4C3F409-894E-4F3F-A574-9C29BBBC093B}"},
    {&Get_PROPID_DeviceModelName, "model", "{B99B9032-71DC-4A8E-B30F-DE9EF4EAA4E9}"},
    {&Get_PROPID_DeviceOffline, "offline", "{CB92BAD0-E446-4F56-9636-61C6BB0A516A}"},
    {&Get_PROPID_DeviceUniqueID, "uniqueID", "{501C02FB-589B-4118-9867-B968EB6DC4D2}"},
    {&Get_PROPID_DeviceExternal, "external", "{A6952210-7F5F-4A60-AFF7-9E33D2BAEC71}"},
    {&Get_PROPID_DeviceVirtual, "virtual", "{B21D5F5B-CA47-4B7E-A29F-558033CCEFD1}"},
    {&Get_PROPID_DeviceScheduleAheadMuSec, "scheduleAheadMuSec", "{22565CA5-1906-4069-8092-275E15A7DC6F}"},
    {&Get_PROPID_EntityName, "name", "{0600ED5A-FE4B-459D-9661-550AB8BEE7A8}"},
    {&Get_PROPID_EntityUniqueID, "uniqueID", "{463408B1-2CEB-4BE2-9E72-186D6A4A53ED}"},
    {&Get_PROPID_EntityEmbedded, "embedded", "{9430C772-5ACB-4489-AD92-E8254DE81074}"},
    {&Get_PROPID_EntityReceiveChannels, "receiveChannels", "{EE241C64-154A-4916-BD50-5EFAC0A3E7F7}"},
    {&Get_PROPID_EntityTransmitChannels, "transmitChannels", "{E0624D7A-E4FA-4AF3-BBB0-86B5A1A7470E}"},
    {&Get_PROPID_EntityUserName, "userName", "{5456B5D7-C7DA-4590-B420-766326745AE8}"},
    {&Get_PROPID_DeviceMasterNamesFileLoc, "master", "{76FF1CE7-9536-4D5C-9601-A91A8FC10F53}"},
    {&Get_PROPID_DeviceChannelModes, "currentModes", "{2C0838FD-217E-4522-A540-AFE83BD9569E}"},
    {&Get_PROPID_EndpointCollectionLevel, "eptCollectionLevel", "{CC6C83A4-8672-4559-AF51-794225EA1917}"},
};

TEST(GetterWrapper, EveryRowHasItsKeyAndBothNames) {
  for (int row = 0; row < kCommonDMSPropertyCount; ++row) {
    SCOPED_TRACE(row);
    EXPECT_EQ(TextOf(kRows[row].mGetter()), kRows[row].mGuidP);
    EXPECT_STREQ(Get_gCommonDMSPropertyNames()[row], kRows[row].mNameP);
    EXPECT_EQ(CComBSTRLite(Get_gCommonDMSPropertyNamesWide()[row]).AsString(), kRows[row].mNameP);
    ASSERT_NE(KeyOfRow(row), nullptr);
    EXPECT_EQ(TextOf(*KeyOfRow(row)), kRows[row].mGuidP);
    EXPECT_EQ(CComBSTRLite(NameOfKey(kRows[row].mGetter())).AsString(), kRows[row].mNameP);
  }
  EXPECT_EQ(std::size(kRows), 18u);
}

TEST(GetterWrapper, RowsEndAtEighteen) {
  EXPECT_EQ(KeyOfRow(-1), nullptr);
  EXPECT_EQ(KeyOfRow(18), nullptr);
}

TEST(GetterWrapper, TwoKeysStandOutsideTheTables) {
  EXPECT_EQ(TextOf(Get_PROPID_MLOXID()), "{E3CCE845-7AEA-47E2-A392-5965FC7AF2E3}");
  EXPECT_EQ(CComBSTRLite(NameOfKey(Get_PROPID_MLOXID())).AsString(), "mloxID");
  EXPECT_EQ(TextOf(Get_PROPID_OMSUniqueID()), "{FB05FB4B-7C14-4A67-AD04-9F5657756E1F}");
  EXPECT_EQ(NameOfKey(Get_PROPID_OMSUniqueID()), nullptr);
}

TEST(GetterWrapper, EveryKeyHasItsGuidsTextMadeOnceAndOtherGuidsHaveNone) {
  for (int row = 0; row < getter_wrapper::kCommonDMSPropertyCount; ++row) {
    const _GUID& key = *getter_wrapper::KeyOfRow(row);
    EXPECT_EQ(CComBSTRLite(getter_wrapper::TextOfKey(key)).AsString(), CComBSTRLite(key).AsString()) << row;
    EXPECT_EQ(getter_wrapper::TextOfKey(key), getter_wrapper::TextOfKey(key)) << row;
  }
  EXPECT_EQ(CComBSTRLite(getter_wrapper::TextOfKey(getter_wrapper::Get_PROPID_MLOXID())).AsString(),
            "{E3CCE845-7AEA-47E2-A392-5965FC7AF2E3}");
  EXPECT_EQ(CComBSTRLite(getter_wrapper::TextOfKey(getter_wrapper::Get_PROPID_OMSUniqueID())).AsString(),
            "{FB05FB4B-7C14-4A67-AD04-9F5657756E1F}");
  EXPECT_EQ(getter_wrapper::TextOfKey(GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}), nullptr);
}

}  // namespace
