// SPDX-License-Identifier: MIT
#include "mlox/mlox_oms_devicedescriptor.h"

#include <gtest/gtest.h>

namespace {

TEST(Mlox_OMS_DeviceDescriptor, FactoriesSetTypeNameAndId) {
  const auto output = Mlox_OMS_DeviceDescriptor::New(12, "Piano");
  EXPECT_TRUE(output->IsOutput());
  EXPECT_EQ(output->GetName(), "Piano");
  const auto input = Mlox_OMS_DeviceDescriptor::NewInput(13, "Keys");
  EXPECT_TRUE(input->IsInput());
  EXPECT_EQ(input->GetName(), "Keys");
  EXPECT_EQ(dynamic_cast<const Mlox_OMS_DeviceDescriptor&>(*input).GetOMSUniqueID(), 13);
}

TEST(Mlox_OMS_DeviceDescriptor, HashOfIdMinus1IsMinus1) {
  EXPECT_EQ(Mlox_OMS_DeviceDescriptor::New(-1, "Piano")->GetHashValue(), -1);
  EXPECT_EQ(Mlox_OMS_DeviceDescriptor::New(-32768, "Piano")->GetHashValue(), -32768);
  EXPECT_EQ(Mlox_OMS_DeviceDescriptor::New(32767, "Piano")->GetHashValue(), 32767);
}

TEST(Mlox_OMS_DeviceDescriptor, EqualNeedsIdAndNameAndNotTheType) {
  const auto descriptor = Mlox_OMS_DeviceDescriptor::New(12, "Piano");
  EXPECT_TRUE(descriptor->Equals(Mlox_OMS_DeviceDescriptor::NewInput(12, "Piano").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_OMS_DeviceDescriptor::New(13, "Piano").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_OMS_DeviceDescriptor::New(12, "piano").get()));
}

TEST(Mlox_OMS_DeviceDescriptor, EmptyNamesAndOneIdAreEqual) {
  EXPECT_TRUE(Mlox_OMS_DeviceDescriptor::New(12, "")->Equals(Mlox_OMS_DeviceDescriptor::New(12, "").get()));
}

TEST(Mlox_OMS_DeviceDescriptor, EqualsNullptrIsFalse) {
  EXPECT_FALSE(Mlox_OMS_DeviceDescriptor::New(12, "Piano")->Equals(nullptr));
}

TEST(Mlox_OMS_DeviceDescriptor, AllowsFallbackAndIsNeitherIACNorPlugIn) {
  const auto descriptor = Mlox_OMS_DeviceDescriptor::New(12, "Piano");
  EXPECT_EQ(descriptor->GetMatchType(), 0);
  EXPECT_FALSE(descriptor->IsIACDevice());
  EXPECT_FALSE(descriptor->IsPlugIn());
}

}  // namespace
