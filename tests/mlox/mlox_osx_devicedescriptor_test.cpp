// SPDX-License-Identifier: MIT
#include "mlox/mlox_osx_devicedescriptor.h"

#include <gtest/gtest.h>

#include "mlox/mlox_genericdevdescriptor.h"
#include "mlox/mlox_oms_devicedescriptor.h"

namespace {

TEST(Mlox_OSX_DeviceDescriptor, FactoriesSetTypeNameAndId) {
  const auto output = Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano");
  EXPECT_TRUE(output->IsOutput());
  EXPECT_EQ(output->GetName(), "Piano");
  EXPECT_EQ(output->GetHashValue(), 7);
  const auto input = Mlox_OSX_DeviceDescriptor::NewInput(-8, "Keys");
  EXPECT_TRUE(input->IsInput());
  EXPECT_EQ(input->GetName(), "Keys");
  EXPECT_EQ(input->GetHashValue(), -8);
}

TEST(Mlox_OSX_DeviceDescriptor, EqualNeedsNameAndIdAndNotTheType) {
  const auto descriptor = Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano");
  EXPECT_TRUE(descriptor->Equals(Mlox_OSX_DeviceDescriptor::NewInput(7, "Piano").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_OSX_DeviceDescriptor::NewOutput(8, "Piano").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_OSX_DeviceDescriptor::NewOutput(7, "PIANO").get()));
}

TEST(Mlox_OSX_DeviceDescriptor, IsNeverEqualToAnOMSDescriptorWhateverTheFieldsSay) {
  const auto osx = Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano");
  const auto oms = Mlox_OMS_DeviceDescriptor::New(7, "Piano");
  EXPECT_FALSE(osx->Equals(oms.get()));
  EXPECT_FALSE(oms->Equals(osx.get()));
}

TEST(Mlox_OSX_DeviceDescriptor, EqualsNullptrIsFalse) {
  EXPECT_FALSE(Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano")->Equals(nullptr));
}

TEST(Mlox_OSX_DeviceDescriptor, EmptyNamesAndOneIdAreEqual) {
  EXPECT_TRUE(
      Mlox_OSX_DeviceDescriptor::NewOutput(1, "")->Equals(Mlox_OSX_DeviceDescriptor::NewOutput(1, "").get()));
}

TEST(Mlox_OSX_DeviceDescriptor, NoFactorySetsTheIACFlag) {
  EXPECT_FALSE(Mlox_OSX_DeviceDescriptor::NewOutput(7, "IAC Bus 1")->IsIACDevice());
  EXPECT_FALSE(Mlox_OSX_DeviceDescriptor::NewInput(7, "IAC Bus 1")->IsIACDevice());
}

TEST(Mlox_OSX_DeviceDescriptor, AllowsFallbackAndIsNoPlugIn) {
  const auto descriptor = Mlox_OSX_DeviceDescriptor::NewOutput(7, "Piano");
  EXPECT_EQ(descriptor->GetMatchType(), 0);
  EXPECT_FALSE(descriptor->IsPlugIn());
}

}  // namespace
