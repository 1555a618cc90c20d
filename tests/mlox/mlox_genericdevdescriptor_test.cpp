// SPDX-License-Identifier: MIT
#include "mlox/mlox_genericdevdescriptor.h"

#include <gtest/gtest.h>

#include "cmn/cmn_hashstring.h"
#include "mlox/mlox_oms_devicedescriptor.h"

namespace {

TEST(Mlox_GenericDevDescriptor, NewMakesAnOutputOfTheName) {
  const auto descriptor = Mlox_GenericDevDescriptor::New("Piano");
  EXPECT_EQ(descriptor->GetName(), "Piano");
  EXPECT_TRUE(descriptor->IsOutput());
  EXPECT_FALSE(descriptor->IsInput());
}

TEST(Mlox_GenericDevDescriptor, NewWithATypeMakesThatType) {
  const auto descriptor = Mlox_GenericDevDescriptor::New("Piano", Mlox_DeviceDescriptor::kInput);
  EXPECT_TRUE(descriptor->IsInput());
  EXPECT_FALSE(descriptor->IsOutput());
}

TEST(Mlox_GenericDevDescriptor, AnInputAndAnOutputOfOneNameAreEqualInBothDirections) {
  const auto output = Mlox_GenericDevDescriptor::New("Piano");
  const auto input = Mlox_GenericDevDescriptor::New("Piano", Mlox_DeviceDescriptor::kInput);
  EXPECT_TRUE(output->Equals(input.get()));
  EXPECT_TRUE(input->Equals(output.get()));
}

TEST(Mlox_GenericDevDescriptor, NamesCompareByteForByte) {
  const auto descriptor = Mlox_GenericDevDescriptor::New("Piano");
  EXPECT_FALSE(descriptor->Equals(Mlox_GenericDevDescriptor::New("piano").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_GenericDevDescriptor::New("Piano ").get()));
  EXPECT_FALSE(descriptor->Equals(Mlox_GenericDevDescriptor::New("Pian").get()));
}

TEST(Mlox_GenericDevDescriptor, EqualsNullptrIsFalse) {
  EXPECT_FALSE(Mlox_GenericDevDescriptor::New("Piano")->Equals(nullptr));
}

TEST(Mlox_GenericDevDescriptor, AnotherClassOfTheSameNameIsNotEqual) {
  EXPECT_FALSE(
      Mlox_GenericDevDescriptor::New("Piano")->Equals(Mlox_OMS_DeviceDescriptor::New(0, "Piano").get()));
}

TEST(Mlox_GenericDevDescriptor, EmptyNamesAreEqual) {
  EXPECT_TRUE(Mlox_GenericDevDescriptor::New("")->Equals(Mlox_GenericDevDescriptor::New("").get()));
}

TEST(Mlox_GenericDevDescriptor, HashIsTheStringHashOfTheName) {
  const auto descriptor = Mlox_GenericDevDescriptor::New("Piano");
  EXPECT_EQ(descriptor->GetHashValue(), static_cast<int>(Cmn_HashString("Piano")));
  // The 32-bit FNV-1a hash of the five bytes.
  EXPECT_EQ(descriptor->GetHashValue(), 0x010FE67E);
  EXPECT_NE(descriptor->GetHashValue(), Mlox_GenericDevDescriptor::New("Organ")->GetHashValue());
}

TEST(Mlox_GenericDevDescriptor, AllowsFallbackAndIsNeitherIACNorPlugIn) {
  const auto descriptor = Mlox_GenericDevDescriptor::New("Piano");
  EXPECT_EQ(descriptor->GetMatchType(), 0);
  EXPECT_FALSE(descriptor->IsIACDevice());
  EXPECT_FALSE(descriptor->IsPlugIn());
}

}  // namespace
