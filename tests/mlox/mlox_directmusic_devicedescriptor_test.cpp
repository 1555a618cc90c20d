// SPDX-License-Identifier: MIT
#include "mlox/mlox_directmusic_devicedescriptor.h"

#include <gtest/gtest.h>

#include "mlox/mlox_genericdevdescriptor.h"

namespace {

TEST(Mlox_DirectMusic_DeviceDescriptor, DefaultIsAnOutputWithoutNameAndNumber) {
  const Mlox_DirectMusic_DeviceDescriptor descriptor;
  EXPECT_TRUE(descriptor.IsOutput());
  EXPECT_EQ(descriptor.GetName(), "");
  EXPECT_EQ(descriptor.GetHashValue(), 0);
}

TEST(Mlox_DirectMusic_DeviceDescriptor, ConstructorsTakeTypeNameAndNumber) {
  const Mlox_DirectMusic_DeviceDescriptor typed(Mlox_DeviceDescriptor::kInput);
  EXPECT_TRUE(typed.IsInput());
  EXPECT_EQ(typed.GetName(), "");
  EXPECT_EQ(typed.GetHashValue(), 0);
  const Mlox_DirectMusic_DeviceDescriptor full(Mlox_DeviceDescriptor::kInput, "Port 1", -77);
  EXPECT_TRUE(full.IsInput());
  EXPECT_EQ(full.GetName(), "Port 1");
  EXPECT_EQ(full.GetHashValue(), -77);
}

TEST(Mlox_DirectMusic_DeviceDescriptor, NumberTakesPartInEqualsAndTheTypeDoesNot) {
  const Mlox_DirectMusic_DeviceDescriptor descriptor(Mlox_DeviceDescriptor::kOutput, "Port 1", 5);
  const Mlox_DirectMusic_DeviceDescriptor input(Mlox_DeviceDescriptor::kInput, "Port 1", 5);
  const Mlox_DirectMusic_DeviceDescriptor otherNumber(Mlox_DeviceDescriptor::kOutput, "Port 1", 6);
  const Mlox_DirectMusic_DeviceDescriptor otherName(Mlox_DeviceDescriptor::kOutput, "port 1", 5);
  EXPECT_TRUE(descriptor.Equals(&input));
  EXPECT_TRUE(input.Equals(&descriptor));
  EXPECT_FALSE(descriptor.Equals(&otherNumber));
  EXPECT_FALSE(descriptor.Equals(&otherName));
}

TEST(Mlox_DirectMusic_DeviceDescriptor, EqualsNullptrAndAnotherClassAreFalse) {
  const Mlox_DirectMusic_DeviceDescriptor descriptor(Mlox_DeviceDescriptor::kOutput, "Port 1", 5);
  EXPECT_FALSE(descriptor.Equals(nullptr));
  EXPECT_FALSE(descriptor.Equals(Mlox_GenericDevDescriptor::New("Port 1").get()));
}

TEST(Mlox_DirectMusic_DeviceDescriptor, EmptyNamesAndOneNumberAreEqual) {
  const Mlox_DirectMusic_DeviceDescriptor left(Mlox_DeviceDescriptor::kOutput, "", 5);
  const Mlox_DirectMusic_DeviceDescriptor right(Mlox_DeviceDescriptor::kOutput, "", 5);
  EXPECT_TRUE(left.Equals(&right));
}

TEST(Mlox_DirectMusic_DeviceDescriptor, SettersChangeNameAndNumber) {
  Mlox_DirectMusic_DeviceDescriptor descriptor;
  descriptor.SetName("Port 2");
  descriptor.SetHashValue(-3);
  EXPECT_EQ(descriptor.GetName(), "Port 2");
  EXPECT_EQ(descriptor.GetHashValue(), -3);
}

TEST(Mlox_DirectMusic_DeviceDescriptor, AllowsFallbackAndIsNeitherIACNorPlugIn) {
  const Mlox_DirectMusic_DeviceDescriptor descriptor(Mlox_DeviceDescriptor::kOutput, "Port 1", 5);
  EXPECT_EQ(descriptor.GetMatchType(), 0);
  EXPECT_FALSE(descriptor.IsIACDevice());
  EXPECT_FALSE(descriptor.IsPlugIn());
}

}  // namespace
